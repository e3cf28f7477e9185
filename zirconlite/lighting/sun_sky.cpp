/// @file
/// Sun and sky of a moment: strengths, colours, the sky's axis, and the process's sun made from them.
#include "zirconlite/lighting/sun_sky.h"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/clear_sky.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/lighting/sun_tables.hpp"

namespace zr
{

light sun_light = {};
const sun_sky* current_sun_sky = nullptr;
double twilight_color = 1.0, twilight_sky = 1.0;

} // namespace zr

using namespace zr;

namespace
{

constexpr double degree = 0.017453292519444445;
constexpr double full_day_sine = 0.17364;       // of the altitude from which it is full day, 10 degrees
constexpr double astronomical_sine = -0.156434; // below 9 degrees under the horizon the sky is black
constexpr double lowest_sun = 0.01;             // radians
constexpr double thickest_clouds = 0.95;        // that let the sun through
constexpr double extinction = 0.21;             // of clear air straight up
constexpr double outside_air = 128000.0;        // lux
constexpr double weakest_sky = 0.3;

void clamp_settings(sun_sky& s);
void set_angles(sun_sky& s);
double clamp_or(double value, double low, double high, double neutral);
void set_twilight(double sine);
double sun_strength(const sun_sky& s, bool follows_distance);
double distance_factor(int32_t day);
double sky_base(const sun_sky& s, bool& is_dark);
vector3 sky_axis(const sun_sky& s);
void set_colors(sun_sky& s, bool is_dark);
void set_sun_light(const sun_sky& s);

} // namespace

int32_t zr_set_sun_and_sky(document* doc)
{
    if (!doc || !doc->sun_sky) { return report_failure(ZR_ERROR_ARGUMENT, "no document"); }
    sun_sky& s = *doc->sun_sky;
    current_sun_sky = &s;
    clamp_settings(s);
    set_angles(s);
    zr_sun_angles_to_vector(s.azimuth, s.altitude, s.north, &s.sun_direction);
    set_twilight(-s.sun_direction.z);
    doc->tone_exponent_factor = float(0.95 * twilight_sky + (1.0 - twilight_sky) * 1.1);
    doc->tone_scale_factor = 1.1f;
    s.sun_strength = sun_strength(s, doc->light_model == LIGHT_MODEL_EXACT);
    bool is_dark;
    s.sky_strength = sky_base(s, is_dark) * s.sky_intensity * twilight_sky;
    s.sky_axis = sky_axis(s);
    set_colors(s, is_dark);
    set_sun_light(s);
    return 1;
}

int32_t zr_get_sky_ground_intensity(const vector3* direction, const sun_sky* sky, double* result_out)
{
    *result_out = 0.0;
    if (job.simple_colors || !sky || sky->sky_strength == 0.0) { return 0; }
    *result_out = sky_luminance(*sky, *direction);
    return 1;
}

namespace zr
{

double sky_luminance(const sun_sky& sky, const vector3& direction)
{
    constexpr double level = 0.333333, darkest = 0.1;
    const double q = dot(sky.sky_axis, direction);
    if (q > 0.0) { return (2.0 * q + 1.0) / 3.0; }
    // Away from the axis lies the ground: level under a high sun, and darker toward the nadir under a low
    // one.
    const double g = 0.2 - sky.sun_direction.z;
    if (g > 1.0) { return level; }
    const double flat = std::max(g, 0.0), s = -q;
    return ((1.0 - s) * level + s * darkest) * (1.0 - flat) + flat * level;
}

} // namespace zr

namespace
{

/// The host's settings within their ranges.
void clamp_settings(sun_sky& s)
{
    s.cloudiness = clamp_or(s.cloudiness, 0.0, 1.0, 0.0);
    s.sun_size = clamp_or(s.sun_size, 0.0, 2.0, 0.0);
    s.sun_samples = std::clamp(s.sun_samples, 1, 4096);
    s.sun_jitter = float(clamp_or(s.sun_jitter, 0.0, 1.0, 0.0));
    s.sun_intensity = float(clamp_or(s.sun_intensity, 0.0, 1e6, 1.0));
    s.sky_intensity = float(clamp_or(s.sky_intensity, 0.0, 1e6, 1.0));
    s.north = clamp_or(s.north, -1e6, 1e6, 0.0);
    for (float* rgb : { s.direct_sun_rgb, s.direct_sky_rgb })
    {
        for (int i = 0; i < 3; ++i) { rgb[i] = float(clamp_or(rgb[i], 0.0, 1e6, 1.0)); }
    }
}

void set_angles(sun_sky& s)
{
    if (s.flags & SUN_BY_ANGLES)
    {
        s.azimuth = clamp_or(s.direct_azimuth, -1e6, 1e6, 0.0);
        s.altitude = clamp_or(s.direct_altitude, -half_pi, half_pi, 0.0);
        return;
    }
    double solar_minutes;
    zr_solar_angles(s.local_minutes - (s.daylight_saving ? 60.0 : 0.0), s.day_of_year, s.time_zone,
        s.latitude * degree, s.longitude * degree, &s.azimuth, &s.altitude, &solar_minutes);
}

double clamp_or(double value, double low, double high, double neutral)
{
    return std::isfinite(value) ? std::clamp(value, low, high) : neutral;
}

void set_twilight(double sine)
{
    const double below_day = full_day_sine - sine;
    const double color = std::max(1.0 - below_day * 5.7590416954618755, 0.0);
    const double sky = std::max(1.0 - below_day * 3.005349522149, 0.0);
    twilight_color = sine >= full_day_sine ? 1.0 : sine >= 0.0 ? color * color : 0.0;
    twilight_sky = sine >= full_day_sine ? 1.0 : sine >= astronomical_sine ? sky * sky * sky * sky : 0.0;
}

double sun_strength(const sun_sky& s, bool follows_distance)
{
    if (s.altitude < lowest_sun || s.cloudiness > thickest_clouds) { return 0.0; }
    const double clear = 1.0 - s.cloudiness;
    const double t = extinction / (clear * clear * std::sin(s.altitude));
    if (t > 100.0) { return 0.0; }
    const double distance =
        follows_distance && !(s.flags & SUN_BY_ANGLES) ? distance_factor(s.day_of_year) : 1.0;
    return outside_air * distance * std::exp(-t) * s.sun_intensity;
}

/// Square of the mean over the day's distance of the sun: the Fourier series of Spencer (Search 2(5), 1971).
double distance_factor(int32_t day)
{
    const double g = 2.0 * M_PI * day / 365.0;
    return 1.00011 + 0.034221 * std::cos(g) + 0.00128 * std::sin(g) + 0.000719 * std::cos(2.0 * g) +
           0.000077 * std::sin(2.0 * g);
}

/// The sky's strength before the user's factor and the twilight; `is_dark` where it is at its floor.
double sky_base(const sun_sky& s, bool& is_dark)
{
    const double c = s.cloudiness;
    const bool clear = c <= 0.5;
    double strength = clear ? 300.0 + (0.5 - c) : 300.0;
    if (s.altitude >= 0.0)
    {
        const double a = clear ? 15500.0 + 59000.0 * c : 69000.0 - 48000.0 * c;
        strength += a * std::pow(std::sin(s.altitude), clear ? c + 0.5 : 1.0);
    }
    strength *= table_sky_factor(s.altitude, c);
    is_dark = strength < weakest_sky;
    return is_dark ? weakest_sky : strength;
}

/// Between the zenith and the sun, nearer the zenith as clouds grow.
vector3 sky_axis(const sun_sky& s)
{
    const vector3& d = s.sun_direction;
    return normalized({ -0.5 * d.x, -0.5 * d.y, 0.25 * s.cloudiness + 0.5 - 0.5 * d.z });
}

void set_colors(sun_sky& s, bool is_dark)
{
    if (s.flags & SUN_RGB_COLORS)
    {
        std::copy_n(s.direct_sun_rgb, 3, s.sun_color);
        std::copy_n(s.direct_sky_rgb, 3, s.sky_color);
        clear_sky& sky = current_clear_sky = clear_sky_of(s, s.sky_ct0, s.sun_ct0);
        for (double* rgb : { sky.zenith, sky.horizon, sky.aureole })
        {
            std::copy_n(s.direct_sky_rgb, 3, rgb);
        }
        return;
    }
    const double day = twilight_color, c = s.cloudiness;
    const double sun_kelvin = s.sun_ct0 * day + (1.0 - day) * s.sun_ct1;
    CT_to_RGB(float(sun_kelvin), s.sun_color);
    const double kelvin = s.cloudy_ct * c + (1.0 - c) * (s.sky_ct0 * day + (1.0 - day) * s.sky_ct1);
    current_clear_sky = clear_sky_of(s, kelvin, sun_kelvin);
    std::fill_n(s.sky_color, 3, 1.0f);
    if (!is_dark) { CT_to_RGB(float(kelvin), s.sky_color); }
}

void set_sun_light(const sun_sky& s)
{
    light& l = sun_light;
    l = {};
    l.type = LIGHT_PARALLEL;
    l.distribution = DISTRIBUTION_DEFAULT;
    l.color_temperature = 5000.0f;
    l.filter[0] = l.filter[1] = l.filter[2] = 1.0f;
    l.shadow_strength = 1.0;
    l.shadow_samples = s.sun_samples;
    l.sample_jitter = s.sun_jitter;
    l.disc_size = float(s.sun_size);
    lt_parallel_create(&l); // the operations
    l.azimuth = s.azimuth;
    l.altitude = s.altitude;
    l.normal = s.sun_direction;
    zr_make_axes(&l.normal, &l.axis_u, &l.axis_v, 0.0001);
    l.simple_brightness = s.sun_intensity;
    for (int i = 0; i < 3; ++i)
    {
        l.plain_color[i] = s.sun_color[i];
        l.simple_color[i] = s.sun_color[i] * s.sun_intensity;
        l.illuminance_color[i] = float(s.sun_color[i] * s.sun_strength);
    }
}

} // namespace
