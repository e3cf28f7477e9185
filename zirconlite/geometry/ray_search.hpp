/// @file
/// The seam between finding a hit and shading it. Whoever shoots rays calls these two functions and knows
/// nothing of the structure behind them; they know nothing of what a hit means.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/raytrace/ray.h"

namespace zr
{

/// Finds the ray's nearest hit within [`t_min`, min(`t_max`, `hit_t`)] and stores it in the ray, as
/// `intersect` of the object does. Of hits at one distance the object made first wins. Returns whether the
/// hit was improved. A document without a built structure has no hits.
bool find_nearest_hit(const document& document, ray& ray);

/// What to do with one hit of a walk: it stands in the ray, and true ends the walk.
using hit_visitor = bool (*)(void* context, ray& ray);

/// Hands every object that the ray hits within [`t_min`, `t_max`] to `visit`, in no certain order and
/// possibly more than once. Returns whether a visit ended the walk; the ray then holds that hit.
bool visit_hits(const document& document, ray& ray, hit_visitor visit, void* context);

} // namespace zr
