/// @file
/// Light kept in the scene: what falls on diffuse surfaces, direct and by way of others, in the cells of a
/// hash grid by place and direction of the normal. Paths of a picture end at their second diffuse surface and
/// read it there. After Keller, Dahm and Binder, "Path space filtering" (2014), and Binder, Fricke and
/// Keller, "Fast path space filtering by jittered spatial hashing" (2018).
///
/// Cells grow with the distance from the eye that the cache was made for, by powers of two, and are divided
/// where other surfaces are near, so that light does not leak past an edge. The order of the deposits alone
/// decides what a cache holds.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "zirconlite/sampling/cell_table.hpp"
#include "zirconlite/sampling/light_guide.hpp"
#include "zirconlite/types.h"

namespace zr
{

/// A cell. Its light is that which a white diffuse surface would send on: irradiance / pi, cd/m2. Pilot
/// samples say how many more it needs, and are then forgotten: were they kept, cells that happen to be dark
/// and even at first would stop early, and the light of all be too little.
struct cache_cell
{
    cell_key key;
    float sum[3];      ///< of the samples' light
    float squares;     ///< of the pilot samples' luminances
    float nearness;    ///< sum of the reciprocal distances to what the samples saw, 1 / model unit
    uint32_t count;    ///< samples
    uint32_t needed;   ///< samples that make its error small; 0 while the pilot samples are taken
    uint16_t division; ///< how often the cells here have been halved
    uint16_t is_split; ///< its halves have taken over
};

} // namespace zr

/// The grids of light and of where it comes from.
typedef struct document document;
struct light_cache
{
    vector3 eye; ///< cells grow from here
    int32_t min_level, max_level;
    uint64_t scene; ///< fingerprint of the scene that the light belongs to
    bool is_kept;   ///< read from a file: renders of the scene read it and add nothing
    zr::cell_table<zr::cache_cell> cells;
    zr::cell_table<zr::guide_cell> guides; ///< larger cells, and never divided
};

namespace zr
{

/// One sample for a cell.
struct cache_deposit
{
    cell_key key;
    int32_t division;
    float light[3];
    float nearness;
};

/// What is known of the light at a point.
struct cache_reading
{
    const cache_cell* cell; ///< null: none
    cell_key key;           ///< where a sample of the point belongs
    int32_t division;
    double size; ///< of the cell, model units
};

inline constexpr uint32_t max_cache_cells = 1u << 20; ///< 48 bytes each, and 8 to 16 of slots
inline constexpr uint32_t readable_samples = 16;      ///< a cell with fewer is not read

/// Null when memory fails. free_light_cache takes null.
light_cache* new_light_cache();
void free_light_cache(light_cache* cache);

/// What tells scenes apart as far as their light goes: extents of objects, lights, sky and plain materials.
uint64_t scene_fingerprint(const document& doc);

/// An empty grid round an eye, for a scene of an extent.
void start_light_cache(light_cache& cache, const vector3& eye, double extent, uint64_t scene);

/// The cell of a point on a surface that faces `normal` (unit). False far outside of the scene, where
/// the grid ends. Reads only.
bool find_cell(const light_cache& cache, const vector3& point, const vector3& normal, cache_reading& out);

/// Where the guide of such a point belongs. False where the grid ends.
bool find_guide_key(const light_cache& cache, const vector3& point, const vector3& normal, cell_key& key);

/// The guide of such a point, or null where light has no known direction. Reads only.
const guide_cell* find_guide(const light_cache& cache, const vector3& point, const vector3& normal);

/// Adds samples in their order. Beyond `max_cache_cells` new places get no cell. False when memory fails.
bool add_deposits(light_cache& cache, const cache_deposit* deposits, size_t count);

/// Takes a cell or a guide that was kept in a file. False when memory fails, or the place is taken.
bool put_back_cell(light_cache& cache, const cache_cell& cell);

bool put_back_guide(light_cache& cache, const guide_cell& guide);

/// Whether a cell may be read, and whether its own error is small enough to take no more samples.
inline bool is_readable(const cache_cell* c) { return c && c->needed > 0 && c->count >= readable_samples; }
inline bool is_settled(const cache_cell* c) { return c && c->needed > 0 && c->count >= c->needed; }

/// Mean light of a cell with samples.
inline void light_of_cell(const cache_cell& c, double light[3])
{
    for (int i = 0; i < 3; ++i) { light[i] = double(c.sum[i]) / c.count; }
}

} // namespace zr
