#include "zirconlite/raytrace/shading.hpp"

#include "zirconlite/environment/ground.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/emission.hpp"
#include "zirconlite/raytrace/secondary_rays.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace zr
{

namespace
{

void shade_inside(
    document& doc, surface& s, ray& r, const vector3& mirror, double d, background_function background);
void shade_outside(
    document& doc, surface& s, ray& r, const vector3& mirror, double d, background_function background);
void add_emission(const document& doc, const surface& s, ray& r);

} // namespace

void clear_results(ray& r)
{
    for (int i = 0; i < 3; ++i)
    {
        r.radiance[i] = -1.0;
        r.background[i] = -1.0f;
        r.simple_color[i] = r.light_radiance[i] = 0.0f;
    }
    r.alpha = r.sky_variance = 0.0f;
}

void add_ray_results(const ray& child, ray& parent)
{
    const bool radiance_replaces = parent.radiance[0] < 0.0,
               background_replaces = parent.background[0] < 0.0f;
    for (int i = 0; i < 3; ++i)
    {
        if (child.radiance[0] >= 0.0)
        {
            parent.radiance[i] = child.radiance[i] + (radiance_replaces ? 0.0 : parent.radiance[i]);
        }
        if (child.background[0] >= 0.0f)
        {
            parent.background[i] = child.background[i] + (background_replaces ? 0.0f : parent.background[i]);
        }
        parent.light_radiance[i] += child.light_radiance[i];
        parent.simple_color[i] += child.simple_color[i];
    }
    parent.sky_variance += child.sky_variance;
}

bool trace_ray(document& doc, ray& r, background_function background)
{
    r.hit_object = nullptr;
    r.hit_element = 0;
    ground_test(doc, r);
    if (find_nearest_hit(doc, r)) { r.hit_ground = 0; }
    else if (!r.hit_ground)
    {
        r.path_length = r.hit_t;
        if (background) { background(doc, r); }
        return false;
    }
    r.map_point = r.hit_point;
    surface s;
    r.hit_object->vft->get_surface(r.hit_object, &r, &s);
    shade(doc, s, r, background);
    return true;
}

void shade(document& doc, surface& s, ray& r, background_function background)
{
    if (r.counters) { ++r.counters->shaded_points; }
    for (double& c : r.radiance) { c = 0.0; }
    const double d = std::fabs(dot(r.direction, r.shading_normal));
    const vector3 mirror = r.direction + 2.0 * d * r.shading_normal;
    if (r.flags & RAY_INSIDE) { shade_inside(doc, s, r, mirror, d, background); }
    else { shade_outside(doc, s, r, mirror, d, background); }
}

size_t shading_stack_bytes(int32_t reflect_limit, int32_t refract_limit)
{
    // A level takes two rays, a surface and the frames of a material tree; sanitizers make frames larger.
    constexpr size_t base = 512 * 1024, per_level = 48 * 1024;
    return base + per_level * size_t(reflect_limit + refract_limit + 2);
}

namespace
{

void shade_inside(
    document& doc, surface& s, ray& r, const vector3& mirror, double d, background_function background)
{
    if (s.attenuation != 0.0f && s.transparent != 0.0f)
    {
        const double kept = std::pow(std::fmax(1.0 - s.attenuation, 0.0), r.hit_t);
        for (double& w : r.weight) { w *= kept; }
    }
    const bool reflects = r.hit_object->vft->get_flags(r.hit_object) & OBJECT_INNER_REFLECTION;
    if (s.translucent + s.diffuse > 0.2f || reflects)
    {
        s.highlight = 0.0f;
        add_direct_light(doc, s, r, nullptr);
    }
    add_emission(doc, s, r);
    if (reflects)
    {
        const vector3 direction = normalized(mirror);
        reflect_ray(doc, s, r, d, 0.0, s.highlight > 1.0f ? &direction : nullptr, background);
    }
    exit_ray(doc, s, r, background);
}

void shade_outside(
    document& doc, surface& s, ray& r, const vector3& mirror, double d, background_function background)
{
    add_direct_light(doc, s, r, s.highlight > 1.0f ? &mirror : nullptr);
    add_emission(doc, s, r);
    const double mirrored = entering_reflectance(s, r, d);
    transmit_ray(doc, s, r, d, mirrored, background);
    reflect_ray(doc, s, r, d, mirrored, nullptr, background);
    r.path_length += r.hit_t;
    haze(doc, r);
    if (doc.mode != MODE_SIMPLE) { return; }
    for (int i = 0; i < 3; ++i)
    {
        r.simple_color[i] = std::fmin(std::fmax(r.simple_color[i], 0.0f), 1.0f);
        r.radiance[i] = 0.0;
    }
}

void add_emission(const document& doc, const surface& s, ray& r)
{
    float light[3];
    emission(r.hit_object, s, light);
    for (int i = 0; i < 3; ++i)
    {
        const double seen = light[i] * r.weight[i];
        if (doc.mode == MODE_SIMPLE) { r.simple_color[i] += float(seen); }
        else { r.radiance[i] += seen; }
    }
}

} // namespace

} // namespace zr
