#include <gtest/gtest.h>

#include <string>

#include "tests/support/scene.hpp"
#include "zirconlite/picture/projection.h"
#include "zirconlite/picture/tone.h"
#include "zirconlite/raytrace/emission.hpp"
#include "zirconlite/raytrace/optics.hpp"
#include "zirconlite/raytrace/shadow_rays.hpp"

namespace
{

using namespace zr;

/// A square of half side `reach` round `centre`, square to `normal`, that glows with 1 cd/m2.
void add_target(test::scene& s, const vector3& centre, const vector3& normal, double reach)
{
    test::mesh m;
    m.look = s.glowing(1.0f);
    vector3 u, v;
    const vector3 n = normalized(normal);
    zr_make_axes(&n, &u, &v, 1e-5);
    u = u * reach;
    v = v * reach;
    m.quad(centre - u - v, centre + u - v, centre + u + v, centre - u + v);
    ASSERT_TRUE(s.add(m));
}

/// Rays from the eye in a grid of directions.
template <class Check> void for_all_directions(int steps, Check check)
{
    for (int i = 0; i < steps; ++i)
    {
        for (int j = 0; j < steps; ++j)
        {
            check(
                normalized(vector3{ -0.7 + 1.4 * (i + 0.37) / steps, 1.0, -0.7 + 1.4 * (j + 0.61) / steps }));
        }
    }
}

} // namespace

TEST(Glass, BendsLightByTheLawOfRefraction)
{
    // Through a slab 0.4 m thick a ray leaves in its own direction, moved sideways.
    for (const double ior : { 1.33, 1.5, 2.4 })
    {
        for (const double angle : { 0.05, 0.4, 0.9, 1.3 })
        {
            test::scene s;
            test::mesh slab;
            slab.look = s.glass(float(ior));
            slab.box({ { -20, 0, -1 }, { 20, 0.4, 1 } });
            ASSERT_TRUE(s.add(slab));
            const vector3 direction = { std::sin(angle), std::cos(angle), 0 };
            const double inside = std::asin(std::sin(angle) / double(float(ior)));
            const vector3 leaving = { 0.4 * std::tan(inside), 0.4, 0 };
            add_target(s, leaving + direction * 5.0, direction, 0.002);
            ASSERT_TRUE(s.prepare());
            const double f = fresnel_reflectance(std::cos(angle), float(ior));
            EXPECT_NEAR(s.radiance(direction * -1.0, direction), (1 - f) * (1 - f), 1e-6)
                << ior << " " << angle;
            // 3 mm aside it is missed.
            const vector3 across = { std::cos(angle) * 0.003, -std::sin(angle) * 0.003, 0 };
            EXPECT_LT(s.radiance(direction * -1.0 + across, direction), 0.01);
        }
    }
}

TEST(Furnace, MirrorAndGlassInALuminousShellShowItsRadiance)
{
    struct
    {
        const char* what;
        int32_t model;
        bool glass, ball, thin;
        double lowest, highest; ///< of the shell's radiance
    } const cases[] = {
        { "mirror box, exact", LIGHT_MODEL_EXACT, false, false, false, 1.0, 1.0 },
        { "mirror ball, exact", LIGHT_MODEL_EXACT, false, true, false, 1.0, 1.0 },
        { "glass box, exact", LIGHT_MODEL_EXACT, true, false, false, 1.0, 1.0 },
        { "glass ball, exact", LIGHT_MODEL_EXACT, true, true, false, 1.0, 1.0 },
        { "thin glass, exact", LIGHT_MODEL_EXACT, true, false, true, 1.0, 1.0 },
        { "mirror box, fast", LIGHT_MODEL_FAST, false, false, false, 1.0, 1.0 },
        { "mirror ball, fast", LIGHT_MODEL_FAST, false, true, false, 1.0, 1.0 },
        { "glass box, fast", LIGHT_MODEL_FAST, true, false, false, 0.9998, 1.0 },
        { "glass ball, fast", LIGHT_MODEL_FAST, true, true, false, 0.9998, 2.5 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s(c.model);
        test::mesh shell, thing;
        shell.look = s.glowing(100.0f);
        shell.box({ { -20, -20, -20 }, { 20, 20, 20 } });
        ASSERT_TRUE(s.add(shell));
        thing.look = c.glass ? s.glass(1.5f) : s.mirror(1.0f);
        thing.flags = c.thin ? uint32_t(OBJECT_THIN) : 0u;
        thing.smooth_cosine = c.ball ? 0.5 : 1.0;
        if (c.ball) { thing.ball({ 0, 5, 0 }, 3.0, 24); }
        else { thing.box({ { -2, 4, -1.5 }, { 1.5, 6, 2.5 } }); }
        ASSERT_TRUE(s.add(thing));
        ASSERT_TRUE(s.prepare());
        double lowest = 1e9, highest = 0.0, sum = 0.0;
        int met = 0;
        for_all_directions(40,
            [&](const vector3& d)
            {
                const ray r = s.seen({ 0.1, 0, 0.2 }, d);
                const double seen = r.radiance[1] / 100.0;
                lowest = std::fmin(lowest, seen);
                highest = std::fmax(highest, seen);
                if (r.hit_object->number <= 12) { return; } // the shell itself
                ++met;
                sum += seen;
            });
        EXPECT_GT(met, 400);
        const double slack = c.model == LIGHT_MODEL_EXACT ? 2e-6 : 1e-6;
        EXPECT_GT(lowest, c.lowest - slack);
        EXPECT_LT(highest, c.highest + slack);
        const bool fast_ball = c.glass && c.ball && c.model == LIGHT_MODEL_FAST;
        EXPECT_NEAR(sum / met, fast_ball ? 1.0395 : 1.0, fast_ball ? 1e-3 : 1e-4);
        RecordProperty(c.what, std::to_string(sum / met));
    }
}

TEST(Fresnel, AgreesWithTheTextbook)
{
    EXPECT_NEAR(fresnel_reflectance(1.0, 1.5), 0.04, 1e-12);
    EXPECT_NEAR(fresnel_reflectance(1.0, 1.0 / 1.5), 0.04, 1e-12) << "from within as from without";
    EXPECT_EQ(fresnel_reflectance(0.0, 1.5), 1.0);
    EXPECT_EQ(fresnel_reflectance(0.5, 1.0 / 1.5), 1.0) << "total reflection beyond 41.8 degrees";
    EXPECT_LT(fresnel_reflectance(std::cos(41.7 * M_PI / 180), 1.0 / 1.5), 1.0);
    // At Brewster's angle only one polarisation is left: half of sin^2 of twice the angle's complement.
    const double brewster = std::atan(1.5);
    EXPECT_NEAR(
        fresnel_reflectance(std::cos(brewster), 1.5), 0.5 * std::pow(std::cos(2 * brewster), 2), 1e-12);
    // The same on both sides of the surface along one path.
    for (double angle = 0.05; angle < 1.5; angle += 0.1)
    {
        const double inside = std::asin(std::sin(angle) / 1.7);
        EXPECT_NEAR(
            fresnel_reflectance(std::cos(angle), 1.7), fresnel_reflectance(std::cos(inside), 1 / 1.7), 1e-12);
    }
    EXPECT_NEAR(pane_reflectance(1.0, 1.5), 0.08 / 1.04, 1e-12);
    // At 70 degrees the waves are mirrored by 0.29960 and 0.04249, each with a series of its own.
    EXPECT_NEAR(
        pane_reflectance(std::cos(70.0 * M_PI / 180.0), 1.5), 0.29960 / 1.29960 + 0.04249 / 1.04249, 1e-5);
}

TEST(Reflection, IsSharedByWeightAndColour)
{
    // A mirror of half its light before a glowing wall of 1 cd/m2.
    struct
    {
        const char* what;
        int32_t model;
        int quality;
        float share, highlight;
        double seen;
    } const cases[] = {
        { "exact", LIGHT_MODEL_EXACT, 3, 0.5f, 0, 0.5 },
        { "exact, with highlight", LIGHT_MODEL_EXACT, 3, 0.5f, 100, 0.5 },
        { "fast", LIGHT_MODEL_FAST, 3, 0.5f, 0, 0.5 },
        { "fast, the highlight shows 5 per cent", LIGHT_MODEL_FAST, 3, 0.5f, 100, 0.45 * 1.05263 },
        { "fast, at low quality 10", LIGHT_MODEL_FAST, 2, 0.5f, 100, 0.4 * 1.111 },
        { "fast, all below 5 per cent", LIGHT_MODEL_FAST, 3, 0.04f, 100, 0.0 },
        { "exact, 4 per cent", LIGHT_MODEL_EXACT, 3, 0.04f, 100, 0.04 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s(c.model);
        s.doc->quality = c.quality;
        test::mesh m;
        m.look = s.look(
            [&](simple_material& l)
            {
                l.diffuse_share = 1.0f - c.share;
                l.highlight = c.highlight;
                l.color[1] = 0.0f;
            });
        m.quad({ 2, -9, -9 }, { 2, 9, -9 }, { 2, 9, 9 }, { 2, -9, 9 });
        ASSERT_TRUE(s.add(m));
        add_target(s, { -4, 0, 0 }, { 1, 0, 0 }, 9.0);
        ASSERT_TRUE(s.prepare());
        EXPECT_NEAR(s.radiance({ 0, 0, 0 }, { 1, 0.1, 0.2 }), c.seen, 1e-5);
    }
}

TEST(Reflection, SplitsAtTheFirstBlurredHitAlone)
{
    // Two weak blurred mirrors face to face.
    struct
    {
        const char* what;
        int32_t model;
        float share;
        uint32_t rays;
    } const cases[] = {
        { "fast: at every hit", LIGHT_MODEL_FAST, 0.5f, 4 + 16 + 64 },
        { "exact: four rays of depth three", LIGHT_MODEL_EXACT, 0.5f, 4 * 3 },
        { "exact: the third would bring less than a thousandth", LIGHT_MODEL_EXACT, 0.09f, 4 * 2 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s(c.model);
        test::mesh mirrors;
        mirrors.look = s.mirror(c.share);
        mirrors.quad({ 2, -90, -90 }, { 2, 90, -90 }, { 2, 90, 90 }, { 2, -90, 90 });
        mirrors.quad({ -2, -90, -90 }, { -2, 90, -90 }, { -2, 90, 90 }, { -2, -90, 90 });
        ASSERT_TRUE(s.add(mirrors));
        ASSERT_TRUE(s.prepare());
        s.doc->gloss_samples = 4;
        s.doc->reflect_limit = 3;
        ray_counters counters = {};
        ray r = s.eye_ray({ 0, 0, 0 }, { 1, 0.1, 0.2 });
        r.sample_index = 6;
        r.counters = &counters;
        trace_ray(*s.doc, r, nullptr);
        EXPECT_EQ(counters.reflection_rays, c.rays);
    }
}

TEST(Recursion, EndsAtItsLimitsBetweenMirrorsAndInGlass)
{
    // Two mirrors face to face, and a stack of glass boxes: rays grow with the limits, not without end.
    for (const int32_t model : { LIGHT_MODEL_FAST, LIGHT_MODEL_EXACT })
    {
        test::scene s(model);
        test::mesh mirrors, boxes;
        mirrors.look = s.mirror(1.0f);
        mirrors.quad({ 2, -9, -9 }, { 2, 9, -9 }, { 2, 9, 9 }, { 2, -9, 9 });
        mirrors.quad({ -2, -9, -9 }, { -2, 9, -9 }, { -2, 9, 9 }, { -2, -9, 9 });
        boxes.look = s.glass(1.5f);
        for (int i = 0; i < 10; ++i) { boxes.box({ { -1, 20 + 2.0 * i, -1 }, { 1, 21 + 2.0 * i, 1 } }); }
        ASSERT_TRUE(s.add(mirrors));
        ASSERT_TRUE(s.add(boxes));
        ASSERT_TRUE(s.prepare());
        for (const int32_t limit : { 0, 1, 5, 20 })
        {
            s.doc->reflect_limit = s.doc->refract_limit = limit;
            ray_counters counters = {};
            ray r = s.eye_ray({ 0, 0, 0 }, { 1, 0, 0 });
            r.counters = &counters;
            trace_ray(*s.doc, r, nullptr);
            EXPECT_EQ(counters.reflection_rays, uint32_t(limit));
        }
        s.doc->reflect_limit = s.doc->refract_limit = 20;
        ray_counters counters = {};
        ray r = s.eye_ray({ 0.3, 10, 0.2 }, { 0.01, 1, 0.02 });
        r.counters = &counters;
        trace_ray(*s.doc, r, nullptr);
        EXPECT_GT(counters.transmission_rays, 15u);
        EXPECT_LT(counters.transmission_rays + counters.reflection_rays, 200000u);
    }
}

TEST(Emission, OfShapesComesFromTheirLightsByKind)
{
    light source = {};
    source.lumens = 6.0f;
    source.candela = 2.0f;
    source.area = 0.5;
    source.dimmer = 0.5f;
    source.fixture_scale = 4.0f;
    for (int i = 0; i < 3; ++i)
    {
        source.intensity_color[i] = 10.0f * float(i + 1);
        source.flux_color[i] = 20.0f * float(i + 1);
        source.simple_color[i] = 0.1f * float(i + 1);
    }
    struct
    {
        const char* what;
        int32_t kind, simple;
        float factor, dimmer, candela;
        double red, blue; ///< red of flux 20, intensity 10, display value 0.1; blue is three times red
    } const cases[] = {
        { "shape", PROPERTY_LIGHT_SHAPE, 0, 0, 0.5f, 2, 10 * 6 / M_PI * 2, 30 * 6 / M_PI * 2 },
        { "not dimmed", PROPERTY_LIGHT_SHAPE, 0, 0, 0, 2, 10 * 6 / M_PI * 4, 30 * 6 / M_PI * 4 },
        { "with a factor", PROPERTY_LIGHT_SHAPE, 0, 3, 0, 2, 10 * 6 / M_PI * 12, 30 * 6 / M_PI * 12 },
        { "black", PROPERTY_LIGHT_SHAPE, 0, -1, 0.5f, 2, 0, 0 },
        { "of no candela", PROPERTY_LIGHT_SHAPE, 0, 1, 0.5f, 0, 0, 0 },
        { "simple shape", PROPERTY_LIGHT_SHAPE, 1, 3, 0.5f, 0, 0.1 * 6, 0.3 * 6 },
        { "glow", PROPERTY_GLOW, 0, 3, 0.5f, 2, 20 * 6 / M_PI, 60 * 6 / M_PI },
        { "simple glow", PROPERTY_GLOW, 1, 3, 0.5f, 2, 0.1, 0.3 },
        { "filtered", PROPERTY_GLOW_FILTERED, 0, 3, 0.5f, 2, 20 * 6 / M_PI * 0.25, 60 * 6 / M_PI * 0.75 },
        { "simple filtered", PROPERTY_GLOW_FILTERED, 1, 3, 0.5f, 2, 0.1 * 0.25, 0.3 * 0.75 },
        { "luminous", PROPERTY_LUMINOUS, 0, 3, 0.5f, 2, 5, 7 },
        { "simple luminous", PROPERTY_LUMINOUS, 1, 3, 0.5f, 2, 0.5, 0.7 },
        { "a group", PROPERTY_GROUP, 0, 3, 0.5f, 2, 0, 0 },
    };
    const job_state kept = job;
    static property_node nodes[2];
    object_vft table = {};
    table.get_properties = [](const scene_object*) { return nodes; };
    scene_object object = { nullptr, &table, 0, 0 };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        source.dimmer = c.dimmer;
        source.candela = c.candela;
        nodes[0] = { nodes + 1, c.kind, { &source }, c.factor, { 5, 6, 7 }, { 0.5f, 0.6f, 0.7f },
            { 0.25f, 0.5f, 0.75f }, nullptr };
        nodes[1] = { nullptr, PROPERTY_LUMINOUS, {}, 0, { 1, 1, 1 }, { 1, 1, 1 }, {}, nullptr };
        job.simple_colors = c.simple;
        EXPECT_EQ(zr_set_source_initial_luminance(&object), 1);
        surface s = {};
        float out[3];
        emission(&object, s, out);
        EXPECT_NEAR(out[0], 1 + c.red, 1e-5 * c.red + 1e-6);
        EXPECT_NEAR(out[2], 1 + c.blue, 1e-5 * c.blue + 1e-6);
        s.luminosity = 20000.0f / 16.0f;
        s.color[2] = 0.5f;
        emission(&object, s, out);
        const double own = c.simple ? 0.25 : 625.0; // 0.5 x the fourth root of a sixteenth
        EXPECT_NEAR(out[2], 1 + c.blue + own, 1e-4) << "and of its material";
    }
    EXPECT_EQ(zr_set_source_initial_luminance(nullptr), 1);
    job = kept;
}

TEST(Glass, LosesLightByTheLengthOfItsPath)
{
    const struct
    {
        float attenuation;
        double thickness, kept;
    } cases[] = { { 0, 2, 1 }, { 0.5f, 1, 0.5 }, { 0.5f, 2, 0.25 }, { 0.2f, 3, 0.512 }, { 1, 1, 0 },
        { 7, 1, 0 } };
    for (const auto& c : cases)
    {
        test::scene s;
        test::mesh block;
        block.look = s.look(
            [&](simple_material& m)
            {
                m.opacity = 0.0f;
                m.ior = 1.0f;
                m.attenuation = c.attenuation;
            });
        block.box({ { -1, 1, -1 }, { 1, 1 + c.thickness, 1 } });
        ASSERT_TRUE(s.add(block));
        add_target(s, { 0, 9, 0 }, { 0, 1, 0 }, 3);
        ASSERT_TRUE(s.prepare());
        EXPECT_NEAR(s.radiance({ 0.1, 0, 0.2 }, { 0, 1, 0 }), c.kept, 1e-6) << c.attenuation;
    }
}

TEST(Probes, MeasureTheLogAverageOfWhatTheySee)
{
    // Left of the view glows with 100 cd/m2, right with 1: half the probes each.
    test::scene s;
    for (const double side : { -1.0, 1.0 })
    {
        test::mesh m;
        m.look = s.glowing(side < 0 ? 100.0f : 1.0f);
        m.quad({ 0, 5, -99 }, { side * 99, 5, -99 }, { side * 99, 5, 99 }, { 0, 5, 99 });
        ASSERT_TRUE(s.add(m));
    }
    render_view& v = s.view;
    v.projection = PROJECTION_PERSPECTIVE;
    v.lens_length = 18;
    v.target = { 0, 5, 0 };
    v.right = { 1, 0, 0 };
    v.up = { 0, 0, 1 };
    v.back = { 0, -1, 0 };
    v.width = v.window_width = 144; // probes at 0.5, 16.5, ... 128.5: with a margin the last is left out
    v.height = v.window_height = 48;
    ASSERT_EQ(zr_init_projection(&v), 1);
    ASSERT_TRUE(s.prepare());
    s.doc->render_flags = RENDER_SOFT_SHADOWS;
    for (const int32_t method : { TONE_POWER, TONE_HISTOGRAM })
    {
        v.tone_method = method;
        v.brightness = 0.5f;
        // Eight columns, five of them left of the middle at 72.
        EXPECT_NEAR(zr_get_world_log_avg_luminance(s.doc, &v), std::pow(10.0, 2 * 5 / 8.0 - 0.5), 1e-3);
        EXPECT_NEAR(v.world_luminance, std::pow(10.0, 2 * 5 / 8.0 - 0.5), 1e-3);
        EXPECT_EQ(v.histogram->count > 0, true);
        EXPECT_EQ(zr_set_rt_world_log_avg_luminance(s.doc, &v), 1);
        EXPECT_NEAR(v.measured_luminance, std::pow(10.0, 2 * 5 / 9.0), 1e-2);
        EXPECT_NEAR(v.world_luminance, v.measured_luminance / std::sqrt(10.0), 1e-3);
        EXPECT_TRUE(v.view_flags & VIEW_TONE_VALID);
        EXPECT_EQ(s.doc->render_flags, uint32_t(RENDER_SOFT_SHADOWS));
        v.exposure_flags = EXPOSURE_LOCKED;
        v.world_luminance = 7.0;
        EXPECT_EQ(zr_get_world_log_avg_luminance(s.doc, &v), 7.0) << "locked";
        EXPECT_EQ(zr_set_rt_world_log_avg_luminance(s.doc, &v), 1);
        EXPECT_EQ(v.world_luminance, 7.0);
        v.exposure_flags = 0;
    }
}
