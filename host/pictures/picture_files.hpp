/// @file
/// Picture files: PNG through libpng and every other format through the library's writers, always written
/// beside the old file and renamed over it, so that a full disk or a signal never costs a picture that was
/// there.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

struct image_buffer;

namespace host
{

/// What the bytes of a row are.
enum class pixel_layout
{
    rgb8,  ///< red, green, blue
    rgba8, ///< and alpha, which formats without it leave out
    grey8,
    grey16,  ///< two bytes, the high one first
    radiance ///< light, which only .hdr keeps; it has no rows of bytes
};

/// A picture by rows; row 0 is the top one.
struct picture
{
    int width, height;
    pixel_layout layout;
    std::function<void(int row, uint8_t* out)> read_row;
    int jpeg_quality = 90; ///< 0 to 100
};

/// Whether the name is that of a format that keeps light.
bool keeps_radiance(const std::filesystem::path& file);

/// Whether the format has grey pictures; the others take grey as three equal channels.
bool takes_grey(const std::filesystem::path& file);

/// What the host writes to `file` for a picture in colours: `radiance` for .hdr, else `rgb8`.
pixel_layout color_layout_of(const std::filesystem::path& file);

/// Throws `failure` (render failed, 1) when a picture of that size cannot be written to `file`: unknown
/// extension, no folder, no right to write, not a plain file, no room on the disk. Leaves nothing behind.
void check_picture_file(const std::filesystem::path& file, const picture& shape);

/// Writes a picture. Throws `failure` with the old file kept.
void write_picture(const std::filesystem::path& file, const picture& p);

/// Writes a text the same way. Throws `failure` with the old file kept.
void write_text(const std::filesystem::path& file, const std::string& text);

/// Writes light as .hdr, with a comment in its head. Throws `failure` with the old file kept.
void write_radiance(
    const std::filesystem::path& file, const image_buffer& light, const std::string& comment = "");

} // namespace host
