/// @file
/// The colours of lights.
#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light.h"

namespace
{

constexpr double white_kelvin = 5000.0;
constexpr double second_radiation_constant = 14388.0;  // micrometre kelvin
constexpr double wavelengths[3] = { 0.6, 0.56, 0.44 }; // micrometres
constexpr double paleness = 0.15;                      // exponent that keeps light colours pale

void own_color(const light& l, float rgb[3]);
double log_planck_denominator(double kelvin, double wavelength);

} // namespace

int32_t zr_get_color_intensity(light* source)
{
    float color[3], groups[3] = { 1.0f, 1.0f, 1.0f };
    own_color(*source, color);
    for (const struct light* group = source->parent; group; group = group->parent)
    {
        float rgb[3];
        own_color(*group, rgb);
        for (int i = 0; i < 3; ++i) { groups[i] *= rgb[i]; }
    }
    for (int i = 0; i < 3; ++i)
    {
        color[i] *= groups[i];
        source->plain_color[i] = color[i];
        source->simple_color[i] = color[i] * source->simple_brightness;
        source->flux_color[i] = color[i] * source->lumens;
        source->intensity_color[i] = color[i] * source->candela;
    }
    return 1;
}

void CT_to_RGB(float temperature, float rgb_out[3])
{
    if (!(temperature > 0.0f) || !std::isfinite(temperature))
    {
        std::fill_n(rgb_out, 3, 1.0f);
        return;
    }
    // In logarithms, where a glow of a few kelvin does not vanish.
    double ratio[3];
    for (int i = 0; i < 3; ++i)
    {
        ratio[i] = log_planck_denominator(white_kelvin, wavelengths[i]) -
                   log_planck_denominator(temperature, wavelengths[i]);
    }
    const double largest = std::max({ ratio[0], ratio[1], ratio[2] });
    for (int i = 0; i < 3; ++i) { rgb_out[i] = float(std::exp((ratio[i] - largest) * paleness)); }
}

int32_t zr_decompose_light_matrix(const light* source, vector3 axes[3], double* angle_out)
{
    using namespace zr;
    const bool along = source->flags & LIGHT_FRAME_ALONG_NORMAL;
    const vector3 n = along ? source->normal : -source->normal;
    zr_make_axes(&n, &axes[0], &axes[1], 0.01);
    const double turn = std::atan2(dot(axes[1], source->axis_u), dot(axes[0], source->axis_u));
    *angle_out = along ? turn : -turn;
    axes[2] = source->normal;
    axes[1] = cross(axes[2], axes[0]);
    return 1;
}

int32_t zr_compose_light_matrix(light* source, vector3 axes[3], double angle)
{
    using namespace zr;
    matrix4 turn = {};
    fill_rotation_matrix(&source->normal, angle, &turn);
    for (int i = 0; i < 2; ++i) { axes[i] = transform_vector(turn, axes[i]); }
    source->axis_u = axes[0];
    source->axis_v = axes[1];
    return 1;
}

double get_distribution_factor(
    int32_t n, double (*function)(void* context, double azimuth, double altitude), void* context)
{
    if (n < 1) { return 0.0; }
    const double step = zr::pi / n;
    const double cell = 9.869604400525171 / (double(n) * n);
    double sum = 0.0;
    for (int32_t row = 0; row < n; ++row)
    {
        const double altitude = step / 2 - zr::half_pi + row * step;
        const double weight = std::sin(altitude + zr::half_pi) * cell;
        for (int32_t column = 0; column < 2 * n; ++column)
        {
            double azimuth = step / 2 + column * step;
            if (azimuth >= zr::pi) { azimuth -= zr::two_pi; }
            sum += function(context, azimuth, altitude) * weight;
        }
    }
    return sum;
}

namespace
{

/// The colour of a light or group by itself.
void own_color(const light& l, float rgb[3])
{
    CT_to_RGB(l.color_temperature, rgb);
    for (int i = 0; i < 3; ++i) { rgb[i] *= l.filter[i]; }
}

/// ln(e^x - 1) with x = c2 / (T lambda), which for large x is x itself.
double log_planck_denominator(double kelvin, double wavelength)
{
    const double x = second_radiation_constant / (kelvin * wavelength);
    return x > 50.0 ? x : std::log(expm1(x));
}

} // namespace
