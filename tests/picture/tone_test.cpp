#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "zirconlite/frame/document.h"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/tone.h"

namespace
{

/// A view over a picture whose pixel (x, y) has the radiance that `light` gives, measured.
struct measured_view
{
    document scene = {};
    render_view& view = scene.views[1];

    measured_view(int32_t method, const std::function<float(int, int)>& light, int32_t side = 320)
    {
        zr::fill_gamma_tables();
        view.document = &scene;
        view.tone_method = method;
        view.contrast = 0.5f;
        view.source_gain = 1.0f;
        view.image = zr_new_image_buffer(side, side, PIXEL_RADIANCE);
        for (int y = 0; y < side; ++y)
        {
            for (int x = 0; x < side; ++x)
            {
                pixel_components c = {};
                std::fill_n(c.surface, 3, light(x, y));
                pack_pixel(view.image, &c, zr_image_buffer_pixel(view.image, x, y));
            }
        }
        EXPECT_EQ(zr_get_raytrace_tone_op(&view, view.image), 1);
    }
    ~measured_view()
    {
        zr_free_histogram(view.histogram);
        zr_destroy_image_buffer(view.image);
    }

    float shown(float radiance) const
    {
        float rgb[3] = { radiance, radiance, radiance };
        tone(&view, view.tone_exponent, view.tone_scale, rgb, 0);
        return rgb[0];
    }
};

float even(int, int) { return 100.0f; }
float black(int, int) { return 0.0f; }
float dim(int x, int y) { return 0.01f + 1e-5f * float(x * y); }
float wide(int x, int) { return std::pow(10.0f, float(x) / 50.0f - 2.0f); }
float half_black(int x, int) { return x < 160 ? 0.0f : 30.0f; }

struct
{
    const char* name;
    float (*light)(int, int);
} const scenes[] = { { "even", even }, { "black", black }, { "dim", dim }, { "wide", wide },
    { "half black", half_black } };

} // namespace

TEST(Tone, GivesAPickedBackgroundColourBack)
{
    const float colors[][3] = { { 1, 1, 1 }, { 0.5f, 0.5f, 0.5f }, { 0.02f, 0.53f, 0.999f },
        { 0.44f, 0.999f, 0.999f }, { 1, 0, 0 }, { 0, 0.001f, 1 }, { 0.9f, 0.0002f, 0.1f },
        { 0.004f, 0.002f, 0.003f }, { 0.3392f, 0.3f, 0.02f } };
    for (const int32_t method : { TONE_POWER, TONE_HISTOGRAM })
    {
        for (const auto& scene : scenes)
        {
            measured_view measured(method, scene.light);
            for (const float brightness : { 0.0f, 3.0f, -2.0f })
            {
                // The picture is shown darker or brighter; the background is not.
                measured.view.brightness = brightness;
                measured.scene.render_state = RENDER_STATE_PREPROCESSED;
                ASSERT_EQ(apply_exposure(&measured.scene, &measured.view), 1);
                for (const auto& color : colors)
                {
                    SCOPED_TRACE(testing::Message()
                                 << scene.name << " method " << method << " brightness " << brightness
                                 << " colour " << color[0] << ", " << color[1] << ", " << color[2]);
                    const render_view& view = measured.view;
                    float rgb[3] = { color[0], color[1], color[2] };
                    EXPECT_EQ(inverse_tone(&view, view.background_exponent, view.background_scale, rgb), 1);
                    pixel_components c = {};
                    std::copy_n(rgb, 3, c.background);
                    tone(&view, view.background_exponent, view.background_scale, rgb, 1);
                    uint8_t pixel[5] = {};
                    pack_pixel(view.image, &c, pixel);
                    float stored[3] = {};
                    zr_unpack_internal_pixel(view.image, pixel, &c, 0);
                    zr_get_rgb_from_pixel_components(&view, &c, stored);
                    // A mantissa says nothing about a curve that is narrower than itself.
                    const bool is_wide =
                        scene.light == wide || scene.light == half_black || method == TONE_POWER;
                    for (int i = 0; i < 3; ++i)
                    {
                        const double wanted = std::pow(color[i], 1.0 / 2.2);
                        EXPECT_NEAR(rgb[i], wanted, 2.0 / 255.0) << "channel " << i;
                        if (is_wide) { EXPECT_NEAR(stored[i], wanted, 2.0 / 255.0) << "channel " << i; }
                    }
                }
            }
        }
    }
}

TEST(Tone, ClampsWhatIsNoRadiance)
{
    const float inputs[][3] = { { NAN, NAN, NAN }, { NAN, 5.0f, 1.0f }, { INFINITY, 1.0f, INFINITY },
        { -INFINITY, -1.0f, 2.0f }, { 3e38f, 3e38f, 3e38f }, { 1e-12f, 0.0f, 0.0f } };
    for (const int32_t method : { TONE_POWER, TONE_HISTOGRAM })
    {
        const measured_view measured(method, wide);
        for (const auto& input : inputs)
        {
            for (const int32_t plain : { 0, 1 })
            {
                float forth[3], back[3];
                std::copy_n(input, 3, forth);
                std::copy_n(input, 3, back);
                tone(&measured.view, 1.1, 0.02, forth, plain);
                inverse_tone(&measured.view, 1.1, 0.02, back);
                for (int i = 0; i < 3; ++i)
                {
                    EXPECT_TRUE(forth[i] >= 0.0f && forth[i] <= 1.0f) << forth[i];
                    EXPECT_TRUE(back[i] >= 0.0f && std::isfinite(back[i])) << back[i];
                }
            }
        }
        float zero[3] = {};
        EXPECT_EQ(tone(&measured.view, 1.1, 0.02, zero, 0), 0);
    }
}

TEST(Tone, FollowsThePublishedPowerCurve)
{
    // For a luminance of 100, worked out by hand: exponent (0.8 + 2.92) x 0.28017 x 0.85.
    double scale, exponent;
    EXPECT_EQ(get_tone_operator(100.0, &scale, &exponent, 1.0, 1.0), 1);
    EXPECT_NEAR(exponent, 0.885913, 1e-6);
    EXPECT_NEAR(
        scale, std::pow(10.0, (-1.6 - 5.168 + 2.0208 + 2.2235) * 0.2801748290933543) * 0.01453488, 1e-8);
    for (const double black_world : { 0.0, -1.0, double(NAN), double(INFINITY) })
    {
        EXPECT_EQ(get_tone_operator(black_world, &scale, &exponent, 1.1, 1.1), 0);
        EXPECT_EQ(scale, 1.0);
        EXPECT_EQ(exponent, 1.0);
    }
    // A contrast of 0.4 leaves the plain curve alone; more darkens what is not white.
    measured_view measured(TONE_POWER, even);
    float plain[3] = { 50.0f, 20.0f, 10.0f }, same[3] = { 50.0f, 20.0f, 10.0f },
          steep[3] = { 50.0f, 20.0f, 10.0f };
    const render_view& view = measured.view;
    tone(&view, view.tone_exponent, view.tone_scale, plain, 1);
    measured.view.contrast = 0.4f;
    tone(&view, view.tone_exponent, view.tone_scale, same, 0);
    measured.view.contrast = 0.9f;
    tone(&view, view.tone_exponent, view.tone_scale, steep, 0);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(plain[i], same[i]);
        EXPECT_LT(steep[i], plain[i]);
    }
    EXPECT_NEAR(steep[0] / steep[2], plain[0] / plain[2], 1e-4);
}

TEST(Tone, MeasuresTheLogAverage)
{
    // Half of the samples at 1, half at 100: the log-average is 10, whatever the method.
    for (const int32_t method : { TONE_POWER, TONE_HISTOGRAM })
    {
        measured_view measured(method, [](int x, int) { return x < 160 ? 1.0f : 100.0f; });
        EXPECT_NEAR(measured.view.measured_luminance, 10.0, 0.1); // the packing rounds by a half step
        EXPECT_TRUE(measured.view.view_flags & VIEW_TONE_VALID);
        EXPECT_EQ(measured.view.histogram->capacity, 336 * 336 / 256);

        // A locked exposure survives the next picture.
        measured.view.exposure_flags = EXPOSURE_LOCKED;
        const histogram* kept = measured.view.histogram;
        image_buffer* dark = zr_new_image_buffer(320, 320, PIXEL_RADIANCE);
        zr_get_raytrace_tone_op(&measured.view, dark);
        EXPECT_EQ(measured.view.histogram, kept);
        EXPECT_NEAR(measured.view.measured_luminance, 10.0, 0.1);
        const int32_t size[2] = { 320, 320 };
        EXPECT_EQ(make_histogram(&measured.view, size), -1);
        EXPECT_EQ(histogram_add_sample(&measured.view, 1.0f), -1);

        measured.view.exposure_flags = 0;
        zr_get_raytrace_tone_op(&measured.view, dark);
        EXPECT_EQ(measured.view.world_luminance, 0.0);
        EXPECT_EQ(measured.view.tone_scale, 1.0);
        EXPECT_EQ(measured.view.background_exponent, 1.0);
        zr_destroy_image_buffer(dark);
    }
}

TEST(GammaTables, TheSimpleGammaIsAtLeastOne)
{
    zr::fill_gamma_tables();
    EXPECT_EQ(zr_simple_rt_gamma(), 2.2);
    for (const double gamma : { 0.5, double(NAN), -3.0 })
    {
        zr_change_simple_rt_gamma(gamma);
        EXPECT_EQ(zr_simple_rt_gamma(), 1.0);
        EXPECT_EQ(zr::gamma.simple_byte[1024], 128);
    }
    zr_change_simple_rt_gamma(2.2);
    EXPECT_EQ(zr::look_up(zr::gamma.simple_byte, 0.5f, uint8_t(255)), 186);
    EXPECT_EQ(zr::look_up(zr::gamma.simple_byte, -1.0f, uint8_t(255)), 0);
}

TEST(Film, KeepsHuesAndBurnsOutToWhite)
{
    render_view view = {};
    view.tone_method = TONE_FILM;
    view.contrast = 0.5f;
    view.world_luminance = view.measured_luminance = 100.0;
    float last = 0.0f;
    for (double level = 0.01; level < 1e6; level *= 1.5)
    {
        float rgb[3] = { float(level), float(0.5 * level), float(0.25 * level) };
        tone(&view, 1.0, 1.0, rgb, 0);
        EXPECT_GE(rgb[0], last) << level << " cd/m2";
        last = rgb[0];
        float linear[3];
        for (int i = 0; i < 3; ++i) { linear[i] = std::pow(rgb[i], 2.2f); }
        // The hue is where the middle channel lies between the others; on the way to white it stays.
        if (linear[0] - linear[2] > 1e-3f)
        {
            EXPECT_NEAR((linear[1] - linear[2]) / (linear[0] - linear[2]), 1.0 / 3.0, 5e-3) << level;
        }
    }
    float white[3] = { 1e5f, 5e4f, 2.5e4f };
    tone(&view, 1.0, 1.0, white, 0);
    for (const float c : white) { EXPECT_NEAR(c, 1.0f, 1e-3f); }
    float black[3] = { 0, 0, 0 };
    EXPECT_EQ(tone(&view, 1.0, 1.0, black, 0), 0);
}

TEST(Film, ShowsDimScenesDimmerAndStopsDownForBrightSkies)
{
    const auto middle = [](double log_average, float highlight)
    {
        render_view view = {};
        view.tone_method = TONE_FILM;
        view.contrast = 0.5f;
        view.world_luminance = view.measured_luminance = log_average;
        view.measured_highlight = highlight;
        float rgb[3] = { float(log_average), float(log_average), float(log_average) };
        tone(&view, 1.0, 1.0, rgb, 0);
        return rgb[1];
    };
    EXPECT_NEAR(middle(1000.0, 0.0f), middle(400.0, 0.0f), 1e-4f);
    EXPECT_LT(middle(5.0, 0.0f), middle(400.0, 0.0f) - 0.05f);
    EXPECT_LT(middle(0.01, 0.0f), middle(5.0, 0.0f) - 0.05f);
    // A quarter of the picture at five times the mean stays just as it is, at twenty times it is darkened.
    EXPECT_EQ(middle(1000.0, 5000.0f), middle(1000.0, 0.0f));
    EXPECT_LT(middle(1000.0, 20000.0f), middle(1000.0, 0.0f) - 0.1f);
    EXPECT_EQ(middle(1000.0, 1e9f), middle(1000.0, 1e6f));
}

// Pixels at the edge of an object lie between it and the background, whose colour was picked, in every
// channel.
TEST(Film, LeavesNoRimBeforeThePickedBackground)
{
    render_view view = {};
    view.tone_method = TONE_FILM;
    view.background_method = TONE_FILM + 1;
    view.contrast = 0.5f;
    view.source_gain = 1.0f;
    view.world_luminance = view.measured_luminance = 100.0;
    for (const auto& picked : { std::array{ 1.0f, 1.0f, 1.0f }, std::array{ 0.27f, 0.46f, 0.75f } })
    {
        std::array<float, 3> background = picked, last = { 0, 0, 0 };
        inverse_tone(&view, 1.0, 1.0, background.data());
        for (int i = 0; i <= 20; ++i)
        {
            const float share = float(i) / 20.0f;
            pixel_components c = {};
            c.present = i == 0    ? PIXEL_HAS_SURFACE
                        : i == 20 ? PIXEL_HAS_BACKGROUND
                                  : PIXEL_HAS_SURFACE | PIXEL_HAS_BACKGROUND;
            std::fill_n(c.surface, 3, (1.0f - share) * 5.0f);
            for (int j = 0; j < 3; ++j) { c.background[j] = share * background[j]; }
            float rgb[3];
            ASSERT_EQ(zr_get_rgb_from_pixel_components(&view, &c, rgb), 1);
            for (size_t j = 0; j < 3; ++j)
            {
                const float linear = std::pow(rgb[j], 2.2f);
                EXPECT_GE(linear, picked[j] * share - 2e-3f) << share;
                EXPECT_LE(linear, picked[j] * share + 0.02f) << share;
                last[j] = linear;
            }
        }
        for (size_t j = 0; j < 3; ++j) { EXPECT_NEAR(last[j], picked[j], 2e-3f); }
    }
}

TEST(Film, FixedExposuresMeterGreyAndPlainOnesComeBack)
{
    render_view view = {};
    view.tone_method = TONE_FILM;
    view.contrast = 0.5f;
    const double ev = zr_exposure_value(8.0, 1.0 / 125.0, 200.0);
    EXPECT_NEAR(ev, std::log2(64.0 * 125.0 / 2.0), 1e-9);
    EXPECT_EQ(zr_exposure_value(8.0, 0.0, 100.0), 0.0);
    EXPECT_EQ(zr_exposure_value(0.0, 1.0, 100.0), 0.0);
    EXPECT_EQ(zr_exposure_value(8.0, 1.0, -100.0), 0.0);
    ASSERT_EQ(zr_set_film_exposure(&view, 1, ev), 1);
    for (const double refused : { std::nan(""), 32.1, -32.1 })
    {
        EXPECT_EQ(zr_set_film_exposure(&view, 1, refused), 0);
    }
    EXPECT_EQ(zr_set_film_exposure(nullptr, 1, ev), 0);
    EXPECT_EQ(view.film_ev, float(ev));
    render_view edge = {};
    EXPECT_EQ(zr_set_film_exposure(&edge, 1, 32.0) & zr_set_film_exposure(&edge, 0, -32.0), 1);
    EXPECT_EQ(edge.film_ev, -32.0f);
    EXPECT_FALSE(edge.film_fixed);
    // What a meter of K = 12.5 reads comes out as mid-grey.
    const auto metered = float(12.5 / 100.0 * std::exp2(ev));
    float grey[3] = { metered, metered, metered };
    tone(&view, 1.0, 1.0, grey, 0);
    EXPECT_NEAR(std::pow(grey[1], 2.2f), 0.18f, 1e-3f);
    for (const float level : { 0.01f, 0.3f, 0.9f })
    {
        float rgb[3] = { level, 0.5f * level, 0.2f * level };
        inverse_tone(&view, 1.0, 1.0, rgb);
        tone(&view, 1.0, 1.0, rgb, 1);
        EXPECT_NEAR(std::pow(rgb[0], 2.2f), level, 2e-3f);
        EXPECT_NEAR(std::pow(rgb[2], 2.2f), 0.2f * level, 2e-3f);
    }
    const float warm[3] = { 1.2f, 1.0f, 0.6f };
    ASSERT_EQ(zr_set_film_white(&view, 0, warm), 1);
    float lit[3] = { 1.2f * metered, metered, 0.6f * metered };
    tone(&view, 1.0, 1.0, lit, 0);
    EXPECT_NEAR(lit[0], lit[2], 1e-4f) << "the light that was set is shown as white";
    const float none[3] = { 1, 0, 1 };
    EXPECT_EQ(zr_set_film_white(&view, 0, none), 0);
}
