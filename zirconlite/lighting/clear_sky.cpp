#include "zirconlite/lighting/clear_sky.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/lighting/sun_light.hpp"

namespace zr
{

clear_sky current_clear_sky = { 0.0, 0.0, { 1, 1, 1 }, { 1, 1, 1 }, { 1, 1, 1 } };

namespace
{

constexpr double coolest = 25000.0, warmest = 4000.0;   // where the law of daylight ends
constexpr double white[3] = { 1.1037, 0.9872, 0.8220 }; // daylight of 5,500 K
// Reciprocal temperature of a clear sky at its zenith and its horizon, relative to the mean.
constexpr double zenith_share = 0.5, horizon_share = 1.1;
constexpr double horizon_fade = 0.05; // height below the horizon where the ground's share of the law begins
constexpr int quadrature_rows = 48;

/// What the sky has around the sun: the indicatrix, and how far its colour is the aureole's.
struct around_sun
{
    double shape, glow;
};

around_sun at_angle(double angle);

/// The same over the length of the difference of two directions, which is even in small angles.
struct around_sun_table
{
    static constexpr int steps = 8192;

    float shape[steps + 2], glow[steps + 2];

    around_sun_table()
    {
        for (int i = 0; i <= steps + 1; ++i)
        {
            const around_sun here = at_angle(2.0 * std::asin(std::min(double(i) / steps, 1.0)));
            shape[i] = float(here.shape);
            glow[i] = float(here.glow);
        }
    }
};

double daylight_x(double kelvin);
void measure(const sun_sky& sky, double& function, double& shape);
around_sun look_up_around_sun(const sun_sky& sky, const vector3& direction);
double clear_shape(double z, double around_sun);
double height_share(double z);

} // namespace

void daylight_color(double kelvin, double rgb[3])
{
    const double x = daylight_x(std::clamp(kelvin, warmest, coolest));
    const double y = -3.0 * x * x + 2.87 * x - 0.275;
    const double big_x = x / y, big_z = (1.0 - x - y) / y;
    const double linear[3] = { 3.2406 * big_x - 1.5372 - 0.4986 * big_z,
        -0.9689 * big_x + 1.8758 + 0.0415 * big_z, 0.0557 * big_x - 0.2040 + 1.0570 * big_z };
    const double adapted[3] = { linear[0] / white[0], linear[1] / white[1], linear[2] / white[2] };
    const double scale = 1.0 / luminance(adapted);
    for (int i = 0; i < 3; ++i) { rgb[i] = adapted[i] * scale; }
}

clear_sky clear_sky_of(const sun_sky& sky, double sky_kelvin, double sun_kelvin)
{
    clear_sky made;
    made.share = 1.0 - std::clamp(sky.cloudiness, 0.0, 1.0);
    double function, shape;
    measure(sky, function, shape);
    made.scale = shape > 0.0 ? sky.sky_strength * function / shape : 0.0;
    daylight_color(sky_kelvin / (1.0 + (zenith_share - 1.0) * made.share), made.zenith);
    daylight_color(sky_kelvin / (1.0 + (horizon_share - 1.0) * made.share), made.horizon);
    daylight_color(sun_kelvin, made.aureole);
    return made;
}

void sky_radiance(const sun_sky& sky, const vector3& direction, double rgb[3])
{
    const clear_sky& c = current_clear_sky;
    const double z = direction.z;
    const double share = c.share * std::clamp(1.0 + z / horizon_fade, 0.0, 1.0);
    double y = sky_luminance(sky, direction) * sky.sky_strength, glow = 0.0;
    if (share > 0.0)
    {
        const around_sun around = look_up_around_sun(sky, direction);
        y = y * (1.0 - share) + c.scale * clear_shape(z, around.shape) * share;
        glow = share * around.glow;
    }
    const double s = height_share(z);
    for (int i = 0; i < 3; ++i)
    {
        const double away = c.horizon[i] + (c.zenith[i] - c.horizon[i]) * s;
        rgb[i] = y * (away + (c.aureole[i] - away) * glow);
    }
}

namespace
{

/// Chromaticity x of daylight.
double daylight_x(double kelvin)
{
    const double t = 1000.0 / kelvin;
    return kelvin <= 7000.0 ? 0.244063 + t * (0.09911 + t * (2.9678 - t * 4.6070))
                            : 0.237040 + t * (0.24748 + t * (1.9018 - t * 2.0064));
}

/// Horizontal irradiance of the sky function and of the clear shape, both up to the same factor.
void measure(const sun_sky& sky, double& function, double& shape)
{
    constexpr int n = quadrature_rows;
    function = shape = 0.0;
    for (int row = 0; row < n; ++row)
    {
        const double z = std::sqrt((row + 0.5) / n), r = std::sqrt(1.0 - z * z);
        for (int column = 0; column < 2 * n; ++column)
        {
            const double turn = pi * (column + 0.5) / n;
            const vector3 from = { r * std::cos(turn), r * std::sin(turn), z };
            function += sky_luminance(sky, from);
            shape += clear_shape(z, look_up_around_sun(sky, from).shape);
        }
    }
}

around_sun look_up_around_sun(const sun_sky& sky, const vector3& direction)
{
    static const around_sun_table table;
    const double away = 0.5 * (1.0 + dot(sky.sun_direction, direction)); // `sun_direction` is that of light
    const double place = std::sqrt(std::clamp(away, 0.0, 1.0)) * around_sun_table::steps;
    const int i = int(place);
    const double share = place - i;
    return { table.shape[i] + (table.shape[i + 1] - table.shape[i]) * share,
        table.glow[i] + (table.glow[i + 1] - table.glow[i]) * share };
}

around_sun at_angle(double angle)
{
    constexpr double c = 10.0, d = -3.0, e = 0.45;
    const double cosine = std::cos(angle);
    return { 1.0 + c * (std::exp(d * angle) - std::exp(d * half_pi)) + e * cosine * cosine,
        std::exp(-4.0 * angle) };
}

/// Luminance of a clear sky up to a factor: a gradation to the horizon and an indicatrix round the sun. The
/// standard clear sky of CIE S 011 (ISO 15469:2004), type 12.
double clear_shape(double z, double around_sun)
{
    constexpr double b = -0.32;
    return (1.0 - std::exp(b / std::max(z, 0.01))) * around_sun;
}

/// How far a direction is from the horizon's colour to the zenith's: most of the way at 30 degrees.
double height_share(double z)
{
    const double below = 1.0 - std::clamp(z, 0.0, 1.0);
    return 1.0 - below * below * below;
}

} // namespace

} // namespace zr
