#include "zirconlite/sampling/path_ways.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/raytrace/optics.hpp"
#include "zirconlite/raytrace/sample_pattern.hpp"
#include "zirconlite/raytrace/secondary_rays.hpp"
#include "zirconlite/raytrace/shading.hpp"
#include "zirconlite/raytrace/sky_light_rays.hpp"
#include "zirconlite/sampling/cache_fill.hpp"

namespace zr
{

namespace
{

constexpr int32_t always_going_on = 16; ///< bounces after which a path may end by chance
constexpr double mostly = 0.95;
constexpr int32_t max_fill_bounces = 1000;
constexpr double min_continuing = 1e-4; ///< branches below this share are not worth a ray

double largest(const double c[3]) { return std::fmax(c[0], std::fmax(c[1], c[2])); }

/// Of all ways together.
struct chances
{
    double sum, continues; ///< `continues` is that of the path not to end here
};

/// Before it has bounced a path ends only where less than an eighth of a pixel's light is left: what mirrors
/// show stays free of grain. Interreflection has a long tail, which fewer and stronger paths bring as well;
/// in a room that takes no light away it has no end, so that of any path comes by chance.
chances chances_of(const light_path& p, const branch* ways, int count)
{
    double sum = 0.0;
    for (int i = 0; i < count; ++i) { sum += ways[i].chance; }
    const double most = p.bounces < always_going_on ? 1.0 : mostly;
    return { sum, sum > min_continuing ? std::fmin(std::sqrt(p.bounces > 0 ? sum : 8.0 * sum), most) : 0.0 };
}

branch make_branch(const double share[3])
{
    return { { share[0], share[1], share[2] }, std::fmax(largest(share), 0.0) };
}

/// Turns the path's ray into its next segment from the hit.
void go_on(light_path& p, const vector3& direction, double t_min, const branch& way, double probability)
{
    ray& r = p.r;
    for (int i = 0; i < 3; ++i) { r.weight[i] *= way.share[i] / probability; }
    r.origin = r.hit_point;
    r.direction = direction;
    r.inv_direction = ray_reciprocal(direction);
    r.t_min = t_min;
    r.t_max = r.hit_t = ZR_FAR;
    r.hit_ground = 0;
    p.skips_shapes = false;
    ++p.vertex;
}

void go_mirrored(light_path& p, const branch& way, double probability, const vector3& axis, double exponent)
{
    vector3 direction = axis;
    if (exponent > 0.0)
    {
        p.found.left_to_chance = true;
        direction = folded(sample_lobe(axis, exponent, numbers(p, pair_direction)), p.r.shading_normal);
        // Where the faces of a smooth body lie higher than its shading, they throw back as well.
        const vector3& face = p.r.geometric_normal;
        direction = folded(direction, dot(face, p.r.direction) > 0.0 ? -face : face);
    }
    const bool counts_lights = exponent > 0.0;
    p.last.sky = sky_by_path::whole;
    p.r.kind = RAY_REFLECTED;
    ++p.r.reflect_depth;
    if (p.r.counters) { ++p.r.counters->reflection_rays; }
    go_on(p, direction, p.doc.epsilon * 10.0, way, probability);
    p.skips_shapes = counts_lights;
}

void go_through(light_path& p, const surface& s, const branch& way, double probability, bool thin, double d)
{
    ray& r = p.r;
    vector3 direction = r.direction;
    if (!thin)
    {
        const double ior = s.ior > 0.0f ? s.ior : 1.0;
        refract(r.direction, r.shading_normal, 1.0 / ior, d, direction);
    }
    const double exponent = p.doc.render_flags & RENDER_SHARP_TRANSMISSION ? 0.0 : frosted_exponent(s);
    if (exponent > 0.0)
    {
        p.found.left_to_chance = true;
        direction = sample_lobe(direction, exponent, numbers(p, pair_direction));
        direction = -folded(-direction, r.shading_normal);
    }
    const bool bends = !thin || exponent > 0.0;
    if (bends && p.last.sky == sky_by_path::weighed) { p.last.sky = sky_by_path::counted; }
    p.alpha_share *= s.transparent / probability;
    if (!(s.flags & SURFACE_PASS_THROUGH)) { r.kind = RAY_TRANSMITTED; }
    ++r.refract_depth;
    ++r.inside_count;
    if (!thin) { r.flags |= RAY_INSIDE; }
    if (r.counters) { ++r.counters->transmission_rays; }
    go_on(p, direction, p.doc.epsilon * 10.0, way, probability);
}

/// By a guide with a part of the chances, else by the cosine.
vector3 bounced_direction(const vector3& normal, const guide_cell* guide, unit_pair at)
{
    if (!guide) { return cosine_direction(normal, { at.u, at.v }); }
    if (at.u < guided_share) { return guided_direction(*guide, at.u / guided_share, at.v); }
    return cosine_direction(normal, { (at.u - guided_share) / (1.0 - guided_share), at.v });
}

void find_guides(const light_path& p, diffuse_bounce& bounce)
{
    const light_cache& cache = *p.doc.light_cache;
    const vector3& normal = p.r.shading_normal;
    if (bounce.chance[0] > 0.0) { bounce.guide[0] = find_guide(cache, p.r.hit_point, normal); }
    if (bounce.chance[1] > 0.0) { bounce.guide[1] = find_guide(cache, p.r.hit_point, -normal); }
}

bool follows_mirror(const ray& r, const surface& s)
{
    return !(s.flags & SURFACE_NO_MIRROR) && r.reflect_depth < r.reflect_limit;
}

} // namespace

double entering_fresnel(const ray& r, const surface& s, double cosine)
{
    if (s.transparent == 0.0f || !follows_mirror(r, s)) { return 0.0; }
    return shadow_reflectance(s, is_thin(r.hit_object, s), cosine);
}

outside_ways ways_outside(const light_path& p, const met_surface& at)
{
    const ray& r = p.r;
    const surface& s = at.s;
    const bool thin = is_thin(r.hit_object, s), mirrors = follows_mirror(r, s);
    const bool bounces = p.bounces < (p.fill ? max_fill_bounces : job.bounce_limit) && !(r.flags & RAY_PROBE);
    const double fresnel = entering_fresnel(r, s, at.cosine), sent_back = at.lobe.diffuse + s.translucent;
    double passing[3] = {}, mirrored[3] = {}, bounced[3] = {};
    for (int i = 0; i < 3; ++i)
    {
        const double tint = double(s.transparent_color[i]) * s.transparent;
        if (r.refract_depth < r.refract_limit)
        {
            passing[i] = (1.0 - fresnel) * (thin ? tint : std::sqrt(tint));
        }
        if (mirrors) { mirrored[i] = at.lobe.reflected[i] + s.transparent * fresnel; }
        if (bounces) { bounced[i] = sent_back * s.color[i]; }
    }
    return { { make_branch(passing), make_branch(mirrored), make_branch(bounced) }, thin };
}

diffuse_bounce bounce_from(const light_path& p, const outside_ways& ways, const met_surface& at)
{
    const chances all = chances_of(p, ways.way, 3);
    const double sent_back = at.lobe.diffuse + at.s.translucent;
    const double bounced = all.sum > 0.0 ? all.continues * ways.way[2].chance / all.sum : 0.0;
    diffuse_bounce bounce = {};
    bounce.chance[0] = sent_back > 0.0 ? bounced * at.lobe.diffuse / sent_back : 0.0;
    bounce.chance[1] = bounced - bounce.chance[0];
    if (job.caches_light) { find_guides(p, bounce); }
    return bounce;
}

int choose_way(light_path& p, const branch* ways, int count, double& probability)
{
    const chances all = chances_of(p, ways, count);
    if (all.continues == 0.0) { return -1; }
    double u = numbers(p, pair_branch).u;
    p.found.left_to_chance |= all.continues < 1.0;
    if (u >= all.continues) { return -1; }
    u *= all.sum / all.continues;
    int way = 0;
    while (way + 1 < count && u >= ways[way].chance) { u -= ways[way++].chance; }
    p.found.left_to_chance |= ways[way].chance < all.sum;
    probability = all.continues * (ways[way].chance / all.sum);
    return probability > 0.0 ? way : -1;
}

bool take_way(light_path& p, const met_surface& at, const outside_ways& ways, int way, double probability,
    const diffuse_bounce& bounce)
{
    switch (way)
    {
    case way_passing:
        go_through(p, at.s, ways.way[way_passing], probability, ways.thin, at.cosine);
        return true;
    case way_mirrored:
        go_mirrored(p, ways.way[way_mirrored], probability, at.mirror, at.lobe.exponent);
        return true;
    default:
        return go_bounced(p, at.s, at.lobe, bounce);
    }
}

bool leave_outside(
    light_path& p, const met_surface& at, const outside_ways& ways, const diffuse_bounce& bounce)
{
    double probability;
    const int way = choose_way(p, ways.way, 3, probability);
    return way >= 0 && take_way(p, at, ways, way, probability, bounce);
}

bool go_bounced(light_path& p, const surface& s, const specular_lobe& lobe, const diffuse_bounce& bounce)
{
    p.found.left_to_chance = true;
    const double all = bounce.chance[0] + bounce.chance[1];
    const int side = numbers(p, pair_branch).v * all < bounce.chance[0] ? 0 : 1;
    const vector3 normal = side == 0 ? p.r.shading_normal : -p.r.shading_normal;
    const vector3 direction = bounced_direction(normal, bounce.guide[side], numbers(p, pair_direction));
    const double even = std::fmax(dot(normal, direction), 0.0) * inverse_pi;
    const double density = bounce_density(bounce, side, direction, even);
    if (!(even > 0.0) || !(density > 0.0)) { return false; }
    const double sent_back = (side == 0 ? lobe.diffuse : s.translucent) * even;
    const double share[3] = { sent_back * s.color[0], sent_back * s.color[1], sent_back * s.color[2] };
    p.last = { density, even, p.r.hit_point, normal, sky_by_path::weighed };
    ++p.bounces;
    p.since_bounce = 0.0;
    p.r.kind = RAY_REFLECTED;
    if (p.r.counters) { ++p.r.counters->reflection_rays; }
    go_on(p, direction, p.doc.epsilon * 10.0, make_branch(share), density);
    if (p.fill && p.bounces == 1) { note_first_bounce(p, normal, even * bounce.chance[side] / density); }
    return true;
}

bool leave_inside(light_path& p, const met_surface& at)
{
    ray& r = p.r;
    const surface& s = at.s;
    if (s.transparent == 0.0f) { return false; }
    const bool at_limit = r.refract_depth >= r.refract_limit || r.reflect_depth >= r.refract_limit;
    const double c = std::clamp(-dot(r.direction, r.shading_normal), 0.0, 1.0);
    const double ior = s.ior > 0.0f ? s.ior : 1.0;
    // A ray at its limit leaves unbent: the solid shows what is behind it, and no light is lost.
    vector3 direction = r.direction;
    double thrown_back = 0.0;
    if (!at_limit)
    {
        const bool leaves = refract(r.direction, r.shading_normal, ior, c, direction);
        thrown_back = leaves ? fresnel_reflectance(c, 1.0 / ior) : 1.0;
    }
    const bool inner = r.hit_object->vft->get_flags(r.hit_object) & OBJECT_INNER_REFLECTION;
    double leaving[3], staying[3];
    for (int i = 0; i < 3; ++i)
    {
        leaving[i] = (1.0 - thrown_back) * std::sqrt(double(s.transparent_color[i]) * s.transparent);
        staying[i] = thrown_back + (inner && r.reflect_depth < r.reflect_limit ? at.lobe.reflected[i] : 0.0);
    }
    const branch ways[2] = { make_branch(leaving), make_branch(staying) };
    double probability;
    const int way = choose_way(p, ways, 2, probability);
    if (way < 0) { return false; }
    --r.inside_count;
    if (r.counters) { ++r.counters->transmission_rays; }
    if (way == 0)
    {
        r.flags &= ~uint32_t(RAY_INSIDE);
        p.alpha_share *= s.transparent / probability;
        go_on(p, direction, p.doc.epsilon, ways[0], probability);
    }
    else
    {
        ++r.reflect_depth;
        go_on(p, at.mirror, p.doc.epsilon, ways[1], probability);
    }
    return true;
}

} // namespace zr
