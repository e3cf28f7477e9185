/// @file
/// Point lights and small spheres. A sphere is sampled as the square that faces the shading point.
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_emission.hpp"

using namespace zr;

namespace
{

int32_t spherical_sample_count(const light* l, const vector3* point)
{
    if (l->radius == 0.0) { return 1; }
    const vector3 way = *point - l->position;
    return 100.0 * l->radius > dot(way, way) ? 17 : 5;
}

int32_t spherical_sample(const light* l, const vector3* point, source_sample* samples, int32_t n)
{
    const vector3 outward = normalized(*point - l->position);
    vector3 a, b;
    if (l->radius != 0.0) { zr_make_axes(&outward, &a, &b, 1e-5); }
    for (source_sample* s = samples; s < samples + n; ++s)
    {
        s->point = l->position;
        if (l->radius != 0.0 && (s->u != 0.5 || s->v != 0.5))
        {
            s->point += a * (2.0 * (s->u - 0.5) * l->radius) + b * (2.0 * (s->v - 0.5) * l->radius);
        }
        finish_sample(*l, *point, *s);
    }
    return 1;
}

} // namespace

void lt_spherical_create(light* light)
{
    hold_light_to_ranges(*light);
    light->sample_count = spherical_sample_count;
    light->sample = spherical_sample;
    derive_brightness(*light);
    zr_get_color_intensity(light);
}
