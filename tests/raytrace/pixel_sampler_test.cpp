#include <gtest/gtest.h>

#include "tests/support/materials.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/picture/projection.h"
#include "zirconlite/raytrace/pixel_sampler.hpp"

namespace
{

using namespace zr;

constexpr int width = 7, height = 5;

/// A parallel view on the xy plane from above; pixel (x, y) covers the unit square at (x, y).
struct picture : test::scene
{
    picture()
    {
        view.projection = PROJECTION_PARALLEL;
        view.width = width;
        view.height = height;
        view.image_width = width;
        view.image_height = height;
        view.position = { width / 2.0, height / 2.0, 10 };
        view.target = { width / 2.0, height / 2.0, 0 };
        view.right = { 1, 0, 0 };
        view.up = { 0, 1, 0 };
        view.back = { 0, 0, 1 };
        view.width = width;
        EXPECT_EQ(zr_init_projection(&view), 1);
    }
    ~picture() { free_aa_stores(); }

    void sheet(double x0, double x1, material_entry* look)
    {
        test::mesh m;
        m.look = look;
        m.quad({ x0, -2, 0 }, { x1, -2, 0 }, { x1, height + 2.0, 0 }, { x0, height + 2.0, 0 });
        ASSERT_TRUE(add(m));
    }

    /// Samples all pixels as one strip; the primary rays, and the pixels' green radiance in `seen`.
    uint32_t sample_all(int quality, double threshold, float (*seen)[width] = nullptr)
    {
        doc->quality = quality;
        relight();
        job.aa_threshold = threshold;
        EXPECT_TRUE(make_aa_stores(1, width));
        ray_counters counters = {};
        ray prototype = {};
        prototype.reflect_limit = doc->reflect_limit;
        prototype.refract_limit = doc->refract_limit;
        prototype.counters = &counters;
        const double low[2] = { 0.001, 0.001 }, high[2] = { ZR_FAR, ZR_FAR };
        for (int y = 0; y < height; ++y)
        {
            for (int x = 0; x < width; ++x)
            {
                pixel_request q = {};
                q.doc = doc;
                q.view = &view;
                q.position[0] = x + 0.5;
                q.position[1] = y + 0.5;
                q.flags = (x == 0 ? uint32_t(PIXEL_FIRST_OF_LINE) : 0u) |
                          (x == width - 1 ? uint32_t(PIXEL_LAST_OF_LINE) : 0u);
                if (earlier && y % 2 == 0)
                {
                    q.earlier = earlier;
                    if (x % 2) { q.flags |= PIXEL_SEEDS_CELL_4; }
                }
                q.prototype = &prototype;
                q.position_low = low;
                q.position_high = high;
                sample_pixel(q, last);
                if (seen) { seen[y][x] = last.values.radiance[1]; }
            }
        }
        return counters.primary_rays;
    }

    const earlier_sample* earlier = nullptr;
    pixel_result last = {};
};

constexpr uint32_t corners = (width + 1) * (height + 1), middles = width * height;
constexpr uint32_t all_cells = (4 * width + 1) * (4 * height + 1);

} // namespace

TEST(PixelSampler, SharesEverySampleWithItsNeighbours)
{
    struct
    {
        const char* what;
        int quality;
        double threshold;
        uint32_t flags, rays;
    } const cases[] = {
        { "quality 1: corners", 1, 0.1, 0, corners },
        { "quality 2 of one colour: corners", 2, 0.1, 0, corners },
        { "quality 3 of one colour: and middles", 3, 0.1, 0, corners + middles },
        { "quality 4 of one colour", 4, 0.1, 0, corners + middles },
        { "quality 5: every cell, once", 5, 0.1, 0, all_cells },
        { "quality 5 without refinement", 5, 0.1, RENDER_NO_SUBDIVISION, corners + middles },
        { "quality 3, threshold 0: every cell", 3, 0.0, 0, all_cells },
        { "quality 2, threshold 0: every cell", 2, 0.0, 0, all_cells },
        { "quality 1, threshold 0: corners", 1, 0.0, 0, corners },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        picture p;
        p.sheet(-2, width + 2.0, p.glowing(0.5f));
        ASSERT_TRUE(p.prepare());
        p.doc->render_flags = c.flags;
        float seen[height][width];
        EXPECT_EQ(p.sample_all(c.quality, c.threshold, seen), c.rays);
        for (const auto& row : seen)
        {
            for (const float v : row) { EXPECT_FLOAT_EQ(v, 0.5f); }
        }
        EXPECT_EQ(p.last.depth, c.quality >= 3 ? 10.0f : 0.0f);
    }
}

TEST(PixelSampler, RefinesWhereObjectsOrColoursDiffer)
{
    // A border at x = 3.3 between two sheets: it runs through the column of pixels 3. The first refinement
    // finds it between 3 and 3.5, the second between 3.25 and 3.5.
    struct
    {
        const char* what;
        int quality;
        float left, right;
        double threshold;
        double covered; ///< share of the left sheet that the pixel shows
        bool refined;
        int noisy; ///< sheets with noisy bumps
    } const cases[] = {
        { "quality 1: corners only", 1, 1.0f, 0.0f, 0.1, 0.5, false, 0 },
        { "quality 2, other colours", 2, 1.0f, 0.0f, 0.1, 0.25, true, 0 },
        { "quality 2, equal colours", 2, 0.5f, 0.5f, 0.1, 0, false, 0 },
        { "quality 3, equal colours of two objects", 3, 0.5f, 0.5f, 0.1, 0, true, 0 },
        { "quality 3, no threshold below 1", 3, 1.0f, 0.0f, 1.0, 0, true, 0 },
        { "quality 2, no threshold below 1", 2, 1.0f, 0.0f, 1.0, 0.5, false, 0 },
        { "quality 4, fine", 4, 1.0f, 0.0f, 0.1, 0.375, true, 0 },
        { "quality 2, noisy, near the middle", 2, 0.6f, 0.2f, 0.0, 0, false, 2 },
        { "quality 2, noisy, far from the middle", 2, 1.0f, 0.0f, 0.0, 0, true, 2 },
        { "quality 2, one noisy sheet", 2, 0.96f, 0.0f, 0.1, 0, true, 1 },
        { "quality 4, noisy", 4, 0.4f, 0.0f, 0.1, 0, true, 2 },
        { "quality 5, fine", 5, 1.0f, 0.0f, 0.1, 0.375, true, 0 },
    };
    const test::noise_table noise;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        picture p;
        material_entry* const looks[] = { p.glowing(c.left), p.glowing(c.right) };
        const double up[3] = { 0, 0, 1 }, one[3] = { 1, 1, 1 };
        for (int i = 0; i < c.noisy; ++i)
        {
            EXPECT_EQ(zr_add_bump(looks[i]->material, 1 + i, up, one, 0.0, one, 1.0), 1);
        }
        p.sheet(-2, 3.3, looks[0]);
        p.sheet(3.3, width + 2.0, looks[1]);
        ASSERT_TRUE(p.prepare());
        float seen[height][width];
        const uint32_t rays = p.sample_all(c.quality, c.threshold, seen);
        const uint32_t plain = corners + (c.quality >= 3 ? middles : 0);
        EXPECT_EQ(rays > plain, c.refined);
        EXPECT_LT(rays, c.quality == 5 ? all_cells + 1 : all_cells / 2) << "other pixels stay as they are";
        EXPECT_FLOAT_EQ(seen[2][1], c.left);
        EXPECT_FLOAT_EQ(seen[2][5], c.right);
        if (c.covered != 0.0) { EXPECT_NEAR(seen[2][3], c.covered, 1e-4); }
    }
}

TEST(PixelSampler, TakesSamplesOfEarlierPasses)
{
    picture p;
    p.sheet(-2, width + 2.0, p.glowing(0.5f));
    ASSERT_TRUE(p.prepare());
    earlier_sample sample = {};
    for (float& c : sample.components.surface) { c = 4.5f; }
    sample.object = 1;
    p.earlier = &sample;
    float seen[height][width];
    // In every other line pixels are given their upper corners at even x: 4 x 3 of them.
    EXPECT_EQ(p.sample_all(1, 0.1, seen), corners - 12);
    EXPECT_FLOAT_EQ(seen[0][0], (3 * 0.5f + 4.5f) / 4);
    EXPECT_FLOAT_EQ(seen[0][1], (3 * 0.5f + 4.5f) / 4);
    EXPECT_FLOAT_EQ(seen[1][0], (3 * 0.5f + 4.5f) / 4) << "the line below has left them";
}

TEST(PixelSampler, TakesEverySampleWhereTheSkyIsHardToFind)
{
    // All light comes through a square hole in a lid, which one ray in thirty finds.
    for (const bool covered : { true, false })
    {
        picture p;
        p.sheet(-50, 50, p.matte(0.5f));
        test::mesh lid;
        constexpr double half = 6.0, high = 40.0, wide = 5000.0, x = width / 2.0, y = height / 2.0;
        for (const double side : { -1.0, 1.0 })
        {
            lid.quad({ x - wide, y + side * half, high }, { x + wide, y + side * half, high },
                { x + wide, y + side * wide, high }, { x - wide, y + side * wide, high });
            lid.quad({ x + side * half, y - half, high }, { x + side * half, y + half, high },
                { x + side * wide, y + half, high }, { x + side * wide, y - half, high });
        }
        ASSERT_TRUE(!covered || p.add(lid));
        p.doc->environment.mode = ENVIRONMENT_FLAT;
        std::fill_n(p.doc->environment.color0, 3, 1.0f);
        zr_set_background_luminance(p.doc, 1000.0);
        ASSERT_TRUE(p.prepare());
        EXPECT_EQ(p.sample_all(3, 0.3), covered ? all_cells : corners + middles);
    }
}

TEST(PixelSampler, BrightSamplesAreSoftened)
{
    picture p;
    p.sheet(-2, width + 2.0, p.glowing(100000.0f));
    ASSERT_TRUE(p.prepare());
    float seen[height][width];
    p.sample_all(3, 0.1, seen);
    EXPECT_NEAR(seen[2][2], 100000.0, 20.0) << "an even pixel keeps its light";

    picture half;
    half.sheet(-2, 2.4, half.glowing(100000.0f));
    half.sheet(2.4, width + 2.0, half.glowing(0.0f));
    ASSERT_TRUE(half.prepare());
    half.sample_all(5, 0.1, seen);
    // 0.375 of the pixel: 500 + (0.375 (500 + 99500 ^ 0.95) - 500) ^ (1 / 0.95)
    EXPECT_NEAR(seen[2][2], 35379.0, 30.0);
}

TEST(PixelSampler, TheDepthsOfCornersAreKeptWhereAHostAsksForThem)
{
    picture p;
    test::mesh slope; // rises by 0.1 a row up to 10 m below the eye; behind its edge at 3.5 nothing
    slope.quad({ -1, -5, -0.5 }, { 3.5, -5, -0.5 }, { 3.5, 15, 1.5 }, { -1, 15, 1.5 });
    ASSERT_TRUE(p.add(slope) && p.prepare());
    float depth[height][width];
    const int32_t size[2] = { width, height };
    for (const int32_t enable : { 1, 0 })
    {
        std::fill_n(depth[0], height * width, -5.0f);
        zr_init_ray_z_buffer(enable, depth[0], size);
        p.sample_all(3, 0.1);
        for (int y = 0; y < height; ++y)
        {
            for (int x = 0; x < width; ++x) // the upper left corner of each
            {
                const double hit = x <= 3 ? 10.0 - 0.1 * (y + 1) : 1e12;
                EXPECT_NEAR(depth[y][x], enable ? hit : -5.0, 1e-4 * (1 + hit)) << x << " " << y;
            }
        }
    }
    zr_init_ray_z_buffer(0, nullptr, size);
}

TEST(PixelSampler, CellsHaveOffsetsThatNeighboursShareOnTheirEdge)
{
    picture p;
    ASSERT_TRUE(p.prepare());
    const struct
    {
        int32_t cell;
        double position[2], stratum[2]; ///< columns from the left, rows from the top; odd pixels are mirrored
    } cases[] = { { 12, { 2.5, 2.5 }, { 0, 0 } }, { 0, { 2.1, 2.9 }, { -0.4999, 0.4999 } },
        { 4, { 2.9, 2.9 }, { 0.4999, 0.4999 } }, { 0, { 3.1, 2.9 }, { 0.4999, 0.4999 } },
        { 4, { 2.9, 3.1 }, { 0.4999, -0.4999 } }, { 21, { 2.3, 2.1 }, { -0.25, -0.4999 } },
        { 8, { 3.7, 3.7 }, { -0.25, -0.25 } }, { 17, { 1.5, 2.3 }, { 0, -0.25 } } };
    for (const auto& c : cases)
    {
        ray r = {};
        trace_primary(*p.doc, p.view, r, 0, c.position, c.cell, nullptr);
        for (int i = 0; i < 2; ++i)
        {
            EXPECT_NEAR(r.stratum[i], c.stratum[i], 1e-12) << c.cell << " " << i;
            EXPECT_NEAR(r.footprint[i], 0.2, 1e-12) << "a pixel is 1 m";
        }
        EXPECT_EQ(r.pixel_x, int32_t(c.position[0]));
        EXPECT_EQ(r.pixel_y, int32_t(c.position[1]));
        EXPECT_TRUE(r.flags & RAY_PREPROCESS) << "no background";
        const double own[2] = { 0.125, 0.375 };
        ASSERT_TRUE(aim_primary(*p.doc, p.view, r, 0, c.position, own));
        EXPECT_EQ(r.stratum[0], 0.125);
        EXPECT_EQ(r.stratum[1], 0.375);
    }
}
