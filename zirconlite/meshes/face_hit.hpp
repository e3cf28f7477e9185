/// @file
/// The ray test of a mesh face, step by step, for one face and for four at once. The steps of both make the
/// same operations in the same order on the stored coefficients, so their results are equal to the last bit.
#pragma once

#include <cmath>

#include "zirconlite/geometry/ray.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/meshes/y_mesh.h"

namespace zr
{

inline constexpr double edge_tolerance = 1e-6;

/// What the test reads of a ray, kept where a loop over many faces finds it fast.
struct tested_ray
{
    vector3 origin, direction;
    double t_low, t_high; ///< the range asked for, within the ray's own limits
};

inline tested_ray test_range(const ray& r, double t_low, double t_high)
{
    return { r.origin, r.direction, t_low > r.t_min ? t_low : r.t_min, t_high < r.t_max ? t_high : r.t_max };
}

/// A hit of a face, as the barycentric weights of vertices 1 and 2.
struct face_hit
{
    double t, w1, w2;
};

/// Where the ray meets the face's plane. False when it runs along the plane or meets it out of range.
inline bool hit_plane(const y_face& face, const tested_ray& q, double hit_t, double& t)
{
    const vector3 n = { face.normal[0], face.normal[1], face.normal[2] };
    const double den = dot(n, q.direction);
    if (std::fabs(den) < geometry_zero) { return false; }
    t = -(dot(n, q.origin) + face.plane_d) / den;
    return t >= q.t_low && t <= q.t_high && t <= hit_t;
}

/// Whether the point at distance `t` lies in the face; its weights.
inline bool hit_inside(const y_face& face, const tested_ray& q, double t, face_hit& hit)
{
    const uint32_t a = face.head.kind_word >> 28, b = face.head.kind_word >> 24 & 0xf;
    const double pa = (&q.origin.x)[a] + t * (&q.direction.x)[a];
    const double pb = (&q.origin.x)[b] + t * (&q.direction.x)[b];
    const float* v2 = face.vertex[2]->position;
    double s = face.edge_a_first * (pa - v2[a]) + face.edge_a_second * (pb - v2[b]);
    if (!(s >= -edge_tolerance && s <= 1.0 + edge_tolerance)) { return false; }
    const double w2 = 1.0 - (s < 0.0 ? 0.0 : s > 1.0 ? 1.0 : s);

    const float* v1 = face.vertex[1]->position;
    s = face.edge_b_first * (pa - v1[a]) + face.edge_b_second * (pb - v1[b]);
    if (!(s >= -edge_tolerance && s <= 1.0 + edge_tolerance)) { return false; }
    const double w1 = 1.0 - (s < 0.0 ? 0.0 : s > 1.0 ? 1.0 : s);
    if (w1 + w2 > 1.0 + 2.0 * edge_tolerance) { return false; }
    hit = { t, w1, w2 };
    return true;
}

inline const y_face* as_face(const scene_object* object) { return reinterpret_cast<const y_face*>(object); }

inline vector3 blend_normals(const y_face& face, double w0, double w1, double w2)
{
    const float *m0 = face.vertex[0]->normal, *m1 = face.vertex[1]->normal, *m2 = face.vertex[2]->normal;
    return { w0 * m0[0] + w1 * m1[0] + w2 * m2[0], w0 * m0[1] + w1 * m1[1] + w2 * m2[1],
        w0 * m0[2] + w1 * m1[2] + w2 * m2[2] };
}

/// Of hits at one distance the object made first wins, so that a picture does not depend on the order in
/// which a search meets its objects.
inline bool loses_tie(const ray& r, const scene_object* object, double t)
{
    return t == r.hit_t && r.hit_object && r.hit_object->number < object->number;
}

inline void store_hit(ray& r, scene_object* object, const face_hit& hit)
{
    const y_face& face = *as_face(object);
    const double w = hit.w1 + hit.w2, w0 = 1.0 - (w < 1.0 ? w : 1.0);
    r.hit_t = hit.t;
    r.hit_point = r.origin + hit.t * r.direction;
    r.geometric_normal = { face.normal[0], face.normal[1], face.normal[2] };
    r.interpolated_normal = blend_normals(face, w0, hit.w1, hit.w2);
    r.hit_object = object;
    r.hit_element = 0;
    r.element_coords[0] = hit.w2;
    r.element_coords[1] = hit.w1;
    r.element_coords[2] = w0;
}

/// Takes the hit at distance `t` of the face's plane if it lies in the face and wins.
inline bool take_hit(ray& r, scene_object* object, const tested_ray& q, double t)
{
    face_hit hit;
    if (!hit_inside(*as_face(object), q, t, hit) || loses_tie(r, object, t)) { return false; }
    store_hit(r, object, hit);
    return true;
}

/// The `intersect_many` of meshes with the planes of four faces in one step; faces of other kinds go through
/// their table. Only where the processor has AVX2.
int32_t intersect_faces_avx2(
    ray* r, scene_object* const* table, const uint32_t* numbers, size_t count, double t_low, double t_high);

} // namespace zr
