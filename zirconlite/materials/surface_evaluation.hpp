/// @file
/// Evaluation of materials at a hit, behind zr_resolve_surface.
#pragma once

#include "zirconlite/geometry/ray.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/materials/surface.h"

namespace zr
{
struct evaluation_points;
}

/// What one child of a complex material sees; the public name is used by blend functions.
struct child_context
{
    uint32_t flags;                      ///< CHILD_* bits
    vector3 coordinate_offset;           ///< added to point and coordinates below this level
    float color_offset[3];               ///< added to the colour of a simple material
    surface* child_surface;              ///< valid for a blend function that works on its children
    const zr::evaluation_points* points; ///< those of this level, for the footprint of masks
};

/// Bits of `child_context.flags`.
enum
{
    CHILD_COLOR_OFFSET = 0x1,
    CHILD_COORDINATE_OFFSET = 0x2
};

namespace zr
{

inline constexpr int max_material_depth = 6;

/// The point and the coordinates that a material's patterns run on.
struct evaluation_points
{
    vector3 point; ///< the mapped point
    vector3 uvw;   ///< the mapped coordinates
    /// Coordinates of vertices have a scale and direction of their own: how u and v grow along the face, per
    /// unit of length, and whether they are known. Projected coordinates are lengths themselves.
    bool has_gradients;
    vector3 gradient[2];
};

/// One step of the tree: works out `out` and tilts `normal`. False if the material is null, a complex one
/// has no blend, or the tree is too deep. `r` and `context` may be null.
bool evaluate_material(const material* m, ray* r, vector3& normal, int depth, const child_context* context,
    surface& out, const evaluation_points& points);

/// Lays the decals of one property over the surface at a hit and the normal to shade with. The reader of
/// decals sets it; while it is null decals do not show.
using decal_function = void (*)(const property_node& decals, ray& r, surface& s, vector3& normal);
extern decal_function decal_hook;

/// The pattern scale of a material, which mappings by angle take out; 0, 0 where it has no pattern.
void pattern_scale_of(const material* m, double scale[2]);

/// Whether `m` is a simple material without images that has a noisy bump (rubble or sandpaper).
bool has_noisy_bump(const material* m);

} // namespace zr
