#include "zirconlite/raytrace/secondary_rays.hpp"

#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/raytrace/optics.hpp"
#include "zirconlite/raytrace/shading.hpp"

namespace zr
{

namespace
{

constexpr int pixel_centre = 12;     ///< sample index at which glossy spreading is off
constexpr double min_share = 0.0001; ///< a mirror share below this sends no ray
/// The exact model sends no mirrored ray for less than this part of the pixel's light. Glass gives the share
/// to the light that passes, so nothing is lost there and the rays inside a heap of panes do not multiply.
constexpr double min_branch = 0.001;

/// How one kind of secondary ray is spread.
struct spreading
{
    double spread; ///< 0 sends one ray
    int32_t samples;
    int32_t first; ///< number of the first sample in the pattern
    const double* amplitude;
    double path_share; ///< share of the first child's distance that lengthens the parent's path
    uint32_t* counter; ///< null none
};

double mirror_share(const document& doc, const surface& s);
bool mirror_weight(
    const document& doc, const surface& s, const ray& r, double mirrored, double share, double weight[3]);
double mirror_sharpness(const surface& s, double fresnel);
double passing_amount(const surface& s, bool thin, double mirrored);
double passage(const surface& s, bool thin, int channel);
bool may_spread(const document& doc, const ray& r, uint32_t off_flag, uint32_t surface_off);
void set_samples(const ray& r, int32_t wanted, spreading& how);
void trace_children(document& doc, ray& r, ray& child, const spreading& how, background_function background);
void trace_spread(document& doc, ray& r, ray& child, const spreading& how, background_function background);
void trace_one(document& doc, ray& r, ray& child, const spreading& how, background_function background);
void count(uint32_t* counter);
void exit_exact(document& doc, const surface& s, ray& r, background_function background);
double branch_share(const ray& r);
void exit_fast(document& doc, const surface& s, ray& r, background_function background);
void trace_leaving(document& doc, const surface& s, ray& r, const vector3& direction, double share,
    background_function background);
void trace_staying(
    document& doc, ray& r, const vector3& direction, const double share[3], background_function background);
ray make_child(const ray& parent, const vector3& direction, double t_min);

} // namespace

bool is_thin(const scene_object* object, const surface& s)
{
    return (s.flags & SURFACE_THIN) || (object && (object->vft->get_flags(object) & OBJECT_THIN));
}

double entering_reflectance(const surface& s, const ray& r, double d)
{
    if (s.transparent == 0.0f) { return 0.0; }
    if (!is_exact()) { return grazing_reflectance(d, s.ior); }
    const double mirrored = shadow_reflectance(s, is_thin(r.hit_object, s), d);
    const bool follows = r.reflect_depth < r.reflect_limit && !(s.flags & SURFACE_NO_MIRROR);
    return follows && mirrored * branch_share(r) >= min_branch ? mirrored : 0.0;
}

double shadow_reflectance(const surface& s, bool thin, double c)
{
    if (s.flags & SURFACE_PASS_THROUGH) { return 0.0; }
    if (!is_exact()) { return grazing_reflectance(c, s.ior); }
    if (!(s.ior > 0.0f) || s.ior == 1.0f) { return 0.0; }
    c = std::fmin(std::fmax(c, 0.0), 1.0);
    return thin ? pane_reflectance(c, s.ior) : fresnel_reflectance(c, s.ior);
}

void reflect_ray(document& doc, const surface& s, ray& r, double d, double mirrored, const vector3* mirror,
    background_function background)
{
    if ((s.flags & SURFACE_NO_MIRROR) || r.reflect_depth >= r.reflect_limit) { return; }
    const double share = mirror_share(doc, s);
    double weight[3];
    if (!mirror_weight(doc, s, r, mirrored, share, weight)) { return; }
    const vector3 direction = mirror ? *mirror : r.direction + 2.0 * d * r.shading_normal;
    ray child = make_child(r, direction, doc.epsilon * 10.0);
    child.kind = RAY_REFLECTED;
    ++child.reflect_depth;
    for (int i = 0; i < 3; ++i) { child.weight[i] = weight[i]; }
    if (is_exact() && branch_share(child) < min_branch) { return; }

    const bool spreads = may_spread(doc, r, RENDER_SHARP_REFLECTION, s.flags & SURFACE_SHARP_REFLECTION);
    spreading how;
    how.spread = spreads ? (1.0 - mirror_sharpness(s, s.transparent * mirrored)) * 2.0 : 0.0;
    set_samples(r, doc.gloss_samples, how);
    how.amplitude = job.gloss_jitter_amplitude;
    how.path_share = share;
    how.counter = r.counters ? &r.counters->reflection_rays : nullptr;
    trace_children(doc, r, child, how, background);
}

void transmit_ray(
    document& doc, const surface& s, ray& r, double d, double mirrored, background_function background)
{
    if (r.refract_depth >= r.refract_limit || s.transparent == 0.0f) { return; }
    const bool thin = is_thin(r.hit_object, s);
    const double amount = passing_amount(s, thin, mirrored);
    vector3 direction = r.direction;
    if (!thin)
    {
        const double ior = s.ior > 0.0f ? s.ior : 1.0;
        refract(r.direction, r.shading_normal, 1.0 / ior, d, direction);
    }
    ray child = make_child(r, direction, doc.epsilon * 10.0);
    for (int i = 0; i < 3; ++i) { child.weight[i] = passage(s, thin, i) * amount * r.weight[i]; }
    if (!(s.flags & SURFACE_PASS_THROUGH)) { child.kind = RAY_TRANSMITTED; }
    ++child.refract_depth;
    ++child.inside_count;
    if (!thin) { child.flags |= RAY_INSIDE; }

    const bool spreads = may_spread(doc, r, RENDER_SHARP_TRANSMISSION, s.flags & SURFACE_SHARP_TRANSMISSION);
    const double sharpness = s.transparent / (double(s.transparent) + s.translucent) * 0.2 + 0.8;
    spreading how;
    how.spread = spreads ? 1.0 - sharpness : 0.0;
    set_samples(r, doc.translucency_samples, how);
    how.amplitude = job.translucency_jitter_amplitude;
    how.path_share = amount;
    how.counter = r.counters ? &r.counters->transmission_rays : nullptr;
    trace_children(doc, r, child, how, background);
    if (child.kind == RAY_PRIMARY) { r.alpha = child.alpha * s.transparent; }
}

void exit_ray(document& doc, const surface& s, ray& r, background_function background)
{
    if (s.transparent == 0.0f) { return; }
    if (is_exact()) { exit_exact(doc, s, r, background); }
    else { exit_fast(doc, s, r, background); }
}

namespace
{

/// The share that is mirrored beside what the highlight shows of it.
double mirror_share(const document& doc, const surface& s)
{
    if (is_exact() || s.highlight == 0.0f) { return s.reflect; }
    return doc.quality >= 3 ? (s.reflect - 0.05) * 1.05263 : (s.reflect - 0.1) * 1.111;
}

/// Weight of the mirrored child. False when it is too small to send a ray.
bool mirror_weight(
    const document& doc, const surface& s, const ray& r, double mirrored, double share, double weight[3])
{
    const double fresnel = s.transparent * mirrored;
    double total = share + fresnel;
    if (total < min_share) { return false; }
    if (doc.mode == MODE_SIMPLE && fresnel == 0.0) { total = std::pow(share, 1.5); }
    for (int i = 0; i < 3; ++i)
    {
        if (is_exact()) { weight[i] = (s.reflect_color[i] * share + fresnel) * r.weight[i]; }
        else
        {
            const double color = 0.5 * (double(s.reflect_color[i]) + s.transparent_color[i]);
            weight[i] = color * total * r.weight[i];
            if (mirrored != 0.0) { weight[i] += s.transparent_color[i] * r.weight[i] * fresnel; }
        }
    }
    return true;
}

double mirror_sharpness(const surface& s, double fresnel)
{
    const double mirrored = s.reflect + fresnel, all = s.diffuse + mirrored;
    const double share = all > 0.0 ? std::fmin(std::fmax(mirrored / all, 0.0), 1.0) : 1.0;
    return std::fmin(share * 0.05 + 0.97, 1.0);
}

double passing_amount(const surface& s, bool thin, double mirrored)
{
    if (is_exact()) { return 1.0 - mirrored; }
    const double amount = (1.0 - mirrored) * s.transparent;
    return thin ? std::sqrt(amount) : amount;
}

/// What one passage of a surface leaves of the light, beside what it mirrors: a solid is met twice.
double passage(const surface& s, bool thin, int channel)
{
    const double tint = s.transparent_color[channel];
    if (is_exact()) { return thin ? tint * s.transparent : std::sqrt(tint * s.transparent); }
    return thin ? tint : std::sqrt(tint);
}

bool may_spread(const document& doc, const ray& r, uint32_t off_flag, uint32_t surface_off)
{
    return !(doc.render_flags & off_flag) && r.sample_index != pixel_centre && doc.quality >= 3 &&
           !surface_off;
}

/// Blurred hits behind a blurred one get one ray each: what the first one sends out is spread already, and a
/// branch costs no more than its depth. The fast model spreads at each.
void set_samples(const ray& r, int32_t wanted, spreading& how)
{
    const bool was_split = is_exact() && r.split_rays > 0;
    how.samples = was_split || wanted < 1 ? 1 : wanted;
    how.first = was_split ? r.reflect_depth + r.refract_depth : 0;
}

void trace_children(document& doc, ray& r, ray& child, const spreading& how, background_function background)
{
    if (how.spread > 0.0) { trace_spread(doc, r, child, how, background); }
    else { trace_one(doc, r, child, how, background); }
}

/// Several rays round the child's direction, each with its share of the weight. Their sum goes to `r`.
void trace_spread(document& doc, ray& r, ray& child, const spreading& how, background_function background)
{
    for (double& w : child.weight) { w /= how.samples; }
    if (child.split_rays == 0) { child.split_rays = how.samples; }
    const vector3 axis = child.direction;
    vector3 u, v;
    zr_make_axes(&axis, &u, &v, 1e-4);
    ray sum;
    clear_results(sum);
    const ray start = child;
    for (int32_t i = 0; i < how.samples; ++i)
    {
        child = start;
        const int32_t number = how.first + i + 1;
        const double key[2] = { number * r.pixel[0], number * r.pixel[1] };
        double j[2];
        table_jitter(key, how.amplitude, j);
        const double a = (j[0] + r.stratum[0]) * how.spread, b = (j[1] + r.stratum[1]) * how.spread;
        child.direction = normalized(axis + a * u + b * v);
        child.inv_direction = ray_reciprocal(child.direction);
        trace_ray(doc, child, background);
        if (i == 0) { r.path_length += child.hit_t * how.path_share; }
        count(how.counter);
        add_ray_results(child, sum);
    }
    child.alpha = 0.0f;
    add_ray_results(sum, r);
}

void trace_one(document& doc, ray& r, ray& child, const spreading& how, background_function background)
{
    trace_ray(doc, child, background);
    r.path_length += child.hit_t * how.path_share;
    count(how.counter);
    add_ray_results(child, r);
}

void count(uint32_t* counter)
{
    if (counter) { ++*counter; }
}

void exit_exact(document& doc, const surface& s, ray& r, background_function background)
{
    // A ray at its limit leaves unbent: the solid shows what is behind it, and no light is lost.
    if (r.refract_depth >= r.refract_limit || r.reflect_depth >= r.refract_limit)
    {
        trace_leaving(doc, s, r, r.direction, 1.0, background);
        return;
    }
    const double c = std::fmin(std::fmax(-dot(r.direction, r.shading_normal), 0.0), 1.0);
    const double ior = s.ior > 0.0f ? s.ior : 1.0;
    vector3 direction;
    double mirrored = 1.0;
    const bool leaves = refract(r.direction, r.shading_normal, ior, c, direction);
    if (leaves)
    {
        mirrored = fresnel_reflectance(c, 1.0 / ior);
        if (mirrored * branch_share(r) < min_branch) { mirrored = 0.0; }
        trace_leaving(doc, s, r, direction, 1.0 - mirrored, background);
    }
    if (mirrored == 0.0) { return; }
    const double share[3] = { mirrored, mirrored, mirrored };
    trace_staying(doc, r, r.direction + 2.0 * c * r.shading_normal, share, background);
}

/// Part of the pixel's light that a branch brings, all rays of its blurred hit together.
double branch_share(const ray& r)
{
    const double largest = std::fmax(r.weight[0], std::fmax(r.weight[1], r.weight[2]));
    return r.split_rays > 1 ? largest * r.split_rays : largest;
}

void exit_fast(document& doc, const surface& s, ray& r, background_function background)
{
    if (r.refract_depth >= r.refract_limit || r.reflect_depth >= r.refract_limit) { return; }
    const double c = -dot(r.direction, r.shading_normal);
    vector3 direction;
    if (refract(r.direction, r.shading_normal, s.ior, c, direction))
    {
        trace_leaving(doc, s, r, direction, 1.0, background);
        return;
    }
    double share[3];
    for (int i = 0; i < 3; ++i)
    {
        share[i] = std::sqrt(double(s.transparent_color[i])) * std::sqrt(double(s.transparent));
    }
    trace_staying(doc, r, direction, share, background);
}

/// The ray that leaves a solid through its surface with `share` of the light.
void trace_leaving(document& doc, const surface& s, ray& r, const vector3& direction, double share,
    background_function background)
{
    ray child = make_child(r, direction, doc.epsilon);
    for (int i = 0; i < 3; ++i)
    {
        child.weight[i] = std::sqrt(double(s.transparent_color[i])) * std::sqrt(double(s.transparent)) *
                          share * r.weight[i];
    }
    child.inside_count = r.inside_count - 1;
    child.flags &= ~uint32_t(RAY_INSIDE);
    trace_ray(doc, child, background);
    if (r.counters) { ++r.counters->transmission_rays; }
    add_ray_results(child, r);
}

/// The ray that is thrown back into the solid with `share` of the light.
void trace_staying(
    document& doc, ray& r, const vector3& direction, const double share[3], background_function background)
{
    ray child = make_child(r, direction, doc.epsilon);
    for (int i = 0; i < 3; ++i) { child.weight[i] = share[i] * r.weight[i]; }
    child.inside_count = r.inside_count - 1;
    ++child.reflect_depth;
    trace_ray(doc, child, background);
    if (r.counters) { ++r.counters->transmission_rays; }
    add_ray_results(child, r);
}

/// A child at the hit, with the parent's recursion state and no results.
ray make_child(const ray& parent, const vector3& direction, double t_min)
{
    ray child = parent;
    child.parent = &parent;
    child.origin = parent.hit_point;
    child.direction = direction;
    child.inv_direction = ray_reciprocal(direction);
    child.t_min = t_min;
    child.t_max = child.hit_t = ZR_FAR;
    clear_results(child);
    return child;
}

} // namespace

} // namespace zr
