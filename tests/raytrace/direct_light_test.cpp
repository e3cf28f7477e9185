#include <gtest/gtest.h>

#include "tests/support/ball_object.hpp"
#include "tests/support/find_table.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/raytrace/direct_sun.hpp"
#include "zirconlite/raytrace/shadow_rays.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace
{

using namespace zr;

constexpr int32_t both_models[] = { LIGHT_MODEL_FAST, LIGHT_MODEL_EXACT };

/// A matte floor of `grey`, 200 m wide, at height 0.
void add_floor(test::scene& s, float grey)
{
    test::mesh m;
    m.look = s.matte(grey);
    m.quad({ -100, -100, 0 }, { 100, -100, 0 }, { 100, 100, 0 }, { -100, 100, 0 });
    ASSERT_TRUE(s.add(m));
}

/// Lux on the floor at a point, from what the floor of grey 0.5 shows.
double lux_at(const test::scene& s, double x, double y)
{
    return s.radiance({ x + 0.02, y + 0.01, 0.1 }, { -0.02, -0.01, -0.1 }) * M_PI / 0.5;
}

} // namespace

TEST(DirectLight, FollowsTheCosineAndInverseSquareLaws)
{
    struct
    {
        const char* what;
        double height, offset, lux;
    } const cases[] = {
        { "straight below", 2.0, 0.0, 250.0 },
        { "45 degrees aside", 2.0, 2.0, 250.0 / (2.0 * std::sqrt(2.0)) },
        { "twice the distance", 4.0, 0.0, 62.5 },
        { "at a flat angle", 1.0, 7.0, 1000.0 / std::pow(50.0, 1.5) },
        { "below the floor", -2.0, 0.0, 0.0 },
    };
    for (const int32_t model : both_models)
    {
        for (const auto& c : cases)
        {
            SCOPED_TRACE(c.what);
            test::scene s(model);
            add_floor(s, 0.5f);
            s.add(test::scene::point_source({ 3, 1, c.height }, 1000.0f));
            ASSERT_TRUE(s.prepare());
            EXPECT_NEAR(lux_at(s, 3 + c.offset, 1), c.lux, 1e-5 * (1 + c.lux));
        }
    }
}

TEST(DirectLight, CloseLightsAreLimitedOnlyInTheFastModel)
{
    for (const double height : { 0.5, 0.25, 0.05 })
    {
        test::scene s(LIGHT_MODEL_FAST);
        add_floor(s, 0.5f);
        s.add(test::scene::point_source({ 0, 0, height }, 10.0f));
        ASSERT_TRUE(s.prepare());
        EXPECT_NEAR(lux_at(s, 0, 0), 10.0 * M_PI, 1e-3) << "below 0.56 m nothing grows";
        s.doc->light_model = LIGHT_MODEL_EXACT;
        s.relight();
        EXPECT_NEAR(lux_at(s, 0, 0), 10.0 / (height * height), 10.0 / (height * height) * 1e-5);
    }
    test::scene s;
    add_floor(s, 0.5f);
    s.add(test::scene::point_source({ 2, 2, 0 }, 10.0f));
    ASSERT_TRUE(s.prepare());
    EXPECT_EQ(lux_at(s, 2, 2), 0.0) << "a light source at distance 0 gives nothing";
}

TEST(DirectLight, FaintLightsCountOnlyInTheExactModel)
{
    // 0.18 lux on grey 0.5 is 0.029 cd/m2, just below the cut-off; twenty of them in all.
    for (const int32_t model : both_models)
    {
        test::scene s(model);
        add_floor(s, 0.5f);
        for (int i = 0; i < 20; ++i) { s.add(test::scene::point_source({ 0, 0, 10 }, 18.0f)); }
        ASSERT_TRUE(s.prepare());
        EXPECT_NEAR(lux_at(s, 0, 0), model == LIGHT_MODEL_EXACT ? 3.6 : 0.0, 1e-4);
    }
}

TEST(DirectLight, ShadowRaysEndTenTolerancesBeforeTheirLight)
{
    struct
    {
        const char* what;
        double below; ///< of the sheet under the light source, in tolerances
        bool blocks;
    } const cases[] = { { "through the light source", 0, false }, { "beside it", 9, false },
        { "before it", 11, true } };
    fill_gamma_tables();
    for (const auto& c : cases)
    {
        for (const int32_t mode : { MODE_RAYTRACE, MODE_SIMPLE })
        {
            for (const int32_t model : both_models)
            {
                SCOPED_TRACE(c.what);
                test::scene s(model);
                add_floor(s, 0.5f);
                test::mesh sheet;
                const double z = 2.0 - c.below * 200e-6; // the scene is 200 m wide
                sheet.quad({ -1, -1, z }, { 1, -1, z }, { 1, 1, z }, { -1, 1, z });
                ASSERT_TRUE(s.add(sheet));
                light l = test::scene::point_source({ 0, 0, 2 }, 100.0f);
                l.simple_brightness = 1.0f;
                s.add(l);
                s.doc->mode = mode;
                ASSERT_TRUE(s.prepare());
                ASSERT_NEAR(s.doc->epsilon, 200e-6, 1e-9);
                const ray r = s.seen({ 0.02, 0.01, 0.1 }, { -0.02, -0.01, -0.1 });
                const float seen = mode == MODE_SIMPLE ? r.simple_color[1] : r.radiance[1];
                EXPECT_EQ(seen == 0.0f, c.blocks) << mode << " " << model;
            }
        }
    }
}

TEST(DirectLight, ShadowRaysLeaveTheFaceWhereItsNormalBendsAway)
{
    // Two faces smoothed over a ridge. A sheet floats over one of them, closer than the offset of the shadow
    // rays or farther: where the normal bends enough the rays start above the close one.
    constexpr double half_turn = 0.3;
    struct
    {
        int32_t mode;
        double offset, tolerance; ///< the offset in sizes of the face, 1 + 1 m
    } const cases[] = { { MODE_RAYTRACE, 0.003333, 0.01 }, { MODE_SIMPLE, 0.015, 0.0001 } };
    fill_gamma_tables();
    for (const auto& c : cases)
    {
        for (const double share : { 0.9, 1.1 })
        {
            test::scene s;
            test::mesh ridge, sheet;
            ridge.smooth_cosine = 0.5;
            const double x = -std::cos(2 * half_turn), z = -std::sin(2 * half_turn);
            ridge.vertices = { { 0, 0, 0 }, { 1, 0, 0 }, { 1, 1, 0 }, { 0, 1, 0 }, { x, 0, z }, { x, 1, z } };
            ridge.polygons = { { 0, 1, 2, 3 }, { 4, 0, 3, 5 } };
            const double high = share * c.offset * 2.0;
            sheet.quad({ -1, -1, high }, { 2, -1, high }, { 2, 2, high }, { -1, 2, high });
            ASSERT_TRUE(s.add(ridge) && s.add(sheet));
            light l = test::scene::point_source({ 0.5, 0.5, 3 }, 100.0f);
            l.simple_brightness = 1.0f;
            s.add(l);
            s.doc->mode = c.mode;
            ASSERT_TRUE(s.prepare());
            int lit = 0, dark = 0;
            for (int i = 10; i < 100; ++i)
            {
                const double at = 1.0 - std::pow(0.01 * i, 4.0); // closest where the normals hardly bend
                const ray r = s.seen({ at, 0.5, 0.5 * high }, { 0, 0, -1 });
                const double bend = 1.0 - dot(r.geometric_normal, r.interpolated_normal);
                if (std::fabs(bend - c.tolerance) < 0.1 * c.tolerance) { continue; }
                const bool leaves = share < 1.0 && bend > c.tolerance;
                EXPECT_EQ((c.mode == MODE_SIMPLE ? r.simple_color[1] : r.radiance[1]) > 0.0f, leaves) << at;
                ++(leaves ? lit : dark);
            }
            EXPECT_GT(dark, 2);
            EXPECT_TRUE(share > 1.0 || lit > 10);
        }
    }
}

TEST(DirectLight, HighlightsArePowersOfTheCosineToTheMirrorDirection)
{
    struct
    {
        const char* what;
        float exponent;
        double off_deg; ///< of the light source, from the mirrored ray
        uint32_t object_flags, light_flags;
        bool shows;
        float grey = 1.0f;
    } const cases[] = {
        { "on black, which would not be lit", 50.0f, 0.0, 0, 0, false, 0.0f },
        { "in the mirror direction", 50.0f, 0.0, 0, 0, true },
        { "beside it", 50.0f, 10.0, 0, 0, true },
        { "sharp", 300.0f, 3.0, 0, 0, true },
        { "no exponent above 1", 1.0f, 0.0, 0, 0, false },
        { "an object without", 50.0f, 0.0, OBJECT_NO_HIGHLIGHT, 0, false },
        { "a light source without", 50.0f, 0.0, 0, LIGHT_NO_HIGHLIGHT, false },
    };
    for (const int32_t model : both_models)
    {
        for (const auto& c : cases)
        {
            SCOPED_TRACE(c.what);
            test::scene s(model);
            test::mesh plate;
            plate.flags = c.object_flags;
            plate.look = s.look(
                [&](simple_material& m)
                {
                    m.diffuse_share = 0.6f;
                    m.highlight = c.exponent;
                    std::fill_n(m.color, 3, c.grey);
                });
            plate.quad({ -9, -9, 0 }, { 9, -9, 0 }, { 9, 9, 0 }, { -9, 9, 0 });
            ASSERT_TRUE(s.add(plate));
            const double altitude = M_PI / 4 + c.off_deg * M_PI / 180;
            light l =
                test::scene::point_source({ -4 * std::cos(altitude), 0, 4 * std::sin(altitude) }, 160.0f);
            l.flags = c.light_flags;
            s.add(l);
            ASSERT_TRUE(s.prepare());
            const double shine = c.shows ? 0.4 * std::pow(std::cos(c.off_deg * M_PI / 180), c.exponent) : 0.0;
            const double wanted = 160.0 / 16.0 * (0.6 * c.grey * std::sin(altitude) / M_PI + shine);
            EXPECT_NEAR(s.radiance({ 1, 0, 1 }, { -1, 0, -1 }), wanted, 1e-4 * wanted);
        }
    }
}

TEST(SimpleLight, IsDiffuseHighlightBackLightAndAmbient)
{
    fill_gamma_tables();
    test::scene s;
    test::mesh sheet;
    sheet.flags = OBJECT_THIN;
    sheet.look = s.look(
        [](simple_material& m)
        {
            m.opacity = 0.75f;
            m.translucent_share = 1.0f;
            m.diffuse_share = 0.5f;
            m.highlight = 20.0f;
            for (int i = 0; i < 3; ++i)
            {
                m.color[i] = 0.25f * float(i + 1);
                m.translucent_color[i] = 0.9f - 0.2f * float(i);
            }
        });
    sheet.quad({ -9, -9, 0 }, { 9, -9, 0 }, { 9, 9, 0 }, { -9, 9, 0 });
    ASSERT_TRUE(s.add(sheet));
    // One in green at 50 degrees before the mirrored ray at 45, one in red and blue straight below.
    const double altitude = 50 * M_PI / 180;
    light above = test::scene::point_source({ -4 * std::cos(altitude), 0, 4 * std::sin(altitude) }, 1.0f);
    above.filter[0] = above.filter[2] = 0;
    above.filter[1] = 0.5f;
    light below = test::scene::point_source({ 0, 0, -3 }, 1.0f);
    below.filter[1] = 0;
    above.simple_brightness = 0.75f;
    below.simple_brightness = 0.5f;
    s.add(above);
    s.add(below);
    s.doc->mode = MODE_SIMPLE;
    ASSERT_TRUE(s.prepare());
    for (int i = 0; i < 3; ++i) { job.simple_ambient_color[i] = 0.1f * float(i + 1); }
    surface f;
    zr_resolve_surface(sheet.look->material, nullptr, &f);
    ASSERT_GT(f.translucent, 0.2f);
    ASSERT_GT(f.highlight_strength, 0.1f);
    ray r = s.eye_ray({ 1, 0, 1 }, { -1, 0, -1 });
    for (int i = 0; i < 3; ++i) { r.weight[i] = 0.5 * (i + 1); }
    trace_ray(*s.doc, r, nullptr);
    const double front[3] = { 0, 0.375, 0 }, back[3] = { 0.5, 0, 0.5 };
    const double shine = std::pow(std::cos(5 * M_PI / 180), f.highlight) * f.highlight_strength;
    for (int i = 0; i < 3; ++i)
    {
        const double ambient = f.diffuse * f.color[i] + f.translucent * f.translucent_color[i];
        const double wanted =
            f.color[i] * (f.diffuse * std::sin(altitude) * front[i] + f.translucent * back[i]) +
            f.highlight_color[i] * front[i] * shine + job.simple_ambient_color[i] * ambient;
        EXPECT_NEAR(r.simple_color[i], 0.5 * (i + 1) * wanted, 1e-5) << i;
    }
}

TEST(DirectLight, ALightShinesThroughItsOwnShapeAndNotOnIt)
{
    test::scene s;
    add_floor(s, 0.5f);
    light l = test::scene::point_source({ 0, 0, 2 }, 100.0f);
    l.area = 4.0;
    l.fixture_scale = 1.0f;
    s.add(l);
    light* const own = s.doc->lights;
    test::mesh shade;
    shade.flags = OBJECT_LIGHT_SHAPE;
    shade.shape_of = own;
    shade.quad({ -1, -1, 1 }, { 1, -1, 1 }, { 1, 1, 1 }, { -1, 1, 1 });
    ASSERT_TRUE(s.add(shade));
    ASSERT_TRUE(s.prepare());
    EXPECT_NEAR(lux_at(s, 0.1, 0), 200.0 / std::pow(4 + 0.01, 1.5), 1e-3);
    // It shows the light's flux over its area, 4 pi lm / (4 m2 pi), and is not lit by it.
    EXPECT_NEAR(s.radiance({ 0.3, 0.2, 1.5 }, { 0, 0, -1 }), 100.0 * 4 * M_PI / (4 * M_PI), 1e-3);

    // Another light source in the same place is blocked by the shape, and lights it.
    l.candela = 50.0f;
    s.add(l);
    s.relight();
    EXPECT_NEAR(lux_at(s, 0.1, 0), 200.0 / std::pow(4 + 0.01, 1.5), 1e-3);
    const double from_above = 50.0 / std::pow(1 + 0.3 * 0.3 + 0.2 * 0.2, 1.5) * 0.5 / M_PI;
    EXPECT_NEAR(s.radiance({ 0.3, 0.2, 1.5 }, { 0, 0, -1 }), 100.0 + from_above, 1e-3);
}

TEST(DirectLight, AGroupNeitherLightsNorIsShadowedByItsObject)
{
    test::scene s;
    add_floor(s, 0.5f);
    light l = test::scene::point_source({ 0, 0, 2 }, 100.0f);
    s.add(l);
    test::mesh sheet;
    sheet.flags = OBJECT_PROPERTY_6 | OBJECT_GROUP_UNLIT | OBJECT_NO_GROUP_SHADOW;
    sheet.group = s.doc->lights;
    sheet.quad({ -1, -1, 1 }, { 1, -1, 1 }, { 1, 1, 1 }, { -1, 1, 1 });
    ASSERT_TRUE(s.add(sheet));
    ASSERT_TRUE(s.prepare());
    EXPECT_NEAR(lux_at(s, 0.1, 0), 200.0 / std::pow(4 + 0.01, 1.5), 1e-3);
    EXPECT_EQ(s.radiance({ 0.3, 0.2, 1.5 }, { 0, 0, -1 }), 0.0);
    l.candela = 99.0f; // of no group
    s.add(l);
    s.relight();
    EXPECT_NEAR(lux_at(s, 0.1, 0), 200.0 / std::pow(4 + 0.01, 1.5), 1e-3);
    EXPECT_GT(s.radiance({ 0.3, 0.2, 1.5 }, { 0, 0, -1 }), 10.0);
}

TEST(ShadowTest, ColouredGlassColoursItsShadow)
{
    // Sheets and solids of one glass; below the light in the middle they are met straight on.
    const double fresnel = std::pow((1.5 - 1.0) / (1.5 + 1.0), 2);
    struct
    {
        const char* what;
        uint32_t flags;
        float ior;
        double passing; ///< beside the tint
    } const cases[] = {
        { "a sheet that bends nothing", OBJECT_THIN, 1.0f, 1.0 },
        { "a solid that bends nothing", 0, 1.0f, 1.0 },
        { "a sheet of glass", OBJECT_THIN, 1.5f, 1.0 - 2 * fresnel / (1 + fresnel) },
        { "a solid of glass", 0, 1.5f, (1.0 - fresnel) * (1.0 - fresnel) },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s;
        add_floor(s, 0.5f);
        test::mesh pane;
        pane.flags = c.flags;
        pane.look = s.glass(c.ior, 0.8f, 0.4f, 0.1f);
        if (c.flags) { pane.quad({ -1, -1, 1 }, { 1, -1, 1 }, { 1, 1, 1 }, { -1, 1, 1 }); }
        else { pane.box({ { -1, -1, 1 }, { 1, 1, 1.1 } }); }
        ASSERT_TRUE(s.add(pane));
        s.add(test::scene::point_source({ 0, 0, 2 }, 100.0f));
        ASSERT_TRUE(s.prepare());
        const ray r = s.seen({ 0.1, 0.05, 0.5 }, { -0.1, -0.05, -0.5 });
        const double tint[3] = { 0.8, 0.4, 0.1 };
        for (int i = 0; i < 3; ++i)
        {
            EXPECT_NEAR(r.radiance[i], 25.0 * 0.5 / M_PI * tint[i] * c.passing, 1e-4) << i;
        }
        EXPECT_NEAR(lux_at(s, 2.5, 0), 200.0 / std::pow(4 + 2.5 * 2.5, 1.5), 1e-3) << "beside the shadow";
        // A later opaque sheet still blocks.
        test::mesh lid;
        lid.quad({ -1, -1, 1.5 }, { 1, -1, 1.5 }, { 1, 1, 1.5 }, { -1, 1, 1.5 });
        ASSERT_TRUE(s.add(lid));
        ASSERT_TRUE(s.prepare());
        EXPECT_EQ(lux_at(s, 0, 0), 0.0);
    }
}

namespace
{

/// Mean lux that 400 pixels see at one point of the floor.
double mean_lux_at(const test::scene& s, double x, double y)
{
    double sum = 0.0;
    for (int n = 0; n < 400; ++n)
    {
        ray r = s.eye_ray({ x + 0.01, y + 0.02, 0.1 }, { -0.01, -0.02, -0.1 });
        r.pixel[0] = n % 20 + 0.3;
        r.pixel[1] = n / 20 + 0.7;
        r.sample_index = n % 25;
        trace_ray(*s.doc, r, nullptr);
        sum += r.radiance[1] / 400.0;
    }
    return sum * M_PI / 0.5;
}

/// Lux at (x, 0, 0) of a sphere of `candela` over the origin, by rings of equal solid angle as seen from
/// there. `lid` is at height 1 over all x > 0.
double sphere_lux(double candela, double height, double radius, double x, bool lid)
{
    const double d2 = x * x + height * height, d = std::sqrt(d2),
                 cos_rim = std::sqrt(1.0 - radius * radius / d2);
    const int rings = 400, parts = 800;
    double sum = 0.0;
    for (int i = 0; i < rings; ++i)
    {
        const double c = 1.0 - (i + 0.5) / rings * (1.0 - cos_rim), q = std::sqrt(1.0 - c * c);
        for (int k = 0; k < parts; ++k)
        {
            const double angle = 2.0 * M_PI * (k + 0.5) / parts;
            const double across = q * std::cos(angle);
            const double z = (c * height + across * x) / d, along_x = (-c * x + across * height) / d;
            if (z <= 0.0 || (lid && x + along_x / z > 0.0)) { continue; }
            sum += z;
        }
    }
    return candela / (M_PI * radius * radius) * 2.0 * M_PI * (1.0 - cos_rim) * sum / (rings * parts);
}

/// Part of a disc of radius 1 at x < `edge`.
double part_of_disc(double edge)
{
    const double e = std::clamp(edge, -1.0, 1.0);
    return 0.5 + (e * std::sqrt(1.0 - e * e) + std::asin(e)) / M_PI;
}

void add_lid(test::scene& s)
{
    test::mesh half;
    half.quad({ 0, -50, 1 }, { 50, -50, 1 }, { 50, 50, 1 }, { 0, 50, 1 });
    ASSERT_TRUE(s.add(half));
}

} // namespace

TEST(DirectLight, TheWholeShapeOfALightCountsInTheExactModel)
{
    for (const int32_t samples : { 1, 4, 64 })
    {
        SCOPED_TRACE(samples);
        light l = test::scene::point_source({}, 100.0f);
        l.radius = 0.3;
        l.shadow_samples = samples;
        for (const double height : { 0.301, 0.35, 0.6, 3.0 })
        {
            test::scene s(LIGHT_MODEL_EXACT);
            s.doc->render_flags = RENDER_SOFT_SHADOWS;
            add_floor(s, 0.5f);
            l.position = { 0, 0, height };
            s.add(l);
            ASSERT_TRUE(s.prepare());
            const double facing = 100.0 / (height * height);
            EXPECT_NEAR(mean_lux_at(s, 0, 0), facing, 0.01 * facing) << height;
            const double aside = sphere_lux(100.0, height, 0.3, 0.8, false);
            EXPECT_NEAR(mean_lux_at(s, 0.8, 0), aside, 0.015 * aside) << height;
        }
        test::scene s(LIGHT_MODEL_EXACT);
        s.doc->render_flags = RENDER_SOFT_SHADOWS;
        add_floor(s, 0.5f);
        add_lid(s);
        l.position = { 0, 0, 2 };
        s.add(l);
        ASSERT_TRUE(s.prepare());
        double sum = 0.0, wanted = 0.0;
        for (const double x : { -0.4, -0.25, -0.1, 0.0, 0.1, 0.2, 0.28 })
        {
            const double lux = sphere_lux(100.0, 2.0, 0.3, x, true), seen = mean_lux_at(s, x, 0);
            EXPECT_NEAR(seen, lux, 1.6 / std::sqrt(samples)) << x;
            sum += seen;
            wanted += lux;
        }
        EXPECT_NEAR(sum, wanted, (samples == 1 ? 0.02 : 0.005) * wanted);
        EXPECT_EQ(mean_lux_at(s, 0.35, 0), 0.0);

        light distant = test::scene::point_source({}, 0.0f);
        distant.type = LIGHT_PARALLEL;
        distant.dimmer = 0.5f;
        distant.altitude = M_PI / 2;
        distant.disc_size = 0.5f;
        distant.shadow_samples = samples;
        test::scene d(LIGHT_MODEL_EXACT);
        d.doc->render_flags = RENDER_SOFT_SHADOWS;
        add_floor(d, 0.5f);
        add_lid(d);
        d.add(distant);
        ASSERT_TRUE(d.prepare());
        for (const double x : { -0.2, -0.08, -0.05, 0.0, 0.03, 0.09, 0.2 })
        {
            EXPECT_NEAR(
                mean_lux_at(d, x, 0), 6250.0 * part_of_disc(-x / 0.1), 6250.0 * 0.06 / std::sqrt(samples))
                << x;
        }
    }
}

TEST(Ambient, IsTheReflectedLightAloneInTheExactModel)
{
    // One grey floor, so its mean reflectance is known; the light source below it lights nothing directly.
    struct
    {
        const char* what;
        float grey;
        double scene_area, factor; ///< of flux / area, by the exact model
    } const cases[] = {
        { "grey", 0.5f, 4000.0, 1.0 },
        { "dark", 0.1f, 4000.0, 1.0 / 9.0 },
        { "bright", 0.9f, 4000.0, 9.0 },
        { "white is clamped to 0.95", 1.0f, 4000.0, 19.0 },
        { "no area", 0.5f, 0.0, 0.0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s;
        add_floor(s, c.grey);
        s.doc->scene_area = c.scene_area;
        s.doc->sky_scale = 0.01; // counts in the fast model only
        light l = test::scene::point_source({ 0, 0, -2 }, 0.0f);
        l.brightness_unit = BRIGHTNESS_LUMENS;
        l.lumens = 8000.0f;
        s.add(l);
        ASSERT_TRUE(s.prepare());
        const double lux = c.scene_area > 0.0 ? 8000.0 / c.scene_area * c.factor : 0.0;
        EXPECT_NEAR(s.radiance({ 1, 2, 1 }, { 0, 0, -1 }), lux * c.grey / M_PI, 1e-5 * (1 + lux));

        // Fast: first and reflected light together, times the sky's scale squared; white light stays white.
        s.doc->light_model = LIGHT_MODEL_FAST;
        s.relight();
        const double rho = std::fmin(c.grey, 0.7);
        const double fast = c.scene_area > 0.0 ? 8000.0 / c.scene_area / (1 - rho) * 1e-4 : 0.0;
        EXPECT_NEAR(s.radiance({ 1, 2, 1 }, { 0, 0, -1 }), fast * c.grey / M_PI, 1e-7);
        // A sky that gives its light itself leaves it a hundredth; here it is night.
        s.doc->sun_sky->flags = SUN_BY_ANGLES;
        s.doc->sun_sky->direct_altitude = -1.0f;
        // The sun alone takes the sky's scale once, and six tenths of it.
        struct
        {
            uint32_t sky;
            double share;
        } const skies[] = { { SUN_SKY_SUN, 0.01 * 0.6 / 0.01 }, { SUN_SKY_SUN | SUN_SKY_INDIRECT, 1.0 } };
        for (const auto& [sky, share] : skies)
        {
            s.doc->sun_sky_flags = sky;
            s.relight();
            EXPECT_NEAR(
                s.radiance({ 1, 2, 1 }, { 0, 0, -1 }), share * fast * c.grey / M_PI, 1e-3 * share * fast);
        }
    }
}

TEST(DirectLight, TheSunHasAHighlightOfItsOwn)
{
    // A sun in the south, seen in a floor that mirrors four tenths. The highlight has the sharpness and the
    // strength of a disc: exponents and shares grow with that of the surface.
    const struct
    {
        float highlight;
        double off_deg, exponent, share;
    } cases[] = { { 250, 0, 778.375, 250 / 301.0 }, { 250, 2, 778.375, 250 / 301.0 },
        { 50, 8, 25, 50 / 301.0 }, { 1000, 0.5, 146629, 1 }, { 1, 0, 0, 0 } };
    for (const int32_t model : both_models)
    {
        for (const auto& c : cases)
        {
            SCOPED_TRACE(testing::Message() << c.highlight << ", " << c.off_deg << " degrees off");
            test::scene s(model);
            test::mesh floor;
            floor.look = s.look(
                [&](simple_material& m)
                {
                    m.diffuse_share = 0.6f;
                    m.highlight = c.highlight;
                });
            floor.quad({ -9, -9, 0 }, { 9, -9, 0 }, { 9, 9, 0 }, { -9, 9, 0 });
            ASSERT_TRUE(s.add(floor));
            s.doc->sun_sky_flags = SUN_SKY_SUN | SUN_SKY_INDIRECT;
            sun_sky& k = *s.doc->sun_sky;
            k.flags = SUN_BY_ANGLES | SUN_RGB_COLORS;
            k.direct_azimuth = float(M_PI);
            const double altitude = M_PI / 4 + c.off_deg * M_PI / 180;
            k.direct_altitude = float(altitude);
            k.sky_intensity = 0.0f;
            ASSERT_TRUE(s.prepare());
            const double shine =
                4.0 * c.share * c.share * std::pow(std::cos(c.off_deg * M_PI / 180), c.exponent);
            const double wanted = k.sun_strength * (0.6 * std::sin(altitude) / M_PI + (c.share ? shine : 0));
            EXPECT_NEAR(s.radiance({ 0, 1, 1 }, { 0, -1, -1 }), wanted, 2e-3 * wanted);
        }
    }
}

TEST(DirectLight, PassesThroughTranslucentSheetsFromBehind)
{
    for (const int32_t model : both_models)
    {
        for (const bool by_sun : { false, true })
        {
            test::scene s(model);
            test::mesh sheet;
            sheet.flags = OBJECT_THIN;
            sheet.look = s.look(
                [](simple_material& m)
                {
                    m.opacity = 0.25f;
                    m.translucent_share = 1.0f;
                    std::fill_n(m.color, 3, 0.5f);
                    std::fill_n(m.translucent_color, 3, 0.5f);
                });
            sheet.quad({ -9, -9, 0 }, { 9, -9, 0 }, { 9, 9, 0 }, { -9, 9, 0 });
            ASSERT_TRUE(s.add(sheet));
            if (by_sun)
            {
                s.doc->sun_sky_flags = SUN_SKY_SUN | SUN_SKY_INDIRECT;
                s.doc->sun_sky->flags = SUN_BY_ANGLES | SUN_RGB_COLORS;
                s.doc->sun_sky->direct_altitude = float(M_PI / 6);
                s.doc->sun_sky->sky_intensity = 0.0f;
            }
            else { s.add(test::scene::point_source({ 0, 0, 2 }, 100.0f)); }
            ASSERT_TRUE(s.prepare());
            const double lux = by_sun ? s.doc->sun_sky->sun_strength * 0.5 : 25.0;
            EXPECT_NEAR(
                s.radiance({ 0.02, 0.01, -0.1 }, { -0.02, -0.01, 0.1 }), 0.75 * 0.5 * lux / M_PI, 1e-3 * lux)
                << model << by_sun;
            EXPECT_NEAR(
                s.radiance({ 0.02, 0.01, 0.1 }, { -0.02, -0.01, -0.1 }), 0.25 * 0.5 * lux / M_PI, 1e-3 * lux)
                << model << by_sun;
        }
    }
}

TEST(DirectLight, FastSunSamplesAreStrataOfTheDiscWithNoise)
{
    test::scene s(LIGHT_MODEL_FAST);
    s.doc->sun_sky_flags = SUN_SKY_SUN;
    s.doc->render_flags = RENDER_SOFT_SHADOWS;
    s.doc->sun_sky->sun_size = 1.0;
    s.doc->sun_sky->sun_jitter = 0.0f;
    ASSERT_TRUE(s.prepare());
    ray r = s.eye_ray({ 0, 0, 1 }, { 0, 0, -1 });
    bool differs = false;
    for (int i = 0; i < 50; ++i)
    {
        r.pixel[0] = 3.0 * i;
        r.stratum[0] = 0.4;
        r.stratum[1] = -0.2;
        light_candidate c = {};
        place_sun_sample(*s.doc, r, c, 0);
        EXPECT_NEAR(c.sample.u, 0.7, 1e-12);
        EXPECT_NEAR(c.sample.v, 0.4, 1e-12);
        for (int ray_number = 1; ray_number < 4; ++ray_number)
        {
            place_sun_sample(*s.doc, r, c, ray_number);
            EXPECT_NEAR(c.sample.u, 0.9, 0.125) << "within a quarter of the disc";
            EXPECT_NEAR(c.sample.v, 0.3, 0.125);
            differs |= std::fabs(c.sample.u - 0.9) > 0.06 && std::fabs(c.sample.v - 0.3) > 0.06;
        }
    }
    EXPECT_TRUE(differs);
    s.doc->render_flags = 0;
    light_candidate middle = {};
    place_sun_sample(*s.doc, r, middle, 1);
    EXPECT_EQ(middle.sample.u + middle.sample.v, 1.0);
}
