/// @file
/// Light that reaches a hit point straight from the light sources.
///
/// The fast model adds up what each light could give, sorts the lights by it, and casts shadow rays from the
/// strongest down until what is left cannot matter: the adaptive shadow testing of Ward, "Adaptive shadow
/// testing for ray tracing" (1991). The exact model tests every light that gives light.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/materials/surface.h"

/// What was last found to block one light, by recursion depth.
struct shadow_cache_entry
{
    const struct light* light;
    struct scene_object* blocker[RECURSION_LIMIT_SUM];
};

namespace zr
{

inline constexpr int thread_slots = 16;

/// One light that may reach the point in hand.
struct light_candidate
{
    source_sample sample;
    int32_t samples; ///< shadow rays to cast; below 1 counts as 1
    const light* source;
    shadow_cache_entry* cache;
    float potential[3];     ///< light that passes if nothing blocks, with surface colour and highlight
    float luminance;        ///< of `potential`
    float ambient_color[3]; ///< sun: sky light that is added without a shadow test
    float ambient_luminance;
    light_candidate* next;
};

/// Makes the tables of `thread_count` threads for the lights of a document, and the simple ambient colour.
/// False when memory fails. Between jobs only.
bool prepare_thread_lights(const document& doc, int32_t thread_count);

/// Forgets what one thread carries from point to point. Strips begin so, and a picture does not depend on
/// which thread makes them.
void reset_thread_lights(int32_t thread);

void free_thread_lights();
void free_shadow_caches();

/// Adds the light at the ray's hit to its `radiance` (simple mode: `simple_color`). `mirror` is the direction
/// for highlights, null without.
void add_direct_light(document& doc, const surface& s, ray& r, const vector3* mirror);

/// Simple mode: a plain loop over the lights.
void simple_shade(document& doc, const surface& s, ray& r, const vector3* mirror);

/// Entry of the light with this place in the walk over the leaves, or behind the last for the sun; null
/// without tables.
shadow_cache_entry* cache_entry(int32_t thread, int32_t leaf);

/// Sets where a shadow ray starts and how it counts its side: a copy of `r` at its hit.
struct shadow_origin
{
    double terminator_tolerance; ///< bent normals beyond this move the origin
    double offset_factor;        ///< of the sum of the object's extents
    bool back_side;
};
ray make_shadow_ray(const document& doc, const ray& r, const surface& s, const shadow_origin& how);

/// Whether `source` is left out for the hit object: its own shape's light, or one of a group that does not
/// light it.
bool is_unlit_by(const scene_object* object, const light* source);

/// Whether the soft sampling of lights is on.
bool soft_shadows(const document& doc);

} // namespace zr
