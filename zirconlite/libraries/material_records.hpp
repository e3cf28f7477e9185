/// @file
/// Material records between memory and file, and the limits for damaged ones.
#pragma once

#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/materials/material.h"

namespace zr
{

/// Levels of complex materials, and materials, images and bumps together, in one record. Evaluation looks at
/// six levels; a record of one more is kept but never seen.
inline constexpr int max_record_depth = 16;
inline constexpr int max_record_parts = 4096;

/// Sizes of the chunks, as written. Older ones may end earlier.
inline constexpr uint32_t simple_record_bytes = 84, complex_record_bytes = 124, mask_record_bytes = 20,
                          image_record_bytes = 88, bump_record_bytes = 60;

/// A size for a scale and a scale for a size, on each axis.
double guarded_reciprocal(double x);

enum class record_pictures
{
    read,
    skip ///< paths stay as stored: for whoever writes the record again
};

/// The material of the record at `offset`, without names and surface. Null, reported, when it is damaged or
/// too large, and when memory fails.
material* read_material_record(library_file& lib, uint32_t offset, record_pictures pictures);

/// Appends the record of a material; its offset, 0 on failure, reported.
uint32_t write_material_record(library_file& lib, material& m, uint32_t parent);

} // namespace zr
