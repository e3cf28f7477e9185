/// @file
/// The ray test of four triangles at once in f64, for whoever has their coefficients in lanes. The operations
/// are those of one face's test in the same order, without fused multiply-add, so results are equal to the
/// last bit. For files that run only where the processor has AVX2.
#pragma once

#include <immintrin.h>

#include "zirconlite/meshes/face_hit.hpp"

#define ZR_AVX2 __attribute__((target("avx2")))

namespace zr::lanes
{

/// A ray in four lanes.
struct lane_ray
{
    __m256d origin[3], direction[3], t_low;
};

ZR_AVX2 inline lane_ray broadcast(const vector3& origin, const vector3& direction, double t_low)
{
    return { { _mm256_set1_pd(origin.x), _mm256_set1_pd(origin.y), _mm256_set1_pd(origin.z) },
        { _mm256_set1_pd(direction.x), _mm256_set1_pd(direction.y), _mm256_set1_pd(direction.z) },
        _mm256_set1_pd(t_low) };
}

ZR_AVX2 inline __m256d along(const __m256d n[3], const __m256d v[3])
{
    return _mm256_add_pd(
        _mm256_add_pd(_mm256_mul_pd(n[0], v[0]), _mm256_mul_pd(n[1], v[1])), _mm256_mul_pd(n[2], v[2]));
}

/// Distances of the planes with normals `n` and offsets `d`; all bits set in the lanes of `in` that count.
ZR_AVX2 inline __m256d plane_distance(
    const __m256d n[3], __m256d d, const lane_ray& q, double t_high, __m256d& in)
{
    const __m256d sign = _mm256_set1_pd(-0.0);
    const __m256d den = along(n, q.direction);
    const __m256d num = _mm256_xor_pd(_mm256_add_pd(along(n, q.origin), d), sign);
    const __m256d t = _mm256_div_pd(num, den);
    in = _mm256_cmp_pd(_mm256_andnot_pd(sign, den), _mm256_set1_pd(geometry_zero), _CMP_GE_OQ);
    in = _mm256_and_pd(in, _mm256_cmp_pd(t, q.t_low, _CMP_GE_OQ));
    in = _mm256_and_pd(in, _mm256_cmp_pd(t, _mm256_set1_pd(t_high), _CMP_LE_OQ));
    return t;
}

/// Coefficients of the inside test, by lane: edge functions and vertices on the two projection axes.
struct lane_edges
{
    __m256d edge_a[2], edge_b[2], vertex_1[2], vertex_2[2];
    __m256d first_is_y, second_is_z; ///< lane masks of the projection axes
};

/// Weight of an edge function's apex, with the lanes outside its limits taken from `in`.
ZR_AVX2 inline __m256d edge_weight(
    const __m256d edge[2], const __m256d vertex[2], __m256d pa, __m256d pb, __m256d& in)
{
    const __m256d one = _mm256_set1_pd(1.0);
    const __m256d s = _mm256_add_pd(_mm256_mul_pd(edge[0], _mm256_sub_pd(pa, vertex[0])),
        _mm256_mul_pd(edge[1], _mm256_sub_pd(pb, vertex[1])));
    in = _mm256_and_pd(in, _mm256_cmp_pd(s, _mm256_set1_pd(-edge_tolerance), _CMP_GE_OQ));
    in = _mm256_and_pd(in, _mm256_cmp_pd(s, _mm256_set1_pd(1.0 + edge_tolerance), _CMP_LE_OQ));
    return _mm256_sub_pd(one, _mm256_min_pd(_mm256_max_pd(s, _mm256_setzero_pd()), one));
}

/// Bit i of the result: the point at t[i] lies in triangle i. The weights of vertices 1 and 2.
ZR_AVX2 inline unsigned inside(
    const lane_edges& e, const lane_ray& q, __m256d t, __m256d in, __m256d& w1, __m256d& w2)
{
    __m256d p[3];
    for (int axis = 0; axis < 3; ++axis)
    {
        p[axis] = _mm256_add_pd(q.origin[axis], _mm256_mul_pd(t, q.direction[axis]));
    }
    const __m256d pa = _mm256_blendv_pd(p[0], p[1], e.first_is_y);
    const __m256d pb = _mm256_blendv_pd(p[1], p[2], e.second_is_z);
    w2 = edge_weight(e.edge_a, e.vertex_2, pa, pb, in);
    w1 = edge_weight(e.edge_b, e.vertex_1, pa, pb, in);
    const __m256d most = _mm256_set1_pd(1.0 + 2.0 * edge_tolerance);
    in = _mm256_and_pd(in, _mm256_cmp_pd(_mm256_add_pd(w1, w2), most, _CMP_LE_OQ));
    return unsigned(_mm256_movemask_pd(in));
}

} // namespace zr::lanes
