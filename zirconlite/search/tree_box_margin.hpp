/// @file
/// The f32 form of a ray for box tests, with the margins that keep a box from being missed.
#pragma once

#include <cfloat>
#include <cmath>

#include "zirconlite/geometry/ray.h"

namespace zr
{

/// The differences and products of a slab test each round by half a unit in the last place, and so does the
/// reciprocal: seven times that covers both sides.
inline constexpr float slab_margin = 5e-7f;

/// One axis of a ray for tests with fused multiply-add: planes are met at plane x inverse + offset, rounded
/// once. The offsets are worked out from the very `inverse` and rounded so that the near distance comes out
/// too small and the far one too large; what the reciprocal and the one rounding add, relative to the
/// distance, is `fused_margin`, with as much again to spare.
struct fused_axis
{
    float inverse, near_offset, far_offset;
    int backward; ///< 1: the ray enters through the high plane
};

inline constexpr float fused_margin = 5e-7f;

inline float clamp_to_float(double v)
{
    return float(v < -double(FLT_MAX) ? -double(FLT_MAX) : v > double(FLT_MAX) ? double(FLT_MAX) : v);
}

inline fused_axis make_fused_axis(double origin, double inverse)
{
    const float i = float(inverse);
    const double offset = -origin * double(i), error = std::fabs(offset) * 1.2e-7 + FLT_MIN;
    return { i, clamp_to_float(offset - error), clamp_to_float(offset + error), i < 0.0f };
}

/// One axis of a ray: planes are met at (plane - origin) x inverse. Origins are moved and reciprocals scaled
/// so that the near distance comes out too small and the far one too large.
struct box_axis
{
    float near_origin, far_origin, near_inverse, far_inverse;
    int backward; ///< 1: the ray enters through the high plane
};

inline box_axis make_box_axis(double origin, double inverse)
{
    const auto o = float(origin);
    const float error = std::fabs(o) * 1.2e-7f + FLT_MIN; // two units in the last place
    const float below = o - error, above = o + error;
    const auto i = float(inverse);
    const bool backward = i < 0.0f;
    return { backward ? below : above, backward ? above : below, i * (1.0f - slab_margin),
        i * (1.0f + slab_margin), backward };
}

inline float lower_t_min(double t_min)
{
    const double lowered = t_min > 0.0 ? t_min * (1.0 - 1e-6) : t_min * (1.0 + 1e-6);
    return clamp_to_float(lowered);
}

} // namespace zr
