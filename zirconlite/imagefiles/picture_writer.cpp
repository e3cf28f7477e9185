#include "zirconlite/imagefiles/picture_writer.hpp"

#include <algorithm>
#include <stdio.h>
#include <string.h>

#include "zirconlite/frame/status.hpp"
#include "zirconlite/imagefiles/bitmap_store.hpp"

namespace
{

constexpr size_t block_bytes = 1 << 16;

const char* reason(zr::platform::file_error why);
bool write_pending(zr::picture_file& file);
zr::status write_failure();

} // namespace

namespace zr
{

bool open_picture_file(picture_file& file, const char16_t* path)
{
    file.path = path;
    if (!file.pending.reserve(block_bytes))
    {
        return stop_picture(file, fail(ZR_ERROR_MEMORY, "no memory to write a picture"));
    }
    platform::file_error why = platform::file_error::none;
    file.replacement = platform::begin_replacement(path, &why);
    return file.replacement || stop_picture(file, fail(ZR_ERROR_WRITE, "%s", reason(why)));
}

bool write_bytes(picture_file& file, const void* bytes, size_t size)
{
    if (file.failed) { return false; }
    array<uint8_t>& pending = file.pending;
    if (pending.count + size > block_bytes && !write_pending(file)) { return false; }
    if (size > block_bytes)
    {
        return platform::write_replacement(file.replacement, bytes, size) ||
               stop_picture(file, write_failure());
    }
    memcpy(pending.items + pending.count, bytes, size);
    pending.count += size;
    return true;
}

bool stop_picture(picture_file& file, const status& why)
{
    if (!file.failed) { report_in_file(why, file.path, 0); }
    file.failed = true;
    return false;
}

int32_t close_picture_file(picture_file& file)
{
    const bool written = !file.failed && write_pending(file);
    platform::replacement* replacement = file.replacement;
    file.replacement = nullptr;
    if (!written)
    {
        platform::cancel_replacement(replacement);
        return 0;
    }
    return platform::commit_replacement(replacement) || stop_picture(file, write_failure());
}

bool begin_picture(picture_writer& writer, uint32_t pixel_kind, uint32_t max_side)
{
    const bitmap_format& record = *writer.record;
    writer.file.path = record.path;
    if (record.width < 1 || record.height < 1 || record.width > max_side || record.height > max_side ||
        !record.line_source)
    {
        return stop_picture(writer.file,
            fail(ZR_ERROR_ARGUMENT, "a picture of %u x %u pixels%s cannot be written; sides go up to %u",
                record.width, record.height, record.line_source ? "" : " without a line source", max_side));
    }
    if (!writer.row.resize(size_t(record.width) * (pixel_kind == LINE_RGBA ? 4 : 3)))
    {
        return stop_picture(
            writer.file, fail(ZR_ERROR_MEMORY, "no memory for a row of %u pixels", record.width));
    }
    return open_picture_file(writer.file, record.path);
}

bool fetch_row(picture_writer& writer, uint32_t pixel_kind, uint32_t y)
{
    if (writer.file.failed) { return false; }
    line_request request = { .pixel_kind = pixel_kind, .row = y, .buffer = writer.row.items };
    if (writer.record->line_source(writer.record, &request)) { return true; }
    return stop_picture(writer.file, fail(ZR_ERROR_READ, "the picture gave no row %u", y));
}

void check_file_size(picture_writer& writer, uint64_t file_bytes)
{
    if (file_bytes <= UINT32_MAX) { return; }
    stop_picture(writer.file, fail(ZR_ERROR_LIMIT, "%u x %u pixels are more than the format can hold",
                                  writer.record->width, writer.record->height));
}

void show_rows_written(bitmap_format& record, uint32_t rows_written)
{
    if (!record.progress || record.height == 0) { return; }
    progress_bar& bar = *record.progress;
    bar.fraction = double(rows_written) / double(record.height);
    char percent[16];
    snprintf(percent, sizeof(percent), "%i%%", int(bar.fraction * 100.0 + 0.5));
    std::copy_n(percent, strlen(percent) + 1, bar.text);
}

} // namespace zr

namespace
{

const char* reason(zr::platform::file_error why)
{
    using zr::platform::file_error;
    switch (why)
    {
    case file_error::not_found:
        return "its folder does not exist";
    case file_error::in_use:
        return "another program has it open";
    case file_error::denied:
        return "writing there is not allowed";
    case file_error::not_a_file:
        return "the name is that of a folder or a device";
    default:
        return "the file cannot be opened";
    }
}

bool write_pending(zr::picture_file& file)
{
    const zr::array<uint8_t>& pending = file.pending;
    if (!zr::platform::write_replacement(file.replacement, pending.items, pending.count))
    {
        return zr::stop_picture(file, write_failure());
    }
    file.pending.count = 0;
    return true;
}

zr::status write_failure()
{
    return zr::fail(ZR_ERROR_WRITE, "the file cannot be written; the disk may be full");
}

} // namespace
