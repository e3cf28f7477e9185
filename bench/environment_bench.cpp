// What environments cost a ray: gradient, painted sky, background picture, picture of light, haze and ground;
// clouds by their number, for a ray and for preparation.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/materials.hpp"
#include "tests/support/scene.hpp"
#include "zirconlite/environment/clouds.hpp"
#include "zirconlite/environment/ground.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"

namespace
{

using namespace zr;

constexpr int ray_count = 4096;

/// Rays from the eye over the upper half of the sphere and a little below the horizon.
std::vector<ray> sky_rays(const test::scene& s)
{
    std::vector<ray> rays;
    for (int i = 0; i < ray_count; ++i)
    {
        const double z = -0.1 + 1.1 * (i + 0.5) / ray_count, a = 2.399963 * i,
                     r = std::sqrt(1.0 - std::min(z * z, 1.0));
        rays.push_back(s.eye_ray({ 0, 0, 2 }, { r * std::cos(a), r * std::sin(a), z }));
        rays.back().pixel[0] = i % 64;
        rays.back().pixel[1] = i / 64;
    }
    return rays;
}

/// One row for each kind of environment.
struct environment_kind
{
    const char* name;
    void (*set)(document& d);
};
const environment_kind kinds[] = {
    { "flat", [](document& d) { d.environment.mode = ENVIRONMENT_FLAT; } },
    { "gradient",
        [](document& d)
        {
            d.environment.mode = ENVIRONMENT_GRADIENT_3;
            d.environment.angle0 = 1.0;
            d.environment.angle1 = 0.3;
        } },
    { "painted sky", [](document& d) { d.environment_flags |= ENVIRONMENT_SKY_WITHOUT_SUN; } },
    { "picture on a sphere",
        [](document& d)
        {
            static const std::vector<uint8_t> rows(1024 * 512 * 3, 100);
            const std::u16string name = u"bench:sky";
            if (!zr_add_bitmap(name.c_str(), 1024, 512, 3, rows.data())) { std::abort(); }
            name.copy(d.environment.image_filename, name.size());
            d.environment.image_projection = 2;
            d.environment.image_opacity = 1.0f;
            const float all[4] = { 1.5707964f, -1.5707964f, 0.0f, 6.2831855f };
            std::copy_n(all, 4, d.environment.image_spherical_angles);
            d.environment_flags |= ENVIRONMENT_PICTURE;
        } },
    { "flat in haze",
        [](document& d)
        {
            d.environment.mode = ENVIRONMENT_FLAT;
            d.environment_flags |= ENVIRONMENT_HAZE;
            d.fog_distance = 100.0;
            d.fog_strength = 0.5f;
        } },
};

double look_at_all(document& d, const std::vector<ray>& rays)
{
    double sum = 0.0;
    for (const ray& start : rays)
    {
        ray r = start;
        environment_background(d, r);
        sum += r.background[1];
    }
    return sum;
}

void background_of_ray(benchmark::State& state)
{
    test::scene s;
    const environment_kind& kind = kinds[state.range(0)];
    std::fill_n(s.doc->environment.color0, 3, 0.5f);
    s.view.width = s.view.height = 64;
    kind.set(*s.doc);
    environment_prepare(*s.doc, s.doc->environment, s.view);
    const std::vector<ray> rays = sky_rays(s);
    if (!(look_at_all(*s.doc, rays) > 0.0)) { state.SkipWithError("nothing is seen"); }
    for (auto _ : state) { benchmark::DoNotOptimize(look_at_all(*s.doc, rays)); }
    state.SetItemsProcessed(int64_t(state.iterations()) * ray_count);
    state.SetLabel(kind.name);
}
BENCHMARK(background_of_ray)->DenseRange(0, int(std::size(kinds)) - 1);

/// Cumulus, and 0: cirrus alone.
void set_clouds(environment& e, int32_t number)
{
    e.cloud_flags = number ? CLOUDS_CUMULUS : CLOUDS_CIRRUS;
    e.cloud_seed = 1;
    e.cu_number = number;
    e.cu_scale_v = 0.6f;
    for (float* v : { e.cu_color, e.cu_scale, e.ci_color, e.ci_scale }) { std::fill_n(v, 3, 1.0f); }
}

void clouds_of_ray(benchmark::State& state)
{
    test::noise_table noise;
    test::scene s;
    s.doc->environment_flags = ENVIRONMENT_CLOUDS | ENVIRONMENT_CLOUDS_ALWAYS;
    set_clouds(s.doc->environment, int32_t(state.range(0)));
    prepared_environment made = {};
    clouds_prepare(*s.doc, s.doc->environment, made);
    const std::vector<ray> rays = sky_rays(s);
    double covered = 0.0;
    for (auto _ : state)
    {
        covered = 0.0;
        for (const ray& r : rays)
        {
            float rgb[3];
            covered += clouds(*s.doc, s.doc->environment, made, r, rgb);
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * ray_count);
    state.counters["coverage"] = covered / ray_count;
    release_clouds(made);
}
BENCHMARK(clouds_of_ray)->Arg(0)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

void prepare_clouds(benchmark::State& state)
{
    test::scene s;
    s.doc->environment_flags = ENVIRONMENT_CLOUDS | ENVIRONMENT_CLOUDS_ALWAYS;
    set_clouds(s.doc->environment, int32_t(state.range(0)));
    prepared_environment made = {};
    for (auto _ : state) { benchmark::DoNotOptimize(clouds_prepare(*s.doc, s.doc->environment, made)); }
    release_clouds(made);
}
BENCHMARK(prepare_clouds)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void test_ground(benchmark::State& state)
{
    test::scene s;
    s.doc->environment_flags = ENVIRONMENT_GROUND;
    ground_prepare(*s.doc);
    const std::vector<ray> rays = sky_rays(s);
    int64_t hits = 0;
    for (auto _ : state)
    {
        for (const ray& start : rays)
        {
            ray r = start;
            hits += ground_test(*s.doc, r);
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * ray_count);
    state.counters["hits"] = double(hits) / double(state.iterations());
    end_ground();
}
BENCHMARK(test_ground);

} // namespace
