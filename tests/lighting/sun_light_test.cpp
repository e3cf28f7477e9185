// What the sun and the sky give to surfaces: sunlight, penumbras, windows, arrays of lights.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/scene.hpp"
#include "zirconlite/environment/ground.hpp"
#include "zirconlite/lighting/daylight.hpp"
#include "zirconlite/lighting/sun_light.hpp"

namespace
{

using namespace zr;

constexpr double degree = M_PI / 180.0;

/// A sun at an altitude in the south, and no sky where `sky` is 0.
void set_sun(test::scene& s, double altitude_deg, float sky, double sun_size = 0.0, int32_t samples = 1)
{
    s.doc->sun_sky_flags = SUN_SKY_SUN;
    sun_sky& k = *s.doc->sun_sky;
    k.flags = SUN_BY_ANGLES;
    k.direct_azimuth = float(M_PI);
    k.direct_altitude = float(altitude_deg * degree);
    k.sky_intensity = sky;
    k.sun_size = sun_size;
    k.sun_samples = samples;
    s.doc->render_flags |= RENDER_SOFT_SHADOWS;
}

void add_floor(test::scene& s)
{
    test::mesh m;
    m.look = s.matte(0.5f);
    m.quad({ -100, -100, 0 }, { 100, -100, 0 }, { 100, 100, 0 }, { -100, 100, 0 });
    ASSERT_TRUE(s.add(m));
}

double lux_at(test::scene& s, double x, double y, double pixel = 0.0)
{
    ray r = s.eye_ray({ x, y, 0.1 }, { 0, 0, -1 });
    r.pixel[0] = pixel * 1.37;
    r.pixel[1] = pixel * 0.71;
    trace_ray(*s.doc, r, nullptr);
    return r.radiance[0] * M_PI / 0.5;
}

/// A window of 2 x 1 metres at y = 0 in a wall, looking north into the room.
void add_window(test::scene& s, float opacity = 0.0f)
{
    light l = {};
    l.type = LIGHT_DAYLIGHT;
    l.position = { 0, 0, 1.5 };
    l.normal = { 0, 1, 0 };
    l.axis_u = { -1, 0, 0 };
    l.axis_v = { 0, 0, 1 };
    l.length = 2;
    l.height = 1;
    l.area = 2;
    l.vertex_count = 4;
    const vector3 corners[] = { { 1, 0, 1 }, { -1, 0, 1 }, { -1, 0, 2 }, { 1, 0, 2 } };
    std::copy_n(corners, 4, l.vertices);
    l.opacity = opacity;
    l.simple_brightness = 1;
    l.shadow_strength = 1;
    EXPECT_EQ(zr_insert_light_source_ex(&s.doc->lights, zr_create_light(&l, s.doc->sun_sky), s.doc), 1);
}

} // namespace

TEST(SunLight, FollowsTheSineOfTheAltitude)
{
    for (const double altitude_deg : { 90.0, 30.0, 5.0, -5.0 })
    {
        test::scene s;
        add_floor(s);
        set_sun(s, altitude_deg, 0);
        ASSERT_TRUE(s.prepare());
        const double expected =
            std::fmax(std::sin(altitude_deg * degree), 0.0) * s.doc->sun_sky->sun_strength;
        EXPECT_NEAR(lux_at(s, 0, 0), expected, 1e-4 * expected + 1e-6) << altitude_deg;
        // Samples of the sky's record have no colour: what it gives is weighed with the sun's.
        source_sample sample = {};
        const vector3 origin = {};
        const light& sky = *s.doc->sun_sky->sky_light;
        sky.sample(&sky, &origin, &sample, 1);
        EXPECT_EQ(sample.color[0] + sample.color[1] + sample.color[2], 0.0);
        EXPECT_EQ(sample.distance, ZR_FAR);
    }
    // The fast model adds the sky without a shadow; an overcast one keeps it.
    for (const double cloudiness : { 0.0, 1.0 })
    {
        test::scene s(LIGHT_MODEL_FAST);
        add_floor(s);
        set_sun(s, 30.0, 1);
        s.doc->sun_sky->cloudiness = cloudiness;
        ASSERT_TRUE(s.prepare());
        const sun_sky& k = *s.doc->sun_sky;
        const double sky =
            sky_luminance(k, { 0, 0, 1 }) * k.sky_strength + k.sun_strength * 0.5 * 0.5 / (20 * M_PI);
        EXPECT_NEAR(lux_at(s, 0, 0), 0.5 * k.sun_strength * k.sun_color[0] + sky * M_PI * k.sky_color[0],
            1e-3 * sky * M_PI);
        s.doc->sun_sky_flags = SUN_SKY_WINDOWS; // the sky comes through windows alone
        s.relight();
        EXPECT_NEAR(lux_at(s, 0, 0), 0.5 * k.sun_strength * k.sun_color[0], 1e-3 * k.sun_strength);
    }
}

TEST(SunLight, IsOneForTheProcessAndRightForEachDocument)
{
    test::scene a, b;
    add_floor(a);
    add_floor(b);
    set_sun(a, 60.0, 0);
    set_sun(b, 20.0, 0);
    for (test::scene* s : { &a, &b })
    {
        s->doc->environment_flags = ENVIRONMENT_GROUND;
        s->doc->ground_height = s == &a ? -5.0 : -9.0;
    }
    ASSERT_TRUE(a.prepare() && b.prepare());
    for (test::scene* s : { &a, &b, &a })
    {
        s->relight();
        EXPECT_NEAR(s->seen({ 500, 0, 0 }, { 0, 0, -1 }).hit_t, -s->doc->ground_height, 1e-6);
        const sun_sky& k = *s->doc->sun_sky;
        EXPECT_NEAR(lux_at(*s, 0, 0), k.sun_strength * std::sin(k.altitude), 1.0);
        EXPECT_EQ(current_sun_sky, &k);
    }
    EXPECT_EQ(lux_at(b, 0, 0), 0.0); // the sun that is prepared is not its own
    end_ground();
}

// A half plane 3 m over the floor, the sun overhead. The share of the sun's disc beside its edge is what a
// point gets, and the penumbra is as wide as the disc's image: 2 x 3 m x sun_size / 5.
TEST(SunLight, PenumbraIsAsWideAsTheDisc)
{
    const double size = 0.5, half_width = 3.0 * size / 5.0;
    for (const int32_t samples : { 16, 64, 1 })
    {
        test::scene s;
        add_floor(s);
        test::mesh roof;
        roof.quad({ 0, -50, 3 }, { 50, -50, 3 }, { 50, 50, 3 }, { 0, 50, 3 });
        ASSERT_TRUE(s.add(roof));
        set_sun(s, 90.0, 0, size, samples);
        ASSERT_TRUE(s.prepare());
        const double full = s.doc->sun_sky->sun_strength;
        for (const double t : { -1.05, -0.7, -0.3, 0.0, 0.5, 0.9, 1.05 })
        {
            double sum = 0.0;
            constexpr int pixels = 400;
            for (int i = 0; i < pixels; ++i) { sum += lux_at(s, t * half_width, 0.0, i) / full / pixels; }
            const double share = t <= -1  ? 1.0
                                 : t >= 1 ? 0.0
                                          : (std::acos(t) - t * std::sqrt(1 - t * t)) / M_PI;
            EXPECT_NEAR(sum, share, samples == 1 ? 0.06 : 0.015) << samples << " at " << t;
            // One point alone: with 16 samples within a stratum or two, with one sample all or nothing.
            const double one = lux_at(s, t * half_width, 0.0, 17) / full;
            if (samples > 1)
            {
                EXPECT_NEAR(one, share, 3.0 / std::sqrt(samples) / 4) << samples << " at " << t;
            }
            else { EXPECT_TRUE(one < 1e-6 || one > 0.99) << one; }
        }
    }
}

TEST(Window, GivesTheSkyBehindIt)
{
    for (const int32_t model : { LIGHT_MODEL_FAST, LIGHT_MODEL_EXACT })
    {
        test::scene s(model);
        set_sun(s, 30.0, 1);
        s.doc->sun_sky_flags = SUN_SKY_WINDOWS;
        zr_set_sun_and_sky(s.doc);
        add_window(s);
        s.relight();
        job.light_model = model;
        const light& l = *s.doc->lights;
        ASSERT_EQ(l.type, LIGHT_DAYLIGHT);
        const sun_sky& k = *s.doc->sun_sky;
        const vector3 far_point = { 0.5, 3, 0.5 }, glass = { 0.2, 0.05, 1.6 }, outside = { 0, -1, 1.5 };
        EXPECT_EQ(l.sample_count(&l, &far_point), 17);
        source_sample sample = {};
        sample.u = sample.v = 0.5;
        l.sample(&l, &far_point, &sample, 1);
        const vector3 d = normalized(vector3{ 0, 0, 1.5 } - far_point);
        const double cosine = model == LIGHT_MODEL_EXACT ? -d.y : 1.0;
        const double expected = 2.0 * k.sky_strength * sky_luminance(k, d) * cosine * k.sky_color[1];
        EXPECT_NEAR(sample.color[1], expected, 1e-5 * expected);
        // The flux takes the sky over all directions, by rings of equal height.
        double integral = 0.0;
        for (int i = 0; i < 400 * 400; ++i)
        {
            const double z = (i / 400 + 0.5) / 200.0 - 1.0, a = 2.0 * M_PI * (i % 400) / 400.0;
            const double across = std::sqrt(1.0 - z * z);
            integral += sky_luminance(k, { across * std::cos(a), across * std::sin(a), z }) * 4.0 * M_PI /
                        (400 * 400);
        }
        const double lumens = integral * integral * k.sky_strength / (2.0 * M_PI) * 2.0;
        EXPECT_NEAR(l.lumens, lumens, 0.01 * lumens);
        add_window(s, 0.25f);
        const light& tinted = *l.next;
        EXPECT_NEAR(tinted.lumens, 0.75 * l.lumens, 1e-5 * l.lumens);
        tinted.sample(&tinted, &far_point, &sample, 1);
        EXPECT_NEAR(sample.color[1], 0.75 * expected, 1e-5 * expected);
        l.sample(&l, &outside, &sample, 1);
        EXPECT_EQ(sample.color[1], 0.0);
        l.sample(&l, &glass, &sample, 1);
        if (model == LIGHT_MODEL_FAST)
        {
            EXPECT_EQ(sample.distance, 0.1);
            EXPECT_NEAR(sample.point.x, 0.2, 1e-9);
        }
        else { EXPECT_NEAR(sample.distance, length(vector3{ -0.2, -0.05, -0.1 }), 1e-9); }
    }
}

TEST(SkyArray, IsTheSkyInManyLights)
{
    test::scene s;
    s.doc->bounds = { { 0, 0, 0 }, { 1, 1, 1 } };
    set_sun(s, 45.0, 1);
    ASSERT_EQ(zr_set_sky_array(s.doc, 12, 5), 1);
    EXPECT_EQ(s.doc->light_count, 60);
    double sum = 0.0;
    for (light* l = first_leaf(s.doc->lights); l; l = next_leaf(l))
    {
        EXPECT_LT(l->normal.z, 0.0);
        EXPECT_GT(l->lumens, 0.0f);
        sum += l->illuminance_color[0];
    }
    EXPECT_GT(sum, s.doc->sun_sky->sky_strength / 3);
    EXPECT_LT(sum, s.doc->sun_sky->sky_strength);
    for (const auto& [a, b] : { std::pair{ 0, 5 }, { 5, -1 }, { 1 << 20, 1 << 20 } })
    {
        EXPECT_EQ(zr_set_sky_array(s.doc, a, b), 0);
    }
    EXPECT_EQ(s.doc->light_count, 60);
    light* patches = nullptr;
    ASSERT_EQ(lt_sky_create(&patches, s.doc->sun_sky), 144);
    source_sample seen[5] = {};
    vector3 sum_direction = {};
    for (const light* l = patches; l; l = l->next)
    {
        EXPECT_EQ(l->sample(l, &seen[0].point, seen, 5), 1);
        EXPECT_NEAR(length(seen[3].direction), 1.0, 1e-12);
        EXPECT_GE(seen[0].direction.z, -1e-12);
        const double sky = seen[0].direction.z > 0 ? (2 * seen[0].direction.z + 1) / 3 : 0.3333333;
        EXPECT_NEAR(seen[0].color[2], l->lumens * sky / 144, 1e-6 * l->lumens);
        sum_direction += seen[0].direction;
    }
    EXPECT_NEAR(sum_direction.x, 0.0, 1e-9);
    EXPECT_GT(sum_direction.z, 50.0);
    zr_lights_free_ex(patches, 1);
}
