#include "host/pictures/other_pictures.hpp"

#include <algorithm>
#include <array>

namespace host
{

namespace
{

enum targa_kind : uint32_t
{
    targa_mapped = 1,
    targa_grey = 3,
    targa_runs = 8 // added to the kinds above
};

struct targa_header
{
    uint32_t id_length, has_map, kind, map_first, map_count, map_bits, width, height, bits, descriptor;
};

using texel = std::array<uint8_t, 4>;

/// The pixels of a file one by one, out of runs where it has them.
struct targa_pixels
{
    picture_bytes& in;
    uint32_t bytes;
    bool has_runs;
    uint32_t left = 0, value = 0;
    bool repeats = false;

    uint32_t next()
    {
        if (!has_runs) { return in.u(int(bytes)); }
        if (left == 0)
        {
            const uint32_t packet = in.u(1);
            repeats = packet & 0x80;
            left = (packet & 0x7F) + 1;
            if (repeats) { value = in.u(int(bytes)); }
        }
        --left;
        return repeats ? value : in.u(int(bytes));
    }
};

targa_header read_header(picture_bytes& in);
bool read_mapped(picture_bytes in, const targa_header& h, uint64_t size, picture8& out, std::string& why);
texel read_map_entry(picture_bytes& in, uint32_t bits);
bool read_deep_grey(picture_bytes in, const targa_header& h, uint64_t size, picture8& out, std::string& why);
template <class Write>
bool fill(picture8& out, const targa_header& h, targa_pixels& pixels, Write write, std::string& why);

} // namespace

bool read_other_targa(std::span<const uint8_t> bytes, picture8& out, std::string& why)
{
    picture_bytes in{ bytes };
    const targa_header h = read_header(in);
    const uint32_t kind = h.kind & ~uint32_t(targa_runs);
    const bool map_fits = h.map_bits == 15 || h.map_bits == 16 || h.map_bits == 24 || h.map_bits == 32;
    if (!in.ok || h.width == 0 || h.height == 0 || h.has_map > 1) { return false; }
    in.skip(h.id_length);
    if (kind == targa_mapped && h.has_map && map_fits && (h.bits == 8 || h.bits == 16))
    {
        return read_mapped(in, h, bytes.size(), out, why);
    }
    if (kind != targa_grey || h.bits != 16) { return false; }
    if (h.has_map) { in.skip(uint64_t(h.map_count) * ((h.map_bits + 7) / 8)); }
    return read_deep_grey(in, h, bytes.size(), out, why);
}

namespace
{

targa_header read_header(picture_bytes& in)
{
    targa_header h{};
    h.id_length = in.u(1);
    h.has_map = in.u(1);
    h.kind = in.u(1);
    h.map_first = in.u(2);
    h.map_count = in.u(2);
    h.map_bits = in.u(1);
    in.skip(4);
    h.width = in.u(2);
    h.height = in.u(2);
    h.bits = in.u(1);
    h.descriptor = in.u(1);
    return h;
}

bool read_mapped(picture_bytes in, const targa_header& h, uint64_t size, picture8& out, std::string& why)
{
    std::vector<texel> map(size_t(h.map_first) + h.map_count, texel{ 0, 0, 0, 255 });
    for (uint32_t i = 0; i < h.map_count; ++i) { map[h.map_first + i] = read_map_entry(in, h.map_bits); }
    const bool has_alpha = h.map_bits == 32;
    if (!in.ok || !make_picture(out, h.width, h.height, has_alpha ? 4 : 3, size, why)) { return false; }
    targa_pixels pixels{ in, h.bits / 8, h.kind >= targa_runs };
    fill(
        out, h, pixels,
        [&](uint32_t index, uint8_t* to)
        {
            const texel color = index < map.size() ? map[index] : texel{ 0, 0, 0, 255 };
            std::copy_n(color.begin(), out.channels, to);
        },
        why);
    heal_alpha(out);
    return true;
}

texel read_map_entry(picture_bytes& in, uint32_t bits)
{
    if (bits == 15 || bits == 16)
    {
        const uint32_t v = in.u(2);
        const auto five = [v](int shift) { return uint8_t((v >> shift & 31) * 255 / 31); };
        return { five(10), five(5), five(0), 255 };
    }
    const uint32_t bgra = in.u(int(bits / 8));
    return { uint8_t(bgra >> 16), uint8_t(bgra >> 8), uint8_t(bgra),
        bits == 32 ? uint8_t(bgra >> 24) : uint8_t(255) };
}

/// Grey of 16 bits: with 8 bits of alpha in the descriptor grey and alpha, else one deep value.
bool read_deep_grey(picture_bytes in, const targa_header& h, uint64_t size, picture8& out, std::string& why)
{
    const bool has_alpha = (h.descriptor & 0xF) == 8;
    if (!make_picture(out, h.width, h.height, has_alpha ? 4 : 1, size, why)) { return false; }
    targa_pixels pixels{ in, 2, h.kind >= targa_runs };
    fill(
        out, h, pixels,
        [&](uint32_t value, uint8_t* to)
        {
            if (!has_alpha)
            {
                *to = uint8_t(value >> 8);
                return;
            }
            to[0] = to[1] = to[2] = uint8_t(value);
            to[3] = uint8_t(value >> 8);
        },
        why);
    heal_alpha(out);
    return true;
}

/// Fills the rows from the corner where the file begins; false where the file ends first.
template <class Write>
bool fill(picture8& out, const targa_header& h, targa_pixels& pixels, Write write, std::string& why)
{
    const bool from_top = h.descriptor & 0x20, from_right = h.descriptor & 0x10;
    for (uint32_t y = 0; y < out.height; ++y)
    {
        const uint32_t row = from_top ? out.height - 1 - y : y;
        for (uint32_t x = 0; x < out.width; ++x)
        {
            const uint32_t value = pixels.next();
            if (!pixels.in.ok)
            {
                why = cut_picture("TARGA", y, out.height);
                return false;
            }
            const uint32_t column = from_right ? out.width - 1 - x : x;
            write(value, &out.rows[(size_t(row) * out.width + column) * out.channels]);
        }
    }
    return true;
}

} // namespace

} // namespace host
