/// @file
/// The denoiser: less error, sharp edges and patterns, the same bytes for any number of workers, and sums
/// that it leaves alone.
#include <cmath>
#include <string>

#include "tests/support/picture_light.hpp"
#include "tests/support/room_scene.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/sampling/denoise.hpp"

namespace
{

constexpr int32_t side = 48;

/// Half of the pixels are bright, or of another colour; both halves of the samples have noise of their own.
struct noisy_picture
{
    std::vector<pixel_sums> sums{ size_t(side) * side };
    std::vector<zr::pixel_guides> guides{ size_t(side) * side };

    noisy_picture(float left_light, float right_light, float left_albedo, float right_albedo, float noise)
    {
        uint32_t state = 7;
        const auto random = [&]
        { return float((state = state * 1664525u + 1013904223u) >> 8) / 16777216.0f; };
        for (size_t i = 0; i < sums.size(); ++i)
        {
            const bool left = int32_t(i % side) < side / 2;
            const float albedo = left ? left_albedo : right_albedo,
                        light = (left ? left_light : right_light) * albedo;
            const float half[2] = { light * (1.0f + noise * (random() - 0.5f)),
                light * (1.0f + noise * (random() - 0.5f)) };
            sums[i].count = 2;
            for (int c = 0; c < 3; ++c)
            {
                sums[i].radiance[c] = half[0] + half[1];
                sums[i].half[c] = half[0];
                guides[i].albedo[c] = 2.0f * albedo;
            }
            guides[i].normal[2] = 2.0f;
        }
    }
    std::vector<float> filtered() const
    {
        const zr::denoiser d = { sums.data(), guides.data(), side, side, side };
        std::vector<float> all;
        for (int32_t first = 0; first < side; first += zr::denoise_rows)
        {
            zr::array<float> band;
            EXPECT_TRUE(zr::denoise_band(d, first, band));
            all.insert(all.end(), band.begin(), band.end());
        }
        return all;
    }
};

} // namespace

TEST(Denoise, SmoothsNoiseAndKeepsEdgesOfLightAndColor)
{
    struct
    {
        const char* what;
        float light[2], albedo[2];
    } const cases[] = {
        { "an edge of light", { 100, 20 }, { 0.5f, 0.5f } },
        { "an edge of colour", { 100, 100 }, { 0.8f, 0.1f } },
        { "none", { 100, 100 }, { 0.5f, 0.5f } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const noisy_picture p(c.light[0], c.light[1], c.albedo[0], c.albedo[1], 0.8f);
        const std::vector<float> light = p.filtered();
        double before = 0.0, after = 0.0;
        for (size_t i = 0; i < p.sums.size(); ++i)
        {
            const int half = int32_t(i % side) < side / 2 ? 0 : 1;
            const double exact = c.light[half] * c.albedo[half];
            before += std::pow(p.sums[i].radiance[0] / 2.0 / exact - 1.0, 2.0);
            after += std::pow(light[3 * i] / exact - 1.0, 2.0);
        }
        EXPECT_LT(after, before / 16.0) << "a quarter of the error, beside the edge too";
    }
}

TEST(Denoise, GivesTheSamePictureForAnyWorkersAndLeavesTheSums)
{
    std::string first;
    std::vector<float> sums;
    for (const int workers : { 0, 1, 2, 5 })
    {
        zr::fill_gamma_tables();
        zr::platform::override_processor_count(std::max(workers, 1));
        document* d = open_room(64, 48);
        zr_set_light_model(d, LIGHT_MODEL_EXACT);
        zr_set_pixel_sampler(d, SAMPLER_CONVERGING);
        EXPECT_EQ(zr_set_denoising(d, workers > 0), 0);
        const sampling_limits limits = { 1.0, 8, 8, 0, 0.0 };
        EXPECT_EQ(zr_set_sampling_limits(d, &limits), 1);
        EXPECT_EQ(zr_set_indirect_light(d, INDIRECT_PATHS, 4, 0.0), 1);
        render_job job = job_of(d);
        EXPECT_TRUE(render_to_end(job) & RENDER_STATE_FINISHED);
        const image_buffer& i = *d->views[1].image;
        const std::string now(reinterpret_cast<const char*>(i.pixels), i.total_bytes);
        const auto* light = reinterpret_cast<const float*>(i.sums);
        const std::vector<float> kept(light, light + size_t(64) * 48 * sizeof(pixel_sums) / sizeof(float));
        if (workers == 0) { sums = kept; }
        else if (workers == 1) { first = now; }
        EXPECT_TRUE(sums == kept);
        if (workers > 1) { EXPECT_TRUE(first == now) << workers; }
        zr_close_document(d);
    }
    zr::platform::override_processor_count(0);
}
