// The walk down a search tree with 256-bit vectors: eight boxes in f32, with fused multiply-add, and four
// triangles in f64 at once. The triangles' test makes the operations of the portable one in the same order,
// without fused multiply-add.
#include "zirconlite/search/tree_walk.hpp"

#if defined(__x86_64__)
#include <immintrin.h>

#include "zirconlite/search/tree_box_margin.hpp"
#include "zirconlite/search/triangle_lanes_avx2.hpp"

namespace zr::avx2_walk
{

namespace
{

#define ZR_TARGET __attribute__((target("avx2,fma")))

struct wide_ray
{
    __m256 inverse[3], near_offset[3], far_offset[3], t_min_box;
    size_t near_row[3], far_row[3]; ///< of the planes of each axis in a node's bounds
    lanes::lane_ray exact;
};

ZR_TARGET inline wide_ray widen(const ray& r)
{
    const double origin[3] = { r.origin.x, r.origin.y, r.origin.z };
    const double inverse[3] = { r.inv_direction.x, r.inv_direction.y, r.inv_direction.z };
    wide_ray w;
    for (int axis = 0; axis < 3; ++axis)
    {
        const fused_axis a = make_fused_axis(origin[axis], inverse[axis]);
        w.inverse[axis] = _mm256_set1_ps(a.inverse);
        w.near_offset[axis] = _mm256_set1_ps(a.near_offset);
        w.far_offset[axis] = _mm256_set1_ps(a.far_offset);
        w.near_row[axis] = size_t(a.backward ? 3 + axis : axis) * tree_width;
        w.far_row[axis] = size_t(a.backward ? axis : 3 + axis) * tree_width;
    }
    w.t_min_box = _mm256_set1_ps(lower_t_min(r.t_min));
    w.exact = lanes::broadcast(r.origin, r.direction, r.t_min);
    return w;
}

ZR_TARGET inline unsigned hit_children(const tree_node& node, const wide_ray& w, float limit, float* near)
{
    const float* planes = node.bounds[0][0];
    __m256 enter = w.t_min_box, leave = _mm256_set1_ps(limit);
    for (int axis = 0; axis < 3; ++axis)
    {
        const __m256 low = _mm256_load_ps(planes + w.near_row[axis]);
        const __m256 high = _mm256_load_ps(planes + w.far_row[axis]);
        enter = _mm256_max_ps(enter, _mm256_fmadd_ps(low, w.inverse[axis], w.near_offset[axis]));
        leave = _mm256_min_ps(leave, _mm256_fmadd_ps(high, w.inverse[axis], w.far_offset[axis]));
    }
    // Later by the margin, on either side of the ray's origin.
    const __m256 size = _mm256_andnot_ps(_mm256_set1_ps(-0.0f), leave);
    leave = _mm256_fmadd_ps(size, _mm256_set1_ps(4.0f * fused_margin), leave);
    _mm256_storeu_ps(near, enter);
    return unsigned(_mm256_movemask_ps(_mm256_cmp_ps(enter, leave, _CMP_LE_OQ)));
}

ZR_TARGET inline __m256d load(const float* four) { return _mm256_cvtps_pd(_mm_loadu_ps(four)); }

ZR_TARGET inline __m256d lane_mask(const int32_t* four)
{
    return _mm256_castsi256_pd(
        _mm256_cvtepi32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i*>(four))));
}

ZR_TARGET inline unsigned hit_block(
    const triangle_block& b, const wide_ray& w, double t_high, double* t_out, double* w1_out, double* w2_out)
{
    const __m256d n[3] = { load(b.normal[0]), load(b.normal[1]), load(b.normal[2]) };
    __m256d in;
    const __m256d t = lanes::plane_distance(n, load(b.plane_d), w.exact, t_high, in);
    if (!_mm256_movemask_pd(in)) { return 0; }
    const lanes::lane_edges e = { { load(b.edge_a[0]), load(b.edge_a[1]) },
        { load(b.edge_b[0]), load(b.edge_b[1]) }, { load(b.vertex_1[0]), load(b.vertex_1[1]) },
        { load(b.vertex_2[0]), load(b.vertex_2[1]) }, lane_mask(b.first_is_y), lane_mask(b.second_is_z) };
    __m256d w1, w2;
    const unsigned hits = lanes::inside(e, w.exact, t, in, w1, w2);
    if (!hits) { return 0; }
    _mm256_storeu_pd(t_out, t);
    _mm256_storeu_pd(w1_out, w1);
    _mm256_storeu_pd(w2_out, w2);
    return hits;
}

#include "zirconlite/search/tree_walk_body.hpp"

#undef ZR_TARGET

} // namespace

bool nearest(const search_tree& tree, scene_object* const* objects, ray& r)
{
    return nearest_hit(tree, objects, r);
}

bool visit(const search_tree& tree, scene_object* const* objects, ray& r, hit_visitor visit, void* context)
{
    return all_hits(tree, objects, r, visit, context);
}

} // namespace zr::avx2_walk

#else

namespace zr::avx2_walk
{

bool nearest(const search_tree& tree, scene_object* const* objects, ray& r)
{
    return portable_walk::nearest(tree, objects, r);
}

bool visit(const search_tree& tree, scene_object* const* objects, ray& r, hit_visitor visit, void* context)
{
    return portable_walk::visit(tree, objects, r, visit, context);
}

} // namespace zr::avx2_walk

#endif
