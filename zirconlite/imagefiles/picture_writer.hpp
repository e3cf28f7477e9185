/// @file
/// What the writers of picture files share: a file that takes the old one's place only when it is whole, rows
/// from the record's source, progress after each row.
#pragma once

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/imagefiles/bitmap_format.h"
#include "zirconlite/platform/files.hpp"

namespace zr
{

/// A picture file being written. The first failure is reported and makes every later call do nothing.
struct picture_file
{
    const char16_t* path = nullptr;
    platform::replacement* replacement = nullptr;
    array<uint8_t> pending = {}; ///< gathered for one call of the system
    bool failed = false;
};

bool open_picture_file(picture_file& file, const char16_t* path);
bool write_bytes(picture_file& file, const void* bytes, size_t size);

/// Reports the first failure; false.
bool stop_picture(picture_file& file, const status& why);

/// Puts the file in its place; after a failure drops it and keeps the old one. Returns what the record's
/// `write_image` returns.
int32_t close_picture_file(picture_file& file);

/// The picture of a record being written.
struct picture_writer
{
    bitmap_format* record;
    picture_file file = {};
    array<uint8_t> row = {}; ///< one row from the source, 3 or 4 bytes a pixel
};

/// Opens the file and makes the row buffer. False, with the reason reported, for a record without a size or a
/// line source, for sides above `max_side`, and for a file that cannot be opened.
bool begin_picture(picture_writer& writer, uint32_t pixel_kind, uint32_t max_side);

/// Fetches row `y` of the picture, 0 at the bottom, into `writer.row`.
bool fetch_row(picture_writer& writer, uint32_t pixel_kind, uint32_t y);

/// Stops a picture whose file would be larger than the offsets of its format.
void check_file_size(picture_writer& writer, uint64_t file_bytes);

/// Moves the record's progress bar to the share that stands for `rows_written`.
void show_rows_written(bitmap_format& record, uint32_t rows_written);

} // namespace zr
