/// @file
/// The exact model's light of whole sources, each or, with the early stop, enough of them.
#include <algorithm>
#include <cmath>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/raytrace/direct_sun.hpp"
#include "zirconlite/raytrace/light_shape.hpp"
#include "zirconlite/raytrace/lit_point.hpp"
#include "zirconlite/raytrace/shadow_rays.hpp"

namespace zr
{

namespace
{

/// Share of the potential that the lights beyond the strongest hold at most with the early stop.
constexpr double tail_share = 0.4;
/// Of these so many are tested.
constexpr int32_t tail_lights = 24;
/// Value of `light_candidate.samples` of a light that has been dealt with; 0 before.
constexpr int32_t is_done = -1;
/// Lights that are tested at a point in the passes before the rounds of the converging sampler, which show
/// what is to come.
constexpr int32_t preview_lights = 12;

/// Exact model: the light of the sun's whole disc.
void add_sun(const lit_point& p, float out[3])
{
    light_candidate c;
    measure_sun(p.doc, p.s, p.r, p.object_flags & OBJECT_NO_HIGHLIGHT ? nullptr : p.mirror, c);
    c.cache = cache_entry(p.r.thread, p.tables.leaf_count);
    float given[3];
    if (!(c.luminance > 0.0f) || cast_shadow_rays(p, c, given)) { return; }
    for (int k = 0; k < 3; ++k) { out[k] += given[k]; }
}

/// The light of a whole source, each of its samples with its own brightness and shadow.
void test_lamp(const lit_point& p, const light& source, int32_t leaf, float given[3])
{
    const int32_t count = p.soft ? shape_samples(source) : 1;
    const square_point start = pattern_start(p.r, pattern_first_light + uint32_t(leaf));
    shadow_cache_entry* const cache = cache_entry(p.r.thread, leaf);
    bool all_blocked = true;
    float sum[3] = { 0, 0, 0 };
    for (int32_t i = 0; i < count; ++i)
    {
        source_sample sample;
        if (p.soft) { sample_shape(source, p.r.hit_point, pattern_point(start, i, count), sample); }
        else { sample_middle(source, p.r.hit_point, sample); }
        float potential[3];
        const bool by_normal = source.falloff == 0.0 && source.type != LIGHT_PARALLEL;
        measure_sample(p, source, by_normal ? -source.normal : sample.direction, sample, potential);
        if (!(luminance(potential) > 0.0)) { continue; }
        ray shadow = shadow_ray_of(p, sample);
        all_blocked &= cast_shadow_ray(p.doc, source, sample, cache, shadow);
        for (int k = 0; k < 3; ++k) { sum[k] += shadow.simple_color[k] * potential[k]; }
    }
    for (int k = 0; k < 3; ++k) { given[k] = all_blocked ? 0.0f : sum[k] / float(count); }
}

void add_lamp(const lit_point& p, const light& source, int32_t leaf, float out[3])
{
    float given[3];
    test_lamp(p, source, leaf, given);
    for (int k = 0; k < 3; ++k) { out[k] += given[k]; }
}

/// Whether the horizon of the surface may cut a source, so that its middle does not say what it gives.
bool is_cut(const lit_point& p, const light& source)
{
    if (!has_extent(source)) { return false; }
    const double reach = source.radius + 0.5 * (source.length + source.height);
    return std::fabs(dot(source.position - p.r.hit_point, p.r.shading_normal)) < reach;
}

/// Fills the thread's candidates with the lights that have a place, measured by their middles. The others,
/// and those that the horizon cuts, are tested at once.
int32_t gather(const lit_point& p, float out[3])
{
    const bool excludes = p.object_flags & (OBJECT_LIGHT_SHAPE | OBJECT_GROUP_UNLIT);
    int32_t count = 0, leaf = 0;
    for (const light* l = first_leaf(p.doc.lights); l && leaf < p.tables.leaf_count;
         l = next_leaf(const_cast<light*>(l)), ++leaf)
    {
        if (!l->sample || (excludes && is_unlit_by(p.r.hit_object, l))) { continue; }
        if (l->falloff == 0.0 || l->type == LIGHT_DAYLIGHT || is_cut(p, *l))
        {
            add_lamp(p, *l, leaf, out);
            continue;
        }
        light_candidate& c = p.tables.candidates[count];
        sample_middle(*l, p.r.hit_point, c.sample);
        measure_sample(p, *l, c.sample.direction, c.sample, c.potential);
        c.luminance = float(luminance(c.potential));
        c.ambient_luminance = 0.0f;
        c.samples = 0;
        c.source = l;
        c.cache = cache_entry(p.r.thread, leaf);
        count += c.luminance > 0.0f;
    }
    return count;
}

void remember(thread_lights& tables, scene_object* blocker)
{
    constexpr int32_t room = sizeof tables.recent / sizeof *tables.recent;
    if (!blocker || std::find(tables.recent, tables.recent + room, blocker) != tables.recent + room)
    {
        return;
    }
    tables.recent[tables.next_recent] = blocker;
    tables.next_recent = (tables.next_recent + 1) % room;
}

/// Adds the light of one source; `passed` is the share of its potential that arrived.
void test_candidate(const lit_point& p, const light_candidate& c, float passed[3], float out[3])
{
    float given[3];
    test_lamp(p, *c.source, int32_t(c.cache - p.tables.caches), given);
    const int32_t depth = p.r.refract_depth + p.r.reflect_depth;
    if (depth < RECURSION_LIMIT_SUM) { remember(p.tables, c.cache->blocker[depth]); }
    for (int k = 0; k < 3; ++k)
    {
        passed[k] = c.potential[k] > 0.0f ? given[k] / c.potential[k] : 0.0f;
        out[k] += given[k];
    }
}

/// What the points before say about a light.
enum class expected
{
    blocked, ///< something that blocked lately is in the way
    changed, ///< what blocked it is in the way no more
    open
};

expected look_back(const lit_point& p, const light_candidate& c)
{
    ray shadow = shadow_ray_of(p, c.sample);
    const int32_t depth = shadow.refract_depth + shadow.reflect_depth;
    scene_object* const own = depth < RECURSION_LIMIT_SUM ? c.cache->blocker[depth] : nullptr;
    if (own && own != p.r.hit_object && is_between(own, *c.source, c.sample, shadow))
    {
        return expected::blocked;
    }
    for (scene_object* blocker : p.tables.recent)
    {
        if (blocker && blocker != own && blocker != p.r.hit_object &&
            is_between(blocker, *c.source, c.sample, shadow))
        {
            return expected::blocked;
        }
    }
    return own ? expected::changed : expected::open;
}

/// Tests what changed, and marks what is blocked, so that what is expected to be open is left. Its potential.
double leave_open_ones(const lit_point& p, int32_t count, float out[3])
{
    double open = 0.0;
    float unused[3];
    for (light_candidate* c = p.tables.candidates; c < p.tables.candidates + count; ++c)
    {
        if (c->samples == is_done) { continue; }
        const expected what = look_back(p, *c);
        if (what == expected::changed) { test_candidate(p, *c, unused, out); }
        if (what == expected::open) { open += c->luminance; }
        else { c->samples = is_done; }
    }
    return open;
}

/// Of the lights that are expected to be open some are tested, the stronger the likelier. What the two that
/// are tested before and after a light let pass stands for it: neighbours in the list often are neighbours in
/// space.
void add_open_ones(const lit_point& p, int32_t count, double potential, float out[3])
{
    const double step = potential / tail_lights;
    double next = pattern_start(p.r, pattern_light_order).u * step, sum = 0.0, between[3] = { 0.0, 0.0, 0.0 };
    float before[3], after[3];
    bool has_before = false;
    for (const light_candidate* c = p.tables.candidates; c < p.tables.candidates + count; ++c)
    {
        if (c->samples == is_done) { continue; }
        sum += c->luminance;
        if (next >= sum)
        {
            for (int k = 0; k < 3; ++k) { between[k] += c->potential[k]; }
            continue;
        }
        while (next < sum) { next += step; }
        test_candidate(p, *c, after, out);
        for (int k = 0; k < 3; ++k)
        {
            out[k] += float(between[k] * (has_before ? 0.5 * (before[k] + after[k]) : after[k]));
            before[k] = after[k];
            between[k] = 0.0;
        }
        has_before = true;
    }
    for (int k = 0; k < 3 && has_before; ++k) { out[k] += float(between[k] * before[k]); }
}

/// The strongest lights whole. Of the rest those that are blocked as they were at the points before give
/// nothing, and some stand for the others, whose potential counts whole.
void add_by_order(const lit_point& p, float out[3])
{
    const int32_t count = gather(p, out);
    light_candidate* c = sorted_list(p.tables.candidates, count);
    double remaining = 0.0;
    for (const light_candidate* l = c; l; l = l->next) { remaining += l->luminance; }
    const double rest = tail_share * remaining;
    float unused[3];
    for (; c && remaining > rest; c = c->next)
    {
        remaining -= c->luminance;
        test_candidate(p, *c, unused, out);
        c->samples = is_done;
    }
    const double open = leave_open_ones(p, count, out);
    add_open_ones(p, count, open, out);
}

/// A few lights for all, each as often as its potential is a share of the whole.
void add_preview(const lit_point& p, float out[3])
{
    const int32_t count = gather(p, out);
    double total = 0.0;
    for (int32_t i = 0; i < count; ++i) { total += p.tables.candidates[i].luminance; }
    const double step = total / std::min(count, preview_lights);
    double next = pattern_start(p.r, pattern_light_order).u * step, passed = 0.0;
    for (int32_t i = 0; i < count; ++i)
    {
        const light_candidate& c = p.tables.candidates[i];
        passed += c.luminance;
        int32_t times = 0;
        for (; next < passed; next += step) { ++times; }
        if (times == 0) { continue; }
        float given[3];
        test_lamp(p, *c.source, int32_t(c.cache - p.tables.caches), given);
        for (int k = 0; k < 3; ++k) { out[k] += float(given[k] * times * step / c.luminance); }
    }
}

void add_each(const lit_point& p, whole_lights which, float out[3])
{
    const bool excludes = p.object_flags & (OBJECT_LIGHT_SHAPE | OBJECT_GROUP_UNLIT);
    int32_t leaf = 0;
    for (const light* l = first_leaf(p.doc.lights); l && leaf < p.tables.leaf_count;
         l = next_leaf(const_cast<light*>(l)), ++leaf)
    {
        if (which == whole_lights::distant && l->type != LIGHT_PARALLEL) { continue; }
        if (l->sample && !(excludes && is_unlit_by(p.r.hit_object, l))) { add_lamp(p, *l, leaf, out); }
    }
}

} // namespace

void add_whole_lights(const lit_point& p, whole_lights which, float out[3])
{
    if (p.object_flags & OBJECT_NO_DIRECT_LIGHT) { return; }
    if (daylight_takes_part(p.doc)) { add_sun(p, out); }
    if (which == whole_lights::all && job.converges) { add_preview(p, out); }
    else if (which == whole_lights::all && job.stops_early) { add_by_order(p, out); }
    else { add_each(p, which, out); }
}

} // namespace zr

int32_t zr_set_light_early_stop(document* document, int32_t on)
{
    const int32_t former = document->light_early_stop;
    document->light_early_stop = on != 0;
    return former;
}
