// What a shaded point costs by its material and by the number of lights, and a pixel of the last pass by
// quality.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/scene.hpp"
#include "zirconlite/picture/projection.h"
#include "zirconlite/raytrace/light_shape.hpp"
#include "zirconlite/raytrace/pixel_sampler.hpp"

namespace
{

using namespace zr;

material_entry* glossy(test::scene& s) { return s.mirror(0.5f); }
material_entry* glass(test::scene& s) { return s.glass(1.5f); }
material_entry* mirror(test::scene& s) { return s.mirror(1.0f); }
material_entry* matte(test::scene& s) { return s.matte(0.5f); }

struct material_kind
{
    const char* name;
    material_entry* (*make)(test::scene&);
    int32_t gloss_samples;
};
const material_kind kinds[] = { { "matte", matte, 1 }, { "mirror", mirror, 1 }, { "glass", glass, 1 },
    { "glossy, 4 rays", glossy, 4 } };

/// A ball of the material in a matte room with `lights` lights under its ceiling.
struct ball_room : test::scene
{
    ball_room(const material_kind& kind, int lights, int32_t model) : test::scene(model)
    {
        test::mesh room, ball;
        room.look = matte(0.6f);
        room.box({ { -5, -5, -3 }, { 5, 5, 3 } });
        ball.look = kind.make(*this);
        ball.smooth_cosine = 0.5;
        ball.ball({ 0, 0, 0 }, 2.0, 40);
        if (!add(room) || !add(ball)) { std::abort(); }
        const int side = int(std::ceil(std::sqrt(lights)));
        for (int i = 0; i < lights; ++i)
        {
            const double across = 8.0 / side, along = 4.0 / side; // on the eye's side of the ball
            add(test::scene::point_source(
                { -4.0 + (i % side + 0.5) * across, -4.5 + (i / side + 0.5) * along, 2.8 }, 500.0f / lights));
        }
        doc->reflect_limit = doc->refract_limit = 5;
        doc->gloss_samples = kind.gloss_samples;
        if (!prepare()) { std::abort(); }
        for (double& a : job.gloss_jitter_amplitude) { a = 0.0625; }
    }
};

/// Rays at the ball from one side; per shaded point, those that mirrored and bent rays reach counted too.
void shade_ball(
    benchmark::State& state, const material_kind& kind, int lights, int32_t model, int32_t stops_early = 0)
{
    ball_room s(kind, lights, model);
    job.stops_early = stops_early;
    std::vector<ray> rays;
    for (int i = 0; i < 1024; ++i)
    {
        const double u = (i % 32 + 0.5) / 32 - 0.5, v = (i / 32 + 0.5) / 32 - 0.5;
        ray r = s.eye_ray({ 0, -4.8, 0 }, { 0.8 * u, 1.0, 0.8 * v });
        r.pixel[0] = i % 32 + 0.5;
        r.pixel[1] = i / 32 + 0.5;
        r.sample_index = 6;
        rays.push_back(r);
    }
    ray_counters counters = {};
    double sum = 0.0;
    for (auto _ : state)
    {
        for (const ray& start : rays)
        {
            ray r = start;
            r.counters = &counters;
            trace_ray(*s.doc, r, nullptr);
            sum += r.radiance[1];
        }
    }
    benchmark::DoNotOptimize(sum);
    state.counters["s/point"] = benchmark::Counter(
        double(counters.shaded_points), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["points/ray"] = double(counters.shaded_points) / (1024.0 * state.iterations());
    state.counters["shadow/point"] = double(counters.shadow_rays) / counters.shaded_points;
}

void shade_material(benchmark::State& state)
{
    const material_kind& kind = kinds[state.range(0)];
    const auto model = int32_t(state.range(1));
    shade_ball(state, kind, 1, model);
    state.SetLabel(std::string(kind.name) + (model == LIGHT_MODEL_EXACT ? ", exact" : ", fast"));
}
BENCHMARK(shade_material)->ArgsProduct({ { 0, 1, 2, 3 }, { LIGHT_MODEL_FAST, LIGHT_MODEL_EXACT } });

void shade_lights(benchmark::State& state)
{
    const auto model = int32_t(state.range(1));
    shade_ball(state, kinds[0], int(state.range(0)), model, int32_t(state.range(2)));
    state.SetLabel(model == LIGHT_MODEL_FAST ? "fast" : state.range(2) ? "exact, early stop" : "exact");
}
BENCHMARK(shade_lights)
    ->ArgNames({ "lights", "model", "early stop" })
    ->ArgsProduct({ { 1, 10, 100, 1000 }, { LIGHT_MODEL_FAST }, { 0 } })
    ->ArgsProduct({ { 1, 10, 100, 1000 }, { LIGHT_MODEL_EXACT }, { 0, 1 } });

/// Points on the shape of a light, as seen from places below it.
void sample_shapes(benchmark::State& state)
{
    const struct
    {
        const char* name;
        int32_t type, distribution;
    } shapes[] = { { "sphere", LIGHT_SPHERICAL, DISTRIBUTION_ISOTROPIC },
        { "area", LIGHT_AREA, DISTRIBUTION_DIFFUSE }, { "area, spot", LIGHT_AREA, DISTRIBUTION_SPOT },
        { "disk", LIGHT_DISK, DISTRIBUTION_DIFFUSE }, { "tube", LIGHT_CYLINDRICAL, DISTRIBUTION_DIFFUSE } };
    const auto& shape = shapes[state.range(0)];
    light l = test::scene::point_source({ 0, 0, 3 }, 100.0f);
    l.type = shape.type;
    l.distribution = shape.distribution;
    l.normal = { 0, 0, -1 };
    l.axis_u = { 1, 0, 0 };
    l.axis_v = { 0, 1, 0 };
    l.radius = 0.1;
    l.length = l.height = 0.6;
    l.beam_angle = 0.4f;
    l.field_angle = 0.8f;
    test::scene s;
    s.add(l);
    s.relight();
    const light& made = *s.doc->lights;
    double sum = 0.0;
    int i = 0;
    for (auto _ : state)
    {
        source_sample sample = {};
        const square_point start = { (i & 1023) / 1024.0, (i >> 10 & 1023) / 1024.0 };
        sample_shape(made, { start.u, start.v, 0 }, pattern_point(start, i & 7, 8), sample);
        sum += sample.color[1];
        ++i;
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(shape.name);
}
BENCHMARK(sample_shapes)->DenseRange(0, 4);

/// A picture of 64 by 64 pixels, as one strip of the last pass.
void last_pass(benchmark::State& state)
{
    constexpr int side = 64;
    ball_room s(kinds[1], 4, LIGHT_MODEL_EXACT);
    s.doc->quality = int32_t(state.range(0));
    job.aa_threshold = 0.1;
    render_view& v = s.view;
    v.projection = PROJECTION_PERSPECTIVE;
    v.width = v.height = side;
    v.lens_length = 20;
    v.position = { 0, -4.8, 0 };
    v.right = { 1, 0, 0 };
    v.up = { 0, 0, 1 };
    v.back = { 0, -1, 0 };
    v.tone_exponent = 1.0;
    v.tone_scale = 0.02;
    zr_init_projection(&v);
    if (!make_aa_stores(1, side)) { std::abort(); }
    ray_counters counters = {};
    ray prototype = {};
    prototype.reflect_limit = prototype.refract_limit = 5;
    prototype.counters = &counters;
    const double low[2] = { 0.001, 0.001 }, high[2] = { ZR_FAR, ZR_FAR };
    for (auto _ : state)
    {
        clear_line_store(side, 0);
        for (int i = 0; i < side * side; ++i)
        {
            const int x = i % side, y = i / side;
            pixel_request q = {};
            q.doc = s.doc;
            q.view = &v;
            q.position[0] = x + 0.5;
            q.position[1] = y + 0.5;
            q.flags = (x == 0 ? uint32_t(PIXEL_FIRST_OF_LINE) : 0u) |
                      (x == side - 1 ? uint32_t(PIXEL_LAST_OF_LINE) : 0u);
            q.prototype = &prototype;
            q.position_low = low;
            q.position_high = high;
            pixel_result result;
            sample_pixel(q, result);
            benchmark::DoNotOptimize(result.values.radiance[1]);
        }
    }
    const double pixels = double(side) * side * state.iterations();
    state.counters["s/pixel"] =
        benchmark::Counter(pixels, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["rays/pixel"] = counters.primary_rays / pixels;
    state.counters["shadow/pixel"] = counters.shadow_rays / pixels;
    free_aa_stores();
}
BENCHMARK(last_pass)->ArgName("quality")->DenseRange(1, 5)->Unit(benchmark::kMillisecond);

} // namespace
