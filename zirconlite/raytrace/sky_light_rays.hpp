/// @file
/// The light of sky and environment at a hit point, over the open part of its hemisphere.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/materials/surface.h"
#include "zirconlite/raytrace/sample_pattern.hpp"

namespace zr
{

/// Adds to `out` the light that the surface at the ray's hit sends on from its environment, by shadow rays:
/// of the side that is seen by `diffuse`, of the other by `translucent`. Nothing where the environment gives
/// no light.
void add_sky_light(document& doc, const surface& s, ray& r, float out[3]);

/// A direction over the unit `normal`, in proportion to its cosine.
vector3 cosine_direction(const vector3& normal, const square_point& p);

/// Where a shadow ray to the sky meets the ground plane: `radiance` becomes what the ground sends back, and
/// the ray ends there.
void meet_ground(document& doc, ray& shadow, double radiance[3]);

} // namespace zr
