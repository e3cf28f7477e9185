/// @file
/// The image buffer: its blocks, and the addresses of pixels.
#include "zirconlite/picture/image_buffer.h"

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/threads.hpp"

namespace
{

constexpr int32_t spare_slots = 4; // the header slot before the pixels and three behind them

constexpr uint8_t black_pixel[8] = {};

image_buffer* new_buffer(int32_t width, int32_t height, int32_t pixel_format, uint32_t planes);
size_t slots(const image_buffer& buffer);

} // namespace

image_buffer* new_image_buffer(const document* doc, int32_t width, int32_t height)
{
    if (!doc) { return nullptr; }
    uint32_t planes = 0;
    if (doc->environment_flags & ENVIRONMENT_ALPHA) { planes |= PLANE_ALPHA; }
    // Below quality 3 a pixel has no single hit of its own to take a depth or an object from.
    if (doc->quality >= 3)
    {
        if (doc->render_flags & RENDER_OBJECT_IDS) { planes |= PLANE_OBJECT_ID; }
        if (doc->render_flags & RENDER_DEPTH_PLANE) { planes |= PLANE_DEPTH; }
    }
    return new_buffer(width, height, doc->mode == MODE_SIMPLE ? PIXEL_SIMPLE : PIXEL_RADIANCE, planes);
}

image_buffer* zr_new_image_buffer(int32_t width, int32_t height, int32_t pixel_format)
{
    return new_buffer(width, height, pixel_format == PIXEL_SIMPLE ? PIXEL_SIMPLE : PIXEL_RADIANCE, 0);
}

int32_t zr_destroy_image_buffer(image_buffer* buffer)
{
    if (!buffer) { return 1; }
    zr_free(buffer->pixels);
    zr_free(buffer->alpha);
    zr_free(buffer->depth);
    zr_free(buffer->object_ids);
    zr_free(buffer->sums);
    zr_free(buffer);
    return 1;
}

uint8_t* zr_image_buffer_signature(const image_buffer* buffer, int32_t y)
{
    if (!buffer || !buffer->pixels) { return nullptr; }
    return buffer->pixels + size_t(y) * buffer->row_bytes;
}

uint8_t* zr_image_buffer_pixel(const image_buffer* buffer, int32_t x, int32_t y)
{
    if (!buffer || !buffer->pixels) { return nullptr; }
    return buffer->pixels + size_t(y) * buffer->row_bytes + (size_t(x) + 1) * size_t(buffer->pixel_size);
}

uint8_t* image_buffer_pixel_pointers(
    const image_buffer* buffer, int32_t x, int32_t y, pixel_pointers* pointers)
{
    *pointers = {};
    pointers->pixel = zr_image_buffer_pixel(buffer, x, y);
    if (!pointers->pixel) { return nullptr; }
    const size_t entry = size_t(buffer->row_pixels) * size_t(y) + size_t(x);
    if (buffer->alpha) { pointers->alpha = buffer->alpha + entry; }
    if (buffer->object_ids) { pointers->object_id = buffer->object_ids + entry; }
    if (buffer->depth) { pointers->depth = buffer->depth + entry; }
    return pointers->pixel;
}

const uint8_t* zr_image_buffer_pixel_ex(
    const image_buffer* buffer, int32_t x, int32_t y, pixel_pointers* pointers)
{
    if (!buffer || !buffer->pixels) { return nullptr; }
    if (x < 0 || y < 0 || x >= buffer->width || y >= buffer->height) { return nullptr; }
    // A worker stores the signature after the pixels it vouches for.
    const uint8_t signature = zr::platform::load_word(zr_image_buffer_signature(buffer, y));
    int32_t step_bits = 0;
    switch (signature)
    {
    case ROW_PASS_1:
        step_bits = 3;
        break;
    case ROW_PASS_2:
        step_bits = 1;
        break;
    case ROW_COMPLETE:
        break;
    default:
        return black_pixel;
    }
    x &= ~step_bits;
    y &= ~step_bits;
    if (!pointers) { return zr_image_buffer_pixel(buffer, x, y); }
    return image_buffer_pixel_pointers(buffer, x, y, pointers);
}

int32_t zr_image_buffer_mean(const image_buffer* buffer, int32_t x, int32_t y, float rgb_out[3])
{
    if (!buffer || !buffer->sums || x < 0 || y < 0 || x >= buffer->width || y >= buffer->height) { return 0; }
    const pixel_sums& sums = buffer->sums[size_t(y) * size_t(buffer->width) + size_t(x)];
    if (sums.count == 0) { return 0; }
    const float scale = 1.0f / float(sums.count);
    for (int i = 0; i < 3; ++i) { rgb_out[i] = (sums.radiance[i] + sums.background[i]) * scale; }
    return 1;
}

uint8_t* zr_image_buffer_skip_pixels(const image_buffer* buffer, uint8_t* pixel, int32_t count)
{
    return pixel + ptrdiff_t(count) * buffer->pixel_size;
}

void image_buffer_advance(const image_buffer* buffer, pixel_pointers* pointers, int32_t count)
{
    if (pointers->pixel) { pointers->pixel = zr_image_buffer_skip_pixels(buffer, pointers->pixel, count); }
    if (pointers->alpha) { pointers->alpha += count; }
    if (pointers->object_id) { pointers->object_id += count; }
    if (pointers->depth) { pointers->depth += count; }
}

void zr_store_object_reference(const image_buffer* buffer, uint8_t* sample_pixel, uint32_t number)
{
    uint8_t* slot = zr_image_buffer_skip_pixels(buffer, sample_pixel, 1);
    for (int i = 0; i < 4; ++i) { slot[i] = uint8_t(number >> (8 * i)); }
}

uint32_t zr_read_object_reference(const image_buffer* buffer, const uint8_t* sample_pixel)
{
    const uint8_t* slot = sample_pixel + buffer->pixel_size;
    return uint32_t(slot[0]) | uint32_t(slot[1]) << 8 | uint32_t(slot[2]) << 16 | uint32_t(slot[3]) << 24;
}

namespace
{

image_buffer* new_buffer(int32_t width, int32_t height, int32_t pixel_format, uint32_t planes)
{
    if (width < 1 || height < 1 || width > IMAGE_MAX_SIDE || height > IMAGE_MAX_SIDE)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "a picture of %d x %d pixels; each side may be 1 to %d", width,
            height, IMAGE_MAX_SIDE);
        return nullptr;
    }
    auto* buffer = static_cast<image_buffer*>(zr_calloc(1, sizeof(image_buffer)));
    if (buffer)
    {
        buffer->pixel_format = pixel_format;
        buffer->width = width;
        buffer->height = height;
        buffer->planes = planes;
        buffer->pixel_size = pixel_format == PIXEL_SIMPLE ? 4 : 5;
        buffer->row_pixels = width + spare_slots;
        buffer->row_bytes = size_t(buffer->pixel_size) * size_t(buffer->row_pixels);
        buffer->total_bytes = buffer->row_bytes * size_t(height);
        const size_t count = slots(*buffer);
        buffer->pixels = static_cast<uint8_t*>(zr_calloc(buffer->total_bytes, 1));
        if (planes & PLANE_ALPHA) { buffer->alpha = static_cast<uint8_t*>(zr_calloc(count, 1)); }
        if (planes & PLANE_OBJECT_ID)
        {
            buffer->object_ids = static_cast<uint16_t*>(zr_calloc(count, sizeof(uint16_t)));
        }
        if (planes & PLANE_DEPTH) { buffer->depth = static_cast<float*>(zr_calloc(count, sizeof(float))); }
    }
    const bool is_whole = buffer && buffer->pixels && (!(planes & PLANE_ALPHA) || buffer->alpha) &&
                          (!(planes & PLANE_OBJECT_ID) || buffer->object_ids) &&
                          (!(planes & PLANE_DEPTH) || buffer->depth);
    if (is_whole) { return buffer; }
    zr::report_failure(ZR_ERROR_MEMORY, "no memory for a picture of %d x %d pixels", width, height);
    zr_destroy_image_buffer(buffer);
    return nullptr;
}

size_t slots(const image_buffer& buffer) { return size_t(buffer.row_pixels) * size_t(buffer.height); }

} // namespace
