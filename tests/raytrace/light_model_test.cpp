#include <gtest/gtest.h>

#include <vector>

#include "tests/support/scene.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/picture/projection.h"

namespace
{

using namespace zr;

/// A room corner with a pane of glass, spots and lamps of every strength, seen from above.
void furnish(test::scene& s)
{
    test::mesh floor, pane, ball;
    floor.look = s.matte(0.6f);
    floor.quad({ -4, -4, 0 }, { 4, -4, 0 }, { 4, 4, 0 }, { -4, 4, 0 });
    pane.look = s.glass(1.5f, 0.9f, 0.6f, 0.8f);
    pane.flags = OBJECT_THIN;
    pane.quad({ -1, -1, 1 }, { 1.5, -1, 1.2 }, { 1.5, 2, 1.2 }, { -1, 2, 1 });
    ball.look = s.glass(1.3f);
    ball.smooth_cosine = 0.5;
    ball.ball({ 2, -2, 0.7 }, 0.6, 8);
    for (const test::mesh* m : { &floor, &pane, &ball }) { ASSERT_TRUE(s.add(*m)); }
    light spot = test::scene::lamp({ 0, 0, 3 }, 0.0f);
    spot.distribution = DISTRIBUTION_SPOT;
    spot.normal = { 0.2, 0, -1 };
    spot.brightness_unit = BRIGHTNESS_LUMENS;
    spot.lumens = 700.0f;
    spot.beam_angle = 0.4f;
    spot.field_angle = 0.5f;
    s.add(spot);
    for (int i = 0; i < 80; ++i)
    {
        s.add(test::scene::lamp({ -3.0 + i % 9, 2.0 - i / 11, 2.5 }, 4.0f + float(i % 7)));
    }
    s.doc->scene_area = 64;
    s.doc->quality = 1;
    render_view& v = s.view;
    v.projection = PROJECTION_PERSPECTIVE;
    v.width = 40;
    v.height = 30;
    v.lens_length = 24;
    v.position = { 0, -1, 7 };
    v.target = { 0, -1, 0 };
    v.right = { 1, 0, 0 };
    v.up = { 0, 1, 0 };
    v.back = { 0, 0, 1 };
    v.contrast = 0.5f;
    v.source_gain = 1.0f;
    ASSERT_EQ(zr_init_projection(&v), 1);
    ASSERT_TRUE(zr_build_voxel_grid(s.doc));
}

/// The bytes of a rendering. `meanwhile` runs after the job has started.
template <class Meanwhile> std::vector<uint8_t> rendered(test::scene& s, Meanwhile meanwhile)
{
    render_job request = {};
    request.document = s.doc;
    request.view = &s.view;
    EXPECT_EQ(zr_raytrace(&request), 1);
    meanwhile();
    EXPECT_EQ(zr_wait_for_render(s.doc, -1), 1);
    EXPECT_TRUE(s.doc->render_state & RENDER_STATE_FINISHED);
    const image_buffer& image = *s.view.image;
    std::vector<uint8_t> pixels;
    for (int y = 0; y < image.height; ++y)
    {
        const uint8_t* row = zr_image_buffer_pixel(&image, 0, y);
        pixels.insert(pixels.end(), row, row + image.width * image.pixel_size);
    }
    return pixels;
}
std::vector<uint8_t> rendered(test::scene& s)
{
    return rendered(s, [] {});
}

} // namespace

TEST(LightModel, IsChosenPerDocumentAndUnknownOnesAreRefused)
{
    document* d = zr_open_document();
    EXPECT_EQ(d->light_model, LIGHT_MODEL_FAST) << "the library starts fast";
    EXPECT_EQ(zr_set_light_model(d, LIGHT_MODEL_EXACT), LIGHT_MODEL_FAST);
    EXPECT_EQ(zr_set_light_model(d, 7), LIGHT_MODEL_EXACT);
    EXPECT_EQ(zr_set_light_model(d, -1), LIGHT_MODEL_EXACT);
    EXPECT_EQ(zr_set_light_model(d, LIGHT_MODEL_FAST), LIGHT_MODEL_EXACT);
    EXPECT_EQ(d->light_model, LIGHT_MODEL_FAST);
    zr_close_document(d);
}

TEST(LightModel, RendersAgainAlikeAfterEachChange)
{
    fill_gamma_tables();
    test::scene s(LIGHT_MODEL_FAST);
    furnish(s);
    const std::vector<uint8_t> fast = rendered(s);
    const float candela = first_leaf(s.doc->lights)->candela;
    EXPECT_EQ(zr_set_light_model(s.doc, LIGHT_MODEL_EXACT), LIGHT_MODEL_FAST);
    const std::vector<uint8_t> exact = rendered(s);
    EXPECT_LT(first_leaf(s.doc->lights)->candela, candela * 0.99f) << "a narrow spot";
    EXPECT_NE(exact, fast);
    EXPECT_EQ(zr_set_light_model(s.doc, LIGHT_MODEL_FAST), LIGHT_MODEL_EXACT);
    EXPECT_EQ(rendered(s), fast);
    EXPECT_EQ(first_leaf(s.doc->lights)->candela, candela);
    zr_set_light_model(s.doc, LIGHT_MODEL_EXACT);
    EXPECT_EQ(rendered(s), exact);
}

TEST(LightModel, StandsStillWhileAJobRuns)
{
    fill_gamma_tables();
    test::scene s(LIGHT_MODEL_EXACT);
    furnish(s);
    const std::vector<uint8_t> exact = rendered(s);
    // What is chosen now is for the next job.
    EXPECT_EQ(rendered(s, [&] { zr_set_light_model(s.doc, LIGHT_MODEL_FAST); }), exact);
    EXPECT_NE(rendered(s), exact);
}

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
    // One strong lamp in sight, and ten hidden by the lid that together are just below 7 per cent of it.
    s.add(test::scene::lamp({ 0, 0, 2 }, 400.0f));
    const double far = std::pow(5.0, 1.5) / 2; // times fainter at 1 m aside than straight below, per candela
    for (int i = 0; i < 4; ++i)
    {
        s.add(test::scene::lamp({ 1, 0.01 * i, 2 }, float(400.0 / 4 * 0.066 * far / 4)));
    }
    ASSERT_TRUE(s.prepare());
    const double fast = s.radiance({ 0.02, 0.01, 0.1 }, { -0.02, -0.01, -0.1 });
    s.doc->light_model = LIGHT_MODEL_EXACT;
    s.relight();
    const double exact = s.radiance({ 0.02, 0.01, 0.1 }, { -0.02, -0.01, -0.1 });
    EXPECT_NEAR(exact, 100 * 0.5 / M_PI, 1e-3);
    EXPECT_NEAR(fast / exact, 1.066, 0.004) << "the rest counts in full without being tested";
}
