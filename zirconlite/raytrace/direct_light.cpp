#include "zirconlite/raytrace/direct_light.hpp"

#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/meshes/mesh_attributes.hpp"
#include "zirconlite/raytrace/direct_sun.hpp"
#include "zirconlite/raytrace/light_shape.hpp"
#include "zirconlite/raytrace/lit_point.hpp"
#include "zirconlite/raytrace/secondary_rays.hpp"
#include "zirconlite/raytrace/shadow_rays.hpp"
#include "zirconlite/raytrace/sky_light_rays.hpp"
#include "zirconlite/raytrace/solution.hpp"

namespace zr
{

namespace
{

/// Fast model: where on the source a sample of the stratum lies, moved by `offset`. What leaves the source on
/// one side comes back on the other, so that no rim is sampled more than the rest.
void place_sample(const lit_point& p, const light& source, const double offset[2], source_sample& sample)
{
    const double u = p.r.stratum[0] + 0.5 + offset[0], v = p.r.stratum[1] + 0.5 + offset[1];
    const square_point place = place_in_shape(source, { u - std::floor(u), v - std::floor(v) });
    sample.u = place.u;
    sample.v = place.v;
}

/// Fast model: takes the sample that has been placed, and what it could give.
void measure_place(const lit_point& p, const light& source, source_sample& sample, float potential[3])
{
    source.sample(&source, &p.r.hit_point, &sample, 1);
    measure_sample(p, source, source.falloff == 0.0 ? -source.normal : sample.direction, sample, potential);
}

/// Fast model: samples one light once and works out what it could give.
void measure_light(const lit_point& p, const light& source, light_candidate& c)
{
    c.source = &source;
    const double nowhere[2] = { 0.0, 0.0 };
    if (p.soft) { place_sample(p, source, nowhere, c.sample); }
    else { c.sample.u = c.sample.v = 0.5; }
    c.samples = p.soft && source.shadow_samples > 1 ? source.shadow_samples : 1;
    c.ambient_luminance = 0.0f;
    for (float& a : c.ambient_color) { a = 0.0f; }
    measure_place(p, source, c.sample, c.potential);
    c.luminance = float(luminance(c.potential));
}

/// Fills the thread's candidates with the lights that may count; their number.
int32_t build_light_list(const lit_point& p)
{
    thread_lights& t = p.tables;
    t.total_potential = t.point_potential = 0.0;
    if (p.object_flags & OBJECT_NO_DIRECT_LIGHT) { return 0; }
    const bool excludes = p.object_flags & (OBJECT_LIGHT_SHAPE | OBJECT_GROUP_UNLIT);
    int32_t count = 0, leaf = 0;
    if (daylight_takes_part(p.doc))
    {
        light_candidate& c = t.candidates[count++];
        measure_sun(p.doc, p.s, p.r, p.object_flags & OBJECT_NO_HIGHLIGHT ? nullptr : p.mirror, c);
        c.cache = cache_entry(p.r.thread, t.leaf_count);
        t.total_potential += c.luminance;
    }
    for (const light* l = first_leaf(p.doc.lights); l && leaf < t.leaf_count;
         l = next_leaf(const_cast<light*>(l)), ++leaf)
    {
        if (!l->sample || (excludes && is_unlit_by(p.r.hit_object, l))) { continue; }
        light_candidate& c = t.candidates[count];
        measure_light(p, *l, c);
        if (!(c.luminance > fast_shortcuts.light_cutoff)) { continue; }
        c.cache = cache_entry(p.r.thread, leaf);
        if (l->type != LIGHT_DAYLIGHT) { t.point_potential += c.luminance; }
        t.total_potential += c.luminance;
        ++count;
    }
    return count;
}

float weight_of(const light_candidate& c) { return c.luminance + c.ambient_luminance; }

light_candidate* merge(light_candidate* a, light_candidate* b)
{
    light_candidate* first = nullptr;
    light_candidate** end = &first;
    while (a && b)
    {
        light_candidate*& taken = weight_of(*a) >= weight_of(*b) ? a : b;
        *end = taken;
        end = &taken->next;
        taken = taken->next;
    }
    *end = a ? a : b;
    return first;
}

/// Moves the sample of shadow ray `i` of a light; the first keeps the one it was measured with.
void resample(const lit_point& p, light_candidate& c, int32_t i, float potential[3])
{
    if (c.source == &sun_light)
    {
        place_sun_sample(p.doc, p.r, c, i);
        return;
    }
    const double key[2] = { i * p.r.pixel[0] + 2.0, i * p.r.pixel[1] + 2.0 };
    const double amplitude[2] = { c.source->sample_jitter, c.source->sample_jitter };
    double j[2];
    table_jitter(key, amplitude, j);
    place_sample(p, *c.source, j, c.sample);
    measure_place(p, *c.source, c.sample, potential);
}

enum class testing
{
    exact, ///< shadow rays for each light
    tail,  ///< each light under the tail's share counts with a fixed part
    rest   ///< what is left cannot matter, and counts in full
};

struct tested_light
{
    testing state;
    double remaining, found, tail_scale, threshold;
};

/// The order of the checks makes the tail win over the rest.
void update_state(const light_candidate& c, tested_light& t)
{
    if (t.state != testing::exact) { return; }
    if (weight_of(c) * t.tail_scale < fast_shortcuts.tail_share) { t.state = testing::tail; }
    else if (t.found != 0.0 && t.remaining / t.found < t.threshold) { t.state = testing::rest; }
}

void test_light(const lit_point& p, light_candidate& c, tested_light& t, float out[3])
{
    t.remaining -= c.luminance;
    float given[3];
    const bool blocked = cast_shadow_rays(p, c, given);
    for (int i = 0; i < 3; ++i)
    {
        out[i] += c.ambient_color[i] + given[i];
        p.r.light_radiance[i] += float(c.ambient_color[i] * p.r.weight[i]);
    }
    t.found += blocked ? luminance(c.ambient_color) : luminance(given);
}

void test_lights(const lit_point& p, light_candidate* list, double threshold, float out[3])
{
    tested_light t = { testing::exact, p.tables.total_potential, 0.0,
        p.tables.point_potential != 0.0 ? 1.0 / p.tables.point_potential : ZR_FAR, threshold };
    for (light_candidate* c = list; c; c = c->next)
    {
        if (c->luminance == 0.0f && !(c->ambient_luminance > 0.0f)) { continue; }
        update_state(*c, t);
        if (t.state == testing::exact && c->luminance > 0.0f)
        {
            test_light(p, *c, t, out);
            continue;
        }
        const double share = t.state == testing::tail ? fast_shortcuts.tail_factor : 1.0;
        for (int i = 0; i < 3; ++i)
        {
            out[i] += float(c->potential[i] * share) + c->ambient_color[i];
            p.r.light_radiance[i] += float(c->ambient_color[i] * p.r.weight[i]);
        }
    }
}

/// The stand-in for indirect light.
void add_ambient(const lit_point& p, float out[3])
{
    const double upright = std::fabs(p.r.shading_normal.z);
    double k = p.s.diffuse * inverse_pi;
    const uint32_t sun = p.doc.sun_sky_flags;
    if ((sun & SUN_SKY_SUN_MASK) && !(sun & SUN_SKY_INDIRECT) && !is_exact()) { k *= 0.01; }
    const double level = 1.0 - fast_shortcuts.vertical_share;
    const double share = is_exact() ? 1.0 : level + fast_shortcuts.vertical_share * upright;
    for (int i = 0; i < 3; ++i)
    {
        const double v = job.ambient_color[i] * share * k * p.s.color[i];
        out[i] += float(v);
        p.r.light_radiance[i] += float(v * p.r.weight[i]);
    }
}

/// Whether a radiosity solution knows the light at the hit.
bool has_solution(const lit_point& p)
{
    return p.doc.mode == MODE_RADIOSITY && solution.look_up && p.r.hit_object->vft->type_id == OBJECT_RMESH &&
           !(p.object_flags & OBJECT_NOT_RADIOSITY);
}

void add_solution(const lit_point& p, uint32_t lights, float out[3])
{
    float light[3] = { 0, 0, 0 };
    solution.look_up(p.doc, p.s, p.r, light, lights, p.mirror);
    for (int i = 0; i < 3; ++i) { out[i] += light[i]; }
}

/// Share of a point's potential that is tested over a solution: less where what the ray has seen already
/// outshines what the point before could get.
double accuracy_over_solution(const lit_point& p)
{
    constexpr double limit = fast_shortcuts.shadow_accuracy;
    const double seen = luminance(p.r.radiance);
    if (p.tables.total_potential == 0.0 || !(seen > 0.0)) { return limit; }
    const double x = luminance(p.r.weight) * p.s.diffuse * p.tables.total_potential * inverse_pi;
    return std::pow(x / (x + seen) * limit, 1.0 - limit * limit);
}

void add_lights_by_rays(const lit_point& p, bool over_solution, float out[3])
{
    if (!p.tables.candidates) { return; }
    if (p.r.counters)
    {
        p.r.counters->light_rays += uint32_t(p.tables.leaf_count + daylight_takes_part(p.doc));
    }
    if (is_exact())
    {
        add_whole_lights(p, whole_lights::all, out);
        return;
    }
    const double accuracy = over_solution ? accuracy_over_solution(p) : fast_shortcuts.shadow_accuracy;
    const int32_t count = build_light_list(p);
    test_lights(p, sorted_list(p.tables.candidates, count), 1.0 - accuracy, out);
}

} // namespace

light_candidate* sorted_list(light_candidate* records, int32_t count)
{
    if (count == 0) { return nullptr; }
    if (count == 1)
    {
        records->next = nullptr;
        return records;
    }
    const int32_t half = count / 2;
    return merge(sorted_list(records, half), sorted_list(records + half, count - half));
}

bool cast_shadow_rays(const lit_point& p, light_candidate& c, float given[3])
{
    bool all_blocked = true;
    float sum[3] = { 0, 0, 0 }, potential[3] = { c.potential[0], c.potential[1], c.potential[2] };
    for (int32_t i = 0; i < c.samples; ++i)
    {
        if (i > 0) { resample(p, c, i, potential); }
        ray shadow = shadow_ray_of(p, c.sample);
        all_blocked &= cast_shadow_ray(p.doc, *c.source, c.sample, c.cache, shadow);
        for (int k = 0; k < 3; ++k) { sum[k] += shadow.simple_color[k] * potential[k]; }
    }
    for (int k = 0; k < 3; ++k) { given[k] = all_blocked ? 0.0f : sum[k] / float(c.samples); }
    return all_blocked;
}

bool soft_shadows(const document& document)
{
    return (document.render_flags & RENDER_SOFT_SHADOWS) && document.quality >= 3;
}

bool is_unlit_by(const scene_object* object, const light* source)
{
    const uint32_t flags = object->vft->get_flags(object);
    if (flags & OBJECT_LIGHT_SHAPE)
    {
        const property_node* own = find_property(object, PROPERTY_LIGHT_SHAPE);
        if (own && own->payload.light == source) { return true; }
    }
    if (!(flags & OBJECT_GROUP_UNLIT)) { return false; }
    const property_node* group = group_property(object);
    return group && group_contains(group->payload.light, source);
}

ray make_shadow_ray(const document& document, const ray& r, const surface& s, const shadow_origin& how)
{
    ray shadow = r;
    shadow.kind = RAY_SHADOW;
    shadow.flags = how.back_side && !is_thin(r.hit_object, s) ? uint32_t(RAY_INSIDE) : 0u;
    shadow.origin = r.hit_point;
    const double bend = dot(r.geometric_normal, r.interpolated_normal);
    if (std::fabs(bend - 1.0) > how.terminator_tolerance && r.hit_object->vft->get_bounds)
    {
        // Shading normals that bend away from the face would shadow themselves at the terminator.
        bounding_box box;
        r.hit_object->vft->get_bounds(r.hit_object, &box);
        const vector3 size = box.max - box.min;
        const double offset = how.offset_factor * (size.x + size.y + size.z);
        shadow.origin += r.facing_normal * (how.back_side ? -offset : offset);
    }
    for (float& c : shadow.simple_color) { c = 1.0f; }
    shadow.t_min = document.epsilon;
    shadow.hit_t = ZR_FAR;
    shadow.shadow_cache = nullptr;
    return shadow;
}

void add_direct_light(document& document, const surface& s, ray& r, const vector3* mirror)
{
    if (document.mode == MODE_SIMPLE)
    {
        simple_shade(document, s, r, mirror);
        return;
    }
    const lit_point p = { document, s, r, mirror, light_tables[r.thread],
        r.hit_object->vft->get_flags(r.hit_object), soft_shadows(document) };
    const bool solved = has_solution(p);
    const bool by_rays = !solved || (document.render_flags & RENDER_DIRECT_OVER_SOLUTION);
    if (by_rays && (r.flags & RAY_PROBE)) { return; }
    float out[3] = { 0, 0, 0 };
    if (by_rays)
    {
        add_lights_by_rays(p, solved, out);
        add_sky_light(document, s, r, out);
        if (solved) { add_solution(p, solution_indirect | solution_ambient, out); }
        else { add_ambient(p, out); }
    }
    else
    {
        add_solution(p, solution_all, out);
        if (p.tables.candidates) { add_whole_lights(p, whole_lights::distant, out); }
    }
    for (int i = 0; i < 3; ++i) { r.radiance[i] += out[i] * r.weight[i]; }
}

} // namespace zr
