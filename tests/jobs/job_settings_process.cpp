/// @file
/// What a job does with its settings: refusals, regions, calibration, skipped measuring, a light tree whose
/// count is wrong, an empty scene, and memory that runs out at each step.
#include "tests/support/room_scene.hpp"
#include "tests/support/started_library.hpp"

#include <limits>

#include "zirconlite/imagefiles/bitmap_format.h"

namespace
{

const auto* const start = testing::AddGlobalTestEnvironment(new started_library(0));

constexpr uint32_t both = RENDER_STATE_PREPROCESSED | RENDER_STATE_FINISHED;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

class job_settings_test : public job_test
{
};

std::string picture(const document* d)
{
    const image_buffer& i = *d->views[1].image;
    return { reinterpret_cast<const char*>(i.pixels), i.total_bytes };
}

TEST_F(job_settings_test, OutOfRangeIsRefusedWithAReason)
{
    document* d = open_room(64, 48);
    const document good = *d;
    const struct
    {
        const char* what;
        void (*spoil)(document& d, render_job& j);
    } cases[] = {
        { "limits of 42", [](document& d, render_job&) { d.reflect_limit = d.refract_limit = 21; } },
        { "a limit whose sum wraps", [](document& d, render_job&) { d.reflect_limit = 0x7fffffff; } },
        { "a negative limit", [](document& d, render_job&) { d.refract_limit = -1; } },
        { "antialiasing above 1", [](document& d, render_job&) { d.aa_level = 1.01; } },
        { "antialiasing no number", [](document& d, render_job&) { d.aa_level = nan; } },
        { "jitter no number", [](document& d, render_job&) { d.pixel_jitter = nan; } },
        { "too many rays of gloss", [](document& d, render_job&) { d.gloss_samples = 1025; } },
        { "a lens without a stop",
            [](document& d, render_job&) { d.render_flags |= RENDER_DEPTH_OF_FIELD; } },
        { "no pixels", [](document& d, render_job&) { d.views[1].width = 0; } },
        { "no projection", [](document& d, render_job&) { d.views[1].pixel_width = nan; } },
        { "a preview without a display", [](document&, render_job& j) { j.flags |= JOB_PREVIEW; } },
        { "no document", [](document&, render_job& j) { j.document = nullptr; } },
        { "no view", [](document&, render_job& j) { j.view = nullptr; } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        render_job job = job_of(d);
        c.spoil(*d, job);
        EXPECT_EQ(zr_raytrace(&job), 0);
        EXPECT_EQ(zr_last_error()->code, ZR_ERROR_ARGUMENT);
        EXPECT_EQ(job.status, 0);
        *d = good;
    }
    EXPECT_EQ(zr_raytrace(nullptr), 0);
    d->reflect_limit = 20;
    d->refract_limit = 21;
    render_job job = job_of(d);
    EXPECT_EQ(render_to_end(job), both) << "limits of 41";
    zr_close_document(d);
}

TEST_F(job_settings_test, ARegionIsRoundedOutputCroppedAndRefusedWhenEmpty)
{
    document* d = open_room(1000, 64);
    d->render_flags |= RENDER_FAST;
    const struct
    {
        const char* what;
        double region[4];
        int32_t crop[4];
    } cases[] = {
        { "in the middle", { 0.3, 0.25, 0.7, 0.99 }, { 288, 16, 700, 60 } },
        { "all of it", { 0, 0, 1, 1 }, { 0, 0, 1000, 64 } },
        { "one block", { 0.0, 0.0, 0.0041, 0.07 }, { 0, 0, 4, 4 } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        render_job job = job_of(d);
        job.flags = JOB_REGION;
        memcpy(job.region, c.region, sizeof(job.region));
        EXPECT_EQ(render_to_end(job), both | RENDER_STATE_CROPPED);
        for (int i = 0; i < 4; ++i) { EXPECT_EQ(d->crop[i], c.crop[i]) << i; }
        const int32_t width = c.crop[2] - c.crop[0], height = c.crop[3] - c.crop[1];
        EXPECT_EQ(d->views[1].ray_counters.pixels, uint32_t(width * height));

        const temporary_folder folder;
        bitmap_format record = {};
        ASSERT_EQ(zr_init_bitmap_format(BITMAP_BMP, &record), 1);
        folder.wide("out.bmp").copy(record.path, 255);
        record.image = &d->views[1];
        record.width = 1000;
        record.height = 64;
        host().current_doc = d;
        ASSERT_EQ(zr_write_raytrace_image(&record), 1);
        EXPECT_TRUE(d->render_state & RENDER_STATE_SAVED);
        bitmap* read = record.read_image(&record);
        ASSERT_NE(read, nullptr);
        EXPECT_EQ(read->width, width);
        EXPECT_EQ(read->height, height);
        const int32_t corner[2] = { c.crop[2] - 1, c.crop[3] - 1 };
        uint8_t rgb[3];
        ASSERT_EQ(read_rt_pixel(&d->views[1], corner, rgb, nullptr, 0), 1);
        EXPECT_EQ(memcmp(read->pixels + 3 * (width * height - 1), rgb, 3), 0);
        EXPECT_GT(rgb[0], 0);
        zr_free_bitmap(read);
    }
    const double refused[][4] = { { 0.289, 0, 0.29, 1 }, { 0, 0.25, 1, 0.26 }, { 0.7, 0, 0.3, 1 },
        { 0, 0.9, 1, 0.1 }, { -0.1, 0, 1, 1 }, { 0, 0, 1.1, 1 }, { nan, 0, 1, 1 }, { 0, 0, 1, nan },
        { 1e300, 0, 1, 1 }, { 0, 0, -1e300, 1 } };
    for (const auto& region : refused)
    {
        render_job job = job_of(d);
        job.flags = JOB_REGION;
        memcpy(job.region, region, sizeof(job.region));
        EXPECT_EQ(zr_raytrace(&job), 0)
            << region[0] << " " << region[1] << " " << region[2] << " " << region[3];
    }
    render_job job = job_of(d);
    EXPECT_EQ(render_to_end(job), both) << "the next job of the whole image is not cropped";
    zr_close_document(d);
}

TEST_F(job_settings_test, ACalibrationFrameMeasuresAndMakesNoImage)
{
    document* d = open_room(96, 96);
    render_job job = job_of(d);
    zr_set_calibration_frame(1);
    EXPECT_EQ(render_to_end(job), 0u);
    EXPECT_TRUE(heard.back().kind == PROGRESS_PREPROCESS) << "it ends before the report of the measuring";
    EXPECT_GT(d->views[1].measured_luminance, 0.0);
    const image_buffer& image = *d->views[1].image;
    for (int32_t y = 0; y < 96; ++y)
    {
        EXPECT_EQ(*zr_image_buffer_signature(&image, y), ROW_PREPROCESS);
        const uint8_t* first = zr_image_buffer_pixel(&image, 0, y);
        EXPECT_EQ(std::count(first, first + size_t(96 * image.pixel_size), 0), 96 * image.pixel_size) << y;
    }
    const double measured = d->views[1].measured_luminance;
    EXPECT_EQ(render_to_end(job), both) << "the request is for one job";
    EXPECT_EQ(d->views[1].measured_luminance, measured);
    zr_close_document(d);
}

TEST_F(job_settings_test, WithoutThePreprocessPassTheToneOperatorStays)
{
    document* d = open_room(64, 48);
    render_view& v = d->views[1];
    d->render_flags |= RENDER_FAST; // the last pass refines by what will be shown
    v.tone_exponent = 0.77;
    v.tone_scale = 0.0123;
    v.measured_luminance = 55;
    zr_rt_skip_preprocess(1);
    render_job job = job_of(d);
    EXPECT_EQ(render_to_end(job), both);
    EXPECT_EQ(v.tone_exponent, 0.77);
    EXPECT_EQ(v.tone_scale, 0.0123);
    EXPECT_EQ(v.measured_luminance, 55);
    const std::string kept = picture(d);
    zr_rt_skip_preprocess(0);
    EXPECT_EQ(render_to_end(job), both);
    EXPECT_NE(v.tone_scale, 0.0123);
    EXPECT_TRUE(picture(d) == kept) << "measuring changes how light is shown, not the light";
    zr_close_document(d);
}

TEST_F(job_settings_test, SettingsOfLightCountFromTheNextJobOn)
{
    document* d = open_room(32, 24);
    d->light_model = LIGHT_MODEL_EXACT;
    d->environment.mode = ENVIRONMENT_SKY;
    d->environment_flags |= ENVIRONMENT_SKY_WITHOUT_SUN;
    d->background_luminance = 1000.0;
    d->views[1].position.y = -20; // there is sky around the room
    ASSERT_EQ(zr_init_projection(&d->views[1]), 1);
    const auto picture = [&]
    {
        render_job job = job_of(d);
        render_to_end(job);
        const image_buffer& b = *d->views[1].image;
        return std::string(reinterpret_cast<const char*>(b.pixels), size_t(b.pixel_size) * 32 * 24);
    };
    const std::string undisturbed = picture();
    on_report = [](const progress_call& call)
    {
        zr_set_light_model(call.document, LIGHT_MODEL_FAST);
        zr_set_sky_light_samples(call.document, 1);
        zr_set_background_luminance(call.document, 50.0);
    };
    EXPECT_TRUE(picture() == undisturbed);
    on_report = nullptr;
    EXPECT_FALSE(picture() == undisturbed);
    zr_close_document(d);
}

} // namespace
