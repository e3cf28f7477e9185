#include <gtest/gtest.h>

#include "tests/support/scene.hpp"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/raytrace/solution.hpp"

namespace
{

using namespace zr;

/// A solution of a fixed light for each kind that is asked for.
struct fixed_solution
{
    fixed_solution()
    {
        solution.look_up =
            [](const document&, const surface&, ray&, float out[3], uint32_t lights, const vector3*)
        {
            const float light =
                (lights & solution_direct ? 10.0f : 0.0f) + (lights & solution_indirect ? 5.0f : 0.0f) +
                (lights & solution_ambient ? 2.0f : 0.0f) - (lights & solution_without_sun ? 1.0f : 0.0f);
            std::fill_n(out, 3, light);
        };
    }
    ~fixed_solution() { solution = {}; }
};

/// A floor whose faces take part in radiosity, and a light source 2 metres above it.
struct solved_scene : test::scene
{
    solved_scene(
        int32_t light_model, uint32_t flags, bool has_source, bool has_distant, bool has_sun, bool covered)
        : test::scene(light_model)
    {
        test::mesh floor;
        floor.look = matte(0.5f);
        floor.flags = flags;
        floor.quad({ -9, -9, 0 }, { 9, -9, 0 }, { 9, 9, 0 }, { -9, 9, 0 });
        add(floor);
        for (scene_object* o = doc->scene_objects.first; o; o = o->next) { o->vft = &solved_faces(); }
        test::mesh cover;
        cover.quad({ -1, -1, 1 }, { 1, -1, 1 }, { 1, 1, 1 }, { -1, 1, 1 });
        if (covered) { add(cover); }
        if (has_source) { add(point_source({ 0, 0, 2 }, 100.0f)); }
        light distant = point_source({ 0, 0, 0 }, 1.0f);
        distant.type = LIGHT_PARALLEL;
        distant.azimuth = 0.0;
        distant.altitude = M_PI / 2;
        distant.dimmer = 0.25f; // 390.625 lux
        if (has_distant) { add(distant); }
        doc->sky_light_samples = 0;
        if (has_sun)
        {
            doc->sun_sky_flags = SUN_SKY_SUN;
            doc->sun_sky->flags = SUN_BY_ANGLES;
            doc->sun_sky->direct_altitude = float(M_PI / 2);
        }
        EXPECT_TRUE(prepare());
    }
    static const object_vft& solved_faces()
    {
        static object_vft vft = *y_mesh_get_vft();
        vft.type_id = OBJECT_RMESH;
        return vft;
    }
    double seen_from_the_side() const { return radiance({ 3, 0, 0.5 }, { -3, 0, -0.5 }); }
};

} // namespace

TEST(Solution, GivesTheLightThatRaysDoNot)
{
    const double of_source = 25.0 * 0.5 / M_PI, of_distant = 390.625 * 0.5 / M_PI;
    struct
    {
        const char* what;
        int32_t mode;
        uint32_t flags, render_flags;
        bool solved, source, distant, covered;
        double radiance;
    } const cases[] = {
        { "the solution alone", MODE_RADIOSITY, 0, 0, true, false, false, false, 16.0 },
        { "the light sources are in it", MODE_RADIOSITY, 0, 0, true, true, false, false, 16.0 },
        { "distant ones come by rays", MODE_RADIOSITY, 0, 0, true, true, true, false, 16.0 + of_distant },
        { "with their shadows", MODE_RADIOSITY, 0, 0, true, true, true, true, 16.0 },
        { "direct light by rays", MODE_RADIOSITY, 0, RENDER_DIRECT_OVER_SOLUTION, true, true, true, false,
            7.0 + of_source + of_distant },
        { "direct light by rays, in shadow", MODE_RADIOSITY, 0, RENDER_DIRECT_OVER_SOLUTION, true, true, true,
            true, 7.0 },
        { "an object without a solution", MODE_RADIOSITY, OBJECT_NOT_RADIOSITY, 0, true, true, false, false,
            of_source },
        { "no solver", MODE_RADIOSITY, 0, 0, false, true, false, false, of_source },
        { "another mode", MODE_RAYTRACE, 0, 0, true, true, false, false, of_source },
    };
    for (const int32_t model : { LIGHT_MODEL_FAST, LIGHT_MODEL_EXACT })
    {
        for (const auto& c : cases)
        {
            SCOPED_TRACE(c.what + std::string(model == LIGHT_MODEL_FAST ? ", fast" : ", exact"));
            solved_scene s(model, c.flags, c.source, c.distant, false, c.covered);
            s.doc->mode = c.mode;
            s.doc->render_flags = c.render_flags;
            const fixed_solution fixed;
            if (!c.solved) { solution = {}; }
            EXPECT_NEAR(s.seen_from_the_side(), c.radiance, 2e-3 * c.radiance);
        }
    }
}

TEST(Solution, LeavesTheSunToRays)
{
    solved_scene s(LIGHT_MODEL_EXACT, 0, true, false, true, false);
    const double by_source = 25.0 * 0.5 / M_PI, by_rays = s.seen_from_the_side() - by_source;
    EXPECT_GT(by_rays, 1000.0);
    const fixed_solution fixed;
    s.doc->mode = MODE_RADIOSITY;
    EXPECT_NEAR(s.seen_from_the_side(), 16.0 + by_rays, 1e-3 * by_rays);
}
