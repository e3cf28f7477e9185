#include "zirconlite/sampling/light_cache.hpp"

#include <algorithm>
#include <cmath>
#include <new>

#include "zirconlite/geometry/vector.hpp"

namespace zr
{

namespace
{

constexpr double size_by_distance = 0.035; ///< side of a cell over its distance from the eye, at least
constexpr double size_by_extent = 1.0 / 32.0;
constexpr double above_surface = 0.2; ///< of a cell's side
constexpr int32_t max_division = 3;
constexpr double near_cells =
    0.7; ///< sides of a cell over the mean distance to other surfaces that divide it
constexpr uint32_t pilot_samples = 16, settled_samples = 32, max_samples = 256;
constexpr double settled_error = 0.1; ///< of a cell's mean, one standard deviation
constexpr int32_t guide_levels = 2;   ///< by which cells of guides are larger
constexpr int facing_side = 3;        ///< parts along each edge of the cube of directions

int32_t level_at(double size)
{
    int exponent;
    std::frexp(size, &exponent);
    return exponent;
}

/// Parts of the cube of directions: the axes lie in the middle of theirs.
int16_t facing_of(const vector3& n)
{
    const double c[3] = { n.x, n.y, n.z };
    int axis = std::fabs(c[1]) > std::fabs(c[0]) ? 1 : 0;
    if (std::fabs(c[2]) > std::fabs(c[axis])) { axis = 2; }
    const double along = std::fmax(std::fabs(c[axis]), 1e-9);
    const auto part = [&](double v)
    { return std::clamp(int((v / along * 0.5 + 0.5) * facing_side), 0, facing_side - 1); };
    const int u = part(c[(axis + 1) % 3]), v = part(c[(axis + 2) % 3]);
    return int16_t((2 * axis + (c[axis] < 0.0)) * facing_side * facing_side + u * facing_side + v);
}

/// False where the grid ends.
bool set_place(const vector3& point, int32_t level, cell_key& key)
{
    constexpr double limit = 2147483000.0;
    const double c[3] = { point.x, point.y, point.z };
    for (int i = 0; i < 3; ++i)
    {
        const double cell = std::floor(std::ldexp(c[i], -level));
        if (!(std::fabs(cell) < limit)) { return false; }
        key.at[i] = int32_t(cell);
    }
    key.level = int16_t(level);
    return true;
}

int32_t level_of(const light_cache& cache, const vector3& point)
{
    const double wanted = length(point - cache.eye) * size_by_distance;
    return std::clamp(level_at(wanted), cache.min_level, cache.max_level);
}

/// Pilot samples are complete: what the cell needs, and whether others are so near that it is divided.
void end_pilot(cache_cell& cell)
{
    double light[3];
    light_of_cell(cell, light);
    const double mean = luminance(light), variance = cell.squares / double(cell.count) - mean * mean;
    const double wanted =
        mean > 0.0 ? variance / ((settled_error * mean) * (settled_error * mean)) : max_samples;
    cell.needed = uint32_t(std::clamp(wanted, double(settled_samples), double(max_samples)));
    cell.is_split = cell.division < max_division &&
                    cell.nearness / float(cell.count) * std::ldexp(1.0, cell.key.level) > near_cells;
    std::fill_n(cell.sum, 3, 0.0f);
    cell.squares = cell.nearness = 0.0f;
    cell.count = 0;
}

void add_deposit(cache_cell& cell, const cache_deposit& d)
{
    const double y = luminance(d.light);
    for (int i = 0; i < 3; ++i) { cell.sum[i] += d.light[i]; }
    cell.squares += float(y * y);
    cell.nearness += d.nearness;
    ++cell.count;
    if (cell.needed == 0 && cell.count == pilot_samples) { end_pilot(cell); }
}

} // namespace

light_cache* new_light_cache()
{
    void* memory = zr_malloc(sizeof(light_cache));
    return memory ? new (memory) light_cache() : nullptr;
}

void free_light_cache(light_cache* cache)
{
    if (!cache) { return; }
    cache->~light_cache();
    zr_free(cache);
}

void start_light_cache(light_cache& cache, const vector3& eye, double extent, uint64_t scene)
{
    constexpr double smallest = 1e-7, default_extent = 1.0;
    cache.eye = eye;
    const double size = extent > 0.0 && std::isfinite(extent) ? extent : default_extent;
    cache.min_level = level_at(size * smallest);
    cache.max_level = level_at(size * size_by_extent);
    cache.scene = scene;
    cache.is_kept = false;
    cache.cells.clear();
    cache.guides.clear();
}

bool find_cell(const light_cache& cache, const vector3& point, const vector3& normal, cache_reading& out)
{
    const int32_t level = level_of(cache, point);
    out.key.facing = facing_of(normal);
    out.division = 0;
    for (;;)
    {
        out.size = std::ldexp(1.0, level - out.division);
        // A surface that lies between two layers of cells belongs to the one that it faces.
        if (!set_place(point + (above_surface * out.size) * normal, level - out.division, out.key))
        {
            return false;
        }
        out.cell = cache.cells.find(out.key);
        if (!out.cell || !out.cell->is_split || out.division >= max_division) { return true; }
        ++out.division;
    }
}

bool find_guide_key(const light_cache& cache, const vector3& point, const vector3& normal, cell_key& key)
{
    const int32_t level = level_of(cache, point) + guide_levels;
    key.facing = facing_of(normal);
    return set_place(point + std::ldexp(above_surface, level) * normal, level, key);
}

const guide_cell* find_guide(const light_cache& cache, const vector3& point, const vector3& normal)
{
    cell_key key;
    if (!find_guide_key(cache, point, normal, key)) { return nullptr; }
    const guide_cell* guide = cache.guides.find(key);
    return guide && guide->known > 0 ? guide : nullptr;
}

bool add_deposits(light_cache& cache, const cache_deposit* deposits, size_t count)
{
    bool failed = false;
    for (size_t i = 0; i < count && !failed; ++i)
    {
        const float* light = deposits[i].light;
        if (!std::isfinite(light[0] + light[1] + light[2])) { continue; }
        cache_cell* cell = cache.cells.make(deposits[i].key, max_cache_cells, failed);
        if (!cell) { continue; }
        if (cell->count == 0) { cell->division = uint16_t(deposits[i].division); }
        add_deposit(*cell, deposits[i]);
    }
    return !failed;
}

bool put_back_cell(light_cache& cache, const cache_cell& cell)
{
    bool failed = false;
    cache_cell* made = cache.cells.make(cell.key, max_cache_cells, failed);
    if (!made || made->count > 0 || made->needed > 0) { return false; }
    *made = cell;
    return true;
}

bool put_back_guide(light_cache& cache, const guide_cell& guide)
{
    bool failed = false;
    guide_cell* made = cache.guides.make(guide.key, max_guides, failed);
    if (!made || made->known > 0) { return false; }
    *made = guide;
    return true;
}

} // namespace zr
