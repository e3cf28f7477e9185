#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>

#include "tests/support/scene.hpp"
#include "zirconlite/environment/environment.hpp"
#include "zirconlite/environment/ground.hpp"
#include "zirconlite/environment/sky_light.hpp"
#include "zirconlite/lighting/clear_sky.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/picture/projection.h"

namespace
{

using namespace zr;

/// An overcast noon with the sun in the zenith, where the sky's law has its axis.
void set_overcast(document& d)
{
    d.sun_sky_flags = SUN_SKY_EXTERIOR;
    d.sun_sky->flags = SUN_BY_ANGLES | SUN_RGB_COLORS;
    d.sun_sky->direct_altitude = float(M_PI / 2.0);
    d.sun_sky->cloudiness = 1.0;
}

void set_flat(document& d, float grey, double luminance)
{
    d.environment.mode = ENVIRONMENT_FLAT;
    std::fill_n(d.environment.color0, 3, grey);
    zr_set_background_luminance(&d, luminance);
}

/// A bright cap round the zenith, fading between two sines, black elsewhere.
constexpr double cap_edge = 0.996, cap_foot = 0.98;
void set_cap(document& d, double luminance)
{
    environment& e = d.environment;
    e.mode = ENVIRONMENT_GRADIENT_3;
    std::fill_n(e.color0, 3, 1.0f);
    e.angle0 = std::asin(cap_edge);
    e.angle1 = std::asin(cap_foot);
    e.angle2 = -1.5;
    zr_set_background_luminance(&d, luminance);
}
double cap_lux(double luminance)
{
    const double ramp = [](double z) { return z * z * z / 3.0 - cap_foot * z * z / 2.0; }(cap_edge) -
                        [](double z) { return z * z * z / 3.0 - cap_foot * z * z / 2.0; }(cap_foot);
    return luminance * M_PI * (1.0 - cap_edge * cap_edge + 2.0 * ramp / (cap_edge - cap_foot));
}

/// A matte floor of grey 0.5 at height 0, lit by its environment alone.
struct open_ground : test::scene
{
    explicit open_ground(int32_t model = LIGHT_MODEL_EXACT, uint32_t flags = 0) : test::scene(model)
    {
        test::mesh m;
        m.look = matte(0.5f);
        m.flags = flags;
        m.quad({ -100, -100, 0 }, { 100, -100, 0 }, { 100, 100, 0 }, { -100, 100, 0 });
        EXPECT_TRUE(add(m));
    }
    void add_table(double half, double height)
    {
        test::mesh m;
        m.quad({ -half, -half, height }, { half, -half, height }, { half, half, height },
            { -half, half, height });
        EXPECT_TRUE(add(m));
    }
    /// Lux at one point as pixel (column, row) sees it.
    double lux(double x, double y, int column, int row) const
    {
        ray r = eye_ray({ x + 0.02, y + 0.01, 0.1 }, { -0.02, -0.01, -0.1 });
        r.pixel[0] = column + 0.5;
        r.pixel[1] = row + 0.5;
        trace_ray(*doc, r, nullptr);
        return r.radiance[1] * M_PI / 0.5;
    }
    double mean_lux(double x, double y) const
    {
        double sum = 0.0;
        for (int i = 0; i < 256; ++i) { sum += lux(x, y, i % 16, i / 16); }
        return sum / 256.0;
    }
};

/// Share of a uniform hemisphere's light that a rectangle a x b at height h takes from the point below its
/// corner.
double hidden_by_corner(double a, double b, double h)
{
    const double x = a / h, y = b / h, u = std::sqrt(1.0 + x * x), v = std::sqrt(1.0 + y * y);
    return (x / u * std::atan(y / u) + y / v * std::atan(x / v)) / (2.0 * M_PI);
}

} // namespace

TEST(SkyLight, GivesOpenGroundWhatItsLawSays)
{
    struct
    {
        const char* what;
        std::function<void(document&)> set;
        std::function<double(const document&)> lux;
        double tolerance;
    } const cases[] = {
        { "overcast", set_overcast,
            [](const document& d) { return 7.0 / 9.0 * M_PI * d.sun_sky->sky_strength; }, 0.002 },
        { "uniform", [](document& d) { set_flat(d, 0.25f, 4000.0); },
            [](const document&) { return 1000.0 * M_PI; }, 0.001 },
        { "a bright cap", [](document& d) { set_cap(d, 50000.0); },
            [](const document&) { return cap_lux(50000.0); }, 0.01 },
        { "a background under an overcast sky takes its strength",
            [](document& d)
            {
                set_overcast(d);
                set_flat(d, 0.5f, 0.0);
            },
            [](const document& d) { return 0.5 * M_PI * d.sun_sky->sky_strength; }, 0.001 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        open_ground s;
        c.set(*s.doc);
        ASSERT_TRUE(s.prepare());
        const double wanted = c.lux(*s.doc);
        EXPECT_GT(wanted, 500.0);
        EXPECT_NEAR(s.mean_lux(3.0, 1.0), wanted, c.tolerance * wanted);
        // No point strays far, and the same pixel sees the same again.
        for (int i = 0; i < 200; ++i)
        {
            const double once = s.lux(0.0, 0.0, i, 3 * i);
            EXPECT_NEAR(once, wanted, 0.15 * wanted);
            EXPECT_EQ(once, s.lux(0.0, 0.0, i, 3 * i));
        }
    }
}

TEST(SkyLight, IsTakenBySolidAngleBelowATable)
{
    open_ground s;
    s.add_table(1.0, 1.0);
    set_flat(*s.doc, 1.0f, 1000.0);
    ASSERT_TRUE(s.prepare());
    double before = 0.0;
    for (const double x : { 0.0, 0.5, 0.9, 1.1, 1.5, 2.5 })
    {
        SCOPED_TRACE(x);
        const double hidden =
            2.0 * (hidden_by_corner(1.0 + x, 1.0, 1.0) +
                      (x < 1.0 ? hidden_by_corner(1.0 - x, 1.0, 1.0) : -hidden_by_corner(x - 1.0, 1.0, 1.0)));
        const double lux = s.mean_lux(x, 0.0);
        EXPECT_NEAR(lux, 1000.0 * M_PI * (1.0 - hidden), 0.02 * 1000.0 * M_PI);
        EXPECT_GT(lux, before) << "a contact shadow fades outwards";
        before = lux;
    }
}

TEST(SkyLight, DrawsWhatItLooksUp)
{
    open_ground s;
    set_cap(*s.doc, 100.0);
    ASSERT_TRUE(s.prepare());
    double flux = 0.0;
    for (int i = 0; i < 4096; ++i)
    {
        const sky_sample drawn = draw_sky_sample((i / 64 + 0.5) / 64.0, (i % 64 + 0.5) / 64.0);
        const sky_sample found = sky_light_from(drawn.direction);
        EXPECT_EQ(drawn.radiance[1], found.radiance[1]);
        EXPECT_EQ(drawn.density, found.density);
        EXPECT_NEAR(dot(drawn.direction, drawn.direction), 1.0, 1e-12);
        flux += drawn.radiance[1] / drawn.density / 4096.0;
    }
    const double width = cap_edge - cap_foot;
    EXPECT_NEAR(flux, 100.0 * 2.0 * M_PI * (1.0 - cap_edge + width / 2.0), 1.0);
}

TEST(SkyLight, HasNoiseWithoutAPattern)
{
    // What pixels see of one point under a table's edge: none follows from another, near or far.
    open_ground s;
    s.add_table(1.0, 1.0);
    set_flat(*s.doc, 1.0f, 1000.0);
    ASSERT_TRUE(s.prepare());
    constexpr int n = 48;
    double noise[n * n], mean = 0.0;
    for (int i = 0; i < n * n; ++i) { mean += (noise[i] = s.lux(1.0, 0.0, i % n, i / n)) / (n * n); }
    for (double& v : noise) { v -= mean; }
    const double variance = std::inner_product(noise, noise + n * n, noise, 0.0);
    EXPECT_GT(variance, 0.0);
    for (int apart = 1; apart < n * n / 2; ++apart) // along rows, and from row to row
    {
        EXPECT_LT(std::inner_product(noise + apart, noise + n * n, noise, 0.0), 0.15 * variance) << apart;
    }
}

TEST(SkyLight, ComesOnlyWhereItIsWanted)
{
    struct
    {
        const char* what;
        int32_t model;
        uint32_t object_flags;
        std::function<void(document&)> change;
    } const dark[] = {
        { "fast model", LIGHT_MODEL_FAST, 0, [](document& d) { d.sun_sky_flags = 0; } },
        { "no rays", LIGHT_MODEL_EXACT, 0, [](document& d) { zr_set_sky_light_samples(&d, 0); } },
        { "by windows only", LIGHT_MODEL_EXACT, 0, [](document& d) { d.sun_sky_flags = SUN_SKY_WINDOWS; } },
        { "an unlit object", LIGHT_MODEL_EXACT, OBJECT_NO_DIRECT_LIGHT, [](document&) {} },
        { "night", LIGHT_MODEL_EXACT, 0, [](document& d) { d.sun_sky->direct_altitude = -0.5f; } },
        { "no sun and no luminance", LIGHT_MODEL_EXACT, 0,
            [](document& d)
            {
                d.sun_sky_flags = 0;
                set_flat(d, 1.0f, 0.0);
            } },
    };
    for (const auto& c : dark)
    {
        SCOPED_TRACE(c.what);
        open_ground s(c.model, c.object_flags);
        set_overcast(*s.doc);
        c.change(*s.doc);
        ASSERT_TRUE(s.prepare());
        EXPECT_EQ(s.lux(0, 0, 1, 1), 0.0);
    }
}

TEST(SkyLight, IsThatOfTheSkyThatIsSeen)
{
    struct
    {
        const char* what;
        std::function<void(document&)> set;
    } const cases[] = {
        { "a clear sky under a low sun",
            [](document& d)
            {
                set_overcast(d);
                d.sun_sky->flags = SUN_BY_ANGLES;
                d.sun_sky->cloudiness = 0.1;
                d.sun_sky->direct_altitude = 0.5f;
                d.sun_sky_flags = SUN_SKY_DIRECT_SKY | SUN_SKY_SUN;
            } },
        { "an overcast sky", set_overcast },
        { "a background that lights", [](document& d) { set_cap(d, 3000.0); } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        open_ground s;
        c.set(*s.doc);
        s.doc->sun_sky->sun_intensity = 0.0f;
        ASSERT_TRUE(s.prepare());
        double seen = 0.0, by_function = 0.0;
        constexpr int rows = 300, columns = 60; // directions of equal share of the level's light
        for (int i = 0; i < rows * columns; ++i)
        {
            const double z = std::sqrt((i / columns + 0.5) / rows), a = 2.0 * M_PI * (i % columns) / columns;
            const double r = std::sqrt(1.0 - z * z);
            ray up = s.eye_ray({ 0, 0, 1 }, { r * std::cos(a), r * std::sin(a), z });
            environment_background(*s.doc, up);
            seen += up.radiance[1] * M_PI / (rows * columns);
            by_function += sky_luminance(*s.doc->sun_sky, up.direction) * M_PI / (rows * columns);
        }
        EXPECT_NEAR(s.mean_lux(3.0, 1.0), seen, 0.01 * seen);
        double lux[3];
        level_ground_lux(lux);
        EXPECT_NEAR(lux[1], seen, 0.005 * seen);
        if (s.doc->environment.mode != ENVIRONMENT_SKY) { continue; }
        EXPECT_NEAR(luminance(lux), by_function * s.doc->sun_sky->sky_strength, 0.005 * luminance(lux));
    }
}

TEST(SkyLight, ABackgroundThatGivesNoneShowsTheColorThatWasPicked)
{
    open_ground s;
    set_flat(*s.doc, 0.5f, 0.0);
    s.doc->sun_sky_flags = 0;
    ASSERT_TRUE(s.prepare());
    ray up = s.eye_ray({ 0, 0, 1 }, { 0, 0, 1 });
    environment_background(*s.doc, up);
    EXPECT_GT(up.background[1], 0.0f);
    EXPECT_LE(up.radiance[0], 0.0);
}

TEST(SkyLight, IsBlueOverheadAndBrightRoundTheSunWhereItIsClear)
{
    open_ground s;
    set_overcast(*s.doc);
    sun_sky& sky = *s.doc->sun_sky;
    sky.flags = SUN_BY_ANGLES;
    sky.cloudiness = 0.0;
    sky.direct_altitude = 0.6f;
    ASSERT_TRUE(s.prepare());
    double zenith[3], horizon[3], sun[3];
    const vector3 away = normalized({ sky.sun_direction.x, sky.sun_direction.y, 0.0 });
    sky_radiance(sky, { 0, 0, 1 }, zenith);
    sky_radiance(sky, away, horizon);
    sky_radiance(sky, -sky.sun_direction, sun);
    EXPECT_GT(zenith[2] / zenith[0], 1.5 * horizon[2] / horizon[0]);
    EXPECT_GT(horizon[2], horizon[0]);
    // Of CIE S 011, type 12: gradation 1 - exp(-0.32 / z), indicatrix 1 + 10 (exp(-3 a) - exp(-1.5 pi)) +
    // 0.45 cos2 a.
    const auto shape = [](double z, double a)
    {
        return (1.0 - std::exp(-0.32 / z)) *
               (1.0 + 10.0 * (std::exp(-3.0 * a) - std::exp(-1.5 * M_PI)) + 0.45 * std::pow(std::cos(a), 2));
    };
    EXPECT_NEAR(
        luminance(sun) / luminance(zenith), shape(std::sin(0.6), 0.0) / shape(1.0, M_PI / 2.0 - 0.6), 1e-6);
    // Daylight of 6504 K is the white of sRGB, equal parts of its primaries.
    double white[3], day[3];
    daylight_color(5500.0, white);
    daylight_color(6504.0, day);
    for (int i = 0; i < 3; ++i) { EXPECT_NEAR(white[i], 1.0, 0.001); }
    EXPECT_NEAR(day[2] / day[0], 1.1037 / 0.8220, 0.005);
}

TEST(SkyLight, ComesBackFromTheGroundPlane)
{
    // A small plate over a ground that sends 0.7 of the sun's light back, as half the sphere below it.
    test::scene s;
    test::mesh plate;
    plate.look = s.matte(0.5f);
    plate.quad({ -0.01, -0.01, 9 }, { -0.01, 0.01, 9 }, { 0.01, 0.01, 9 }, { 0.01, -0.01, 9 });
    ASSERT_TRUE(s.add(plate));
    s.doc->environment_flags = ENVIRONMENT_GROUND;
    s.doc->sun_sky_flags = SUN_SKY_SUN;
    s.doc->sun_sky->flags = SUN_BY_ANGLES | SUN_RGB_COLORS;
    s.doc->sun_sky->direct_altitude = float(M_PI / 6);
    s.doc->sun_sky->sky_intensity = 1e-4f; // enough for rays to be sent
    ASSERT_TRUE(s.prepare());
    const double returned = s.doc->sun_sky->sun_strength * 0.5 * 0.7;
    EXPECT_NEAR(s.radiance({ 0.001, 0.002, 8.9 }, { 0, 0, 1 }), returned * 0.5 / M_PI, 0.02 * returned);
    end_ground();
}
