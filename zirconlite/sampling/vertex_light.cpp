// Light that reaches a surface of a path straight from its sources, one sample of each kind.
#include <algorithm>
#include <cmath>

#include "zirconlite/environment/ground.hpp"
#include "zirconlite/environment/sky_light.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/direct_sun.hpp"
#include "zirconlite/raytrace/light_shape.hpp"
#include "zirconlite/raytrace/sky_light_rays.hpp"
#include "zirconlite/sampling/light_tree.hpp"
#include "zirconlite/sampling/lit_vertex.hpp"
#include "zirconlite/sampling/lobe.hpp"
#include "zirconlite/sampling/path.hpp"
#include "zirconlite/sampling/scene_survey.hpp"

namespace zr
{

namespace
{

/// What is left of a source's intensity at a distance.
double distance_factor(double distance, double falloff)
{
    if (falloff == 0.0) { return 1.0; }
    const double d = falloff == 2.0 ? distance * distance : std::pow(distance, falloff);
    return d > 0.0 ? 1.0 / d : 0.0;
}

/// What a luminaire would give where nothing is in the way.
struct luminaire_sample
{
    const light* source;
    arriving_light from;
    bool back;
    double given[3];
};

/// Works out what arrives from `out.from`. False where it is nothing.
bool scatter_luminaire(const lit_vertex& v, luminaire_sample& out)
{
    double share[3];
    if (!scattering(v, out.from.direction, !(out.source->flags & LIGHT_NO_HIGHLIGHT), share, out.back))
    {
        return false;
    }
    for (int i = 0; i < 3; ++i) { out.given[i] = out.from.light[i] * share[i]; }
    return out.given[0] > 0.0 || out.given[1] > 0.0 || out.given[2] > 0.0;
}

/// False where it gives nothing.
bool sample_luminaire(const lit_vertex& v, const light* source, const unit_pair& at, luminaire_sample& out)
{
    out.source = source;
    return source && sample_source(v, *source, v.path.r.hit_point, at, out.from) && scatter_luminaire(v, out);
}

/// A small ball that is even and well above the horizon gives a matte surface much the same from each of its
/// points: the middle says how much, for less. False where it does not say enough.
bool measure_middle(const lit_vertex& v, const light& source, luminaire_sample& out)
{
    if (v.mirror || v.object_flags & (OBJECT_LIGHT_SHAPE | OBJECT_GROUP_UNLIT) || !is_even_ball(source))
    {
        return false;
    }
    const ray& r = v.path.r;
    const vector3 to_middle = source.position - r.hit_point;
    const double squared = dot(to_middle, to_middle), distance = std::sqrt(squared);
    if (distance < 10.0 * source.radius || std::fabs(dot(to_middle, r.shading_normal)) < 0.2 * distance)
    {
        return false;
    }
    out.source = &source;
    out.from.direction = to_middle * (1.0 / distance);
    out.from.distance = distance;
    const double factor = distance_factor(distance, source.falloff);
    for (int i = 0; i < 3; ++i) { out.from.light[i] = source.intensity_color[i] * factor; }
    return scatter_luminaire(v, out);
}

void add_luminaire(const lit_vertex& v, const luminaire_sample& sample, double scale)
{
    ray shadow = shadow_ray(v, sample.from.direction, sample.from.distance, sample.back);
    shadow.shadow_light = sample.source;
    const double light[3] = { sample.given[0] * scale, sample.given[1] * scale, sample.given[2] * scale };
    add_unblocked(v, sample.source, shadow, light);
}

void add_pick(const lit_vertex& v, const light_pick& pick, const unit_pair& at)
{
    v.path.found.left_to_chance |= pick.probability < 1.0;
    luminaire_sample sample;
    if (sample_luminaire(v, pick.source, at, sample)) { add_luminaire(v, sample, 1.0 / pick.probability); }
}

/// One of the candidates of the tree, by what each would give: only its shadow remains to chance. Resampled
/// importance sampling: Talbot, Cline and Egbert (2005).
void add_resampled(const lit_vertex& v, const unit_pair& choice, const unit_pair& at)
{
    const ray& r = v.path.r;
    light_pick picks[max_light_candidates];
    const int count =
        pick_light_candidates(r.hit_point, r.shading_normal, v.s.translucent > 0.0f, choice.u, picks);
    if (count == 1)
    {
        add_pick(v, picks[0], at);
        return;
    }
    luminaire_sample samples[max_light_candidates];
    double weights[max_light_candidates], sum = 0.0;
    bool by_middle[max_light_candidates];
    int found = 0;
    v.path.found.left_to_chance |= count > 1;
    for (int i = 0; i < count; ++i)
    {
        by_middle[found] = measure_middle(v, *picks[i].source, samples[found]);
        if (!by_middle[found] && !sample_luminaire(v, picks[i].source, at, samples[found])) { continue; }
        weights[found] = luminance(samples[found].given) / picks[i].probability;
        sum += weights[found++];
    }
    if (!(sum > 0.0)) { return; }
    double u = choice.v * sum;
    int taken = 0;
    while (taken + 1 < found && u >= weights[taken]) { u -= weights[taken++]; }
    const double strength = luminance(samples[taken].given);
    if (!(strength > 0.0)) { return; }
    if (by_middle[taken] && !sample_luminaire(v, samples[taken].source, at, samples[taken])) { return; }
    add_luminaire(v, samples[taken], sum / strength);
}

void add_luminaires(const lit_vertex& v)
{
    const ray& r = v.path.r;
    const unit_pair choice = numbers(v, pair_light_choice), at = numbers(v, pair_light_point);
    if (v.path.bounces > 0)
    {
        add_pick(v, pick_light(r.hit_point, r.shading_normal, v.s.translucent > 0.0f, choice.u), at);
        return;
    }
    light_pick picks[max_light_picks];
    const int count = pick_distant_lights(choice.u, picks);
    for (int i = 0; i < count; ++i) { add_pick(v, picks[i], at); }
    add_resampled(v, choice, at);
}

void add_sun(const lit_vertex& v)
{
    arriving_light sun;
    double share[3];
    bool back;
    if (!sample_sun(v, v.path.r.hit_point, sun) || !scattering(v, sun.direction, true, share, back))
    {
        return;
    }
    double light[3];
    for (int i = 0; i < 3; ++i) { light[i] = sun.light[i] * share[i]; }
    ray shadow = shadow_ray(v, sun.direction, ZR_FAR, back);
    shadow.shadow_light = &sun_light;
    add_unblocked(v, nullptr, shadow, light);
}

/// One side of the surface under the sky.
void add_sky_side(const lit_vertex& v, bool back, double share)
{
    const vector3 normal = back ? -v.path.r.shading_normal : v.path.r.shading_normal;
    v.path.found.left_to_chance = true;
    unit_pair at = numbers(v, pair_sky);
    const seen_openings seen = openings_from(v.path.r.hit_point, normal);
    const bool aims = seen.sum > 0.0 && at.u < 0.5;
    if (seen.sum > 0.0) { at.u = aims ? 2.0 * at.u : 2.0 * at.u - 1.0; }
    // Half of the pair chooses between the two ways to sample: each half is as even as the whole.
    const bool has_spots = sky_light_has_bright_spots(), draws = !aims && has_spots && at.u < 0.5;
    if (has_spots && !aims) { at.u = draws ? 2.0 * at.u : 2.0 * at.u - 1.0; }
    const sky_sample from = aims    ? sky_light_from(aim_at_opening(seen, at.u, at.v))
                            : draws ? draw_sky_sample(at.u, at.v)
                                    : sky_light_from(cosine_direction(normal, { at.u, at.v }));
    const double cosine = dot(normal, from.direction);
    if (!(cosine > 0.0)) { return; }
    const double even = cosine * inverse_pi;
    const double density = sky_ray_density(from, even, seen);
    ray shadow = shadow_ray(v, from.direction, ZR_FAR, back);
    double radiance[3] = { from.radiance[0], from.radiance[1], from.radiance[2] };
    if (job.bounce_limit == 0) { meet_ground(v.path.doc, shadow, radiance); }
    else if (from.direction.z < 0.0 && ground_test(v.path.doc, shadow)) { return; }
    share *= strategy_weight(density, bounce_density(v.bounce, back, from.direction, even));
    double light[3];
    for (int i = 0; i < 3; ++i)
    {
        light[i] = radiance[i] * cosine / density * share * inverse_pi * v.s.color[i];
    }
    if (!(light[0] > 0.0 || light[1] > 0.0 || light[2] > 0.0) || !(density > 0.0)) { return; }
    add_unblocked(v, nullptr, shadow, light);
}

/// The light of the sky is a surface's own in the picture's source ratio.
void add_sky(const lit_vertex& v)
{
    if (!sky_light_shines()) { return; }
    const double before[3] = { v.path.found.radiance[0], v.path.found.radiance[1], v.path.found.radiance[2] };
    if (v.lobe.diffuse > 0.0) { add_sky_side(v, false, v.lobe.diffuse); }
    if (v.s.translucent > 0.0f) { add_sky_side(v, true, v.s.translucent); }
    for (int i = 0; i < 3; ++i) { v.path.found.light_radiance[i] += v.path.found.radiance[i] - before[i]; }
}

/// The stand-in for indirect light.
void add_ambient(const lit_vertex& v)
{
    for (int i = 0; i < 3; ++i)
    {
        const double light =
            job.ambient_color[i] * v.lobe.diffuse * inverse_pi * v.s.color[i] * v.path.r.weight[i];
        v.path.found.radiance[i] += light;
        v.path.found.light_radiance[i] += light;
    }
}

} // namespace

bool sample_source(
    const lit_vertex& v, const light& source, const vector3& point, const unit_pair& at, arriving_light& out)
{
    const ray& r = v.path.r;
    if ((v.object_flags & (OBJECT_LIGHT_SHAPE | OBJECT_GROUP_UNLIT)) && is_unlit_by(r.hit_object, &source))
    {
        return false;
    }
    source_sample sample = {};
    if ((v.path.doc.render_flags & RENDER_SOFT_SHADOWS) && has_extent(source))
    {
        v.path.found.left_to_chance = true;
        sample_shape(source, point, { at.u, at.v }, sample);
    }
    else { sample_middle(source, point, sample); }
    if (sample.flags & SAMPLE_SKIPPED) { return false; }
    out.distance = sample.distance;
    out.direction = source.falloff == 0.0 && source.disc_size == 0.0f ? -source.normal : sample.direction;
    const double factor = distance_factor(sample.distance, source.falloff);
    for (int i = 0; i < 3; ++i) { out.light[i] = sample.color[i] * factor; }
    return true;
}

bool sample_sun(const lit_vertex& v, const vector3& point, arriving_light& out)
{
    const document& d = v.path.doc;
    if (!daylight_takes_part(d) || !(current_sun_sky->sun_strength > 0.0)) { return false; }
    const sun_sky& sky = *current_sun_sky;
    source_sample sample = {};
    sample.u = sample.v = 0.5;
    if ((d.render_flags & RENDER_SOFT_SHADOWS) && sun_light.disc_size != 0.0f)
    {
        v.path.found.left_to_chance = true;
        const unit_pair at = numbers(v, pair_sun);
        const square_point on_disc = square_to_disc({ at.u, at.v });
        sample.u = on_disc.u;
        sample.v = on_disc.v;
    }
    sun_light.sample(&sun_light, &point, &sample, 1);
    out.direction = sample.direction;
    out.distance = ZR_FAR;
    for (int i = 0; i < 3; ++i) { out.light[i] = sky.sun_color[i] * sky.sun_strength; }
    return true;
}

void add_vertex_light(light_path& path, const surface& s, const specular_lobe& lobe, const vector3* mirror,
    const diffuse_bounce& bounce)
{
    if (path.r.flags & RAY_PROBE) { return; }
    const lit_vertex v = { path, s, lobe, mirror, bounce,
        path.r.hit_object->vft->get_flags(path.r.hit_object) };
    if (!(v.object_flags & OBJECT_NO_DIRECT_LIGHT))
    {
        add_luminaires(v);
        add_sun(v);
        add_sky(v);
        if (job.bounce_limit > 0)
        {
            add_mirrored_light(v);
            add_glow(v);
        }
    }
    if (job.bounce_limit == 0) { add_ambient(v); }
}

} // namespace zr
