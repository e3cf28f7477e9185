// The sun of a scene file: places, moments, windows, and what is refused.
#include "host/build/build_daylight.hpp"
#include "host/failure.hpp"
#include "host/scene/cities.hpp"
#include "zirconlite/lighting/sun_sky.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

using namespace host;

namespace
{

const std::string camera = "[camera]\neye = [0, -5, 1]\ntarget = [0, 0, 1]\n";
constexpr double degree = 3.14159265358979323846 / 180;

std::string refusal(const std::string& text)
{
    try
    {
        parse_scene(camera + text, "room.toml");
    }
    catch (const failure& f)
    {
        EXPECT_EQ(f.code, exit_bad_scene);
        return f.what();
    }
    return "";
}

} // namespace

TEST(Daylight, ReadsDaysAndTimes)
{
    EXPECT_EQ(read_date("2026-01-01")->day_of_year, 0);
    EXPECT_EQ(read_date("2024-12-31")->day_of_year, 365);
    EXPECT_EQ(read_date("2023-12-31")->day_of_year, 364);
    for (const char* wrong : { "", "2026-2-01", "2023-02-29", "1900-02-29", "2026-13-01", "2026-00-10",
             "1582-01-01", "2026-06-211", "20a6-06-21" })
    {
        EXPECT_FALSE(read_date(wrong)) << wrong;
    }
    EXPECT_EQ(*read_time("23:59"), 1439);
    for (const char* wrong : { "24:00", "1:30", "12:60", "12-30", "12:3x" })
    {
        EXPECT_FALSE(read_time(wrong)) << wrong;
    }
}

TEST(Daylight, SetsTheSunOfThePlace)
{
    const scene s = parse_scene(camera + "[sun]\nplace = \"oslo\"\ndate = \"2026-06-21\"\ntime = \"13:00\"\n"
                                         "daylight_saving = true\nnorth_deg = 90\n",
        "room.toml");
    document* d = zr_open_document();
    set_daylight(s.sun, d);
    const sun_sky& k = *d->sun_sky;
    EXPECT_EQ(d->sun_sky_flags, uint32_t(SUN_SKY_SUN));
    EXPECT_NEAR(k.altitude / degree, 53.377, 0.01);
    EXPECT_NEAR(k.azimuth / degree, 172.753, 0.02);
    // North lies at +x, so the south, and the sun in it, at -x: light travels to +x.
    EXPECT_NEAR(k.sun_direction.x, std::cos(k.altitude) * std::cos((172.753 - 180) * degree), 1e-3);
    zr_close_document(d);
}

TEST(Daylight, BuildsWindows)
{
    const std::string sun =
        "[sun]\nlatitude = 50\nlongitude = 10\nmode = \"windows\"\n[[light]]\nkind = \"window\"\n";
    const scene s = parse_scene(camera + sun +
                                    "position = [0, 0, 1]\nsize = [2, 1]\nnormal = [0, 3, 0]\n"
                                    "[[light]]\nkind = \"window\"\nnormal = [0, 1, 0]\n"
                                    "corners = [[-1, 0, 0.5], [1, 0, 0.5], [1, 0, 1.5], [-1, 0, 1.5]]\n",
        "room.toml");
    for (const scene_light& from : s.lights)
    {
        light l{};
        set_window(from, l);
        EXPECT_NEAR(l.area, 2, 1e-12);
        EXPECT_NEAR(l.normal.y, 1, 1e-12);
        EXPECT_NEAR(l.position.z, 1, 1e-12);
        EXPECT_EQ(l.vertex_count, 4);
        const double across = std::abs(l.axis_u.x) > 0.5 ? l.length : l.height;
        EXPECT_NEAR(across, 2, 1e-12);
        EXPECT_GT(l.height, 0);
    }
    const struct
    {
        std::string text;
        const char* expected;
    } wrong[] = {
        { "[sun]\nplace = \"Olso\"\n", "place: there is no \"Olso\"; did you mean \"Oslo\"?" },
        { "[sun]\ntime = \"25:00\"\nplace = \"Oslo\"\n", "time: \"25:00\" is no time" },
        { "[sun]\nplace = \"Oslo\"\ndate = 2026-06-21T10:00:00\n",
            "date: expected a text in quotes, found a date with a time" },
        { "[sun]\n", "needs a place" },
        { "[sun]\nlatitude = 91\nlongitude = 0\n", "latitude: 91 is outside -90 to 90" },
        { "[sun]\nplace = \"Oslo\"\ncloudiness = 1.5\n", "cloudiness: 1.5 is outside" },
        { "[sun]\nplace = \"Oslo\"\nsun_color = [1, 1, 1]\n", "go together" },
        { "[sun]\nazimuth_deg = 3\n", "go together" },
        { "[sun]\nplace = \"Oslo\"\n[[light]]\nkind = \"window\"\n", "needs a [sun] of mode" },
        { sun, "give its corners" },
        { sun + "normal = [0, 0, 0]\n", "has no length" },
        { sun + "corners = [[0, 0, 0], [1, 0, 0]]\n", "3 to 10" },
        { sun + "corners = [[0, 0, 0], [1, 0, 0], [2, 0, 0]]\n", "no area" },
        { sun + "corners = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 1]]\n", "one plane" },
        { sun + "corners = [[0, 0, 0], [2, 0, 0], [0.5, 0.5, 0], [0, 2, 0]]\n", "convex" },
        { sun + "corners = 5\n", "a list of points" },
    };
    for (const auto& w : wrong)
    {
        EXPECT_NE(refusal(w.text).find(w.expected), std::string::npos) << w.text << "\n" << refusal(w.text);
    }
}
