/// @file
/// The low-discrepancy sequence behind the converging sampler. Each pair of random decisions of a sample
/// (place in the pixel, point on the lens, point on a luminaire ...) is one dimension pair: a two-dimensional
/// Sobol sequence of its own order, Owen-scrambled by hashes, after Burley, "Practical hash-based Owen
/// scrambling" (JCGT 2020). All pixels share the points and shift them by a blue-noise mask, so that the
/// error left between neighbours is fine grain: Georgiev and Fajardo, "Blue-noise dithered sampling"
/// (SIGGRAPH 2016 talks).
///
/// The numbers follow from the pixel's place in the whole picture, the document's seed and the sample's
/// number alone.
#pragma once

#include <stdint.h>

namespace zr
{

/// The dimension pairs of a sample. Those from `pair_vertex` on belong to one vertex of the path; each vertex
/// has `pairs_per_vertex` of its own.
enum sample_pair : uint32_t
{
    pair_pixel, ///< place under the pixel's filter
    pair_lens,  ///< point on the lens
    pair_vertex,
    pair_light_choice = pair_vertex, ///< which luminaire; which way the sky is sampled
    pair_light_point,                ///< point on the luminaire
    pair_sun,                        ///< point on the sun's disc
    pair_sky,                        ///< direction of the sky ray
    pair_branch,                     ///< reflected, transmitted or ended; which side of a translucent surface
    pair_direction,                  ///< direction within the lobe
    pair_glow,                       ///< point on the surfaces that glow
    pairs_end
};
inline constexpr uint32_t pairs_per_vertex = pairs_end - pair_vertex;

/// One sample of one pixel.
struct sample_point
{
    int32_t x, y;   ///< pixel in the whole picture
    uint32_t index; ///< number of the sample, from 0
    uint32_t seed;  ///< the document's
};

/// Two numbers in [0, 1).
struct unit_pair
{
    double u, v;
};

/// Keeps the first points of a seed, which makes its numbers cheap; they stay the same. While no sample is
/// taken.
void prepare_sequence(uint32_t seed);

/// The numbers of a dimension pair of the sample's own (`pair_pixel`, `pair_lens`), or of a vertex.
unit_pair sample_numbers(const sample_point& p, uint32_t pair);
inline unit_pair vertex_numbers(const sample_point& p, uint32_t vertex, sample_pair pair)
{
    return sample_numbers(p, pair + vertex * pairs_per_vertex);
}

} // namespace zr
