/// @file
/// The pixel's filter, a Gaussian cut off where it still has a fifth of its height: an edge reaches few
/// pixels, each of them by a share that few samples find. Samples are placed in proportion to it and count
/// alike, so none of them touches another pixel: Ernst, Stamminger and Greiner, "Filter importance sampling"
/// (2006).
#pragma once

#include "zirconlite/sampling/sequence.hpp"

namespace zr
{

inline constexpr double pixel_filter_radius = 0.75; ///< pixels to each side

/// Makes the table of places; on one thread, before the first sample.
void prepare_pixel_filter();

/// Offset from the pixel's middle, pixels.
unit_pair filter_offset(const unit_pair& at);

} // namespace zr
