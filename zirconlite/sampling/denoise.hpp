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

/// Light of one pixel in both halves of its samples, without the surface's colour.
struct denoise_pixel
{
    float half[2][3];
    float y[2];     ///< luminance of the halves
    float variance; ///< of one half's luminance, smoothed over neighbours
    float albedo[3], normal[3];
};

/// The picture while it is filtered; rows and columns of the sampled rectangle.
struct denoiser
{
    int32_t width, height;
    array<denoise_pixel> pixels;
};

/// Rows that one thread filters at a time.
inline constexpr int32_t denoise_rows = 16;

/// Fills `made` from sums and guides of a rectangle whose lower left pixel they begin at; `stride` pixels a
/// row. False when memory fails. On one thread.
bool prepare_denoiser(denoiser& made, const pixel_sums* sums, const pixel_guides* guides, size_t stride,
    int32_t width, int32_t height);

/// Filters the rows from `first` on, at most `denoise_rows`: three channels of surface light a pixel, cd/m2.
/// Every row depends on `d` alone. False when memory fails. Any thread.
bool denoise_band(const denoiser& d, int32_t first, array<float>& out);

} // namespace zr
