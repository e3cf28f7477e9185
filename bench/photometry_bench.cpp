// What photometric tables cost: look-ups of a direction by symmetry and size, files parsed into tables,
// records of a light library.
#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

#include "zirconlite/libraries/light_records.hpp"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/ies_file.hpp"

namespace
{

using namespace zr;

/// The last horizontal angle, by the symmetry that it makes.
constexpr double last_azimuths[] = { 360.0, 0.0, 90.0, 180.0 };

/// An LM-63 file of even or growing steps.
std::string ies_text(int symmetry, int vertical, int horizontal, bool is_even)
{
    std::string text = "IESNA:LM-63-2002\n[TEST] bench\nTILT=NONE\n1 1000 1 " + std::to_string(vertical) +
                       " " + std::to_string(horizontal) + " 1 2 0 0 0\n1 1 40\n";
    const auto angles = [&](int count, double last)
    {
        for (int i = 0; i < count; ++i)
        {
            const double t = count > 1 ? double(i) / (count - 1) : 0.0;
            text += std::to_string(last * (is_even ? t : t * (0.5 + 0.5 * t))) + " ";
        }
        text += "\n";
    };
    angles(vertical, 180.0);
    angles(horizontal, last_azimuths[symmetry]);
    for (int i = 0; i < horizontal; ++i)
    {
        for (int j = 0; j < vertical; ++j) { text += std::to_string(1000.0 / (1 + i % 7 + j)) + " "; }
        text += "\n";
    }
    return text;
}

struct parsed_table
{
    explicit parsed_table(const std::string& text)
    {
        ies_file file = {};
        if (zr::ok(parse_lm63(text, nullptr, file))) { zr_fill_goniometry(&file, &g); }
        free_ies_content(file);
    }
    ~parsed_table() { clear_goniometry(g); }
    parsed_table(const parsed_table&) = delete;
    parsed_table& operator=(const parsed_table&) = delete;
    goniometry g = {};
};

std::vector<vector3> directions()
{
    std::vector<vector3> all;
    for (int i = 0; i < 4096; ++i)
    {
        const double z = 1.0 - (2.0 * i + 1.0) / 4096, a = 2.39996323 * i, r = std::sqrt(1.0 - z * z);
        all.push_back({ r * std::cos(a), r * std::sin(a), z });
    }
    return all;
}

/// One direction through the frame of a light: symmetry, vertical and horizontal counts, even steps.
void look_up(benchmark::State& state)
{
    parsed_table table(
        ies_text(int(state.range(0)), int(state.range(1)), int(state.range(2)), state.range(3) != 0));
    if (!is_usable(table.g)) { return state.SkipWithError("no table"); }
    light l = {};
    l.normal = { 0, 0, -1 };
    l.axis_u = { 1, 0, 0 };
    l.axis_v = { 0, 1, 0 };
    l.goniometry = &table.g;
    const std::vector<vector3> all = directions();
    double sum = 0.0;
    for (auto _ : state)
    {
        for (const vector3& d : all) { sum += goniometric_factor(l, d); }
    }
    state.SetItemsProcessed(state.iterations() * int64_t(all.size()));
    state.counters["mean"] = sum / double(state.iterations()) / double(all.size());
}
BENCHMARK(look_up)
    ->Args({ GONIOMETRY_AXIAL, 37, 1, 1 })
    ->Args({ GONIOMETRY_QUADRANT, 37, 7, 1 })
    ->Args({ GONIOMETRY_FULL, 37, 37, 1 })
    ->Args({ GONIOMETRY_FULL, 37, 37, 0 })
    ->Args({ GONIOMETRY_FULL, 361, 361, 1 })
    ->Args({ GONIOMETRY_FULL, 361, 361, 0 });

/// A file in memory to a table that can be looked up: symmetry, vertical and horizontal counts.
void parse_file(benchmark::State& state)
{
    const std::string text = ies_text(int(state.range(0)), int(state.range(1)), int(state.range(2)), true);
    double lumens = 0.0;
    for (auto _ : state)
    {
        ies_file file = {};
        goniometry g = {};
        const status s =
            parse_photometric(reinterpret_cast<const uint8_t*>(text.data()), text.size(), nullptr, file);
        if (!zr::ok(s) || !zr_fill_goniometry(&file, &g)) { state.SkipWithError(s.text); }
        lumens += double(g.lumens);
        clear_goniometry(g);
        free_ies_content(file);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * int64_t(text.size()));
    state.counters["lumens"] = lumens / double(state.iterations());
}
BENCHMARK(parse_file)
    ->Args({ GONIOMETRY_AXIAL, 19, 1 })
    ->Args({ GONIOMETRY_QUADRANT, 37, 5 })
    ->Args({ GONIOMETRY_FULL, 37, 37 })
    ->Args({ GONIOMETRY_FULL, 361, 361 });

/// A record of a light library to a luminaire with its table, by the sides of the table.
void read_luminaire(benchmark::State& state)
{
    const int side = int(state.range(0));
    parsed_table table(ies_text(GONIOMETRY_FULL, side, side, true));
    library_file* lib = new_library();
    lib->writes = true;
    zr_file_write_dword(lib, 0);
    luminaire l = {};
    l.type = 'G';
    l.goniometry = &table.g;
    const uint32_t place = write_light_record(*lib, l);
    for (auto _ : state)
    {
        luminaire* read = read_light_record(*lib, place);
        if (!read) { state.SkipWithError("no luminaire"); }
        benchmark::DoNotOptimize(read);
        free_read_luminaire(read);
    }
    state.SetItemsProcessed(state.iterations());
    free_library(lib);
}
BENCHMARK(read_luminaire)->Arg(19)->Arg(73)->Arg(361);

} // namespace
