#include "zirconlite/sampling/sequence.hpp"

#include <array>

#include "zirconlite/sampling/blue_noise.hpp"

namespace zr
{

namespace
{

constexpr double to_unit = 1.0 / 4294967296.0;

/// A permutation of 32 bits that looks random.
uint32_t mixed(uint32_t x)
{
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    return x ^ x >> 16;
}

uint32_t reversed_bits(uint32_t x)
{
    x = (x >> 1 & 0x55555555u) | (x & 0x55555555u) << 1;
    x = (x >> 2 & 0x33333333u) | (x & 0x33333333u) << 2;
    x = (x >> 4 & 0x0f0f0f0fu) | (x & 0x0f0f0f0fu) << 4;
    return __builtin_bswap32(x);
}

/// Each bit is flipped by a hash of the bits below it: Laine and Karras, "Stratified sampling for stochastic
/// transparency" (2011).
uint32_t hashed_upwards(uint32_t x, uint32_t seed)
{
    x += seed;
    x ^= x * 0x6c50b47cu;
    x ^= x * 0xb82f1e52u;
    x ^= x * 0xc7afe638u;
    x ^= x * 0x8d22f6e6u;
    return x;
}

uint32_t owen_scrambled(uint32_t x, uint32_t seed)
{
    return reversed_bits(hashed_upwards(reversed_bits(x), seed));
}

/// Products of the second Sobol matrix (Pascal's triangle modulo 2) with each byte of an index.
using byte_products = std::array<std::array<uint32_t, 256>, 4>;

constexpr byte_products make_products()
{
    byte_products products = {};
    uint32_t column = 0x80000000u;
    uint32_t columns[32] = {};
    for (uint32_t& c : columns)
    {
        c = column;
        column ^= column >> 1;
    }
    for (int byte = 0; byte < 4; ++byte)
    {
        for (uint32_t value = 0; value < 256; ++value)
        {
            for (int bit = 0; bit < 8; ++bit)
            {
                if (value >> bit & 1) { products[byte][value] ^= columns[8 * byte + bit]; }
            }
        }
    }
    return products;
}
constexpr byte_products pascal = make_products();

uint32_t second_sobol(uint32_t index)
{
    return pascal[0][index & 0xff] ^ pascal[1][index >> 8 & 0xff] ^ pascal[2][index >> 16 & 0xff] ^
           pascal[3][index >> 24];
}

/// The mask's value at a pixel, another part of it for each `key`, as 32 bits.
uint32_t mask_shift(int32_t x, int32_t y, uint32_t key)
{
    const uint32_t column = (uint32_t(x) + (key & 0xffff)) % blue_noise_side;
    const uint32_t row = (uint32_t(y) + (key >> 16)) % blue_noise_side;
    // The low bits fill the step of a rank, which would otherwise always start at its edge.
    const uint32_t tile =
        mixed(uint32_t(x) / blue_noise_side * 0x9e3779b9u + uint32_t(y) / blue_noise_side + key);
    return uint32_t(blue_noise[row * blue_noise_side + column]) << 20 | tile >> 12;
}

/// A point of a dimension pair's sequence before the pixel's shift, and the keys of that shift.
struct shared_point
{
    uint32_t first, second;
};

uint32_t key_of(uint32_t pair, uint32_t seed)
{
    return mixed(pair * 0x9e3779b9u + mixed(seed + 0x632be5abu));
}

shared_point point_of(uint32_t key, uint32_t index)
{
    const uint32_t order = owen_scrambled(index, key);
    return { owen_scrambled(reversed_bits(order), mixed(key ^ 0x51633e2du)),
        owen_scrambled(second_sobol(order), mixed(key ^ 0x68bc21ebu)) };
}

shared_point shift_keys(uint32_t key) { return { mixed(key ^ 0x02e5be93u), mixed(key ^ 0x967a889bu) }; }

/// The first samples of the first vertices, which most paths take: all pixels share them.
struct point_table
{
    static constexpr uint32_t pairs = pair_vertex + 4 * pairs_per_vertex, samples = 128;

    bool is_filled;
    uint32_t seed;
    shared_point shifts[pairs], points[pairs][samples];
};
point_table table = {};

} // namespace

void prepare_sequence(uint32_t seed)
{
    if (table.is_filled && table.seed == seed) { return; }
    for (uint32_t pair = 0; pair < point_table::pairs; ++pair)
    {
        const uint32_t key = key_of(pair, seed);
        table.shifts[pair] = shift_keys(key);
        for (uint32_t i = 0; i < point_table::samples; ++i) { table.points[pair][i] = point_of(key, i); }
    }
    table.seed = seed;
    table.is_filled = true;
}

unit_pair sample_numbers(const sample_point& p, uint32_t pair)
{
    shared_point point, shift;
    if (table.is_filled && table.seed == p.seed && pair < point_table::pairs &&
        p.index < point_table::samples)
    {
        point = table.points[pair][p.index];
        shift = table.shifts[pair];
    }
    else
    {
        const uint32_t key = key_of(pair, p.seed);
        point = point_of(key, p.index);
        shift = shift_keys(key);
    }
    return { (point.first + mask_shift(p.x, p.y, shift.first)) * to_unit,
        (point.second + mask_shift(p.x, p.y, shift.second)) * to_unit };
}

} // namespace zr
