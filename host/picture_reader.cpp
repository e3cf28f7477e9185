/// @file
/// PNG goes through libpng, every other kind through the library. No file may ask for more pixels than its
/// length makes credible.
#include "host/picture_reader.hpp"

#include "zirconlite/imagefiles/bitmap_format.h"

#include <fmt/format.h>
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace host
{

namespace
{

constexpr uint64_t largest_file = uint64_t(1) << 31;
constexpr png_uint_32 largest_side = 1 << 20;
constexpr uint64_t largest_picture = 1 << 30;
// Deflate gives at most 1032 bytes for one.
constexpr uint64_t free_picture = 16 << 20, densest_coding = 1100;
constexpr png_alloc_size_t largest_chunk = 8 << 20;
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

void on_error(png_structp png, png_const_charp text)
{
    auto* r = static_cast<png_reading*>(png_get_error_ptr(png));
    std::snprintf(r->error, sizeof r->error, "%s", text);
    longjmp(r->back, 1);
}

void on_warning(png_structp, png_const_charp) {}

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
    const uint64_t bytes = uint64_t(width) * height * unsigned(channels);
    if (bytes > largest_picture || (bytes > free_picture && bytes / densest_coding > file_bytes))
    {
        std::snprintf(r.error, sizeof r.error, "%u x %u pixels are too many for a file of %llu bytes", width,
            height, static_cast<unsigned long long>(file_bytes));
        return false;
    }
    *r.out = { width, height, uint32_t(channels), std::vector<uint8_t>(size_t(bytes)) };
    r.row_starts.resize(height);
    const size_t row_bytes = size_t(width) * unsigned(channels);
    for (png_uint_32 y = 0; y < height; ++y)
    {
        r.row_starts[y] = r.out->rows.data() + (height - 1 - y) * row_bytes;
    }
    return true;
}

/// Between setjmp and the last call of libpng no object with a destructor is made here.
bool decode(png_structp png, png_infop info, png_reading& r, uint64_t file_bytes)
{
    if (setjmp(r.back)) { return r.has_rows; }
    png_set_read_fn(png, &r, on_read);
    png_set_user_limits(png, largest_side, largest_side);
    png_set_chunk_malloc_max(png, largest_chunk);
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

} // namespace

bool read_picture_file(const std::string& path, picture8& out, std::string& why)
{
    out = {};
    std::error_code error;
    const uint64_t size = std::filesystem::file_size(path, error);
    if (error || size > largest_file)
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
    if (!decoded) { return false; }
    out.width = uint32_t(decoded->width);
    out.height = uint32_t(decoded->height);
    out.channels = uint32_t(decoded->bytes_per_pixel);
    out.rows.assign(decoded->pixels, decoded->pixels + decoded->byte_count);
    zr_free_bitmap(decoded);
    return true;
}

} // namespace host
