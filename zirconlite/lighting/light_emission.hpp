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

/// Makes `axis_u` and `axis_v` unit vectors square to `normal` and to each other, turned as little as can be.
void square_axes(light& l);

/// Derives the strengths of a source by its distribution, see the brightness functions: those of the fast
/// light model.
void derive_brightness(light& l);

/// How intensity falls off with direction.
enum class emission_law
{
    even,   ///< alike all round
    cosine, ///< of the angle to `normal`, on its side alone
    sine,   ///< of the angle to a tube's axis
    spot,
    table ///< a goniometry
};

/// Whether a light has a photometric table to look up.
bool has_table(const light& l);

/// The law of a light's type and distribution. The exact model takes disks by the cosine and diffuse tubes by
/// the sine, which the fast one takes as even.
emission_law law_of(const light& l, bool exact);

/// What a source sends along `direction` (from the shading point to the light), as a share of its peak. By
/// the running job's light model.
double emission_factor(const light& l, const vector3& direction);

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

/// A point on a rectangle, a disk or a tube, for the exact model: `u`, `v` on the unit square (for the disk
/// on the disc within it) are spread by the solid angle that `shading_point` sees, and `color` is scaled so
/// that the mean of `color` x cosine / `distance` ^ `falloff` is the illuminance of the whole source. Where
/// emission does not follow the cosine, half of the points are spread by area. A tube is the lateral surface
/// of a cylinder, a line where its radius is 0 or the shading point lies within its width.
/// @{
void sample_rectangle(const light& l, const vector3& shading_point, source_sample& sample);
void sample_disk(const light& l, const vector3& shading_point, source_sample& sample);
void sample_tube(const light& l, const vector3& shading_point, source_sample& sample);
/// @}

/// A sample of the side of a sphere that `shading_point` sees: `u`, `v` on the disc within the unit square
/// become directions of equal solid angle. A sphere of even radiance gives I / d^2 on a surface that faces
/// it, at every distance. From within a sphere its middle is taken.
void sample_sphere(const light& l, const vector3& shading_point, source_sample& sample);

/// `color` of a sample whose `direction` is known.
void color_sample(const light& l, source_sample& sample);

/// `color` of a sample whose `direction` is known, the peak times `factor`.
void color_sample(const light& l, double factor, source_sample& sample);

/// Colours a sample of a flat source whose point is known and was chosen with `density` by solid angle
/// (1/sr), and where `is_mixed` by an even mixture of that and of points spread by area.
void color_flat_sample(const light& l, const vector3& shading_point, const vector3& plane_normal, double area,
    double density, bool is_mixed, source_sample& sample);

} // namespace zr
