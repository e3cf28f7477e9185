/// @file
/// The background picture of an environment: in the plane of the view, on a cylinder or on a sphere around
/// the scene.
#pragma once

#include "zirconlite/environment/prepared_environment.hpp"
#include "zirconlite/geometry/ray.h"

namespace zr
{

/// Loads the picture that the record names and works out where it lies. A picture that a host has put in the
/// shared list under that name is taken as it is. On one thread.
void prepare_background_picture(
    const environment& record, const render_view& view, prepared_environment& made);

/// The share of the picture in what shows in a unit direction, 0 to 1, with its linear colour where that is
/// not 0. A planar picture needs the ray, whose pixel is the place; only rays that go on straight from the
/// eye see it. Any thread.
double background_picture(const environment& record, const prepared_environment& made,
    const vector3& direction, const ray* seen_by, float rgb[3]);

/// Gives up the picture and its key.
void release_background_picture(prepared_environment& made);

} // namespace zr
