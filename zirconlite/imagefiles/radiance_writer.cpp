/// @file
/// Writing of Radiance pictures: the top row first, each scanline in run lengths by planes.
#include <algorithm>
#include <cmath>
#include <stdio.h>
#include <string.h>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/imagefiles/picture_writer.hpp"
#include "zirconlite/imagefiles/radiance.hpp"
#include "zirconlite/picture/image_buffer.h"

namespace
{

constexpr float darkest = 1e-32f;
constexpr size_t shortest_run = 4, longest_run = 127, longest_literal = 128;
constexpr uint8_t run_mark = 128;

void pixels_of_row(const image_buffer& buffer, int32_t y, zr::array<uint8_t> planes[4]);
size_t encode_row(const zr::array<uint8_t> planes[4], uint8_t* out);
size_t max_encoded_row(size_t pixels);

/// Writes the head with each line of the comment behind a "#".
void write_head(zr::picture_file& file, const image_buffer& buffer, const char* comment);

} // namespace

int32_t zr_write_radiance_file(const char16_t* path, const image_buffer* buffer)
{
    return zr_write_noted_radiance_file(path, buffer, nullptr);
}

int32_t zr_write_noted_radiance_file(const char16_t* path, const image_buffer* buffer, const char* comment)
{
    constexpr size_t max_comment = 400;
    if (comment && strlen(comment) > max_comment)
    {
        zr::report_failure(ZR_ERROR_LIMIT, "a comment of more than %zu bytes", max_comment);
        return 0;
    }
    if (!path || !buffer || !buffer->pixels || buffer->pixel_format != PIXEL_RADIANCE)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "there is no picture with radiance to write");
        return 0;
    }
    const size_t width = size_t(buffer->width);
    zr::array<uint8_t> planes[4], encoded;
    bool has_memory = encoded.resize(max_encoded_row(width));
    for (auto& plane : planes) { has_memory = has_memory && plane.resize(width); }
    if (!has_memory)
    {
        zr::report_failure(ZR_ERROR_MEMORY, "no memory for a scanline of %zu pixels", width);
        return 0;
    }
    zr::picture_file file = {};
    if (!zr::open_picture_file(file, path)) { return 0; }
    write_head(file, *buffer, comment);
    for (int32_t y = buffer->height - 1; y >= 0 && !file.failed; --y)
    {
        pixels_of_row(*buffer, y, planes);
        zr::write_bytes(file, encoded.items, encode_row(planes, encoded.items));
    }
    return zr::close_picture_file(file);
}

namespace
{

void write_head(zr::picture_file& file, const image_buffer& buffer, const char* comment)
{
    const auto write = [&](const char* text, size_t length) { zr::write_bytes(file, text, length); };
    write("#?RADIANCE\n", 11);
    for (const char* line = comment; line && *line;)
    {
        const size_t length = strcspn(line, "\n");
        write("# ", 2);
        write(line, length);
        write("\n", 1);
        line += length + (line[length] == '\n');
    }
    char size[96];
    const int length =
        snprintf(size, sizeof(size), "FORMAT=32-bit_rle_rgbe\n\n-Y %d +X %d\n", buffer.height, buffer.width);
    write(size, size_t(length));
}

/// A colour as three mantissas and the exponent of the largest.
void encode_color(const float rgb[3], uint8_t bytes[4])
{
    const float largest = std::max({ rgb[0], rgb[1], rgb[2] });
    memset(bytes, 0, 4);
    if (!(largest > darkest)) { return; }
    int exponent = 0;
    const double scale = std::frexp(double(largest), &exponent) * 255.9999 / double(largest);
    for (int i = 0; i < 3; ++i) { bytes[i] = uint8_t(double(rgb[i]) * scale); }
    bytes[3] = uint8_t(exponent + 128);
}

/// From the sums of the samples where there are some, which the packing of pixels has not coarsened.
void pixels_of_row(const image_buffer& buffer, int32_t y, zr::array<uint8_t> planes[4])
{
    uint8_t bytes[4] = {};
    const uint8_t* last = nullptr;
    for (int32_t x = 0; x < buffer.width; ++x)
    {
        float mean[3];
        pixel_components light;
        const float* rgb = nullptr; // null: as the pixel before
        if (buffer.sums && zr_image_buffer_mean(&buffer, x, y, mean))
        {
            rgb = mean;
            last = nullptr;
        }
        else
        {
            const uint8_t* pixel = zr_image_buffer_pixel_ex(&buffer, x, y, nullptr);
            if (!last || memcmp(last, pixel, size_t(buffer.pixel_size)) != 0)
            {
                const uint32_t present = zr_unpack_internal_pixel(&buffer, pixel, &light, 1);
                rgb = present & PIXEL_HAS_BACKGROUND ? light.background : light.surface;
            }
            last = pixel;
        }
        if (rgb) { encode_color(rgb, bytes); }
        for (int i = 0; i < 4; ++i) { planes[i][size_t(x)] = bytes[i]; }
    }
}

/// Bytes from `at` that equal the first, at most as many as a run holds.
size_t equal_bytes(const zr::array<uint8_t>& plane, size_t at)
{
    const size_t end = std::min(plane.count, at + longest_run);
    size_t i = at + 1;
    while (i < end && plane[i] == plane[at]) { ++i; }
    return i - at;
}

uint8_t* put_run(uint8_t* out, size_t count, uint8_t value)
{
    *out++ = uint8_t(run_mark + count);
    *out++ = value;
    return out;
}

uint8_t* encode_plane(const zr::array<uint8_t>& plane, uint8_t* out)
{
    size_t done = 0;
    while (done < plane.count)
    {
        // Repetitions too short for a run stay among the literals before it.
        size_t run_at = done, run = 0, first_repetition = 0;
        while (run_at < plane.count)
        {
            run = equal_bytes(plane, run_at);
            if (run >= shortest_run) { break; }
            if (run_at == done) { first_repetition = run; }
            run_at += run;
            run = 0;
        }
        if (first_repetition > 1 && first_repetition == run_at - done)
        {
            out = put_run(out, first_repetition, plane[done]);
            done = run_at;
        }
        while (done < run_at)
        {
            const size_t count = std::min(run_at - done, longest_literal);
            *out++ = uint8_t(count);
            memcpy(out, plane.items + done, count);
            out += count;
            done += count;
        }
        if (run > 0)
        {
            out = put_run(out, run, plane[done]);
            done += run;
        }
    }
    return out;
}

size_t encode_row(const zr::array<uint8_t> planes[4], uint8_t* out)
{
    const size_t pixels = planes[0].count;
    uint8_t* at = out;
    if (pixels < size_t(zr::shortest_encoded) || pixels > size_t(zr::longest_encoded))
    {
        for (size_t x = 0; x < pixels; ++x)
        {
            for (int i = 0; i < 4; ++i) { *at++ = planes[i][x]; }
        }
        return size_t(at - out);
    }
    *at++ = zr::encoded_mark;
    *at++ = zr::encoded_mark;
    *at++ = uint8_t(pixels >> 8);
    *at++ = uint8_t(pixels);
    for (int i = 0; i < 4; ++i) { at = encode_plane(planes[i], at); }
    return size_t(at - out);
}

/// Literals cost a byte in 128, and a run of at least 2 never more than its bytes; one more count byte may
/// precede each run of 4.
size_t max_encoded_row(size_t pixels) { return 4 + 4 * (pixels + pixels / 4 + 2); }

} // namespace
