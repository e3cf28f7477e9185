/// @file
/// The background picture of an environment: in the plane of the view, on a cylinder or on a sphere around
/// the scene.
#pragma once

#include "zirconlite/lighting/environment.h"
#include "zirconlite/raytrace/ray.h"

namespace zr
{

/// Loads the picture that the record names and works out its derived fields. A picture that a host has put in the
/// shared list under that name is taken as it is. On one thread.
void prepare_background_picture(environment& record, const render_view& view);

/// The share of the picture in what shows in a unit direction, 0 to 1, with its linear colour where that is not
/// 0. A planar picture needs the ray, whose pixel tells the place; only rays that go on straight from the eye see it.
/// Any thread.
double background_picture(const environment& record, const vector3& direction, const ray* seen_by, float rgb[3]);

/// Gives up the record's key.
void release_background_picture(environment& record);

} // namespace zr
