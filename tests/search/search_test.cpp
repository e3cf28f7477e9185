#include <gtest/gtest.h>

#include "tests/support/scene.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/search/ray_search.hpp"
#include "zirconlite/search/search_structure.h"
#include "zirconlite/search/voxel_grid.hpp"

namespace
{

using namespace zr;

constexpr int32_t structures[] = { SEARCH_GRID, SEARCH_TREE };

/// What is built in its scope.
struct chosen_structure
{
    explicit chosen_structure(int32_t structure) : before(zr_set_search_structure(structure)) {}
    ~chosen_structure() { zr_set_search_structure(before); }
    int32_t before;
};

} // namespace

TEST(Search, OfHitsAtOneDistanceTheOneCreatedFirstWins)
{
    test::scene s;
    test::mesh m;
    for (int i = 0; i < 200; ++i) { m.quad({ -1, -1, 0 }, { 1, -1, 0 }, { 1, 1, 0 }, { -1, 1, 0 }); }
    for (int i = 0; i < 200; ++i)
    {
        m.triangle({ 2, 2, 0 }, { 2.01, 2, 0 }, { 2, 2.01, 0 });
    } // splits its cell
    ASSERT_TRUE(s.add(m));
    for (const int32_t structure : structures)
    {
        const chosen_structure chosen(structure);
        ASSERT_TRUE(zr_build_voxel_grid(s.doc));
        for (int n = 0; n < 100; ++n)
        {
            const vector3 target = { -0.9 + 0.018 * n, 0.3, 0 };
            ray r = s.eye_ray({ 0.1, 0.2, 5 }, target - vector3{ 0.1, 0.2, 5 });
            ASSERT_TRUE(find_nearest_hit(*s.doc, r));
            EXPECT_LE(r.hit_object->number, 2u);
        }
        ray r = s.eye_ray({ 2.001, 2.001, 5 }, { 0, 0, -1 });
        ASSERT_TRUE(find_nearest_hit(*s.doc, r));
        EXPECT_EQ(r.hit_object->number, 401u);
    }
}

TEST(Grid, SmallObjectsSplitACellAndLargeOnesNever)
{
    // Cells of the top grid are 1 unit wide; 0.25 of that is small.
    const chosen_structure chosen(SEARCH_GRID);
    struct
    {
        const char* what;
        int count;
        double size;
        int subgrids;
    } const cases[] = { { "31 small ones", 31, 0.1, 0 }, { "32 small ones", 32, 0.1, 1 },
        { "100 large ones", 100, 0.6, 0 }, { "2000 small ones", 2000, 0.1, 1 } };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s;
        test::mesh m;
        m.triangle(
            { 0, 0, 0 }, { 32, 0, 0 }, { 0, 32, 32 }); // spans the scene, through few cells of the middle
        for (int i = 0; i < c.count; ++i)
        {
            const vector3 p = { 20.2, 20.2, 4.2 };
            m.triangle(p, p + vector3{ c.size, 0, 0 }, p + vector3{ 0, c.size, 0.05 });
        }
        ASSERT_TRUE(s.add(m));
        ASSERT_TRUE(zr_build_voxel_grid(s.doc));
        int32_t counts[12];
        EXPECT_EQ(zr_voxel_grid_stats(s.doc->voxel_grid, counts), 1);
        EXPECT_EQ(counts[0], c.subgrids);
        EXPECT_EQ(counts[1], 0) << "cells of the second level never split";
        EXPECT_EQ(counts[10], 2);
        EXPECT_GE(counts[11], 32 * 32 * 32 * 8 + c.subgrids * 64 * 8);
        const int32_t bytes = counts[11];
        ASSERT_TRUE(zr_build_voxel_grid(s.doc)) << "a second build starts anew";
        zr_voxel_grid_stats(s.doc->voxel_grid, counts);
        EXPECT_EQ(counts[11], bytes);
    }
    int32_t counts[12] = { 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1 };
    EXPECT_EQ(zr_voxel_grid_stats(nullptr, counts), 0);
    EXPECT_EQ(counts[11], 0);
    EXPECT_EQ(zr_build_voxel_grid(nullptr), 0);
}

TEST(Clipper, LeavesTheCommonPartOfPolygonAndSet)
{
    const clip_plane unit_box[] = {
        { { 1, 0, 0 }, { 1, 1, 1 }, 1 },
        { { -1, 0, 0 }, { 0, 0, 0 }, 0 },
        { { 0, 1, 0 }, { 1, 1, 1 }, 1 },
        { { 0, -1, 0 }, { 0, 0, 0 }, 0 },
    };
    struct
    {
        const char* what;
        std::vector<vector3> polygon;
        double area; ///< of what is left; 0 nothing
    } const cases[] = {
        { "within", { { .2, .2, 0 }, { .8, .2, 0 }, { .8, .8, 0 }, { .2, .8, 0 } }, 0.36 },
        { "round the whole", { { -9, -9, 0 }, { 9, -9, 0 }, { 9, 9, 0 }, { -9, 9, 0 } }, 1.0 },
        { "on its border", { { 0, 0, 0 }, { 1, 0, 0 }, { 1, 1, 0 }, { 0, 1, 0 } }, 1.0 },
        { "across a corner", { { .5, -.5, 0 }, { 1.5, .5, 0 }, { -.5, .5, 0 } }, 0.5 - 0.0 },
        { "beside, boxes overlap", { { 1.5, .9, 0 }, { .9, 1.5, 0 }, { 3, 3, 0 } }, 0.0 },
        { "beyond", { { 2, 0, 0 }, { 3, 0, 0 }, { 2, 1, 0 } }, 0.0 },
        { "two equal vertices", { { .2, .2, 0 }, { .2, .2, 0 }, { .8, .2, 0 }, { .8, .8, 0 } }, 0.18 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const clip_set set = { 4, unit_box };
        vector3 in[12], scratch[12], *out = nullptr;
        std::copy(c.polygon.begin(), c.polygon.end(), in);
        const int32_t left = zr_sh_clip_arbitrary(&set, int32_t(c.polygon.size()), in, scratch, &out);
        if (c.area == 0.0)
        {
            EXPECT_EQ(left, 0);
            continue;
        }
        ASSERT_GE(left, 3);
        double doubled = 0.0;
        for (int i = 1; i + 1 < left; ++i) { doubled += cross(out[i] - out[0], out[i + 1] - out[0]).z; }
        EXPECT_NEAR(doubled / 2, c.area, 1e-12);
        for (int i = 0; i < left; ++i)
        {
            EXPECT_TRUE(
                out[i].x > -1e-12 && out[i].x < 1 + 1e-12 && out[i].y > -1e-12 && out[i].y < 1 + 1e-12);
        }
    }
}
