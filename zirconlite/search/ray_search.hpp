/// @file
/// The seam between finding a hit and shading it. Whoever shoots rays calls these two functions and knows
/// nothing of the structure behind them; they know nothing of what a hit means.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/geometry/scene_object.h"

namespace zr
{

/// Finds the ray's nearest hit within [`t_min`, min(`t_max`, `hit_t`)] and stores its distance, object,
/// element and weights in the ray; complete_hit gives the rest. Of hits at one distance the object made first
/// wins. Returns whether the hit was improved. A document without a built structure has no hits.
bool locate_nearest_hit(const document& doc, ray& r);

/// Works out point and normals of the hit in the ray, as `intersect` of its object does. Once
/// more does no harm.
inline void complete_hit(ray& r)
{
    const object_vft& vft = *r.hit_object->vft;
    if (vft.complete_hit) { vft.complete_hit(&r, r.hit_object); }
}

/// locate_nearest_hit and complete_hit.
inline bool find_nearest_hit(const document& doc, ray& r)
{
    const bool improved = locate_nearest_hit(doc, r);
    if (improved) { complete_hit(r); }
    return improved;
}

/// What to do with one hit of a walk: it is in the ray as locate_nearest_hit leaves it, and true ends the
/// walk.
using hit_visitor = bool (*)(void* context, ray& r);

/// Hands every object that the ray hits within [`t_min`, `t_max`] to `visit`, in no certain order and
/// possibly more than once. Returns whether a visit ended the walk; the ray then holds that hit.
bool visit_hits(const document& doc, ray& r, hit_visitor visit, void* context);

} // namespace zr
