/// @file
/// TIFF pictures in either byte order: 8 bits a sample; one sample (grey or palette), three or four a pixel;
/// in strips, uncompressed or PackBits. Written is one uncompressed strip of red, green, blue (and alpha).
///
/// Refused are other forms, and colour models whose samples are not red, green and blue. Only the first
/// picture of a file is read. Rows that the file lacks, or that follow a run beyond its row, are black.
#include <algorithm>
#include <iterator>
#include <string.h>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/imagefiles/picture_decoding.hpp"
#include "zirconlite/imagefiles/picture_writer.hpp"

namespace
{

constexpr uint16_t little_endian = 0x4949, big_endian = 0x4D4D;

enum tag : uint16_t
{
    tag_width = 256,
    tag_height = 257,
    tag_bits = 258,
    tag_compression = 259,
    tag_photometric = 262,
    tag_strip_offsets = 273,
    tag_samples = 277,
    tag_rows_per_strip = 278,
    tag_planes = 284,
    tag_palette = 320,
    tag_extra_samples = 338,
    tag_sample_format = 339
};
constexpr uint16_t big_tiff = 43;
constexpr uint32_t mixed_bits = 0;
enum : uint16_t
{
    type_byte = 1,
    type_short = 3,
    type_long = 4
};
enum : uint32_t
{
    white_is_zero = 0,
    black_is_zero = 1,
    photometric_rgb = 2,
    photometric_palette = 3,
    photometric_unknown = UINT32_MAX
};
constexpr uint32_t uncompressed = 1, pack_bits = 32773;
constexpr uint32_t unspecified = 0, alpha_multiplied = 1, alpha_unmultiplied = 2; // of ExtraSamples
constexpr uint32_t whole_numbers = 1, unknown_numbers = 4;                        // of SampleFormat

/// Values in the file's byte order.
struct tiff_reader
{
    zr::byte_reader bytes;
    bool swapped;

    uint16_t u16() { return swapped ? __builtin_bswap16(bytes.u16()) : bytes.u16(); }
    uint32_t u32() { return swapped ? __builtin_bswap32(bytes.u32()) : bytes.u32(); }
    /// A value of the type; of a type that is no whole number, 0.
    uint32_t value(uint16_t type)
    {
        return type == type_long ? u32() : type == type_short ? u16() : type == type_byte ? bytes.u8() : 0;
    }
};

/// Where the values of an entry are, inside the entry or elsewhere.
struct value_list
{
    uint64_t at = 0;
    uint16_t type = 0;
    uint32_t count = 0;
};

struct tiff_picture
{
    uint32_t width = 0, height = 0;
    uint32_t bits = 1, samples = 1, compression = uncompressed, planes = 1; // the format's defaults
    uint32_t photometric = photometric_unknown;
    uint32_t rows_per_strip = UINT32_MAX;
    uint32_t extra_sample = alpha_unmultiplied; // files without the tag have alpha as their fourth sample
    uint32_t sample_format = whole_numbers;
    value_list strips, palette_values;
    bool has_palette = false;
    uint8_t palette[256][3];
};

zr::status read_directory(tiff_reader& in, tiff_picture& picture);
zr::status check_form(const tiff_picture& picture);
zr::status check_strips(tiff_reader in, const tiff_picture& picture);
bool read_palette(tiff_reader& in, tiff_picture& picture);
bool read_packed_row(zr::byte_reader& in, uint8_t* row, size_t row_bytes);
void store_row(const tiff_picture& picture, const uint8_t* row, uint8_t* out);

} // namespace

namespace zr
{

bitmap* decode_tiff(const uint8_t* bytes, size_t size, status* why, uint64_t* where)
{
    tiff_reader in = { { bytes, size }, false };
    const uint16_t order = in.u16();
    if (order != little_endian && order != big_endian)
    {
        *why = fail(ZR_ERROR_FORMAT, "not a TIFF file: it begins with neither II nor MM");
        return nullptr;
    }
    in.swapped = order == big_endian;
    tiff_picture picture;
    *why = read_directory(in, picture);
    if (ok(*why)) { *why = check_form(picture); }
    if (ok(*why)) { *why = check_strips(in, picture); }
    if (ok(*why) && picture.palette_values.count > 0 && !read_palette(in, picture))
    {
        *why = fail(ZR_ERROR_FORMAT, "the palette lies outside the file");
    }
    *where = in.bytes.position();
    if (!ok(*why)) { return nullptr; }

    const size_t row_bytes = size_t(picture.width) * picture.samples;
    array<uint8_t> row;
    bitmap* made = new_bitmap_of_file(
        picture.width, picture.height, picture.samples == 4 ? bitmap_rgba : bitmap_rgb, size, why);
    if (!made) { return nullptr; }
    if (!row.resize(row_bytes))
    {
        *why = fail(ZR_ERROR_MEMORY, "no memory for a row of %u pixels", picture.width);
        zr_free_bitmap(made);
        return nullptr;
    }
    const size_t out_bytes = size_t(picture.width) * size_t(made->bytes_per_pixel);
    const uint32_t strip_rows = picture.strips.count == 1 ? picture.height : picture.rows_per_strip;
    tiff_reader table = in;
    table.bytes.seek(picture.strips.at);
    for (uint32_t y = 0; y < picture.height; ++y)
    {
        if (y % strip_rows == 0)
        {
            const uint32_t strip_at =
                y / strip_rows < picture.strips.count ? table.value(picture.strips.type) : 0;
            in.bytes.seek(strip_at > 0 ? strip_at : UINT64_MAX);
        }
        const uint8_t* source = row.items;
        const bool is_packed = picture.compression == pack_bits;
        if (!is_packed) { source = in.bytes.bytes(row_bytes); }
        else if (!in.bytes.ok() || !read_packed_row(in.bytes, row.items, row_bytes)) { source = nullptr; }
        if (!source)
        {
            *where = in.bytes.position();
            *why = cut_in_row(y, picture.height);
            break;
        }
        store_row(picture, source, made->pixels + (picture.height - 1 - y) * out_bytes);
    }
    if (picture.samples == 4)
    {
        if (picture.extra_sample == unspecified) { set_opaque(*made); }
        else if (picture.extra_sample == alpha_multiplied) { divide_by_alpha(*made); }
    }
    return made;
}

int32_t write_tiff(bitmap_format* record)
{
    const bool has_alpha = record->alpha_mode == LINE_RGBA;
    const uint32_t pixel_kind = has_alpha ? LINE_RGBA : LINE_RGB;
    const uint16_t samples = has_alpha ? 4 : 3;
    constexpr uint32_t directory_at = 8, bits_at = 98;
    const uint32_t pixels_at = bits_at + 2u * samples;
    picture_writer writer = { .record = record };
    begin_picture(writer, pixel_kind, bitmap_max_side);
    check_file_size(writer, pixels_at + uint64_t(record->width) * record->height * samples);

    struct
    {
        uint16_t tag, type;
        uint32_t count, value;
    } const entries[] = {
        { tag_samples, type_short, 1, samples },
        { tag_bits, type_short, samples, bits_at },
        { tag_width, type_long, 1, record->width },
        { tag_height, type_long, 1, record->height },
        { tag_rows_per_strip, type_long, 1, record->height },
        { tag_photometric, type_short, 1, photometric_rgb },
        { tag_strip_offsets, type_long, 1, pixels_at },
    };
    uint8_t head[bits_at + 2 * 4];
    uint8_t* at = put_u16(head, little_endian);
    at = put_u16(at, 42);
    at = put_u32(at, directory_at);
    at = put_u16(at, uint16_t(std::size(entries)));
    for (const auto& e : entries)
    {
        at = put_u16(at, e.tag);
        at = put_u16(at, e.type);
        at = put_u32(at, e.count);
        at = put_u32(at, e.value);
    }
    at = put_u32(at, 0); // no further picture
    for (int i = 0; i < samples; ++i) { at = put_u16(at, 8); }
    write_bytes(writer.file, head, size_t(at - head));

    for (uint32_t y = 0; y < record->height && fetch_row(writer, pixel_kind, record->height - 1 - y); ++y)
    {
        write_bytes(writer.file, writer.row.items, size_t(record->width) * samples);
        show_rows_written(*record, y + 1);
    }
    return close_picture_file(writer.file);
}

} // namespace zr

namespace
{

uint64_t type_bytes(uint16_t type) { return type == type_long ? 4 : type == type_short ? 2 : 1; }

/// The values of an entry: up to four bytes of them are in the entry itself, else behind an offset.
value_list values_of_entry(tiff_reader& in, uint16_t type, uint32_t count)
{
    const uint64_t here = in.bytes.position();
    const uint32_t offset = in.u32();
    return { type_bytes(type) * count <= 4 ? here : offset, type, count };
}

uint32_t first_value(tiff_reader in, const value_list& list)
{
    in.bytes.seek(list.at);
    return in.value(list.type);
}

/// The number of bits when all samples have the same, else 0.
uint32_t common_bits(tiff_reader in, const value_list& list)
{
    in.bytes.seek(list.at);
    const uint32_t bits = in.value(list.type);
    for (uint32_t i = 1; i < std::min(list.count, 4u); ++i)
    {
        if (in.value(list.type) != bits) { return mixed_bits; }
    }
    return bits;
}

zr::status read_directory(tiff_reader& in, tiff_picture& picture)
{
    if (in.u16() == big_tiff)
    {
        return zr::fail(ZR_ERROR_FORMAT, "BigTIFF, with offsets of 64 bits, is not supported");
    }
    in.bytes.seek(in.u32());
    const uint16_t entry_count = in.u16();
    for (int i = 0; i < entry_count; ++i)
    {
        const uint16_t name = in.u16(), type = in.u16();
        const uint32_t count = in.u32();
        const value_list values = values_of_entry(in, type, count);
        if (!in.bytes.ok()) { break; }
        const uint32_t value = first_value(in, values);
        switch (name)
        {
        case tag_width:
            picture.width = value;
            break;
        case tag_height:
            picture.height = value;
            break;
        case tag_bits:
            picture.bits = common_bits(in, values);
            break;
        case tag_compression:
            picture.compression = value;
            break;
        case tag_photometric:
            picture.photometric = value;
            break;
        case tag_strip_offsets:
            picture.strips = values;
            break;
        case tag_samples:
            picture.samples = value;
            break;
        case tag_rows_per_strip:
            picture.rows_per_strip = value;
            break;
        case tag_planes:
            picture.planes = value;
            break;
        case tag_extra_samples:
            picture.extra_sample = value;
            break;
        case tag_sample_format:
            picture.sample_format = value;
            break;
        case tag_palette:
            picture.palette_values = values;
            break;
        default:
            break;
        }
    }
    if (!in.bytes.ok()) { return zr::fail(ZR_ERROR_FORMAT, "the file ends within its directory"); }
    return {};
}

zr::status check_form(const tiff_picture& picture)
{
    const uint32_t samples = picture.samples;
    if (picture.width == 0 || picture.height == 0 || picture.strips.count == 0)
    {
        return zr::fail(
            ZR_ERROR_FORMAT, "the file has no width, no height or no strips; tiles are not supported");
    }
    if (picture.bits == mixed_bits)
    {
        return zr::fail(ZR_ERROR_FORMAT, "samples of different depths are not supported");
    }
    if (picture.sample_format != whole_numbers && picture.sample_format != unknown_numbers)
    {
        return zr::fail(ZR_ERROR_FORMAT, "%s samples are not supported; unsigned whole numbers are",
            picture.sample_format == 2 ? "signed" : "floating-point or complex");
    }
    if (picture.bits != 8 || (samples != 1 && samples != 3 && samples != 4))
    {
        return zr::fail(ZR_ERROR_FORMAT,
            "%u samples of %u bits a pixel; 1, 3 or 4 samples of 8 bits each are read", samples,
            picture.bits);
    }
    if (picture.compression != uncompressed && picture.compression != pack_bits)
    {
        return zr::fail(
            ZR_ERROR_FORMAT, "compression %u is not supported; none and PackBits are", picture.compression);
    }
    const uint32_t model = picture.photometric;
    if (model != photometric_unknown && model > photometric_palette)
    {
        return zr::fail(
            ZR_ERROR_FORMAT, "colour model %u is not supported; grey, RGB and palettes are", model);
    }
    if (samples > 1 && picture.planes == 2)
    {
        return zr::fail(ZR_ERROR_FORMAT, "samples in planes of their own are not supported");
    }
    if (picture.rows_per_strip == 0) { return zr::fail(ZR_ERROR_FORMAT, "its strips have no rows"); }
    return {};
}

/// No strip can begin at the head of the file.
zr::status check_strips(tiff_reader in, const tiff_picture& picture)
{
    const uint64_t strips =
        picture.strips.count == 1
            ? 1
            : (uint64_t(picture.height) + picture.rows_per_strip - 1) / picture.rows_per_strip;
    in.bytes.seek(picture.strips.at);
    for (uint64_t i = 0; i < std::min<uint64_t>(strips, picture.strips.count); ++i)
    {
        const uint32_t at = in.value(picture.strips.type);
        if (!in.bytes.ok()) { break; }
        if (at == 0)
        {
            return zr::fail(ZR_ERROR_FORMAT, "strip %llu is said to begin at byte 0, where the header is",
                static_cast<unsigned long long>(i) + 1);
        }
    }
    return {};
}

/// The format's entries have 16 bits, of which the high ones are shown; some writers fill the low ones only.
bool read_palette(tiff_reader& in, tiff_picture& picture)
{
    const uint32_t entries = std::min(picture.palette_values.count / 3, 256u);
    memset(picture.palette, 0, sizeof(picture.palette));
    tiff_reader all = in;
    all.bytes.seek(picture.palette_values.at);
    uint16_t seen = 0;
    for (uint32_t i = 0; i < 3 * entries; ++i) { seen |= all.u16(); }
    if (!all.bytes.ok() || entries == 0) { return false; }
    const int shift = seen > 0xFF ? 8 : 0;
    in.bytes.seek(picture.palette_values.at);
    for (int channel = 0; channel < 3; ++channel)
    {
        for (uint32_t i = 0; i < entries; ++i) { picture.palette[i][channel] = uint8_t(in.u16() >> shift); }
    }
    picture.has_palette = true;
    return true;
}

/// One row in PackBits. False when the file ends, or a run leaves the row.
bool read_packed_row(zr::byte_reader& in, uint8_t* row, size_t row_bytes)
{
    size_t x = 0;
    while (x < row_bytes)
    {
        const uint8_t code = in.u8();
        if (!in.ok()) { return false; }
        if (code == 128) { continue; }
        const size_t count = code < 128 ? code + 1u : 257u - code;
        if (count > row_bytes - x) { return false; }
        if (code < 128)
        {
            const uint8_t* literals = in.bytes(count);
            if (!literals) { return false; }
            memcpy(row + x, literals, count);
        }
        else
        {
            const uint8_t repeated = in.u8();
            if (!in.ok()) { return false; }
            memset(row + x, repeated, count);
        }
        x += count;
    }
    return true;
}

void store_row(const tiff_picture& picture, const uint8_t* row, uint8_t* out)
{
    if (picture.samples > 1)
    {
        memcpy(out, row, size_t(picture.width) * picture.samples);
        return;
    }
    if (picture.has_palette)
    {
        for (uint32_t x = 0; x < picture.width; ++x)
        {
            memcpy(out + 3 * size_t(x), picture.palette[row[x]], 3);
        }
        return;
    }
    const uint8_t inverted = picture.photometric == white_is_zero ? 0xFF : 0;
    for (uint32_t x = 0; x < picture.width; ++x, out += 3)
    {
        out[0] = out[1] = out[2] = uint8_t(row[x] ^ inverted);
    }
}

} // namespace
