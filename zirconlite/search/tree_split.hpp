/// @file
/// Cutting a range of objects in two where a search tree costs least: binned surface-area splits over boxes
/// in f32.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace zr
{

typedef float float8 __attribute__((vector_size(32), aligned(16))); ///< as the heap aligns

/// A box as (low x, y, z, any, -high x, -y, -z, any): one minimum of all lanes grows it.
struct box8
{
    float8 v;
};

inline float low_of(const box8& b, int axis) { return b.v[axis]; }
inline float high_of(const box8& b, int axis) { return -b.v[4 + axis]; }

inline float half_area(const box8& b)
{
    const float x = -b.v[4] - b.v[0], y = -b.v[5] - b.v[1], z = -b.v[6] - b.v[2];
    return x * y + y * z + z * x;
}

/// An object while the tree is built: its box, with its number in lane 3 and what it is in lane 7.
using build_ref = box8;

inline build_ref make_build_ref(const float low[3], const float high[3], uint32_t number, bool is_triangle)
{
    float payload;
    memcpy(&payload, &number, sizeof payload);
    return box8{ float8{
        low[0], low[1], low[2], payload, -high[0], -high[1], -high[2], is_triangle ? 1.0f : 0.0f } };
}

inline uint32_t number_of(const build_ref& r)
{
    uint32_t number;
    memcpy(&number, reinterpret_cast<const char*>(&r) + 3 * sizeof(float), sizeof number);
    return number;
}

inline bool is_triangle(const build_ref& r) { return r.v[7] != 0.0f; }

/// Objects from `first` to `end`, with the box of the objects and of their centres (twice over).
struct build_range
{
    size_t first, end;
    box8 box, centres;
    int depth;
    size_t count() const { return end - first; }
};

build_range whole_range(const build_ref* refs, size_t count);

/// Whether the range fits a leaf: few enough, and of one kind.
bool is_leaf(const build_ref* refs, const build_range& r);

/// Sorts a range that is no leaf into two. The result depends on nothing but the range.
void split_range(build_ref* refs, const build_range& r, build_range& left, build_range& right);

} // namespace zr
