/// @file
/// The position of the sun by an almanac's formulas, for work such as shadow studies that the tables of the
/// sky model are too coarse for.
#pragma once

namespace zr
{

/// The sun over one place.
struct sun_position
{
    double hour_angle;  ///< radians west of south (north of the equator), -pi to pi
    double declination; ///< radians, apparent
    double distance;    ///< astronomical units
};

/// Universal time as Julian days: `day` counts from 0, 1 January; `local_minutes` by a zone in hours.
double julian_day(int year, int day, double local_minutes, double time_zone_hours);

/// The apparent sun, for an observer at the earth's centre under `longitude` (radians, east positive).
sun_position almanac_sun(double julian_day, double longitude);

/// What the observer's place on the surface takes off an altitude, radians: the parallax.
double sun_parallax(const sun_position& sun, double altitude);

} // namespace zr
