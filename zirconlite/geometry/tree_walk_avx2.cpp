// The walk down a search tree with 256-bit vectors: eight boxes in f32 and four triangles in f64 at once. The
// triangles' test makes the operations of the portable one in the same order, without fused multiply-add.
#include "zirconlite/geometry/tree_walk.hpp"

#if defined(__x86_64__)
#include <immintrin.h>

#include "zirconlite/geometry/tree_box_margin.hpp"
#include "zirconlite/geometry/vector.hpp"

namespace zr::avx2_walk
{

namespace
{

#define ZR_TARGET __attribute__((target("avx2")))

struct wide_ray
{
    __m256 near_origin[3], far_origin[3], near_inverse[3], far_inverse[3], t_min_box;
    size_t near_row[3], far_row[3]; ///< of the planes of each axis in a node's bounds
    __m256d origin[3], direction[3], t_min;
};

ZR_TARGET inline wide_ray widen(const ray& r)
{
    const double origin[3] = { r.origin.x, r.origin.y, r.origin.z };
    const double direction[3] = { r.direction.x, r.direction.y, r.direction.z };
    const double inverse[3] = { r.inv_direction.x, r.inv_direction.y, r.inv_direction.z };
    wide_ray w;
    for (int axis = 0; axis < 3; ++axis)
    {
        const box_axis a = make_box_axis(origin[axis], inverse[axis]);
        w.near_origin[axis] = _mm256_set1_ps(a.near_origin);
        w.far_origin[axis] = _mm256_set1_ps(a.far_origin);
        w.near_inverse[axis] = _mm256_set1_ps(a.near_inverse);
        w.far_inverse[axis] = _mm256_set1_ps(a.far_inverse);
        w.near_row[axis] = size_t(a.backward ? 3 + axis : axis) * tree_width;
        w.far_row[axis] = size_t(a.backward ? axis : 3 + axis) * tree_width;
        w.origin[axis] = _mm256_set1_pd(origin[axis]);
        w.direction[axis] = _mm256_set1_pd(direction[axis]);
    }
    w.t_min_box = _mm256_set1_ps(lower_t_min(r.t_min));
    w.t_min = _mm256_set1_pd(r.t_min);
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
        enter = _mm256_max_ps(
            enter, _mm256_mul_ps(_mm256_sub_ps(low, w.near_origin[axis]), w.near_inverse[axis]));
        leave = _mm256_min_ps(
            leave, _mm256_mul_ps(_mm256_sub_ps(high, w.far_origin[axis]), w.far_inverse[axis]));
    }
    _mm256_storeu_ps(near, enter);
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(enter, leave, _CMP_LE_OQ)));
}

ZR_TARGET inline __m256d load(const float* four) { return _mm256_cvtps_pd(_mm_loadu_ps(four)); }

ZR_TARGET inline __m256d lane_mask(const int32_t* four)
{
    return _mm256_castsi256_pd(
        _mm256_cvtepi32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i*>(four))));
}

ZR_TARGET inline __m256d along(const __m256d n[3], const __m256d v[3])
{
    return _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(n[0], v[0]), _mm256_mul_pd(n[1], v[1])),
        _mm256_mul_pd(n[2], v[2]));
}

/// Value of an edge function, and in `in` whether it lies within its limits.
ZR_TARGET inline __m256d edge_value(
    const float edge[2][block_width], const float vertex[2][block_width], __m256d pa, __m256d pb, __m256d& in)
{
    const __m256d s = _mm256_add_pd(_mm256_mul_pd(load(edge[0]), _mm256_sub_pd(pa, load(vertex[0]))),
        _mm256_mul_pd(load(edge[1]), _mm256_sub_pd(pb, load(vertex[1]))));
    in = _mm256_and_pd(in, _mm256_cmp_pd(s, _mm256_set1_pd(-1e-6), _CMP_GE_OQ));
    in = _mm256_and_pd(in, _mm256_cmp_pd(s, _mm256_set1_pd(1.0 + 1e-6), _CMP_LE_OQ));
    return s;
}

ZR_TARGET inline __m256d weight(__m256d s)
{
    const __m256d one = _mm256_set1_pd(1.0);
    return _mm256_sub_pd(one, _mm256_min_pd(_mm256_max_pd(s, _mm256_setzero_pd()), one));
}

ZR_TARGET inline unsigned hit_block(
    const triangle_block& b, const wide_ray& w, double t_high, double* t_out, double* w1_out, double* w2_out)
{
    const __m256d n[3] = { load(b.normal[0]), load(b.normal[1]), load(b.normal[2]) };
    const __m256d sign = _mm256_set1_pd(-0.0);
    const __m256d den = along(n, w.direction);
    const __m256d num = _mm256_xor_pd(_mm256_add_pd(along(n, w.origin), load(b.plane_d)), sign);
    const __m256d t = _mm256_div_pd(num, den);
    __m256d in = _mm256_cmp_pd(_mm256_andnot_pd(sign, den), _mm256_set1_pd(geometry_zero), _CMP_GE_OQ);
    in = _mm256_and_pd(in, _mm256_cmp_pd(t, w.t_min, _CMP_GE_OQ));
    in = _mm256_and_pd(in, _mm256_cmp_pd(t, _mm256_set1_pd(t_high), _CMP_LE_OQ));
    if (!_mm256_movemask_pd(in)) { return 0; }

    const __m256d px = _mm256_add_pd(w.origin[0], _mm256_mul_pd(t, w.direction[0]));
    const __m256d py = _mm256_add_pd(w.origin[1], _mm256_mul_pd(t, w.direction[1]));
    const __m256d pz = _mm256_add_pd(w.origin[2], _mm256_mul_pd(t, w.direction[2]));
    const __m256d pa = _mm256_blendv_pd(px, py, lane_mask(b.first_is_y));
    const __m256d pb = _mm256_blendv_pd(py, pz, lane_mask(b.second_is_z));
    const __m256d w2 = weight(edge_value(b.edge_a, b.vertex_2, pa, pb, in));
    const __m256d w1 = weight(edge_value(b.edge_b, b.vertex_1, pa, pb, in));
    in = _mm256_and_pd(in, _mm256_cmp_pd(_mm256_add_pd(w1, w2), _mm256_set1_pd(1.0 + 2e-6), _CMP_LE_OQ));
    const auto hits = static_cast<unsigned>(_mm256_movemask_pd(in));
    if (hits)
    {
        _mm256_storeu_pd(t_out, t);
        _mm256_storeu_pd(w1_out, w1);
        _mm256_storeu_pd(w2_out, w2);
    }
    return hits;
}

#include "zirconlite/geometry/tree_walk_body.hpp"

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
