/// @file
/// The lobe in which a surface mirrors or passes light: cos^n about an axis, normalised over all directions.
/// The highlights of luminaires and the blur of mirrors come from the same lobe. After Phong's model in its
/// energy-conserving form: Lafortune and Willems, "Using the modified Phong reflectance model for physically
/// based rendering" (1994).
#pragma once

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/surface.h"
#include "zirconlite/sampling/sequence.hpp"

namespace zr
{

/// Where a surface sends specular light, and how much of it.
struct specular_lobe
{
    double exponent;     ///< 0: polished, one direction only
    double reflected[3]; ///< share of the light by channel, the mirrored part of clear bodies left out
    double diffuse;      ///< what is left of the surface's `diffuse`
};

/// The lobe of a surface. With an exponent of its own (SURFACE_OWN_LOBE) the material's highlight is a part
/// of what it reflects, and is taken from its diffuse part; without, the blur grows as the mirrored share
/// falls. `fresnel` is the share that its clear part mirrors here.
specular_lobe lobe_of(const surface& s, double fresnel);

/// Exponent of light that passes through a frosted surface; 0 where it is clear.
double frosted_exponent(const surface& s);

/// A direction of the lobe round the unit vector `axis`.
vector3 sample_lobe(const vector3& axis, double exponent, const unit_pair& at);

/// Density of the lobe, per steradian, at a cosine from its axis. 0 behind the axis.
double lobe_density(double cosine, double exponent);

/// `direction` on the side of the unit vector `normal`: what would go into the surface is thrown back by it.
inline vector3 folded(const vector3& direction, const vector3& normal)
{
    const double height = dot(direction, normal);
    return height < 0.0 ? direction - 2.0 * height * normal : direction;
}

} // namespace zr
