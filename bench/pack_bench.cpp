/// @file
/// What a pixel costs on its way out: packing, unpacking, both tone operators, rows of a finished picture.
#include <benchmark/benchmark.h>

#include <stdlib.h>
#include <vector>

#include "zirconlite/frame/document.h"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/output.h"
#include "zirconlite/picture/tone.h"

namespace
{

/// A picture with smooth light over four decades and its view, measured and ready to be shown.
struct lit_picture
{
    document scene = {};
    render_view& view = scene.views[1];

    lit_picture(int32_t width, int32_t height, int32_t method)
    {
        zr::fill_gamma_tables();
        view.document = &scene;
        view.tone_method = method;
        view.contrast = 0.5f;
        view.source_gain = 1.0f;
        view.width = width;
        view.height = height;
        view.image = zr_new_image_buffer(width, height, PIXEL_RADIANCE);
        for (int32_t y = 0; y < height; ++y)
        {
            *zr_image_buffer_signature(view.image, y) = ROW_COMPLETE;
            for (int32_t x = 0; x < width; ++x)
            {
                const pixel_components c = color_at(x, y);
                pack_pixel(view.image, &c, zr_image_buffer_pixel(view.image, x, y));
            }
        }
        zr_get_raytrace_tone_op(&view, view.image);
    }
    ~lit_picture()
    {
        zr_destroy_image_buffer(view.image);
        zr_free_histogram(view.histogram);
    }

    static pixel_components color_at(int32_t x, int32_t y)
    {
        pixel_components c = {};
        const float level = 0.1f * float(1 + x % 100) * float(1 + y % 100);
        c.surface[0] = level;
        c.surface[1] = level * 0.7f;
        c.surface[2] = level * 0.4f;
        c.source_ratio = 0.25f;
        return c;
    }
};

constexpr int32_t side = 256;

void pack(benchmark::State& state)
{
    lit_picture picture(side, side, TONE_HISTOGRAM);
    std::vector<pixel_components> row;
    for (int32_t x = 0; x < side; ++x) { row.push_back(lit_picture::color_at(x, 7)); }
    for (auto _ : state)
    {
        for (int32_t x = 0; x < side; ++x)
        {
            pack_pixel(picture.view.image, &row[size_t(x)], zr_image_buffer_pixel(picture.view.image, x, 7));
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * side);
}
BENCHMARK(pack);

void unpack(benchmark::State& state)
{
    lit_picture picture(side, side, TONE_HISTOGRAM);
    float sum = 0.0f;
    for (auto _ : state)
    {
        for (int32_t x = 0; x < side; ++x)
        {
            pixel_components c;
            zr_unpack_internal_pixel(
                picture.view.image, zr_image_buffer_pixel(picture.view.image, x, 9), &c, 0);
            sum += c.surface[0];
        }
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * side);
}
BENCHMARK(unpack);

void tone_pixels(benchmark::State& state)
{
    lit_picture picture(side, side, int32_t(state.range(0)));
    const render_view& view = picture.view;
    float sum = 0.0f;
    for (auto _ : state)
    {
        for (int32_t x = 0; x < side; ++x)
        {
            const pixel_components c = lit_picture::color_at(x, 11);
            float rgb[3] = { c.surface[0], c.surface[1], c.surface[2] };
            tone(&view, view.tone_exponent, view.tone_scale, rgb, 0);
            sum += rgb[1];
        }
    }
    if (!(sum > 0.0f)) { state.SkipWithError("the picture came out black"); }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * side);
}
BENCHMARK(tone_pixels)->ArgName("method")->Arg(TONE_POWER)->Arg(TONE_HISTOGRAM);

/// Whole pictures through the row source, as a writer asks for them.
void write_rows(benchmark::State& state)
{
    const auto width = int32_t(state.range(0));
    lit_picture picture(width, side, TONE_HISTOGRAM);
    bitmap_format record = {};
    record.image = &picture.view;
    record.width = uint32_t(width);
    record.height = side;
    record.write_image = [](bitmap_format* r) -> int32_t
    {
        std::vector<uint8_t> row(size_t(r->width) * 3);
        uint64_t sum = 0;
        for (uint32_t y = 0; y < r->height; ++y)
        {
            line_request request = { LINE_RGB, y, row.data() };
            r->line_source(r, &request);
            sum += row[row.size() / 2];
        }
        return sum > 0;
    };
    for (auto _ : state)
    {
        if (!zr_write_raytrace_image(&record)) { state.SkipWithError("no light in the rows"); }
    }
    state.counters["rows"] = benchmark::Counter(double(side), benchmark::Counter::kIsIterationInvariantRate);
    state.SetItemsProcessed(state.iterations() * width * side);
}
BENCHMARK(write_rows)->ArgName("width")->Arg(200)->Arg(2000)->Unit(benchmark::kMillisecond);

} // namespace
