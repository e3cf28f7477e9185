/// @file
/// Stopping does not favour bright or dark pictures, and odd light sources end like others.
#include <cmath>

#include "tests/support/picture_light.hpp"
#include "tests/support/room_scene.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/sampling/stopping.hpp"

namespace
{

constexpr int32_t width = 24, height = 16;

document* prepare(document* d, int32_t scale = 1)
{
    d->render_flags = RENDER_SOFT_SHADOWS;
    zr_set_light_model(d, LIGHT_MODEL_EXACT);
    zr_set_pixel_sampler(d, SAMPLER_CONVERGING);
    EXPECT_EQ(zr_build_voxel_grid(d), 1);
    EXPECT_EQ(set_room_view(d, scale * width, scale * height), 1);
    return d;
}

document* open_empty_room()
{
    zr::fill_gamma_tables();
    document* d = zr_open_document();
    set_room_settings(d);
    return d;
}

/// A wide soft light source behind the edge of a board.
document* open_penumbra()
{
    document* d = open_empty_room();
    material_entry* const grey = add_look(d, u"grey", {});
    EXPECT_EQ(add_box(d, grey, { -2, -2, 0 }, { 2, 2, 3 }), 1);
    EXPECT_EQ(add_box(d, grey, { -0.6, 0.2, 1.6 }, { 0.9, 1.4, 1.7 }), 1);
    light soft = point_source_at({ 0.2, 0.3, 2.5 }, 200);
    soft.radius = 0.4;
    EXPECT_EQ(add_light(d, soft), 1);
    return prepare(d);
}

/// A room of slabs, lit by an even sky through an opening of 2 x 1.5 metres.
document* open_daylit_room()
{
    document* d = open_empty_room();
    material_entry* const grey = add_look(d, u"grey", {});
    const bounding_box slabs[] = { { { -2.2, -2.2, -0.2 }, { 2.2, 2.2, 0 } },
        { { -2.2, -2.2, 3 }, { 2.2, 2.2, 3.2 } }, { { -2.2, -2.2, 0 }, { -2, 2.2, 3 } },
        { { -2, -2.2, 0 }, { 2.2, -2, 3 } }, { { -2, 2, 0 }, { 2.2, 2.2, 3 } },
        { { 2, -2, 0 }, { 2.2, -1, 3 } }, { { 2, 1, 0 }, { 2.2, 2, 3 } }, { { 2, -1, 0 }, { 2.2, 1, 1 } },
        { { 2, -1, 2.5 }, { 2.2, 1, 3 } } };
    for (const bounding_box& slab : slabs) { EXPECT_EQ(add_box(d, grey, slab.min, slab.max), 1); }
    std::fill_n(d->environment.color0, 3, 1.0f);
    zr_set_background_luminance(d, 1000.0);
    return prepare(d);
}

struct stopped_picture
{
    double light, samples;
};

stopped_picture render(document* d, const sampling_limits& limits)
{
    EXPECT_EQ(zr_set_sampling_limits(d, &limits), 1) << zr_last_error()->text;
    render_job job = job_of(d);
    EXPECT_TRUE(render_to_end(job) & RENDER_STATE_FINISHED);
    sampling_progress reached;
    zr_get_sampling_progress(&reached);
    return { test::average(test::light_of(d->views[1])), reached.mean_samples };
}

} // namespace

TEST(Stopping, FavoursNeitherBrightNorDarkPictures)
{
    const struct
    {
        const char* what;
        document* (*open)();
        double noise, tolerance;
    } cases[] = { { "penumbra", open_penumbra, 14.0, 0.002 },
        { "daylit room", open_daylit_room, 36.0, 0.01 } };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        document* d = c.open();
        double whole = 0.0, stopped = 0.0, samples = 0.0;
        for (uint32_t seed = 0; seed < 8; ++seed)
        {
            whole += render(d, { 0.01, 256, 256, seed, 0.0 }).light;
            const stopped_picture p = render(d, { c.noise, 16, 256, seed, 0.0 });
            stopped += p.light;
            samples += p.samples / 8;
        }
        EXPECT_NEAR(stopped / whole, 1.0, c.tolerance);
        EXPECT_GT(samples, 20.0) << "there is something to decide";
        EXPECT_LT(samples, 240.0);
        zr_close_document(d);
    }
}

TEST(Stopping, WaitsForLightThatNoShadowRayHasFoundYet)
{
    zr::fill_gamma_tables();
    document* d = zr_open_document();
    render_view& view = d->views[1];
    view.tone_exponent = view.tone_scale = 1.0;
    zr::shown_curve curve;
    zr::prepare_shown_curve(view, curve);
    const struct
    {
        const char* what;
        uint32_t samples; ///< of each pixel, with a shadow ray each
        double hidden;    ///< that a ray could have brought
        double gain;      ///< of the filter
        bool goes_on;
    } cases[] = { { "nothing is hidden", 16, 0.0, 1.0, false },
        { "a ray in a thousand would show", 16, 20.0, 1.0, true },
        { "and would be filtered", 16, 20.0, 8.0, false },
        { "so many rays would have met it", 320, 20.0, 1.0, false } };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        pixel_sums pixels[zr::block_pixels] = {};
        for (pixel_sums& p : pixels) // both halves alike
        {
            p.count = c.samples;
            std::fill_n(p.radiance, 3, 0.2f * float(c.samples));
            std::fill_n(p.half, 3, 0.1f * float(c.samples));
        }
        zr::sampling_block block = {};
        block.open = block.chancy = ~uint64_t(0);
        block.chances = int64_t(c.samples) * zr::block_pixels;
        block.shadow_rays = double(block.chances);
        block.hidden_chance = c.hidden * block.shadow_rays;
        zr::decide(curve, { 2.0, 16, 1024, 0, 0.0 }, c.gain,
            { pixels, zr::block_side, zr::block_side, zr::block_side }, block);
        EXPECT_EQ(block.open, c.goes_on ? ~uint64_t(0) : 0);
    }
    zr_close_document(d);
}

TEST(Stopping, UnderSharpLightEdgesAloneTakeSamples)
{
    document* d = open_empty_room();
    material_entry* const grey = add_look(d, u"grey", {});
    EXPECT_EQ(add_box(d, grey, { -2, -2, 0 }, { 2, 2, 3 }), 1);
    EXPECT_EQ(add_box(d, grey, { -0.6, 0.4, 0 }, { 0.5, 1.2, 1.1 }), 1);
    EXPECT_EQ(add_light(d, point_source_at({ 1.1, -0.9, 2.5 }, 200)), 1);
    prepare(d, 4);
    const double exact = render(d, { 0.01, 128, 128, 1, 0.0 }).light;
    const std::vector<float> whole = test::light_of(d->views[1]);
    const stopped_picture p = render(d, { 6.0, 1, 512, 0, 0.0 });
    EXPECT_NEAR(p.light / exact, 1.0, 0.003);
    const std::vector<float> light = test::light_of(d->views[1]);
    const size_t pixels = light.size() / 3;
    size_t few = 0, astray = 0;
    for (size_t i = 0; i < pixels; ++i)
    {
        few += d->views[1].image->sums[i].count <= 4;
        astray += std::fabs(std::sqrt(light[3 * i]) - std::sqrt(whole[3 * i])) > 0.08 * std::sqrt(exact);
    }
    EXPECT_GT(few, pixels * 3 / 5);
    EXPECT_LE(astray, pixels / 1000) << "edges that were taken for even walls";
    EXPECT_GT(p.samples, 2.0);
    zr_close_document(d);
}

TEST(Stopping, LooksOutOfBlocksForEdgesAlongTheirSides)
{
    // A glowing sheet ends a tenth of a pixel beyond a block, within the windows of its last column.
    document* d = open_empty_room();
    material_entry* const glowing = add_look(d, u"glowing", {});
    reinterpret_cast<simple_material*>(glowing->material)->luminosity = 100.0f;
    EXPECT_EQ(add_box(d, glowing, { -2, -3, 3 }, { 0.00165, 3, 3.1 }), 1);
    prepare(d);
    EXPECT_EQ(set_room_view(d, 32, 16), 1);
    render_view& v = d->views[1];
    v.position = { 0, 0, 0 };
    v.up = { 0, 1, 0 };
    v.back = { 0, 0, -1 };
    v.right = { 1, 0, 0 };
    v.lens_length = 200;
    EXPECT_EQ(zr_init_projection(&v), 1);
    render(d, { 0.01, 256, 256, 1, 0.0 });
    const std::vector<float> exact = test::light_of(v);
    EXPECT_GT(exact[3 * 8], 10.0f);
    EXPECT_EQ(exact[3 * 24], 0.0f);
    EXPECT_NEAR(exact[3 * 15] / exact[3 * 8], 0.96, 0.03) << "where the edge is";
    render(d, { 2.0, 1, 512, 0, 0.0 });
    uint32_t samples = 0;
    for (int32_t y = 0; y < 16; ++y) { samples += v.image->sums[32 * y + 15].count; }
    EXPECT_GE(samples, 8u * 12) << "of the last column";
    EXPECT_EQ(v.image->sums[2].count, 1u);
    zr_close_document(d);
}

TEST(Stopping, LightSourcesAtOnePlaceShineLikeOneOfTheirSum)
{
    constexpr int count = 10000;
    const auto lit = [](int sources, const vector3& place)
    {
        document* d = open_empty_room();
        EXPECT_EQ(add_box(d, add_look(d, u"grey", {}), { -2, -2, 0 }, { 2, 2, 3 }), 1);
        EXPECT_EQ(add_box(d, add_look(d, u"wall", {}), { -0.5, 0.5, 0.5 }, { 0.5, 1.5, 1.5 }), 1);
        for (int i = 0; i < sources; ++i)
        {
            EXPECT_EQ(add_light(d, point_source_at(place, 100.0f * count / float(sources))), 1);
        }
        const double light = render(prepare(d), { 2.0, 32, 32, 0, 0.0 }).light;
        zr_close_document(d);
        return light;
    };
    const vector3 open = { 0.3, -0.5, 2.4 }, walled_in = { 0, 1, 1 };
    const double one = lit(1, open);
    EXPECT_GT(one, 0.0);
    EXPECT_NEAR(lit(count, open) / one, 1.0, 1e-3);
    EXPECT_EQ(lit(1, walled_in), 0.0) << "inside a wall";
}
