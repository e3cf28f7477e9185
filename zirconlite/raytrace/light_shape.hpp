/// @file
/// Points on the whole shape of a light, for whoever wants samples whose mean is the light of the shape.
#pragma once

#include "zirconlite/lighting/light.h"
#include "zirconlite/raytrace/sample_pattern.hpp"

namespace zr
{

/// Whether a light is more than a point or one direction.
bool has_extent(const light& source);

/// Whether a light is a sphere, or point, that shines alike in all directions.
bool is_even_ball(const light& source);

/// Samples that the shape of a light is worth: its `shadow_samples`, 1 where it is a point.
int32_t shape_samples(const light& source);

/// A place on the unit square as one for the light's own operation: round shapes take those of the disc
/// within it.
square_point place_in_shape(const light& source, const square_point& place);

/// Fills `sample` with the point of the shape that belongs to `place` on the unit square. Over evenly spread
/// places the mean of `color` x cosine / `distance` ^ `falloff` is the illuminance of the whole shape. Any
/// thread.
void sample_shape(
    const light& source, const vector3& shading_point, const square_point& place, source_sample& sample);

/// Fills `sample` with the middle of the light.
void sample_middle(const light& source, const vector3& shading_point, source_sample& sample);

} // namespace zr
