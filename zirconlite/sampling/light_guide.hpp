/// @file
/// Where the light of a place comes from: for parts of all directions, the luminance that paths have found
/// while they filled the light cache. Bounced rays follow it with half of their chances, and so find a patch
/// of sun on the floor or a lit garden beyond a window. After Jensen, "Importance driven path tracing using
/// the photon map" (1995), and Muller, Gross and Novak, "Practical path guiding for efficient light-transport
/// simulation" (2017).
#pragma once

#include "zirconlite/sampling/cell_table.hpp"
#include "zirconlite/types.h"

namespace zr
{

/// Parts of the directions: equal bands of height by equal turns, of one solid angle each.
inline constexpr int guide_rows = 16, guide_columns = 16, guide_parts = guide_rows * guide_columns;

struct guide_cell
{
    cell_key key;
    uint32_t count;             ///< samples
    uint32_t known;             ///< samples in `upto`; 0: no direction is better than another yet
    float light[guide_parts];   ///< sums of the samples' luminances, cd/m2
    uint16_t upto[guide_parts]; ///< share of the light of the parts up to this one, in 65535ths
};

/// One sample for a cell.
struct guide_deposit
{
    cell_key key;
    int32_t part; ///< below 0: none
    float light;
};

inline constexpr size_t max_guides = 1u << 14; ///< 1.6 kB each

inline constexpr uint16_t all_shares = 65535; ///< the last of a guide's `upto`

/// Share of bounced rays that follow a guide; the others spread by the cosine, so that none counts more than
/// twice what it would without one.
inline constexpr double guided_share = 0.5;

/// The part of a direction, unit.
int32_t guide_part_of(const vector3& direction);

/// A direction by the cell's light; `u` and `v` in [0, 1).
vector3 guided_direction(const guide_cell& guide, double u, double v);

/// Density with which guided_direction finds a direction; 1/sr.
double guided_density(const guide_cell& guide, const vector3& direction);

/// Adds samples in their order, and brings up to date what has learned enough since. False when memory fails.
bool add_guide_deposits(cell_table<guide_cell>& guides, const guide_deposit* deposits, size_t count);

} // namespace zr
