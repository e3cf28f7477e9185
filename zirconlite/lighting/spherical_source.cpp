/// @file
/// Point lights and small spheres. The light's own operation samples a sphere as the square that faces the
/// shading point; `sample_sphere` takes the cone of directions in which the point sees it.
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_emission.hpp"

using namespace zr;

namespace
{

int32_t spherical_sample_count(const light* l, const vector3* point)
{
    if (l->radius == 0.0) { return 1; }
    const vector3 to_point = *point - l->position;
    return 100.0 * l->radius > dot(to_point, to_point) ? 17 : 5;
}

int32_t spherical_sample(const light* l, const vector3* point, source_sample* samples, int32_t n)
{
    vector3 a, b;
    bool has_axes = false;
    for (source_sample* s = samples; s < samples + n; ++s)
    {
        s->point = l->position;
        if (l->radius != 0.0 && (s->u != 0.5 || s->v != 0.5))
        {
            if (!has_axes)
            {
                const vector3 outward = normalized(*point - l->position);
                zr_make_axes(&outward, &a, &b, 1e-5);
                has_axes = true;
            }
            s->point += a * (2.0 * (s->u - 0.5) * l->radius) + b * (2.0 * (s->v - 0.5) * l->radius);
        }
        finish_sample(*l, *point, *s);
    }
    return 1;
}

} // namespace

void zr::sample_sphere(const light& l, const vector3& shading_point, source_sample& s)
{
    const vector3 to_light = l.position - shading_point;
    const double d = length(to_light), sine_squared = d > 0.0 ? l.radius * l.radius / (d * d) : 1.0;
    if (sine_squared >= 1.0)
    {
        s.point = l.position;
        finish_sample(l, shading_point, s);
        return;
    }
    const double cos_rim = std::sqrt(1.0 - sine_squared),
                 depth = sine_squared / (1.0 + cos_rim); // 1 - cos_rim
    const double x = 2.0 * s.u - 1.0, y = 2.0 * s.v - 1.0, rr = std::fmin(x * x + y * y, 1.0);
    const double cosine = 1.0 - rr * depth;
    // The sine is radius x spread, with the radius taken into x and y.
    const double spread = std::sqrt(depth * (1.0 + cosine));
    const vector3 axis = to_light * (1.0 / d);
    vector3 a, b;
    zr_make_axes(&axis, &a, &b, 1e-5);
    s.direction = axis * cosine + a * (x * spread) + b * (y * spread);
    const double off_axis = d * d * (1.0 - cosine * cosine), inside = l.radius * l.radius - off_axis;
    s.distance = d * cosine - std::sqrt(std::fmax(inside, 0.0));
    s.point = shading_point + s.direction * s.distance;
    color_sample(l, s);
    // The cone's solid angle over that of the far sphere; the distance that counts is that of the middle.
    const double nearness = s.distance / d;
    const double scale =
        2.0 / (1.0 + cos_rim) * (l.falloff == 2.0 ? nearness * nearness : std::pow(nearness, l.falloff));
    for (double& c : s.color) { c *= scale; }
}

void lt_spherical_create(light* light)
{
    clamp_light_to_ranges(*light);
    light->sample_count = spherical_sample_count;
    light->sample = spherical_sample;
    derive_brightness(*light);
    zr_get_color_intensity(light);
}
