/// @file
/// How a ray sees a picture: how many texels its footprint covers, which level of the mipmap serves, what a
/// key makes see-through, and how brightness tilts a normal.
#pragma once

#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/surface_evaluation.hpp"

namespace zr
{

/// A level of a mipmap and the weight of the next coarser one.
struct mip_level
{
    int32_t level;
    double fraction;
};

/// Repeats per unit of length on the surface; `scale` comes in per unit of the coordinates.
void vertex_scale(const evaluation_points& points, double scale[2]);

/// Texels under the ray's footprint, squared, along the axis with more of them.
double footprint_measure(const ray& r, const double scale[2], const bitmap& b);

/// Each level stands for a factor of 4 in the measure.
mip_level choose_level(double measure, int32_t level_count);

/// How see-through a sample is by the key, 0 to 1.
double key_value(const bitmap& b, const mat_key& key, const double sample[4]);

/// Where the neighbours of a texel at the border are.
enum class bump_border
{
    wrap = 1,
    mirror = 2,
    clamp = 3
};

/// A texel of level 0, and how the picture lies on the surface.
struct bump_place
{
    int32_t x, y;
    bump_border border;
    bool flip_x, flip_y;
    vector3 u, v; ///< unit; the directions in which the coordinates grow
};

/// Tilts `normal` towards where the picture gets brighter.
void image_bump(const bitmap& b, const bump_place& at, double strength, vector3& normal);

} // namespace zr
