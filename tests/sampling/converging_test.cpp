/// @file
/// Pictures of the converging sampler: the same for every number of workers and any region, the same light as
/// the strips, and an error that is what was asked.
#include <cmath>

#include "tests/support/picture_light.hpp"
#include "tests/support/room_scene.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/sampling/converging.h"

namespace
{

using test::average, test::light_of;

constexpr int32_t width = 64, height = 48;

document* open_converging_room(const sampling_limits& limits)
{
    zr::fill_gamma_tables(); // as a start of the library does: errors are those of shown values
    document* d = open_room(width, height);
    light soft = point_source_at({ -0.8, -0.8, 2.4 }, 150);
    soft.radius = 0.3;
    soft.shadow_samples = 16;
    EXPECT_EQ(add_light(d, soft), 1);
    d->render_flags = RENDER_SOFT_SHADOWS | RENDER_DEPTH_PLANE | RENDER_OBJECT_IDS;
    zr_set_light_model(d, LIGHT_MODEL_EXACT);
    zr_set_pixel_sampler(d, SAMPLER_CONVERGING);
    EXPECT_EQ(zr_set_sampling_limits(d, &limits), 1) << zr_last_error()->text;
    return d;
}

std::vector<float> render_means(
    const sampling_limits& limits, const double* region = nullptr, bool denoises = false)
{
    document* d = open_converging_room(limits);
    zr_set_denoising(d, denoises);
    render_job job = job_of(d);
    if (region)
    {
        job.flags |= JOB_REGION;
        std::copy_n(region, 4, job.region);
    }
    EXPECT_TRUE(render_to_end(job) & RENDER_STATE_FINISHED);
    if (denoises)
    {
        // What is shown has no sums of its own.
        zr_free(d->views[1].image->sums);
        d->views[1].image->sums = nullptr;
    }
    const std::vector<float> means = light_of(d->views[1]);
    zr_close_document(d);
    return means;
}

} // namespace

TEST(Converging, PicturesAreTheSameForOneToEightWorkers)
{
    std::string first;
    for (const int workers : { 1, 2, 5, 8 })
    {
        zr::platform::override_processor_count(workers);
        document* d = open_converging_room({ 6.0, 4, 32, 0, 0.0 });
        render_job job = job_of(d);
        render_to_end(job);
        const image_buffer& i = *d->views[1].image;
        std::string now(reinterpret_cast<const char*>(i.pixels), i.total_bytes);
        now.append(reinterpret_cast<const char*>(i.sums), size_t(width) * height * sizeof(pixel_sums));
        if (first.empty()) { first = now; }
        EXPECT_TRUE(first == now) << workers << " workers";
        zr_close_document(d);
    }
    zr::platform::override_processor_count(0);
}

TEST(Converging, ARegionEqualsTheCutOutOfTheWhole)
{
    const sampling_limits limits = { 6.0, 4, 32, 0, 0.0 };
    const double region[4] = { 0.25, 0.35, 0.82, 0.8 }; // columns 16 to 52, rows 16 to 36
    for (const bool denoises : { false, true })
    {
        const std::vector<float> whole = render_means(limits, nullptr, denoises),
                                 part = render_means(limits, region, denoises);
        int compared = 0;
        for (int y = 16; y < 36; ++y)
        {
            for (int x = 3 * 16; x < 3 * 52; ++x, ++compared)
            {
                const size_t at = size_t(3 * y * width + x);
                ASSERT_EQ(whole[at], part[at])
                    << "channel " << x << " of row " << y << (denoises ? ", filtered" : "");
            }
        }
        EXPECT_EQ(compared, 20 * 36 * 3);
        EXPECT_EQ(part[0], 0.0f) << "outside the region nothing is shown";
    }
}

TEST(Converging, ErrsByWhatWasAskedAndNotToOneSide)
{
    const std::vector<float> exact = render_means({ 0.2, 512, 512, 9, 0.0 });
    double before = 1e30;
    for (const double noise : { 16.0, 4.0 })
    {
        const std::vector<float> means = render_means({ noise, 8, 512, 1, 0.0 });
        double squares = 0.0;
        for (size_t i = 0; i < means.size(); ++i) { squares += std::pow(double(means[i]) - exact[i], 2.0); }
        EXPECT_LT(squares, before) << "noise " << noise;
        before = squares;
        EXPECT_NEAR(average(means) / average(exact), 1.0, 0.004) << "noise " << noise;
        sampling_progress reached;
        zr_get_sampling_progress(&reached);
        // A few blocks reach the limit of samples first, and are not counted as done.
        EXPECT_GT(reached.done_share, 0.95) << "noise " << noise;
        EXPECT_LE(reached.error, noise);
        EXPECT_LT(reached.mean_samples, 256.0) << "noise " << noise;
    }
}

TEST(Converging, ShowsTheLightThatTheStripsShow)
{
    const double converged = average(render_means({ 1.0, 64, 256, 0, 0.0 }));
    document* d = open_converging_room({ 1.0, 1, 1, 0, 0.0 });
    zr_set_pixel_sampler(d, SAMPLER_STRIPS);
    d->quality = 5;
    render_job job = job_of(d);
    render_to_end(job);
    EXPECT_EQ(d->views[1].image->sums, nullptr);
    // The block's highlight is a normalised lobe in one and the record's own strength in the other.
    EXPECT_NEAR(converged / average(light_of(d->views[1])), 1.0, 0.02);
    zr_close_document(d);
}

TEST(Converging, LimitsOutOfRangeAreRefusedAndChangeNothing)
{
    document* d = zr_open_document();
    const double nan = std::nan("");
    const sampling_limits bad[] = { { 0, 16, 64, 0, 0 }, { nan, 16, 64, 0, 0 }, { -1, 16, 64, 0, 0 },
        { 256, 16, 64, 0, 0 }, { 2, 0, 64, 0, 0 }, { 2, 65, 64, 0, 0 }, { 2, 16, 1 << 30, 0, 0 },
        { 2, 16, 64, 0, -1 }, { 2, 16, 64, 0, nan } };
    for (const sampling_limits& limits : bad) { EXPECT_EQ(zr_set_sampling_limits(d, &limits), 0); }
    EXPECT_EQ(zr_set_sampling_limits(d, nullptr), 0);
    sampling_limits kept;
    zr_get_sampling_limits(d, &kept);
    EXPECT_EQ(kept.noise, 2.0);
    EXPECT_EQ(kept.min_samples, 16);
    EXPECT_EQ(kept.max_samples, 1024);
    EXPECT_EQ(zr_set_pixel_sampler(d, 7), SAMPLER_STRIPS);
    EXPECT_EQ(d->pixel_sampler, SAMPLER_STRIPS);
    zr_close_document(d);
}

TEST(Converging, ScenesWithoutLightAndSingleSamplesEnd)
{
    document* d = open_converging_room({ 2.0, 1, 1, 0, 0.0 });
    zr_lights_free(d, 1);
    render_job job = job_of(d);
    EXPECT_TRUE(render_to_end(job) & RENDER_STATE_FINISHED);
    EXPECT_EQ(average(light_of(d->views[1])), 0.0);
    EXPECT_EQ(d->views[1].image->sums[0].count, 1u);
    zr_close_document(d);
    EXPECT_GT(average(render_means({ 0.01, 16, 1 << 20, 0, 0.2 })), 0.0) << "the limit of seconds ends it";
}
