#include "zirconlite/sampling/lit_vertex.hpp"

#include <cmath>

#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/shadow_rays.hpp"
#include "zirconlite/sampling/lobe.hpp"

namespace zr
{

namespace
{

/// The corners of the triangle at a hit.
struct triangle_at_hit
{
    bool is_smooth;
    vector3 position[3], normal[3];
};

void take_corners(const triangle_visit* visit, scene_object*)
{
    auto& corners = *static_cast<triangle_at_hit*>(visit->extra);
    for (int i = 0; i < 3; ++i)
    {
        corners.position[i] = visit->position[i];
        corners.normal[i] = visit->normal[i];
    }
    corners.is_smooth = visit->vertex_count == 3;
}

triangle_at_hit corners_of(const ray& r)
{
    triangle_at_hit corners = {};
    const object_vft& vft = *r.hit_object->vft;
    if (vft.complete_hit && vft.visit_triangles &&
        dot(r.geometric_normal, r.interpolated_normal) < 1.0 - 1e-6)
    {
        vft.visit_triangles(r.hit_object, nullptr, nullptr, take_corners, &corners);
    }
    return corners;
}

/// Where shadow rays of a smoothly shaded triangle start: on the curved surface that its corner normals mean,
/// so that the edge of a body's own shadow has no stairs. Hanika, "Hacking the shadow terminator" (Ray
/// Tracing Gems II, 2021).
vector3 smooth_origin(const ray& r, const triangle_at_hit& corners, bool back)
{
    const double weight[3] = { r.element_coords[2], r.element_coords[1], r.element_coords[0] };
    vector3 origin = r.hit_point;
    for (int i = 0; i < 3; ++i)
    {
        const bool faces_eye = dot(corners.normal[i], r.facing_normal) >= 0.0;
        const vector3 normal = faces_eye != back ? corners.normal[i] : -corners.normal[i];
        const double below = std::fmin(dot(r.hit_point - corners.position[i], normal), 0.0);
        origin -= (weight[i] * below) * normal;
    }
    return origin;
}

} // namespace

bool scattering(
    const lit_vertex& v, const vector3& direction, bool shows_highlight, double share[3], bool& back)
{
    const ray& r = v.path.r;
    const double cosine = dot(direction, r.shading_normal);
    back = cosine <= 0.0;
    const double spread = (back ? v.s.translucent * -cosine : v.lobe.diffuse * cosine) * inverse_pi;
    double lobe = 0.0;
    if (!back && v.mirror && shows_highlight && !(v.object_flags & OBJECT_NO_HIGHLIGHT))
    {
        // The part of the lobe that would go into the surface is folded back.
        lobe = lobe_density(dot(direction, *v.mirror), v.lobe.exponent) +
               lobe_density(dot(direction - 2.0 * cosine * r.shading_normal, *v.mirror), v.lobe.exponent);
    }
    for (int i = 0; i < 3; ++i) { share[i] = spread * v.s.color[i] + lobe * v.lobe.reflected[i]; }
    return share[0] > 0.0 || share[1] > 0.0 || share[2] > 0.0;
}

ray shadow_ray(const lit_vertex& v, const vector3& direction, double distance, bool back)
{
    const document& d = v.path.doc;
    ray shadow = make_shadow_ray(d, v.path.r, v.s, { 0.01, 0.003333, back });
    const triangle_at_hit corners = corners_of(v.path.r);
    if (corners.is_smooth) { shadow.origin = smooth_origin(v.path.r, corners, back); }
    shadow.direction = direction;
    shadow.inv_direction = ray_reciprocal(direction);
    shadow.t_max = distance - 10.0 * d.epsilon;
    return shadow;
}

void count_shadow_ray(const lit_vertex& v, const double seen[3])
{
    if (v.path.bounces > 0) { return; }
    v.path.found.hidden_chance += luminance(seen);
    ++v.path.found.shadow_rays;
}

void add_unblocked(const lit_vertex& v, const light* source, ray& shadow, const double light[3])
{
    path_light& found = v.path.found;
    double seen[3];
    for (int i = 0; i < 3; ++i) { seen[i] = light[i] * v.path.r.weight[i]; }
    count_shadow_ray(v, seen);
    if (shadow_test(v.path.doc, source, shadow)) { return; }
    for (int i = 0; i < 3; ++i) { found.radiance[i] += seen[i] * shadow.simple_color[i]; }
}

} // namespace zr
