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
#include "zirconlite/sampling/lobe.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace zr
{

namespace
{

constexpr double no_bounce[2] = { 0.0, 0.0 };
constexpr double min_continuing = 1e-4; ///< branches below this share are not worth a ray

double largest(const double c[3]) { return std::fmax(c[0], std::fmax(c[1], c[2])); }

/// A way on from a surface, with the share of the light that takes it.
struct branch
{
    double share[3];
    double chance; ///< largest channel of `share`
};

/// Of all ways together.
struct chances
{
    double sum, continues; ///< `continues` is that of the path not to end here
};

/// Before it has bounced a path ends only where less than an eighth of a pixel's light is left: what mirrors
/// show stays free of grain. Interreflection has a long tail, which fewer and stronger paths bring as well.
chances chances_of(const light_path& p, const branch* ways, int count)
{
    double sum = 0.0;
    for (int i = 0; i < count; ++i) { sum += ways[i].chance; }
    return { sum, sum > min_continuing ? std::fmin(std::sqrt(p.bounces > 0 ? sum : 8.0 * sum), 1.0) : 0.0 };
}

branch make_branch(const double share[3])
{
    return { { share[0], share[1], share[2] }, std::fmax(largest(share), 0.0) };
}

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
    if (p.bounces == 0) { return; }
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
        weight = strategy_weight(
            p.last.chance[p.last.side] * p.last.even_density, sky_ray_density(from, p.last.even_density));
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

bool shows_light_shape(const scene_object* object)
{
    return object->vft->get_flags(object) & OBJECT_LIGHT_SHAPE;
}

void add_vertex_emission(light_path& p, const surface& s)
{
    if ((p.skips_shapes || p.bounces > 0) && shows_light_shape(p.r.hit_object)) { return; }
    float light[3];
    emission(p.r.hit_object, s, light);
    for (int i = 0; i < 3; ++i) { p.found.radiance[i] += light[i] * p.r.weight[i]; }
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

unit_pair numbers(const light_path& p, sample_pair pair) { return vertex_numbers(p.point, p.vertex, pair); }

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

/// The path goes on from a diffuse surface, on the side of the light that it looks for.
void go_bounced(light_path& p, const surface& s, const specular_lobe& lobe, const double chance[2])
{
    p.found.left_to_chance = true;
    const double all = chance[0] + chance[1];
    const int side = numbers(p, pair_branch).v * all < chance[0] ? 0 : 1;
    const unit_pair at = numbers(p, pair_direction);
    const vector3 normal = side == 0 ? p.r.shading_normal : -p.r.shading_normal;
    const vector3 direction = cosine_direction(normal, { at.u, at.v });
    const double sent_back = side == 0 ? lobe.diffuse : s.translucent;
    const double share[3] = { sent_back * s.color[0], sent_back * s.color[1], sent_back * s.color[2] };
    p.last = { { chance[0], chance[1] }, side, std::fmax(dot(normal, direction), 0.0) * inverse_pi,
        sky_by_path::weighed };
    ++p.bounces;
    p.r.kind = RAY_REFLECTED;
    if (p.r.counters) { ++p.r.counters->reflection_rays; }
    go_on(p, direction, p.doc.epsilon * 10.0, make_branch(share), chance[side]);
}

/// Chooses one of the ways on with a probability that follows their shares, or the end of the path: a faint
/// way is taken seldom and counts more. Returns the way, or -1 for the end.
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

bool follows_mirror(const ray& r, const surface& s)
{
    return !(s.flags & SURFACE_NO_MIRROR) && r.reflect_depth < r.reflect_limit;
}

/// Share of what meets the clear part of a surface that it mirrors, at a cosine `d` of incidence.
double entering_fresnel(const ray& r, const surface& s, double d)
{
    if (s.transparent == 0.0f || !follows_mirror(r, s)) { return 0.0; }
    return shadow_reflectance(s, is_thin(r.hit_object, s), d);
}

/// The ways on from a surface seen from outside.
struct outside_ways
{
    branch way[3]; ///< passing, mirrored, bounced
    bool thin;
};

outside_ways ways_outside(const light_path& p, const surface& s, const specular_lobe& lobe, double d)
{
    const ray& r = p.r;
    const bool thin = is_thin(r.hit_object, s), mirrors = follows_mirror(r, s);
    const bool bounces = p.bounces < job.bounce_limit && !(r.flags & RAY_PROBE);
    const double fresnel = entering_fresnel(r, s, d), sent_back = lobe.diffuse + s.translucent;
    double passing[3] = {}, mirrored[3] = {}, bounced[3] = {};
    for (int i = 0; i < 3; ++i)
    {
        const double tint = double(s.transparent_color[i]) * s.transparent;
        if (r.refract_depth < r.refract_limit)
        {
            passing[i] = (1.0 - fresnel) * (thin ? tint : std::sqrt(tint));
        }
        if (mirrors) { mirrored[i] = lobe.reflected[i] + s.transparent * fresnel; }
        if (bounces) { bounced[i] = sent_back * s.color[i]; }
    }
    return { { make_branch(passing), make_branch(mirrored), make_branch(bounced) }, thin };
}

/// The chances that the path bounces from the front and from the back.
void bounce_chances(const light_path& p, const outside_ways& ways, const surface& s,
    const specular_lobe& lobe, double chance[2])
{
    const chances all = chances_of(p, ways.way, 3);
    const double sent_back = lobe.diffuse + s.translucent;
    const double bounced = all.sum > 0.0 ? all.continues * ways.way[2].chance / all.sum : 0.0;
    chance[0] = sent_back > 0.0 ? bounced * lobe.diffuse / sent_back : 0.0;
    chance[1] = bounced - chance[0];
}

/// From a surface seen from outside. False at the end of the path.
bool leave_outside(light_path& p, const surface& s, const specular_lobe& lobe, const vector3& mirror,
    double d, const outside_ways& ways, const double bounce[2])
{
    double probability;
    switch (choose_way(p, ways.way, 3, probability))
    {
    case 0:
        go_through(p, s, ways.way[0], probability, ways.thin, d);
        return true;
    case 1:
        go_mirrored(p, ways.way[1], probability, mirror, lobe.exponent);
        return true;
    case 2:
        go_bounced(p, s, lobe, bounce);
        return true;
    default:
        return false;
    }
}

/// From within a solid. False at the end of the path.
bool leave_inside(light_path& p, const surface& s, const specular_lobe& lobe, const vector3& mirror)
{
    ray& r = p.r;
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
        staying[i] = thrown_back + (inner && r.reflect_depth < r.reflect_limit ? lobe.reflected[i] : 0.0);
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
        go_on(p, mirror, p.doc.epsilon, ways[1], probability);
    }
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

/// Adds the light at the hit and chooses how the path goes on. False at its end.
bool meet_surface(light_path& p, const surface& s)
{
    ray& r = p.r;
    if (r.counters) { ++r.counters->shaded_points; }
    const double d = std::fabs(dot(r.direction, r.shading_normal));
    const vector3 mirror = normalized(r.direction + 2.0 * d * r.shading_normal);
    const bool inside = r.flags & RAY_INSIDE;
    specular_lobe lobe = lobe_of(s, inside ? 0.0 : s.transparent * entering_fresnel(r, s, d));
    if (p.doc.render_flags & RENDER_SHARP_REFLECTION) { lobe.exponent = 0.0; }
    if (!inside)
    {
        r.path_length += r.hit_t;
        if (p.bounces == 0) { pass_haze(p); }
        keep_guides(p, s, lobe);
        const outside_ways ways = ways_outside(p, s, lobe, d);
        double bounce[2];
        bounce_chances(p, ways, s, lobe, bounce);
        const double before[3] = { p.found.radiance[0], p.found.radiance[1], p.found.radiance[2] };
        add_vertex_light(p, s, lobe, lobe.exponent > 0.0 ? &mirror : nullptr, bounce);
        add_vertex_emission(p, s);
        count_indirect(p, before);
        return leave_outside(p, s, lobe, mirror, d, ways, bounce);
    }
    if (s.attenuation != 0.0f && s.transparent != 0.0f)
    {
        const double kept = std::pow(std::fmax(1.0 - s.attenuation, 0.0), r.hit_t);
        for (double& w : r.weight) { w *= kept; }
    }
    const bool inner = r.hit_object->vft->get_flags(r.hit_object) & OBJECT_INNER_REFLECTION;
    // What the body scatters has been counted where the path came in.
    if (s.translucent > 0.2f || inner) { add_vertex_light(p, s, lobe, nullptr, no_bounce); }
    add_vertex_emission(p, s);
    return leave_inside(p, s, lobe, mirror);
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

double sky_ray_density(const sky_sample& from, double even_density)
{
    return sky_light_has_bright_spots() ? 0.5 * (even_density + from.density) : even_density;
}

path_light trace_path(document& document, render_view& view, const ray& prototype, int32_t thread,
    const sample_point& point, const double position[2])
{
    light_path p = { document, view, point, prototype, 0, false, 1.0, 0, {}, {} };
    double stratum[2] = { 0.0, 0.0 };
    if (document.render_flags & RENDER_DEPTH_OF_FIELD)
    {
        place_on_lens(point, stratum);
        p.found.left_to_chance = true;
    }
    if (!aim_primary(document, view, p.r, thread, position, stratum)) { return p.found; }
    while (nearest_surface(p))
    {
        surface s;
        p.r.hit_object->vft->get_surface(p.r.hit_object, &p.r, &s);
        if (!meet_surface(p, s)) { return p.found; }
    }
    end_in_background(p);
    return p.found;
}

} // namespace zr
