/// @file
/// White bodies in an even environment are as bright as the environment: nothing returns more or less than it
/// receives.
#include <cmath>

#include "tests/support/picture_light.hpp"
#include "tests/support/room_scene.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/sampling/converging.h"

namespace
{

constexpr double radiance = 1000.0;

/// Darkest and brightest channel of a body that nearly fills the picture.
struct extremes
{
    double low, high;
};

extremes render_in_even_light(document* d)
{
    std::fill_n(d->environment.color0, 3, 1.0f);
    zr_set_background_luminance(d, radiance);
    zr_set_light_model(d, LIGHT_MODEL_EXACT);
    zr_set_pixel_sampler(d, SAMPLER_CONVERGING);
    const sampling_limits limits = { 1.0, 64, 64, 0, 0.0 };
    EXPECT_EQ(zr_set_sampling_limits(d, &limits), 1);
    EXPECT_EQ(zr_build_voxel_grid(d), 1);
    EXPECT_EQ(set_room_view(d, 24, 24), 1);
    render_job job = job_of(d);
    render_to_end(job);
    const std::vector<float> light = test::light_of(d->views[1]);
    return { *std::min_element(light.begin(), light.end()), *std::max_element(light.begin(), light.end()) };
}

extremes render_body(const room_look& look, float exponent)
{
    zr::fill_gamma_tables();
    document* d = zr_open_document();
    set_room_settings(d);
    material_entry* const entry = add_look(d, u"white", look);
    if (exponent > 1.0f)
    {
        auto& m = *reinterpret_cast<simple_material*>(entry->material);
        m.head.flags |= MATERIAL_OWN_HIGHLIGHT;
        m.own_highlight = exponent;
        m.own_strength = 0.1f;
        std::fill_n(m.own_highlight_color, 3, 1.0f);
    }
    EXPECT_EQ(add_box(d, entry, { -0.7, -0.5, 0.9 }, { 0.5, 0.6, 2.0 }), 1);
    const extremes seen = render_in_even_light(d);
    zr_close_document(d);
    return seen;
}

} // namespace

TEST(WhiteFurnace, BodiesReturnWhatTheyReceive)
{
    const room_look matte = { { 1, 1, 1 } }, mirror = { { 1, 1, 1 }, 0.5f },
                    half_clear = { { 1, 1, 1 }, 0.0f, 0.5f, 1.5f }, clear = { { 1, 1, 1 }, 0.0f, 1.0f, 1.5f };
    const struct
    {
        const char* what;
        room_look look;
        float exponent;
    } cases[] = {
        { "matte", matte, 1.0f },
        { "glossy", mirror, 20.0f },
        { "wide lobe", mirror, 2.0f },
        { "half clear", half_clear, 1.0f },
        { "clear", clear, 1.0f },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const extremes seen = render_body(c.look, c.exponent);
        EXPECT_NEAR(seen.low, radiance, 0.02 * radiance);
        EXPECT_NEAR(seen.high, radiance, 0.02 * radiance);
    }
}

TEST(WhiteFurnace, SmoothMirrorsOfFewFacesSendNothingIntoThemselves)
{
    zr::fill_gamma_tables();
    test::scene s;
    set_room_settings(s.doc);
    test::mesh ball;
    ball.ball({ 0, 0, 1.5 }, 0.9, 4);
    ball.smooth_cosine = s.doc->default_smooth_cosine = 0.3;
    ball.look = s.look(
        [](simple_material& m)
        {
            m.diffuse_share = 0.0f;
            m.head.flags |= MATERIAL_OWN_HIGHLIGHT;
            m.own_highlight = 2.0f;
            m.own_strength = 0.1f;
            std::fill_n(m.own_highlight_color, 3, 1.0f);
        });
    ASSERT_TRUE(s.add(ball));
    const extremes seen = render_in_even_light(s.doc);
    EXPECT_NEAR(seen.low, radiance, 0.02 * radiance);
    EXPECT_NEAR(seen.high, radiance, 0.02 * radiance);
}
