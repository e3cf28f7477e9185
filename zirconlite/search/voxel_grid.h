/** @file
 *  The acceleration structure over the scene: built once before a render, read by every ray. The two-level
 * voxel grid, after which they are named, or a tree in its place. */
#ifndef ZIRCONLITE_SEARCH_VOXEL_GRID_H
#define ZIRCONLITE_SEARCH_VOXEL_GRID_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct voxel_grid voxel_grid; /**< the grid or tree itself, the library's own */

/** A half space: a point is outside if (point - `point`) . `normal` is above 0. */
typedef struct clip_plane
{
    vector3 normal, point; /**< outward normal of the plane and a point on it */
    double d;              /**< `normal` . `point` */
} clip_plane;

/** The planes of one clipping. */
typedef struct clip_set
{
    int32_t count;            /**< number of `planes` */
    const clip_plane* planes; /**< read only during the call; the caller keeps them */
} clip_set;

/** Builds the acceleration structure (zr_set_search_structure) of the objects in the document's two lists, on
 * a thread of its own, and waits for it; a pump that the host has installed (zr_install_message_pump) serves
 * its messages meanwhile. Objects without a number get one. That thread reports `host_progress` codes 100,
 * 101 and 102; a 0 answer to 100 or 101, `preprocess_stop` or `stop_render` stops it, both words as set
 * during the build. Returns 1; 0 when stopped, when memory fails and while a render of the document runs,
 * with DOCUMENT_GRID_BUILT clear, but for the last. */
ZR_API int32_t zr_build_voxel_grid(document* doc);

/** Frees what the grid or tree holds; the records stay until the document is closed. Returns 1. */
ZR_API int32_t zr_free_voxel_grid(document* doc);

/** Sub-grids made by level, [10] the levels, [11] the bytes of cells and entries while the grid is built, 8
 * for each (at most 2^31 - 1); a finished grid holds half of that for its entries. Twelve zeros and 0 for a
 * null grid, else 1. Of a tree: [0] its nodes, [10] the nodes on the longest path down, [11] the bytes of
 * nodes and leaves. */
ZR_API int32_t zr_voxel_grid_stats(const voxel_grid* grid, int32_t counts[12]);

/** Sutherland-Hodgman clipping of a polygon against each plane in turn. `polygon` and `scratch` each have
 *  room for `vertex_count` + planes + 1 vertices; both are overwritten. Returns the vertices left (at least
 *  3) with `result_out` naming the buffer that holds them, or 0.
 *
 *  I. E. Sutherland, G. W. Hodgman, "Reentrant Polygon Clipping", Communications of the ACM 17, 1974. */
ZR_API int32_t zr_sh_clip_arbitrary(
    const clip_set* set, int32_t vertex_count, vector3* polygon, vector3* scratch, vector3** result_out);

ZR_EXTERN_C_END

#endif
