/// @file
/// What the writers of picture files share: rows from the record's source, the file that takes the old one's
/// place only when it is whole, progress after each row.
#pragma once

#include "zirconlite/frame/array.hpp"
#include "zirconlite/imagefiles/bitmap_format.h"
#include "zirconlite/platform/files.hpp"

namespace zr
{

/// One picture file being written. Between begin_picture and end_picture the first failure is reported and
/// makes every later call do nothing.
struct picture_writer
{
    bitmap_format* record;
    platform::replacement* file = nullptr;
    array<uint8_t> row = {}; ///< one row from the source, 3 or 4 bytes a pixel
    bool failed = false;
};

/// Opens the file and makes the row buffer. False, with the reason reported, for a record without a size or a
/// line source and for a file that cannot be opened.
bool begin_picture(picture_writer& writer, uint32_t pixel_kind);

/// Fetches row `y` of the picture, 0 at the bottom, into `writer.row`.
bool fetch_row(picture_writer& writer, uint32_t pixel_kind, uint32_t y);

bool write_bytes(picture_writer& writer, const void* bytes, size_t size);

/// Puts the file in its place; after a failure drops it and keeps the old one. Returns what the record's
/// `write_image` returns.
int32_t end_picture(picture_writer& writer);

/// Moves the record's progress bar to the share that stands for `rows_written`.
void show_rows_written(bitmap_format& record, uint32_t rows_written);

} // namespace zr
