// What rays that leave the scene bring back: gradients, skies, pictures in all projections, haze, the ground.
#include "zirconlite/environment/environment.hpp"

#include <gtest/gtest.h>

#include "tests/support/scene.hpp"
#include "zirconlite/environment/environment_map.hpp"
#include "zirconlite/environment/ground.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/picture/projection.h"

namespace
{

using namespace zr;

/// A scene in which display colours are world values.
struct open_scene : test::scene
{
    open_scene()
    {
        view.width = 100;
        view.height = 50;
        env.mode = ENVIRONMENT_FLAT;
    }
    void ready() { environment_prepare(*doc, env, view); }
    ray look(const vector3& direction, int32_t kind = RAY_PRIMARY)
    {
        ray r = eye_ray({ 0, 0, 0 }, direction);
        r.kind = kind;
        environment_background(*doc, r);
        return r;
    }
    float red(const vector3& direction) { return look(direction).background[0]; }
    environment& env = doc->environment;
};

vector3 at_sine(double z) { return { 0.0, std::sqrt(1.0 - z * z), z }; }

/// Azimuth from north over east, and altitude.
vector3 toward(double azimuth_deg, double altitude_deg)
{
    const double a = azimuth_deg * M_PI / 180, h = altitude_deg * M_PI / 180;
    return { std::sin(a) * std::cos(h), std::cos(a) * std::cos(h), std::sin(h) };
}

} // namespace

TEST(Environment, GradientsAndPaintedSkiesHaveTheirStops)
{
    open_scene s;
    s.env.color0[0] = 1.0f;
    s.env.color1[0] = 0.2f;
    s.env.color2[0] = 0.8f;
    s.env.angle0 = std::asin(0.5);
    s.env.angle1 = std::asin(0.25);
    struct
    {
        const char* what;
        int32_t mode;
        double z;
        float red;
    } const gradients[] = {
        { "flat", ENVIRONMENT_FLAT, -1.0, 1.0f },
        { "above the top", ENVIRONMENT_GRADIENT_2, 0.9, 1.0f },
        { "the middle is the mean", ENVIRONMENT_GRADIENT_2, 0.25, 0.6f },
        { "its own middle", ENVIRONMENT_GRADIENT_3, 0.25, 0.8f },
        { "half way up", ENVIRONMENT_GRADIENT_3, 0.375, 0.9f },
        { "half way down", ENVIRONMENT_GRADIENT_3, 0.125, 0.5f },
        { "the ground", ENVIRONMENT_GRADIENT_3, -0.5, 0.2f },
    };
    for (const auto& c : gradients)
    {
        SCOPED_TRACE(c.what);
        s.env.mode = c.mode;
        s.ready();
        EXPECT_NEAR(s.red(at_sine(c.z)), c.red, 1e-6);
    }
    struct
    {
        const char* what;
        uint32_t sun, flags;
        int32_t model;
        double cloudiness, z;
        float rgb[3];
    } const skies[] = {
        { "no sun", 0, 0, 0, 0.0, 0.9, {} },
        { "windows only: no sun in the open", SUN_SKY_INDIRECT, 0, 0, 0.0, 0.9, {} },
        { "the clear sky without a sun", 0, ENVIRONMENT_SKY_WITHOUT_SUN, 0, 0.9, 0.9,
            { 0.02f, 0.53f, 0.999f } },
        { "clear", SUN_SKY_SUN, 0, 0, 0.25, 0.5, { 0.02f, 0.53f, 0.999f } },
        { "clear, middle", SUN_SKY_SUN, 0, 0, 0.25, 0.25, { 0.23f, 0.76f, 0.999f } },
        { "clear, horizon", SUN_SKY_SUN, 0, 0, 0.0, -0.01, { 0.44f, 0.999f, 0.999f } },
        { "clear, between", SUN_SKY_SUN, 0, 0, 0.25, 0.125, { 0.335f, 0.8795f, 0.999f } },
        { "clear, exact", 0, ENVIRONMENT_SKY_WITHOUT_SUN, 1, 0.25, 0.5, { 0.02f, 0.53f, 0.999f } },
        { "clear, exact, middle", 0, ENVIRONMENT_SKY_WITHOUT_SUN, 1, 0.25, 0.25, { 0.23f, 0.72f, 0.999f } },
        { "clear, exact, horizon", 0, ENVIRONMENT_SKY_WITHOUT_SUN, 1, 0.0, -0.01, { 0.44f, 0.82f, 0.999f } },
        { "cloudy", SUN_SKY_EXTERIOR, 0, 0, 0.26, 0.42, { 0.68f, 0.8994f, 0.9239f } },
        { "cloudy, middle", SUN_SKY_EXTERIOR, 0, 0, 0.65, 0.1767, { 0.5096f, 0.6193f, 0.6361f } },
        { "cloudy, horizon", SUN_SKY_EXTERIOR, 0, 0, 0.65, -0.26, { 0.3392f, 0.3392f, 0.3392f } },
        { "overcast", SUN_SKY_SUN, 0, 0, 0.66, 0.42, { 0.8277f, 0.8277f, 0.8277f } },
        { "overcast, middle", SUN_SKY_SUN, 0, 0, 1.0, 0.1767, { 0.5835f, 0.5835f, 0.5835f } },
        { "overcast, horizon", SUN_SKY_SUN, 0, 0, 1.0, -0.27, { 0.3392f, 0.3392f, 0.3392f } },
    };
    s.env.mode = ENVIRONMENT_SKY;
    twilight_sky = 1.0;
    for (const auto& c : skies)
    {
        SCOPED_TRACE(c.what);
        job.light_model = c.model;
        s.doc->sun_sky_flags = c.sun;
        s.doc->environment_flags = c.flags;
        s.doc->sun_sky->cloudiness = c.cloudiness;
        const ray r = s.look(at_sine(c.z));
        for (int i = 0; i < 3; ++i) { EXPECT_NEAR(r.background[i], c.rgb[i], 2e-4) << i; }
    }
}

TEST(Environment, ReflectedRaysSeeWhatTheFlagsSay)
{
    open_scene s;
    s.env.color0[0] = 0.5f;
    s.doc->reflected_environment.mode = ENVIRONMENT_FLAT;
    s.doc->reflected_environment.color0[0] = 0.25f;
    struct
    {
        uint32_t flags;
        float primary, reflected;
    } const cases[] = {
        { 0, 0.5f, 0.5f },
        { ENVIRONMENT_REFLECTED_OWN, 0.5f, 0.25f },
        { ENVIRONMENT_REFLECT_NOTHING, 0.5f, -1.0f },
    };
    for (const auto& c : cases)
    {
        s.doc->environment_flags = c.flags;
        EXPECT_EQ(s.red({ 0, 1, 0 }), c.primary);
        EXPECT_EQ(s.look({ 0, 1, 0 }, RAY_REFLECTED).background[0], c.reflected);
    }
    EXPECT_EQ(s.look({ 0, 1, 0 }).alpha, 1.0f);
    EXPECT_EQ(s.look({ 0, 1, 0 }, RAY_REFLECTED).alpha, 0.0f);
}

TEST(Environment, ARecordIsCopiedSavedAndRestoredBetweenRenders)
{
    open_scene s;
    s.doc->environment_flags = ENVIRONMENT_CLOUDS | ENVIRONMENT_REFLECTED_CLOUDS | ENVIRONMENT_CLOUDS_ALWAYS |
                               ENVIRONMENT_REFLECTED_OWN;
    s.env.color0[0] = 0.25f;
    s.env.cloud_flags = CLOUDS_CUMULUS;
    s.env.cu_number = 50;
    std::fill_n(s.env.cu_scale, 3, 1.0f);
    s.relight();
    const environment saved = s.env;
    s.doc->reflected_environment = s.env;
    s.relight(); // both are prepared, and freed at the end
    const vector3 up = at_sine(0.9);
    EXPECT_EQ(s.look(up).background[0], s.look(up, RAY_REFLECTED).background[0]);
    const float before = s.red(up);
    s.env = {};
    s.relight();
    EXPECT_NE(s.red(up), before);
    s.env = saved;
    s.relight();
    EXPECT_EQ(s.red(up), before);
}

TEST(Environment, HazeGrowsToItsStrengthAndADistanceOfZeroIsNone)
{
    open_scene s;
    s.env.color0[0] = 0.5f;
    s.doc->environment_flags = ENVIRONMENT_HAZE;
    s.doc->fog_color[0] = 0.9f;
    struct
    {
        const char* what;
        int32_t type;
        double distance, hit;
        float strength, red;
        double kept;
    } const cases[] = {
        { "the background is haze alone", 2, 100, 1e12, 1.0f, 0.9f, 0.0 },
        { "dark, half way, half strong", 1, 100, 50, 0.5f, 0.5f * 0.75f + 0.2f * 0.25f, 0.75 },
        { "light", 0, 100, 200, 0.5f, 0.6f, 0.5 },
        { "no distance", 2, 0, 1e12, 1.0f, 0.5f, 1.0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        s.doc->fog_type = c.type;
        s.doc->fog_distance = c.distance;
        s.doc->fog_strength = c.strength;
        ray r = s.eye_ray({ 0, 0, 0 }, { 0, 1, 0 });
        r.hit_t = c.hit;
        r.background[0] = 0.5f;
        r.radiance[0] = 4.0;
        EXPECT_NEAR(haze(*s.doc, r), c.kept, 1e-9);
        EXPECT_NEAR(r.background[0], c.red, 1e-6);
        EXPECT_NEAR(r.radiance[0], 4.0 * c.kept, 1e-9);
    }
}

TEST(Environment, PicturesLieWhereTheirAnglesSay)
{
    open_scene s;
    // Red grows to the right, green upward, as light of display values 0, 1/3, 2/3, 1.
    uint8_t rows[4 * 4 * 3] = {};
    for (int y = 0; y < 4; ++y)
    {
        for (int x = 0; x < 4; ++x)
        {
            rows[(y * 4 + x) * 3] = uint8_t(85 * x);
            rows[(y * 4 + x) * 3 + 1] = uint8_t(85 * y);
        }
    }
    const std::u16string name = u"test:places";
    ASSERT_NE(zr_add_bitmap(name.c_str(), 4, 4, 3, rows), nullptr);
    name.copy(s.env.image_filename, name.size());
    s.env.image_opacity = 1.0f;
    s.doc->environment_flags = ENVIRONMENT_PICTURE;
    const float angles[4] = { float(M_PI / 4), float(-M_PI / 4), 0.0f, float(M_PI) }; // the northern half
    std::copy_n(angles, 4, s.env.image_cylindrical_angles);
    std::copy_n(angles, 4, s.env.image_spherical_angles);
    struct
    {
        const char* what;
        int32_t projection;
        uint32_t flags;
        double azimuth, altitude;
        int x, y;
    } const round[] = {
        { "left is west", 1, 0, -80, 30, 0, 3 },
        { "right is east", 1, 0, 80, -30, 3, 0 },
        { "south is empty", 1, 0, 180, 0, -1, 0 },
        { "above is empty", 2, 0, 0, 50, -1, 0 },
        { "below the middle, to the right", 2, 0, 20, -10, 2, 1 },
        { "near north is no seam", 2, 0, 0.001, 10, 2, 2 },
        { "a tile behind", 2, BACKGROUND_TILE, 100, 10, 0, 2 },
        { "a mirrored tile behind", 2, BACKGROUND_TILE | BACKGROUND_MIRROR, 100, 10, 3, 2 },
        { "tiles have no rows", 2, BACKGROUND_TILE, 0, 50, -1, 0 },
        { "tiles of no width, as a span of 0 has them", -2, BACKGROUND_TILE, 20, -10, -1, 0 },
        { "and round a cylinder", -1, BACKGROUND_TILE, 20, -10, -1, 0 },
    };
    for (const auto& c : round)
    {
        SCOPED_TRACE(c.what);
        s.env.image_projection = std::abs(c.projection);
        s.env.image_flags = c.flags;
        const float span = c.projection < 0 ? 0.0f : angles[3];
        s.env.image_cylindrical_angles[3] = s.env.image_spherical_angles[3] = span;
        s.ready();
        const ray r = s.look(toward(c.azimuth, c.altitude));
        EXPECT_NEAR(r.background[0], c.x < 0 ? 0.0 : std::pow(c.x / 3.0, 2.2), 1e-4);
        if (c.x >= 0) { EXPECT_NEAR(r.background[1], std::pow(c.y / 3.0, 2.2), 1e-4); }
    }
    s.env.image_projection = 0;
    // A picture of half the opacity lies over half of what is below.
    s.env.image_flags = BACKGROUND_FIT;
    s.env.image_opacity = 0.5f;
    s.env.color0[2] = 0.8f;
    s.ready();
    ray half = s.eye_ray({ 0, 0, 0 }, { 0, 1, 0 });
    half.pixel[0] = 90;
    half.pixel[1] = 10;
    environment_background(*s.doc, half);
    EXPECT_NEAR(half.background[0], 0.5, 1e-4);
    EXPECT_NEAR(half.background[2], 0.4, 1e-4);
}
