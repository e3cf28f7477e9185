/// @file
/// The film tone method: an exposure, a white balance and one curve with a smooth toe and shoulder for every
/// picture, whose colours keep their hue and pale towards white when they burn out. The curve: Lottes,
/// "Advanced techniques and optimization of HDR color pipelines" (GDC 2016).
#pragma once

#include "zirconlite/frame/render_view.h"

namespace zr
{

/// What light becomes on film, in place, radiance to display values. With `plain` the curve alone, which
/// inverse_film takes back exactly: without contrast, white balance and paling. 1, or 0 for black.
int32_t film_tone(const render_view& view, float rgb[3], bool plain);

/// Radiance that the plain curve shows as `rgb`, 0 to 1; in place.
void inverse_film(const render_view& view, float rgb[3]);

} // namespace zr
