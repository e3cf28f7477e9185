/// @file
/// Angles, and the little vector arithmetic that cameras, daylight and materials of a scene need.
#pragma once

#include <array>
#include <cmath>

#include "zirconlite/types.h"

namespace host
{

inline constexpr double pi = 3.14159265358979323846;
inline constexpr double radians = pi / 180; ///< in a degree
inline constexpr double degrees = 180 / pi; ///< in a radian

inline double dot(const vector3& a, const vector3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double length(const vector3& a) { return std::sqrt(dot(a, a)); }
inline vector3 cross(const vector3& a, const vector3& b)
{
    return { a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x };
}

inline vector3 to_vector(const std::array<double, 3>& v) { return { v[0], v[1], v[2] }; }

/// `a` + `factor` x `b`.
inline vector3 plus(const vector3& a, const vector3& b, double factor)
{
    return { a.x + factor * b.x, a.y + factor * b.y, a.z + factor * b.z };
}

/// Of length 1; `v` must have a length.
inline vector3 unit(const vector3& v)
{
    const double l = length(v);
    return { v.x / l, v.y / l, v.z / l };
}

} // namespace host
