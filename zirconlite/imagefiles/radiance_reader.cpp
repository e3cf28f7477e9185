/// @file
/// Reading of Radiance pictures: lines of text up to an empty one, the resolution line, then scanlines that
/// are flat, in run lengths by pixels (the older form) or in run lengths by planes.
///
/// Refused is a file whose text or resolution line is not whole. A scanline that ends early, or in which a
/// run leaves the scanline, ends the picture; the pixels before it stay.
#include <algorithm>
#include <cmath>
#include <stdlib.h>
#include <string.h>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/imagefiles/picture_decoding.hpp"
#include "zirconlite/imagefiles/radiance.hpp"
#include "zirconlite/picture/image_buffer.h"

namespace
{

constexpr int32_t spare_slots = 4;
constexpr size_t longest_resolution_line = 31;
constexpr uint64_t max_buffer_bytes = uint64_t(1) << 32;

/// Red, green, blue mantissa and exponent.
struct rgbe
{
    uint8_t bytes[4];
};

struct resolution
{
    uint32_t order = 0;
    int32_t width = 0, height = 0;
    int32_t scanlines() const { return order & zr::radiance_rows ? height : width; }
    int32_t scanline_pixels() const { return order & zr::radiance_rows ? width : height; }
};

bool has_format_line(zr::byte_reader in);
bool skip_text(zr::byte_reader& in);
bool read_resolution(zr::byte_reader& in, resolution& r);
bool set_buffer(const resolution& r, uint64_t file_bytes, image_buffer& buffer, zr::status* why);
size_t read_scanline(zr::byte_reader& in, zr::array<rgbe>& scanline, zr::array<uint8_t>& plane);
void store_scanline(
    const resolution& r, int32_t index, const rgbe* scanline, size_t count, image_buffer& buffer);

} // namespace

int32_t zr_read_radiance_file(const char16_t* path, image_buffer* buffer)
{
    if (!buffer || !path)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "a Radiance picture needs a path and a buffer");
        return 0;
    }
    size_t size = 0;
    uint8_t* bytes = zr::read_file_for_decoding(path, &size);
    if (!bytes) { return 0; }
    zr::status why = {};
    uint64_t where = 0;
    const bool done = zr::decode_radiance(bytes, size, buffer, &why, &where);
    free(bytes);
    if (!zr::ok(why)) { zr::report_in_file(why, path, where); }
    return done ? 1 : 0;
}

namespace zr
{

bool decode_radiance(const uint8_t* bytes, size_t size, image_buffer* buffer, status* why, uint64_t* where)
{
    byte_reader in(bytes, size);
    resolution r;
    *why = {};
    *where = 0;
    if ((size < 2 || memcmp(bytes, "#?", 2) != 0) && !has_format_line(in))
    {
        *why =
            fail(ZR_ERROR_FORMAT, "not a Radiance picture: it does not begin with #? and has no FORMAT line");
        return false;
    }
    if (!skip_text(in) || !read_resolution(in, r))
    {
        *where = in.position();
        *why = fail(ZR_ERROR_FORMAT, "the file has no line such as -Y 480 +X 640 behind its text");
        return false;
    }
    *where = in.position();
    array<rgbe> scanline;
    array<uint8_t> plane;
    const size_t pixels = size_t(r.scanline_pixels());
    if (!scanline.resize(pixels) || !plane.resize(pixels))
    {
        *why = fail(ZR_ERROR_MEMORY, "no memory for a scanline of %zu pixels", pixels);
        return false;
    }
    if (!set_buffer(r, in.left(), *buffer, why)) { return false; }
    for (int32_t i = 0; i < r.scanlines(); ++i)
    {
        const size_t count = read_scanline(in, scanline, plane);
        store_scanline(r, i, scanline.items, count, *buffer);
        if (count < pixels)
        {
            *where = in.position();
            *why = cut_in_row(i, r.scanlines());
            break;
        }
    }
    return true;
}

} // namespace zr

namespace
{

/// The text from here to the end of the line, the reader behind it; null when no line ends.
const char* next_line(zr::byte_reader& in, size_t* length)
{
    zr::byte_reader ahead = in;
    const char* start = reinterpret_cast<const char*>(ahead.bytes(ahead.left()));
    const void* end = start ? memchr(start, '\n', in.left()) : nullptr;
    if (!end) { return nullptr; }
    *length = size_t(static_cast<const char*>(end) - start);
    in.skip(*length + 1);
    return start;
}

/// Whether the text at the head of the file names the format of its pixels.
bool has_format_line(zr::byte_reader in)
{
    constexpr char format[] = "FORMAT=32-bit_rle_";
    constexpr int max_lines = 64; // files that are anything else are not searched to their end
    for (int i = 0; i < max_lines; ++i)
    {
        size_t length = 0;
        const char* line = next_line(in, &length);
        if (!line || length <= 1) { return false; }
        if (length >= sizeof(format) - 1 && memcmp(line, format, sizeof(format) - 1) == 0) { return true; }
    }
    return false;
}

/// Moves behind the empty line. Nothing that the lines can say changes how the pixels are read.
bool skip_text(zr::byte_reader& in)
{
    size_t length = 0;
    const char* line = nullptr;
    do {
        line = next_line(in, &length);
    } while (line && length > 0 && !(length == 1 && line[0] == '\r'));
    return line != nullptr;
}

/// The number behind `letter`; 0 when there is none or it is too large.
int32_t size_behind(const char* letter)
{
    int64_t value = 0;
    const char* c = letter + 1;
    while (*c == ' ') { ++c; }
    if (*c == '+') { ++c; }
    for (; *c >= '0' && *c <= '9' && value <= IMAGE_MAX_SIDE; ++c) { value = value * 10 + (*c - '0'); }
    return value <= IMAGE_MAX_SIDE ? int32_t(value) : 0;
}

bool read_resolution(zr::byte_reader& in, resolution& r)
{
    size_t length = 0;
    const char* line = next_line(in, &length);
    if (!line || length > longest_resolution_line) { return false; }
    char text[longest_resolution_line + 1] = {};
    memcpy(text, line, length);
    const char *x = strchr(text, 'X'), *y = strchr(text, 'Y');
    if (!x || !y) { return false; }
    if (y < x) { r.order |= zr::radiance_rows; }
    if (x > text && x[-1] == '-') { r.order |= zr::radiance_x_falls; }
    if (y > text && y[-1] == '-') { r.order |= zr::radiance_y_falls; }
    r.width = size_behind(x);
    r.height = size_behind(y);
    return r.width >= 1 && r.height >= 1;
}

bool set_buffer(const resolution& r, uint64_t file_bytes, image_buffer& buffer, zr::status* why)
{
    const uint64_t row_bytes = 5 * (uint64_t(r.width) + spare_slots);
    const uint64_t total = row_bytes * uint64_t(r.height);
    if (total > max_buffer_bytes ||
        !zr::is_plausible_size(uint64_t(r.width) * uint64_t(r.height), file_bytes))
    {
        *why = zr::fail(ZR_ERROR_LIMIT, "%d x %d pixels are too many for a file with %llu bytes of them",
            r.width, r.height, static_cast<unsigned long long>(file_bytes));
        return false;
    }
    auto* pixels = static_cast<uint8_t*>(zr_calloc(size_t(total), 1));
    if (!pixels)
    {
        *why = zr::fail(ZR_ERROR_MEMORY, "no memory for a picture of %d x %d pixels", r.width, r.height);
        return false;
    }
    zr_free(buffer.pixels);
    zr_free(buffer.alpha);
    zr_free(buffer.object_ids);
    zr_free(buffer.depth);
    buffer = {};
    buffer.pixel_format = PIXEL_RADIANCE;
    buffer.width = r.width;
    buffer.height = r.height;
    buffer.pixel_size = 5;
    buffer.row_pixels = r.width + spare_slots;
    buffer.row_bytes = size_t(row_bytes);
    buffer.total_bytes = size_t(total);
    buffer.pixels = pixels;
    return true;
}

/// Flat pixels, among which 1 1 1 c repeats the one before; each such pixel in a row counts 256 times as much
/// as the one before it. Returns the pixels read.
size_t read_flat(zr::byte_reader& in, zr::array<rgbe>& scanline, size_t x)
{
    int shift = 0;
    while (x < scanline.count)
    {
        const uint8_t* pixel = in.bytes(4);
        if (!pixel) { return x; }
        if (pixel[0] != 1 || pixel[1] != 1 || pixel[2] != 1)
        {
            memcpy(scanline[x++].bytes, pixel, 4);
            shift = 0;
            continue;
        }
        const uint64_t repeats = shift <= 24 ? uint64_t(pixel[3]) << shift : pixel[3] ? UINT64_MAX : 0;
        shift = std::min(shift + 8, 32);
        const size_t count = size_t(std::min<uint64_t>(repeats, scanline.count - x));
        if (x == 0 && count > 0) { return 0; } // there is nothing to repeat
        std::fill_n(scanline.items + x, count, scanline[x > 0 ? x - 1 : 0]);
        x += count;
        if (count < repeats) { return std::min(x, scanline.count - 1); }
    }
    return x;
}

/// One plane in run lengths. Returns the bytes read; fewer at the end of the file and at a run that leaves
/// the plane.
size_t read_plane(zr::byte_reader& in, zr::array<uint8_t>& plane)
{
    size_t x = 0;
    while (x < plane.count)
    {
        const uint8_t code = in.u8();
        const size_t count = code > 128 ? code & 127u : code;
        const uint8_t* source = in.bytes(code > 128 ? 1 : count);
        if (!source || count > plane.count - x) { return x; }
        if (code > 128) { memset(plane.items + x, *source, count); }
        else { memcpy(plane.items + x, source, count); }
        x += count;
    }
    return x;
}

/// Returns the pixels read; fewer than the scanline has when the picture ends in it.
size_t read_scanline(zr::byte_reader& in, zr::array<rgbe>& scanline, zr::array<uint8_t>& plane)
{
    const size_t pixels = scanline.count;
    if (pixels < size_t(zr::shortest_encoded) || pixels > size_t(zr::longest_encoded))
    {
        return read_flat(in, scanline, 0);
    }
    const uint8_t* head = in.bytes(4);
    if (!head) { return 0; }
    const bool is_encoded = head[0] == zr::encoded_mark && head[1] == zr::encoded_mark && head[2] < 128;
    if (!is_encoded)
    {
        in.seek(in.position() - 4);
        return read_flat(in, scanline, 0);
    }
    if (size_t(head[2]) << 8 != (pixels & ~size_t(255)) || head[3] != (pixels & 255)) { return 0; }
    for (int i = 0; i < 4; ++i)
    {
        // A pixel without one of its planes is none.
        if (read_plane(in, plane) < pixels) { return 0; }
        for (size_t x = 0; x < pixels; ++x) { scanline[x].bytes[i] = plane[x]; }
    }
    return pixels;
}

/// Puts the scanline's pixels into a row or column of the buffer. Neighbours are often equal, so the last
/// packed pixel is kept.
void store_scanline(
    const resolution& r, int32_t index, const rgbe* scanline, size_t count, image_buffer& buffer)
{
    const bool is_row = r.order & zr::radiance_rows;
    const bool is_reversed = r.order & (is_row ? zr::radiance_x_falls : zr::radiance_y_falls);
    const bool lines_fall = r.order & (is_row ? zr::radiance_y_falls : zr::radiance_x_falls);
    const int32_t line = lines_fall ? r.scanlines() - 1 - index : index;
    const int32_t first = is_reversed ? r.scanline_pixels() - 1 : 0;
    uint8_t* out =
        is_row ? zr_image_buffer_pixel(&buffer, first, line) : zr_image_buffer_pixel(&buffer, line, first);
    const ptrdiff_t step =
        (is_row ? ptrdiff_t(buffer.pixel_size) : ptrdiff_t(buffer.row_bytes)) * (is_reversed ? -1 : 1);

    if (is_row) { *zr_image_buffer_signature(&buffer, line) = ROW_COMPLETE; }
    rgbe last = {};
    uint8_t packed[5] = {};
    for (size_t i = 0; i < count; ++i)
    {
        // Columns are sparse in the rows until the last one: each row is valid from its first pixel on.
        if (!is_row)
        {
            *zr_image_buffer_signature(&buffer, is_reversed ? first - int32_t(i) : int32_t(i)) = ROW_COMPLETE;
        }
        if (memcmp(&last, &scanline[i], sizeof(last)) != 0)
        {
            last = scanline[i];
            memset(packed, 0, sizeof(packed));
            if (last.bytes[3] != 0)
            {
                const double unit = std::ldexp(1.0, last.bytes[3] - 136);
                pixel_components light = {};
                for (int c = 0; c < 3; ++c) { light.surface[c] = float((last.bytes[c] + 0.5) * unit); }
                pack_pixel(&buffer, &light, packed);
            }
        }
        memcpy(out + ptrdiff_t(i) * step, packed, sizeof(packed));
    }
}

} // namespace
