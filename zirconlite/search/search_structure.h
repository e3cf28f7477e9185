/** @file
 *  Which structure finds the hits of rays: a tree of boxes or the voxel grid. Both give the same pictures. */
#ifndef ZIRCONLITE_SEARCH_SEARCH_STRUCTURE_H
#define ZIRCONLITE_SEARCH_SEARCH_STRUCTURE_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** Acceleration structures. */
enum search_structure
{
    SEARCH_GRID = 0, /**< the two-level voxel grid */
    SEARCH_TREE = 1  /**< a bounding volume hierarchy; the one in force at first */
};

/** Chooses, for the whole process, what zr_build_voxel_grid builds from then on. Grids and trees that are
 * built stay in use. An unknown structure changes nothing (see zr_last_error). Returns the one in force
 * before. */
ZR_API int32_t zr_set_search_structure(int32_t structure);

ZR_EXTERN_C_END

#endif
