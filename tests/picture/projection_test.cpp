#include <gtest/gtest.h>

#include <random>

#include "tests/support/scene.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/picture/projection.h"
#include "zirconlite/raytrace/pixel_sampler.hpp"

namespace
{

using namespace zr;

/// A camera at the eye that looks along `forward`, level to the right.
void aim(render_view& v, int32_t projection, const vector3& eye, const vector3& forward, double distance)
{
    v.projection = projection;
    v.width = 200;
    v.height = 100;
    v.lens_length = 18.0; // the half width equals the distance: 45 degrees to each side
    v.position = eye;
    v.back = -normalized(forward);
    v.target = eye - v.back * distance;
    const bool upright = std::fabs(v.back.x) + std::fabs(v.back.y) < 1e-9;
    v.right = upright ? vector3{ 1, 0, 0 } : normalized(cross({ 0, 0, 1 }, v.back));
    v.up = cross(v.back, v.right);
    v.pano_angle = 2.0 * M_PI;
    v.pano_fov = M_PI / 2.0;
}

vector3 direction_at(test::scene& s, double x, double y)
{
    ray r = s.eye_ray({ 0, 0, 0 }, { 0, 0, 1 });
    const double position[2] = { x, y };
    EXPECT_EQ(make_ray(s.doc, &s.view, position, &r), 1);
    return r.direction;
}

#define EXPECT_VECTOR(a, b, tolerance)                                                                       \
    do {                                                                                                     \
        const vector3 expected_a = (a), expected_b = (b);                                                    \
        EXPECT_NEAR(expected_a.x, expected_b.x, tolerance);                                                  \
        EXPECT_NEAR(expected_a.y, expected_b.y, tolerance);                                                  \
        EXPECT_NEAR(expected_a.z, expected_b.z, tolerance);                                                  \
    } while (0)

} // namespace

TEST(Projection, DirectionsByHand)
{
    const vector3 north = { 0, 1, 0 };
    const double c = std::sqrt(0.5);
    struct
    {
        const char* what;
        int32_t projection;
        vector3 forward;
        double x, y;
        vector3 direction;
    } const cases[] = {
        { "perspective, middle", 2, north, 100, 50, { 0, 1, 0 } },
        { "perspective, right edge at 45 degrees", 2, north, 200, 50, { c, c, 0 } },
        { "perspective, top", 2, north, 100, 100, normalized(vector3{ 0, 1, 0.5 }) },
        { "two-point, level: the same", 3, north, 200, 100, normalized(vector3{ 1, 1, 0.5 }) },
        { "parallel", 1, north, 17, 3, { 0, 1, 0 } },
        { "cylinder, first column looks back", 4, north, 0, 50, { 0, -1, 0 } },
        { "cylinder, a quarter on looks left", 4, north, 199 * 0.25, 50, { -1, 0, 0 } },
        { "cylinder, middle looks ahead", 4, north, 99.5, 50, { 0, 1, 0 } },
        { "cylinder, three quarters on looks right", 4, north, 199 * 0.75, 50, { 1, 0, 0 } },
        { "cylinder, top at half its angle", 4, north, 99.5, 100, { 0, c, c } },
        { "cylinder, straight down: ahead is -x", 4, { 0, 0, -1 }, 99.5, 50, { -1, 0, 0 } },
        { "sphere, middle", 5, north, 100, 50, { 0, 1, 0 } },
        { "sphere, right", 5, north, 150, 50, { 1, 0, 0 } },
        { "sphere, top", 5, north, 100, 100, { 0, 0, 1 } },
        { "sphere, 45 degrees down, left", 5, north, 50, 25, { -c, 0, -c } },
        { "sphere looking east", 5, { 1, 0, 0 }, 150, 50, { 0, -1, 0 } },
        { "probe, middle", 6, north, 99.5, 49.5, { 0, 1, 0 } },
        { "probe, a quarter to the right looks right", 6, north, 149.25, 49.5, { 1, 0, 0 } },
        { "probe, a quarter up looks up", 6, north, 99.5, 74.25, { 0, 0, 1 } },
        { "probe, right rim looks back", 6, north, 199, 49.5, { 0, -1, 0 } },
        { "probe looking west", 6, { -1, 0, 0 }, 149.25, 49.5, { 0, 1, 0 } },
    };
    for (const auto& k : cases)
    {
        SCOPED_TRACE(k.what);
        test::scene s;
        aim(s.view, k.projection, { 5, 6, 7 }, k.forward, 3.0);
        s.view.image_width = 8;
        s.view.image_height = 4;
        ASSERT_EQ(zr_init_projection(&s.view), 1);
        EXPECT_VECTOR(direction_at(s, k.x, k.y), k.direction, 1e-6);
    }
}

TEST(Projection, TilesOfASubFrameHaveTheWholePicturesRays)
{
    test::scene whole, tile;
    aim(whole.view, PROJECTION_PERSPECTIVE, { 1, 2, 3 }, { 1, 1, -0.3 }, 4.0);
    ASSERT_EQ(zr_init_projection(&whole.view), 1);
    for (int ty = 0; ty < 2; ++ty)
    {
        for (int tx = 0; tx < 4; ++tx)
        {
            aim(tile.view, PROJECTION_PERSPECTIVE, { 1, 2, 3 }, { 1, 1, -0.3 }, 4.0);
            tile.view.width = tile.view.height = 50;
            tile.view.frame_aspect = 0.5f;
            tile.view.frame_low[0] = tx * 0.25f;
            tile.view.frame_high[0] = (tx + 1) * 0.25f;
            tile.view.frame_low[1] = ty * 0.5f;
            tile.view.frame_high[1] = (ty + 1) * 0.5f;
            ASSERT_EQ(zr_init_projection(&tile.view), 1);
            const vector3 in_tile = direction_at(tile, 13.5, 31.25);
            ASSERT_EQ(zr_init_projection(&whole.view), 1);
            EXPECT_VECTOR(in_tile, direction_at(whole, tx * 50 + 13.5, ty * 50 + 31.25), 1e-12);
        }
    }
}

TEST(Projection, NearAndClipPlanesAreFlat)
{
    test::scene s;
    ray r = s.eye_ray({ 0, 0, 0 }, { 0, 0, 1 });
    const double corner[2] = { 190, 95 };
    for (const int32_t projection : { 2, 3 })
    {
        aim(s.view, projection, { 0, 0, 0 }, { 0, 1, 0 }, 2.0);
        if (projection == 3) { aim(s.view, projection, { 0, 0, 0 }, { 0, 1, 0.2 }, 2.0); }
        s.view.near = 1.5;
        ASSERT_EQ(zr_init_projection(&s.view), 1);
        make_ray(s.doc, &s.view, corner, &r);
        const double wanted = projection == 2 ? 1.5 : 1.5 * std::cos(std::atan(0.2));
        EXPECT_NEAR((r.direction * r.t_min).y, wanted, 1e-9) << "the plane is upright in front of the eye";
    }
    // Kept is the side where n . p + d is above 0.
    struct
    {
        view_clip_plane plane;
        double t_min, t_max;
    } const cases[] = {
        { { 0, 1, 0, -5 }, 5, ZR_FAR },
        { { 0, -1, 0, 5 }, 0, 5 },
        { { 0, 1, 0, 5 }, 0, ZR_FAR },
        { { 0, -1, 0, -5 }, 0, -5 },
        { { 1, 0, 0, 1 }, 0, ZR_FAR },
        { { 1, 0, 0, -1 }, 0, 0 },
    };
    for (const auto& c : cases)
    {
        view_clip_plane plane = c.plane;
        s.view.clip_planes = &plane;
        s.view.clip_plane_count = 1;
        ray ahead = s.eye_ray({ 0, 0, 0 }, { 0, 1, 0 });
        clip_ray(&s.view, &ahead);
        EXPECT_EQ(ahead.t_min, c.t_min);
        EXPECT_EQ(ahead.t_max, c.t_max);
    }
    s.view.clip_planes = nullptr;
    s.view.clip_plane_count = 0;
}

TEST(Projection, TheLensKeepsItsFocus)
{
    test::scene s;
    s.doc->render_flags = RENDER_DEPTH_OF_FIELD;
    s.doc->focus_distance = 7.0;
    s.doc->lens_f_stop = 2.0;
    aim(s.view, PROJECTION_PERSPECTIVE, { 0, 0, 0 }, { 0, 1, 0 }, 2.0);
    ASSERT_EQ(zr_init_projection(&s.view), 1);
    const double position[2] = { 60, 70 };
    ray sharp = s.eye_ray({ 0, 0, 0 }, { 0, 0, 1 });
    ASSERT_EQ(make_ray(s.doc, &s.view, position, &sharp), 1); // stratum 0: through the lens centre
    EXPECT_VECTOR(sharp.origin, (vector3{ 0, 0, 0 }), 0.0);
    const vector3 focus = sharp.direction * 7.0;
    for (const double x : { -0.4999, 0.25 })
    {
        ray r = sharp;
        r.stratum[0] = x;
        r.stratum[1] = 0.4999;
        ASSERT_EQ(make_ray(s.doc, &s.view, position, &r), 1);
        EXPECT_NEAR(length(r.origin), 18.0 / 2.0 * 0.002 * std::hypot(x, 0.4999), 1e-12);
        EXPECT_VECTOR(r.origin + r.direction * r.raw_length, focus, 1e-9);
        // A pinhole again below quality 3 and in fast mode.
        s.doc->quality = 2;
        ASSERT_EQ(make_ray(s.doc, &s.view, position, &r), 1);
        EXPECT_EQ(length(r.origin), 0.0);
        s.doc->quality = 3;
        s.doc->render_flags |= RENDER_FAST;
        ASSERT_EQ(make_ray(s.doc, &s.view, position, &r), 1);
        EXPECT_EQ(length(r.origin), 0.0);
        s.doc->render_flags = RENDER_DEPTH_OF_FIELD;
    }
}

TEST(Projection, ProbeMappingsAreInverse)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<float> at(0.0f, 511.0f);
    int inside = 0;
    for (int n = 0; n < 4000; ++n)
    {
        const float x = at(random), y = at(random);
        vector3 d;
        float azimuth, altitude, back_x, back_y;
        const bool in = std::hypot(2 * x / 511 - 1, 2 * y / 511 - 1) < 0.999;
        if (!zr_hdri_pixels_to_vector(x, 512, y, 512, &d, &azimuth, &altitude))
        {
            EXPECT_FALSE(in);
            continue;
        }
        inside += in;
        EXPECT_NEAR(length(d), 1.0, 1e-9);
        EXPECT_NEAR(std::sin(altitude), d.z, 1e-5);
        if (!in) { continue; }
        zr_hdri_vector_to_pixels(&d, 512, 512, &back_x, &back_y);
        EXPECT_NEAR(back_x, x, 1.01) << "pixels count from 0 to width - 1 one way and to width the other";
        EXPECT_NEAR(back_y, y, 1.01);
    }
    EXPECT_GT(inside, 2000);
    vector3 d;
    EXPECT_EQ(zr_hdri_pixels_to_vector(0, 512, 0, 512, &d, nullptr, nullptr), 0) << "a corner";

    float x, y;
    const vector3 up = { 0, 0, 1 }, west = { -1, 0, 0 }, east = { 1, 0, 0 };
    zr_equirectangular_vector_to_pixels(&up, 400, 200, &x, &y);
    EXPECT_NEAR(y, 200, 1e-3);
    zr_equirectangular_vector_to_pixels(&west, 400, 200, &x, &y);
    EXPECT_NEAR(x, 100, 1e-3) << "north is in the middle, west to the left of it";
    EXPECT_NEAR(y, 100, 1e-3);
    zr_equirectangular_vector_to_pixels(&east, 400, 200, &x, &y);
    EXPECT_NEAR(x, 300, 1e-3);
}
