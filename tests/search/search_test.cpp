#include <gtest/gtest.h>

#include <map>
#include <random>

#include "tests/support/scene.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/search/ray_search.hpp"
#include "zirconlite/search/search_structure.h"
#include "zirconlite/search/voxel_grid.hpp"

namespace
{

using namespace zr;

/// The nearest hit by asking every object.
bool nearest_of_all(const document& d, ray& r)
{
    for (uint32_t i = 1; i < d.object_table_count; ++i)
    {
        scene_object* o = d.object_table[i];
        o->vft->intersect(&r, o, -1e15, ZR_FAR);
    }
    return r.hit_object != nullptr;
}

constexpr int32_t structures[] = { SEARCH_GRID, SEARCH_TREE };

/// What is built while this stands.
struct chosen_structure
{
    explicit chosen_structure(int32_t structure) : before(zr_set_search_structure(structure)) {}
    ~chosen_structure() { zr_set_search_structure(before); }
    int32_t before;
};

struct soup_kind
{
    const char* what;
    vector3 centre;
    double spread, largest, sliver; ///< of positions, of sizes, width over length
    double flatness;                ///< height over width
    int count;
    int lattice; ///< positions are multiples of spread / lattice; 0 free
};

const soup_kind soups[] = {
    { "plain", { 0, 0, 0 }, 10, 2, 1, 1, 400, 0 },
    { "tiny among a few", { 0, 0, 0 }, 100, 0.01, 1, 1, 3000, 0 },
    { "huge", { 0, 0, 0 }, 10, 200, 1, 1, 60, 0 },
    { "slivers", { 1, 2, 3 }, 10, 10, 0.0003, 1, 500, 0 },
    { "far from the origin", { 52000, -87000, 130 }, 10, 2, 1, 1, 400, 0 },
    { "very large units", { 0, 0, 0 }, 3e6, 3e5, 1, 1, 400, 0 },
    { "very small units", { 0, 0, 0 }, 1e-3, 2e-4, 1, 1, 400, 0 },
    { "flat", { 0, 0, 0 }, 10, 1, 1, 0.0, 500, 0 },
    { "upright on a lattice", { 0, 0, 0 }, 8, 2, 1, 1, 300, 16 },
};

struct soup
{
    std::mt19937 random;
    const soup_kind& kind;

    double number(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(random);
    }
    double place(double reach)
    {
        const double x = number(-reach, reach);
        if (!kind.lattice) { return x; }
        const double step = kind.spread / kind.lattice;
        return std::floor(x / step + 0.5) * step;
    }
    vector3 point(double reach)
    {
        return vector3{ place(reach), place(reach), place(reach) * kind.flatness };
    }
    void fill(test::mesh& m)
    {
        for (int i = 0; i < kind.count; ++i)
        {
            const vector3 a = kind.centre + point(kind.spread);
            const vector3 b = a + point(kind.largest), c = a + point(kind.largest * kind.sliver);
            m.triangle(a, b, c);
            if (i % 10 == 0) { m.triangle(a, b, c); } // coincident: created later, never seen
        }
    }
    vector3 point_of_a_face(const test::scene& s)
    {
        const auto& f = test::face(s, 1 + random() % (s.doc->object_table_count - 1));
        vector3 p = { 0, 0, 0 };
        const double weights[3] = { 0.5, 0.25, 0.25 };
        for (int i = 0; i < 3; ++i)
        {
            const float* v = f.vertex[i]->position;
            p += vector3{ v[0], v[1], v[2] } * weights[i];
        }
        return p;
    }
    /// Rays along the axes, from surfaces past them as a mirror sends them, at surfaces, and free ones.
    ray shot(const test::scene& s, int n)
    {
        vector3 from = kind.centre + point(n % 3 ? kind.spread * 1.5 : kind.spread);
        vector3 along = { number(-1, 1), number(-1, 1), number(-1, 1) };
        if (n % 5 == 1) { from = point_of_a_face(s); }
        if (n % 4 == 0 || kind.lattice)
        {
            const double sign = number(-1, 1) < 0 ? -1.0 : 1.0;
            const int axis = n / 4 % 3;
            along = { axis == 0 ? sign : 0.0, axis == 1 ? sign : 0.0, axis == 2 ? sign : 0.0 };
        }
        else if (n % 2) { along = point_of_a_face(s) - from; }
        ray r = s.eye_ray(from, along);
        if (n % 5 == 1) { r.t_min = s.doc->epsilon; }
        if (n % 7 == 0) { r.t_max = kind.spread * number(0, 1); }
        return r;
    }
};

} // namespace

TEST(Search, FindsWhatAskingEveryObjectFinds)
{
    for (const soup_kind& kind : soups)
    {
        for (const int32_t structure : structures)
        {
            const chosen_structure chosen(structure);
            SCOPED_TRACE(kind.what);
            SCOPED_TRACE(structure == SEARCH_GRID ? "grid" : "tree");
            soup made{ std::mt19937(11), kind };
            test::scene s;
            test::mesh m;
            made.fill(m);
            ASSERT_TRUE(s.add(m));
            ASSERT_TRUE(zr_build_voxel_grid(s.doc));
            int hits = 0, lost = 0, wrong = 0;
            for (int n = 0; n < 6000; ++n)
            {
                ray r = made.shot(s, n), all = r;
                const bool hit = find_nearest_hit(*s.doc, r);
                const bool wanted = nearest_of_all(*s.doc, all);
                hits += wanted;
                lost += wanted && !hit;
                wrong += hit && (all.hit_object != r.hit_object || all.hit_t != r.hit_t);
            }
            EXPECT_GT(hits, 50);
            EXPECT_EQ(lost, 0) << "of " << hits;
            EXPECT_EQ(wrong, 0) << "of " << hits;
        }
    }
}

TEST(Search, ShowsEveryHitToAVisitor)
{
    for (const soup_kind& kind : soups)
    {
        for (const int32_t structure : structures)
        {
            const chosen_structure chosen(structure);
            SCOPED_TRACE(kind.what);
            SCOPED_TRACE(structure == SEARCH_GRID ? "grid" : "tree");
            soup made{ std::mt19937(5), kind };
            test::scene s;
            test::mesh m;
            made.fill(m);
            ASSERT_TRUE(s.add(m));
            ASSERT_TRUE(zr_build_voxel_grid(s.doc));
            int missed = 0, hits = 0;
            for (int n = 0; n < 1000; ++n)
            {
                const ray r = made.shot(s, n);
                std::map<scene_object*, double> seen;
                ray walk = r;
                EXPECT_FALSE(visit_hits(
                    *s.doc, walk,
                    [](void* context, ray& at)
                    {
                        (*static_cast<std::map<scene_object*, double>*>(context))[at.hit_object] = at.hit_t;
                        return false;
                    },
                    &seen));
                EXPECT_EQ(walk.hit_object, nullptr);
                for (uint32_t i = 1; i < s.doc->object_table_count; ++i)
                {
                    ray one = r;
                    scene_object* o = s.doc->object_table[i];
                    if (!o->vft->intersect(&one, o, -1e15, ZR_FAR)) { continue; }
                    ++hits;
                    missed += !seen.count(o) || seen[o] != one.hit_t;
                }
            }
            EXPECT_GT(hits, 20);
            EXPECT_EQ(missed, 0) << "of " << hits;
        }
    }
}

TEST(Search, StructuresAreChosenForTheNextBuild)
{
    const int32_t before = zr_set_search_structure(SEARCH_GRID);
    EXPECT_EQ(zr_set_search_structure(7), SEARCH_GRID);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_ARGUMENT);
    test::scene s;
    test::mesh m;
    m.triangle({ 0, 0, 0 }, { 1, 0, 0 }, { 0, 1, 0 });
    ASSERT_TRUE(s.add(m));
    ASSERT_TRUE(zr_build_voxel_grid(s.doc));
    EXPECT_EQ(zr_set_search_structure(SEARCH_TREE), SEARCH_GRID);
    ray r = s.eye_ray({ 0.2, 0.2, 1 }, { 0, 0, -1 });
    EXPECT_TRUE(find_nearest_hit(*s.doc, r)) << "the grid stays in use";
    ASSERT_TRUE(zr_build_voxel_grid(s.doc));
    EXPECT_EQ(s.doc->voxel_grid->structure, SEARCH_TREE);
    zr_set_search_structure(before);
}

TEST(Grid, RaysAlongCellBordersLoseNothing)
{
    // A cube of 32 cells a side, each but the outermost split: rays run exactly along and a rounding beside
    // the borders of cells and of cells of cells.
    test::scene s;
    test::mesh m;
    m.box({ { -16, -16, -16 }, { 16, 16, 16 } });
    std::mt19937 random(3);
    std::uniform_real_distribution<double> at(-15, 15);
    for (int i = 0; i < 20000; ++i)
    {
        const vector3 p = { at(random), at(random), at(random) * 0.05 };
        m.triangle(p, p + vector3{ 0.1, 0, 0 }, p + vector3{ 0, 0.1, 0.1 });
    }
    ASSERT_TRUE(s.add(m));
    const chosen_structure chosen(SEARCH_GRID);
    ASSERT_TRUE(zr_build_voxel_grid(s.doc));
    const double low = -16.0 - s.doc->epsilon, cell = (32.0 + 2.0 * s.doc->epsilon) / 128.0;
    int lost = 0, hits = 0;
    for (int i = 1; i < 128; ++i)
    {
        for (const double beside : { 0.0, 1e-15, -1e-15, 1e-12, -1e-12 })
        {
            const double border = (low + i * cell) * (1.0 + beside);
            for (const double other : { 0.3, border })
            {
                const vector3 from[] = { { border, other, 15 }, { border, other, -15 },
                    { 15, border, 0.01 * other }, { -15, border, 0.01 * other }, { border, 15, 0.02 * other },
                    { border, -15, 0.02 * other } };
                const vector3 along[] = { { 0, 0, -1 }, { 0, 0, 1 }, { -1, 0, 0 }, { 1, 0, 0 }, { 0, -1, 0 },
                    { 0, 1, 0 } };
                for (int k = 0; k < 6; ++k)
                {
                    ray r = s.eye_ray(from[k], along[k]), all = r;
                    find_nearest_hit(*s.doc, r);
                    nearest_of_all(*s.doc, all);
                    ++hits;
                    lost += r.hit_object != all.hit_object || r.hit_t != all.hit_t;
                }
            }
        }
    }
    EXPECT_EQ(lost, 0) << "of " << hits;
}

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

TEST(Search, ScenesWithoutExtentAreScenes)
{
    struct
    {
        const char* what;
        std::vector<vector3> corners;
        double epsilon;
        int hits;
    } const cases[] = {
        { "nothing", {}, 0.0001, 0 },
        { "one point", { { 4, 4, 4 }, { 4, 4, 4 }, { 4, 4, 4 } }, 0.0001, 0 },
        { "zero height", { { 0, 0, 7 }, { 40, 0, 7 }, { 0, 40, 7 } }, 40e-6, 1 },
        { "upright", { { 3, 0, 0 }, { 3, 40, 0 }, { 3, 0, 40 } }, 40e-6, 1 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        test::scene s;
        test::mesh m;
        if (!c.corners.empty())
        {
            m.triangle(c.corners[0], c.corners[1], c.corners[2]);
            ASSERT_TRUE(s.add(m));
        }
        for (const int32_t structure : structures)
        {
            const chosen_structure chosen(structure);
            ASSERT_TRUE(zr_build_voxel_grid(s.doc));
            EXPECT_DOUBLE_EQ(s.doc->epsilon, c.epsilon);
            EXPECT_TRUE(s.doc->state_flags & DOCUMENT_GRID_BUILT);
            const vector3 target = c.corners.empty()
                                       ? vector3{ 0, 0, 0 }
                                       : c.corners[0] * 0.5 + c.corners[1] * 0.3 + c.corners[2] * 0.2;
            ray r = s.eye_ray(target + vector3{ 3, 2, 9 }, vector3{ -3, -2, -9 });
            EXPECT_EQ(find_nearest_hit(*s.doc, r), c.hits == 1);
            zr_free_voxel_grid(s.doc);
            EXPECT_FALSE(s.doc->state_flags & DOCUMENT_GRID_BUILT);
            EXPECT_FALSE(find_nearest_hit(*s.doc, r));
        }
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

TEST(Grid, ASlopingTriangleStandsInTheCellsThatItCrosses)
{
    test::scene s;
    test::mesh m;
    m.triangle({ 0, 0, 0 }, { 32, 0, 32 }, { 0.01, 32, 0 });
    ASSERT_TRUE(s.add(m));
    const chosen_structure chosen(SEARCH_GRID);
    ASSERT_TRUE(zr_build_voxel_grid(s.doc));
    int32_t counts[12];
    zr_voxel_grid_stats(s.doc->voxel_grid, counts);
    const int cells = (counts[11] - 32 * 32 * 32 * 8) / 8;
    // Half of the 32 by 32 columns, with a border; the box of the triangle has all 32768 cells.
    EXPECT_GT(cells, 512);
    EXPECT_LT(cells, 2048);
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
