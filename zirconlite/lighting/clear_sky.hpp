/// @file
/// The sky of the exact model. Its light on open ground is that of the sky function at every hour and
/// cloudiness. A clear sky is brightest around the sun and toward the horizon, and blue overhead; an overcast
/// one follows the sky function.
#pragma once

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/sun_sky.h"

namespace zr
{

/// What the radiance of a direction is made from.
struct clear_sky
{
    double share; ///< of the clear sky's shape, 0 to 1; the rest is the sky function
    double scale; ///< cd/m2 of the clear sky where its shape is 1
    double zenith[3], horizon[3], aureole[3]; ///< linear colours of luminance 1
};

/// The sky that `zr_set_sun_and_sky` prepared last; workers read it.
extern clear_sky current_clear_sky;

/// Linear colour of luminance 1 of daylight at a correlated colour temperature, clamped to 4,000 to 25,000 K,
/// where that of 5,500 K is white. CIE 015:2018, section 4.1.2; primaries of IEC 61966-2-1.
void daylight_color(double kelvin, double rgb[3]);

/// Works out the sky from the strengths, directions and temperatures of `sky`; `sky_kelvin` and `sun_kelvin`
/// are those of the hour.
clear_sky clear_sky_of(const sun_sky& sky, double sky_kelvin, double sun_kelvin);

/// Radiance of the sky from a unit direction, cd/m2, of the sky prepared last. Any thread.
void sky_radiance(const sun_sky& sky, const vector3& direction, double rgb[3]);

} // namespace zr
