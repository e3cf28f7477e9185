/// @file
/// A hit point as its light sources see it, and what one sample of a source gives there.
#pragma once

#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/thread_lights.hpp"

namespace zr
{

/// The hit as every light of one point sees it.
struct lit_point
{
    document& doc;
    const surface& s;
    ray& r;
    const vector3* mirror;
    thread_lights& tables;
    uint32_t object_flags;
    bool soft;
};

/// What one sample of a light gives where nothing blocks it. `towards` is the direction that the cosine is
/// taken with; marks samples that reach the back of the surface.
void measure_sample(const lit_point& p, const light& source, const vector3& towards, source_sample& sample,
    float potential[3]);

/// The start of shadow rays to a sample.
ray shadow_ray_of(const lit_point& p, const source_sample& sample);

/// Casts the shadow rays of a light, each with what its own sample gives. Whether all were blocked; `given`
/// is the mean of what was not.
bool cast_shadow_rays(const lit_point& p, light_candidate& c, float given[3]);

/// Links `count` records with the strongest first; equal ones keep their order.
light_candidate* sorted_list(light_candidate* records, int32_t count);

/// Which lights are sampled whole.
enum class whole_lights
{
    all,    ///< the exact model
    distant ///< those that a solution leaves to rays: the sun and distant lights
};

/// Adds the light of sources by all samples of their shapes, each with its own brightness and shadow. With
/// the early stop some of them stand for the rest.
void add_whole_lights(const lit_point& p, whole_lights which, float out[3]);

} // namespace zr
