/// @file
/// Mipmaps: how the levels of a bitmap are built, and the nearest-texel samples taken from them.
#include "zirconlite/imagefiles/bitmap_store.hpp"

#include <string.h>

namespace
{

constexpr double of_byte = 0.003921568627451; // 1 / 255
constexpr double of_alpha_byte = 0.004;
constexpr int32_t max_levels = sizeof(bitmap::levels) / sizeof(uint8_t*);

struct level_view
{
    const uint8_t* pixels;
    int32_t width, height;
};

int32_t count_levels(int32_t width, int32_t height);
void build_level(const uint8_t* source, int32_t width, int32_t height, int32_t channels, uint8_t* out);
int32_t half(int32_t side);
void halve_column(const uint8_t* a, const uint8_t* b, int32_t channels, uint8_t* out);
template <int channels> void halve_rows(const uint8_t* a, const uint8_t* b, int32_t width, uint8_t* out);
void read_texel(const bitmap& b, const level_view& from, const double uv[2], double out[4]);
int32_t texel(double coordinate, int32_t size);
level_view level_of(const bitmap& b, int32_t level);

} // namespace

int32_t zr_build_mipmap(bitmap* b)
{
    if (!b || !b->pixels || b->width < 1 || b->height < 1) { return 0; }
    const int32_t channels = b->bytes_per_pixel, count = count_levels(b->width, b->height);
    if ((channels != 1 && channels != 3 && channels != 4) || count > max_levels) { return 0; }
    int32_t width = b->width, height = b->height;
    uint64_t start = 0, end = uint64_t(width) * uint64_t(height) * uint64_t(channels);
    if (end > b->store_bytes) { return 0; }
    b->level_count = 1;
    b->levels[0] = b->pixels;
    for (int32_t n = 1; n < count; ++n)
    {
        const uint64_t bytes = uint64_t(half(width)) * uint64_t(half(height)) * uint64_t(channels);
        if (end + bytes > b->store_bytes) { return 0; }
        build_level(b->pixels + start, width, height, channels, b->pixels + end);
        b->levels[n] = b->pixels + end;
        b->level_count = n + 1;
        start = end;
        end += bytes;
        width = half(width);
        height = half(height);
    }
    const uint8_t* last = b->levels[b->level_count - 1];
    for (int c = 0; c < 3; ++c) { b->average[c] = float(last[channels == 1 ? 0 : c] * of_byte); }
    b->average[3] = channels == 4 ? float(last[3] * of_byte) : 0.0f;
    return 1;
}

int32_t zr_sample_bitmap(const bitmap* b, const double uv[2], double out[4])
{
    const size_t at = size_t(texel(uv[1], b->height)) * b->width + texel(uv[0], b->width);
    const uint8_t* p = b->pixels + at * b->bytes_per_pixel;
    for (int32_t c = 0; c < b->bytes_per_pixel; ++c) { out[c] = p[c] * of_byte; }
    return b->bytes_per_pixel;
}

int32_t zr_sample_image_map(const bitmap* b, const uint32_t xy[2], uint8_t bytes[4])
{
    if (xy[0] >= uint32_t(b->width) || xy[1] >= uint32_t(b->height)) { return -1; }
    const size_t at = size_t(xy[1]) * b->width + xy[0];
    memcpy(bytes, b->pixels + at * b->bytes_per_pixel, size_t(b->bytes_per_pixel));
    return b->bytes_per_pixel;
}

int32_t zr_sample_mipmap(const bitmap* b, const double uv[2], int32_t level, double fraction, double out[4])
{
    const int32_t last = b->level_count - 1;
    level = level > last ? last : level < 0 ? 0 : level;
    read_texel(*b, level_of(*b, level), uv, out);
    if (fraction == 0.0 || level == last) { return b->bytes_per_pixel; }
    double next[4];
    read_texel(*b, level_of(*b, level + 1), uv, next);
    for (int c = 0; c < 4; ++c) { out[c] = (1.0 - fraction) * out[c] + fraction * next[c]; }
    return b->bytes_per_pixel;
}

namespace
{

/// Levels down to one texel; each takes half of the longer side, rounded up.
int32_t count_levels(int32_t width, int32_t height)
{
    const uint32_t longer = uint32_t(width > height ? width : height);
    int32_t count = 1;
    while ((uint64_t(1) << (count - 1)) < longer) { ++count; }
    return count;
}

void build_level(const uint8_t* source, int32_t width, int32_t height, int32_t channels, uint8_t* out)
{
    const size_t row = size_t(width) * channels, out_row = size_t(half(width)) * channels;
    for (int32_t y = 0; y < half(height); ++y, out += out_row)
    {
        const uint8_t* a = source + 2 * y * row;
        const uint8_t* b = height > 1 ? a + row : a;
        if (width == 1) { halve_column(a, b, channels, out); }
        else if (channels == 1) { halve_rows<1>(a, b, half(width), out); }
        else if (channels == 3) { halve_rows<3>(a, b, half(width), out); }
        else { halve_rows<4>(a, b, half(width), out); }
    }
}

int32_t half(int32_t side) { return side > 1 ? side / 2 : 1; }

/// The same for a source of one column, which counts twice.
void halve_column(const uint8_t* a, const uint8_t* b, int32_t channels, uint8_t* out)
{
    for (int32_t c = 0; c < channels; ++c) { out[c] = uint8_t((2 * a[c] + 2 * b[c] + 2) >> 2); }
}

/// One row of the next level out of two of its source, rounded to the nearest. The plain loop over a fixed
/// number of channels is one that the compiler turns into vector code.
template <int channels> void halve_rows(const uint8_t* a, const uint8_t* b, int32_t width, uint8_t* out)
{
    for (int32_t x = 0; x < width; ++x)
    {
        for (int c = 0; c < channels; ++c)
        {
            out[c] = uint8_t((a[c] + a[c + channels] + b[c] + b[c + channels] + 2) >> 2);
        }
        a += 2 * channels;
        b += 2 * channels;
        out += channels;
    }
}

void read_texel(const bitmap& b, const level_view& from, const double uv[2], double out[4])
{
    const size_t at = size_t(texel(uv[1], from.height)) * from.width + texel(uv[0], from.width);
    const uint8_t* p = from.pixels + at * b.bytes_per_pixel;
    if (b.bytes_per_pixel == 1)
    {
        out[0] = out[1] = out[2] = p[0] * of_byte;
        out[3] = 0.0;
        return;
    }
    for (int c = 0; c < 3; ++c) { out[c] = p[c] * of_byte; }
    const double alpha = b.bytes_per_pixel == 4 ? p[3] * of_alpha_byte : 0.0;
    out[3] = alpha < 1.0 ? alpha : 1.0;
}

/// The texel below a coordinate in 0 to 1; anything else, not a number included, is clamped to the border.
int32_t texel(double coordinate, int32_t size)
{
    const double at = coordinate * size;
    if (!(at >= 1.0)) { return 0; }
    return at < size ? int32_t(at) : size - 1;
}

level_view level_of(const bitmap& b, int32_t level)
{
    const int32_t width = b.width >> level, height = b.height >> level;
    return { b.levels[level], width > 1 ? width : 1, height > 1 ? height : 1 };
}

} // namespace
