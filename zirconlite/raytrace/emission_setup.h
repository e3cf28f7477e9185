/** @file
 *  The glow of light shapes, worked out from their lights before a render. */
#ifndef ZIRCONLITE_RAYTRACE_EMISSION_SETUP_H
#define ZIRCONLITE_RAYTRACE_EMISSION_SETUP_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct scene_object scene_object;

/** Gives each property of kinds 1, 7 and 8 in the list the colour that its light makes it glow with. Called
 *  at job start. Returns 1. */
ZR_API int32_t zr_set_source_initial_luminance(scene_object* objects);

ZR_EXTERN_C_END

#endif
