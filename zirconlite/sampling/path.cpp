#include "zirconlite/sampling/path.hpp"

#include <algorithm>

#include "zirconlite/environment/environment.hpp"
#include "zirconlite/environment/ground.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/raytrace/emission.hpp"
#include "zirconlite/raytrace/optics.hpp"
#include "zirconlite/raytrace/pixel_sampler.hpp"
#include "zirconlite/raytrace/sample_pattern.hpp"
#include "zirconlite/raytrace/secondary_rays.hpp"
#include "zirconlite/raytrace/shading.hpp"
#include "zirconlite/raytrace/sky_light_rays.hpp"
#include "zirconlite/sampling/cache_fill.hpp"
#include "zirconlite/sampling/lobe.hpp"
#include "zirconlite/sampling/path_ways.hpp"
#include "zirconlite/sampling/scene_survey.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace zr
{

namespace
{

constexpr diffuse_bounce no_bounce = {};

bool nearest_surface(light_path& p)
{
    ray& r = p.r;
    r.hit_object = nullptr;
    r.hit_element = 0;
    ground_test(p.doc, r);
    if (find_nearest_hit(p.doc, r)) { r.hit_ground = 0; }
    else if (!r.hit_ground) { return false; }
    r.map_point = r.hit_point;
    return true;
}

/// Adds what the ray's own results hold, which are weighed already.
void take_results(light_path& p)
{
    for (int i = 0; i < 3; ++i)
    {
        if (p.r.radiance[0] >= 0.0) { p.found.radiance[i] += p.r.radiance[i]; }
        if (p.r.background[0] >= 0.0f) { p.found.background[i] += p.r.background[i]; }
    }
}

/// The indirect light that has come since `before` is clamped, and counts as the surface's own in the
/// picture's source ratio.
void count_indirect(light_path& p, const double before[3])
{
    if (p.bounces == 0 || p.fill) { return; }
    double light[3];
    for (int i = 0; i < 3; ++i) { light[i] = p.found.radiance[i] - before[i]; }
    const double y = luminance(light), kept = y > job.max_indirect ? job.max_indirect / y : 1.0;
    for (int i = 0; i < 3; ++i)
    {
        p.found.radiance[i] = before[i] + light[i] * kept;
        p.found.light_radiance[i] += light[i] * kept;
    }
}

/// Sky at the end of a path that has bounced. Clouds and colours that were picked give no light.
void end_in_sky(light_path& p)
{
    if (p.last.sky == sky_by_path::counted || !sky_light_shines()) { return; }
    const sky_sample from = sky_light_from(p.r.direction);
    const double before[3] = { p.found.radiance[0], p.found.radiance[1], p.found.radiance[2] };
    double weight = 1.0;
    if (p.last.sky == sky_by_path::weighed)
    {
        const seen_openings seen = openings_from(p.last.point, p.last.normal);
        weight = strategy_weight(p.last.density, sky_ray_density(from, p.last.even_density, seen));
    }
    for (int i = 0; i < 3; ++i) { p.found.radiance[i] += from.radiance[i] * p.r.weight[i] * weight; }
    count_indirect(p, before);
}

void end_in_background(light_path& p)
{
    if (p.bounces > 0)
    {
        end_in_sky(p);
        return;
    }
    clear_results(p.r);
    p.r.path_length = p.r.hit_t;
    environment_background(p.doc, p.r);
    take_results(p);
    if (p.r.kind == RAY_PRIMARY) { p.found.alpha += p.alpha_share; }
}

/// Haze before the hit: its light is added, and the path goes on with what it lets through.
void pass_haze(light_path& p)
{
    clear_results(p.r);
    for (int i = 0; i < 3; ++i)
    {
        p.r.radiance[i] = 0.0;
        p.r.background[i] = 0.0f;
    }
    const double kept = haze(p.doc, p.r);
    if (kept == 1.0) { return; }
    take_results(p);
    for (double& w : p.r.weight) { w *= kept; }
}

/// Share of the glow of the surface at the hit that the path counts: shadow rays aim at it, too.
double glow_by_path(const light_path& p)
{
    if (p.bounces == 0 || p.last.sky == sky_by_path::whole) { return 1.0; }
    const double even = glowing_density(*p.r.hit_object);
    if (even == 0.0) { return 1.0; }
    if (p.last.sky == sky_by_path::counted) { return 0.0; }
    const double facing = std::fabs(dot(p.r.direction, p.r.geometric_normal));
    if (!(facing > 1e-9)) { return 1.0; }
    return strategy_weight(p.last.density, even * p.since_bounce * p.since_bounce / facing);
}

void add_vertex_emission(light_path& p, const surface& s)
{
    if ((p.skips_shapes || p.bounces > 0) && is_light_shape(*p.r.hit_object)) { return; }
    float light[3];
    emission(p.r.hit_object, s, light);
    const double weight = luminance(light) > 0.0 ? glow_by_path(p) : 0.0;
    for (int i = 0; i < 3; ++i) { p.found.radiance[i] += light[i] * weight * p.r.weight[i]; }
}

/// The length of the segment to the hit counts for cells of the light cache.
void measure_segment(light_path& p)
{
    const bool is_first = p.since_bounce == 0.0;
    p.since_bounce += p.r.hit_t;
    if (!p.fill || p.fill->count == 0 || !is_first) { return; }
    p.fill->vertex[p.fill->count - 1].nearness = float(1.0 / std::fmax(p.r.hit_t, p.doc.epsilon));
}

/// Whether the light of a surface is kept in cells, on both sides of what is thin and translucent. What a
/// translucent body has inside follows paths.
bool is_kept(const light_path& p, const met_surface& at)
{
    return at.lobe.diffuse + at.s.translucent > 0.0 &&
           (at.s.translucent == 0.0f || is_thin(p.r.hit_object, at.s)) &&
           !(p.r.hit_object->vft->get_flags(p.r.hit_object) & OBJECT_NO_DIRECT_LIGHT);
}

/// The cell that is read for a side of the surface at the hit, or null. Places are jittered by a cell, which
/// joins cells smoothly.
const cache_cell* cell_to_read(const light_path& p, const vector3& normal)
{
    const light_cache& cache = *p.doc.light_cache;
    const vector3& point = p.r.hit_point;
    cache_reading here;
    if (!find_cell(cache, point, normal, here) || p.since_bounce < here.size) { return nullptr; }
    vector3 u, v;
    zr_make_axes(&normal, &u, &v, 1e-4);
    const unit_pair jitter = numbers(p, pair_light_point);
    cache_reading beside;
    const vector3 moved = point + ((jitter.u - 0.5) * here.size) * u + ((jitter.v - 0.5) * here.size) * v;
    if (find_cell(cache, moved, normal, beside) && is_readable(beside.cell)) { here = beside; }
    return is_readable(here.cell) ? here.cell : nullptr;
}

/// Adds the light that the cache keeps at the hit. False where a path does better: nothing is known, or the
/// surface is so near to the last one that its cell would show.
bool read_cache(light_path& p, const met_surface& at)
{
    const double behind = at.s.translucent;
    const cache_cell* front = at.lobe.diffuse > 0.0 ? cell_to_read(p, p.r.shading_normal) : nullptr;
    const cache_cell* back = behind > 0.0 ? cell_to_read(p, -p.r.shading_normal) : nullptr;
    if ((at.lobe.diffuse > 0.0 && !front) || (behind > 0.0 && !back)) { return false; }
    if (front) { add_kept_light(p, at, at.lobe.diffuse, *front); }
    if (back) { add_kept_light(p, at, behind, *back); }
    return true;
}

/// Keeps what guides the denoiser: the first surface that mostly scatters.
void keep_guides(light_path& p, const surface& s, const specular_lobe& lobe)
{
    path_light& found = p.found;
    const double sent_back = lobe.diffuse + s.translucent;
    if (found.has_guides || p.bounces > 0 || sent_back < 0.3) { return; }
    found.has_guides = true;
    for (int i = 0; i < 3; ++i)
    {
        found.albedo[i] = float(sent_back * s.color[i]);
        found.normal[i] = float(component(p.r.shading_normal, i));
    }
}

/// Whether luminaires show in the lobe of a surface.
bool has_lobe(const specular_lobe& lobe)
{
    return lobe.exponent > 0.0 &&
           (lobe.reflected[0] > 0.0 || lobe.reflected[1] > 0.0 || lobe.reflected[2] > 0.0);
}

/// A surface as what its highlight alone is lit by.
surface without_spread(const surface& s)
{
    surface polished = s;
    polished.translucent = 0.0f;
    return polished;
}

/// The light of a surface seen from outside, and the way on. False at the path's end.
bool meet_outside(light_path& p, met_surface& at)
{
    if (p.bounces == 0) { pass_haze(p); }
    keep_guides(p, at.s, at.lobe);
    outside_ways ways = ways_outside(p, at);
    const diffuse_bounce bounce = bounce_from(p, ways, at);
    const double before[3] = { p.found.radiance[0], p.found.radiance[1], p.found.radiance[2] };
    const vector3* mirror = has_lobe(at.lobe) ? &at.mirror : nullptr;
    const bool keeps = job.caches_light && p.bounces > 0 && is_kept(p, at);
    bool is_lit = !p.fill || p.bounces > 0, is_known = false;
    if (p.fill && keeps && p.fill->count < fill_path::max_vertices)
    {
        // Luminaires in the lobe are no part of what the cell keeps, and no path finds them.
        specular_lobe gloss = at.lobe;
        gloss.diffuse = 0.0;
        if (mirror) { add_vertex_light(p, without_spread(at.s), gloss, mirror, no_bounce); }
        add_vertex_emission(p, at.s);
        return meet_fill_vertex(p, at, ways);
    }
    if (keeps && read_cache(p, at))
    {
        // What is mirrored or passes goes on; the rest of the light is known.
        at.lobe.diffuse = 0.0;
        ways.way[way_bounced] = {};
        is_lit = mirror != nullptr;
        is_known = true;
    }
    if (is_lit) { add_vertex_light(p, is_known ? without_spread(at.s) : at.s, at.lobe, mirror, bounce); }
    add_vertex_emission(p, at.s);
    count_indirect(p, before);
    return leave_outside(p, at, ways, bounce);
}

bool meet_inside(light_path& p, const met_surface& at)
{
    ray& r = p.r;
    const surface& s = at.s;
    if (s.attenuation != 0.0f && s.transparent != 0.0f)
    {
        const double kept = std::pow(std::fmax(1.0 - s.attenuation, 0.0), r.hit_t);
        for (double& w : r.weight) { w *= kept; }
    }
    const bool inner = r.hit_object->vft->get_flags(r.hit_object) & OBJECT_INNER_REFLECTION;
    // What the body scatters has been counted where the path came in.
    if (s.translucent > 0.2f || inner) { add_vertex_light(p, s, at.lobe, nullptr, no_bounce); }
    add_vertex_emission(p, s);
    return leave_inside(p, at);
}

/// Adds the light at the hit and chooses how the path goes on. False at its end.
bool meet_surface(light_path& p, const surface& s)
{
    ray& r = p.r;
    if (r.counters) { ++r.counters->shaded_points; }
    const double d = std::fabs(dot(r.direction, r.shading_normal));
    const bool inside = r.flags & RAY_INSIDE;
    met_surface at = { s, lobe_of(s, inside ? 0.0 : s.transparent * entering_fresnel(r, s, d)),
        normalized(r.direction + 2.0 * d * r.shading_normal), d };
    if (p.doc.render_flags & RENDER_SHARP_REFLECTION) { at.lobe.exponent = 0.0; }
    measure_segment(p);
    if (inside) { return meet_inside(p, at); }
    r.path_length += r.hit_t;
    return meet_outside(p, at);
}

void place_on_lens(const sample_point& point, double stratum[2])
{
    const unit_pair lens = sample_numbers(point, pair_lens);
    const square_point on_disc = square_to_disc({ lens.u, lens.v });
    stratum[0] = on_disc.u - 0.5;
    stratum[1] = on_disc.v - 0.5;
}

} // namespace

double strategy_weight(double density, double other)
{
    const double a = density * density, b = other * other;
    return a + b > 0.0 ? a / (a + b) : 1.0;
}

double sky_ray_density(const sky_sample& from, double even_density, const seen_openings& seen)
{
    const double at_large = sky_light_has_bright_spots() ? 0.5 * (even_density + from.density) : even_density;
    return seen.sum > 0.0 ? 0.5 * (at_large + opening_density(seen, from.direction)) : at_large;
}

double bounce_density(const diffuse_bounce& bounce, int side, const vector3& direction, double even_density)
{
    const guide_cell* guide = bounce.guide[side];
    if (!guide) { return bounce.chance[side] * even_density; }
    return bounce.chance[side] *
           ((1.0 - guided_share) * even_density + guided_share * guided_density(*guide, direction));
}

light_path start_path(document& doc, render_view& view, const ray& prototype, const sample_point& point)
{
    return { doc, view, point, prototype, 0, false, 1.0, 0, 0.0, {}, nullptr, {} };
}

bool aim_path(light_path& p, int32_t thread, const double position[2])
{
    double stratum[2] = { 0.0, 0.0 };
    if (p.doc.render_flags & RENDER_DEPTH_OF_FIELD)
    {
        place_on_lens(p.point, stratum);
        p.found.left_to_chance = true;
    }
    return aim_primary(p.doc, p.view, p.r, thread, position, stratum);
}

void follow_path(light_path& p)
{
    while (nearest_surface(p))
    {
        surface s;
        p.r.hit_object->vft->get_surface(p.r.hit_object, &p.r, &s);
        if (!meet_surface(p, s)) { return; }
    }
    end_in_background(p);
}

path_light trace_path(document& doc, render_view& view, const ray& prototype, int32_t thread,
    const sample_point& point, const double position[2])
{
    light_path p = start_path(doc, view, prototype, point);
    if (aim_path(p, thread, position)) { follow_path(p); }
    return p.found;
}

} // namespace zr
