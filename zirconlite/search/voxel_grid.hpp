/// @file
/// Records of the voxel grid, and of the tree that may take its place. All cells, entries and nodes are
/// in one array each and name one another by 32-bit numbers.
#pragma once

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/search/search_structure.h"
#include "zirconlite/search/search_tree.hpp"
#include "zirconlite/search/voxel_grid.h"

namespace zr
{

inline constexpr int grid_levels = 2;
inline constexpr int32_t split_cell = -1; ///< `voxel_cell.count` of a cell that a sub-grid replaces

/// Constants of all grids of one level.
struct voxel_level
{
    int32_t index; ///< 0 or 1
    double cell_size[3];
    double inv_cell_size[3];
    int32_t min_index[3];  ///< 0
    int32_t max_index[3];  ///< resolution minus 1
    int32_t stride[3];     ///< cells between neighbours along x, y, z
    int32_t shift[3];      ///< log2 of `stride`
    int32_t subdivide_at;  ///< count at which a cell is split; 0 never
    double child_ratio[3]; ///< size of a cell of this level against one of the level above
};

struct voxel_cell
{
    uint32_t head; ///< number of the first entry, 0 none; of a node in a split cell. Once the build has ended
                   ///< of the first of the cell's object numbers
    int32_t
        count; ///< small objects entered so far, or split_cell. Once the build has ended the objects in all
};

/// An object in a cell while the grid is built.
struct voxel_entry
{
    uint32_t next;   ///< number of the next entry; 0 ends the list
    uint32_t object; ///< number of the object
};

} // namespace zr

struct voxel_node
{
    bounding_box bounds;
    uint32_t cells; ///< number of its first cell
    int32_t level;
    voxel_grid* grid;
};

/// What zr_build_voxel_grid built: a grid or a tree, the other's fields empty.
struct voxel_grid
{
    int32_t structure; ///< a search_structure
    zr::search_tree tree;
    uint32_t root; ///< number of the top grid's node
    int32_t level_count;
    int32_t subgrid_count[8]; ///< by level; [0] sub-grids of the second level
    zr::voxel_level levels[zr::grid_levels];
    uint64_t memory_bytes; ///< of cells and entries, as they come and go during the build
    struct document* document;

    zr::array<voxel_node> nodes;
    zr::array<zr::voxel_cell> cells;
    zr::array<zr::voxel_entry> entries; ///< while building; entry 0 is unused
    zr::array<uint32_t> object_numbers; ///< once built: those of each cell side by side, oldest first
    uint32_t spare;                     ///< head of the list of entries given back; 0 none
    int32_t reentering;                 ///< nonzero while the objects of a split cell are entered again
    int32_t out_of_memory;
};

namespace zr
{

/// find_nearest_hit and visit_hits of a grid; `objects` by number.
bool grid_nearest_hit(const voxel_grid& grid, scene_object* const* objects, ray& r);
bool grid_visit_hits(
    const voxel_grid& grid, scene_object* const* objects, ray& r, hit_visitor visit, void* context);

} // namespace zr
