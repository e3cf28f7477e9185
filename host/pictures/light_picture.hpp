/// @file
/// Pictures that hold light: Radiance and OpenEXR files as they are, PNG with white as a radiance of 1.
#pragma once

#include "zirconlite/picture/image_buffer.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace host
{

struct light_deleter
{
    void operator()(image_buffer* b) const { zr_destroy_image_buffer(b); }
};
using light_picture = std::unique_ptr<image_buffer, light_deleter>;

/// Whether a file that begins like this is Radiance: by its mark, or by a FORMAT line where it has none.
bool is_radiance(std::string_view head);

/// Whether the file is Radiance or OpenEXR, by its first bytes.
bool holds_light(const std::filesystem::path& file);

/// Reads such a file, or a PNG. `warning` says what a damaged one lacks. Throws `failure`: missing (3) or
/// damaged (2).
light_picture read_light(const std::filesystem::path& file, std::string& warning);

/// Makes an empty picture, or throws `failure` for a size that is too large.
using light_maker = std::function<light_picture(int64_t width, int64_t height)>;

/// Sets the row at `y`, 0 the bottom one, from R, G, B of each pixel. What is not a number is black.
void set_light_row(image_buffer& light, int y, const float* rgb);

/// The OpenEXR part of it. Throws `failure` or what the format's library throws.
light_picture read_exr(const std::filesystem::path& file, const light_maker& make);

} // namespace host
