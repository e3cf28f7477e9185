/// @file
/// The numbers of the system's own sun and sky: equation of time, declination, brightness of the sky.
#pragma once

namespace zr
{

/// A year's course by the day of the year, 1 to 365.
struct yearly_point
{
    int day;
    double amount;
};

inline constexpr int last_table_day = 365;

/// Solar less mean time in minutes, and the sun's declination in degrees, on a day from 1 to 365.
double table_equation_of_time(int day);
double table_declination_deg(int day);

/// Factor of the sky's strength by the sun's altitude (radians) and cloudiness 0 to 1.
double table_sky_factor(double altitude, double cloudiness);

} // namespace zr
