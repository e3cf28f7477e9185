#include "zirconlite/lighting/environment.hpp"

#include "zirconlite/raytrace/gamma_tables.hpp"
#include "zirconlite/raytrace/tone.h"

namespace zr
{

namespace
{

/// The linear colour that `record` shows in the ray's direction. Without a sun the sky is black.
void background_color(const environment& record, float rgb[3])
{
    for (int i = 0; i < 3; ++i) { rgb[i] = record.mode == ENVIRONMENT_FLAT ? record.color0[i] : 0.0f; }
}

} // namespace

bool surrounding_color(
    const document&, const environment& record, const vector3&, float rgb[3], double* luminance_scale)
{
    background_color(record, rgb);
    *luminance_scale = 0.0;
    return record.mode == ENVIRONMENT_FLAT;
}

void environment_prepare(document&, environment&, render_view&) {}

bool ground_prepare(document&)
{
    return false;
}

bool ground_test(const document&, ray& ray)
{
    ray.hit_ground = 0;
    return false;
}

void environment_background(document& document, ray& ray)
{
    const bool reflected = ray.kind == RAY_REFLECTED;
    if (reflected && (document.environment_flags & ENVIRONMENT_REFLECT_NOTHING)) { return; }
    const bool own = reflected && (document.environment_flags & ENVIRONMENT_REFLECTED_OWN);
    float c[3];
    background_color(own ? document.reflected_environment : document.environment, c);
    if (document.mode == MODE_SIMPLE)
    {
        for (int i = 0; i < 3; ++i)
        {
            ray.simple_color[i] +=
                look_up(gamma.simple_float, static_cast<float>(c[i] * ray.weight[i]), 1.0f);
        }
    }
    else
    {
        inverse_tone(ray.view, ray.view->background_exponent, ray.view->background_scale, c);
        for (int i = 0; i < 3; ++i) { ray.background[i] = static_cast<float>(c[i] * ray.weight[i]); }
    }
    haze(document, ray);
    if (ray.kind == RAY_PRIMARY) { ray.alpha = 1.0f; }
}

void probe_background(document&, ray&) {}

double haze(document&, ray&)
{
    return 1.0;
}

} // namespace zr
