// What finding a hit costs, per ray, by scene, kind of ray and threads. Where the Embree library is installed
// the same rays go through it as well.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>

#include "bench/scenes.hpp"
#ifdef ZIRCONLITE_HAS_EMBREE
#include "bench/embree_scene.hpp"
#endif

namespace
{

using namespace bench;

constexpr int picture_side = 384;

struct scene_maker
{
    const char* name;
    triangle_scene (*make)();
};
const scene_maker scene_makers[] = {
    { "blob_10k", [] { return blob_scene(10000); } },
    { "blob_70k", [] { return blob_scene(70000); } },
    { "blob_100k", [] { return blob_scene(100000); } },
    { "blob_1m", [] { return blob_scene(1000000); } },
    { "blob_7m", [] { return blob_scene(7000000); } },
    { "atrium", atrium_scene },
    { "landscape", landscape_scene },
    { "foliage", foliage_scene },
};

/// One scene at a time is kept: the large ones would not fit side by side.
struct loaded_scene
{
    int number = -1;
    int32_t structure = -1;
    triangle_scene scene;
    document* doc = nullptr;
#ifdef ZIRCONLITE_HAS_EMBREE
    std::unique_ptr<embree_scene> embree;
#endif
};

loaded_scene& load(int number, int32_t structure)
{
    static loaded_scene loaded;
    if (loaded.number == number && loaded.structure == structure) { return loaded; }
    if (loaded.doc) { zr_close_document(loaded.doc); }
    loaded.scene = scene_makers[number].make();
    loaded.doc = open_scene(loaded.scene, structure);
    loaded.number = number;
    loaded.structure = structure;
#ifdef ZIRCONLITE_HAS_EMBREE
    loaded.embree = std::make_unique<embree_scene>(loaded.scene);
#endif
    return loaded;
}

bool stop_at_any(void*, ray&) { return true; }

/// Hits of the rays; what is added up cannot be optimised away.
size_t trace_all(const document& d, const std::vector<ray_start>& rays, bool shadows, int threads)
{
    std::vector<size_t> hits(static_cast<size_t>(threads));
    in_parallel(rays.size(), threads,
        [&](size_t first, size_t last, int t)
        {
            size_t count = 0;
            ray r = {};
            for (size_t i = first; i < last; ++i)
            {
                start_ray(r, rays[i]);
                count += shadows ? zr::visit_hits(d, r, stop_at_any, nullptr) : zr::locate_nearest_hit(d, r);
            }
            hits[size_t(t)] += count;
        });
    size_t sum = 0;
    for (const size_t h : hits) { sum += h; }
    return sum;
}

void report(benchmark::State& state, const loaded_scene& s, size_t rays, size_t hits)
{
    state.counters["Mrays/s"] =
        benchmark::Counter(double(rays) * state.iterations() * 1e-6, benchmark::Counter::kIsRate);
    state.counters["hit_share"] = double(hits) / double(rays);
    state.counters["triangles"] = double(s.scene.triangles());
}

void trace(benchmark::State& state, int32_t structure)
{
    loaded_scene& s = load(int(state.range(0)), structure);
    const auto kind = static_cast<ray_set>(state.range(1));
    const std::vector<ray_start> rays = make_rays(*s.doc, s.scene, kind, picture_side);
    size_t hits = 0;
    for (auto _ : state)
    {
        hits = trace_all(*s.doc, rays, kind == shadow_rays, int(state.range(2)));
        benchmark::DoNotOptimize(hits);
    }
    report(state, s, rays.size(), hits);
    state.SetLabel(std::string(scene_makers[state.range(0)].name) + " " + ray_set_names[kind]);
}

#ifdef ZIRCONLITE_HAS_EMBREE
void trace_embree(benchmark::State& state)
{
    loaded_scene& s = load(int(state.range(0)), SEARCH_TREE);
    const auto kind = static_cast<ray_set>(state.range(1));
    const bool exact = state.range(3) != 0;
    const std::vector<ray_start> rays = make_rays(*s.doc, s.scene, kind, picture_side);
    size_t hits = 0;
    for (auto _ : state)
    {
        hits = s.embree->trace_all(rays, kind == shadow_rays, int(state.range(2)), exact);
        benchmark::DoNotOptimize(hits);
    }
    report(state, s, rays.size(), hits);
    state.SetLabel(std::string(scene_makers[state.range(0)].name) + " " + ray_set_names[kind] +
                   (exact ? " embree f64 callback" : " embree f32"));
}
#endif

void build(benchmark::State& state, int32_t structure)
{
    const triangle_scene scene = scene_makers[state.range(0)].make();
    document* d = open_scene(scene, structure);
    for (auto _ : state) { zr_build_voxel_grid(d); }
    int32_t counts[12];
    zr_voxel_grid_stats(d->voxel_grid, counts);
    const double triangles = double(scene.triangles());
    const double mesh =
        double(zr_mem_get_alloc(d->scene_objects.memory)) + double(d->object_table_capacity) * sizeof(void*);
    state.counters["Mobjects/s"] =
        benchmark::Counter(triangles * state.iterations() * 1e-6, benchmark::Counter::kIsRate);
    state.counters["search_bytes"] = counts[11] / triangles;
    state.counters["mesh_bytes"] = mesh / triangles;
    state.counters["all_bytes"] = (mesh + counts[11]) / triangles;
    state.SetLabel(scene_makers[state.range(0)].name);
    zr_close_document(d);
}

void every_scene_and_kind(benchmark::internal::Benchmark* b, bool embree)
{
    for (int scene = 0; scene < int(std::size(scene_makers)); ++scene)
    {
        if (scene == 4) { continue; } // 7 million triangles: by --benchmark_filter=huge
        for (int kind = 0; kind < 4; ++kind)
        {
            for (const int threads : { 1, 2 })
            {
                if (!embree) { b->Args({ scene, kind, threads }); }
                else if (threads == 1)
                {
                    b->Args({ scene, kind, threads, 0 });
                    b->Args({ scene, kind, threads, 1 });
                }
            }
        }
    }
}

} // namespace

BENCHMARK_CAPTURE(build, tree, SEARCH_TREE)
    ->DenseRange(0, 3)
    ->Arg(5)
    ->Arg(6)
    ->Arg(7)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(build, grid, SEARCH_GRID)
    ->DenseRange(0, 3)
    ->Arg(5)
    ->Arg(6)
    ->Arg(7)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(trace, tree, SEARCH_TREE)
    ->Apply([](benchmark::internal::Benchmark* b) { every_scene_and_kind(b, false); })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(trace, grid, SEARCH_GRID)
    ->Apply([](benchmark::internal::Benchmark* b) { every_scene_and_kind(b, false); })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(trace, tree_huge, SEARCH_TREE)
    ->ArgsProduct({ { 4 }, { 0, 1, 2, 3 }, { 1 } })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
#ifdef ZIRCONLITE_HAS_EMBREE
BENCHMARK(trace_embree)
    ->Apply([](benchmark::internal::Benchmark* b) { every_scene_and_kind(b, true); })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(trace_embree)
    ->Name("huge_embree")
    ->ArgsProduct({ { 4 }, { 0, 1, 2, 3 }, { 1 }, { 0, 1 } })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
#endif
