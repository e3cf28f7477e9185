/// @file
/// The converging sampler and the strips show the same light, whatever the camera is and whatever lies around
/// the scene, and fill the same planes.
#include <cmath>

#include "tests/support/picture_light.hpp"
#include "tests/support/room_scene.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/sampling/converging.h"

namespace
{

constexpr int32_t width = 64, height = 48, tile_side = 16;

/// A wall, a mirroring block and a floor under a soft light source, before a background of two colours.
document* open_yard()
{
    zr::fill_gamma_tables();
    document* d = zr_open_document();
    set_room_settings(d);
    d->quality = 5;
    d->aa_level = 1.0;
    EXPECT_EQ(add_box(d, add_look(d, u"floor", { { 0.5f, 0.45f, 0.4f }, 0, 0, 1, false, 3 }),
                  { -3, -3, -0.2 }, { 3, 3, 0 }),
        1);
    EXPECT_EQ(add_box(d, add_look(d, u"wall", { { 0.3f, 0.5f, 0.7f }, 0, 0, 1, false, 4 }), { -2, 1, 0 },
                  { 1, 1.4, 1.6 }),
        1);
    EXPECT_EQ(add_box(d, add_look(d, u"block", { { 0.8f, 0.2f, 0.1f }, 0.4f, 0, 1, false, 7 }),
                  { 0.3, -0.6, 0.1 }, { 1.2, 0.3, 0.9 }),
        1);
    light soft = point_source_at({ -0.8, -1.4, 2.4 }, 300);
    soft.radius = 0.3;
    soft.shadow_samples = 16;
    soft.flags |= LIGHT_NO_HIGHLIGHT; // of a strength that only the strips have
    EXPECT_EQ(add_light(d, soft), 1);
    EXPECT_EQ(zr_build_voxel_grid(d), 1);
    d->render_flags = RENDER_SOFT_SHADOWS | RENDER_DEPTH_PLANE | RENDER_OBJECT_IDS;
    d->environment_flags = ENVIRONMENT_ALPHA;
    d->environment.mode = ENVIRONMENT_GRADIENT_2;
    std::fill_n(d->environment.color0, 3, 0.1f);
    std::fill_n(d->environment.color1, 3, 0.5f);
    d->environment.angle1 = 0.5f;
    zr_set_light_model(d, LIGHT_MODEL_EXACT);
    const sampling_limits limits = { 0.5, 64, 64, 0, 0.0 };
    EXPECT_EQ(zr_set_sampling_limits(d, &limits), 1) << zr_last_error()->text;
    return d;
}

void look_at_yard(document* d, void (*change)(document&, render_view&))
{
    EXPECT_EQ(set_room_view(d, width, height), 1);
    render_view& v = d->views[1];
    v.position = { 0.4, -4.2, 1.6 };
    v.right = { 1, 0, 0 };
    v.up = { 0, 0.24, 0.97 };
    v.back = { 0, -0.97, 0.24 };
    v.pano_angle = 2.0;
    v.pano_fov = 1.2;
    v.image_width = 4.0;
    v.image_height = 3.0;
    if (change) { change(*d, v); }
    EXPECT_EQ(zr_init_projection(&v), 1);
}

std::vector<float> render_yard(int32_t sampler, void (*change)(document&, render_view&))
{
    document* d = open_yard();
    look_at_yard(d, change);
    zr_set_pixel_sampler(d, sampler);
    render_job job = job_of(d);
    EXPECT_TRUE(render_to_end(job) & RENDER_STATE_FINISHED);
    EXPECT_EQ(d->views[1].image->sums != nullptr, sampler == SAMPLER_CONVERGING);
    std::vector<float> light = test::light_of(d->views[1]);
    zr_close_document(d);
    return light;
}

std::vector<double> tile_means(const std::vector<float>& light)
{
    std::vector<double> means(size_t(width / tile_side * (height / tile_side)));
    for (size_t i = 0; i < light.size(); ++i)
    {
        const size_t x = i / 3 % width, y = i / 3 / width;
        means[y / tile_side * (width / tile_side) + x / tile_side] +=
            light[i] / (3.0 * tile_side * tile_side);
    }
    return means;
}

view_clip_plane front_plane = {};

struct yard_planes
{
    std::vector<float> depth, alpha, object;
};

yard_planes planes_of(int32_t sampler)
{
    document* d = open_yard();
    look_at_yard(d, nullptr);
    zr_set_pixel_sampler(d, sampler);
    render_job job = job_of(d);
    render_to_end(job);
    yard_planes planes;
    for (int32_t y = 0; y < height; ++y)
    {
        for (int32_t x = 0; x < width; ++x)
        {
            pixel_pointers p = {};
            image_buffer_pixel_pointers(d->views[1].image, x, y, &p);
            planes.depth.push_back(*p.depth);
            planes.alpha.push_back(*p.alpha);
            planes.object.push_back(*p.object_id);
        }
    }
    zr_close_document(d);
    return planes;
}

/// Share of the values that differ by more than `tolerance`.
double differing(const std::vector<float>& a, const std::vector<float>& b, float tolerance)
{
    size_t count = 0;
    for (size_t i = 0; i < a.size(); ++i) { count += std::fabs(a[i] - b[i]) > tolerance; }
    return double(count) / double(a.size());
}

} // namespace

TEST(Agreement, BothSamplersShowTheSameLight)
{
    const struct
    {
        const char* what;
        void (*change)(document&, render_view&);
        double slack = 1.0;
    } cases[] = {
        { "perspective", nullptr },
        { "two-point", [](document&, render_view& v) { v.projection = PROJECTION_TWO_POINT; } },
        { "parallel", [](document&, render_view& v) { v.projection = PROJECTION_PARALLEL; } },
        { "cylinder", [](document&, render_view& v) { v.projection = PROJECTION_CYLINDER; } },
        { "sphere", [](document&, render_view& v) { v.projection = PROJECTION_SPHERE; } },
        { "probe", [](document&, render_view& v) { v.projection = PROJECTION_PROBE; } },
        { "part of a frame",
            [](document&, render_view& v)
            {
                v.frame_aspect = 0.75f;
                v.frame_low[0] = 0.3f;
                v.frame_low[1] = 0.1f;
                v.frame_high[0] = v.frame_high[1] = 0.8f;
            } },
        { "lens",
            [](document& d, render_view&)
            {
                d.render_flags |= RENDER_DEPTH_OF_FIELD;
                d.lens_f_stop = 1.0;
                d.focus_distance = 2.5;
            },
            2.0 }, // the strips tie a sample's place on the lens to its place in the pixel
        { "clip plane",
            [](document&, render_view& v)
            {
                front_plane = { 0, -1, 0, 1.2 }; // cuts the wall open
                v.clip_planes = &front_plane;
                v.clip_plane_count = 1;
            } },
        { "haze",
            [](document& d, render_view&)
            {
                d.environment_flags |= ENVIRONMENT_HAZE;
                d.fog_distance = 8.0;
                d.fog_strength = 0.6f;
            } },
        { "clouds",
            [](document& d, render_view&)
            {
                d.environment_flags |= ENVIRONMENT_CLOUDS | ENVIRONMENT_CLOUDS_ALWAYS;
                environment& e = d.environment;
                e.cloud_flags = CLOUDS_CUMULUS | CLOUDS_CIRRUS;
                e.cu_number = 150;
                e.cu_scale_v = 0.6f;
                e.ci_density = 0.4f;
                for (float* v : { e.cu_color, e.cu_scale, e.ci_color, e.ci_scale })
                {
                    std::fill_n(v, 3, 1.0f);
                }
            } },
        { "without soft shadows",
            [](document& d, render_view&) { d.render_flags &= ~uint32_t(RENDER_SOFT_SHADOWS); } },
    };
    const std::vector<float> plain = render_yard(SAMPLER_CONVERGING, nullptr);
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const std::vector<float> one = render_yard(SAMPLER_STRIPS, c.change),
                                 other = render_yard(SAMPLER_CONVERGING, c.change);
        EXPECT_EQ(other == plain, !c.change) << "the case changes the picture";
        const double mean = test::average(one);
        ASSERT_GT(mean, 0.0);
        EXPECT_NEAR(test::average(other) / mean, 1.0, 0.006 * c.slack);
        const std::vector<double> a = tile_means(one), b = tile_means(other);
        for (size_t i = 0; i < a.size(); ++i)
        {
            EXPECT_NEAR(b[i] / mean, a[i] / mean, 0.04 * c.slack) << "tile " << i;
        }
    }
}

TEST(Agreement, BothSamplersFillTheSamePlanes)
{
    const yard_planes a = planes_of(SAMPLER_STRIPS), b = planes_of(SAMPLER_CONVERGING);
    // Pixels on edges show one side or the other.
    EXPECT_LT(differing(a.depth, b.depth, 0.05f), 0.03);
    EXPECT_LT(differing(a.object, b.object, 0.5f), 0.03);
    EXPECT_LT(differing(a.alpha, b.alpha, 2.0f), 0.08);
    EXPECT_NEAR(test::average(b.alpha) / 255.0, test::average(a.alpha) / 255.0, 0.002);
    for (const float id : { 0.0f, 3.0f, 4.0f, 7.0f })
    {
        EXPECT_GT(std::count(b.object.begin(), b.object.end(), id), 20) << "object " << id;
    }
}
