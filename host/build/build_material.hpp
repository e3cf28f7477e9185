/// @file
/// From the materials of a scene to those of the library.
#pragma once

#include "host/scene/scene.hpp"
#include "zirconlite/materials/material.h"

namespace host
{

/// A material as the scene says, with all that it nests, its pictures loaded; the caller owns it. What is
/// missing and can be gone without (a picture) is added to `notes`. Throws `failure`.
material* build_material(const scene& s, const scene_material& m, std::vector<std::string>& notes);

/// Linear light of a scene colour.
void set_color(float (&out)[3], const color3& c);

} // namespace host
