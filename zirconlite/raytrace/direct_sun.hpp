/// @file
/// The sun and the sky's even share among the lights of a hit point.
#pragma once

#include "zirconlite/raytrace/direct_light.hpp"

namespace zr
{

/// Whether sun or sky reach the surfaces of the document.
bool daylight_takes_part(const document& doc);

/// Places shadow ray `i` of the sun on its disc and fills the sample.
void place_sun_sample(const document& doc, const ray& r, light_candidate& c, int32_t i);

/// Fills the record of the sun for a hit: what it could give, and the sky light that comes with it. `mirror`
/// is null where no highlight shows.
void measure_sun(
    const document& doc, const surface& s, const ray& r, const vector3* mirror, light_candidate& c);

} // namespace zr
