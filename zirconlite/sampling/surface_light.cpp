// Light that surfaces send to others: what glows, and what flat mirrors throw back from luminaires and the
// sun.
#include <cmath>

#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/direct_sun.hpp"
#include "zirconlite/raytrace/emission.hpp"
#include "zirconlite/raytrace/shadow_rays.hpp"
#include "zirconlite/sampling/light_tree.hpp"
#include "zirconlite/sampling/lit_vertex.hpp"
#include "zirconlite/sampling/lobe.hpp"
#include "zirconlite/sampling/path_ways.hpp"
#include "zirconlite/sampling/scene_survey.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace zr
{

namespace
{

/// Whether light from all around counts; that in a lobe is found by paths.
bool scatters(const lit_vertex& v) { return v.lobe.diffuse > 0.0 || v.s.translucent > 0.0f; }

/// A panel that may throw light to the vertex.
struct mirror_choice
{
    const flat_panel& panel;
    int32_t index;
    double chance; ///< of having been chosen
};

/// The mirror itself, where the ray meets the panel at `distance`. False where something else is there.
bool find_mirror(
    const lit_vertex& v, const ray& to_panel, double distance, double margin, int32_t index, ray& at)
{
    at = to_panel;
    at.kind = RAY_REFLECTED;
    at.t_min = distance - margin;
    at.t_max = at.hit_t = distance + margin;
    at.hit_object = nullptr;
    at.hit_element = 0;
    if (!find_nearest_hit(v.path.doc, at) || mirror_panel_of(*at.hit_object) != index) { return false; }
    at.map_point = at.hit_point;
    return true;
}

/// What a polished flat surface throws back; false where bumps bend it or it blurs.
bool mirrored_share(ray& at, const flat_panel& panel, surface& s, double share[3])
{
    constexpr double flat = 1.0 - 1e-5;
    at.hit_object->vft->get_surface(at.hit_object, &at, &s);
    const double cosine = std::fabs(dot(at.direction, at.shading_normal));
    const double fresnel = s.transparent * entering_fresnel(at, s, cosine);
    const specular_lobe lobe = lobe_of(s, fresnel);
    if (lobe.exponent != 0.0 || (s.flags & SURFACE_NO_MIRROR) ||
        std::fabs(dot(at.shading_normal, panel.normal)) < flat)
    {
        return false;
    }
    for (int i = 0; i < 3; ++i) { share[i] = lobe.reflected[i] + fresnel; }
    return true;
}

/// Adds light by one reflection. `image` is the light as the vertex's mirror image receives it; `source` null
/// for the sun.
void add_by_mirror(
    const lit_vertex& v, const mirror_choice& mirror, const light* source, const arriving_light& image)
{
    const document& d = v.path.doc;
    const double margin = 20.0 * d.epsilon;
    const vector3 direction = mirrored_direction(mirror.panel, image.direction);
    double share[3], mirrored[3], t;
    bool back;
    if (!scattering(v, direction, false, share, back)) { return; }
    ray first = shadow_ray(v, direction, image.distance, back);
    if (!meets_panel(mirror.panel, first.origin, direction, t) || t >= image.distance || t < 3.0 * margin)
    {
        return;
    }
    first.t_max = t - 2.0 * margin;
    first.shadow_light = source ? source : &sun_light;
    ray at;
    surface s;
    if (!find_mirror(v, first, t, margin, mirror.index, at) || !mirrored_share(at, mirror.panel, s, mirrored))
    {
        return;
    }
    double seen[3];
    for (int i = 0; i < 3; ++i)
    {
        seen[i] = image.light[i] / mirror.chance * share[i] * v.path.r.weight[i] * mirrored[i];
    }
    count_shadow_ray(v, seen);
    if (shadow_test(v.path.doc, source, first)) { return; }
    ray second = make_shadow_ray(d, at, s, { 0.01, 0.003333, false });
    second.direction = image.direction;
    second.inv_direction = ray_reciprocal(image.direction);
    second.t_max = image.distance < ZR_FAR ? image.distance - t - 10.0 * d.epsilon : image.distance;
    second.shadow_light = first.shadow_light;
    if (shadow_test(v.path.doc, source, second)) { return; }
    for (int i = 0; i < 3; ++i)
    {
        v.path.found.radiance[i] += seen[i] * first.simple_color[i] * second.simple_color[i];
    }
}

/// How much a panel may matter at a point: its apparent size, by what it mirrors.
double apparent_mirror(const flat_panel& panel, const vector3& point)
{
    const vector3 to = panel.middle - point;
    const double reach = dot(to, to) + panel.area;
    return panel.mirrored * panel.area * std::fabs(dot(panel.normal, to)) / (reach * std::sqrt(reach));
}

void add_mirrored_luminaire(const lit_vertex& v, const mirror_choice& mirror, const vector3& point, double u)
{
    const vector3 normal = mirrored_direction(mirror.panel, v.path.r.shading_normal);
    const light_pick pick = pick_light(point, normal, v.s.translucent > 0.0f, u);
    arriving_light image;
    if (!pick.source || !sample_source(v, *pick.source, point, numbers(v, pair_light_point), image))
    {
        return;
    }
    v.path.found.left_to_chance |= pick.probability < 1.0;
    for (double& c : image.light) { c /= pick.probability; }
    add_by_mirror(v, mirror, pick.source, image);
}

} // namespace

void add_mirrored_light(const lit_vertex& v)
{
    size_t count;
    const flat_panel* panels = mirror_panels(count);
    if (count == 0 || !scatters(v)) { return; }
    const vector3& hit = v.path.r.hit_point;
    double weights[max_panels], sum = 0.0;
    for (size_t i = 0; i < count; ++i) { sum += weights[i] = apparent_mirror(panels[i], hit); }
    if (!(sum > 0.0)) { return; }
    const unit_pair choice = numbers(v, pair_light_choice);
    double left = choice.v * sum;
    size_t taken = 0;
    while (taken + 1 < count && left >= weights[taken]) { left -= weights[taken++]; }
    const mirror_choice mirror = { panels[taken], int32_t(taken), weights[taken] / sum };
    if (!(mirror.chance > 0.0) || mirror_panel_of(*v.path.r.hit_object) == mirror.index) { return; }
    v.path.found.left_to_chance |= mirror.chance < 1.0;
    const vector3 point = mirrored_point(mirror.panel, hit);
    add_mirrored_luminaire(v, mirror, point, choice.u);
    arriving_light sun;
    if (sample_sun(v, point, sun)) { add_by_mirror(v, mirror, nullptr, sun); }
}

void add_glow(const lit_vertex& v)
{
    if (!surfaces_glow() || !scatters(v)) { return; }
    v.path.found.left_to_chance = true;
    const ray& r = v.path.r;
    const unit_pair at = numbers(v, pair_glow);
    const glowing_point to = pick_glowing_point(at.u, at.v);
    const vector3 way = to.point - r.hit_point;
    const double distance = length(way);
    if (!(distance > 20.0 * v.path.doc.epsilon)) { return; }
    const vector3 direction = way * (1.0 / distance);
    const lit_vertex diffuse = { v.path, v.s, v.lobe, nullptr, v.bounce, v.object_flags };
    double share[3];
    bool back;
    if (!scattering(diffuse, direction, false, share, back)) { return; }
    // The glow where the ray meets it, as a path would see it.
    ray seen = r;
    seen.kind = RAY_REFLECTED;
    seen.origin = r.hit_point;
    seen.direction = direction;
    seen.inv_direction = ray_reciprocal(direction);
    seen.t_min = 0.0;
    seen.t_max = seen.hit_t = distance * (1.0 + 1e-6) + 20.0 * v.path.doc.epsilon;
    seen.hit_object = nullptr;
    if (!to.object->vft->intersect(&seen, to.object, 0.0, seen.t_max)) { return; }
    complete_hit(seen);
    seen.map_point = seen.hit_point;
    surface s;
    to.object->vft->get_surface(to.object, &seen, &s);
    float glow[3];
    emission(to.object, s, glow);
    const double facing = std::fabs(dot(direction, to.normal));
    if (!(facing > 1e-9)) { return; }
    const double density = to.density * distance * distance / facing;
    const double even = std::fabs(dot(direction, r.shading_normal)) * inverse_pi;
    const double weight = strategy_weight(density, bounce_density(v.bounce, back, direction, even)) / density;
    const double light[3] = { glow[0] * share[0] * weight, glow[1] * share[1] * weight,
        glow[2] * share[2] * weight };
    if (!(luminance(light) > 0.0)) { return; }
    ray shadow = shadow_ray(v, direction, distance, back);
    add_unblocked(v, nullptr, shadow, light);
}

} // namespace zr
