/// @file
/// The position of the sun by place, day and time, and the direction of its light.
#include <algorithm>
#include <cmath>

#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/sun_almanac.hpp"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/lighting/sun_tables.hpp"

using namespace zr;

namespace
{

constexpr double radians_per_zone_hour = 0.2617993877991;
constexpr double minutes_per_radian = 229.1831180523;
constexpr double half_turns_per_minute = 0.001388888888888889; // 1 / 720
constexpr double radians_per_degree = 0.017453292519444445;
constexpr double noon = 720.0;
constexpr int first_year = 1583, last_year = 9999; // of the calendar that the almanac counts by

/// Of the process; set by hosts between renders.
int32_t chosen_model = SUN_MODEL_TABLES;
int32_t chosen_year = 2000;

double finite_or_zero(double x);
double minutes_of_one_day(double minutes);
double azimuth_of(double hour_angle, double declination, double latitude, double altitude);

} // namespace

int32_t zr_set_sun_model(int32_t model, int32_t year)
{
    if (model != SUN_MODEL_TABLES && model != SUN_MODEL_ALMANAC)
    {
        return report_failure(ZR_ERROR_ARGUMENT, "there is no sun model %d", model);
    }
    chosen_model = model;
    chosen_year = std::clamp(year, first_year, last_year);
    return 1;
}

int32_t zr_get_sun_model(int32_t* year_out)
{
    if (year_out) { *year_out = chosen_year; }
    return chosen_model;
}

int32_t zr_solar_angles(double local_minutes, int32_t day, double time_zone_hours, double latitude,
    double longitude, double* azimuth_out, double* altitude_out, double* solar_minutes_out)
{
    local_minutes = finite_or_zero(local_minutes);
    time_zone_hours = finite_or_zero(time_zone_hours);
    longitude = finite_or_zero(longitude);
    latitude = std::clamp(finite_or_zero(latitude), -half_pi, half_pi);
    day = std::clamp(day, 0, 365);

    const double mean_minutes =
        (longitude - time_zone_hours * radians_per_zone_hour) * minutes_per_radian + local_minutes;
    double solar_minutes, hour_angle, declination;
    sun_position sun = {};
    if (chosen_model == SUN_MODEL_ALMANAC)
    {
        sun = almanac_sun(julian_day(chosen_year, day, local_minutes, time_zone_hours), longitude);
        hour_angle = sun.hour_angle;
        declination = sun.declination;
        const double true_minutes = hour_angle / M_PI * noon + noon;
        solar_minutes = mean_minutes + minutes_of_one_day(true_minutes - mean_minutes);
    }
    else
    {
        solar_minutes = table_equation_of_time(day + 1) + mean_minutes;
        hour_angle = (solar_minutes - noon) * pi * half_turns_per_minute;
        declination = table_declination_deg(day + 1) * radians_per_degree;
    }
    double altitude =
        std::asin(std::clamp(std::sin(declination) * std::sin(latitude) +
                                 std::cos(declination) * std::cos(hour_angle) * std::cos(latitude),
            -1.0, 1.0));
    *azimuth_out = azimuth_of(hour_angle, declination, latitude, altitude);
    if (chosen_model == SUN_MODEL_ALMANAC) { altitude -= sun_parallax(sun, altitude); }
    *altitude_out = altitude;
    *solar_minutes_out = solar_minutes;
    return 1;
}

int32_t zr_sun_angles_to_vector(double azimuth, double altitude, double north, vector3* vector_out)
{
    const double turned = azimuth + north;
    const double z = -std::cos(half_pi - altitude);
    const double r = std::sqrt(std::fmax(1.0 - z * z, 0.0));
    *vector_out = { -std::sin(turned) * r, -std::cos(turned) * r, z };
    return 1;
}

namespace
{

double finite_or_zero(double x) { return std::isfinite(x) ? x : 0.0; }

/// -720 to 720.
double minutes_of_one_day(double minutes) { return remainder(minutes, 1440.0); }

/// Azimuth from north, positive toward morning; 0 at the zenith, where every direction is as good.
double azimuth_of(double hour_angle, double declination, double latitude, double altitude)
{
    const double across = std::cos(altitude);
    if (std::fabs(across) < geometry_zero) { return 0.0; }
    const double c = (std::sin(declination) * std::cos(latitude) -
                         std::cos(declination) * std::cos(hour_angle) * std::sin(latitude)) /
                     across;
    const double azimuth = std::acos(std::clamp(c, -1.0, 1.0));
    const double turn = std::fmod(hour_angle, two_pi) + (std::fmod(hour_angle, two_pi) < 0.0 ? two_pi : 0.0);
    return azimuth > 0.0 && turn <= pi ? -azimuth : azimuth;
}

} // namespace
