/// @file
/// Concave polygons. The library draws a polygon as a fan from its first corner, which is right for convex
/// ones only; the others are cut into triangles before they get there.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace host
{

/// Cuts a polygon by its ears when it is concave: `triangles` gets three corner numbers for each of its
/// count - 2 triangles. False, with nothing written, for a convex polygon and one without area.
bool cut_concave(const std::vector<std::array<double, 3>>& corners, std::vector<uint32_t>& triangles);

} // namespace host
