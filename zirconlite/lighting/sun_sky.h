/** @file
 *  `sun_sky`: the place, date, time and weather of a document, and the sun and sky that follow from them. */
#ifndef ZIRCONLITE_LIGHTING_SUN_SKY_H
#define ZIRCONLITE_LIGHTING_SUN_SKY_H

#include "zirconlite/frame/types.h"

ZR_EXTERN_C_BEGIN

typedef struct light light;

/** Bits of `sun_sky.flags`. */
enum
{
    SUN_BY_ANGLES = 0x1, /**< placed by `direct_azimuth` and `direct_altitude` */
    SUN_RGB_COLORS = 0x2 /**< colours are `direct_sun_rgb` and `direct_sky_rgb` */
};

/** One per document, made when it opens. All zero but what is said here: no sun, no sky. */
typedef struct sun_sky
{
    uint32_t flags; /**< SUN_* bits */
    float sun_intensity, sky_intensity;
    char16_t place[258];
    double time_zone;           /**< hours */
    double latitude, longitude; /**< degrees */
    int32_t day_of_year;        /**< 0 is 1 January */
    int32_t local_minutes;      /**< after midnight */
    int32_t daylight_saving;
    float sun_ct0, sun_ct1, sky_ct0, sky_ct1, cloudy_ct; /**< kelvin */
    double cloudiness;          /**< 0 clear to 1 overcast */
    double sun_size;            /**< half-width of the disc on a plane 5 metres along the ray; 0 sharp */
    int32_t sun_samples;        /**< 1 */
    float sun_jitter;           /**< 0.05 */
    double sun_strength;        /**< result: lux on a plane square to the sun */
    double sky_strength;        /**< result */
    vector3 sun_direction;      /**< result: unit vector of travel */
    double north;               /**< rotation of north in the model, radians */
    double altitude, azimuth;   /**< result, radians */
    float sun_color[3], sky_color[3]; /**< results */
    vector3 sky_axis;                 /**< result */
    float direct_azimuth, direct_altitude; /**< radians */
    float direct_sky_rgb[3], direct_sun_rgb[3];
    float sun_energy[3];
    light* sky_light; /**< owned */
} sun_sky;

/** Direction of travel of the light of a sun at `azimuth` (from north, positive toward the east before
 *  noon's side, as the sign of the formula tells) and `altitude`, with north turned by `north`; radians.
 *  z = -sin(altitude), x = -sin(azimuth + north) r, y = -cos(azimuth + north) r. Returns 1. */
ZR_API int32_t zr_sun_angles_to_vector(
    double azimuth, double altitude, double north, vector3* vector_out);

ZR_EXTERN_C_END

#endif
