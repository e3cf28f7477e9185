#include "zirconlite/geometry/face_test.hpp"

#include "zirconlite/geometry/y_mesh.hpp"

#if defined(__x86_64__)
#include <immintrin.h>

#define ZR_AVX2 __attribute__((target("avx2")))

namespace zr
{

namespace
{

/// Stands in a lane that holds an object of another kind.
const y_face no_face = {};

/// The ray in four lanes.
struct wide_ray
{
    __m256d direction[3], origin[3], t_low;
};

ZR_AVX2 wide_ray widen(const tested_ray& q)
{
    return { { _mm256_set1_pd(q.direction.x), _mm256_set1_pd(q.direction.y), _mm256_set1_pd(q.direction.z) },
        { _mm256_set1_pd(q.origin.x), _mm256_set1_pd(q.origin.y), _mm256_set1_pd(q.origin.z) },
        _mm256_set1_pd(q.t_low) };
}

ZR_AVX2 inline __m256d along(const __m256d n[3], const __m256d v[3])
{
    return _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(n[0], v[0]), _mm256_mul_pd(n[1], v[1])),
        _mm256_mul_pd(n[2], v[2]));
}

void prefetch_face(const scene_object* object)
{
    const auto* bytes = reinterpret_cast<const char*>(object);
    __builtin_prefetch(bytes);
    __builtin_prefetch(bytes + 64);
}

/// hit_plane of four faces: bit i of the result is face i, t[i] its distance.
ZR_AVX2 inline unsigned hit_planes(const y_face* a, const y_face* b, const y_face* c, const y_face* d,
    const wide_ray& q, double t_high, double t[4])
{
    static_assert(offsetof(y_face, plane_d) == offsetof(y_face, normal) + 3 * sizeof(float));
    // Each face gives its normal and plane_d in one load; turned round they are four faces' x, y, z and d.
    __m128 x = _mm_loadu_ps(a->normal), y = _mm_loadu_ps(b->normal);
    __m128 z = _mm_loadu_ps(c->normal), w = _mm_loadu_ps(d->normal);
    _MM_TRANSPOSE4_PS(x, y, z, w);
    const __m256d n[3] = { _mm256_cvtps_pd(x), _mm256_cvtps_pd(y), _mm256_cvtps_pd(z) };
    const __m256d sign = _mm256_set1_pd(-0.0);
    const __m256d den = along(n, q.direction);
    const __m256d num = _mm256_xor_pd(_mm256_add_pd(along(n, q.origin), _mm256_cvtps_pd(w)), sign);
    const __m256d distance = _mm256_div_pd(num, den);
    __m256d in = _mm256_cmp_pd(_mm256_andnot_pd(sign, den), _mm256_set1_pd(geometry_zero), _CMP_GE_OQ);
    in = _mm256_and_pd(in, _mm256_cmp_pd(distance, q.t_low, _CMP_GE_OQ));
    in = _mm256_and_pd(in, _mm256_cmp_pd(distance, _mm256_set1_pd(t_high), _CMP_LE_OQ));
    _mm256_storeu_pd(t, distance);
    return static_cast<unsigned>(_mm256_movemask_pd(in));
}

} // namespace

ZR_AVX2 int32_t intersect_faces_avx2(ray* r, scene_object* const* table, const uint32_t* numbers,
    size_t count, double t_low, double t_high)
{
    const tested_ray q = test_range(*r, t_low, t_high);
    const wide_ray wide = widen(q);
    int32_t improved = 0;
    for (size_t i = 0; i < count; i += 4)
    {
        for (size_t k = i + 4; k < i + 8 && k < count; ++k) { prefetch_face(table[numbers[k]]); }
        // The last faces may repeat the first of their four.
        const size_t left = count - i;
        scene_object* o[4] = { table[numbers[i]], table[numbers[left > 1 ? i + 1 : i]],
            table[numbers[left > 2 ? i + 2 : i]], table[numbers[left > 3 ? i + 3 : i]] };
        unsigned faces = left > 3 ? 0xfu : (1u << left) - 1;
        for (unsigned k = 0; k < 4; ++k)
        {
            if (o[k]->vft == &y_mesh_vft) { continue; }
            if (faces & 1u << k) { improved |= o[k]->vft->intersect(r, o[k], t_low, t_high); }
            faces &= ~(1u << k);
            o[k] = const_cast<scene_object*>(&no_face.head);
        }
        double t[4];
        const double high = q.t_high < r->hit_t ? q.t_high : r->hit_t;
        for (unsigned in = faces & hit_planes(as_face(o[0]), as_face(o[1]), as_face(o[2]), as_face(o[3]), wide, high, t);
             in; in &= in - 1)
        {
            const int k = __builtin_ctz(in);
            if (t[k] <= r->hit_t) { improved |= take_hit(*r, o[k], q, t[k]); }
        }
    }
    return improved;
}

} // namespace zr

#else

namespace zr
{

int32_t intersect_faces_avx2(ray*, scene_object* const*, const uint32_t*, size_t, double, double) { return 0; }

} // namespace zr

#endif
