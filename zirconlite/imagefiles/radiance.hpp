/// @file
/// What the reader and the writer of Radiance pictures share.
#pragma once

#include "zirconlite/frame/status.hpp"
#include "zirconlite/imagefiles/radiance.h"

namespace zr
{

/// Scanlines of other lengths have no run lengths by planes.
inline constexpr int32_t shortest_encoded = 8, longest_encoded = 32767;
/// The second of the four bytes before an encoded scanline is 2 as well, then the length, high byte first.
inline constexpr uint8_t encoded_mark = 2;

/// Orientation of a file: the bits of its resolution line.
enum : uint32_t
{
    radiance_x_falls = 1, ///< X runs from high to low
    radiance_y_falls = 2,
    radiance_rows = 4 ///< a scanline is a row, else a column
};

/// Reads a file in memory into `buffer`, as zr_read_radiance_file. False, with the reason in `*why`, for a
/// refused file; true with a `*why` that is a failure says what a damaged file lacks.
bool decode_radiance(const uint8_t* bytes, size_t size, image_buffer* buffer, status* why, uint64_t* where);

} // namespace zr
