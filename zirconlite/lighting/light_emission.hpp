/// @file
/// What the shapes of light sources share: clamping a host's values to their ranges, strength by
/// distribution, and the emission towards a shading point.
#pragma once

#include "zirconlite/lighting/light.h"

namespace zr
{

/// Clamps every field that a host fills to its documented range; NaN and infinity become the neutral value. A
/// `normal` of length 0 becomes the direction to `aim_point`, or straight down. Axes of length 0 are made.
void clamp_light_to_ranges(light& l);

/// Derives the strengths of a point-like source by its distribution, see the brightness functions.
void derive_brightness(light& l);

/// Lux on a plane square to a distant light, from its `dimmer`.
double parallel_illuminance(const light& l);

/// Lumens that a distant light sends on `world_bounds`, over the sum of its projected sides; 0 for empty
/// bounds.
float parallel_lumens(const light& l);

/// Lumens of `illuminance` square to `normal` that fall on a box, over the sum of its projected sides; 0 for
/// an empty box.
float lumens_on(const bounding_box& box, const vector3& normal, double illuminance);

/// What a spot sends along `direction` (from the shading point to the light), as a share of its peak.
double spot_factor(const light& l, const vector3& direction);

/// Fills `distance`, `direction` and `color` of a sample whose `point` is known.
void finish_sample(const light& l, const vector3& shading_point, source_sample& sample);

/// A sample of the side of a sphere that `shading_point` sees: `u`, `v` on the disc within the unit square
/// become directions of equal solid angle. A sphere of even radiance gives I / d^2 on a surface that faces
/// it, at every distance. From within a sphere its middle is taken.
void sample_sphere(const light& l, const vector3& shading_point, source_sample& sample);

/// `color` of a sample whose `direction` is known.
void color_sample(const light& l, source_sample& sample);

} // namespace zr
