/// @file
/// What rendering asks of a radiosity solution. The solver fills the table when the library starts; while it
/// is empty a radiosity document is rendered like one without a solution.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/materials/surface.h"

namespace zr
{

/// Which light of a solution a look-up takes.
enum solution_light : uint32_t
{
    solution_direct = 0x1,
    solution_indirect = 0x2,
    solution_ambient = 0x4,
    solution_without_sun = 0x8, ///< the sun's share is taken out of the direct light: rays trace it
    solution_all = 0xf
};

struct solution_operations
{
    /// Light that the solution sends from the ray's hit, on a radiosity mesh, to the eye. `mirror` is the
    /// direction for highlights, null without. Adds to the ray's `light_radiance`. Any thread.
    void (*look_up)(
        const document& doc, const surface& s, ray& r, float out[3], uint32_t lights, const vector3* mirror);
    /// Works out the ambient term after a change of `ambient_gain`.
    void (*update_ambient)(document& doc);
};
extern solution_operations solution;

} // namespace zr
