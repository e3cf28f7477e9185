/// @file
/// A camera for scenes that give none: it looks at all models from a named side.
#pragma once

#include "host/scene/scene.hpp"
#include "zirconlite/types.h"

namespace host
{

/// Gives the camera an eye, a target and, where it has no lens of its own, a lens, so that `bounds` fills the
/// picture of `aspect` = width / height. Panoramas are taken inside the bounds at eye height. Bounds of no
/// size count as 1 metre.
void fit_camera(scene_camera& c, const bounding_box& bounds, double aspect);

} // namespace host
