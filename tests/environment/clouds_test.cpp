// Clouds: where the ellipsoids lie, what columns list them, what rays see of them.
#include "zirconlite/environment/clouds.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/materials.hpp"
#include "tests/support/scene.hpp"

namespace
{

using namespace zr;

struct cloud_scene : test::scene
{
    explicit cloud_scene(int32_t number, uint32_t flags = CLOUDS_CUMULUS)
    {
        doc->environment_flags = ENVIRONMENT_CLOUDS | ENVIRONMENT_CLOUDS_ALWAYS;
        env.cloud_flags = flags;
        env.cloud_seed = 7;
        env.cu_number = number;
        env.cu_scale_v = 0.5f;
        for (float* v : { env.cu_color, env.cu_scale, env.ci_color, env.ci_scale })
        {
            std::fill_n(v, 3, 1.0f);
        }
    }
    bool prepare_clouds() { return clouds_prepare(*doc, env, made); }
    ~cloud_scene() { release_clouds(made); }
    environment& env = doc->environment;
    prepared_environment made = {};
    test::noise_table noise;
};

} // namespace

TEST(Clouds, OfNoUsableSizeAreNone)
{
    for (const float size : { 0.0005f, NAN, -1.0f, 1e30f, 0.002f })
    {
        cloud_scene s(20);
        s.env.cu_scale[1] = size;
        s.prepare_clouds();
        EXPECT_EQ(s.made.ellipsoids != nullptr, size == 0.002f) << size;
    }
}

TEST(Clouds, AreDrawnInOrderFromTheSeed)
{
    cloud_scene s(5);
    ASSERT_TRUE(s.prepare_clouds());
    uint32_t x = 7;
    const auto draw = [&](double middle, double half)
    {
        x = x * 214013 + 2531011;
        const double q = (x >> 16 & 0x7fff) / 32767.0;
        return middle + (2.0 * q - 1.0) * half;
    };
    std::vector<cloud_ellipsoid> made;
    for (const cloud_ellipsoid* e = s.made.ellipsoids; e; e = e->next) { made.insert(made.begin(), *e); }
    ASSERT_EQ(made.size(), 5u) << "the newest is first";
    for (const cloud_ellipsoid& e : made)
    {
        const double cx = draw(0, 16000), cy = draw(0, 16000), cz = draw(1500, 50);
        const double rx = draw(1200, 600), ry = draw(900, 450);
        const double rz = std::max(draw(1300, 325), 0.8 * cz);
        EXPECT_NEAR(e.center[0], cx, 0.01);
        EXPECT_NEAR(e.center[1], cy, 0.01);
        EXPECT_NEAR(e.center[2], cz, 0.01);
        EXPECT_NEAR(e.inverse_rx2 * rx * rx, 1.0, 1e-4);
        EXPECT_NEAR(e.inverse_ry2 * ry * ry, 1.0, 1e-4);
        EXPECT_NEAR(e.inverse_rz2 * rz * rz, 1.0, 1e-4);
        EXPECT_NEAR(e.base, cz - 0.2 * rz, 0.01);
    }
}
