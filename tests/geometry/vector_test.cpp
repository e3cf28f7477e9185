#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "zirconlite/geometry/vector.hpp"

namespace
{

using namespace zr;

struct random_numbers
{
    std::mt19937 engine{ 7 };
    double operator()(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(engine);
    }
    vector3 unit()
    {
        for (;;)
        {
            const vector3 v = { (*this)(-1, 1), (*this)(-1, 1), (*this)(-1, 1) };
            if (dot(v, v) <= 1.0 && dot(v, v) > 0.01) { return normalized(v); }
        }
    }
};

double max_difference(const vector3& a, const vector3& b)
{
    return std::fmax(std::fabs(a.x - b.x), std::fmax(std::fabs(a.y - b.y), std::fabs(a.z - b.z)));
}

/// The 4 by 4 determinant by expansion of its first two rows, which the elimination does not use.
double determinant(const matrix4& a)
{
    const auto& m = a.m;
    const auto pair = [&](int row, int i, int j)
    { return m[row][i] * m[row + 1][j] - m[row][j] * m[row + 1][i]; };
    return pair(0, 0, 1) * pair(2, 2, 3) - pair(0, 0, 2) * pair(2, 1, 3) + pair(0, 0, 3) * pair(2, 1, 2) +
           pair(0, 1, 2) * pair(2, 0, 3) - pair(0, 1, 3) * pair(2, 0, 2) + pair(0, 2, 3) * pair(2, 0, 1);
}

} // namespace

TEST(Matrix, InverseTimesSourceIsTheIdentity)
{
    random_numbers random;
    for (int n = 0; n < 2000; ++n)
    {
        matrix4 m, inverse;
        // Zeros force swaps of rows and columns.
        for (auto& row : m.m)
        {
            for (double& e : row) { e = random(0, 1) < 0.4 ? 0.0 : random(-3, 3); }
        }
        double reciprocal, pivot;
        const int32_t pivots = InvertMatrix(&m, &inverse, &reciprocal, &pivot);
        const double d = determinant(m);
        if (std::fabs(d) < 1e-3)
        {
            if (d == 0.0 && pivots < 4) { EXPECT_EQ(reciprocal, 0.0); }
            continue;
        }
        ASSERT_EQ(pivots, 4);
        EXPECT_NEAR(reciprocal * d, 1.0, 1e-9);
        EXPECT_GT(pivot, 0.0);
        for (int i = 0; i < 4; ++i)
        {
            for (int j = 0; j < 4; ++j)
            {
                double sum = 0.0;
                for (int k = 0; k < 4; ++k) { sum += inverse.m[i][k] * m.m[k][j]; }
                ASSERT_NEAR(sum, i == j ? 1.0 : 0.0, 1e-8) << "matrix " << n;
            }
        }
    }
}

TEST(Matrix, ASingularOneReportsItsRank)
{
    const matrix4 flat = { { { 1, 2, 3, 4 }, { 2, 4, 6, 8 }, { 0, 0, 1, 0 }, { 0, 0, 0, 1 } } };
    const matrix4 null = {};
    matrix4 out;
    double reciprocal = 5, pivot = 5;
    EXPECT_EQ(InvertMatrix(&flat, &out, &reciprocal, &pivot), 3);
    EXPECT_EQ(reciprocal, 0.0);
    EXPECT_EQ(pivot, 0.0);
    EXPECT_EQ(InvertMatrix(&null, &out, &reciprocal, &pivot), 0);
}

TEST(Frame, IsOrthonormalAndTakesItsAxisToZ)
{
    random_numbers random;
    for (int n = 0; n < 500; ++n)
    {
        vector3 axis = random.unit();
        if (n == 0) { axis = { 0, 0, 1 }; }
        if (n == 1) { axis = { 0, 0, -1 }; }
        if (n == 2) { axis = normalized({ 0.9e-5, -0.9e-5, 1 }); }
        const vector3 origin = { random(-9, 9), random(-9, 9), random(-9, 9) };
        const double angle = random(-4, 4);
        matrix4 m;
        zr_build_matrix(&axis, &origin, angle, &m);
        EXPECT_LT(max_difference(transform_point(m, origin), { 0, 0, 0 }), 1e-12);
        EXPECT_LT(max_difference(transform_vector(m, axis), { 0, 0, 1 }), 2e-5);
        EXPECT_FALSE(zr_transform_reverses_normals(&m));
        // Turned by the angle about the axis beforehand, u is read off along x.
        vector3 u, v;
        zr_make_axes(&axis, &u, &v, 1e-5);
        EXPECT_NEAR(dot(u, axis), 0.0, 2e-5);
        EXPECT_NEAR(length(u), 1.0, 1e-12);
        EXPECT_LT(max_difference(transform_vector(m, rotated(u, axis, -angle)), { 1, 0, 0 }), 3e-5);

        matrix4 given;
        zr_build_matrix_ex(&axis, &u, &origin, angle, &given);
        const vector3 p = random.unit();
        EXPECT_LT(max_difference(transform_point(given, p), transform_point(m, p)), 1e-12);
        zr_build_rt_matrix(&axis, angle, &given);
        EXPECT_LT(max_difference(transform_point(given, p - origin), transform_point(m, p)), 1e-12);
    }
    vector3 u, v;
    const vector3 up = { 0, 0, 1 };
    zr_make_axes(&up, &u, &v, 1e-5);
    EXPECT_EQ(max_difference(u, { 1, 0, 0 }), 0.0);
    EXPECT_EQ(max_difference(v, { 0, 1, 0 }), 0.0);
}

TEST(Transform, SplitsIntoRotationAndScale)
{
    const vector3 axis = normalized({ 1, 2, -2 });
    matrix4 m = {};
    m.m[3][3] = 1;
    fill_rotation_matrix(&axis, 0.7, &m);
    const double size[3] = { 2, 3, 5 };
    for (auto& row : m.m)
    {
        for (int j = 0; j < 3; ++j) { row[j] *= size[j]; }
    }
    double inverse[3];
    zr_transform_get_inverse_scale(&m, inverse);
    for (int i = 0; i < 3; ++i) { EXPECT_NEAR(inverse[i], 1.0 / size[i], 1e-12); }
    EXPECT_FALSE(zr_transform_reverses_normals(&m));
    for (auto& row : m.m) { row[1] *= -1.0; }
    EXPECT_TRUE(zr_transform_reverses_normals(&m));
    for (auto& row : m.m) { row[2] = 0.0; }
    zr_transform_get_inverse_scale(&m, inverse);
    EXPECT_EQ(inverse[2], 0.0);

    const matrix4 given = { { { 1, 0, 0, 7 }, { 2, 3, 0, 8 }, { 2, 4, 6, 9 }, { 1, 2, 3, 4 } } };
    const double columns[4] = { 3, 5, 6, 1 }; // their lengths
    matrix4 r = given, t;
    zr_transform_make_r_and_t(&r, &r, &t, 4.0);
    for (int i = 0; i < 4; ++i)
    {
        for (int j = 0; j < 4; ++j)
        {
            EXPECT_NEAR(r.m[i][j], given.m[i][j] / columns[i], 1e-12);
            EXPECT_NEAR(t.m[i][j], given.m[i][j] / columns[i] * (i < 3 ? 4.0 : 1.0), 1e-12);
        }
    }
}

TEST(Box, SidesCloseTheBoxAndLookOutwards)
{
    const bounding_box box = { { -1, 2, 3 }, { 4, 6, 5 } };
    vector3 sides[6][4];
    zr_get_bounding_box_sides(&box, sides);
    const vector3 centre = (box.min + box.max) * 0.5;
    double area = 0.0;
    for (const auto& s : sides)
    {
        const vector3 n = cross(s[1] - s[0], s[2] - s[0]);
        EXPECT_NEAR(dot(n, s[3] - s[0]), 0.0, 1e-12);
        EXPECT_GT(dot(n, s[0] - centre), 0.0);
        area += length(n);
    }
    EXPECT_NEAR(area, 2.0 * (5 * 4 + 4 * 2 + 2 * 5), 1e-9);
    vector3 points[8];
    zr_get_bounding_box_points(&box, points);
    for (int i = 0; i < 8; ++i) // round the floor, then round the ceiling
    {
        const vector3 wanted = { i % 4 == 1 || i % 4 == 2 ? 4.0 : -1.0, i % 4 >= 2 ? 6.0 : 2.0,
            i < 4 ? 3.0 : 5.0 };
        EXPECT_EQ(max_difference(points[i], wanted), 0.0) << i;
    }
}

TEST(Packing, KeepsItsLimits)
{
    struct
    {
        float in;
        uint16_t packed;
    } const cases[] = { { 0.0f, 1 }, { 1.0f, 65535 }, { -0.0001f, 0 }, { 1.0001f, 0 }, { NAN, 0 },
        { 0.5f, 32768 } };
    for (const auto& c : cases)
    {
        const float pair[2] = { c.in, 0.25f };
        packed_uv packed;
        float back[2];
        zr_prim_float_to_uv(pair, &packed);
        EXPECT_EQ(packed.u, c.packed) << c.in;
        EXPECT_EQ(zr_prim_uv_to_float(packed, back), c.packed != 0);
        EXPECT_NEAR(back[0], c.packed ? c.in : -1.0f, 2e-5);
    }
    EXPECT_EQ(pack_normal({ 1, 0, 0 }), 511u << 20);
    EXPECT_EQ(pack_normal({ 0, -1, 0 }), 1023u << 10);
    EXPECT_EQ(pack_normal({ 1 + 1e-9, -7, 0 }) >> 30, 0u) << "too long a vector stays within its fields";
    random_numbers random;
    for (int n = 0; n < 500; ++n)
    {
        const vector3 v = random.unit();
        EXPECT_LT(max_difference(unpack_normal(pack_normal(v)), v), 1.0 / 511);
    }
}

TEST(PolygonArea, HasTheSignOfItsNormal)
{
    random_numbers random;
    for (int corners = 3; corners <= 9; ++corners)
    {
        std::vector<float> ring;
        const vector3 n = random.unit();
        vector3 u, v;
        zr_make_axes(&n, &u, &v, 1e-5);
        for (int i = 0; i < corners; ++i)
        {
            const double a = 2.0 * M_PI * i / corners;
            const vector3 p = vector3{ 7, 1, 3 } + u * (2 * std::cos(a)) + v * (2 * std::sin(a));
            ring.insert(ring.end(), { float(p.x), float(p.y), float(p.z) });
        }
        const auto* vertices = reinterpret_cast<const float(*)[3]>(ring.data());
        const float up[3] = { float(n.x), float(n.y), float(n.z) }, down[3] = { -up[0], -up[1], -up[2] };
        const double area = 2.0 * corners * std::sin(2.0 * M_PI / corners);
        EXPECT_NEAR(signed_polygon_area(vertices, corners, up), area, 1e-5);
        EXPECT_NEAR(signed_polygon_area(vertices, corners, down), -area, 1e-5);
    }
    EXPECT_EQ(signed_polygon_area(nullptr, 2, nullptr), 0.0);
}

TEST(Normalize, OfTwoElementsCannotOverflow)
{
    double v[2] = { 3e200, -4e200 };
    normalize_2d(v);
    EXPECT_DOUBLE_EQ(v[0], 0.6);
    EXPECT_DOUBLE_EQ(v[1], -0.8);
    double null[2] = { 0, 0 };
    normalize_2d(null);
    EXPECT_EQ(null[0], 0.0);
}
