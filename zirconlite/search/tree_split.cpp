#include "zirconlite/search/tree_split.hpp"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "zirconlite/search/search_tree.hpp"

// Twice in the library where the system can choose at load time; both make the same operations.
#if defined(__x86_64__) && defined(__linux__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
#define ZR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define ZR_CLONES
#endif

// What they call is compiled with them.
#define ZR_INLINE __attribute__((always_inline)) inline

namespace zr
{

namespace
{

constexpr int max_bins = 16, few_bins = 8;
constexpr size_t few_bins_below = 48;    ///< small ranges gain nothing from fine bins
constexpr int balanced_below_depth = 24; ///< deeper ranges are halved, so the depth stays bounded

typedef float float4 __attribute__((vector_size(16)));
typedef int32_t int4 __attribute__((vector_size(16)));

constexpr box8 empty_box8 = { float8{
    FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX } };

/// Where a range is cut: behind a bin of an axis, or in its middle.
struct cut
{
    int axis; ///< -1: in the middle
    int bin;
    int bins;
    float4 origin, scale; ///< from centres to bins, by axis; an axis without extent has scale 0
};

struct binning
{
    box8 box[3][max_bins];
    uint32_t count[3][max_bins];
};

ZR_CLONES cut find_cut(const build_ref* refs, const build_range& r);
ZR_INLINE void fill_bins(const build_ref* refs, size_t first, size_t end, const cut& c, binning& b);
ZR_INLINE void best_of_axis(const binning& b, int axis, int bins, float& best, int& best_bin);
size_t blocks_of(size_t count);
ZR_CLONES size_t partition_at(
    build_ref* refs, const build_range& r, const cut& c, box8 boxes[2], box8 centres[2]);
ZR_INLINE int4 bins_of(const build_ref& r, const cut& c);
ZR_CLONES build_range range_over(const build_ref* refs, size_t first, size_t end, int depth);
ZR_INLINE void grow(box8& box, const box8& by);
ZR_INLINE box8 as_box(const float4& point);
ZR_INLINE float4 centre(const build_ref& r);

} // namespace

build_range whole_range(const build_ref* refs, size_t count) { return range_over(refs, 0, count, 0); }

bool is_leaf(const build_ref* refs, const build_range& r)
{
    if (r.count() > block_width) { return false; }
    for (size_t i = r.first + 1; i < r.end; ++i)
    {
        if (is_triangle(refs[i]) != is_triangle(refs[r.first])) { return false; }
    }
    return true;
}

void split_range(build_ref* refs, const build_range& r, build_range& left, build_range& right)
{
    size_t middle = r.first + r.count() / 2;
    if (r.count() <= block_width)
    {
        // A leaf's worth of both kinds: triangles to one side.
        build_ref* end = std::stable_partition(refs + r.first, refs + r.end, is_triangle);
        middle = size_t(end - refs);
    }
    else if (const cut c = find_cut(refs, r); c.axis >= 0)
    {
        box8 boxes[2], centres[2];
        middle = partition_at(refs, r, c, boxes, centres);
        left = { r.first, middle, boxes[0], centres[0], r.depth + 1 };
        right = { middle, r.end, boxes[1], centres[1], r.depth + 1 };
        return;
    }
    left = range_over(refs, r.first, middle, r.depth + 1);
    right = range_over(refs, middle, r.end, r.depth + 1);
}

namespace
{

ZR_CLONES cut find_cut(const build_ref* refs, const build_range& r)
{
    const box8& m = r.centres;
    cut best = { -1, 0, r.count() < few_bins_below ? few_bins : max_bins, { m.v[0], m.v[1], m.v[2], 0.0f },
        {} };
    if (r.depth >= balanced_below_depth) { return best; }
    for (int axis = 0; axis < 3; ++axis)
    {
        const float extent = high_of(m, axis) - low_of(m, axis);
        const float scale = float(best.bins) * 0.9999f / extent;
        if (extent > 0.0f && std::isfinite(scale) && std::isfinite(extent)) { best.scale[axis] = scale; }
    }
    binning b;
    fill_bins(refs, r.first, r.end, best, b);
    float cost = FLT_MAX;
    for (int axis = 0; axis < 3; ++axis)
    {
        int bin = -1;
        if (best.scale[axis] > 0.0f) { best_of_axis(b, axis, best.bins, cost, bin); }
        if (bin < 0) { continue; }
        best.axis = axis;
        best.bin = bin;
    }
    return best;
}

ZR_INLINE void fill_bins(const build_ref* refs, size_t first, size_t end, const cut& c, binning& b)
{
    for (int axis = 0; axis < 3; ++axis)
    {
        for (int i = 0; i < c.bins; ++i)
        {
            b.box[axis][i] = empty_box8;
            b.count[axis][i] = 0;
        }
    }
    for (size_t i = first; i < end; ++i)
    {
        const int4 bins = bins_of(refs[i], c);
        for (int axis = 0; axis < 3; ++axis)
        {
            grow(b.box[axis][bins[axis]], refs[i]);
            ++b.count[axis][bins[axis]];
        }
    }
}

/// Cost of the best cut of one axis, over the blocks on either side.
ZR_INLINE void best_of_axis(const binning& b, int axis, int bins, float& best, int& best_bin)
{
    float right_cost[max_bins];
    box8 box = empty_box8;
    size_t count = 0;
    for (int i = bins - 1; i > 0; --i)
    {
        grow(box, b.box[axis][i]);
        count += b.count[axis][i];
        right_cost[i] = count ? half_area(box) * float(blocks_of(count)) : -1.0f;
    }
    box = empty_box8;
    count = 0;
    for (int i = 0; i < bins - 1; ++i)
    {
        grow(box, b.box[axis][i]);
        count += b.count[axis][i];
        if (!count || right_cost[i + 1] < 0.0f) { continue; }
        const float cost = half_area(box) * float(blocks_of(count)) + right_cost[i + 1];
        if (cost < best)
        {
            best = cost;
            best_bin = i;
        }
    }
}

size_t blocks_of(size_t count) { return (count + block_width - 1) / block_width; }

/// Sorts the objects of bins up to the cut to the front, without a branch: which side an object belongs to is
/// anyone's guess. Gives the first of the right side.
ZR_CLONES size_t partition_at(
    build_ref* refs, const build_range& r, const cut& c, box8 boxes[2], box8 centres[2])
{
    box8 left = empty_box8, right = empty_box8, left_centres = empty_box8, right_centres = empty_box8;
    const float8 far = empty_box8.v;
    size_t middle = r.first;
    for (size_t i = r.first; i < r.end; ++i)
    {
        const build_ref ref = refs[i];
        const bool goes_left = bins_of(ref, c)[c.axis] <= c.bin;
        refs[i] = refs[middle];
        refs[middle] = ref;
        middle += goes_left;
        typedef int32_t int8v __attribute__((vector_size(32)));
        const int32_t bits = -int32_t(goes_left);
        const int8v mask = { bits, bits, bits, bits, bits, bits, bits, bits };
        const box8 m = as_box(centre(ref));
        grow(left, box8{ mask ? ref.v : far });
        grow(right, box8{ mask ? far : ref.v });
        grow(left_centres, box8{ mask ? m.v : far });
        grow(right_centres, box8{ mask ? far : m.v });
    }
    boxes[0] = left, boxes[1] = right;
    centres[0] = left_centres, centres[1] = right_centres;
    return middle;
}

/// Bin of an object by axis.
ZR_INLINE int4 bins_of(const build_ref& r, const cut& c)
{
    const int4 bins = __builtin_convertvector((centre(r) - c.origin) * c.scale, int4);
    const int4 last = int4{ c.bins - 1, c.bins - 1, c.bins - 1, c.bins - 1 }, first = {};
    const int4 clamped = bins < last ? bins : last;
    return clamped > first ? clamped : first; // an infinite centre on an axis without extent gives no number
}

/// Boxes of a part of the objects.
ZR_CLONES build_range range_over(const build_ref* refs, size_t first, size_t end, int depth)
{
    build_range r = { first, end, empty_box8, empty_box8, depth };
    for (size_t i = first; i < end; ++i)
    {
        grow(r.box, refs[i]);
        grow(r.centres, as_box(centre(refs[i])));
    }
    return r;
}

ZR_INLINE void grow(box8& box, const box8& by) { box.v = box.v < by.v ? box.v : by.v; }

ZR_INLINE box8 as_box(const float4& point)
{
    const float4 negated = -point;
    return box8{ __builtin_shufflevector(point, negated, 0, 1, 2, 3, 4, 5, 6, 7) };
}

/// Twice the centre of an object's box, which is all that its order needs; the last lane is of no use.
ZR_INLINE float4 centre(const build_ref& r)
{
    const float4 low = __builtin_shufflevector(r.v, r.v, 0, 1, 2, 2),
                 negated = __builtin_shufflevector(r.v, r.v, 4, 5, 6, 6);
    return low - negated;
}

} // namespace

} // namespace zr
