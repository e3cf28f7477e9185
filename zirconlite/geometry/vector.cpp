#include "zirconlite/geometry/vector.hpp"

#include <string.h>
#include <utility>

#include "zirconlite/platform/random.hpp"

using namespace zr;

int32_t zr_make_axes(const vector3* axis, vector3* u_out, vector3* v_out, double tolerance)
{
    const vector3 a = *axis;
    const bool along_z = std::fabs(a.x) < tolerance && std::fabs(a.y) < tolerance;
    const vector3 u = normalized(along_z ? vector3{ a.z, 0.0, -a.x } : vector3{ -a.y, a.x, 0.0 });
    *u_out = u;
    *v_out = cross(a, u);
    return 1;
}

int32_t fill_rotation_matrix(const vector3* axis, double angle, matrix4* matrix)
{
    const double x = axis->x, y = axis->y, z = axis->z;
    const double c = std::cos(angle), s = std::sin(angle), t = 1.0 - c;
    const double rows[3][3] = {
        { x * x * t + c, x * y * t - s * z, z * x * t + s * y },
        { x * y * t + s * z, y * y * t + c, y * z * t - s * x },
        { z * x * t - s * y, y * z * t + s * x, z * z * t + c },
    };
    for (int i = 0; i < 3; ++i) { memcpy(matrix->m[i], rows[i], sizeof rows[i]); }
    return 1;
}

namespace
{

constexpr matrix4 identity = { { { 1, 0, 0, 0 }, { 0, 1, 0, 0 }, { 0, 0, 1, 0 }, { 0, 0, 0, 1 } } };

matrix4 product(const matrix4& a, const matrix4& b)
{
    matrix4 r;
    for (int i = 0; i < 4; ++i)
    {
        for (int j = 0; j < 4; ++j)
        {
            r.m[i][j] =
                a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j] + a.m[i][3] * b.m[3][j];
        }
    }
    return r;
}

/// The rows u, v, w after a turn about w: into the frame.
matrix4 frame_rows(const vector3& u, const vector3& v, const vector3& w, double angle)
{
    matrix4 basis = identity, turn = identity;
    const vector3* axes[3] = { &u, &v, &w };
    for (int i = 0; i < 3; ++i)
    {
        basis.m[i][0] = axes[i]->x;
        basis.m[i][1] = axes[i]->y;
        basis.m[i][2] = axes[i]->z;
    }
    fill_rotation_matrix(&w, angle, &turn);
    return product(basis, turn);
}

matrix4 translation(const vector3& by)
{
    matrix4 t = identity;
    t.m[0][3] = by.x;
    t.m[1][3] = by.y;
    t.m[2][3] = by.z;
    return t;
}

void swap_rows(matrix4& m, int a, int b)
{
    for (int j = 0; j < 4; ++j) { std::swap(m.m[a][j], m.m[b][j]); }
}

void swap_columns(matrix4& m, int a, int b)
{
    for (auto& row : m.m) { std::swap(row[a], row[b]); }
}

constexpr double unit_of_short = 3.051850947599719e-5; // 1 / 32767

} // namespace

int32_t zr_build_matrix(const vector3* axis, const vector3* origin, double angle, matrix4* matrix_out)
{
    vector3 u, v;
    zr_make_axes(axis, &u, &v, 1e-5);
    *matrix_out = product(frame_rows(u, v, *axis, angle), translation(-*origin));
    return 1;
}

int32_t zr_build_matrix_ex(
    const vector3* axis, const vector3* u_axis, const vector3* origin, double angle, matrix4* matrix_out)
{
    *matrix_out = product(frame_rows(*u_axis, cross(*axis, *u_axis), *axis, angle), translation(-*origin));
    return 1;
}

int32_t zr_build_rt_matrix(const vector3* axis, double angle, matrix4* matrix_out)
{
    vector3 u, v;
    zr_make_axes(axis, &u, &v, 1e-5);
    *matrix_out = frame_rows(u, v, *axis, angle);
    return 1;
}

int32_t InvertMatrix(
    const matrix4* source, matrix4* destination, double* inverse_determinant_out, double* smallest_pivot_out)
{
    matrix4 work = *source, inverse = identity;
    int column_swaps[4] = { 0, 1, 2, 3 };
    int swaps = 0, pivots = 0;
    double reciprocal_product = 1.0;
    *inverse_determinant_out = *smallest_pivot_out = 0.0;

    for (int k = 0; k < 4; ++k, ++pivots)
    {
        int row = k, column = k;
        double best = std::fabs(work.m[k][k]);
        for (int i = k; i < 4; ++i)
        {
            for (int j = k; j < 4; ++j)
            {
                if (std::fabs(work.m[i][j]) > best)
                {
                    best = std::fabs(work.m[i][j]);
                    row = i;
                    column = j;
                }
            }
        }
        if (k == 0 || best < *smallest_pivot_out) { *smallest_pivot_out = best; }
        if (row != k)
        {
            swap_rows(work, row, k);
            swap_rows(inverse, row, k);
            ++swaps;
        }
        if (column != k)
        {
            swap_columns(work, column, k);
            ++swaps;
        }
        column_swaps[k] = column;
        if (!(best > 0.0)) { break; }

        const double reciprocal = 1.0 / work.m[k][k];
        reciprocal_product *= reciprocal;
        for (int j = 0; j < 4; ++j)
        {
            work.m[k][j] *= reciprocal;
            inverse.m[k][j] *= reciprocal;
        }
        const double threshold = best * 2.220446049250313e-16;
        for (int i = 0; i < 4; ++i)
        {
            const double factor = work.m[i][k];
            if (i == k || !(std::fabs(factor) > threshold)) { continue; }
            for (int j = 0; j < 4; ++j)
            {
                work.m[i][j] -= factor * work.m[k][j];
                inverse.m[i][j] -= factor * inverse.m[k][j];
            }
        }
    }
    if (pivots == 4)
    {
        *inverse_determinant_out = swaps % 2 ? -reciprocal_product : reciprocal_product;
        for (int k = 2; k >= 0; --k)
        {
            if (column_swaps[k] != k) { swap_rows(inverse, k, column_swaps[k]); }
        }
    }
    *destination = inverse;
    return pivots;
}

int32_t zr_transform_reverses_normals(const matrix4* matrix)
{
    const vector3 origin = transform_point(*matrix, { 0, 0, 0 });
    const vector3 x = transform_point(*matrix, { 1, 0, 0 }) - origin;
    const vector3 y = transform_point(*matrix, { 0, 1, 0 }) - origin;
    const vector3 third = { matrix->m[0][2], matrix->m[1][2], matrix->m[2][2] };
    return dot(cross(x, y), third) < 0.0;
}

int32_t zr_transform_get_inverse_scale(const matrix4* matrix, double scale_out[3])
{
    for (int i = 0; i < 3; ++i)
    {
        const double l = length({ matrix->m[0][i], matrix->m[1][i], matrix->m[2][i] });
        scale_out[i] = l != 0.0 ? 1.0 / l : 0.0;
    }
    return 1;
}

int32_t zr_transform_make_r_and_t(const matrix4* matrix, matrix4* r_out, matrix4* t_out, double factor)
{
    double scale[3];
    zr_transform_get_inverse_scale(matrix, scale);
    const matrix4 m = *matrix; // both results may be `matrix` itself
    for (int i = 0; i < 4; ++i)
    {
        for (int j = 0; j < 4; ++j)
        {
            r_out->m[i][j] = i < 3 ? m.m[i][j] * scale[i] : m.m[i][j];
            t_out->m[i][j] = i < 3 ? m.m[i][j] * scale[i] * factor : m.m[i][j];
        }
    }
    return 1;
}

int32_t zr_get_bounding_box_points(const bounding_box* box, vector3 points_out[8])
{
    const vector3 &lo = box->min, &hi = box->max;
    const vector3 points[8] = { { lo.x, lo.y, lo.z }, { hi.x, lo.y, lo.z }, { hi.x, hi.y, lo.z },
        { lo.x, hi.y, lo.z }, { lo.x, lo.y, hi.z }, { hi.x, lo.y, hi.z }, { hi.x, hi.y, hi.z },
        { lo.x, hi.y, hi.z } };
    memcpy(points_out, points, sizeof points);
    return 1;
}

int32_t zr_get_bounding_box_sides(const bounding_box* box, vector3 sides_out[6][4])
{
    constexpr int corners[6][4] = { { 3, 2, 1, 0 }, { 4, 5, 6, 7 }, { 0, 1, 5, 4 }, { 1, 2, 6, 5 },
        { 2, 3, 7, 6 }, { 3, 0, 4, 7 } };
    vector3 points[8];
    zr_get_bounding_box_points(box, points);
    for (int i = 0; i < 6; ++i)
    {
        for (int j = 0; j < 4; ++j) { sides_out[i][j] = points[corners[i][j]]; }
    }
    return 1;
}

int32_t zr_prim_float_to_uv(const float uv[2], packed_uv* packed_out)
{
    const auto pack = [](float f)
    { return f >= 0.0f && f <= 1.0f ? uint16_t(double(f) * 65534.0 + 1.0) : uint16_t(0); };
    *packed_out = { pack(uv[0]), pack(uv[1]) };
    return 1;
}

int32_t zr_prim_uv_to_float(packed_uv packed, float uv_out[2])
{
    const auto unpack = [](uint16_t n) { return n ? float((n - 1) * 1.5259254738e-5) : -1.0f; };
    uv_out[0] = unpack(packed.u);
    uv_out[1] = unpack(packed.v);
    return packed.u && packed.v;
}

double signed_polygon_area(const float (*vertices)[3], int32_t count, const float normal[3])
{
    if (count < 3) { return 0.0; }
    const auto edge = [&](int to, int from)
    {
        return vector3{ double(vertices[to][0]) - vertices[from][0],
            double(vertices[to][1]) - vertices[from][1], double(vertices[to][2]) - vertices[from][2] };
    };
    const int half = (count - 1) / 2;
    const int last = count % 2 ? 0 : count - 1;
    vector3 sum = { 0, 0, 0 };
    for (int i = 1; i < half; ++i) { sum += cross(edge(2 * i, 0), edge(2 * i + 1, 2 * i - 1)); }
    sum += cross(edge(2 * half, 0), edge(last, 2 * half - 1));
    return 0.5 * (normal[0] * sum.x + normal[1] * sum.y + normal[2] * sum.z);
}

namespace zr
{

vector3 rotated(const vector3& v, const vector3& axis, double angle_rad)
{
    matrix4 turn = {};
    fill_rotation_matrix(&axis, angle_rad, &turn);
    return transform_vector(turn, v);
}

packed_normal pack_normal(const vector3& n)
{
    const auto field = [](double c)
    {
        const uint32_t magnitude = uint32_t(std::fmin(std::fabs(c), 1.0) * 511.0);
        return magnitude | (c < 0.0 ? 0x200u : 0u);
    };
    return field(n.x) << 20 | field(n.y) << 10 | field(n.z);
}

vector3 unpack_normal(packed_normal n)
{
    const auto field = [](uint32_t f)
    {
        const double magnitude = (f & 0x1ff) * 0.001956947162427;
        return f & 0x200 ? -magnitude : magnitude;
    };
    return { field(n >> 20), field(n >> 10), field(n) };
}

double random_unit() { return platform::rand15() * unit_of_short; }

} // namespace zr
