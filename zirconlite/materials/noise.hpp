/// @file
/// Coordinates of the noise's lattice, for the patterns that number their cells by it.
#pragma once

#include <cmath>
#include <stdint.h>

namespace zr
{

/// The lattice coordinate below `c`, wrapped to 32 bits; 0 for what is no finite number.
inline uint32_t lattice_coordinate(double c)
{
    if (std::fabs(c) < 9e18)
    {
        const auto whole = int64_t(c);
        return uint32_t(whole - (c < double(whole)));
    }
    return std::isfinite(c) ? uint32_t(int64_t(std::fmod(c, 4294967296.0))) : 0;
}

/// The part of `c` above the whole number below it, in 0 to 1; 0 for what is no finite number.
inline double fraction_of(double c)
{
    const double f = c - std::floor(c);
    return f >= 0.0 && f < 1.0 ? f : 0.0;
}

} // namespace zr
