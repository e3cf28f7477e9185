/// @file
/// Light that surfaces give off by themselves.
#pragma once

#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/materials/surface.h"

namespace zr
{

/// Radiance that the object and its surface add (in simple mode: colour).
void emission(const scene_object* object, const surface& s, float out[3]);

} // namespace zr
