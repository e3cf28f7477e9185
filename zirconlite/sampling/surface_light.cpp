// Light that surfaces send to others: what glows, and what flat mirrors throw back from luminaires and the
// sun.
#include <cmath>

#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/direct_sun.hpp"
#include "zirconlite/raytrace/emission.hpp"
#include "zirconlite/raytrace/light_shape.hpp"
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

/// Light on its way to a vertex by one reflection: from the vertex it comes from the image of its source.
struct mirrored_source
{
    const flat_panel& panel;
    int32_t index;
    const light* source; ///< null for the sun
    vector3 direction;   ///< from the vertex to the image
    double distance;
    double arrives[3]; ///< without a loss
};

bool is_lit_by(const lit_vertex& v, const light* source)
{
    return !(v.object_flags & (OBJECT_LIGHT_SHAPE | OBJECT_GROUP_UNLIT)) ||
           !is_unlit_by(v.path.r.hit_object, source);
}

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
bool mirrored_share(const ray& at, const flat_panel& panel, surface& s, double share[3])
{
    constexpr double flat = 1.0 - 1e-5;
    at.hit_object->vft->get_surface(at.hit_object, const_cast<ray*>(&at), &s);
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

void add_by_mirror(const lit_vertex& v, const mirrored_source& from)
{
    const document& d = v.path.doc;
    const double margin = 20.0 * d.epsilon;
    double share[3], mirrored[3];
    bool back;
    if (!scattering(v, from.direction, false, share, back)) { return; }
    ray first = shadow_ray(v, from.direction, from.distance, back);
    double t;
    if (!meets_panel(from.panel, first.origin, first.direction, t) || t >= from.distance || t < 3.0 * margin)
    {
        return;
    }
    first.t_max = t - 2.0 * margin;
    first.shadow_light = from.source ? from.source : &sun_light;
    double seen[3];
    for (int i = 0; i < 3; ++i) { seen[i] = from.arrives[i] * share[i] * v.path.r.weight[i]; }
    ray at;
    surface s;
    if (!find_mirror(v, first, t, margin, from.index, at) || !mirrored_share(at, from.panel, s, mirrored))
    {
        return;
    }
    for (int i = 0; i < 3; ++i) { seen[i] *= mirrored[i]; }
    count_shadow_ray(v, seen);
    if (shadow_test(v.path.doc, from.source, first)) { return; }
    ray second = make_shadow_ray(d, at, s, { 0.01, 0.003333, false });
    second.direction = mirrored_direction(from.panel, from.direction);
    second.inv_direction = ray_reciprocal(second.direction);
    second.t_max = from.distance < ZR_FAR ? from.distance - t - 10.0 * d.epsilon : from.distance;
    second.shadow_light = first.shadow_light;
    if (shadow_test(v.path.doc, from.source, second)) { return; }
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

void add_mirrored_luminaire(const lit_vertex& v, const flat_panel& panel, int32_t index, double chance)
{
    const ray& r = v.path.r;
    const vector3 point = mirrored_point(panel, r.hit_point);
    const unit_pair choice = numbers(v, pair_light_choice), at = numbers(v, pair_light_point);
    const light_pick pick =
        pick_light(point, mirrored_direction(panel, r.shading_normal), v.s.translucent > 0.0f, choice.u);
    if (!pick.source || !is_lit_by(v, pick.source)) { return; }
    v.path.found.left_to_chance |= pick.probability < 1.0;
    source_sample sample = {};
    if ((v.path.doc.render_flags & RENDER_SOFT_SHADOWS) && has_extent(*pick.source))
    {
        v.path.found.left_to_chance = true;
        sample_shape(*pick.source, point, { at.u, at.v }, sample);
    }
    else { sample_middle(*pick.source, point, sample); }
    if (sample.flags & SAMPLE_SKIPPED) { return; }
    mirrored_source from = { panel, index, pick.source, {}, sample.distance, {} };
    const bool is_parallel = pick.source->falloff == 0.0 && pick.source->disc_size == 0.0f;
    from.direction = mirrored_direction(panel, is_parallel ? -pick.source->normal : sample.direction);
    const double factor =
        distance_factor(sample.distance, pick.source->falloff) / (pick.probability * chance);
    for (int i = 0; i < 3; ++i) { from.arrives[i] = sample.color[i] * factor; }
    add_by_mirror(v, from);
}

void add_mirrored_sun(const lit_vertex& v, const flat_panel& panel, int32_t index, double chance)
{
    sun_sample sun;
    if (!sample_sun(v, mirrored_point(panel, v.path.r.hit_point), sun)) { return; }
    mirrored_source from = { panel, index, nullptr, mirrored_direction(panel, sun.direction), ZR_FAR, {} };
    for (int i = 0; i < 3; ++i) { from.arrives[i] = sun.light[i] / chance; }
    add_by_mirror(v, from);
}

} // namespace

void add_mirrored_light(const lit_vertex& v)
{
    size_t count;
    const flat_panel* panels = mirror_panels(count);
    if (count == 0) { return; }
    double weights[max_panels], sum = 0.0;
    for (size_t i = 0; i < count; ++i) { sum += weights[i] = apparent_mirror(panels[i], v.path.r.hit_point); }
    if (!(sum > 0.0)) { return; }
    double left = numbers(v, pair_light_choice).v * sum;
    size_t taken = 0;
    while (taken + 1 < count && left >= weights[taken]) { left -= weights[taken++]; }
    const double chance = weights[taken] / sum;
    if (!(chance > 0.0) || mirror_panel_of(*v.path.r.hit_object) == int32_t(taken)) { return; }
    v.path.found.left_to_chance |= chance < 1.0;
    add_mirrored_luminaire(v, panels[taken], int32_t(taken), chance);
    add_mirrored_sun(v, panels[taken], int32_t(taken), chance);
}

void add_glow(const lit_vertex& v)
{
    if (!surfaces_glow() || (v.lobe.diffuse <= 0.0 && v.s.translucent <= 0.0f)) { return; }
    v.path.found.left_to_chance = true;
    const ray& r = v.path.r;
    const unit_pair at = numbers(v, pair_glow);
    const glowing_point to = pick_glowing_point(at.u, at.v);
    const vector3 way = to.point - r.hit_point;
    const double distance = length(way);
    if (to.object == r.hit_object || !(distance > 20.0 * v.path.doc.epsilon)) { return; }
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
    const double weight = strategy_weight(density, v.bounce[back] * even) / density;
    const double light[3] = { glow[0] * share[0] * weight, glow[1] * share[1] * weight,
        glow[2] * share[2] * weight };
    if (!(luminance(light) > 0.0)) { return; }
    ray shadow = shadow_ray(v, direction, distance, back);
    add_unblocked(v, nullptr, shadow, light);
}

} // namespace zr
