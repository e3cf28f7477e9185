/// @file
/// BMP pictures: core headers (12 bytes) and info headers (40 bytes and more) with 1, 4, 8, 16, 24 and 32
/// bits a pixel, uncompressed or with bit fields, bottom-up or top-down. Alpha is what a mask declares; a
/// picture without any is opaque. Written are 24 bits with a 40-byte header.
///
/// Refused is a file whose header is damaged or whose form is not read (run lengths, embedded JPEG or PNG).
/// Rows that the file lacks are black, and so are entries that its palette lacks.
#include <bit>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/imagefiles/picture_decoding.hpp"
#include "zirconlite/imagefiles/picture_writer.hpp"

namespace
{

// offset size meaning
//      0    2 "BM"
//      2    4 size of the file
//     10    4 where the rows begin
//     14    4 size of the header from here on: 12 for the core form
//     18    4 width        (core: 2 at 18)
//     22    4 height       (core: 2 at 20); negative: the top row comes first
//     28    2 bits a pixel (core: at 24)
//     30    4 compression
//     34    4 bytes of all rows
//     46    4 colours in the palette, 0 for all
//     54    12 or 16, masks of red, green, blue (and alpha, in headers of 56 bytes and more)
constexpr uint16_t signature = 0x4D42;
constexpr uint32_t core_header = 12, info_header = 40, header_with_alpha_mask = 56;
constexpr uint32_t uncompressed = 0, bit_fields = 3, bit_fields_with_alpha = 6;
constexpr size_t pixels_at = 56; // of a written file: the rows start at a multiple of 4

struct rgb_entry
{
    uint8_t r, g, b;
};

/// Where one channel is in a pixel of 16 or 32 bits.
struct bit_field
{
    uint32_t mask = 0;
    int shift = 0;
    uint32_t top = 0; ///< the largest value
};

struct bmp_header
{
    uint32_t header_size;
    uint64_t rows_at;
    int64_t width, height; ///< `height` is positive
    bool top_row_first;
    int bits;
    uint32_t compression;
    size_t palette_count;
    rgb_entry palette[256];
    bit_field fields[4]; ///< red, green, blue, alpha
};

using row_decoder = void (*)(const bmp_header& header, const uint8_t* in, int32_t width, uint8_t* out);
struct depth_row
{
    int bits;
    zr::bitmap_pixels format;
    row_decoder decode;
    bool (*serves)(const bmp_header& header); ///< of rows with these bits the first that does is taken
};

zr::status read_header(zr::byte_reader& in, bmp_header& header);
zr::status read_fields(zr::byte_reader& in, bmp_header& header);
void read_palette(zr::byte_reader& in, bmp_header& header, uint32_t stated_count);
const depth_row* row_of_header(const bmp_header& header);

} // namespace

namespace zr
{

bitmap* decode_bmp(const uint8_t* bytes, size_t size, status* why, uint64_t* where)
{
    byte_reader in(bytes, size);
    bmp_header header = {};
    *why = read_header(in, header);
    *where = in.position();
    if (!ok(*why)) { return nullptr; }
    const depth_row* depth = row_of_header(header);

    const uint64_t row_bytes = (uint64_t(header.width) * uint64_t(header.bits) + 31) / 32 * 4;
    in.seek(header.rows_at);
    *where = in.position();
    if (!in.ok())
    {
        *why = fail(ZR_ERROR_FORMAT, "the rows are said to begin behind the end of the file");
        return nullptr;
    }
    bitmap* made = new_bitmap_of_file(header.width, header.height, depth->format, size, why);
    if (!made) { return nullptr; }
    const size_t out_bytes = size_t(made->width) * size_t(made->bytes_per_pixel);
    for (int64_t y = 0; y < header.height; ++y)
    {
        const uint8_t* row = in.bytes(size_t(row_bytes));
        if (!row)
        {
            *where = size;
            *why = cut_in_row(y, header.height);
            break;
        }
        const int64_t place = header.top_row_first ? header.height - 1 - y : y;
        depth->decode(header, row, made->width, made->pixels + size_t(place) * out_bytes);
    }
    if (depth->format == bitmap_rgba && is_wholly_clear(*made)) { set_opaque(*made); }
    return made;
}

int32_t write_bmp(bitmap_format* record)
{
    picture_writer writer = { .record = record };
    begin_picture(writer, LINE_RGB, bitmap_max_side);
    const uint32_t used = 3 * record->width;
    const uint32_t padded = (used + 3) / 4 * 4;
    const uint64_t row_total = uint64_t(padded) * record->height;
    check_file_size(writer, pixels_at + row_total);

    uint8_t header[pixels_at] = {};
    uint8_t* at = put_u16(header, signature);
    at = put_u32(at, uint32_t(pixels_at + row_total));
    at = put_u32(at, 0);
    at = put_u32(at, pixels_at);
    at = put_u32(at, info_header);
    at = put_u32(at, record->width);
    at = put_u32(at, record->height);
    at = put_u16(at, 1);
    at = put_u16(at, 24);
    at = put_u32(at, uncompressed);
    put_u32(at, uint32_t(row_total));
    write_bytes(writer.file, header, sizeof(header));

    const uint8_t padding[3] = {};
    for (uint32_t y = 0; y < record->height && fetch_row(writer, LINE_RGB, y); ++y)
    {
        swap_red_blue(writer.row.items, record->width, 3, writer.row.items);
        write_bytes(writer.file, writer.row.items, used);
        write_bytes(writer.file, padding, padded - used);
        show_rows_written(*record, y + 1);
    }
    return close_picture_file(writer.file);
}

} // namespace zr

namespace
{

zr::status read_header(zr::byte_reader& in, bmp_header& header)
{
    const bool is_bmp = in.u16() == signature;
    if (!in.ok() || !is_bmp)
    {
        return zr::fail(ZR_ERROR_FORMAT, "not a BMP file: it does not begin with BM");
    }
    in.seek(10);
    header.rows_at = in.u32();
    header.header_size = in.u32();
    uint32_t stated_colors = 0;
    if (header.header_size == core_header)
    {
        header.width = in.i16();
        header.height = in.i16();
        in.u16();
        header.bits = in.u16();
    }
    else
    {
        header.width = in.i32();
        header.height = in.i32();
        in.u16();
        header.bits = in.u16();
        header.compression = in.u32();
        in.skip(12);
        stated_colors = in.u32();
        in.u32();
        if (in.ok() && header.header_size < info_header)
        {
            return zr::fail(ZR_ERROR_FORMAT, "a header of %u bytes is not known", header.header_size);
        }
    }
    if (!in.ok()) { return zr::fail(ZR_ERROR_FORMAT, "the file ends within its header"); }
    header.top_row_first = header.height < 0;
    if (header.top_row_first) { header.height = -header.height; }
    if (header.width < 1 || header.height < 1)
    {
        return zr::fail(ZR_ERROR_FORMAT, "a picture of %lld x %lld pixels",
            static_cast<long long>(header.width), static_cast<long long>(header.height));
    }
    if (!row_of_header(header))
    {
        return zr::fail(
            ZR_ERROR_FORMAT, "%d bits a pixel; 1, 4, 8, 16, 24 and 32 are supported", header.bits);
    }
    const zr::status fields = read_fields(in, header);
    if (!zr::ok(fields)) { return fields; }
    read_palette(in, header, stated_colors);
    return {};
}

bit_field field_of(uint32_t mask)
{
    bit_field f;
    if (mask == 0) { return f; }
    f.mask = mask;
    f.shift = std::countr_zero(mask);
    f.top = mask >> f.shift;
    return f;
}

/// The channels of 16 and 32 bits: stated by masks, or 5-5-5 and B G R. A fourth byte is alpha where a mask
/// says so.
zr::status read_fields(zr::byte_reader& in, bmp_header& header)
{
    const bool has_fields = header.bits == 16 || header.bits == 32;
    const bool stated = header.compression == bit_fields || header.compression == bit_fields_with_alpha;
    if (header.compression != uncompressed && !(stated && has_fields))
    {
        return zr::fail(ZR_ERROR_FORMAT, "compression %u with %d bits a pixel is not supported",
            header.compression, header.bits);
    }
    if (!has_fields) { return {}; }

    uint32_t masks[4] = { 0x00FF0000, 0x0000FF00, 0x000000FF, 0 };
    if (header.bits == 16) { masks[0] = 0x7C00, masks[1] = 0x03E0, masks[2] = 0x001F; }
    const bool has_mask_fields = header.header_size >= header_with_alpha_mask;
    if (!stated && has_mask_fields && header.bits == 32)
    {
        in.skip(12);
        masks[3] = in.u32() & 0xFF000000;
        if (masks[3] != 0xFF000000) { masks[3] = 0; }
    }
    if (stated)
    {
        for (int i = 0; i < 3; ++i) { masks[i] = in.u32(); }
        const bool has_alpha = header.compression == bit_fields_with_alpha || has_mask_fields;
        masks[3] = has_alpha ? in.u32() : 0;
        if (!in.ok()) { return zr::fail(ZR_ERROR_FORMAT, "the file ends within its channel masks"); }
    }
    uint32_t taken = 0;
    for (int i = 0; i < 4; ++i)
    {
        header.fields[i] = field_of(masks[i]);
        const uint32_t top = header.fields[i].top;
        const bool is_run = (top & (top + 1)) == 0 && top <= 0xFF;
        const bool fits = header.bits == 32 || masks[i] <= 0xFFFF;
        if (!is_run || !fits || (masks[i] & taken) || (i < 3 && masks[i] == 0))
        {
            return zr::fail(ZR_ERROR_FORMAT, "the channel masks %08x %08x %08x %08x are not supported",
                masks[0], masks[1], masks[2], masks[3]);
        }
        taken |= masks[i];
    }
    return {};
}

void read_palette(zr::byte_reader& in, bmp_header& header, uint32_t stated_count)
{
    if (header.bits > 8) { return; }
    header.palette_count = size_t(1) << header.bits;
    if (stated_count > 0 && stated_count < header.palette_count) { header.palette_count = stated_count; }
    in.seek(uint64_t(14) + header.header_size);
    for (size_t i = 0; i < header.palette_count && in.left() >= 3; ++i)
    {
        header.palette[i].b = in.u8();
        header.palette[i].g = in.u8();
        header.palette[i].r = in.u8();
        if (header.header_size != core_header) { in.u8(); }
    }
}

void decode_1(const bmp_header& header, const uint8_t* in, int32_t width, uint8_t* out)
{
    for (int32_t x = 0; x < width; ++x) { out[x] = header.palette[in[x / 8] >> (7 - x % 8) & 1].r; }
}

void put_entry(const rgb_entry& entry, uint8_t* out)
{
    out[0] = entry.r;
    out[1] = entry.g;
    out[2] = entry.b;
}

void decode_1_in_color(const bmp_header& header, const uint8_t* in, int32_t width, uint8_t* out)
{
    for (int32_t x = 0; x < width; ++x)
    {
        put_entry(header.palette[in[x / 8] >> (7 - x % 8) & 1], out + 3 * size_t(x));
    }
}

void decode_4(const bmp_header& header, const uint8_t* in, int32_t width, uint8_t* out)
{
    for (int32_t x = 0; x < width; ++x)
    {
        put_entry(header.palette[in[x / 2] >> (x % 2 ? 0 : 4) & 15], out + 3 * size_t(x));
    }
}

void decode_8(const bmp_header& header, const uint8_t* in, int32_t width, uint8_t* out)
{
    for (int32_t x = 0; x < width; ++x) { put_entry(header.palette[in[x]], out + 3 * size_t(x)); }
}

/// A channel widened to 8 bits; 255 for a channel that the file does not have.
uint8_t channel(const bit_field& f, uint32_t pixel)
{
    if (f.mask == 0) { return 255; }
    return uint8_t((((pixel & f.mask) >> f.shift) * 255 + f.top / 2) / f.top);
}

template <int channels>
void decode_16(const bmp_header& header, const uint8_t* in, int32_t width, uint8_t* out)
{
    zr::byte_reader pixels(in, 2 * size_t(width));
    for (int32_t x = 0; x < width; ++x)
    {
        const uint32_t pixel = pixels.u16();
        for (int i = 0; i < channels; ++i) { *out++ = channel(header.fields[i], pixel); }
    }
}

void decode_24(const bmp_header&, const uint8_t* in, int32_t width, uint8_t* out)
{
    zr::swap_red_blue(in, size_t(width), 3, out);
}

void decode_32(const bmp_header& header, const uint8_t* in, int32_t width, uint8_t* out)
{
    zr::byte_reader pixels(in, 4 * size_t(width));
    for (int32_t x = 0; x < width; ++x)
    {
        const uint32_t pixel = pixels.u32();
        for (const bit_field& f : header.fields) { *out++ = channel(f, pixel); }
    }
}

bool always(const bmp_header&) { return true; }
bool has_colored_palette(const bmp_header& header)
{
    const auto is_colored = [](const rgb_entry& e) { return e.r != e.g || e.g != e.b; };
    return is_colored(header.palette[0]) || is_colored(header.palette[1]);
}
bool has_alpha(const bmp_header& header) { return header.fields[3].mask != 0; }

constexpr depth_row depths[] = {
    { 1, zr::bitmap_rgb, decode_1_in_color, has_colored_palette },
    { 1, zr::bitmap_grey, decode_1, always },
    { 4, zr::bitmap_rgb, decode_4, always },
    { 8, zr::bitmap_rgb, decode_8, always },
    { 16, zr::bitmap_rgba, decode_16<4>, has_alpha },
    { 16, zr::bitmap_rgb, decode_16<3>, always },
    { 24, zr::bitmap_rgb, decode_24, always },
    { 32, zr::bitmap_rgba, decode_32, always },
};

const depth_row* row_of_header(const bmp_header& header)
{
    for (const depth_row& row : depths)
    {
        if (row.bits == header.bits && row.serves(header)) { return &row; }
    }
    return nullptr;
}

} // namespace
