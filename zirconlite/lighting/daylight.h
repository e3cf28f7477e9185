/** @file
 *  Windows that let sky and sun into a room, and the sky as arrays of lights. */
#ifndef ZIRCONLITE_LIGHTING_DAYLIGHT_H
#define ZIRCONLITE_LIGHTING_DAYLIGHT_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct light light;
typedef struct sun_sky sun_sky;

/** Prepares a LIGHT_DAYLIGHT: its operations, then zr_lt_daylight_update. The host has filled `vertex_count`
 *  and `vertices` (a polygon, counter-clockwise as seen from the room; the first three span its bounding
 *  parallelogram), `position`, `axis_u`, `axis_v`, `normal` (unit, into the room), `length`, `height` (metres
 *  along the axes) and `area`. Neither argument may be NULL. On the host's thread. */
ZR_API void lt_daylight_create(light* source, const sun_sky* sky);

/** Brings a window's strength, colours and shaft of sunlight up to date with the results in `sky`. A
 * render does this for all windows of its document. Neither argument may be NULL. */
ZR_API void zr_lt_daylight_update(light* source, const sun_sky* sky);

/** Runs the integrator of the sky over functions whose integrals are known. Returns 1; 0 when one is off by
 *  more than a thousandth. */
ZR_API int32_t lt_daylight_test(void);

/** Puts a dome of `azimuth_count` x `altitude_count` distant lights with the brightness of the sky in front
 * of the document's lights; they cast no shadows. Runs zr_set_sun_and_sky. The document owns them. Returns 1;
 * 0 for counts below 1 or more than 100000 lights, or when memory fails, with no light added. */
ZR_API int32_t zr_set_sky_array(document* doc, int32_t azimuth_count, int32_t altitude_count);

/** Puts 144 LIGHT_SKY_PATCH lights, six rows from 15 degrees off the zenith to the horizon, in front of
 * `head`; the list owns them. Returns 144; 0 when memory fails, with no light added. */
ZR_API int32_t lt_sky_create(light** head, const sun_sky* sky);

ZR_EXTERN_C_END

#endif
