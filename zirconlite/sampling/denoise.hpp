/// @file
/// Takes grain out of a converging picture: non-local means whose weights for one half of the samples come
/// from the other half, after Rousselle, Knaus and Zwicker, "Adaptive rendering with non-local means
/// filtering" (2012), with the colour and the normal of surfaces as guides. Light is filtered without the
/// colour of the surface that it falls on, so that patterns stay sharp.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/picture/image_buffer.h"

namespace zr
{

/// What the first surface of a pixel's paths that is not a mirror or clear looks like; sums over the samples.
struct pixel_guides
{
    float albedo[3];
    float normal[3];
};

/// The picture while it is filtered: a rectangle of it.
struct denoiser
{
    const pixel_sums* sums; ///< of its lower left pixel
    const pixel_guides* guides;
    size_t stride; ///< pixels from row to row
    int32_t width, height;
};

/// Pixels to each side that count for one.
inline constexpr int32_t denoise_margin = 15;

/// Rows that one thread filters at a time.
inline constexpr int32_t denoise_rows = 32;

/// Error of grain over what the filter leaves of it, at least: measured in rooms by day at 16 to 128 samples.
inline constexpr double denoise_gain = 2.0;

/// Filters the rows from `first` on, at most `denoise_rows`: three channels of surface light a pixel, cd/m2.
/// Every row depends on `d` alone. False when memory fails. Any thread.
bool denoise_band(const denoiser& d, int32_t first, array<float>& out);

} // namespace zr
