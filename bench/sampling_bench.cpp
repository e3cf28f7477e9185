// Whole pictures by the converging sampler, in samples and rays a second: `trace/tree` of the same scene says
// what the rays alone take.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "bench/scenes.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/jobs/render_job.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/projection.h"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/sampling/denoise.hpp"

namespace
{

using namespace bench;

constexpr int32_t side = 256, samples = 16;

struct scene_maker
{
    const char* name;
    triangle_scene (*make)();
};
const scene_maker scenes[] = { { "blob_70k", [] { return blob_scene(70000); } }, { "atrium", atrium_scene },
    { "landscape", landscape_scene } };

void add_lamp(document* d, const vector3& position)
{
    light l = {};
    l.type = LIGHT_SPHERICAL;
    l.distribution = DISTRIBUTION_ISOTROPIC;
    l.brightness_unit = BRIGHTNESS_CANDELA;
    l.candela = 10000.0f;
    l.position = position;
    l.color_temperature = 5000.0f;
    std::fill_n(l.filter, 3, 1.0f);
    l.falloff = 2.0;
    l.shadow_strength = 1.0;
    l.fixture_scale = 1.0f;
    if (!zr_insert_light_source_ex(&d->lights, zr_create_light(&l, d->sun_sky), d)) { std::abort(); }
}

void set_view(document* d, const triangle_scene& s)
{
    using namespace zr;
    render_view& from = d->views[0];
    zr_init_view(d, &from, nullptr);
    zr_init_view(d, &d->views[1], nullptr);
    d->current_view = 1;
    from.position = s.eye;
    from.target = s.target;
    from.back = normalized(s.eye - s.target);
    from.right = normalized(cross({ 0, 0, 1 }, from.back));
    from.up = cross(from.back, from.right);
    from.projection = PROJECTION_PERSPECTIVE;
    from.lens_length = 36.0; // as wide as the rays of trace/tree
    from.near = -1.0;
    from.pixel_aspect = 1.0;
    const int32_t size[2] = { side, side };
    zr_new_render_view(&d->views[1], &from, size);
    if (!zr_init_projection(&d->views[1])) { std::abort(); }
}

document* open_picture(const triangle_scene& s, int32_t bounces)
{
    zr::fill_gamma_tables();
    document* d = open_scene(s);
    d->world_to_model = d->model_to_world = 1.0;
    d->quality = 3;
    d->reflect_limit = d->refract_limit = 4;
    d->environment.mode = d->reflected_environment.mode = ENVIRONMENT_FLAT;
    add_lamp(d, s.light);
    zr_set_light_model(d, LIGHT_MODEL_EXACT);
    zr_set_pixel_sampler(d, SAMPLER_CONVERGING);
    const sampling_limits limits = { 0.01, samples, samples, 0, 0.0 };
    if (!zr_set_sampling_limits(d, &limits)) { std::abort(); }
    if (bounces > 0 && !zr_set_indirect_light(d, INDIRECT_PATHS, bounces, 0.0)) { std::abort(); }
    set_view(d, s);
    return d;
}

void sample_picture(benchmark::State& state)
{
    const scene_maker& maker = scenes[state.range(0)];
    const triangle_scene s = maker.make();
    document* d = open_picture(s, int32_t(state.range(2)));
    zr::platform::override_processor_count(int(state.range(1)));
    for (auto _ : state)
    {
        render_job job = {};
        job.document = d;
        job.view = &d->views[1];
        if (!zr_raytrace(&job) || !zr_wait_for_render(d, -1)) { std::abort(); }
    }
    zr::platform::override_processor_count(0);
    const ray_counters& rays = d->views[1].ray_counters;
    const auto rate = [&](double count)
    { return benchmark::Counter(count * 1e-6 * double(state.iterations()), benchmark::Counter::kIsRate); };
    state.counters["Msamples/s"] = rate(double(side) * side * samples);
    state.counters["Mshadow/s"] = rate(rays.shadow_rays);
    state.counters["shadow_share"] = rays.shadow_rays / (double(side) * side * samples);
    state.SetLabel(maker.name);
    zr_close_document(d);
}

/// A picture of grain over two colours and two amounts of light, filtered by one thread.
void denoise_picture(benchmark::State& state)
{
    const auto width = int32_t(state.range(0));
    std::vector<pixel_sums> sums(size_t(width) * size_t(width));
    std::vector<zr::pixel_guides> guides(sums.size());
    uint32_t random = 1;
    for (size_t i = 0; i < sums.size(); ++i)
    {
        const float light = i % size_t(width) < size_t(width) / 2 ? 100.0f : 20.0f;
        sums[i].count = 2;
        for (int c = 0; c < 3; ++c)
        {
            random = random * 1664525u + 1013904223u;
            sums[i].half[c] = light * (0.5f + float(random >> 8) * 0x1p-24f);
            sums[i].radiance[c] = 2.0f * light;
            guides[i].albedo[c] = i / size_t(width) < size_t(width) / 2 ? 1.6f : 0.4f;
        }
        guides[i].normal[2] = 2.0f;
    }
    for (auto _ : state)
    {
        const zr::denoiser d = { sums.data(), guides.data(), size_t(width), width, width };
        zr::array<float> band;
        float sum = 0.0f;
        for (int32_t first = 0; first < width; first += zr::denoise_rows)
        {
            if (!zr::denoise_band(d, first, band)) { std::abort(); }
            sum += band[0];
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["Mpixels/s"] = benchmark::Counter(
        double(sums.size()) * 1e-6 * double(state.iterations()), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(denoise_picture)->Arg(64)->Arg(200)->Unit(benchmark::kMillisecond);

BENCHMARK(sample_picture)
    ->ArgNames({ "scene", "workers", "bounces" })
    ->ArgsProduct({ { 0, 1, 2 }, { 1, 2 }, { 0, 4 } })
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);
