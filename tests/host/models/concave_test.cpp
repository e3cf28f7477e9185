// Concave polygons: the triangles cover the polygon once, whatever its plane and direction.
#include "host/models/concave.hpp"

#include <gtest/gtest.h>

#include <cmath>

using namespace host;

namespace
{

using points = std::vector<std::array<double, 3>>;

std::array<double, 3> normal_of(
    const std::array<double, 3>& a, const std::array<double, 3>& b, const std::array<double, 3>& c)
{
    std::array<double, 3> n;
    for (size_t i = 0; i < 3; ++i)
    {
        const size_t u = (i + 1) % 3, v = (i + 2) % 3;
        n[i] = (b[u] - a[u]) * (c[v] - a[v]) - (b[v] - a[v]) * (c[u] - a[u]);
    }
    return n;
}

/// Area of the triangles, each counted whole: more than the polygon's when they overlap.
double covered(const points& p, const std::vector<uint32_t>& triangles)
{
    double area = 0;
    for (size_t t = 0; t + 2 < triangles.size(); t += 3)
    {
        const auto n = normal_of(p[triangles[t]], p[triangles[t + 1]], p[triangles[t + 2]]);
        area += std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]) / 2;
    }
    return area;
}

} // namespace

TEST(Concave, CutsWithoutOverlap)
{
    const points arrow{ { 0, 0, 0 }, { 2, 0, 0 }, { 2, 2, 0 }, { 1, 0.5, 0 } };
    points standing, turned(arrow.rbegin(), arrow.rend());
    for (const auto& p : arrow) { standing.push_back({ p[2] + 7, p[0], p[1] }); }
    // A square of 4 by 4 with a hole of 2 by 2, joined by a cut.
    const points frame{ { 0, 0, 0 }, { 4, 0, 0 }, { 4, 4, 0 }, { 0, 4, 0 }, { 0, 0, 0 }, { 1, 1, 0 },
        { 1, 3, 0 }, { 3, 3, 0 }, { 3, 1, 0 }, { 1, 1, 0 } };
    points star;
    for (int k = 0; k < 10; ++k)
    {
        const double r = k % 2 ? 0.4 : 1, a = 3.14159265358979 * k / 5;
        star.push_back({ r * std::cos(a), r * std::sin(a), 0 });
    }
    const double star_area = 10 * 0.5 * 0.4 * std::sin(3.14159265358979 / 5);
    struct
    {
        const char* what;
        points polygon;
        double area;
    } const cases[] = {
        { "arrow", arrow, 1.5 },
        { "turned", turned, 1.5 },
        { "standing", standing, 1.5 },
        { "frame", frame, 12 },
        { "star", star, star_area },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        std::vector<uint32_t> triangles;
        ASSERT_TRUE(cut_concave(c.polygon, triangles));
        EXPECT_EQ(triangles.size(), 3 * (c.polygon.size() - 2));
        EXPECT_NEAR(covered(c.polygon, triangles), c.area, 1e-9);
    }
}

TEST(Concave, EndsOnPolygonsThatCrossThemselves)
{
    points comb;
    for (int k = 0; k < 600; ++k)
    {
        comb.push_back({ double(k * 7919 % 1000), double(k * 104729 % 997), 0 });
    }
    std::vector<uint32_t> triangles;
    EXPECT_TRUE(cut_concave(comb, triangles));
    EXPECT_EQ(triangles.size(), 3 * 598u);
}
