/// @file
/// What the pictures of a simple material do to its surface.
#pragma once

#include "zirconlite/materials/surface_evaluation.hpp"

namespace zr
{

/// Applies the material's pictures in list order to `out`, which holds the surface without them, and tilts
/// `normal`. `r` and `context` may be null; with no ray each picture counts with its average.
void apply_images(const simple_material& m, const ray* r, vector3& normal, const child_context* context,
    const evaluation_points& points, surface& out);

/// Whether no picture in the list lets light through a material that is opaque by itself.
bool images_stay_opaque(const mat_image* images);

} // namespace zr
