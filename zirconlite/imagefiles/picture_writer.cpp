#include "zirconlite/imagefiles/picture_writer.hpp"

#include <algorithm>
#include <stdio.h>
#include <string.h>

#include "zirconlite/frame/status.hpp"
#include "zirconlite/imagefiles/bitmap_store.hpp"

namespace
{

bool stop(zr::picture_writer& writer, const zr::status& why)
{
    if (!writer.failed) { zr::report_in_file(why, writer.record->path, 0); }
    writer.failed = true;
    return false;
}

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

} // namespace

namespace zr
{

bool begin_picture(picture_writer& writer, uint32_t pixel_kind)
{
    const bitmap_format& record = *writer.record;
    if (record.width < 1 || record.height < 1 || record.width > bitmap_max_side ||
        record.height > bitmap_max_side || !record.line_source)
    {
        return stop(
            writer, fail(ZR_ERROR_ARGUMENT, "a picture of %u x %u pixels%s cannot be written", record.width,
                        record.height, record.line_source ? "" : " without a line source"));
    }
    if (!writer.row.resize(size_t(record.width) * (pixel_kind == LINE_RGBA ? 4 : 3)))
    {
        return stop(writer, fail(ZR_ERROR_MEMORY, "no memory for a row of %u pixels", record.width));
    }
    platform::file_error why = platform::file_error::none;
    writer.file = platform::begin_replacement(record.path, &why);
    if (!writer.file) { return stop(writer, fail(ZR_ERROR_WRITE, "%s", reason(why))); }
    return true;
}

bool fetch_row(picture_writer& writer, uint32_t pixel_kind, uint32_t y)
{
    if (writer.failed) { return false; }
    line_request request = { .pixel_kind = pixel_kind, .row = y, .buffer = writer.row.items };
    if (writer.record->line_source(writer.record, &request)) { return true; }
    return stop(writer, fail(ZR_ERROR_READ, "the picture gave no row %u", y));
}

bool write_bytes(picture_writer& writer, const void* bytes, size_t size)
{
    if (writer.failed) { return false; }
    if (platform::write_replacement(writer.file, bytes, size)) { return true; }
    return stop(writer, fail(ZR_ERROR_WRITE, "the file cannot be written; the disk may be full"));
}

int32_t end_picture(picture_writer& writer)
{
    platform::replacement* file = writer.file;
    writer.file = nullptr;
    if (writer.failed)
    {
        platform::cancel_replacement(file);
        return 0;
    }
    if (platform::commit_replacement(file)) { return 1; }
    stop(writer, fail(ZR_ERROR_WRITE, "the file cannot be written; the disk may be full"));
    return 0;
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
