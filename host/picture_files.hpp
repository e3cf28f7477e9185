/// @file
/// Picture files: PNG through libpng and BMP through the library's writer, always written beside the old
/// file and renamed over it, so that a full disk or a signal never costs a picture that was there.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

namespace host
{

/// What the bytes of a row are.
enum class pixel_layout
{
    rgb8, ///< red, green, blue
    grey8,
    grey16 ///< two bytes, the high one first
};

/// A picture by rows; row 0 is the top one.
struct picture
{
    int width, height;
    pixel_layout layout;
    std::function<void(int row, uint8_t* out)> read_row;
};

/// Throws `failure` (render failed, 1) when a picture of that size cannot be written to `file`: unknown
/// extension, no folder, no right to write, not a plain file, no room on the disk. Leaves nothing behind.
void check_picture_file(const std::filesystem::path& file, const picture& shape);

/// Writes a picture. Throws `failure` with the old file kept.
void write_picture(const std::filesystem::path& file, const picture& p);

} // namespace host
