// Direct light of the simple mode: display colours, a plain loop over the lights, no distances.
#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/direct_sun.hpp"
#include "zirconlite/raytrace/shadow_rays.hpp"
#include "zirconlite/raytrace/thread_lights.hpp"

namespace zr
{

namespace
{

/// A light on one side of a surface.
struct lit_side
{
    const light& source;
    source_sample sample;
    bool back;
    int32_t leaf;
};

void simple_light(
    document& doc, const surface& s, ray& r, const light& source, int32_t leaf, const vector3* mirror);
bool cast_stratified_rays(document& doc, const surface& s, ray& r, lit_side& side, float filter[3]);
bool shows_highlight(const surface& s, const ray& r, const lit_side& side, const vector3* mirror);

} // namespace

void simple_shade(document& doc, const surface& s, ray& r, const vector3* mirror)
{
    const uint32_t flags = r.hit_object->vft->get_flags(r.hit_object);
    if (flags & OBJECT_NO_DIRECT_LIGHT) { return; }
    const bool excludes = flags & (OBJECT_LIGHT_SHAPE | OBJECT_GROUP_UNLIT);
    if (daylight_takes_part(doc) && doc.sun_sky->sun_strength != 0.0)
    {
        simple_light(doc, s, r, sun_light, light_tables[r.thread].leaf_count, mirror);
    }
    int32_t leaf = 0;
    for (light* l = first_leaf(doc.lights); l; l = next_leaf(l), ++leaf)
    {
        if (!l->sample || (excludes && is_unlit_by(r.hit_object, l))) { continue; }
        simple_light(doc, s, r, *l, leaf, mirror);
    }
    for (int i = 0; i < 3; ++i)
    {
        const double ambient = s.diffuse * s.color[i] + s.translucent * s.translucent_color[i];
        r.simple_color[i] += float(job.simple_ambient_color[i] * ambient * r.weight[i]);
    }
}

namespace
{

void simple_light(
    document& doc, const surface& s, ray& r, const light& source, int32_t leaf, const vector3* mirror)
{
    lit_side side = { source, {}, false, leaf };
    side.sample.u = side.sample.v = 0.5;
    source.sample(&source, &r.hit_point, &side.sample, 1);
    const double* color = side.sample.color;
    if (color[0] == 0.0 && color[1] == 0.0 && color[2] == 0.0) { return; }
    const double c = dot(side.sample.direction, r.shading_normal);
    side.back = c < 0.0;
    if (side.back ? s.translucent == 0.0f : c == 0.0 || (s.diffuse == 0.0f && s.reflect == 0.0f)) { return; }
    const vector3 towards = side.sample.direction;

    float filter[3];
    const bool blocked = cast_stratified_rays(doc, s, r, side, filter);
    if (blocked && !(filter[0] > 0.0f || filter[1] > 0.0f || filter[2] > 0.0f)) { return; }
    const double w = side.back ? -s.translucent * c : s.diffuse * c;
    double h = 0.0;
    if (shows_highlight(s, r, side, mirror))
    {
        const double m = dot(towards, *mirror);
        if (m > 0.0) { h = std::pow(m, double(s.highlight)) * s.highlight_strength; }
    }
    for (int i = 0; i < 3; ++i)
    {
        const double v = s.color[i] * w * color[i] + s.highlight_color[i] * source.simple_color[i] * h;
        r.simple_color[i] += float(filter[i] * v * r.weight[i]);
    }
}

/// Casts the shadow rays of one light, over strata of its disc. Whether all were blocked; `filter` is their
/// mean.
bool cast_stratified_rays(document& doc, const surface& s, ray& r, lit_side& side, float filter[3])
{
    const shadow_origin how = { 0.0001, 0.015, side.back };
    const ray start = make_shadow_ray(doc, r, s, how);
    const bool soft = soft_shadows(doc) && side.source.shadow_samples >= 1;
    const int32_t count = soft ? side.source.shadow_samples : 1;
    const double amplitude[2] = { side.source.sample_jitter, side.source.sample_jitter };
    bool all_blocked = true;
    double sum[3] = { 0, 0, 0 };
    for (int32_t i = 0; i < count; ++i)
    {
        if (soft)
        {
            const double key[2] = { i * r.pixel[0] + 1.0, i * r.pixel[1] + 1.0 };
            double j[2];
            table_jitter(key, amplitude, j);
            side.sample.u = clamp_to_unit((r.stratum[0] + 1.0) / 2.0 + j[0]);
            side.sample.v = clamp_to_unit((r.stratum[1] + 1.0) / 2.0 + j[1]);
            side.source.sample(&side.source, &r.hit_point, &side.sample, 1);
        }
        ray shadow = start;
        all_blocked &=
            cast_shadow_ray(doc, side.source, side.sample, cache_entry(r.thread, side.leaf), shadow);
        for (int k = 0; k < 3; ++k) { sum[k] += shadow.simple_color[k]; }
    }
    for (int k = 0; k < 3; ++k) { filter[k] = float(sum[k] / count); }
    return all_blocked;
}

bool shows_highlight(const surface& s, const ray& r, const lit_side& side, const vector3* mirror)
{
    return !side.back && s.highlight_strength != 0.0f && mirror &&
           !(side.source.flags & LIGHT_NO_HIGHLIGHT) &&
           !(r.hit_object->vft->get_flags(r.hit_object) & OBJECT_NO_HIGHLIGHT);
}

} // namespace

} // namespace zr
