/// @file
/// The pixel's filter, a Blackman-Harris window of 1.5 pixels to each side. Samples are placed in proportion
/// to it and count alike, so none of them touches another pixel: Ernst, Stamminger and Greiner, "Filter
/// importance sampling" (2006). The window: Harris, "On the use of windows for harmonic analysis" (1978),
/// table 1, four terms.
#pragma once

#include "zirconlite/sampling/sequence.hpp"

namespace zr
{

inline constexpr double pixel_filter_radius = 1.5;

/// Makes the table of places; on one thread, before the first sample.
void prepare_pixel_filter();

/// Offset from the pixel's middle, pixels.
unit_pair filter_offset(const unit_pair& at);

} // namespace zr
