/// @file
/// Which pixels of a block of 8 by 8 need more samples. Pixels that leave light to chance go on together,
/// until the error that two halves of their samples show is small: Dammertz, Hanika, Keller and Lensch, "A
/// hierarchical automatic stopping condition for Monte Carlo global illumination" (2010). Other pixels err by
/// what lies side by side in them alone, and each goes on by itself while its neighbours in the block differ.
#pragma once

#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/sampling/shown_curve.hpp"

namespace zr
{

inline constexpr int32_t block_side = 8, block_pixels = block_side * block_side;

/// Bit `block_side` * row + column of a mask stands for a pixel.
struct sampling_block
{
    uint64_t open;        ///< pixels that take more samples
    uint64_t good;        ///< pixels whose error is small enough
    uint64_t chancy;      ///< pixels of which a sample left light to chance
    double hidden_chance; ///< sum over samples that left light to chance, see path_light
    double shadow_rays;   ///< theirs
    int64_t chances;      ///< how many they are
    int64_t samples;      ///< of all pixels
    float error;          ///< of its pixels as shown, root mean square in steps of 255; below 0 while unknown
};

/// A block's place in the sums of a picture; at the picture's rim it has fewer columns or rows.
struct block_sums
{
    const pixel_sums* first;
    size_t row_stride;
    int32_t columns, rows;
};

/// What a pixel shows: the mean of its samples.
pixel_components mean_components(const pixel_sums& sums);

/// Decides by the samples of the block alone. Each of its pixels has one at least.
void decide(
    const shown_curve& curve, const sampling_limits& limits, const block_sums& sums, sampling_block& block);

} // namespace zr
