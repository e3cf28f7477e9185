/// @file
/// After Meeus, "Astronomical Algorithms" (2nd edition, 1998): calendar (chapter 7), sidereal time (12),
/// nutation and obliquity (22), the sun (25), parallax (40). The pull of Venus, Jupiter and the Moon on the
/// earth follows his "Astronomical Formulae for Calculators" (1979), chapter 18.
#include "zirconlite/lighting/sun_almanac.hpp"

#include <cmath>

namespace zr
{

namespace
{

constexpr double degree = M_PI / 180.0;
constexpr double arcsecond = degree / 3600.0;
constexpr double epoch_2000 = 2451545.0;
constexpr double days_per_century = 36525.0;

struct nutation
{
    double longitude, obliquity; ///< radians
};

double delta_t(double universal);
nutation nutation_at(double t);
double perturbation_deg(double t);
double cos_deg(double angle_deg);
double sin_deg(double angle_deg);
double reduced(double angle);

} // namespace

double julian_day(int year, int day, double local_minutes, double time_zone_hours)
{
    const double y = year - 1.0, century = std::floor(y / 100.0);
    const double last_of_december = std::floor(365.25 * y) - century + std::floor(century / 4.0) + 1721424.5;
    return last_of_december + day + 1.0 + (local_minutes - 60.0 * time_zone_hours) / 1440.0;
}

sun_position almanac_sun(double universal, double longitude)
{
    const double t = (universal + delta_t(universal) - epoch_2000) / days_per_century;
    const double mean_longitude = 280.46646 + 36000.76983 * t + 0.0003032 * t * t;
    const double anomaly = 357.52911 + 35999.05029 * t - 0.0001537 * t * t;
    const double eccentricity = 0.016708634 - 0.000042037 * t - 0.0000001267 * t * t;
    const double centre = (1.914602 - 0.004817 * t - 0.000014 * t * t) * sin_deg(anomaly) +
                          (0.019993 - 0.000101 * t) * sin_deg(2.0 * anomaly) +
                          0.000289 * sin_deg(3.0 * anomaly);
    sun_position sun;
    sun.distance =
        1.000001018 * (1.0 - eccentricity * eccentricity) / (1.0 + eccentricity * cos_deg(anomaly + centre));

    const nutation n = nutation_at(t);
    const double aberration = -20.4898 * arcsecond / sun.distance;
    const double apparent = std::fmod(mean_longitude + centre + perturbation_deg(t + 1.0), 360.0) * degree +
                            n.longitude + aberration;
    const double obliquity = (23.4392911 - 0.0130042 * t) * degree + n.obliquity;
    const double right_ascension = std::atan2(std::cos(obliquity) * std::sin(apparent), std::cos(apparent));
    sun.declination = std::asin(std::sin(obliquity) * std::sin(apparent));

    const double days = universal - epoch_2000, u = days / days_per_century;
    const double sidereal = 280.46061837 + std::fmod(360.98564736629 * days, 360.0) + 0.000387933 * u * u;
    sun.hour_angle =
        reduced(sidereal * degree + n.longitude * std::cos(obliquity) + longitude - right_ascension);
    return sun;
}

double sun_parallax(const sun_position& sun, double altitude)
{
    return 8.794 * arcsecond / sun.distance * std::cos(altitude);
}

namespace
{

/// Dynamical less universal time in days. Within 6 seconds from 1950 to 2050, in which the sun moves a
/// quarter of an arc second.
double delta_t(double universal) { return (64.0 + 0.6 * (universal - epoch_2000) / 365.25) / 86400.0; }

nutation nutation_at(double t)
{
    const double node = 125.04452 - 1934.136261 * t, sun = 2.0 * (280.4665 + 36000.7698 * t),
                 moon = 2.0 * (218.3165 + 481267.8813 * t);
    return { arcsecond * (-17.20 * sin_deg(node) - 1.32 * sin_deg(sun) - 0.23 * sin_deg(moon) +
                             0.21 * sin_deg(2.0 * node)),
        arcsecond * (9.20 * cos_deg(node) + 0.57 * cos_deg(sun) + 0.10 * cos_deg(moon) -
                        0.09 * cos_deg(2.0 * node)) };
}

/// What the planets and the Moon add to the longitude in degrees; `t` in centuries since 1900.
double perturbation_deg(double t)
{
    return 0.00134 * cos_deg(153.23 + 22518.7541 * t) + 0.00154 * cos_deg(216.57 + 45037.5082 * t) +
           0.00200 * cos_deg(312.69 + 32964.3577 * t) +
           0.00179 * sin_deg(350.74 + 445267.1142 * t - 0.00144 * t * t) +
           0.00178 * sin_deg(231.19 + 20.20 * t);
}

double cos_deg(double angle_deg) { return std::cos(std::fmod(angle_deg, 360.0) * degree); }

double sin_deg(double angle_deg) { return std::sin(std::fmod(angle_deg, 360.0) * degree); }

/// -pi to pi.
double reduced(double angle) { return remainder(angle, 2.0 * M_PI); }

} // namespace

} // namespace zr
