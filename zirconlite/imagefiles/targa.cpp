/// @file
/// TARGA pictures: true colour with 16, 24 or 32 bits a pixel and grey with 8, raw or in run lengths, with
/// any corner as the first. Written are raw true colours, the bottom row first.
///
/// Refused are colour-mapped files and other depths. Pixels that the file lacks are black.
#include <algorithm>
#include <iterator>
#include <string.h>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/imagefiles/picture_decoding.hpp"
#include "zirconlite/imagefiles/picture_writer.hpp"

namespace
{

// offset size meaning
//      0    1 bytes of the text behind the header
//      1    1 1: a colour map follows the text
//      2    1 kind of picture
//      3    2 first entry of the colour map
//      5    2 entries of the colour map
//      7    1 bits of an entry
//      8    4 place on a screen, x and y
//     12    2 width
//     14    2 height
//     16    1 bits a pixel
//     17    1 descriptor
constexpr size_t header_bytes = 18;
constexpr uint8_t raw_true_color = 2;
constexpr uint8_t alpha_bits = 0x0F, right_to_left = 0x10, top_row_first = 0x20;

using pixel_reader = void (*)(const uint8_t* in, size_t count, uint8_t* out);

void read_16(const uint8_t* in, size_t count, uint8_t* out);

struct form_row
{
    uint16_t kind; ///< with the byte behind it, which is 0
    uint8_t depth;
    bool in_runs;
    zr::bitmap_pixels format;
    pixel_reader read;
};

void read_24(const uint8_t* in, size_t count, uint8_t* out);
void read_32(const uint8_t* in, size_t count, uint8_t* out);
void read_grey(const uint8_t* in, size_t count, uint8_t* out);

constexpr form_row forms[] = {
    { 2, 16, false, zr::bitmap_rgb, read_16 },
    { 2, 24, false, zr::bitmap_rgb, read_24 },
    { 2, 32, false, zr::bitmap_rgba, read_32 },
    { 3, 8, false, zr::bitmap_grey, read_grey },
    { 10, 16, true, zr::bitmap_rgb, read_16 },
    { 10, 24, true, zr::bitmap_rgb, read_24 },
    { 10, 32, true, zr::bitmap_rgba, read_32 },
    { 11, 8, true, zr::bitmap_grey, read_grey },
};

/// The packets of a file in run lengths. What is left of one goes on in the next row.
struct run_state
{
    size_t literals = 0, repeats = 0; ///< pixels left of the packet
    uint8_t pixel[4] = {};            ///< the repeated one, as stored in a bitmap
};

const form_row* form_of(uint16_t kind, uint8_t depth);
size_t decode_row(zr::byte_reader& in, const form_row& form, run_state& runs, size_t width, uint8_t* row);
void reverse_row(uint8_t* row, size_t width, size_t pixel_bytes);

} // namespace

namespace zr
{

bitmap* decode_targa(const uint8_t* bytes, size_t size, status* why, uint64_t* where)
{
    byte_reader in(bytes, size);
    const uint8_t text_bytes = in.u8(), map_type = in.u8();
    const uint16_t kind = in.u16();
    in.skip(1);
    const uint16_t map_entries = in.u16();
    const uint8_t map_bits = in.u8();
    in.skip(4);
    const uint16_t width = in.u16(), height = in.u16();
    const uint8_t depth = in.u8(), descriptor = in.u8();
    *where = in.position();
    if (!in.ok())
    {
        *why = fail(ZR_ERROR_FORMAT, "the file ends within its header");
        return nullptr;
    }
    if (!has_targa_kind(bytes, size))
    {
        *why = fail(ZR_ERROR_FORMAT, "not a TARGA picture");
        return nullptr;
    }
    const form_row* form = form_of(kind, depth);
    if (!form)
    {
        *why = fail(ZR_ERROR_FORMAT,
            "TARGA pictures of kind %u with %u bits are not supported; kinds 2 and 10 with 16, 24, 32 "
            "bits are, and 3 and 11 with 8",
            kind, depth);
        return nullptr;
    }
    in.skip(text_bytes);
    if (map_type == 1) { in.skip(size_t(map_entries) * ((map_bits + 7u) / 8)); }
    if (!in.ok())
    {
        *why = fail(ZR_ERROR_FORMAT, "the file ends before its pixels");
        return nullptr;
    }
    bitmap* made = new_bitmap_of_file(width, height, form->format, size, why);
    if (!made) { return nullptr; }

    const size_t pixel_bytes = size_t(made->bytes_per_pixel);
    run_state runs;
    for (size_t y = 0; y < height; ++y)
    {
        const size_t place = descriptor & top_row_first ? height - 1 - y : y;
        uint8_t* row = made->pixels + place * width * pixel_bytes;
        const size_t decoded = decode_row(in, *form, runs, width, row);
        if (descriptor & right_to_left) { reverse_row(row, width, pixel_bytes); }
        if (decoded < width)
        {
            *where = size;
            *why = cut_in_row(int64_t(y), height);
            break;
        }
    }
    // Many writers leave the count of alpha bits at 0 and store alpha all the same, this one too.
    const bool declares_alpha = descriptor & alpha_bits;
    if (form->format == bitmap_rgba && !declares_alpha && is_wholly_clear(*made)) { set_opaque(*made); }
    return made;
}

bool has_targa_kind(const uint8_t* bytes, size_t size)
{
    // Kinds that the format knows, read or not; the byte before says whether there is a colour map.
    static constexpr uint8_t kinds[] = { 1, 2, 3, 9, 10, 11, 32, 33 };
    return size >= header_bytes && bytes[1] <= 1 &&
           std::find(kinds, std::end(kinds), bytes[2]) != std::end(kinds);
}

int32_t write_targa(bitmap_format* record)
{
    const bool has_alpha = record->alpha_mode == LINE_RGBA;
    const uint32_t pixel_kind = has_alpha ? LINE_RGBA : LINE_RGB;
    const int pixel_bytes = has_alpha ? 4 : 3;
    picture_writer writer = { .record = record };
    begin_picture(writer, pixel_kind, UINT16_MAX);
    uint8_t header[header_bytes] = {};
    header[2] = raw_true_color;
    put_u16(header + 10, uint16_t(record->height));
    put_u16(header + 12, uint16_t(record->width));
    put_u16(header + 14, uint16_t(record->height));
    header[16] = uint8_t(8 * pixel_bytes);
    write_bytes(writer.file, header, sizeof(header));
    for (uint32_t y = 0; y < record->height && fetch_row(writer, pixel_kind, y); ++y)
    {
        swap_red_blue(writer.row.items, record->width, pixel_bytes, writer.row.items);
        write_bytes(writer.file, writer.row.items, size_t(record->width) * size_t(pixel_bytes));
        show_rows_written(*record, y + 1);
    }
    return close_picture_file(writer.file);
}

} // namespace zr

namespace
{

const form_row* form_of(uint16_t kind, uint8_t depth)
{
    for (const form_row& row : forms)
    {
        if (row.kind == kind && row.depth == depth) { return &row; }
    }
    return nullptr;
}

/// Raw pixels, as many as the file has.
size_t read_pixels(zr::byte_reader& in, const form_row& form, size_t count, uint8_t* out)
{
    const size_t file_bytes = form.depth / 8u;
    const size_t here = std::min(count, in.left() / file_bytes);
    form.read(in.bytes(here * file_bytes), here, out);
    return here;
}

/// Decodes up to `width` pixels; fewer when the file ends.
size_t decode_row(zr::byte_reader& in, const form_row& form, run_state& runs, size_t width, uint8_t* row)
{
    if (!form.in_runs) { return read_pixels(in, form, width, row); }
    const size_t pixel_bytes = form.format == zr::bitmap_rgba ? 4 : form.format == zr::bitmap_grey ? 1 : 3;
    size_t x = 0;
    while (x < width)
    {
        uint8_t* out = row + x * pixel_bytes;
        if (runs.repeats > 0)
        {
            const size_t count = std::min(runs.repeats, width - x);
            for (size_t i = 0; i < count; ++i) { memcpy(out + i * pixel_bytes, runs.pixel, pixel_bytes); }
            runs.repeats -= count;
            x += count;
        }
        else if (runs.literals > 0)
        {
            const size_t wanted = std::min(runs.literals, width - x);
            const size_t count = read_pixels(in, form, wanted, out);
            runs.literals -= count;
            x += count;
            if (count < wanted) { break; }
        }
        else
        {
            const uint8_t packet = in.u8();
            if (!in.ok()) { break; }
            const size_t count = (packet & 127u) + 1;
            if (packet < 128) { runs.literals = count; }
            else if (read_pixels(in, form, 1, runs.pixel) == 1) { runs.repeats = count; }
            else { break; }
        }
    }
    return x;
}

/// 5 bits a channel, blue lowest.
void read_16(const uint8_t* in, size_t count, uint8_t* out)
{
    for (size_t i = 0; i < count; ++i, in += 2, out += 3)
    {
        const unsigned v = in[0] | unsigned(in[1]) << 8;
        out[0] = uint8_t((v >> 10 & 31) << 3);
        out[1] = uint8_t((v >> 5 & 31) << 3);
        out[2] = uint8_t((v & 31) << 3);
    }
}

void reverse_row(uint8_t* row, size_t width, size_t pixel_bytes)
{
    for (size_t left = 0, right = width - 1; left < right; ++left, --right)
    {
        std::swap_ranges(row + left * pixel_bytes, row + (left + 1) * pixel_bytes, row + right * pixel_bytes);
    }
}

void read_24(const uint8_t* in, size_t count, uint8_t* out) { zr::swap_red_blue(in, count, 3, out); }

void read_32(const uint8_t* in, size_t count, uint8_t* out) { zr::swap_red_blue(in, count, 4, out); }

void read_grey(const uint8_t* in, size_t count, uint8_t* out) { memcpy(out, in, count); }

} // namespace
