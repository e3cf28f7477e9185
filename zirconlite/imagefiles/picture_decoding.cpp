/// @file
/// The common part of reading a picture file, and the choice of the decoder by content.
#include "zirconlite/imagefiles/picture_decoding.hpp"

#include <stdlib.h>
#include <string.h>

#include "zirconlite/platform/files.hpp"

namespace
{

constexpr uint64_t free_pixels = 1 << 20;
constexpr uint64_t densest_coding = 2048;

struct signature_row
{
    uint8_t size;
    char bytes[5];
    zr::picture_decoder decode;
};

constexpr signature_row signatures[] = {
    { 2, "BM", zr::decode_bmp },
    { 4, "II\x2A\0", zr::decode_tiff },
    { 4, "MM\0\x2A", zr::decode_tiff },
    { 4, "II\x2B\0", zr::decode_tiff },
    { 4, "MM\0\x2B", zr::decode_tiff },
    { 3, "\xFF\xD8\xFF", zr::decode_jpeg },
    { 0, "", zr::decode_targa },
};

} // namespace

bitmap* zr_decode_picture(const uint8_t* bytes, size_t size, zr_status* status)
{
    zr_status why = {};
    bitmap* decoded = nullptr;
    for (const signature_row& row : signatures)
    {
        if (size < row.size || memcmp(bytes, row.bytes, row.size) != 0) { continue; }
        uint64_t where = 0;
        decoded = row.decode(bytes, size, &why, &where);
        if (!decoded && row.size == 0 && !zr::has_targa_kind(bytes, size))
        {
            why = zr::fail(ZR_ERROR_FORMAT, "not a picture: neither BMP, TIFF, JPEG nor TARGA");
        }
        why.byte = zr::ok(why) ? 0 : where;
        break;
    }
    if (!decoded) { zr::report(why); }
    if (status) { *status = why; }
    return decoded;
}

namespace zr
{

uint8_t* read_file_for_decoding(const char16_t* path, size_t* size)
{
    platform::file_error error = platform::file_error::none;
    uint8_t* bytes = platform::read_whole_file(path, picture_file_limit, size, &error);
    if (!bytes)
    {
        const bool is_missing = error == platform::file_error::not_found;
        report_in_file(is_missing ? fail(ZR_ERROR_NOT_FOUND, "the file does not exist")
                                  : fail(ZR_ERROR_READ, "the file cannot be read"),
            path, 0);
    }
    return bytes;
}

bitmap* read_picture(const bitmap_format& record, picture_decoder decode)
{
    size_t size = 0;
    uint8_t* bytes = read_file_for_decoding(record.path, &size);
    if (!bytes) { return nullptr; }
    status why = {};
    uint64_t where = 0;
    bitmap* decoded = decode(bytes, size, &why, &where);
    free(bytes);
    if (!ok(why)) { report_in_file(why, record.path, where); }
    return decoded;
}

bool is_plausible_size(uint64_t pixels, uint64_t file_bytes)
{
    return pixels <= free_pixels || pixels / densest_coding <= file_bytes;
}

bitmap* new_bitmap_of_file(
    int64_t width, int64_t height, bitmap_pixels format, uint64_t file_bytes, status* why)
{
    const bool is_sound = width >= 1 && height >= 1 && width <= bitmap_max_side && height <= bitmap_max_side;
    if (is_sound && !is_plausible_size(uint64_t(width) * uint64_t(height), file_bytes))
    {
        *why = fail(ZR_ERROR_FORMAT, "a file of %llu bytes cannot hold %lld x %lld pixels",
            static_cast<unsigned long long>(file_bytes), static_cast<long long>(width),
            static_cast<long long>(height));
        return nullptr;
    }
    return new_bitmap(width, height, format, why);
}

status cut_in_row(int64_t row, int64_t height)
{
    return fail(ZR_ERROR_READ, "the picture ends in its row %lld of %lld; what is missing is black",
        static_cast<long long>(row) + 1, static_cast<long long>(height));
}

void set_opaque(bitmap& picture)
{
    for (size_t i = 0; i < size_t(picture.pixel_count); ++i) { picture.pixels[4 * i + 3] = 255; }
}

bool is_wholly_clear(const bitmap& picture)
{
    for (size_t i = 0; i < size_t(picture.pixel_count); ++i)
    {
        if (picture.pixels[4 * i + 3] != 0) { return false; }
    }
    return true;
}

void divide_by_alpha(bitmap& picture)
{
    for (size_t i = 0; i < size_t(picture.pixel_count); ++i)
    {
        uint8_t* p = picture.pixels + 4 * i;
        const unsigned alpha = p[3];
        for (int c = 0; c < 3 && alpha > 0; ++c)
        {
            const unsigned divided = (p[c] * 255u + alpha / 2) / alpha;
            p[c] = uint8_t(divided < 255 ? divided : 255);
        }
    }
}

void swap_red_blue(const uint8_t* in, size_t count, int bytes_per_pixel, uint8_t* out)
{
    if (bytes_per_pixel == 4)
    {
        for (size_t i = 0; i < count; ++i)
        {
            uint32_t pixel;
            memcpy(&pixel, in + 4 * i, 4);
            pixel = (pixel & 0xFF00FF00u) | (pixel & 0xFFu) << 16 | (pixel >> 16 & 0xFFu);
            memcpy(out + 4 * i, &pixel, 4);
        }
        return;
    }
    for (size_t i = 0; i < count; ++i, in += 3, out += 3)
    {
        const uint8_t first = in[0], second = in[1], third = in[2];
        out[0] = third;
        out[1] = second;
        out[2] = first;
    }
}

} // namespace zr
