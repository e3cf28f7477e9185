/** @file
 *  The bump functions of simple materials: how a normal tilts at a point. */
#ifndef ZIRCONLITE_MATERIALS_BUMPS_H
#define ZIRCONLITE_MATERIALS_BUMPS_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** Rough, in four octaves. `point` is already scaled, `normal` is unit in and out. */
ZR_API void zr_bump_rubble(const vector3* point, vector3* normal, double strength);
/** Fine grain, one octave. */
ZR_API void zr_bump_sandpaper(const vector3* point, vector3* normal, double strength);
/** Four-sided pyramids on the unit cells of the first two coordinates. */
ZR_API void zr_bump_pyramid(const vector3* point, vector3* normal, double strength);

ZR_EXTERN_C_END

#endif
