/// @file
/// What libraries cost against their count of siblings: a seek in a file just opened, inserting in order and
/// in any order, packing.
#include <benchmark/benchmark.h>

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/libraries/material_library.h"

namespace
{

/// A library of simple materials side by side, removed at the end.
struct bench_library
{
    explicit bench_library(int64_t count, bool shuffled = false)
    {
        std::string name = (std::filesystem::temp_directory_path() / "zirconlite-bench-XXXXXX").string();
        folder = mkdtemp(name.data());
        path = (folder / "bench.mlib").u16string();
        for (int64_t i = 0; i < count; ++i)
        {
            const std::string digits = std::to_string(100000 + i);
            keys.push_back(u"Stones\\Polished " + std::u16string(digits.begin(), digits.end()));
        }
        if (shuffled) { std::shuffle(keys.begin(), keys.end(), std::mt19937(7)); }
    }
    ~bench_library()
    {
        free_material(record);
        std::filesystem::remove_all(folder);
    }
    zr_handle fill()
    {
        zr_handle file = zr_matfile_open(
            path.c_str(), LIBRARY_READ | LIBRARY_WRITE, LIBRARY_SHARE_NOTHING, LIBRARY_CREATE_OR_EMPTY);
        for (const std::u16string& key : keys)
        {
            if (!zr_matfile_add_record(file, key.c_str(), record)) { abort(); }
        }
        return file;
    }
    zr_handle open()
    {
        return zr_libfile_open(path.c_str(), LIBRARY_READ, LIBRARY_SHARE_READ, LIBRARY_OPEN_EXISTING);
    }

    std::filesystem::path folder;
    std::u16string path;
    std::vector<std::u16string> keys;
    material* record = new_simple_material();
};

void library_seek(benchmark::State& state)
{
    bench_library bench(state.range(0));
    zr_libfile_close(bench.fill());
    uint64_t reads = 0;
    for (auto _ : state)
    {
        zr_handle file = bench.open();
        if (!zr_file_seek(file, bench.keys.back().c_str())) { abort(); } // the last of all
        reads += zr::library_of(file)->read_count;
        zr_libfile_close(file);
    }
    state.counters["reads per seek"] = double(reads) / double(state.iterations());
    state.counters["bytes"] = double(std::filesystem::file_size(bench.folder / "bench.mlib"));
}

void library_insert(benchmark::State& state)
{
    bench_library bench(state.range(0), state.range(1) != 0);
    for (auto _ : state) { zr_libfile_close(bench.fill()); }
    state.counters["records per second"] =
        benchmark::Counter(double(state.range(0) * state.iterations()), benchmark::Counter::kIsRate);
}

void library_pack(benchmark::State& state)
{
    bench_library bench(state.range(0), true);
    zr_libfile_close(bench.fill());
    for (auto _ : state)
    {
        if (!zr_pack_library(bench.path.c_str())) { abort(); }
    }
    state.counters["records per second"] =
        benchmark::Counter(double(state.range(0) * state.iterations()), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(library_seek)->RangeMultiplier(10)->Range(100, 10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(library_insert)
    ->ArgsProduct({ { 100, 1000, 10000 }, { 0, 1 } })
    ->ArgNames({ "count", "shuffled" })
    ->Unit(benchmark::kMillisecond);
BENCHMARK(library_pack)->RangeMultiplier(10)->Range(100, 10000)->Unit(benchmark::kMillisecond);
