/// @file
/// From a ray to the light that comes back along it: the hit, its surface, direct light, and the rays that
/// it mirrors and lets through. After Whitted, "An improved illumination model for shaded display", CACM 23
/// (1980), with distributed glossy rays after Cook, Porter and Carpenter, SIGGRAPH 1984.
#pragma once

#include "zirconlite/environment/environment.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/materials/surface.h"

namespace zr
{

/// Empties the results before a trace: no radiance, no background, alpha 0.
void clear_results(ray& r);

/// Adds a child's results to its parent's. Alpha is not carried.
void add_ray_results(const ray& child, ray& parent);

/// Traces and shades one ray; `background`, which may be null, is called where it leaves the scene. Whether
/// something was hit.
bool trace_ray(document& doc, ray& r, background_function background);

/// Light leaving the hit along the ray, added to the ray's results.
void shade(document& doc, surface& s, ray& r, background_function background);

/// Stack that a worker needs for rays of these limits, bytes.
size_t shading_stack_bytes(int32_t reflect_limit, int32_t refract_limit);

} // namespace zr
