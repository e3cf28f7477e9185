/// @file
/// Picture files into 8 bits a channel, recognised by their content: PNG, BMP, TARGA, TIFF and JPEG.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace host
{

struct picture8
{
    uint32_t width = 0, height = 0; ///< pixels
    uint32_t channels = 0;          ///< 1 grey, 3 R G B, 4 R G B A
    std::vector<uint8_t> rows;      ///< `width` x `channels` bytes a row without padding, bottom row first
};

/// Reads a picture file. False, with the reason in `why`, for a file that is missing, damaged or not read.
/// True with a `why` that is not empty is a warning: the file is damaged, and what it lacks is black.
bool read_picture_file(const std::string& path, picture8& out, std::string& why);

/// The same from the bytes of a file.
bool read_picture_bytes(std::span<const uint8_t> bytes, picture8& out, std::string& why);

} // namespace host
