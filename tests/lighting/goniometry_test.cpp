#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/goniometry.hpp"

namespace
{

constexpr double degree = M_PI / 180.0;

/// A table of angles in degrees with rows of values.
struct table
{
    table(int32_t symmetry, std::vector<double> vertical, std::vector<double> horizontal,
        std::vector<std::vector<double>> rows)
    {
        EXPECT_TRUE(zr::make_goniometry_tables(g, int32_t(vertical.size()), int32_t(horizontal.size())));
        g.symmetry = symmetry;
        for (size_t j = 0; j < vertical.size(); ++j) { g.vertical_angles[j] = float(vertical[j] * degree); }
        for (size_t i = 0; i < horizontal.size(); ++i)
        {
            g.horizontal_angles[i] = float(horizontal[i] * degree);
            std::copy(rows[i].begin(), rows[i].end(), g.rows[i]);
        }
    }
    ~table() { zr::clear_goniometry(g); }
    table(const table&) = delete;
    table& operator=(const table&) = delete;

    double at(double azimuth, double polar) const
    {
        return zr::goniometry_value(g, azimuth * degree, polar * degree);
    }

    goniometry g = {};
};

TEST(Goniometry, FoldsAzimuthsByItsSymmetry)
{
    // Each row is even over the vertical angles, so that a value shows the azimuth that was looked up.
    const std::vector<double> sphere = { 0, 180 };
    const auto even = [](std::vector<double> values)
    {
        std::vector<std::vector<double>> rows;
        for (double v : values) { rows.push_back({ v, v }); }
        return rows;
    };
    const table full(GONIOMETRY_FULL, sphere, { 0, 90, 180, 270, 360 }, even({ 0.25, 0.5, 0.75, 1.0, 0.25 }));
    const table axial(GONIOMETRY_AXIAL, sphere, { 0 }, even({ 1 }));
    const table quadrant(GONIOMETRY_QUADRANT, sphere, { 0, 45, 90 }, even({ 0.25, 0.5, 1.0 }));
    const table half(GONIOMETRY_HALF, sphere, { 0, 90, 180 }, even({ 0.25, 0.5, 1.0 }));
    const table side(GONIOMETRY_SIDE, sphere, { 90, 180, 270 }, even({ 0.25, 0.5, 1.0 }));
    const table about_zero(GONIOMETRY_FULL, sphere, { -180, 0, 180 }, even({ 0.25, 0.5, 0.25 }));
    const struct
    {
        const char* what;
        const table& of;
        double azimuth, value;
    } cases[] = {
        { "full, on an angle", full, 180, 0.75 },
        { "full, between two", full, 45, 0.375 },
        { "full, negative", full, -90, 1.0 },
        { "full, towards the seam", full, -45, 0.625 },
        { "full, above a half turn", full, 315, 0.625 },
        { "axial", axial, -123, 1.0 },
        { "quadrant, as it is", quadrant, 67.5, 0.75 },
        { "quadrant, second", quadrant, 135, 0.5 },
        { "quadrant, third", quadrant, -112.5, 0.75 },
        { "quadrant, fourth", quadrant, -45, 0.5 },
        { "quadrant, fourth from above", quadrant, 292.5, 0.75 },
        { "half, as it is", half, 135, 0.75 },
        { "half, mirrored", half, -135, 0.75 },
        { "half, mirrored from above", half, 270, 0.5 },
        { "side, as it is", side, 135, 0.375 },
        { "side, negative", side, -135, 0.75 },
        { "side, mirrored below 90", side, 45, 0.375 },
        { "side, mirrored above 270", side, -45, 0.75 },
        { "side, the end of the plane", side, -90, 1.0 },
        { "side, the plane of 0", side, 0, 0.5 },
        { "a table that begins below 0", about_zero, -90, 0.375 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        EXPECT_NEAR(c.of.at(c.azimuth, 60), c.value, 1e-6);
    }
}

TEST(Goniometry, IsLinearBetweenItsAnglesAndDarkBeyondThem)
{
    const table t(
        GONIOMETRY_HALF, { 0, 10, 20, 90 }, { 0, 180 }, { { 1.0, 0.5, 0.25, 0.1 }, { 1, 1, 0.5, 0 } });
    const struct
    {
        double azimuth, polar, value;
    } cases[] = {
        { 0, 0, 0 },
        { 0, 0.0001, 1.0 },
        { 0, 5, 0.75 },
        { 0, 10, 0.5 },
        { 0, 55, 0.175 },
        { 0, -55, 0.175 },
        { 90, 15, 0.5 * (0.375 + 0.75) },
        { 45, 15, 0.75 * 0.375 + 0.25 * 0.75 },
        { 0, 89.9999, 0.1 },
        { 0, 90.0001, 0 },
        { 0, 120, 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(testing::Message() << c.azimuth << ", " << c.polar);
        EXPECT_NEAR(t.at(c.azimuth, c.polar), c.value, 1e-5);
    }
    EXPECT_EQ(zr_goniometry_value(&t.g, NAN, 0.5), 0.0);
    EXPECT_EQ(zr_goniometry_value(&t.g, 0.0, INFINITY), 0.0);
}

TEST(Goniometry, LooksAlongTheFrameOfItsLight)
{
    table t(GONIOMETRY_FULL, { 0, 90, 180 }, { 0, 90, 180, 270, 360 },
        { { 1, 0.2, 0.1 }, { 1, 0.4, 0.1 }, { 1, 0.6, 0.1 }, { 1, 0.8, 0.1 }, { 1, 0.2, 0.1 } });
    light l = {};
    EXPECT_EQ(zr::goniometric_factor(l, { 0, 0, 1 }), 1.0);
    // Aimed down, the zero plane to the east: the next quarter of the planes is north, seen from above.
    l.normal = { 0, 0, -1 };
    l.axis_u = { 1, 0, 0 };
    l.axis_v = { 0, 1, 0 };
    l.goniometry = &t.g;
    const struct
    {
        vector3 to_light;
        double value;
    } cases[] = {
        { { -1, 0, 0 }, 0.2 }, // from the east
        { { 0, -1, 0 }, 0.4 },
        { { 1, 0, 0 }, 0.6 },
        { { 0, 1, 0 }, 0.8 },
        { { 0, 0, 1 }, 1.0 }, // from below, on the axis itself
        { { 0, 0, -1 }, 0.1 },
        { { -std::sqrt(0.5), 0, std::sqrt(0.5) }, 0.6 },
    };
    for (const auto& c : cases) { EXPECT_NEAR(zr::goniometric_factor(l, c.to_light), c.value, 1e-6); }
}

TEST(Goniometry, IntegratesItsTableExactly)
{
    const struct
    {
        const char* what;
        table of;
        double integral;
    } cases[] = {
        { "a sphere", { GONIOMETRY_AXIAL, { 0, 180 }, { 0 }, { { 1, 1 } } }, 4 * M_PI },
        { "half a sphere", { GONIOMETRY_AXIAL, { 0, 30, 90 }, { 0 }, { { 1, 1, 1 } } }, 2 * M_PI },
        // p sin p has the integral 1 over a quarter turn.
        { "rising to the side", { GONIOMETRY_AXIAL, { 0, 90 }, { 0 }, { { 0, 1 } } }, 2 * M_PI / (M_PI / 2) },
        { "one cone", { GONIOMETRY_AXIAL, { 0, 2 }, { 0 }, { { 1, 1 } } },
            2 * M_PI * (1 - std::cos(2 * degree)) },
        { "quadrant", { GONIOMETRY_QUADRANT, { 0, 90 }, { 0, 90 }, { { 0, 0 }, { 1, 1 } } }, M_PI },
        { "half", { GONIOMETRY_HALF, { 0, 90 }, { 0, 45, 180 }, { { 0, 0 }, { 1, 1 }, { 1, 1 } } },
            2 * M_PI * (0.125 + 0.75) },
        { "side", { GONIOMETRY_SIDE, { 0, 90 }, { 90, 270 }, { { 1, 1 }, { 0, 0 } } }, M_PI },
        { "full", { GONIOMETRY_FULL, { 0, 90 }, { 0, 90, 360 }, { { 0, 0 }, { 1, 1 }, { 0, 0 } } }, M_PI },
        { "full, last row held", { GONIOMETRY_FULL, { 0, 90 }, { 0, 180 }, { { 0, 0 }, { 1, 1 } } },
            2 * M_PI * 0.75 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        EXPECT_NEAR(zr::goniometry_integral(c.of.g), c.integral, 1e-6 * c.integral);
        // The rule over a grid of directions sees the same light, if roughly where a cone is narrower than
        // its steps are fine.
        const double error = c.of.g.vertical_angles[1] < 0.1f ? 0.12 : 1e-3;
        const auto value = [](void* g, double azimuth, double altitude)
        { return zr::goniometry_value(*static_cast<goniometry*>(g), azimuth, altitude + M_PI / 2); };
        goniometry shared = c.of.g;
        EXPECT_NEAR(get_distribution_factor(256, value, &shared), c.integral, error * c.integral);
    }
}

} // namespace
