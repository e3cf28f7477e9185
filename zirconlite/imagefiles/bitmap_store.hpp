/// @file
/// Making bitmaps for the readers of image files, and giving up what an image owns.
#pragma once

#include "zirconlite/frame/status.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"

namespace zr
{

/// Values of `bitmap.pixel_format`.
enum bitmap_pixels : int32_t
{
    bitmap_rgb = 1,
    bitmap_rgba = 2,
    bitmap_grey = 3
};

/// Largest sides and store that a picture file may ask for.
inline constexpr int64_t bitmap_max_side = 1 << 20;
inline constexpr int64_t bitmap_max_bytes = 1 << 30;

/// A new bitmap with zeroed pixels and room for the mipmaps behind them. Null, with the reason in `*why`, for
/// sizes out of range and when memory fails.
bitmap* new_bitmap(int64_t width, int64_t height, bitmap_pixels format, status* why);

/// Frees a bitmap that no list owns; others stay. Null is fine.
void free_unlisted(bitmap* b);

/// Reports `s` as the failure of a file at a byte position (0 none).
void report_in_file(status s, const char16_t* path, uint64_t byte);

} // namespace zr
