/// @file
/// PNG goes through libpng, every other kind through the library, and what the library refuses through the
/// readers of other forms. No file may ask for more pixels than its length makes credible.
#include "host/pictures/picture_reader.hpp"

#include "host/pictures/light_picture.hpp"
#include "host/pictures/other_pictures.hpp"
#include "zirconlite/imagefiles/bitmap_format.h"

#include <fmt/format.h>
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace host
{

namespace
{

constexpr uint64_t max_file_bytes = uint64_t(1) << 31;
constexpr png_uint_32 max_side = 1 << 20;
constexpr uint64_t max_picture_bytes = 1 << 30;
// Deflate gives at most 1032 bytes for one.
constexpr uint64_t free_picture = 16 << 20, densest_coding = 1100;
constexpr png_alloc_size_t max_chunk_bytes = 8 << 20;
constexpr uint8_t png_signature[4] = { 0x89, 'P', 'N', 'G' };

/// Everything that a jump out of libpng could skip.
struct png_reading
{
    std::span<const uint8_t> left;
    picture8* out;
    std::vector<png_bytep> row_starts;
    bool has_rows = false;
    char error[200] = "";
    jmp_buf back;
};

/// How the files begin that have a reader for other forms. TARGA has no mark.
struct other_format
{
    std::string_view mark;
    picture_reader read;
};
using namespace std::string_view_literals;
constexpr other_format other_formats[] = {
    { "BM"sv, read_other_bmp },
    { "\xFF\xD8"sv, read_cmyk_jpeg },
    { "II*\0"sv, read_any_tiff },
    { "MM\0*"sv, read_any_tiff },
    { "II+\0"sv, read_any_tiff },
    { "MM\0+"sv, read_any_tiff },
};

/// What a file is that is no picture for materials, by the bytes from `at`.
struct unread_kind
{
    size_t at;
    std::string_view mark;
    const char* what;
};
constexpr unread_kind unread_kinds[] = {
    { 0, "GIF8"sv, "GIF pictures are not supported" },
    { 8, "WEBP"sv, "WebP pictures are not supported" },
    { 0, "8BPS"sv, "Photoshop files are not supported" },
    { 0, "DDS "sv, "DDS textures are not supported" },
    { 1, "KTX "sv, "KTX textures are not supported" },
    { 4, "ftyp"sv, "HEIF and AVIF pictures are not supported" },
    { 4, "jP  "sv, "JPEG 2000 pictures are not supported" },
    { 0, "\x76\x2F\x31\x01"sv, "an OpenEXR picture stores radiance: use it as an environment map" },
};

bool read_png(std::span<const uint8_t> bytes, picture8& out, std::string& why);
void on_error(png_structp png, png_const_charp text);
void on_warning(png_structp, png_const_charp);
bool decode(png_structp png, png_infop info, png_reading& r, uint64_t file_bytes);
void on_read(png_structp png, png_bytep out, size_t count);
void set_conversions(png_structp png, png_infop info);
bool make_rows(png_reading& r, png_uint_32 width, png_uint_32 height, int channels, uint64_t file_bytes);
bool read_other_form(std::span<const uint8_t> bytes, picture8& out, std::string& why);
bool looks_like_targa(std::span<const uint8_t> bytes);
bool has_mark(std::span<const uint8_t> bytes, size_t at, std::string_view mark);

} // namespace

bool make_picture(
    picture8& out, uint64_t width, uint64_t height, uint32_t channels, uint64_t file_bytes, std::string& why)
{
    const bool is_sound = width > 0 && height > 0 && width <= max_side && height <= max_side;
    const uint64_t bytes = is_sound ? width * height * channels : 0;
    if (!is_sound || bytes > max_picture_bytes ||
        (bytes > free_picture && bytes / densest_coding > file_bytes))
    {
        why = fmt::format("{} x {} pixels are too many for a file of {} bytes", width, height, file_bytes);
        return false;
    }
    out = { uint32_t(width), uint32_t(height), channels, std::vector<uint8_t>(size_t(bytes)) };
    return true;
}

void heal_alpha(picture8& p)
{
    if (p.channels != 4) { return; }
    for (size_t i = 3; i < p.rows.size(); i += 4)
    {
        if (p.rows[i]) { return; }
    }
    for (size_t i = 3; i < p.rows.size(); i += 4) { p.rows[i] = 255; }
}

std::string cut_picture(const char* format, uint64_t row, uint64_t height)
{
    return fmt::format("the {} file ends in its row {} of {}; the rest is black", format, row + 1, height);
}

bool read_picture_file(const std::string& path, picture8& out, std::string& why)
{
    out = {};
    std::error_code error;
    const uint64_t size = std::filesystem::file_size(path, error);
    if (error || size > max_file_bytes)
    {
        why = error ? error.message() : "the file is larger than 2 GB";
        return false;
    }
    std::vector<uint8_t> bytes(size);
    std::ifstream in(path, std::ios::binary);
    if (!in.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(size)))
    {
        why = "the file cannot be read";
        return false;
    }
    return read_picture_bytes(bytes, out, why);
}

bool read_picture_bytes(std::span<const uint8_t> bytes, picture8& out, std::string& why)
{
    out = {};
    why.clear();
    if (bytes.size() >= sizeof png_signature && std::equal(png_signature, png_signature + 4, bytes.begin()))
    {
        return read_png(bytes, out, why);
    }
    zr_status status;
    bitmap* decoded = zr_decode_picture(bytes.data(), bytes.size(), &status);
    why = status.text;
    if (!decoded) { return read_other_form(bytes, out, why); }
    out.width = uint32_t(decoded->width);
    out.height = uint32_t(decoded->height);
    out.channels = uint32_t(decoded->bytes_per_pixel);
    out.rows.assign(decoded->pixels, decoded->pixels + decoded->byte_count);
    zr_free_bitmap(decoded);
    return true;
}

namespace
{

bool read_png(std::span<const uint8_t> bytes, picture8& out, std::string& why)
{
    png_reading r{};
    r.left = bytes;
    r.out = &out;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &r, on_error, on_warning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    const bool done = info && decode(png, info, r, bytes.size());
    png_destroy_read_struct(&png, &info, nullptr);
    if (!done) { out = {}; }
    why = done && r.error[0] ? fmt::format("the PNG file is damaged, what is missing is black: {}", r.error)
                             : std::string(r.error);
    return done;
}

void on_error(png_structp png, png_const_charp text)
{
    auto* r = static_cast<png_reading*>(png_get_error_ptr(png));
    std::snprintf(r->error, sizeof r->error, "%s", text);
    longjmp(r->back, 1);
}

void on_warning(png_structp, png_const_charp) {}

/// Between setjmp and the last call of libpng no object with a destructor is made here.
bool decode(png_structp png, png_infop info, png_reading& r, uint64_t file_bytes)
{
    if (setjmp(r.back)) { return r.has_rows; }
    png_set_read_fn(png, &r, on_read);
    png_set_user_limits(png, max_side, max_side);
    png_set_chunk_malloc_max(png, max_chunk_bytes);
    png_read_info(png, info);
    set_conversions(png, info);
    if (!make_rows(r, png_get_image_width(png, info), png_get_image_height(png, info),
            png_get_channels(png, info), file_bytes))
    {
        return false;
    }
    r.has_rows = true;
    png_read_image(png, r.row_starts.data());
    return true;
}

void on_read(png_structp png, png_bytep out, size_t count)
{
    auto* r = static_cast<png_reading*>(png_get_io_ptr(png));
    if (count > r->left.size()) { png_error(png, "the file ends early"); }
    std::memcpy(out, r->left.data(), count);
    r->left = r->left.subspan(count);
}

/// Brings every kind of PNG to 8 bits of grey, R G B or R G B A.
void set_conversions(png_structp png, png_infop info)
{
    const int color = png_get_color_type(png, info);
    const bool has_key = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    png_set_expand(png);
    png_set_scale_16(png);
    // There is no grey with alpha outside.
    if (color == PNG_COLOR_TYPE_GRAY_ALPHA || (color == PNG_COLOR_TYPE_GRAY && has_key))
    {
        png_set_gray_to_rgb(png);
    }
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
}

/// Allocates the picture; false with a reason.
bool make_rows(png_reading& r, png_uint_32 width, png_uint_32 height, int channels, uint64_t file_bytes)
{
    std::string why;
    if (!make_picture(*r.out, width, height, uint32_t(channels), file_bytes, why))
    {
        std::snprintf(r.error, sizeof r.error, "%s", why.c_str());
        return false;
    }
    r.row_starts.resize(height);
    const size_t row_bytes = size_t(width) * unsigned(channels);
    for (png_uint_32 y = 0; y < height; ++y)
    {
        r.row_starts[y] = r.out->rows.data() + (height - 1 - y) * row_bytes;
    }
    return true;
}

/// A file that the library refuses for the reason in `why`.
bool read_other_form(std::span<const uint8_t> bytes, picture8& out, std::string& why)
{
    std::string reason;
    picture_reader read = read_other_targa;
    bool is_known = looks_like_targa(bytes);
    for (const other_format& f : other_formats)
    {
        if (!has_mark(bytes, 0, f.mark)) { continue; }
        read = f.read;
        is_known = true;
    }
    if (is_known && read(bytes, out, reason))
    {
        why = reason;
        return true;
    }
    out = {};
    if (!reason.empty()) { why = reason; }
    if (!is_known) { why = "it is no picture of a kind that is read: PNG, JPEG, TIFF, BMP or TARGA"; }
    for (const unread_kind& kind : unread_kinds)
    {
        if (has_mark(bytes, kind.at, kind.mark)) { why = kind.what; }
    }
    if (is_radiance({ reinterpret_cast<const char*>(bytes.data()), bytes.size() }))
    {
        why = "a Radiance picture stores radiance: use it as an environment map";
    }
    return false;
}

bool looks_like_targa(std::span<const uint8_t> bytes)
{
    if (bytes.size() < 18 || bytes[1] > 1) { return false; }
    const int kind = bytes[2] & ~8, bits = bytes[16];
    return kind >= 1 && kind <= 3 && (bits == 8 || bits == 15 || bits == 16 || bits == 24 || bits == 32);
}

bool has_mark(std::span<const uint8_t> bytes, size_t at, std::string_view mark)
{
    return bytes.size() >= at + mark.size() && std::memcmp(bytes.data() + at, mark.data(), mark.size()) == 0;
}

} // namespace

} // namespace host
