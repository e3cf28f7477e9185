/// @file
/// The codecs of the format table. Each decoder takes a whole file in memory. It answers null, the reason in
/// `*why` and the byte in `*where`, for a file that is of another kind, has a form that is not read, or ends
/// within its header. A file that ends or is damaged within its pixels gives what it has, the rest black,
/// and the same two say what is missing; `why->code` is 0 for a whole picture.
#pragma once

#include "zirconlite/frame/status.hpp"
#include "zirconlite/imagefiles/bitmap_format.h"

namespace zr
{

using picture_decoder = bitmap* (*)(const uint8_t* bytes, size_t size, status* why, uint64_t* where);

bitmap* decode_bmp(const uint8_t* bytes, size_t size, status* why, uint64_t* where);
bitmap* decode_targa(const uint8_t* bytes, size_t size, status* why, uint64_t* where);
bitmap* decode_tiff(const uint8_t* bytes, size_t size, status* why, uint64_t* where);
bitmap* decode_jpeg(const uint8_t* bytes, size_t size, status* why, uint64_t* where);

/// Whether the head of a file is that of a TARGA picture of any kind, read or not: the format has no
/// signature.
bool has_targa_kind(const uint8_t* bytes, size_t size);

int32_t write_bmp(bitmap_format* record);
int32_t write_targa(bitmap_format* record);
int32_t write_tiff(bitmap_format* record);
int32_t write_jpeg(bitmap_format* record);

} // namespace zr
