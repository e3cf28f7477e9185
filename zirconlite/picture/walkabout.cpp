/// @file
/// What the interactive view shows, read back from the display: frames of a recording, and single pictures.
/// Without a display every read gives nothing, and the functions say so.
#include <algorithm>

#include "zirconlite/display/hooks.hpp"
#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/picture/output.h"

namespace
{

constexpr uint32_t read_pixels_message = 21;
constexpr uint32_t wait_for_the_end = 2;

/// The argument of the display's read request: f32 R, G, B of a block of the window.
struct pixel_block
{
    int32_t left, first_line, width, height;
    float* pixels;
};

zr::growable_block<float> walkabout_buffer; // one frame
zr::growable_block<float> walkabout_line;   // one row
uint32_t walkabout_line_width = 0;
zr::growable_block<uint8_t> model_view_rows; // B, G, R, rows padded to 4 bytes; kept while it is written

bool read_display(pixel_block block);
bool read_frame(const int32_t size[2], float* read, uint8_t* pixels, size_t row_bytes);
bool check_writer(const bitmap_format* record);
int32_t walkabout_line_source(bitmap_format* record, line_request* request);
int32_t model_view_line_source(bitmap_format* record, line_request* request);
bool is_size(int64_t width, int64_t height);
uint8_t to_byte(float c);
size_t padded_row(uint32_t width);

} // namespace

int32_t zr_init_walkabout_frame(const int32_t size[2])
{
    walkabout_buffer.clear();
    if (is_size(size[0], size[1]) && walkabout_buffer.resize(size_t(size[0]) * size_t(size[1]) * 3))
    {
        return 1;
    }
    zr::report_failure(ZR_ERROR_MEMORY, "no memory for a frame of %d x %d pixels", size[0], size[1]);
    return 0;
}

int32_t zr_term_walkabout_frame(void)
{
    walkabout_buffer.clear();
    return 1;
}

int32_t zr_get_walkabout_frame(const int32_t size[2], uint8_t* pixels, int32_t row_bytes)
{
    const bool fits = is_size(size[0], size[1]) &&
                      size_t(size[0]) * size_t(size[1]) * 3 <= walkabout_buffer.count &&
                      row_bytes >= size[0] * 3;
    if (!fits)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "no frame of %d x %d pixels was begun", size[0], size[1]);
        return 0;
    }
    return read_frame(size, walkabout_buffer.items, pixels, size_t(row_bytes)) ? 1 : 0;
}

int32_t zr_write_walkabout_image(bitmap_format* record)
{
    if (!check_writer(record)) { return 0; }
    record->line_source = walkabout_line_source;
    return record->write_image(record);
}

int32_t zr_save_model_view_ex(int32_t redraw, void*, void*, bitmap_format* record)
{
    const document* scene = zr::host::get_current_doc();
    if (!scene || !check_writer(record))
    {
        if (!scene) { zr::report_failure(ZR_ERROR_STATE, "no document is shown"); }
        return 0;
    }
    const render_view& view = scene->views[0];
    const int32_t width = view.window_width, height = view.window_height;
    const size_t row_bytes = padded_row(uint32_t(std::max(width, 0)));
    zr::array<float> read;
    if (!is_size(width, height) || !read.resize(size_t(width) * size_t(height) * 3) ||
        !model_view_rows.resize(row_bytes * size_t(height)))
    {
        zr::report_failure(ZR_ERROR_MEMORY, "no memory for a window of %d x %d pixels", width, height);
        return 0;
    }
    if (redraw) { zr::show_image_on_display(const_cast<render_view*>(&view), int32_t(wait_for_the_end)); }
    const int32_t size[2] = { width, height };
    int32_t written = 0;
    if (read_frame(size, read.items, model_view_rows.items, row_bytes))
    {
        record->width = uint32_t(width);
        record->height = uint32_t(height);
        record->compression = 5;
        record->line_source = model_view_line_source;
        written = record->write_image(record);
    }
    model_view_rows.clear();
    return written;
}

namespace
{

bool read_display(pixel_block block)
{
    const auto argument = reinterpret_cast<uintptr_t>(&block);
    if (zr::send_display_message(read_pixels_message, argument, wait_for_the_end)) { return true; }
    return zr::report_failure(ZR_ERROR_STATE, "there is no display to read from");
}

/// Reads the window into `read`, and puts it as B, G, R bytes into rows `row_bytes` apart.
bool read_frame(const int32_t size[2], float* read, uint8_t* pixels, size_t row_bytes)
{
    if (!read_display({ 0, 0, size[0], size[1], read })) { return false; }
    for (int32_t y = 0; y < size[1]; ++y)
    {
        uint8_t* out = pixels + size_t(y) * row_bytes;
        for (int32_t x = 0; x < size[0]; ++x, read += 3, out += 3)
        {
            for (int i = 0; i < 3; ++i) { out[i] = to_byte(read[2 - i]); }
        }
    }
    return true;
}

bool check_writer(const bitmap_format* record)
{
    if (record && record->write_image) { return true; }
    return zr::report_failure(ZR_ERROR_FORMAT, "this picture format has no writer");
}

int32_t walkabout_line_source(bitmap_format* record, line_request* request)
{
    if (walkabout_line_width != record->width)
    {
        walkabout_line.clear();
        walkabout_line_width = 0;
        if (!walkabout_line.resize(size_t(record->width) * 3)) { return 0; }
        walkabout_line_width = record->width;
    }
    if (!read_display({ 0, int32_t(request->row), int32_t(record->width), 1, walkabout_line.items }))
    {
        return 0;
    }
    uint8_t* out = request->buffer;
    for (uint32_t x = 0; x < record->width; ++x)
    {
        for (uint32_t i = 0; i < 3; ++i) { *out++ = to_byte(walkabout_line[size_t(x) * 3 + i]); }
        if (request->pixel_kind == LINE_RGBA) { *out++ = 255; }
    }
    return 1;
}

int32_t model_view_line_source(bitmap_format* record, line_request* request)
{
    request->pixel_kind = LINE_RGB;
    const uint8_t* in = model_view_rows.items + padded_row(record->width) * request->row;
    for (size_t x = 0; x < record->width; ++x)
    {
        for (size_t i = 0; i < 3; ++i) { request->buffer[3 * x + i] = in[3 * x + 2 - i]; }
    }
    return 1;
}

bool is_size(int64_t width, int64_t height)
{
    return width >= 1 && height >= 1 && width <= IMAGE_MAX_SIDE && height <= IMAGE_MAX_SIDE;
}

uint8_t to_byte(float c) { return c > 0.0f ? uint8_t(std::min(c, 1.0f) * 255.0f + 0.5f) : uint8_t(0); }

size_t padded_row(uint32_t width) { return (size_t(width) * 3 + 3) / 4 * 4; }

} // namespace
