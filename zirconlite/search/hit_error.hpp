/// @file
/// How far hits stray from the shapes that they belong to.
#pragma once

#include <cmath>

#include "zirconlite/types.h"

namespace zr
{

/// How far a hit may lie beside the object with this box: the edge tolerance of the ray test over its size,
/// and the f32 rounding of its plane over its distance from the origin. Whoever sorts objects by their boxes
/// grows them by it, so that no hit falls where its object is not looked for. 0 for a box without bounds.
inline double hit_error(const bounding_box& box)
{
    const auto larger = [](double a, double b) { return a > b ? a : b; };
    const double size = larger(box.max.x - box.min.x, larger(box.max.y - box.min.y, box.max.z - box.min.z));
    const double x = larger(std::fabs(box.min.x), std::fabs(box.max.x));
    const double y = larger(std::fabs(box.min.y), std::fabs(box.max.y));
    const double z = larger(std::fabs(box.min.z), std::fabs(box.max.z));
    const double error = 1e-5 * size + 5e-7 * larger(x, larger(y, z));
    return std::isfinite(error) ? error : 0.0;
}

} // namespace zr
