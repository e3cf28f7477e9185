// The early stop of the list of lights.
#include <gtest/gtest.h>

#include "tests/support/scene.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace
{

using namespace zr;

/// A hall of 300 lamps between columns.
void fill_hall(test::scene& s)
{
    test::mesh room;
    room.look = s.matte(0.6f);
    room.box({ { 0, 0, 0 }, { 30, 20, 5 } });
    ASSERT_TRUE(s.add(room));
    test::mesh columns;
    for (int i = 0; i < 5; ++i)
    {
        for (int k = 0; k < 3; ++k)
        {
            const double x = 3.0 + 6 * i, y = 4.0 + 6 * k;
            columns.box({ { x, y, 0 }, { x + 0.6, y + 0.6, 5 } });
            columns.box({ { x + 2, y + 1, 0 }, { x + 3.5, y + 2, 1 } });
        }
    }
    ASSERT_TRUE(s.add(columns));
    for (int i = 0; i < 20; ++i)
    {
        for (int k = 0; k < 15; ++k)
        {
            light l = test::scene::point_source({ 0.75 + 1.5 * i, 0.7 + 1.33 * k, 4.2 }, 100.0f);
            l.radius = 0.05;
            s.add(l);
        }
    }
    ASSERT_TRUE(s.prepare());
}

} // namespace

TEST(LightOrder, FewOfManyLampsGiveNearlyAllTheirLight)
{
    test::scene s;
    fill_hall(s);
    s.doc->render_flags |= RENDER_SOFT_SHADOWS;
    constexpr int side = 72;
    std::vector<double> exhaustive, ordered;
    uint32_t rays[2] = { 0, 0 };
    for (const int32_t on : { 0, 1 })
    {
        EXPECT_EQ(zr_set_light_early_stop(s.doc, on), 0);
        s.relight();
        ray_counters counters = {};
        for (int i = 0; i < side * side; ++i)
        {
            // Over floor, columns, walls and ceiling, as a picture sees them.
            const double u = (i % side + 0.5) / side - 0.5, v = (i / side + 0.5) / side - 0.5;
            ray r = s.eye_ray({ 1, 1.5, 1.7 }, { 1.0 + 0.3 * u, 0.6 - 0.4 * u, 0.5 * v - 0.1 });
            r.pixel[0] = i % side;
            r.pixel[1] = i / side;
            r.counters = &counters;
            trace_ray(*s.doc, r, nullptr);
            (on ? ordered : exhaustive).push_back(r.radiance[1]);
        }
        rays[on] = counters.shadow_rays;
    }
    int off = 0;
    double sum = 0.0, exact_sum = 0.0;
    for (size_t i = 0; i < exhaustive.size(); ++i)
    {
        off += std::fabs(ordered[i] - exhaustive[i]) > 0.03 * exhaustive[i];
        sum += ordered[i];
        exact_sum += exhaustive[i];
    }
    EXPECT_LE(off, side * side * 15 / 100) << "single samples; pixels have several";
    EXPECT_NEAR(sum / exact_sum, 1.0, 3e-3);
    EXPECT_LT(rays[1], rays[0] / 3) << "of those to lights whose last blocker does not block them again";
}
