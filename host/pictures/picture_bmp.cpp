#include "host/pictures/other_pictures.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>

namespace host
{

namespace
{

enum bmp_compression : uint32_t
{
    bmp_plain = 0,
    bmp_runs_8 = 1,
    bmp_runs_4 = 2,
    bmp_masks = 3,
    bmp_masks_alpha = 6
};
constexpr uint32_t file_header = 14, info_header = 40, masks_in_header = 52, alpha_in_header = 56;

struct bmp_header
{
    uint32_t pixels_at = 0, size = 0;
    int64_t width = 0, height = 0;
    bool is_top_down = false;
    uint32_t bits = 0, compression = 0, colors = 0;
    std::array<uint32_t, 4> masks{}; ///< red, green, blue, alpha
};

using palette = std::array<std::array<uint8_t, 3>, 256>;

/// Writes indices as colours; what lies outside is dropped.
struct index_writer
{
    picture8& p;
    const palette& colors;
    bool is_top_down;
    uint64_t x = 0, y = 0;

    void put(uint32_t index)
    {
        if (x >= p.width || y >= p.height) { return; }
        const uint64_t row = is_top_down ? p.height - 1 - y : y;
        std::copy_n(colors[index & 0xFF].begin(), 3, &p.rows[(size_t(row) * p.width + size_t(x++)) * 3]);
    }
};

bool read_header(std::span<const uint8_t> bytes, bmp_header& h);
bool read_runs(std::span<const uint8_t> bytes, const bmp_header& h, picture8& out, std::string& why);
palette read_palette(std::span<const uint8_t> bytes, const bmp_header& h);
bool decode_runs(picture_bytes in, uint32_t bits, index_writer& out);
bool read_masked(std::span<const uint8_t> bytes, const bmp_header& h, picture8& out, std::string& why);
uint8_t channel_of(uint32_t pixel, uint32_t mask);

} // namespace

bool read_other_bmp(std::span<const uint8_t> bytes, picture8& out, std::string& why)
{
    bmp_header h;
    if (!read_header(bytes, h)) { return false; }
    const bool is_runs =
        (h.compression == bmp_runs_8 && h.bits == 8) || (h.compression == bmp_runs_4 && h.bits == 4);
    const bool is_masked = (h.compression == bmp_masks || h.compression == bmp_masks_alpha) &&
                           (h.bits == 16 || h.bits == 32) && (h.masks[0] | h.masks[1] | h.masks[2]);
    if (is_runs) { return read_runs(bytes, h, out, why); }
    return is_masked && read_masked(bytes, h, out, why);
}

namespace
{

bool read_header(std::span<const uint8_t> bytes, bmp_header& h)
{
    picture_bytes in{ bytes };
    in.skip(10);
    h.pixels_at = in.u(4);
    h.size = in.u(4);
    h.width = int32_t(in.u(4));
    h.height = int32_t(in.u(4));
    in.skip(2);
    h.bits = in.u(2);
    h.compression = in.u(4);
    in.skip(12);
    h.colors = in.u(4);
    in.skip(4);
    if (!in.ok || h.size < info_header) { return false; }
    // Masks follow the oldest of these headers and are part of the later ones.
    const bool has_masks = h.compression == bmp_masks || h.compression == bmp_masks_alpha;
    const bool has_alpha = h.size >= alpha_in_header || h.compression == bmp_masks_alpha;
    for (size_t i = 0; has_masks && i < (has_alpha ? 4u : 3u); ++i) { h.masks[i] = in.u(4); }
    h.is_top_down = h.height < 0;
    h.height = h.is_top_down ? -h.height : h.height;
    return in.ok && h.width > 0 && h.height > 0;
}

bool read_runs(std::span<const uint8_t> bytes, const bmp_header& h, picture8& out, std::string& why)
{
    if (!make_picture(out, uint64_t(h.width), uint64_t(h.height), 3, bytes.size(), why)) { return false; }
    const palette colors = read_palette(bytes, h);
    for (size_t i = 0; i < out.rows.size(); i += 3) { std::copy_n(colors[0].begin(), 3, &out.rows[i]); }
    picture_bytes in{ bytes };
    in.skip(h.pixels_at);
    index_writer writer{ out, colors, h.is_top_down };
    if (!decode_runs(in, h.bits, writer)) { why = cut_picture("BMP", writer.y, out.height); }
    return true;
}

palette read_palette(std::span<const uint8_t> bytes, const bmp_header& h)
{
    palette out{};
    picture_bytes in{ bytes };
    in.skip(uint64_t(file_header) + h.size);
    const uint32_t count = std::min(h.colors ? h.colors : 1u << h.bits, 256u);
    for (uint32_t i = 0; i < count; ++i)
    {
        const uint32_t bgr = in.u(4);
        out[i] = { uint8_t(bgr >> 16), uint8_t(bgr >> 8), uint8_t(bgr) };
    }
    return out;
}

/// Runs of 8 or 4 bits: a count and its colours; a count of 0 ends a row or the picture, jumps, or begins
/// plain ones.
bool decode_runs(picture_bytes in, uint32_t bits, index_writer& out)
{
    const bool is_half = bits == 4;
    while (out.y < out.p.height)
    {
        const uint32_t count = in.u(1), value = in.u(1);
        if (!in.ok) { return false; }
        if (count > 0)
        {
            for (uint32_t i = 0; i < count; ++i)
            {
                out.put(!is_half ? value : i & 1 ? value & 15 : value >> 4);
            }
            continue;
        }
        switch (value)
        {
        case 0:
            out.x = 0;
            ++out.y;
            break;
        case 1:
            return true;
        case 2:
            out.x += in.u(1);
            out.y += in.u(1);
            break;
        default:
            uint32_t pair = 0;
            for (uint32_t i = 0; i < value && in.ok; ++i)
            {
                if (!is_half || !(i & 1)) { pair = in.u(1); }
                out.put(!is_half ? pair : i & 1 ? pair & 15 : pair >> 4);
            }
            const uint32_t size = is_half ? (value + 1) / 2 : value;
            if (size & 1) { in.u(1); } // to an even number of bytes
        }
        if (!in.ok) { return false; }
    }
    return true;
}

bool read_masked(std::span<const uint8_t> bytes, const bmp_header& h, picture8& out, std::string& why)
{
    const uint32_t channels = h.masks[3] ? 4 : 3, pixel_bytes = h.bits / 8;
    if (!make_picture(out, uint64_t(h.width), uint64_t(h.height), channels, bytes.size(), why))
    {
        return false;
    }
    picture_bytes in{ bytes };
    in.skip(h.pixels_at);
    for (uint32_t y = 0; y < out.height; ++y)
    {
        const uint32_t row = h.is_top_down ? out.height - 1 - y : y;
        uint8_t* to = &out.rows[size_t(row) * out.width * channels];
        for (uint32_t x = 0; x < out.width; ++x, to += channels)
        {
            const uint32_t pixel = in.u(int(pixel_bytes));
            for (uint32_t c = 0; c < channels && in.ok; ++c) { to[c] = channel_of(pixel, h.masks[c]); }
        }
        if (!in.ok)
        {
            why = cut_picture("BMP", y, out.height);
            break;
        }
        if (const uint32_t over = out.width * pixel_bytes % 4; over && y + 1 < out.height)
        {
            in.skip(4 - over);
        }
    }
    heal_alpha(out);
    return true;
}

/// One channel of a pixel as 8 bits.
uint8_t channel_of(uint32_t pixel, uint32_t mask)
{
    if (mask == 0) { return 0; }
    const int shift = std::countr_zero(mask);
    const uint64_t largest = mask >> shift;
    return uint8_t(((pixel & mask) >> shift) * 255ull / largest);
}

} // namespace

} // namespace host
