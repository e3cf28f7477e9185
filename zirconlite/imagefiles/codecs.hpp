/// @file
/// The codecs of the format table.
#pragma once

#include "zirconlite/frame/status.hpp"
#include "zirconlite/imagefiles/bitmap_format.h"

namespace zr
{

int32_t write_bmp(bitmap_format* record);
bitmap* read_bmp(bitmap_format* record);

/// A BMP file in memory. Null for a file that is no BMP, has a form that is not read, or ends too early; then
/// `*why` tells the reason and `*where` the byte.
bitmap* decode_bmp(const uint8_t* bytes, size_t size, status* why, uint64_t* where);

} // namespace zr
