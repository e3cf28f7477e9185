/// @file
/// Light that surfaces give off by themselves.
#pragma once

#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/materials/surface.h"

namespace zr
{

/// Whether an object that glows is the visible shape of a luminaire, whose light source lies within: marked
/// as such, or without a shadow of its own.
bool is_light_shape(const scene_object& object);

/// Radiance that the object and its surface add (in simple mode: colour).
void emission(const scene_object* object, const surface& s, float out[3]);

} // namespace zr
