/// @file
/// How objects enter the voxel grid: `add_to_grid` of a kind comes back to one of these two.
#pragma once

#include "zirconlite/geometry/scene_object.h"

namespace zr
{

/// Corners that a polygon entering the grid may have.
inline constexpr int max_inserted_corners = 8;

/// Enters `object` in every cell of `node` that its box meets.
void insert_box(voxel_node* node, scene_object* object, const bounding_box& box);

/// Enters `object` in every cell of `node` that its polygon of 3 to max_inserted_corners vertices crosses.
void insert_polygon(voxel_node* node, scene_object* object, int vertex_count, const vector3* vertices,
    const bounding_box& box);

} // namespace zr
