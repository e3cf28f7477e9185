/// @file
/// Lines and tubes. The light's own operation takes points of the axis; `sample_tube` takes points of the
/// lateral surface, spread by the angles at which the shading point sees them: evenly round the tube, and
/// along it by the solid angle where it is diffuse, else by the angle, which evens out the square of the
/// distance as Kulla and Fajardo do along rays, "Importance sampling techniques for path tracing in
/// participating media" (2012).
#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_emission.hpp"

using namespace zr;

namespace
{

int32_t tube_sample_count(const light* l, const vector3* point)
{
    if (l->radius == 0.0) { return 1; }
    const vector3 to_point = *point - l->position;
    return 100.0 * l->radius > dot(to_point, to_point) ? 17 : 5;
}

/// Of the middle and fourteen places along the tube, the one nearest to a point.
double nearest_place(const light& l, const vector3& point)
{
    constexpr int sixteenths[] = { 8, 1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15 };
    double best = 0.5, least = ZR_FAR;
    for (const int k : sixteenths)
    {
        const double u = k / 16.0;
        const double d = length(l.position + (u - 0.5) * l.length * l.axis_u - point);
        if (d < least)
        {
            least = d;
            best = u;
        }
    }
    return best;
}

int32_t tube_sample(const light* l, const vector3* point, source_sample* samples, int32_t n)
{
    for (source_sample* s = samples; s < samples + n; ++s)
    {
        // One sample that stands for the whole tube is taken where the tube is nearest.
        if (l->length != 0.0 && s->u == 0.5 && s->v == 0.5) { s->u = s->v = nearest_place(*l, *point); }
        s->point = l->position + (s->u - 0.5) * l->length * l->axis_u;
        finish_sample(*l, *point, *s);
    }
    return 1;
}

} // namespace

void zr::sample_tube(const light& l, const vector3& shading_point, source_sample& s)
{
    const vector3 to_middle = l.position - shading_point;
    const double along = dot(to_middle, l.axis_u);
    const vector3 across = to_middle - along * l.axis_u;
    const double d = length(across);
    if (!(d > 1e-9 * l.length) || l.length == 0.0)
    {
        s.point = l.position + (s.u - 0.5) * l.length * l.axis_u;
        finish_sample(l, shading_point, s);
        return;
    }
    if (d <= l.radius && std::fabs(along) > 0.5 * l.length)
    {
        s.point = l.position;
        finish_sample(l, shading_point, s);
        color_sample(l, 0.0, s); // its ends are dark
        return;
    }
    const vector3 toward = across * (1.0 / d), aside = cross(l.axis_u, toward);
    const double radius = l.radius < d ? l.radius : 0.0;
    const double half_width = radius > 0.0 ? std::asin(radius / d) : 0.0,
                 turn = (2.0 * s.v - 1.0) * half_width;
    const double cosine = std::cos(turn), sine = std::sin(turn);
    const double near = d * cosine - std::sqrt(std::fmax(radius * radius - d * d * sine * sine, 0.0));
    const double low = along - 0.5 * l.length, high = along + 0.5 * l.length;
    double z, extent;
    if (law_of(l, true) == emission_law::sine)
    {
        const double from = low / std::hypot(low, near), to = high / std::hypot(high, near),
                     at = from + s.u * (to - from);
        z = near * at / std::sqrt(std::fmax(1.0 - at * at, 1e-300));
        extent = to - from;
    }
    else
    {
        const double from = std::atan2(low, near), to = std::atan2(high, near);
        z = near * std::tan(from + s.u * (to - from));
        extent = to - from;
    }
    z = std::clamp(z, low, high);
    s.direction = near * (cosine * toward + sine * aside) + z * l.axis_u;
    s.distance = length(s.direction);
    s.direction = normalized(s.direction);
    s.point = shading_point + s.direction * s.distance;
    // By the sine, intensity over the cosine of the height along the axis is the same everywhere.
    const double factor = law_of(l, true) == emission_law::sine ? 1.0 : emission_factor(l, s.direction);
    const double width = radius > 0.0 ? half_width / radius : 1.0 / d;
    const double reach = l.falloff == 2.0 ? s.distance * s.distance : std::pow(s.distance, l.falloff);
    color_sample(l, factor * width * extent / l.length * reach, s);
}

void lt_cylindrical_create(light* source)
{
    clamp_light_to_ranges(*source);
    source->axis_u = normalized(source->axis_u);
    source->sample_count = tube_sample_count;
    source->sample = tube_sample;
    derive_brightness(*source);
    zr_get_color_intensity(source);
}
