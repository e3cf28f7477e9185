// Sources with a shape: the light that they send in all, what falls below them, and where their samples lie.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/light.h"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/raytrace/light_shape.hpp"

namespace
{

using namespace zr;

constexpr double golden = 0.6180339887498949;

double fraction(double x) { return x - std::floor(x); }

/// A white source at the origin that looks down.
light source_of(int32_t type, int32_t distribution, double size)
{
    light l = {};
    l.type = type;
    l.distribution = distribution;
    l.brightness_unit = BRIGHTNESS_LUMENS;
    l.lumens = 1000.0f;
    l.normal = { 0, 0, -1 };
    l.axis_u = { 1, 0, 0 };
    l.axis_v = { 0, 1, 0 };
    l.length = 2.0 * size;
    l.height = size;
    l.radius = size;
    l.beam_angle = 0.4f;
    l.field_angle = 0.9f;
    l.color_temperature = 5000.0f;
    std::fill_n(l.filter, 3, 1.0f);
    l.falloff = 2.0;
    l.shadow_strength = 1.0;
    return l;
}

/// A light of a document under a model.
struct prepared_light
{
    explicit prepared_light(const light& l, int32_t model = LIGHT_MODEL_EXACT)
        : made(zr_create_light(&l, nullptr))
    {
        job.simple_colors = 0;
        job.light_model = model;
        scene.lights = made;
        prepare_lights_for_model(&scene, model);
    }
    ~prepared_light()
    {
        zr_light_free(made);
        job.light_model = LIGHT_MODEL_EXACT;
    }
    /// Lux at a point on a plane, by `count` samples.
    double lux(const vector3& point, const vector3& normal, int count, double shift = 0.0) const
    {
        double sum = 0.0;
        for (int i = 0; i < count; ++i)
        {
            source_sample s = {};
            sample_shape(*made, point, { (i + 0.5) / count, fraction(shift + i * golden) }, s);
            const double cosine = dot(s.direction, normal);
            if (cosine > 0.0) { sum += s.color[1] * cosine / (s.distance * s.distance); }
        }
        return sum / count;
    }
    document scene = {};
    light* made;
};

/// A table that is bright to the side of azimuth 0, and a little above the horizontal: intensity
/// (1 + cos azimuth) / 2 at 16 azimuths, by three heights.
goniometry* lopsided_table()
{
    goniometry* g = zr_new_goniometry();
    make_goniometry_tables(*g, 4, 17);
    const float angles[] = { 0, 0.8f, 1.9f, 2.5f }, values[] = { 0.2f, 1, 0.5f, 0 };
    for (int i = 0; i < 17; ++i)
    {
        g->horizontal_angles[i] = float(i * M_PI / 8);
        for (int j = 0; j < 4; ++j) { g->rows[i][j] = values[j] * float(0.5 + 0.5 * std::cos(i * M_PI / 8)); }
    }
    std::copy_n(angles, 4, g->vertical_angles);
    g->lm_per_cd = float(goniometry_integral(*g));
    return g;
}

/// Lux square to z below `l`, from a plane `h` below the source and `aside` along x.
double lux_below(const light& l, double h, double aside, int count)
{
    return prepared_light(l).lux({ aside, 0, -h }, { 0, 0, 1 }, count);
}

/// Form factor of a rectangle of a by b for a parallel element at distance h below its corner, and of others
/// by corners; the catalogue of Howell, configurations B-3 and B-12 to B-31.
double corner_factor(double a, double b, double h)
{
    const double x = a / h, y = b / h, p = std::sqrt(1 + x * x), q = std::sqrt(1 + y * y);
    return (x / p * std::atan(y / p) + y / q * std::atan(x / q)) / (2 * M_PI);
}
double rectangle_factor(double width, double depth, double h, double aside)
{
    const double near = aside - width / 2, far = aside + width / 2;
    return 2 * (corner_factor(far, depth / 2, h) - corner_factor(near, depth / 2, h));
}
double disk_factor(double r, double h, double aside)
{
    const double z = h * h + r * r + aside * aside;
    return 0.5 * (1 - (z - 2 * r * r) / std::sqrt(z * z - 4 * aside * aside * r * r));
}
/// A cylinder for an element that faces its axis, below one end.
double cylinder_factor(double r, double l, double distance)
{
    const double d = distance / r, n = l / r, a = (d + 1) * (d + 1) + n * n, b = (d - 1) * (d - 1) + n * n;
    return std::atan(n / std::sqrt(d * d - 1)) / (M_PI * d) +
           n / M_PI *
               ((a - 2 * d) / (d * std::sqrt(a * b)) * std::atan(std::sqrt(a * (d - 1) / (b * (d + 1)))) -
                   std::atan(std::sqrt((d - 1) / (d + 1))) / d);
}

} // namespace

TEST(LightShape, SendsTheLumensThatWereSet)
{
    const std::pair<const char*, int32_t> shapes[] = { { "sphere", LIGHT_SPHERICAL }, { "area", LIGHT_AREA },
        { "tube", LIGHT_CYLINDRICAL }, { "disk", LIGHT_DISK } };
    const std::pair<const char*, int32_t> laws[] = { { "default", DISTRIBUTION_DEFAULT },
        { "spot", DISTRIBUTION_SPOT }, { "even", DISTRIBUTION_ISOTROPIC },
        { "diffuse", DISTRIBUTION_DIFFUSE }, { "a table, or none", DISTRIBUTION_GONIOMETRIC } };
    for (const auto& [shape, type] : shapes)
    {
        for (const auto& [law, distribution] : laws)
        {
            for (const double radius : { 0.0, 0.5 })
            {
                SCOPED_TRACE(testing::Message() << shape << ", " << law << ", radius " << radius);
                light l = source_of(type, distribution, 0.5);
                l.radius = type == LIGHT_CYLINDRICAL ? 0.2 * radius : radius;
                l.goniometry =
                    distribution == DISTRIBUTION_GONIOMETRIC && radius > 0 ? lopsided_table() : nullptr;
                const prepared_light made(l);
                zr_free_goniometry(l.goniometry);
                EXPECT_EQ(made.made->lumens, 1000.0f);
                // Through a sphere close round the source.
                constexpr int points = 8000;
                constexpr double reach = 0.8;
                double sum = 0.0;
                for (int i = 0; i < points; ++i)
                {
                    const double z = 1.0 - 2.0 * (i + 0.5) / points, turn = 2.0 * M_PI * fraction(i * golden);
                    const double r = std::sqrt(1.0 - z * z);
                    const vector3 out = { r * std::cos(turn), r * std::sin(turn), z };
                    sum += made.lux(out * reach, -out, 16, i * 0.7548776662);
                }
                EXPECT_NEAR(sum / points * 4.0 * M_PI * reach * reach, 1000.0, 5.0);
            }
        }
    }
}

TEST(LightShape, LightsAPlaneByTheClosedForms)
{
    const auto sphere = [](double h, double aside)
    { return 1000 / (4 * M_PI) * h / std::pow(h * h + aside * aside, 1.5); };
    const auto disk = [](double h, double aside)
    { return 1000 / (M_PI * 0.25) * disk_factor(0.5, h, aside); };
    const auto area = [](double h, double aside)
    { return 1000 / 0.5 * rectangle_factor(1.0, 0.5, h, aside); };
    // A line by the sine law: (angle + sine cosine) over the distance, from end to end.
    const auto line = [](double h, double aside)
    {
        const auto to = [h](double x) { return std::atan2(x, h) + x * h / (x * x + h * h); };
        return 1000 / (M_PI * M_PI) / (2 * h) * (to(aside + 0.5) - to(aside - 0.5));
    };
    const auto tube = [](double h, double)
    { return 1000 / (M_PI * 2 * M_PI * 0.1) * M_PI * 2 * cylinder_factor(0.1, 0.5, h); };
    struct
    {
        const char* what;
        int32_t type;
        double radius;
        std::function<double(double, double)> exact; ///< lux, by height and distance aside
        double asides[2];
        double few, many; ///< bounds of the error by 16 and 1024 samples, of the light straight below
    } const cases[] = {
        { "sphere", LIGHT_SPHERICAL, 0.1, sphere, { 0, 0.7 }, 0.01, 0.0005 },
        { "disk", LIGHT_DISK, 0.5, disk, { 0, 0.7 }, 0.03, 0.0005 },
        { "rectangle", LIGHT_AREA, 0, area, { 0, 0.7 }, 0.03, 0.0005 },
        { "line", LIGHT_CYLINDRICAL, 0, line, { 0, 0.7 }, 0.01, 0.0005 },
        { "tube", LIGHT_CYLINDRICAL, 0.1, tube, { 0, 0 }, 0.03, 0.0005 },
    };
    for (const auto& c : cases)
    {
        for (const double h : { 0.15, 1.0, 4.0 })
        {
            for (const double aside : c.asides)
            {
                SCOPED_TRACE(testing::Message() << c.what << " at " << h << ", aside " << aside);
                light l = source_of(c.type, DISTRIBUTION_DIFFUSE, 0.5);
                l.length = 1.0;
                l.radius = c.radius;
                const double exact = c.exact(h, aside), below = c.exact(h, 0);
                EXPECT_NEAR(lux_below(l, h, aside, 16), exact, c.few * below);
                EXPECT_NEAR(lux_below(l, h, aside, 1024), exact, c.many * below);
                EXPECT_EQ(lux_below(l, -h, aside, 16), 0.0) << "the plane looks away";
            }
        }
    }
}

TEST(LightShape, IsSampledOnItsSurface)
{
    struct
    {
        const char* what;
        int32_t type;
        std::function<bool(const vector3&)> holds;
    } const cases[] = {
        { "rectangle", LIGHT_AREA,
            [](const vector3& p)
            { return std::fabs(p.x) < 1.001 && std::fabs(p.y) < 0.501 && std::fabs(p.z) < 1e-9; } },
        { "disk", LIGHT_DISK,
            [](const vector3& p) { return std::hypot(p.x, p.y) < 1.001 && std::fabs(p.z) < 1e-9; } },
        { "tube", LIGHT_CYLINDRICAL,
            [](const vector3& p)
            { return std::fabs(p.x) < 1.001 && std::fabs(std::hypot(p.y, p.z) - 1.0) < 1e-9; } },
        { "sphere", LIGHT_SPHERICAL, [](const vector3& p) { return std::fabs(length(p) - 1.0) < 1e-9; } },
    };
    const vector3 points[] = { { 0.3, 0.2, -1.5 }, { 4, 3, -0.01 }, { -40, 9, 30 }, { 0, 0, -2 },
        { 2, 0, -1.0 - 1e-7 } };
    for (const auto& c : cases)
    {
        for (const int32_t law : { DISTRIBUTION_DIFFUSE, DISTRIBUTION_ISOTROPIC })
        {
            light l = source_of(c.type, law, 1.0);
            l.height = 1.0;
            const prepared_light made(l);
            for (const vector3& point : points)
            {
                SCOPED_TRACE(testing::Message() << c.what << ", law " << law << ", from " << point.x);
                vector3 low = { 9, 9, 9 }, high = -low;
                for (int i = 0; i < 256; ++i)
                {
                    source_sample s = {};
                    sample_shape(*made.made, point, { (i + 0.5) / 256, fraction(i * golden) }, s);
                    ASSERT_TRUE(c.holds(s.point)) << s.point.x << " " << s.point.y << " " << s.point.z;
                    ASSERT_NEAR(
                        length(point + s.direction * s.distance - s.point), 0.0, 1e-9 * (1 + s.distance));
                    for (const double color : s.color) { ASSERT_TRUE(std::isfinite(color) && color >= 0.0); }
                    low = { std::min(low.x, s.point.x), std::min(low.y, s.point.y), 0 };
                    high = { std::max(high.x, s.point.x), std::max(high.y, s.point.y), 0 };
                }
                if (c.type != LIGHT_SPHERICAL)
                {
                    EXPECT_GT(high.x - low.x, 1.7) << "the whole length is sampled";
                }
            }
        }
    }
}

TEST(LightShape, OperationsPlaceTheirSamplesByTheSquare)
{
    struct
    {
        const char* what;
        int32_t type;
        double u, v;
        vector3 point, place;
    } const cases[] = {
        { "area", LIGHT_AREA, 0.25, 1.0, { 0, 0, -3 }, { -0.5, 0.5, -0.001 } },
        { "disk", LIGHT_DISK, 0.25, 1.0, { 0, 0, -3 }, { -0.5, 1.0, -0.001 } },
        { "tube", LIGHT_CYLINDRICAL, 0.25, 0.9, { 0, 0, -3 }, { -0.5, 0, 0 } },
        { "tube, one for all", LIGHT_CYLINDRICAL, 0.5, 0.5, { 0.76, 0, -3 }, { 0.75, 0, 0 } },
        { "beyond its end", LIGHT_CYLINDRICAL, 0.5, 0.5, { -9, 0, -3 }, { -0.875, 0, 0 } },
        { "between two places", LIGHT_CYLINDRICAL, 0.5, 0.5, { 0.0625, 0, -3 }, { 0, 0, 0 } },
        { "sphere", LIGHT_SPHERICAL, 0.5, 0.5, { 0, 0, -3 }, { 0, 0, 0 } },
        { "its disc, aside", LIGHT_SPHERICAL, 1.0, 0.5, { 0, 0, -3 }, { -1, 0, 0 } },
        { "its disc, a corner", LIGHT_SPHERICAL, 0.25, 0.0, { 0, 0, -3 }, { 0.5, -1, 0 } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        light l = source_of(c.type, DISTRIBUTION_DEFAULT, 1.0);
        l.height = 1.0;
        const prepared_light made(l, LIGHT_MODEL_FAST);
        source_sample s = {};
        s.u = c.u;
        s.v = c.v;
        made.made->sample(made.made, &c.point, &s, 1);
        EXPECT_NEAR(length(s.point - c.place), 0.0, 1e-12)
            << s.point.x << " " << s.point.y << " " << s.point.z;
        EXPECT_NEAR(s.distance, length(s.point - c.point), 1e-12);
    }
}

TEST(LightShape, SolversTakeMoreSamplesNearby)
{
    struct
    {
        int32_t type;
        double distance;
        int32_t samples, of_points;
    } const cases[] = {
        { LIGHT_AREA, 7.0, 17, 17 },
        { LIGHT_AREA, 7.1, 5, 5 }, // 25 x length 2 against the square
        { LIGHT_CYLINDRICAL, 9.9, 17, 1 },
        { LIGHT_CYLINDRICAL, 10.1, 5, 1 }, // 100 x radius 1
        { LIGHT_SPHERICAL, 9.9, 17, 1 },
        { LIGHT_SPHERICAL, 10.1, 5, 1 },
        { LIGHT_PARALLEL, 1.0, 1, 1 },
        { LIGHT_DISK, 4.0, 17, 1 },
        { LIGHT_DISK, 10.0, 5, 1 },
        { LIGHT_DISK, 30.0, 1, 1 },
    };
    for (const auto& c : cases)
    {
        for (const double radius : { 1.0, 0.0 })
        {
            light l = source_of(c.type, DISTRIBUTION_DEFAULT, 1.0);
            l.radius = radius;
            const prepared_light made(l);
            const vector3 point = { 0, 0, -c.distance };
            EXPECT_EQ(made.made->sample_count(made.made, &point), radius > 0 ? c.samples : c.of_points)
                << c.type << " at " << c.distance;
        }
    }
}

TEST(LightShape, DiffuseSourcesShineOnTheirFront)
{
    const vector3 behind = { 0.1, 0.2, 2 }, before = { 0.1, 0.2, -2 };
    for (const auto& [type, model] : { std::pair{ LIGHT_AREA, LIGHT_MODEL_FAST },
             { LIGHT_AREA, LIGHT_MODEL_EXACT }, { LIGHT_DISK, LIGHT_MODEL_EXACT } })
    {
        const prepared_light made(source_of(type, DISTRIBUTION_DEFAULT, 0.5), model);
        for (const double u : { 0.5, 0.2 })
        {
            source_sample s = {};
            s.u = s.v = u;
            made.made->sample(made.made, &behind, &s, 1);
            EXPECT_EQ(s.color[0], 0.0);
            made.made->sample(made.made, &before, &s, 1);
            EXPECT_NEAR(s.color[0], 1000 / M_PI * s.direction.z, 1e-3);
        }
    }
    // The fast model takes disks as even, and diffuse tubes with the strength of a diffuse source.
    const prepared_light disk(source_of(LIGHT_DISK, DISTRIBUTION_DEFAULT, 0.5), LIGHT_MODEL_FAST);
    const prepared_light tube(source_of(LIGHT_CYLINDRICAL, DISTRIBUTION_DIFFUSE, 0.5), LIGHT_MODEL_FAST);
    for (const auto& [l, candela] : { std::pair{ disk.made, 1000 / (4 * M_PI) }, { tube.made, 1000 / M_PI } })
    {
        job.light_model = LIGHT_MODEL_FAST;
        source_sample s = {};
        s.u = s.v = 0.5;
        l->sample(l, &behind, &s, 1);
        EXPECT_NEAR(s.color[0], candela, 1e-3);
    }
}

TEST(LightShape, RectanglesWithoutCornersLieAboutTheirPosition)
{
    light l = source_of(LIGHT_AREA, DISTRIBUTION_DEFAULT, 1.0);
    l.position = { 5, 6, 7 };
    l.axis_u = { 1, 0, 0.5 }; // not square to the normal
    const prepared_light made(l);
    ASSERT_EQ(made.made->vertex_count, 4);
    EXPECT_NEAR(length(made.made->vertices[0] - vector3{ 4, 5.5, 7 }), 0.0, 1e-12);
    EXPECT_NEAR(length(made.made->vertices[2] - vector3{ 6, 6.5, 7 }), 0.0, 1e-12);
    // A normal that is askew is turned square to the corners, on its own side.
    l = *made.made;
    l.goniometry = nullptr;
    l.normal = normalized({ 0.3, 0.2, 0.6 });
    const prepared_light turned(l);
    EXPECT_NEAR(length(turned.made->normal - vector3{ 0, 0, 1 }), 0.0, 1e-12);
    // Sides that are not square to each other span a parallelogram of the same light per area.
    l.vertices[2] = l.vertices[2] + vector3{ 0.5, 0, 0 };
    const prepared_light skewed(l);
    const vector3 far = { 5, 6, 107 };
    EXPECT_NEAR(skewed.lux(far, { 0, 0, -1 }, 256), 1000 / M_PI / 1e4, 1e-4);
}

TEST(LightShape, TablesGiveTheirPeakWhereTheyHaveIt)
{
    light l = source_of(LIGHT_SPHERICAL, DISTRIBUTION_GONIOMETRIC, 0.0);
    l.goniometry = lopsided_table();
    for (const int32_t model : { LIGHT_MODEL_FAST, LIGHT_MODEL_EXACT })
    {
        const prepared_light made(l, model);
        EXPECT_NEAR(made.made->candela, 1000 / l.goniometry->lm_per_cd, 1e-3 * made.made->candela);
        const vector3 bright = { std::sin(0.8), 0, -std::cos(0.8) },
                      dark = { -std::sin(0.8), 0, -std::cos(0.8) };
        EXPECT_NEAR(made.lux(bright, -bright, 1), made.made->candela, 1e-4 * made.made->candela);
        EXPECT_NEAR(made.lux(dark, -dark, 1), 0.0, 1e-3);
    }
    zr_free_goniometry(l.goniometry);
}
