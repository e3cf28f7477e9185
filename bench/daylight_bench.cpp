// What daylight costs: the sky's luminance, the sun's angles, a window's samples, a moment's preparation, and
// a shaded point by the sun's shadow rays.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "tests/support/scene.hpp"
#include "zirconlite/lighting/daylight.h"
#include "zirconlite/lighting/sun_light.hpp"

namespace
{

using namespace zr;

/// Directions over the whole sphere.
std::vector<vector3> sphere()
{
    std::vector<vector3> all;
    for (int i = 0; i < 4096; ++i)
    {
        const double z = 1.0 - (2.0 * i + 1.0) / 4096, a = 2.39996323 * i, r = std::sqrt(1.0 - z * z);
        all.push_back({ r * std::cos(a), r * std::sin(a), z });
    }
    return all;
}

void set_afternoon(test::scene& s, uint32_t mode)
{
    s.doc->sun_sky_flags = mode;
    s.doc->sun_sky->flags = SUN_BY_ANGLES;
    s.doc->sun_sky->direct_azimuth = 2.5f;
    zr_set_sun_and_sky(s.doc);
    job.simple_colors = 0;
}

void sky_function(benchmark::State& state)
{
    test::scene s;
    set_afternoon(s, SUN_SKY_SUN);
    const std::vector<vector3> directions = sphere();
    double sum = 0.0;
    for (auto _ : state)
    {
        for (const vector3& d : directions)
        {
            double l;
            zr_get_sky_ground_intensity(&d, s.doc->sun_sky, &l);
            sum += l;
        }
    }
    state.SetItemsProcessed(state.iterations() * int64_t(directions.size()));
    state.counters["mean"] = sum / double(state.iterations()) / double(directions.size());
}
BENCHMARK(sky_function);

void sun_angles(benchmark::State& state)
{
    zr_set_sun_model(int32_t(state.range(0)), 2026);
    double sum = 0.0, azimuth, altitude, minutes;
    int32_t day = 0;
    for (auto _ : state)
    {
        zr_solar_angles(day * 4.0, day, 1.0, 1.04, 0.19, &azimuth, &altitude, &minutes);
        sum += azimuth + altitude;
        day = (day + 1) % 365;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["sum"] = sum;
    zr_set_sun_model(SUN_MODEL_TABLES, 2000);
}
BENCHMARK(sun_angles)->ArgName("almanac")->Arg(0)->Arg(1);

void sun_and_sky(benchmark::State& state)
{
    test::scene s;
    set_afternoon(s, SUN_SKY_SUN);
    for (auto _ : state) { benchmark::DoNotOptimize(zr_set_sun_and_sky(s.doc)); }
}
BENCHMARK(sun_and_sky);

light pane()
{
    light l = {};
    l.type = LIGHT_DAYLIGHT;
    l.normal = { 0, 1, 0 };
    l.axis_u = { -1, 0, 0 };
    l.axis_v = { 0, 0, 1 };
    l.length = l.height = 2;
    l.area = 4;
    l.vertex_count = 4;
    l.vertices[0] = { 1, 0, -1 };
    l.vertices[1] = { -1, 0, -1 };
    l.vertices[2] = { -1, 0, 1 };
    l.vertices[3] = { 1, 0, 1 };
    return l;
}

void window_samples(benchmark::State& state)
{
    test::scene s;
    set_afternoon(s, SUN_SKY_WINDOWS);
    light l = pane();
    lt_daylight_create(&l, s.doc->sun_sky);
    std::vector<source_sample> samples(size_t(state.range(0)));
    for (size_t i = 0; i < samples.size(); ++i)
    {
        samples[i].u = (double(i) + 0.5) / double(samples.size());
        samples[i].v = 0.3;
    }
    const vector3 point = { 0.4, 3, -1 };
    double sum = 0.0;
    for (auto _ : state)
    {
        l.sample(&l, &point, samples.data(), int32_t(samples.size()));
        sum += samples.back().color[0];
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["sum"] = sum;
}
BENCHMARK(window_samples)->Arg(1)->Arg(17)->Arg(170);

/// A document with this many windows made ready for a render.
void prepare_windows(benchmark::State& state)
{
    test::scene s;
    set_afternoon(s, SUN_SKY_WINDOWS);
    const light l = pane();
    for (int64_t i = 0; i < state.range(0); ++i)
    {
        zr_insert_light_source_ex(&s.doc->lights, zr_create_light(&l, s.doc->sun_sky), s.doc);
    }
    for (auto _ : state) { prepare_sun(*s.doc); }
}
BENCHMARK(prepare_windows)->Arg(1)->Arg(10)->Arg(100);

void sunlit_point(benchmark::State& state)
{
    test::scene s;
    test::mesh floor;
    floor.look = s.matte(0.5f);
    floor.quad({ -100, -100, 0 }, { 100, -100, 0 }, { 100, 100, 0 }, { -100, 100, 0 });
    s.add(floor);
    s.doc->render_flags |= RENDER_SOFT_SHADOWS;
    s.doc->sun_sky->sun_size = 0.02;
    s.doc->sun_sky->sky_intensity = 0.0f;
    s.doc->sun_sky->sun_samples = int32_t(state.range(0));
    set_afternoon(s, SUN_SKY_SUN);
    s.prepare();
    double sum = 0.0;
    for (auto _ : state) { sum += s.radiance({ 0.3, 0.2, 1 }, { 0.1, 0.2, -1 }); }
    state.SetItemsProcessed(state.iterations());
    state.counters["mean"] = sum / double(state.iterations());
}
BENCHMARK(sunlit_point)->ArgName("rays")->Arg(1)->Arg(10)->Arg(100);

} // namespace
