// What the light of the sky costs a shaded point by the number of rays, under an overcast sky and under a
// background with a bright spot, in the open and between blocks; and the preparation of the table.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "tests/support/scene.hpp"
#include "zirconlite/environment/sky_light.hpp"
#include "zirconlite/lighting/sun_sky.h"

namespace
{

using namespace zr;

enum sky
{
    sky_overcast,
    sky_bright_spot
};

void set_sky(document& d, int64_t kind)
{
    if (kind == sky_overcast)
    {
        d.sun_sky_flags = SUN_SKY_EXTERIOR;
        d.sun_sky->flags = SUN_BY_ANGLES;
        d.sun_sky->direct_altitude = 1.0f;
        d.sun_sky->cloudiness = 1.0;
        return;
    }
    environment& e = d.environment;
    e.mode = ENVIRONMENT_GRADIENT_3;
    std::fill_n(e.color0, 3, 1.0f);
    e.angle0 = 1.48;
    e.angle1 = 1.4;
    e.angle2 = -1.5;
    zr_set_background_luminance(&d, 50000.0);
}

/// A ground of 40 x 40 metres with `side` x `side` blocks on it.
struct town : test::scene
{
    town(int64_t kind, int64_t rays, int side)
    {
        test::mesh ground, blocks;
        ground.quad({ -20, -20, 0 }, { 20, -20, 0 }, { 20, 20, 0 }, { -20, 20, 0 });
        for (int i = 0; i < side * side; ++i)
        {
            const double step = 40.0 / side, x = -20.0 + step * (i % side), y = -20.0 + step * (i / side);
            blocks.box({ { x, y, 0.01 }, { x + 0.5 * step, y + 0.5 * step, step * (0.5 + i % 3) } });
        }
        if (!add(ground) || (side && !add(blocks))) { std::abort(); }
        set_sky(*doc, kind);
        zr_set_sky_light_samples(doc, int32_t(rays));
        if (!prepare() || (rays && !sky_light_shines())) { std::abort(); }
    }
};

void shade_ground(benchmark::State& state)
{
    town s(state.range(0), state.range(1), int(state.range(2)));
    std::vector<ray> rays;
    for (int i = 0; i < 1024; ++i)
    {
        const double x = 38.0 * ((i % 32 + 0.5) / 32 - 0.5), y = 38.0 * ((i / 32 + 0.5) / 32 - 0.5);
        ray r = s.eye_ray({ x, y, 100 }, { 0, 0, -1 });
        r.pixel[0] = i % 32 + 0.5;
        r.pixel[1] = i / 32 + 0.5;
        rays.push_back(r);
    }
    double light = 0.0;
    for (auto _ : state)
    {
        for (const ray& from : rays)
        {
            ray r = from;
            trace_ray(*s.doc, r, nullptr);
            light += r.radiance[1];
        }
    }
    state.SetItemsProcessed(state.iterations() * int64_t(rays.size()));
    state.counters["mean"] = light / (double(state.iterations()) * double(rays.size()));
}

void prepare_table(benchmark::State& state)
{
    test::scene s;
    set_sky(*s.doc, sky_bright_spot);
    zr_init_raytrace(s.doc, &s.view);
    for (auto _ : state)
    {
        if (!prepare_sky_light(*s.doc)) { std::abort(); }
    }
}

BENCHMARK(shade_ground)
    ->ArgNames({ "sky", "rays", "blocks" })
    ->ArgsProduct({ { sky_overcast, sky_bright_spot }, { 0, 1, 4, 16, 64, 256 }, { 0, 30 } });
BENCHMARK(prepare_table)->Unit(benchmark::kMillisecond);

} // namespace
