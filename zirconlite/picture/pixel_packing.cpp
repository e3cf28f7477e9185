/// @file
/// The packed forms of one pixel: five bytes of radiance, or four of display values.
#include <algorithm>
#include <bit>
#include <cmath>

#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/image_buffer.h"

namespace
{

constexpr float min_packed = 1e-7f;
constexpr float max_packed = 0x1.fffffep62f; // the next f32 is 2^63, whose exponent would reach bit 7
constexpr uint8_t background_bit = 0x80;
constexpr int exponent_bias = 64;
constexpr float byte_share = 0.003921568627451f;

float clamped_channel(float channel);
void pack_shared_exponent(const float rgb[3], uint8_t* pixel);
void unpack_shared_exponent(const uint8_t* pixel, float rgb[3]);
uint8_t background_fractions(const float rgb[3], const uint8_t* pixel);
void add_background_fractions(const uint8_t* pixel, float rgb[3]);
bool is_present(const float rgb[3]);

} // namespace

uint32_t pack_pixel(const image_buffer* buffer, const pixel_components* components, uint8_t* pixel)
{
    if (buffer->pixel_format == PIXEL_SIMPLE)
    {
        const float* c = components->simple;
        const bool is_black = c[0] == 0.0f && c[1] == 0.0f && c[2] == 0.0f;
        for (int i = 0; i < 3; ++i)
        {
            pixel[i] = is_black ? uint8_t(0) : zr::look_up(zr::gamma.simple_byte, c[i], uint8_t(255));
        }
        return is_black ? 0u : uint32_t(PIXEL_HAS_SIMPLE);
    }

    uint32_t kinds = 0;
    float sum[3] = {};
    if (is_present(components->surface))
    {
        kinds |= PIXEL_HAS_SURFACE;
        for (int i = 0; i < 3; ++i) { sum[i] = components->surface[i]; }
    }
    if (is_present(components->background))
    {
        kinds |= PIXEL_HAS_BACKGROUND;
        for (int i = 0; i < 3; ++i) { sum[i] += components->background[i]; }
    }
    const bool was_background = (pixel[0] & background_bit) != 0;
    pack_shared_exponent(sum, pixel);
    // A background too dark to keep stays plain black: byte 0 of 0 is what readers test.
    if (kinds == PIXEL_HAS_BACKGROUND && pixel[0] != 0)
    {
        pixel[4] = background_fractions(sum, pixel);
        pixel[0] |= background_bit;
        return kinds;
    }
    const float ratio = components->source_ratio;
    if (ratio > 0.0f) { pixel[4] = uint8_t(std::min(ratio, 1.0f) * 255.0f + 0.5f); }
    else if (was_background) { pixel[4] = 0; } // it had fractions, not a ratio
    return kinds;
}

uint32_t zr_unpack_internal_pixel(
    const image_buffer* buffer, const uint8_t* pixel, pixel_components* components, int32_t raw)
{
    *components = {};
    if (buffer->pixel_format == PIXEL_SIMPLE)
    {
        if (pixel[0] == 0 && pixel[1] == 0 && pixel[2] == 0) { return 0; }
        for (int i = 0; i < 3; ++i)
        {
            components->simple[i] = raw ? float(pixel[i]) * byte_share : zr::gamma.simple_decode[pixel[i]];
        }
        components->present = PIXEL_HAS_SIMPLE;
        return components->present;
    }

    if (pixel[0] & background_bit)
    {
        components->present = PIXEL_HAS_BACKGROUND;
        unpack_shared_exponent(pixel, components->background);
        add_background_fractions(pixel, components->background);
        return components->present;
    }
    if (pixel[0] != 0)
    {
        components->present = PIXEL_HAS_SURFACE;
        unpack_shared_exponent(pixel, components->surface);
    }
    if (pixel[4] != 0)
    {
        components->present |= PIXEL_HAS_SOURCE_RATIO;
        components->source_ratio = float(pixel[4]) * byte_share;
    }
    return components->present;
}

namespace
{

/// NaN and negative channels become 0, values beyond the format are clamped.
float clamped_channel(float channel) { return channel > 0.0f ? std::min(channel, max_packed) : 0.0f; }

/// 2 to a power that is far from the ends of the range.
double power_of_two(int exponent) { return std::bit_cast<double>(uint64_t(exponent + 1023) << 52); }

/// What a mantissa of 1 stands for.
double mantissa_unit(const uint8_t* pixel)
{
    return power_of_two((pixel[0] & ~background_bit) - exponent_bias - 8);
}

/// Mantissas share the exponent of the largest channel.
void pack_shared_exponent(const float rgb[3], uint8_t* pixel)
{
    const float clamped[3] = { clamped_channel(rgb[0]), clamped_channel(rgb[1]), clamped_channel(rgb[2]) };
    const float largest = std::max({ clamped[0], clamped[1], clamped[2] });
    if (largest < min_packed)
    {
        pixel[0] = pixel[1] = pixel[2] = pixel[3] = 0;
        return;
    }
    // Read from the bits of the f32: largest = fraction x 2^exponent, with a fraction from 0.5 up to 1.
    const int exponent = int(std::bit_cast<uint32_t>(largest) >> 23) - 126;
    pixel[0] = uint8_t(exponent + exponent_bias);
    const double mantissas = power_of_two(8 - exponent);
    for (int i = 0; i < 3; ++i) { pixel[i + 1] = uint8_t(clamped[i] * mantissas); }
}

void unpack_shared_exponent(const uint8_t* pixel, float rgb[3])
{
    if ((pixel[0] & ~background_bit) == 0) { return; }
    const double unit = mantissa_unit(pixel);
    for (int i = 0; i < 3; ++i) { rgb[i] = float((pixel[i + 1] + 0.5) * unit); }
}

// The light of a surface bears an error of half a mantissa. A picked background does not: a channel that is 0
// beside a bright one would be shown with 6 % of full white. So the ratio byte of a pure background, which
// has no ratio, holds how far its two weaker channels lie between their mantissas, 4 bits each. A mantissa
// of 0 has its steps where the display has its own. Nibbles of 0 mean one half, as in every other pixel.
constexpr int even_half = 8, dark_half = 12; // the steps that stand for one half

double fraction_of_step(uint8_t mantissa, int step)
{
    if (mantissa != 0) { return step / 16.0; }
    return step == dark_half ? 0.5 : std::pow(step / 16.0, zr::display_gamma);
}

/// The two channels that are not the strongest, in order.
void weaker_channels(const uint8_t* pixel, int weaker[2])
{
    int strongest = 0;
    for (int i = 1; i < 3; ++i)
    {
        if (pixel[i + 1] > pixel[strongest + 1]) { strongest = i; }
    }
    weaker[0] = strongest == 0 ? 1 : 0;
    weaker[1] = strongest == 2 ? 1 : 2;
}

uint8_t background_fractions(const float rgb[3], const uint8_t* pixel)
{
    const double unit = mantissa_unit(pixel);
    int weaker[2];
    weaker_channels(pixel, weaker);
    int nibbles = 0;
    for (const int i : weaker)
    {
        const uint8_t mantissa = pixel[i + 1];
        const double fraction = clamped_channel(rgb[i]) / unit - mantissa;
        const double position = mantissa != 0 ? fraction : std::pow(fraction, 1.0 / zr::display_gamma);
        const int step = std::min(int(position * 16.0 + 0.5), 15);
        nibbles = nibbles << 4 | ((step - (mantissa != 0 ? even_half : dark_half)) & 15);
    }
    return uint8_t(nibbles);
}

void add_background_fractions(const uint8_t* pixel, float rgb[3])
{
    const double unit = mantissa_unit(pixel);
    int weaker[2];
    weaker_channels(pixel, weaker);
    const int nibbles[2] = { pixel[4] >> 4, pixel[4] & 15 };
    for (int n = 0; n < 2; ++n)
    {
        const uint8_t mantissa = pixel[weaker[n] + 1];
        const int step = (nibbles[n] + (mantissa != 0 ? even_half : dark_half)) & 15;
        rgb[weaker[n]] = float((mantissa + fraction_of_step(mantissa, step)) * unit);
    }
}

bool is_present(const float rgb[3]) { return rgb[0] > 0.0f || rgb[1] > 0.0f || rgb[2] > 0.0f; }

} // namespace
