// The sun's angles, and what a moment gives: strengths, colours, the sky.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "tests/support/scene.hpp"
#include "zirconlite/lighting/daylight.h"
#include "zirconlite/lighting/sun_almanac.hpp"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/lighting/sun_tables.hpp"

namespace
{

using namespace zr;

constexpr double degree = M_PI / 180.0;

struct angles
{
    double azimuth_deg, altitude_deg, solar_minutes;
};

angles sun_at(double minutes, int32_t day, double zone, double latitude_deg, double longitude_deg)
{
    angles a;
    EXPECT_EQ(zr_solar_angles(minutes, day, zone, latitude_deg * degree, longitude_deg * degree,
                  &a.azimuth_deg, &a.altitude_deg, &a.solar_minutes),
        1);
    a.azimuth_deg /= degree;
    a.altitude_deg /= degree;
    return a;
}

/// Each test leaves the model that a process starts with.
struct Sun : testing::Test
{
    void TearDown() override { zr_set_sun_model(SUN_MODEL_TABLES, 2000); }
};

/// A scene with the sun at an altitude.
struct sunlit : test::scene
{
    explicit sunlit(double altitude_deg, double cloudiness = 0.0, int32_t model = LIGHT_MODEL_FAST)
        : scene(model)
    {
        doc->sun_sky_flags = SUN_SKY_SUN;
        sky().flags = SUN_BY_ANGLES;
        sky().direct_altitude = float(altitude_deg * degree);
        sky().cloudiness = cloudiness;
        zr_set_sun_and_sky(doc);
        job.simple_colors = 0;
    }
    sun_sky& sky() { return *doc->sun_sky; }
};

} // namespace

TEST_F(Sun, FollowsTheTables)
{
    EXPECT_DOUBLE_EQ(table_equation_of_time(31), -13.5);
    EXPECT_DOUBLE_EQ(table_equation_of_time(16), -7.75); // halfway from -2 on day 1 to -13.5 on day 31
    EXPECT_DOUBLE_EQ(table_declination_deg(173), 23.5);
    EXPECT_DOUBLE_EQ(table_declination_deg(0), table_declination_deg(1));
    EXPECT_DOUBLE_EQ(table_declination_deg(400), -23.1);
    const angles noon = sun_at(720, 79, 0, 50, 0); // day 80: no declination
    EXPECT_NEAR(noon.altitude_deg, 40.0, 0.1);
    EXPECT_NEAR(noon.solar_minutes, 720 - 8.4194, 1e-3);
    EXPECT_NEAR(sun_at(720, 79, 1, 50, 15).solar_minutes, noon.solar_minutes, 1e-6);
    // The tables agree with the almanac as far as the header says.
    double declination = 0, time = 0;
    for (int day = 0; day < 365; ++day)
    {
        zr_set_sun_model(SUN_MODEL_TABLES, 2001);
        const angles t = sun_at(720, day, 0, 90, 0);
        zr_set_sun_model(SUN_MODEL_ALMANAC, 2001);
        const angles a = sun_at(720, day, 0, 90, 0);
        declination = std::fmax(declination, std::fabs(t.altitude_deg - a.altitude_deg));
        time = std::fmax(time, std::fabs(t.solar_minutes - a.solar_minutes));
    }
    EXPECT_LT(declination, 1.4);
    EXPECT_LT(time, 2.4);
}

TEST_F(Sun, IsAtPublishedPositions)
{
    // The worked example of Reda and Andreas, Solar Energy 76 (2004), whose altitude without refraction
    // is 39.872046.
    zr_set_sun_model(SUN_MODEL_ALMANAC, 2003);
    const angles golden = sun_at(12 * 60 + 30.5, 289, -7, 39.742476, -105.1786);
    EXPECT_NEAR(golden.altitude_deg, 39.872046, 0.002);
    EXPECT_NEAR(golden.azimuth_deg + 360, 194.34024, 0.002);
    // Meeus, chapter 25: 13 October 1992, 0 h dynamical time; declination -7 47' 01.74".
    const sun_position meeus = almanac_sun(julian_day(1992, 286, -59.2 / 60, 0), 0);
    EXPECT_NEAR(meeus.declination / degree, -7.783817, 0.002);
    EXPECT_NEAR(meeus.distance, 0.99760775, 1e-4);
    // Equinox and solstice of 2000: 20 March 7:35, 21 June 1:48.
    EXPECT_NEAR(almanac_sun(julian_day(2000, 79, 455, 0), 0).declination / degree, 0.0, 0.002);
    EXPECT_NEAR(almanac_sun(julian_day(2000, 172, 108, 0), 0).declination / degree, 23.4385, 0.002);
    EXPECT_EQ(julian_day(2000, 0, 720, 0), 2451545.0);
    EXPECT_EQ(julian_day(1900, 59, 0, 0), 2415079.5); // 1 March: 1900 had no 29 February
}

TEST_F(Sun, HasAnAngleEverywhere)
{
    for (const int32_t model : { SUN_MODEL_TABLES, SUN_MODEL_ALMANAC })
    {
        ASSERT_EQ(zr_set_sun_model(model, 2024), 1);
        const angles morning = sun_at(540, 171, 0, 51.5, 0), evening = sun_at(1020, 171, 0, 51.5, 0);
        EXPECT_GT(morning.azimuth_deg, 60.0);
        EXPECT_LT(evening.azimuth_deg, -60.0);
        const angles turned =
            sun_at(540 + 3 * 1440, 171, 72, 51.5, 0); // three days ahead of a zone three days off
        EXPECT_NEAR(turned.azimuth_deg, morning.azimuth_deg, 1e-6);
        // At the pole the hour is the azimuth, and latitudes beyond it are the pole.
        EXPECT_NEAR(sun_at(720, 171, 0, 90, 0).azimuth_deg, 180.0, 1.0 + 3.0 / 4.0);
        EXPECT_EQ(sun_at(540, 171, 0, 95, 0).altitude_deg, sun_at(540, 171, 0, 90, 0).altitude_deg);
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const angles none = sun_at(nan, -5, nan, nan, nan), last = sun_at(720, 1 << 30, 0, 0, 0);
        const angles zero = sun_at(0, 0, 0, 0, 0);
        EXPECT_EQ(none.azimuth_deg, zero.azimuth_deg);
        EXPECT_EQ(none.altitude_deg, zero.altitude_deg);
        EXPECT_EQ(last.altitude_deg, sun_at(720, 365, 0, 0, 0).altitude_deg);
    }
    zr_set_sun_model(SUN_MODEL_TABLES, 2024);
    EXPECT_EQ(sun_at(600, 365, 0, 40, 0).altitude_deg, sun_at(600, 364, 0, 40, 0).altitude_deg);
    EXPECT_EQ(sun_at(720 + 8.419354838709678, 79, 0, 0, 0).azimuth_deg, 0.0); // the zenith
    EXPECT_EQ(zr_set_sun_model(7, 2024), 0);
    int32_t year;
    EXPECT_EQ(zr_get_sun_model(&year), SUN_MODEL_TABLES);
    EXPECT_EQ(year, 2024);
}

TEST_F(Sun, RoundTripsThroughItsRecord)
{
    test::scene s;
    sun_sky_data in, out;
    std::memset(&in, 0x15, sizeof in); // every field has a finite number of its own kind
    in.flags = SUN_BY_ANGLES;
    in.reserved = 0;
    in.place[129] = 0;
    in.direct_azimuth = 0.5;
    in.direct_altitude = 0.25;
    in.latitude = -0.7;
    in.time_zone = -217;
    for (int32_t zone = -840; zone <= 840; zone += 7)
    {
        in.time_zone = zone;
        ASSERT_EQ(zr_store_sunsky_data(&in, s.doc->sun_sky, s.doc), 1);
        ASSERT_EQ(zr_get_sunsky_data(&out, s.doc->sun_sky, s.doc), 1);
        EXPECT_EQ(out.time_zone, zone);
    }
    EXPECT_NEAR(out.latitude, in.latitude, 1e-15);
    out.latitude = in.latitude;
    out.longitude = in.longitude;
    const size_t gap = offsetof(sun_sky_data, place) + sizeof in.place,
                 end = offsetof(sun_sky_data, cloudy_ct) + 4;
    EXPECT_EQ(std::memcmp(&in, &out, gap), 0);
    EXPECT_EQ(std::memcmp(&in.latitude, &out.latitude, end - offsetof(sun_sky_data, latitude)), 0);
    EXPECT_NEAR(s.doc->sun_sky->sun_direction.z, -std::sin(0.25), 1e-9);
    in.flags = 0;
    in.direct_azimuth = 9.0;
    zr_store_sunsky_data(&in, s.doc->sun_sky, s.doc);
    EXPECT_EQ(s.doc->sun_sky->direct_azimuth, 0.5f); // the sun is not placed by angles: they stay
    EXPECT_EQ(zr_get_sunsky_data(&out, nullptr, s.doc), 0);
}

TEST_F(Sun, SettingsAreClampedToTheirRanges)
{
    constexpr double inf = std::numeric_limits<double>::infinity();
    const struct
    {
        double given, cloudiness, size, jitter, intensity, samples;
    } cases[] = { { -3, 0, 0, 0, 0, 1 }, { 0.5, 0.5, 0.5, 0.5, 0.5, 1 }, { 1.5, 1, 1.5, 1, 1.5, 1 },
        { 5, 1, 2, 1, 5, 5 }, { 1e9, 1, 2, 1, 1e6, 4096 }, { inf, 0, 0, 0, 1, 4096 } };
    for (const auto& c : cases)
    {
        sunlit s(30);
        sun_sky& k = s.sky();
        k.cloudiness = k.sun_size = c.given;
        k.sun_jitter = k.sun_intensity = k.sky_intensity = k.direct_sun_rgb[2] = k.direct_sky_rgb[1] =
            float(c.given);
        k.sun_samples = std::isinf(c.given) ? 1 << 30 : int32_t(c.given);
        zr_set_sun_and_sky(s.doc);
        EXPECT_EQ(k.cloudiness, c.cloudiness) << c.given;
        EXPECT_EQ(k.sun_size, c.size) << c.given;
        EXPECT_EQ(k.sun_jitter, float(c.jitter)) << c.given;
        for (const float f : { k.sun_intensity, k.sky_intensity, k.direct_sun_rgb[2], k.direct_sky_rgb[1] })
        {
            EXPECT_EQ(f, float(c.intensity)) << c.given;
        }
        EXPECT_EQ(k.sun_samples, int32_t(c.samples)) << c.given;
    }
}

TEST_F(Sun, FollowsTheClockAndItsDistance)
{
    // An orbit of eccentricity 0.0167: nearest on 3 January, farthest on 4 July, at its mean about 4 April.
    const struct
    {
        int32_t day;
        double square;
    } cases[] = { { 2, 1 / (0.9833 * 0.9833) }, { 93, 1.0 }, { 184, 1 / (1.0167 * 1.0167) } };
    for (const auto& c : cases)
    {
        test::scene s;
        s.doc->sun_sky_flags = SUN_SKY_SUN;
        sun_sky& k = *s.doc->sun_sky;
        k.day_of_year = c.day;
        k.latitude = 10.0;
        k.longitude = 20.0;
        k.time_zone = 1.0;
        k.local_minutes = 660;
        zr_set_sun_and_sky(s.doc);
        const angles expected = sun_at(660, c.day, 1.0, 10.0, 20.0);
        EXPECT_NEAR(k.altitude / degree, expected.altitude_deg, 1e-6);
        EXPECT_NEAR(k.azimuth / degree, expected.azimuth_deg, 1e-6);
        const double clear = 128000.0 * std::exp(-0.21 / std::sin(k.altitude));
        EXPECT_NEAR(k.sun_strength / clear, c.square, 0.002) << c.day;
        k.daylight_saving = 1;
        k.local_minutes = 720;
        zr_set_sun_and_sky(s.doc);
        EXPECT_NEAR(k.altitude / degree, expected.altitude_deg, 1e-6);
        s.doc->light_model = LIGHT_MODEL_FAST;
        zr_set_sun_and_sky(s.doc);
        EXPECT_NEAR(k.sun_strength, clear, 1e-9 * clear);
        k.sun_intensity = 0.5f;
        k.flags = SUN_RGB_COLORS;
        k.direct_sun_rgb[1] = 0.25f;
        zr_set_sun_and_sky(s.doc);
        EXPECT_EQ(sun_light.plain_color[1], 0.25f);
        EXPECT_EQ(sun_light.simple_color[1], 0.125f);
        EXPECT_NEAR(sun_light.illuminance_color[1], 0.125 * clear, 1e-3 * clear);
    }
    EXPECT_EQ(lt_daylight_test(), 1);
    const auto even = [](void*, double, double) { return 1.0; };
    EXPECT_EQ(get_distribution_factor(0, even, nullptr) + get_distribution_factor(-3, even, nullptr), 0.0);
}

TEST_F(Sun, ItsSamplesFillTheDisc)
{
    sunlit s(30);
    s.sky().sun_size = 1.0;
    zr_set_sun_and_sky(s.doc);
    const light& sky = *s.sky().sky_light;
    const vector3 origin = {}, towards = -s.sky().sun_direction;
    for (const bool soft : { true, false })
    {
        s.doc->render_flags = soft ? uint32_t(RENDER_SOFT_SHADOWS) : 0u;
        vector3 sum = {};
        for (const double u : { 0.0, 0.25, 0.5, 1.0 })
        {
            source_sample sample = {};
            sample.u = u;
            sample.v = 0.5;
            sky.sample(&sky, &origin, &sample, 1);
            const double off = soft ? std::atan(2.0 * std::fabs(u - 0.5) / 5.0) : 0.0;
            EXPECT_NEAR(std::acos(std::fmin(dot(sample.direction, towards), 1.0)), off, 1e-6);
            if (u == 0.0 || u == 1.0) { sum += sample.direction; }
        }
        EXPECT_NEAR(length(normalized(sum) - towards), 0.0, 1e-9) << "evenly to both sides";
    }
}
