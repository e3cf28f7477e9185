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
        const auto whole = static_cast<int64_t>(c);
        return static_cast<uint32_t>(whole - (c < static_cast<double>(whole)));
    }
    return std::isfinite(c) ? static_cast<uint32_t>(static_cast<int64_t>(std::fmod(c, 4294967296.0))) : 0;
}

/// The part of `c` above the whole number below it, in 0 to 1; 0 for what is no finite number.
inline double fraction_of(double c)
{
    const double f = c - std::floor(c);
    return f >= 0.0 && f < 1.0 ? f : 0.0;
}

} // namespace zr
