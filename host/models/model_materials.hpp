/// @file
/// From the material properties of model files to a material of the scene. docs/materials-from-models.md
/// says the rules in words.
#pragma once

#include "host/models/model.hpp"
#include "host/scene/scene.hpp"

namespace host
{

/// The scene's material for what the file says. Weights add up to 1 whatever the file gives.
scene_material material_from_model(const model_material& m);

/// A display value for linear light, and back: the power 2.2.
double display_value(double linear);
double linear_value(double display);

} // namespace host
