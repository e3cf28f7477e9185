#include "zirconlite/imagefiles/bitmap_store.hpp"

#include "zirconlite/frame/memory.h"
#include "zirconlite/platform/text.hpp"

namespace
{

constexpr uint32_t pixels_allocated = 0x1;
constexpr uint32_t large_store = 0x2;
constexpr uint32_t large_store_bytes = 0x1400001;

int32_t channels(zr::bitmap_pixels format)
{
    return format == zr::bitmap_rgba ? 4 : format == zr::bitmap_grey ? 1 : 3;
}

} // namespace

namespace zr
{

bitmap* new_bitmap(int64_t width, int64_t height, bitmap_pixels format, status* why)
{
    const bool sides_fit = width >= 1 && height >= 1 && width <= bitmap_max_side && height <= bitmap_max_side;
    if (!sides_fit || width * height * channels(format) > bitmap_max_bytes)
    {
        *why = fail(ZR_ERROR_LIMIT,
            "a picture of %lld x %lld pixels; sides go up to %lld, the store to %lld bytes",
            static_cast<long long>(width), static_cast<long long>(height),
            static_cast<long long>(bitmap_max_side), static_cast<long long>(bitmap_max_bytes));
        return nullptr;
    }
    auto* made = static_cast<bitmap*>(zr_calloc(1, sizeof(bitmap)));
    if (made)
    {
        made->width = int32_t(width);
        made->height = int32_t(height);
        made->pixel_format = format;
        made->bytes_per_pixel = channels(format);
        made->bits_per_pixel = 8 * made->bytes_per_pixel;
        made->pixel_count = int32_t(width * height);
        made->byte_count = made->pixel_count * made->bytes_per_pixel;
        // The levels of the mipmap add a third, and rounding at most a row and a column.
        made->store_bytes = uint32_t(made->byte_count * 1.3334 + double(height) + double(width) + 1.5);
        made->pixels = static_cast<uint8_t*>(zr_calloc(made->store_bytes, 1));
    }
    if (!made || !made->pixels)
    {
        zr_free_bitmap(made);
        *why = fail(ZR_ERROR_MEMORY, "no memory for a picture of %lld x %lld pixels",
            static_cast<long long>(width), static_cast<long long>(height));
        return nullptr;
    }
    made->flags = pixels_allocated | (made->store_bytes >= large_store_bytes ? large_store : 0);
    return made;
}

void report_in_file(status s, const char16_t* path, uint64_t byte)
{
    s.byte = byte;
    platform::to_utf8(path, s.file, sizeof(s.file));
    report(s);
}

} // namespace zr

int32_t zr_free_bitmap(bitmap* bitmap)
{
    if (!bitmap) { return 1; }
    zr_free(bitmap->pixels);
    zr_free(bitmap);
    return 1;
}
