#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/materials.hpp"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/blend_functions.hpp"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/noise.h"
#include "zirconlite/materials/opacity.hpp"
#include "zirconlite/materials/surface_evaluation.hpp"

namespace
{

using namespace zr;
using namespace test;

/// A material of the kind over a white and a black child.
struct pattern
{
    explicit pattern(int32_t kind, float ratio = 0.5f, float softness = 0.0f)
    {
        whole = new_complex_material();
        for (int i = 0; i < 2; ++i)
        {
            material* child = blended(whole).children[i] = new_simple_material();
            child->parent = whole;
            for (float& c : simple(child).color) { c = i == 0 ? 1.0f : 0.0f; }
        }
        zr_set_blend_kind(whole, kind);
        zr_update_pattern_transform(whole);
        for (float& r : params().ratio) { r = ratio; }
        for (float& s : params().softness) { s = softness; }
        params().octaves = 4;
    }
    ~pattern() { free_material(whole); }
    pattern(const pattern&) = delete;
    pattern& operator=(const pattern&) = delete;

    complex_material& m() { return blended(whole); }
    blend_params& params() { return m().params; }

    /// Share of the white child at a point, through the whole evaluation.
    double at(const vector3& p, ray r = hit_from_above())
    {
        r.map_point = p;
        surface s;
        zr_resolve_surface(whole, &r, &s);
        return s.color[0];
    }
    double neutral()
    {
        surface s;
        zr_resolve_surface(whole, nullptr, &s);
        return s.color[0];
    }

    material* whole;
    const physical_colors physical;
};

} // namespace

TEST(Blend, PulsesAreSquareWavesWithSoftEdges)
{
    struct
    {
        double x, ratio, softness, value;
    } const cases[] = {
        { 0.25, 0.5, 0, 1 },
        { 0.75, 0.5, 0, 0 },
        { 0.5, 0.5, 0, 1 },
        { 0.5, 0.5, 0.2, 0.5 },
        { 0.475, 0.5, 0.2, 0.75 },
        { 0.0, 0.5, 0.2, 0.5 },
        { 0.975, 0.5, 0.2, 0.25 },
        { 0.025, 0.5, 0.2, 0.75 },
        { 0.06, 0.5, 0.2, 1 },
        { 0.94, 0.5, 0.2, 0 },
        { 0.9, 0.9, 1.0, 0.5 },
        { 0.5, 0.9, 1.0, 1 }, // softness 1: the thin band is all edge
        { 0.5, 0.0, 0.5, 0 },
        { 0.5, 1.0, 0.5, 1 },
        { 1.25, 1.0, 0.5, 1 },
        { -0.25, 0.0, 0.5, 1 },
        { 0.5, 0.5, -1.0, 1 },
        { NAN, 0.5, 0.2, 0.5 },
    };
    for (const auto& c : cases)
    {
        EXPECT_NEAR(soft_pulse(c.x, c.ratio, c.softness), c.value, 1e-9)
            << c.x << " " << c.ratio << " " << c.softness;
    }
}

TEST(Blend, EachKindGivesItsPatternAtKnownPoints)
{
    const noise_table noise;
    struct
    {
        int32_t kind;
        float ratio;
        vector3 point;
        double value, neutral;
    } const cases[] = {
        { BLEND_KIND_MARBLE, 0.25f, { 3.2, 9, 9 }, 1, 0.25 },
        { BLEND_KIND_MARBLE, 0.25f, { -0.5, 0, 0 }, 0, 0.25 },
        { BLEND_KIND_WOOD, 0.5f, { 0.3, 77, 0.4 }, 1, 0.5 }, // radius 0.5: just one ring out
        { BLEND_KIND_WOOD, 0.5f, { -0.4, 77, 0 }, 0, 0.5 },
        { BLEND_KIND_TILE, 0.9f, { 5.85, -3.5, 1 }, 1, 0.9 },
        { BLEND_KIND_TILE, 0.9f, { 5.95, -3.5, 1 }, 0, 0.9 },
        { BLEND_KIND_TILE, 0.9f, { 5.5, -3.05, 1 }, 0, 0.9 },
        { BLEND_KIND_BLEND, 0.3f, { 1, 2, 3 }, 0.3, 0.3 },
        { BLEND_KIND_MASK, 0.3f, { 1, 2, 3 }, 1, 1 },         // a mask without its picture
        { BLEND_KIND_CLEAR_FINISH, 0.3f, { 1, 2, 3 }, 0, 1 }, // an opaque coat
        { BLEND_KIND_ANGULAR, 0.3f, { 1, 2, 3 }, 1, 1 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(testing::Message() << c.kind << " at " << c.point.x);
        pattern p(c.kind, c.ratio);
        p.m().children[1]->flags |= MATERIAL_SHARP_REFLECTION;
        blended(p.whole).params.turbulence[0] = 0.0f;
        if (c.kind == BLEND_KIND_CLEAR_FINISH) { simple(p.m().children[1]).ior = 1.5f; }
        static int evaluated;
        evaluated = 0;
        const double up[3] = { 0, 0, 1 };
        zr_add_bump(p.m().children[1], 1, up, up, 0.0, up, 1.0);
        simple(p.m().children[1]).bumps->function = [](const vector3*, vector3*, double) { ++evaluated; };
        EXPECT_NEAR(p.at(c.point), c.value, 1e-6);
        EXPECT_EQ(evaluated, c.value < 1 ? 1 : 0) << "what does not show is not worked out";
        EXPECT_NEAR(p.neutral(), c.neutral, 1e-6);
        EXPECT_EQ(zr_get_blend_kind(p.whole), c.kind);
        EXPECT_EQ(p.m().has_own_pattern, c.kind < BLEND_KIND_BLEND);
    }
    pattern granite(BLEND_KIND_GRANITE, 0.5f);
    pattern marble(BLEND_KIND_MARBLE, 0.5f);
    marble.params().turbulence[0] = 0.7f;
    for (const int32_t octaves : { -5, 0, 1, 2, 7, 2000000000 })
    {
        granite.params().octaves = marble.params().octaves = octaves;
        for (const double x : { 0.3, -7.7, 1e15, -1e300 })
        {
            const vector3 p = { x, 0.2, 0.9 };
            double t;
            turb1(&p, &t, std::min(std::max(octaves, 2), 16));
            EXPECT_EQ(granite.at(p), t <= 0.0 ? 1.0 : 0.0) << x << " in " << octaves;
            const double bands = marble.at(p);
            EXPECT_TRUE(bands == 0.0 || bands == 1.0);
        }
    }
    pattern unknown(99);
    EXPECT_EQ(zr_get_blend_kind(unknown.whole), -1);
    EXPECT_EQ(unknown.at({ 0, 0, 0 }), 0.0);
}

TEST(Blend, TilesTooFineToSeeTurnIntoTheirMean)
{
    const noise_table noise;
    std::fill_n(noise.table[0], 3 * 4096, 0.0f);
    struct
    {
        const char* what;
        float ratio;
        vector3 point;
        double scale, footprint[2], value;
    } const cases[] = {
        { "no footprint", 0.9f, { 0.95, 0.5, 0 }, 1, { 0, 0.125 }, 0 },
        { "grout of two footprints", 0.9f, { 0.95, 0.5, 0 }, 1, { 0.125, 0.125 }, 0.75 * 0.9 },
        { "a tile of that size", 0.9f, { 0.5, 0.5, 0 }, 1, { 0.125, 0.125 }, 0.25 + 0.75 * 0.9 },
        { "four footprints one way", 0.9f, { 0.95, 0.5, 0 }, 1, { 0.125, 0.0625 }, 0 },
        { "a hundredth", 0.9f, { 0.95, 0.5, 0 }, 1, { 25, 25 }, 0.9 * 0.9 },
        { "tiles half as large", 0.9f, { 0.95, 0.5, 0 }, -2, { 0.0625, 0.0625 }, 0.75 * 0.9 },
        { "narrow tiles", 0.2f, { 0.5, 0.5, 0 }, 1, { 0.25, 0.25 }, 0.75 * 0.2 },
        { "no tiles", 0.0f, { 0.5, 0.5, 0 }, 1, { 1, 1 }, 0 },
        { "the second row up is shifted", 0.9f, { 0.45, 2.5, 0 }, 1, { 0, 0 }, 0 },
        { "and has its tile there", 0.9f, { 0.35, 2.5, 0 }, 1, { 0, 0 }, 1 },
        { "the first row down, too", 0.9f, { 0.20, -0.5, 0 }, 1, { 0, 0 }, 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        pattern p(BLEND_KIND_TILE, c.ratio);
        p.m().scale = { c.scale, c.scale, 1 };
        p.params().tile_offset = { 0.25, 0, 0 };
        ray r = hit_from_above();
        std::copy_n(c.footprint, 2, r.footprint);
        EXPECT_NEAR(blend_tile(&p.m(), &r, &c.point, nullptr), c.value, 1e-6);
        // Half the size seen at a slant, or at twice the distance of the footprint's.
        r.interpolated_normal = { 0.8660254037844386, 0, 0.5 };
        for (double& f : r.footprint) { f *= 0.5; }
        EXPECT_NEAR(blend_tile(&p.m(), &r, &c.point, nullptr), c.value, 1e-6);
        r.interpolated_normal = { 0, 0, 1 };
        r.footprint_slope[0] = 0.01;
        r.raw_length = 3;
        r.hit_t = 1;
        r.path_length = 5;
        EXPECT_NEAR(blend_tile(&p.m(), &r, &c.point, nullptr), c.value, 1e-6);
    }
    pattern soft(BLEND_KIND_TILE, 0.5f, 0.4f); // edges from 0.4 to 0.6
    ray r = hit_from_above();
    const vector3 corner = { 0.45, 0.5, 0 }, edge = { 0.45, 0.25, 0 };
    EXPECT_NEAR(blend_tile(&soft.m(), &r, &corner, nullptr), (0.75 + 0.5) / 2, 1e-6);
    EXPECT_NEAR(blend_tile(&soft.m(), &r, &edge, nullptr), 0.75, 1e-6);
    std::fill_n(noise.table[0], 3 * 4096, 0.5f);
    r.footprint[0] = r.footprint[1] = 1e3;
    double n;
    zr_noise(&edge, &n, 1);
    EXPECT_NEAR(blend_tile(&soft.m(), &r, &edge, nullptr), 0.9 * 0.5 + 0.1 * 0.75 + 0.5 * n * 0.25, 1e-6)
        << "an eighth of the noise dithers it";
}

TEST(Blend, AMaskIsItsPictureInTheLevelThatFits)
{
    pattern p(BLEND_KIND_MASK);
    mask_source source = {};
    p.params().mask = &source;
    const uint8_t row[] = { 0, 100, 200, 40 }, colors[] = { 10, 30, 20, 60, 0, 50 };
    std::vector<uint8_t> rows;
    for (int y = 0; y < 4; ++y) { rows.insert(rows.end(), row, row + 4); }
    bitmap* grey = zr_add_bitmap(u"grey", 4, 4, 1, rows.data());
    struct
    {
        const char* what;
        double x, scale, footprint, cosine;
        int byte; ///< halved columns have 50 and 120, all together 85
    } const cases[] = {
        { "as it is", 5.3, 1, 0.1, 1, 100 },
        { "from the end backwards", -0.2, 1, 0.1, 1, 40 },
        { "one texel a footprint", 5.3, 1, 0.25, 1, 100 },
        { "two", 5.3, 1, 0.5, 1, 50 },
        { "two of a picture of half the size", 5.3, 2, 0.25, 1, 50 },
        { "seen at a slant", 5.3, 1, 0.25, 0.25, 50 },
        { "four", 5.7, 1, 1.0, 1, 85 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        source.bitmap = grey;
        p.m().scale = { c.scale, 1, 1 };
        ray r = hit_from_above();
        r.interpolated_normal.z = c.cosine;
        r.footprint[0] = c.footprint;
        const vector3 at = { c.x, 0.4, 0 };
        EXPECT_NEAR(blend_mask(&p.m(), &r, &at, nullptr), c.byte / 255.0, 1e-6);
        // Coordinates of vertices that grow by 3 a metre.
        p.m().blend_flags |= BLEND_MAPPED;
        const evaluation_points points = { {}, {}, true, { { 0, 3, 0 }, { 3, 0, 0 } } };
        child_context children[2] = {};
        children[0].points = &points;
        r.footprint[0] /= 3.0;
        EXPECT_NEAR(blend_mask(&p.m(), &r, &at, children), c.byte / 255.0, 1e-6);
        p.m().blend_flags = 0;
    }
    EXPECT_NEAR(p.neutral(), 85 / 255.0, 1e-6);
    source.bitmap = zr_add_bitmap(u"colors", 2, 1, 3, colors);
    ray r = hit_from_above();
    const vector3 left = { 0.2, 0, 0 };
    EXPECT_NEAR(blend_mask(&p.m(), &r, &left, nullptr), 30 / 255.0, 1e-6) << "its strongest channel";
    EXPECT_NEAR(p.neutral(), 35 / 255.0, 1e-6);
    p.params().mask = nullptr;
    zr_free_all_bitmaps();
}

TEST(Blend, AngularBlendsFollowTheAngleOfView)
{
    pattern p(BLEND_KIND_ANGULAR);
    constexpr double degree = M_PI / 180.0;
    p.params().ratio[0] = float(std::cos(20 * degree));
    p.params().ratio[1] = float(std::cos(60 * degree));
    const double cases[][2] = { { 0, 1 }, { 19, 1 }, { 30, 0.75 }, { 50, 0.25 }, { 61, 0 }, { 89, 0 } };
    for (const auto& [angle_deg, share] : cases)
    {
        ray r = hit_from_above();
        r.direction = { std::sin(angle_deg * degree), 0, -std::cos(angle_deg * degree) };
        EXPECT_NEAR(p.at({}, r), share, 1e-5) << angle_deg;
        r.interpolated_normal.z = -1;
        EXPECT_NEAR(p.at({}, r), share, 1e-5) << angle_deg;
    }
    EXPECT_NEAR(p.neutral(), 1 - (std::acos(0.7) / degree - 20) / 40, 1e-5);
}

TEST(Blend, EachTileVariesByItsNumberAndWoodByTheNoise)
{
    const noise_table noise;
    pattern p(BLEND_KIND_TILE, 1.0f); // no grout
    simple(p.m().children[0]).color[0] = 0.5f;
    p.m().blend_flags = BLEND_JITTER_COLOR | BLEND_JITTER_COORDINATES;
    p.params().color_jitter = { 0.4, 0.2, 0.1 };
    p.params().coordinate_jitter = { 3, 5, 7 };
    p.params().tile_offset = { 0.25, 0, 0 };
    const struct
    {
        vector3 point;
        int32_t number[3];
    } cases[] = { { { 2.1, 0.5, 9 }, { 2, 0, 0 } }, { { 2.9, 0.1, 0 }, { 2, 0, 0 } },
        { { 2.8, 1.5, 0 }, { 3, 1, 0 } }, { { -0.1, -0.5, 0 }, { 0, -1, 0 } } };
    for (const auto& c : cases)
    {
        double entry[3];
        zr_integer_noise(c.number, entry);
        EXPECT_NEAR(p.at(c.point), 0.5 + 0.4 * entry[0], 1e-6) << c.point.x;
        child_context children[2] = {};
        prepare_tile(&p.m(), nullptr, &c.point, children);
        EXPECT_EQ(children[0].flags, uint32_t(CHILD_COLOR_OFFSET | CHILD_COORDINATE_OFFSET));
        EXPECT_EQ(children[1].flags, 0u);
        EXPECT_NEAR(children[0].color_offset[2], 0.1 * entry[2], 1e-6);
        EXPECT_NEAR(children[0].coordinate_offset.x, 3 * entry[0], 1e-6);
        EXPECT_NEAR(children[0].coordinate_offset.y, 5 * entry[1], 1e-6);
        EXPECT_NEAR(children[0].coordinate_offset.z, 7 * entry[2], 1e-6);
    }
    // A tile of marble: its bands move along with the tile's coordinates.
    pattern marble(BLEND_KIND_MARBLE, 0.5f);
    p.m().blend_flags = BLEND_JITTER_COORDINATES;
    free_material(p.m().children[0]);
    p.m().children[0] = dupe_material(marble.whole);
    pattern wood(BLEND_KIND_WOOD, 0.5f);
    wood.params().turbulence[0] = 0.7f;
    for (const double x : { 0.1, 0.4, 0.6, 0.8, 7.3 })
    {
        const int32_t number[3] = { int32_t(x), 0, 0 };
        double entry[3], t[3];
        zr_integer_noise(number, entry);
        EXPECT_EQ(p.at({ x, 0.5, 0 }), x + 3 * entry[0] - std::floor(x + 3 * entry[0]) <= 0.5 ? 1.0 : 0.0)
            << x;
        const vector3 q = { x, 0.3, -0.2 };
        turb3(&q, t, 4);
        const double rings = 2 * std::hypot(x + float(0.7) * t[0], -0.2 + float(0.7) * t[2]);
        EXPECT_EQ(wood.at(q), rings - std::floor(rings) <= 0.5 ? 1.0 : 0.0) << x;
    }
}
