// The sun of a scene file: places, moments, windows, and what is refused.
#include "host/build/build_daylight.hpp"
#include "host/failure.hpp"
#include "host/scene/cities.hpp"
#include "zirconlite/lighting/sun_sky.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace host;

namespace
{

const std::string camera = "[camera]\neye = [0, -5, 1]\ntarget = [0, 0, 1]\n";
constexpr double degree = 3.14159265358979323846 / 180;

} // namespace

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
