/// @file
/// What stops a shadow ray, and what it keeps of the light behind.
#include <gtest/gtest.h>

#include "tests/support/ball_object.hpp"
#include "tests/support/find_table.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/environment/ground.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/raytrace/shadow_rays.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace
{

using namespace zr;

constexpr int32_t both_models[] = { LIGHT_MODEL_FAST, LIGHT_MODEL_EXACT };

/// The light that a shadow ray upwards from (0, 0, 0) keeps; -1 when it is blocked.
double kept_upwards(test::scene& s, const light* source, int channel, double t_max)
{
    ray r = s.eye_ray({ 0, 0, 0 }, { 0, 0, 1 });
    r.kind = RAY_SHADOW;
    for (float& c : r.simple_color) { c = 1.0f; }
    r.t_min = s.doc->epsilon;
    r.t_max = t_max;
    return shadow_test(*s.doc, source, r) ? -1.0 : r.simple_color[channel];
}

} // namespace

TEST(ShadowTest, ObjectsThatCastNoShadowAreSkipped)
{
    struct
    {
        const char* what;
        uint32_t flags;
        uint32_t ray_flags;
        bool blocks;
    } const cases[] = {
        { "none", 0, 0, true },
        { "no shadow", OBJECT_NO_SHADOW, 0, false },
        { "no shadow, for the solver's ray", OBJECT_NO_SHADOW, RAY_PROBE, true },
        { "no solver shadow", OBJECT_NO_SOLVER_SHADOW, 0, true },
        { "no solver shadow, for the solver's ray", OBJECT_NO_SOLVER_SHADOW, RAY_PROBE, false },
        { "no window shadow, of a light source", OBJECT_NO_WINDOW_SHADOW, 0, true },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s;
        test::mesh sheet;
        sheet.flags = c.flags;
        sheet.quad({ -1, -1, 1 }, { 1, -1, 1 }, { 1, 1, 1 }, { -1, 1, 1 });
        ASSERT_TRUE(s.add(sheet));
        s.add(test::scene::point_source({ 0, 0, 2 }, 100.0f));
        ASSERT_TRUE(s.prepare());
        ray r = s.eye_ray({ 0.1, 0.2, 0 }, { 0, 0, 1 });
        r.flags = c.ray_flags;
        r.t_max = 2.0;
        for (float& k : r.simple_color) { k = 1.0f; }
        EXPECT_EQ(shadow_test(*s.doc, s.doc->lights, r), c.blocks);
        EXPECT_EQ(r.simple_color[0], c.blocks ? 0.0f : 1.0f);
    }
}

TEST(ShadowTest, ALightPassesTheObjectsThatNameItAsTheirs)
{
    // A host may add the property by itself, without the flag that makes the builder add it.
    test::scene s;
    test::mesh sheet;
    sheet.quad({ -1, -1, 1 }, { 1, -1, 1 }, { 1, 1, 1 }, { -1, 1, 1 });
    ASSERT_TRUE(s.add(sheet));
    s.add(test::scene::point_source({ 0, 0, 2 }, 100.0f));
    s.add(test::scene::point_source({ 0, 0, 2 }, 50.0f));
    light* const first = s.doc->lights;
    property_node other = {}, own = {};
    other.kind = own.kind = PROPERTY_LIGHT_SHAPE;
    other.payload.light = first->next;
    own.payload.light = first;
    scene_object* const face = s.doc->scene_objects.first;
    ASSERT_TRUE(s.prepare());
    EXPECT_EQ(kept_upwards(s, first, 0, 2.0), -1.0);
    face->vft->add_property(face, &own);
    face->vft->add_property(face, &other);
    EXPECT_EQ(kept_upwards(s, first, 0, 2.0), 1.0);
    EXPECT_EQ(kept_upwards(s, first->next, 0, 2.0), 1.0) << "each property counts";
    EXPECT_EQ(kept_upwards(s, nullptr, 0, 2.0), -1.0) << "the sun has no shape";
    light outer = {}, inner = {}, leaf = {}, beside = {};
    leaf.parent = &inner;
    inner.parent = beside.parent = &outer;
    EXPECT_TRUE(
        group_contains(&outer, &leaf) && group_contains(&inner, &leaf) && group_contains(&leaf, &leaf));
    EXPECT_FALSE(group_contains(&inner, &beside) || group_contains(&leaf, &inner));
    EXPECT_FALSE(group_contains(nullptr, &leaf) || group_contains(&outer, nullptr));
    // The ground plane is an object like others, but belongs to no light.
    s.doc->environment_flags = ENVIRONMENT_GROUND;
    s.doc->ground_height = 0.5;
    s.relight();
    EXPECT_EQ(kept_upwards(s, first, 0, 2.0), -1.0);
    EXPECT_EQ(kept_upwards(s, first, 0, 0.4), 1.0);
    end_ground();
}

TEST(ShadowTest, TheSurfaceDecidesWhatPasses)
{
    // The material blocks, the surface at the hit does not: a cut-out picture of a kind of its own.
    test::balls round;
    test::scene s;
    object_vft clear = test::ball_tables[test::BALL_PLAIN];
    clear.get_surface = [](scene_object* o, ray* r, surface* out)
    {
        zr_resolve_surface(o->vft->get_material(o), r, out);
        out->transparent = r->hit_point.x > 0.0 ? 1.0f : 0.0f;
        out->ior = 1.0f;
        for (float& c : out->transparent_color) { c = 1.0f; }
    };
    round.add(s.doc, test::BALL_PLAIN, { 0, 0, 1 }, 0.5, s.matte(0.5f));
    round.all.back().head.vft = &clear;
    s.add(test::scene::point_source({ 0, 0, 2 }, 100.0f));
    ASSERT_TRUE(s.prepare());
    const auto passing = [&](double x)
    {
        ray r = s.eye_ray({ x, 0, 0 }, { 0, 0, 1 });
        r.kind = RAY_SHADOW;
        r.t_max = 2.0;
        for (float& c : r.simple_color) { c = 1.0f; }
        return shadow_test(*s.doc, s.doc->lights, r) ? 0.0f : r.simple_color[0];
    };
    EXPECT_EQ(passing(-0.1), 0.0f);
    EXPECT_EQ(passing(0.1), 1.0f);

    // A face with decals is asked too; its material says nothing about their holes.
    test::mesh sheet;
    sheet.look = s.matte(0.5f);
    sheet.quad({ -1, -1, 5 }, { 1, -1, 5 }, { 1, 1, 5 }, { -1, 1, 5 });
    ASSERT_TRUE(s.add(sheet));
    scene_object* const face = s.doc->scene_objects.first;
    EXPECT_TRUE(face->vft->is_opaque(face));
    property_node decals = {};
    decals.kind = PROPERTY_DECALS;
    face->vft->add_property(face, &decals);
    EXPECT_FALSE(face->vft->is_opaque(face));
}

namespace
{

int table_requests;
material_entry color_table[256];
void* give_color_table() { return ++table_requests < 2 ? nullptr : color_table; }

} // namespace

TEST(ShadowTest, TheHostsColourTableIsAskedForUntilItIsThereAndNeverByRays)
{
    const host_functions functions(
        { { "host_get_color_material_table", reinterpret_cast<void*>(give_color_table) } });
    table_requests = 0;
    test::scene s;
    test::mesh sheet;
    sheet.look = s.glass(1.0f);
    sheet.quad({ -1, -1, 1 }, { 1, -1, 1 }, { 1, 1, 1 }, { -1, 1, 1 });
    ASSERT_TRUE(s.add(sheet));
    EXPECT_EQ(table_requests, 0) << "no colour index";
    scene_object* const face = s.doc->scene_objects.first;
    color_table[3] = *s.matte(0.5f);
    const uint8_t indexed[4] = { 0, 0, 0, 3 };
    face->vft->set_color(face, indexed);
    face->vft->set_flags(face, OBJECT_TABLE_MATERIAL, FLAGS_SET);
    EXPECT_EQ(face->vft->get_material(face), sheet.look->material) << "the host had none yet";
    ASSERT_TRUE(s.prepare());
    for (int i = 0; i < 100; ++i) { EXPECT_EQ(kept_upwards(s, nullptr, 0, 2.0), -1.0); }
    s.relight();
    EXPECT_EQ(table_requests, 2) << "the answer is kept";
}

TEST(ShadowTest, EachPaneFiltersOnce)
{
    // Panes of a tint without reflection: what is left is a power of it, however the search meets them.
    struct
    {
        const char* what;
        int panes;
        double gap;
        bool fine; ///< split in many triangles, so that cells are split
    } const cases[] = { { "one", 1, 0.1, false }, { "16", 16, 0.01, false }, { "17", 17, 0.01, false },
        { "40 at one place", 40, 0.0, false }, { "40 over some cells", 40, 0.2, false },
        { "40 at one place, fine", 40, 0.0, true }, { "40 close, fine", 40, 0.001, true } };
    for (const auto& c : cases)
    {
        for (const int32_t model : both_models)
        {
            SCOPED_TRACE(c.what);
            test::scene s(model);
            test::mesh panes;
            panes.flags = OBJECT_THIN;
            panes.look = s.glass(1.0f, 0.9f, 0.95f, 1.0f);
            for (int i = 0; i < c.panes; ++i)
            {
                const double z = 1.0 + i * c.gap, wide = c.fine ? 0.2 : 1.0;
                for (double x = -1.0; x < 0.99; x += 2 * wide)
                {
                    panes.quad({ x - 0.03, -1.1, z }, { x - 0.03 + 2 * wide, -1.1, z },
                        { x - 0.03 + 2 * wide, 1, z }, { x - 0.03, 1, z });
                }
            }
            ASSERT_TRUE(s.add(panes));
            test::mesh ground;
            ground.quad({ -9, -9, -9 }, { 9, -9, -9 }, { 9, 9, -9 }, { -9, 9, -9 });
            ASSERT_TRUE(s.add(ground));
            light l = test::scene::point_source({ 0, 0, 20 }, 100.0f);
            s.add(l);
            ASSERT_TRUE(s.prepare());
            const double red = kept_upwards(s, s.doc->lights, 0, 20.0);
            EXPECT_NEAR(red, std::pow(0.9, c.panes), 1e-4 * red + 1e-6);
            EXPECT_NEAR(kept_upwards(s, s.doc->lights, 1, 20.0), std::pow(0.95, c.panes), 1e-4);
            EXPECT_NEAR(kept_upwards(s, s.doc->lights, 2, 20.0), 1.0, 1e-5);
        }
    }
}
