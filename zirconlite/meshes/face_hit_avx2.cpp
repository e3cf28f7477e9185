#include "zirconlite/meshes/face_hit.hpp"

#include "zirconlite/meshes/y_mesh.hpp"

#if defined(__x86_64__)
#include "zirconlite/search/triangle_lanes_avx2.hpp"

namespace zr
{

namespace
{

/// Fills a lane whose object is of another kind.
const y_vertex no_vertex = {};
const y_face no_face = { {}, nullptr, {}, 0, 0, 0, 0, 0,
    { const_cast<y_vertex*>(&no_vertex), const_cast<y_vertex*>(&no_vertex),
        const_cast<y_vertex*>(&no_vertex) },
    0, 0 };

/// Rows of four floats, one from each face, turned round: lane by lane in f64.
struct turned
{
    __m256d row[4];
};

/// The faces of a batch that the ray hits; their distances and weights.
struct batch_hits
{
    double t[4], w1[4], w2[4];
};

void prefetch_face(const scene_object* object);
ZR_AVX2 inline unsigned hit_faces(
    const y_face* const f[4], unsigned used, const lanes::lane_ray& q, double t_high, batch_hits& hits);
ZR_AVX2 inline lanes::lane_edges edges_of(const y_face* const f[4]);
ZR_AVX2 inline __m256d mask_of(__m128i equal);
ZR_AVX2 inline void projected(
    const y_face* const f[4], int vertex, const lanes::lane_edges& e, __m256d out[2]);
ZR_AVX2 inline turned turn(const float* a, const float* b, const float* c, const float* d);

} // namespace

ZR_AVX2 int32_t intersect_faces_avx2(
    ray* r, scene_object* const* table, const uint32_t* numbers, size_t count, double t_low, double t_high)
{
    const tested_ray range = test_range(*r, t_low, t_high);
    const lanes::lane_ray q = lanes::broadcast(r->origin, r->direction, range.t_low);
    int32_t improved = 0;
    for (size_t i = 0; i < count; i += 4)
    {
        for (size_t k = i + 4; k < i + 8 && k < count; ++k) { prefetch_face(table[numbers[k]]); }
        // The last lanes may repeat the first.
        const size_t left = count - i;
        scene_object* const o[4] = { table[numbers[i]], table[numbers[left > 1 ? i + 1 : i]],
            table[numbers[left > 2 ? i + 2 : i]], table[numbers[left > 3 ? i + 3 : i]] };
        unsigned used = left > 3 ? 0xfu : (1u << left) - 1;
        const y_face* f[4];
        for (unsigned k = 0; k < 4; ++k)
        {
            f[k] = as_face(o[k]);
            if (o[k]->vft == &y_mesh_vft) { continue; }
            if (used & 1u << k) { improved |= o[k]->vft->intersect(r, o[k], t_low, t_high); }
            used &= ~(1u << k);
            f[k] = &no_face;
        }
        batch_hits hits;
        const double high = range.t_high < r->hit_t ? range.t_high : r->hit_t;
        for (unsigned in = hit_faces(f, used, q, high, hits); in; in &= in - 1)
        {
            const int k = __builtin_ctz(in);
            if (hits.t[k] > r->hit_t || loses_tie(*r, o[k], hits.t[k])) { continue; }
            store_hit(*r, o[k], { hits.t[k], hits.w1[k], hits.w2[k] });
            improved = 1;
        }
    }
    return improved;
}

} // namespace zr

#else

namespace zr
{

int32_t intersect_faces_avx2(ray*, scene_object* const*, const uint32_t*, size_t, double, double)
{
    return 0;
}

} // namespace zr

#endif

namespace zr
{

namespace
{

void prefetch_face(const scene_object* object)
{
    const auto* bytes = reinterpret_cast<const char*>(object);
    __builtin_prefetch(bytes);
    __builtin_prefetch(bytes + 64);
}

ZR_AVX2 inline unsigned hit_faces(
    const y_face* const f[4], unsigned used, const lanes::lane_ray& q, double t_high, batch_hits& hits)
{
    static_assert(offsetof(y_face, plane_d) == offsetof(y_face, normal) + 3 * sizeof(float));
    const turned planes = turn(f[0]->normal, f[1]->normal, f[2]->normal, f[3]->normal);
    __m256d in;
    const __m256d t = lanes::plane_distance(planes.row, planes.row[3], q, t_high, in);
    if (!(unsigned(_mm256_movemask_pd(in)) & used)) { return 0; }
    __m256d w1, w2;
    const unsigned inside = lanes::inside(edges_of(f), q, t, in, w1, w2) & used;
    if (!inside) { return 0; }
    _mm256_storeu_pd(hits.t, t);
    _mm256_storeu_pd(hits.w1, w1);
    _mm256_storeu_pd(hits.w2, w2);
    return inside;
}

ZR_AVX2 inline lanes::lane_edges edges_of(const y_face* const f[4])
{
    static_assert(offsetof(y_face, edge_b_second) == offsetof(y_face, edge_a_first) + 3 * sizeof(float));
    lanes::lane_edges e;
    const __m128i axes = _mm_set_epi32(int(f[3]->head.kind_word), int(f[2]->head.kind_word),
        int(f[1]->head.kind_word), int(f[0]->head.kind_word));
    e.first_is_y = mask_of(_mm_cmpeq_epi32(_mm_srli_epi32(axes, 28), _mm_set1_epi32(1)));
    e.second_is_z = mask_of(
        _mm_cmpeq_epi32(_mm_and_si128(_mm_srli_epi32(axes, 24), _mm_set1_epi32(0xf)), _mm_set1_epi32(2)));
    // In the face's order: a first, b first, a second, b second.
    const turned edges =
        turn(&f[0]->edge_a_first, &f[1]->edge_a_first, &f[2]->edge_a_first, &f[3]->edge_a_first);
    e.edge_a[0] = edges.row[0];
    e.edge_b[0] = edges.row[1];
    e.edge_a[1] = edges.row[2];
    e.edge_b[1] = edges.row[3];
    projected(f, 1, e, e.vertex_1);
    projected(f, 2, e, e.vertex_2);
    return e;
}

ZR_AVX2 inline __m256d mask_of(__m128i equal) { return _mm256_castsi256_pd(_mm256_cvtepi32_epi64(equal)); }

/// The two projected coordinates of one vertex of each face.
ZR_AVX2 inline void projected(
    const y_face* const f[4], int vertex, const lanes::lane_edges& e, __m256d out[2])
{
    const turned p = turn(f[0]->vertex[vertex]->position, f[1]->vertex[vertex]->position,
        f[2]->vertex[vertex]->position, f[3]->vertex[vertex]->position);
    out[0] = _mm256_blendv_pd(p.row[0], p.row[1], e.first_is_y);
    out[1] = _mm256_blendv_pd(p.row[1], p.row[2], e.second_is_z);
}

ZR_AVX2 inline turned turn(const float* a, const float* b, const float* c, const float* d)
{
    __m128 x = _mm_loadu_ps(a), y = _mm_loadu_ps(b), z = _mm_loadu_ps(c), w = _mm_loadu_ps(d);
    _MM_TRANSPOSE4_PS(x, y, z, w);
    return { { _mm256_cvtps_pd(x), _mm256_cvtps_pd(y), _mm256_cvtps_pd(z), _mm256_cvtps_pd(w) } };
}

} // namespace

} // namespace zr
