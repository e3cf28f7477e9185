/// @file
/// The visible shapes of light sources as meshes that belong to them.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/materials/material.h"

namespace host
{

/// The white material of all shapes; null when memory fails.
material_entry* add_shape_material(document* d);

/// Adds the surface of a sphere, rectangle, disk or tube, which glows, and where that has a dark back or dark
/// ends, these. Shadow rays of the light pass all of it. False when memory fails.
bool add_light_shape(document* d, material_entry* look, light& l);

} // namespace host
