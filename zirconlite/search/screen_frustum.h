/** @file
 *  The screen frustum: first hits of primary rays by tiles of the picture. */
#ifndef ZIRCONLITE_SEARCH_SCREEN_FRUSTUM_H
#define ZIRCONLITE_SEARCH_SCREEN_FRUSTUM_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;

/** Whether primary rays may use a frustum, for the whole process; 1 at first. Not while a render runs.
 * Returns `flag`. */
ZR_API int32_t zr_use_screen_buffer(int32_t flag);

/** Demands a new build of the document's frustum, as zr_build_voxel_grid does. Returns 1; 0 for NULL. */
ZR_API int32_t zr_invalidate_screen_frustum(document* doc);

ZR_EXTERN_C_END

#endif
