/// @file
/// The f32 form of a ray for box tests, with the margins that keep a box from being missed.
#pragma once

#include <cfloat>
#include <cmath>

#include "zirconlite/raytrace/ray.h"

namespace zr
{

/// The differences and products of a slab test each round by half a unit in the last place, and so does the
/// reciprocal: seven times that covers both sides.
inline constexpr float slab_margin = 5e-7f;

/// One axis of a ray: planes are met at (plane - origin) x inverse. Origins are moved and reciprocals scaled
/// so that the near distance comes out too small and the far one too large.
struct box_axis
{
    float near_origin, far_origin, near_inverse, far_inverse;
    int backward; ///< 1: the ray enters through the high plane
};

inline box_axis make_box_axis(double origin, double inverse)
{
    const auto o = static_cast<float>(origin);
    const float error = std::fabs(o) * 1.2e-7f + FLT_MIN; // two units in the last place
    const float below = o - error, above = o + error;
    const auto i = static_cast<float>(inverse);
    const bool backward = i < 0.0f;
    return { backward ? below : above, backward ? above : below, i * (1.0f - slab_margin),
        i * (1.0f + slab_margin), backward };
}

inline float lower_t_min(double t_min)
{
    const double lowered = t_min > 0.0 ? t_min * (1.0 - 1e-6) : t_min * (1.0 + 1e-6);
    return static_cast<float>(std::fmax(lowered, double(-FLT_MAX)));
}

} // namespace zr
