// What patterns and pictures cost: noise and turbulence, each blend kind, a six-deep tree, building mipmaps
// and sampling them.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/materials.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/imagefiles/bitmap_store.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/noise.h"
#include "zirconlite/materials/surface_evaluation.hpp"

namespace
{

using namespace zr;
using namespace test;

vector3 place(int i) { return { i * 0.173, i * -0.031, i * 0.0117 }; }

void count_points(benchmark::State& state, int64_t per_round)
{
    state.counters["s/point"] = benchmark::Counter(
        double(state.iterations() * per_round), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void turbulence(benchmark::State& state)
{
    const noise_table table;
    const auto octaves = int32_t(state.range(0));
    double sum = 0.0;
    for (auto _ : state)
    {
        for (int i = 0; i < 1024; ++i)
        {
            const vector3 p = place(i);
            double t[3];
            turb3(&p, t, octaves);
            sum += t[0] + t[2];
        }
    }
    benchmark::DoNotOptimize(sum);
    count_points(state, 1024);
}
BENCHMARK(turbulence)->ArgName("octaves")->Arg(1)->Arg(4)->Arg(10);

/// A material of the kind whose two children are plain.
material* pattern(int32_t kind, material* first)
{
    material* m = new_complex_material();
    blended(m).children[0] = first;
    blended(m).children[1] = new_simple_material();
    zr_set_blend_kind(m, kind);
    blend_params& p = blended(m).params;
    p.octaves = 4;
    p.turbulence[0] = 0.5f;
    for (int i = 0; i < 3; ++i) { p.ratio[i] = i == 1 ? 0.2f : 0.6f; }
    for (float& s : p.softness) { s = 0.5f; }
    zr_update_pattern_transform(m);
    return m;
}

void evaluate(benchmark::State& state, material* m)
{
    const physical_colors physical;
    double sum = 0.0;
    for (auto _ : state)
    {
        for (int i = 0; i < 1024; ++i)
        {
            ray r = hit_from_above();
            r.map_point = place(i);
            r.footprint[0] = r.footprint[1] = 0.001;
            surface s;
            zr_resolve_surface(m, &r, &s);
            sum += s.color[0];
        }
    }
    benchmark::DoNotOptimize(sum);
    count_points(state, 1024);
    free_material(m);
}

void evaluate_kind(benchmark::State& state)
{
    const noise_table table;
    static const char* const names[] = { "marble", "granite", "wood", "tile", "mask", "blend", "clear finish",
        "angular", "simple" };
    state.SetLabel(names[state.range(0)]);
    material* plain = new_simple_material();
    if (state.range(0) == 8)
    {
        evaluate(state, plain);
        return;
    }
    material* m = pattern(int32_t(state.range(0)), plain);
    if (state.range(0) == BLEND_KIND_MASK)
    {
        const std::vector<uint8_t> grey(256 * 256, 100);
        auto* mask = static_cast<mask_source*>(zr_calloc(1, sizeof(mask_source)));
        mask->bitmap = zr_add_bitmap(u"mask", 256, 256, 1, grey.data());
        blended(m).params.mask = mask;
    }
    evaluate(state, m);
    zr_free_all_bitmaps();
}
BENCHMARK(evaluate_kind)->DenseRange(0, 8);

/// Six levels of soft marble: nearly every point needs both children all the way down.
void evaluate_six_levels(benchmark::State& state)
{
    const noise_table table;
    material* m = new_simple_material();
    for (int level = 0; level < 6; ++level) { m = pattern(level % 3, m); }
    evaluate(state, m);
}
BENCHMARK(evaluate_six_levels);

std::vector<uint8_t> gradient_picture(uint32_t side, uint32_t channels)
{
    std::vector<uint8_t> rows(size_t(side) * side * channels);
    for (size_t i = 0; i < rows.size(); ++i) { rows[i] = uint8_t(i * 7 + i / 997); }
    return rows;
}

/// Pictures on a simple material, near (one texel) and far (two levels mixed).
void evaluate_picture(benchmark::State& state)
{
    material* m = new_simple_material();
    mat_image* image = simple(m).images = zr_new_mat_image();
    image->bitmap = zr_add_bitmap(u"picture", 1024, 1024, 3, gradient_picture(1024, 3).data());
    image->size[0] = image->size[1] = state.range(0) ? 0.1 : 10.0;
    zr_update_mat_image(image);
    state.SetLabel(state.range(0) ? "two levels" : "one texel");
    evaluate(state, m);
    zr_free_all_bitmaps();
}
BENCHMARK(evaluate_picture)->Arg(0)->Arg(1);

void build_mipmap(benchmark::State& state)
{
    const auto side = uint32_t(state.range(0)), channels = uint32_t(state.range(1));
    bitmap* b = zr_add_bitmap(u"large", side, side, channels, gradient_picture(side, channels).data());
    if (!b || b->level_count != 1 + int(std::log2(side))) { std::abort(); }
    for (auto _ : state)
    {
        zr_build_mipmap(b);
        benchmark::DoNotOptimize(b->average[0]);
    }
    state.SetBytesProcessed(state.iterations() * b->byte_count);
    state.counters["bytes/texel"] = double(b->store_bytes) / b->pixel_count;
    zr_free_all_bitmaps();
}
BENCHMARK(build_mipmap)
    ->ArgNames({ "side", "channels" })
    ->ArgsProduct({ { 1024, 4096 }, { 1, 3, 4 } })
    ->Unit(benchmark::kMillisecond);

void sample_mipmap(benchmark::State& state)
{
    const bitmap* b = zr_add_bitmap(u"sampled", 2048, 2048, 3, gradient_picture(2048, 3).data());
    const double fraction = state.range(0) ? 0.5 : 0.0;
    double sum = 0.0;
    for (auto _ : state)
    {
        for (int i = 0; i < 1024; ++i)
        {
            const double uv[2] = { i / 1024.0, (i * 37 % 1024) / 1024.0 };
            double out[4];
            zr_sample_mipmap(b, uv, 1, fraction, out);
            sum += out[1];
        }
    }
    benchmark::DoNotOptimize(sum);
    count_points(state, 1024);
    zr_free_all_bitmaps();
}
BENCHMARK(sample_mipmap)->ArgName("levels")->Arg(0)->Arg(1);

} // namespace
