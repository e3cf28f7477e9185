/// @file
/// The film tone method: an exposure, a white balance and one curve with a smooth toe and shoulder for every
/// picture, whose colours keep their hue and pale towards white when they burn out. The curve: Lottes,
/// "Advanced techniques and optimization of HDR color pipelines" (GDC 2016).
#pragma once

#include "zirconlite/frame/render_view.h"

namespace zr
{

/// What light becomes on film, in place, radiance to display values. With `plain` the exposure alone, in
/// proportion, which inverse_film takes back exactly. 1, or 0 for black.
int32_t film_tone(const render_view& view, float rgb[3], bool plain);

/// The same for the light of surfaces in a pixel that shows something of the background as well. That one was
/// picked as it is to be shown, so its share is added behind the curve: edges have no rim before any colour.
int32_t film_tone_over(const render_view& view, const float background[3], float rgb[3]);

/// Radiance that the plain form shows as `rgb`, linear, 0 to 1; in place.
void inverse_film(const render_view& view, float rgb[3]);

} // namespace zr
