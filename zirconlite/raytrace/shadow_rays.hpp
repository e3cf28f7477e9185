/// @file
/// What lies between a point and a light.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/lighting/light.h"

namespace zr
{

/// Follows a shadow ray. Whether the light is fully blocked; the ray's `simple_color` holds the filter on
/// return. `source` may be null: the sun, and distant lights over a radiosity solution.
bool shadow_test(document& doc, const light* source, ray& r);

/// Casts one shadow ray from its origin to a sample of a light, up to ten tolerances before it. Whether it
/// was blocked; `shadow` comes as made for the sample's side and keeps the filter.
bool cast_shadow_ray(
    document& doc, const light& source, const source_sample& sample, shadow_cache_entry* cache, ray& shadow);

/// Whether `node` is `source` or a group that contains it at any depth.
bool group_contains(const light* node, const light* source);

/// Whether one object blocks the way to a sample of a light, without a search. Exact model.
bool is_between(scene_object* blocker, const light& source, const source_sample& sample, ray& shadow);

} // namespace zr
