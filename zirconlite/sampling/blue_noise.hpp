/// @file
/// A blue-noise mask: each rank from 0 to 4095 is once in a tile of 64 by 64, and ranks near each other
/// lie far apart, across the tile's edges too. Made by resources/make_blue_noise.py with the void-and-cluster
/// method: Ulichney, "The void-and-cluster method for dither array generation" (1993).
#pragma once

#include <stdint.h>

namespace zr
{

inline constexpr uint32_t blue_noise_side = 64;
extern const uint16_t blue_noise[blue_noise_side * blue_noise_side];

} // namespace zr
