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

/// Samples that show how far an edge beside a block reaches into a pixel.
inline constexpr int32_t edge_samples = 8;

/// The bit of a pixel in masks.
inline uint64_t pixel_bit(int32_t x, int32_t y) { return uint64_t(1) << (block_side * y + x); }

struct sampling_block
{
    uint64_t open;        ///< pixels that take more samples
    uint64_t good;        ///< pixels whose error is small enough
    uint64_t chancy;      ///< pixels of which a sample left light to chance
    uint64_t edges;       ///< pixels beside an edge that no neighbour in the block has shown
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

inline const pixel_sums& sums_at(const block_sums& sums, int32_t x, int32_t y)
{
    return sums.first[size_t(y) * sums.row_stride + size_t(x)];
}

/// Steps in 1 of the shares in a pixel's sums.
inline constexpr float light_steps = 65535.0f / 4.0f, alpha_steps = 65535.0f;

inline float largest_channel(const float c[3])
{
    return c[0] > c[1] ? (c[0] > c[2] ? c[0] : c[2]) : (c[1] > c[2] ? c[1] : c[2]);
}

/// What a pixel shows: the mean of its samples.
pixel_components mean_components(const pixel_sums& sums);

/// Whether what one sample saw at the outermost place of a pixel's window says that the pixel may err.
bool shows_edge(
    const shown_curve& curve, const sampling_limits& limits, const pixel_sums& pixel, const pixel_sums& seen);

/// Decides by the samples of the block alone. Each of its pixels has one at least. What is left to chance
/// errs less by `gain` once it is filtered; 1 where it is not.
void decide(const shown_curve& curve, const sampling_limits& limits, double gain, const block_sums& sums,
    sampling_block& block);

} // namespace zr
