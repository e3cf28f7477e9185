/// @file
/// Indirect light where its amount is known.
#include <algorithm>
#include <cmath>
#include <functional>

#include "tests/support/picture_light.hpp"
#include "tests/support/room_scene.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/sampling/light_cache.hpp"

namespace
{

constexpr double albedo = 0.6, glow = 50.0, sky = 1000.0;

/// Looks upwards from the origin; walls of the scene are of one albedo.
struct bounced : test::scene
{
    bounced()
    {
        zr::fill_gamma_tables();
        set_room_settings(doc);
        zr_set_pixel_sampler(doc, SAMPLER_CONVERGING);
    }
    material_entry* grey(float luminosity = 0.0f)
    {
        return look(
            [&](simple_material& m)
            {
                std::fill_n(m.color, 3, float(albedo));
                m.luminosity = luminosity;
            });
    }
    void quad(double half, double z, material_entry* of)
    {
        test::mesh m;
        m.look = of;
        m.quad({ -half, -half, z }, { half, -half, z }, { half, half, z }, { -half, half, z });
        ASSERT_TRUE(add(m));
    }
    void box(double half, material_entry* of)
    {
        test::mesh m;
        m.look = of;
        m.box({ { -half, -half, -half }, { half, half, half } });
        ASSERT_TRUE(add(m));
    }
    void set_sky()
    {
        doc->environment.mode = ENVIRONMENT_FLAT;
        std::fill_n(doc->environment.color0, 3, 1.0f);
        zr_set_background_luminance(doc, sky);
    }
    /// A bright cap that the sky is importance sampled for.
    void set_cap()
    {
        doc->environment.mode = ENVIRONMENT_GRADIENT_3;
        std::fill_n(doc->environment.color0, 3, 1.0f);
        doc->environment.angle0 = 1.4f;
        doc->environment.angle1 = 1.3f;
        doc->environment.angle2 = -1.5f;
        zr_set_background_luminance(doc, 50000.0);
    }
    double mean(int32_t bounce_limit, int32_t samples, double clamp = 0.0, int32_t bounces = INDIRECT_PATHS)
    {
        EXPECT_EQ(zr_build_voxel_grid(doc), 1);
        EXPECT_EQ(set_room_view(doc, 16, 16), 1);
        render_view& v = doc->views[1];
        v.position = { 0, 0, 0 };
        v.up = { 0, 1, 0 };
        v.back = { 0, 0, -1 };
        v.right = { -1, 0, 0 };
        v.lens_length = 200;
        EXPECT_EQ(zr_init_projection(&v), 1);
        const sampling_limits limits = { 0.1, samples, samples, 3, 0.0 };
        EXPECT_EQ(zr_set_sampling_limits(doc, &limits), 1);
        const int32_t kind = bounce_limit > 0 ? bounces : INDIRECT_AMBIENT;
        EXPECT_EQ(zr_set_indirect_light(doc, kind, std::max(bounce_limit, 1), clamp), 1);
        render_job job = job_of(doc);
        EXPECT_TRUE(render_to_end(job) & RENDER_STATE_FINISHED);
        return test::average(test::light_of(v));
    }
};

} // namespace

TEST(Bounces, BringTheLightOfGlowingWallsAsASeries)
{
    for (const int limit : { 1, 3, 32 })
    {
        bounced room;
        room.box(2.0, room.grey(float(glow)));
        // Each bounce adds a term, and the shadow ray at its end one more; `color` tints the glow itself,
        // too.
        const double emitted = glow * albedo;
        const double series = emitted * (1.0 - std::pow(albedo, limit + 2)) / (1.0 - albedo);
        EXPECT_NEAR(room.mean(limit, 64), series, 0.01 * series) << limit << " bounces";
    }
    bounced kept;
    kept.box(2.0, kept.grey(float(glow)));
    const double series = glow * albedo / (1.0 - albedo);
    EXPECT_NEAR(kept.mean(8, 64, 0.0, INDIRECT_CACHE), series, 0.01 * series) << "light of all bounces";
    bounced clamped;
    clamped.box(2.0, clamped.grey(float(glow)));
    EXPECT_LT(clamped.mean(32, 64, 0.01), 1.01 * glow * albedo * (1.0 + albedo))
        << "the first reflection alone";
}

TEST(Bounces, EndInARoomThatTakesNoLight)
{
    bounced room;
    test::mesh m;
    m.look = room.look([](simple_material& s) { std::fill_n(s.color, 3, 1.0f); });
    m.box({ { -2, -2, -2 }, { 2, 2, 2 } });
    ASSERT_TRUE(room.add(m));
    room.add(test::scene::point_source({ 0.5, 0, 1 }, 10.0f));
    const double once = room.mean(1, 16);
    EXPECT_GT(room.mean(64, 16), 10.0 * once);
    EXPECT_GT(room.mean(64, 16, 0.0, INDIRECT_CACHE), 10.0 * once);
}

TEST(Bounces, KeepTheLightOfLuminairesInGloss)
{
    double light[2] = {};
    for (const int kind : { INDIRECT_PATHS, INDIRECT_CACHE })
    {
        bounced room;
        test::mesh m;
        m.look = room.look(
            [](simple_material& s)
            {
                std::fill_n(s.color, 3, 0.8f);
                std::fill_n(s.reflect_color, 3, 1.0f);
                s.diffuse_share = 0.5f;
                s.head.flags |= MATERIAL_OWN_HIGHLIGHT;
                s.own_highlight = 20.0f;
                s.own_strength = 1.0f;
                std::fill_n(s.own_highlight_color, 3, 1.0f);
            });
        m.box({ { -2, -2, -2 }, { 2, 2, 2 } });
        ASSERT_TRUE(room.add(m));
        room.add(test::scene::point_source({ 0.5, 0, 1 }, 100.0f));
        light[kind == INDIRECT_CACHE] = room.mean(32, 512, 0.0, kind);
    }
    EXPECT_NEAR(light[1] / light[0], 1.0, 0.02);
}

TEST(Bounces, BringLightOfPanelsAndMirrorsByTheirGeometry)
{
    // The ceiling's points see a square of 2 by 2, 4 below: the form factor of four quarters of it.
    const double side = 0.25, diagonal = std::sqrt(1.0 + side * side);
    const double factor = 4.0 / M_PI * side / diagonal * std::atan(side / diagonal);
    for (const int kind : { INDIRECT_PATHS, INDIRECT_CACHE })
    {
        bounced panel;
        panel.quad(0.3, 3.0, panel.grey());
        panel.quad(1.0, -1.0, panel.grey(float(glow)));
        const double radiance = albedo * factor * glow * albedo;
        EXPECT_NEAR(panel.mean(4, 256, 0.0, kind), radiance, 0.01 * radiance) << kind;
    }
    // A mirror beside it shows the ceiling a second source, 5 to the side and 2 below.
    const float share = 0.8f, candela = 1000.0f;
    const double near = 2.0 / std::pow(5.0, 1.5), image = 2.0 / std::pow(29.0, 1.5);
    bounced mirror;
    mirror.quad(0.3, 3.0, mirror.grey());
    test::mesh wall;
    wall.look = mirror.look(
        [&](simple_material& m)
        {
            std::fill_n(m.color, 3, 0.0f);
            m.diffuse_share = 1.0f - share;
            m.head.flags |= MATERIAL_SHARP_REFLECTION;
            std::fill_n(m.reflect_color, 3, 1.0f);
        });
    wall.quad({ -2, -5, -5 }, { -2, 5, -5 }, { -2, 5, 5 }, { -2, -5, 5 });
    ASSERT_TRUE(mirror.add(wall));
    mirror.add(test::scene::point_source({ 1, 0, 1 }, candela));
    const double radiance = albedo / M_PI * candela * (near + share * image);
    EXPECT_NEAR(mirror.mean(1, 64), radiance, 0.01 * radiance);
}

TEST(Bounces, FollowAPatchOfLightAndCurtainsToTheSameMean)
{
    // A spot lights a small part of the floor on either side of a translucent sheet.
    const auto build = [](bounced& room, double x)
    {
        room.box(3.0, room.grey());
        test::mesh sheet;
        sheet.look = room.look(
            [](simple_material& m)
            {
                std::fill_n(m.color, 3, float(albedo));
                m.opacity = 0.4f;
                m.translucent_share = 0.9f;
                std::fill_n(m.translucent_color, 3, float(albedo));
            });
        sheet.flags = OBJECT_THIN;
        sheet.quad({ -1, -3, -3 }, { -1, 3, -3 }, { -1, 3, 3 }, { -1, -3, 3 });
        ASSERT_TRUE(room.add(sheet));
        light spot = test::scene::point_source({ x, 0, 2.5 }, 5000.0f);
        spot.distribution = DISTRIBUTION_SPOT;
        spot.beam_angle = spot.field_angle = 0.15f;
        spot.normal = { 0, 0, -1 };
        room.add(spot);
    };
    for (const double x : { 1.5, -2.0 })
    {
        bounced followed, kept;
        build(followed, x);
        build(kept, x);
        const double by_paths = followed.mean(32, 2048);
        EXPECT_GT(by_paths, 0.1);
        EXPECT_NEAR(kept.mean(32, 256, 0.0, INDIRECT_CACHE), by_paths, 0.03 * by_paths) << x;
        ASSERT_GT(kept.doc->light_cache->guides.list.count, 20u);
    }
}

TEST(Bounces, FindTheSkyThroughPanesAsWithoutThem)
{
    // A box with one open side, where a pane that takes nothing away is aimed at.
    double without_pane = 0.0;
    for (const bool has_pane : { false, true })
    {
        bounced room;
        material_entry* const walls = room.grey();
        test::mesh m;
        m.look = walls;
        m.quad({ -2, -2, 3 }, { 2, -2, 3 }, { 2, 2, 3 }, { -2, 2, 3 });
        m.quad({ -2, -2, -1 }, { 2, -2, -1 }, { 2, 2, -1 }, { -2, 2, -1 });
        m.quad({ -2, -2, -1 }, { -2, 2, -1 }, { -2, 2, 3 }, { -2, -2, 3 });
        m.quad({ -2, 2, -1 }, { 2, 2, -1 }, { 2, 2, 3 }, { -2, 2, 3 });
        m.quad({ -2, -2, -1 }, { 2, -2, -1 }, { 2, -2, 3 }, { -2, -2, 3 });
        m.quad({ 2, -2, -1 }, { 2, 2, -1 }, { 2, 2, 1.5 }, { 2, -2, 1.5 });
        ASSERT_TRUE(room.add(m));
        test::mesh pane;
        pane.look = room.look(
            [](simple_material& p)
            {
                p.opacity = 0.0f;
                p.ior = 1.0f;
                std::fill_n(p.transparent_color, 3, 1.0f);
            });
        pane.flags = OBJECT_THIN;
        pane.quad({ 2, -2, 1.5 }, { 2, 2, 1.5 }, { 2, 2, 3 }, { 2, -2, 3 });
        if (has_pane) { ASSERT_TRUE(room.add(pane)); }
        room.set_sky();
        const double now = room.mean(4, 512);
        if (!has_pane) { without_pane = now; }
        EXPECT_GT(now, 10.0);
        EXPECT_NEAR(now, without_pane, 0.01 * without_pane);
    }
}

TEST(Bounces, FindTheSkyOnceBothByRaysAndByPaths)
{
    struct
    {
        const char* what;
        std::function<void(bounced&)> build;
        int32_t limit;
        double radiance;
    } const cases[] = {
        { "a ceiling over a wide floor has its light from there",
            [](bounced& s)
            {
                s.quad(0.5, 3.0, s.grey());
                s.quad(2000.0, -1.0, s.grey());
                s.set_sky();
            },
            1, albedo * albedo * sky },
        { "and over a ground plane as much",
            [](bounced& s)
            {
                s.quad(0.5, 3.0, s.grey());
                s.doc->environment_flags |= ENVIRONMENT_GROUND;
                s.doc->ground_height = -1.0;
                s.doc->ground_material_name = zr_dupestring(u"m0");
                s.set_sky();
            },
            1, albedo * albedo * sky },
        { "without a floor the whole sky around lights it, once",
            [](bounced& s)
            {
                s.quad(0.5, 3.0, s.grey());
                s.set_sky();
            },
            4, albedo * sky },
        { "a pane below changes that by what it keeps",
            [](bounced& s)
            {
                s.quad(0.5, 3.0, s.grey());
                test::mesh pane;
                pane.look = s.look(
                    [](simple_material& m)
                    {
                        m.opacity = 0.0f;
                        m.ior = 1.0f;
                        std::fill_n(m.transparent_color, 3, 0.5f);
                    });
                pane.flags = OBJECT_THIN;
                pane.quad({ -2000, -2000, -1 }, { 2000, -2000, -1 }, { 2000, 2000, -1 }, { -2000, 2000, -1 });
                ASSERT_TRUE(s.add(pane));
                s.set_sky();
            },
            4, 0.5 * albedo * sky },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        bounced s;
        c.build(s);
        EXPECT_NEAR(s.mean(c.limit, 256), c.radiance, 0.01 * c.radiance);
        EXPECT_NEAR(s.mean(c.limit, 256, 0.0, INDIRECT_CACHE), c.radiance, 0.01 * c.radiance)
            << "kept in cells";
    }
    // A cap of bright sky, for which half of the rays are importance sampled, over convex ground.
    double by_rays = 0.0;
    for (const int limit : { 0, 6 })
    {
        bounced s;
        s.quad(0.5, 3.0,
            s.look(
                [](simple_material& m)
                {
                    m.translucent_share = 1.0f;
                    m.opacity = 0.0f;
                    std::fill_n(m.translucent_color, 3, float(albedo));
                }));
        s.set_cap();
        const double now = s.mean(limit, 1024);
        if (limit == 0) { by_rays = now; }
        EXPECT_GT(now, 1.0);
        EXPECT_NEAR(now, by_rays, 0.01 * by_rays);
    }
}

TEST(Bounces, SettingsOutOfRangeChangeNothing)
{
    document* d = zr_open_document();
    for (const auto& [kind, limit] : { std::pair{ 7, 4 }, { INDIRECT_PATHS, 0 }, { INDIRECT_PATHS, 65 } })
    {
        EXPECT_EQ(zr_set_indirect_light(d, kind, limit, 0.0), 0);
        EXPECT_EQ(zr_last_error()->code, ZR_ERROR_ARGUMENT);
    }
    EXPECT_EQ(zr_set_indirect_light(nullptr, INDIRECT_PATHS, 4, 0.0), 0);
    EXPECT_EQ(zr_set_indirect_light(d, INDIRECT_PATHS, 4, std::nan("")), 0);
    EXPECT_EQ(d->indirect_light, INDIRECT_AMBIENT);
    EXPECT_EQ(d->bounce_limit, 8);
    zr_close_document(d);
}
