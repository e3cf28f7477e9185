/// @file
/// A bounding volume hierarchy over all objects of a document: wide nodes with f32 boxes, and leaves that
/// hold the coefficients of triangles in blocks of four, or the numbers of objects of other kinds.
///
/// Built by binned surface-area splits: Wald, "On fast construction of SAH-based bounding volume hierarchies"
/// (2007). Boxes are grown by the error of hits and rounded outward, and tested with a margin for f32 rays
/// after Ize, "Robust BVH ray traversal" (2013); what a ray hits is decided in f64 by the object's own test.
#pragma once

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/search/ray_search.hpp"

namespace zr
{

inline constexpr int tree_width = 8;
inline constexpr int block_width = 4;

/// A reference to a child: the two top bits say what it is, the rest is a number in the array of that kind.
enum tree_reference : uint32_t
{
    reference_none = 0xffffffffu,
    reference_node = 0u << 30,
    reference_block = 1u << 30,   ///< a triangle_block
    reference_objects = 2u << 30, ///< an object_run
    reference_kind = 3u << 30,
    reference_number = ~reference_kind
};

/// Eight children in four cache lines. Lanes without a child have an inverted box, which nothing hits.
struct alignas(64) tree_node
{
    float bounds[2][3][tree_width]; ///< low and high planes by axis
    uint32_t children[tree_width];  ///< tree_reference
};

/// Four triangles, lane by lane, in four cache lines. Lanes without one have a zero normal, which nothing
/// hits.
struct alignas(64) triangle_block
{
    float normal[3][block_width];
    float plane_d[block_width];
    float edge_a[2][block_width], edge_b[2][block_width];
    float vertex_1[2][block_width], vertex_2[2][block_width];
    int32_t first_is_y[block_width];  ///< all bits set where the first projection axis is y, else x
    int32_t second_is_z[block_width]; ///< all bits set where the second is z, else y
    uint32_t numbers[block_width];    ///< of the objects
};

/// Up to four objects that are tested through their table.
struct object_run
{
    uint32_t numbers[block_width]; ///< 0 where there is none
};

struct search_tree
{
    uint32_t root;          ///< tree_reference; reference_none without objects
    int32_t depth;          ///< nodes on the longest path down
    tree_node* nodes;       ///< at cache lines inside `store`
    triangle_block* blocks; ///< at cache lines inside `store`
    object_run* runs;       ///< inside `store`
    size_t node_count, block_count, run_count;
    void* store; ///< one block from zr_malloc
};

/// Bytes that the tree holds.
size_t tree_bytes(const search_tree& tree);

/// How far a build has come, and whether it may go on.
struct build_monitor
{
    bool (*goes_on)(void* context, double fraction); ///< called on the building thread only
    void* context;
};

enum class build_result
{
    done,
    stopped,
    out_of_memory
};

/// The objects of a build: the document's two lists, and its table, in which each of them has its number.
struct listed_objects
{
    scene_object* const* table;
    scene_object* lists[2]; ///< heads; newest first
    size_t count;           ///< in both lists
};

/// Builds the tree over the listed objects, on `threads` threads; their number does not change the result.
build_result build_tree(
    search_tree& tree, const listed_objects& objects, int threads, const build_monitor& monitor);

void clear_tree(search_tree& tree);

} // namespace zr
