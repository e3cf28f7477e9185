#include <gtest/gtest.h>

#include "tests/support/scene.hpp"

using namespace zr;

TEST(LightModel, ShortcutsErrAsMuchAsIsWrittenDown)
{
    // The largest errors of docs/light-model.md that a small scene can show, as fast over exact.
    test::scene s(LIGHT_MODEL_FAST);
    test::mesh floor, lid;
    floor.look = s.matte(0.5f);
    floor.quad({ -100, -100, 0 }, { 100, -100, 0 }, { 100, 100, 0 }, { -100, 100, 0 });
    lid.look = s.matte(0.5f);
    lid.quad({ 0.2, -0.5, 1 }, { 1, -0.5, 1 }, { 1, 0.5, 1 }, { 0.2, 0.5, 1 });
    ASSERT_TRUE(s.add(floor));
    ASSERT_TRUE(s.add(lid));
    // One strong light source in sight, and ten hidden by the lid that together are just below 7 per cent of
    // it.
    s.add(test::scene::point_source({ 0, 0, 2 }, 400.0f));
    const double far = std::pow(5.0, 1.5) / 2; // times fainter at 1 m aside than straight below, per candela
    for (int i = 0; i < 4; ++i)
    {
        s.add(test::scene::point_source({ 1, 0.01 * i, 2 }, float(400.0 / 4 * 0.066 * far / 4)));
    }
    ASSERT_TRUE(s.prepare());
    const double fast = s.radiance({ 0.02, 0.01, 0.1 }, { -0.02, -0.01, -0.1 });
    s.doc->light_model = LIGHT_MODEL_EXACT;
    s.relight();
    const double exact = s.radiance({ 0.02, 0.01, 0.1 }, { -0.02, -0.01, -0.1 });
    EXPECT_NEAR(exact, 100 * 0.5 / M_PI, 1e-3);
    EXPECT_NEAR(fast / exact, 1.066, 0.004) << "the rest counts in full without being tested";
}
