/// @file
/// A model's place in the scene.
#pragma once

#include "host/scene/scene.hpp"
#include "zirconlite/types.h"

namespace host
{

/// Three rows of a 4 x 4 matrix by rows; the last is 0, 0, 0, 1.
struct transform
{
    double m[3][4];
};

/// Scale, then the turns about x, y and z, then the move; or the matrix that the scene gives.
transform transform_of(const scene_model& model);

vector3 apply(const transform& t, double x, double y, double z);

} // namespace host
