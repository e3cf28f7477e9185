/** @file
 *  `sun_sky`: the place, date, time and weather of a document, and the sun and sky that follow from them. */
#ifndef ZIRCONLITE_LIGHTING_SUN_SKY_H
#define ZIRCONLITE_LIGHTING_SUN_SKY_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct light light;

/** Bits of `sun_sky.flags`; the others belong to the host's dialogs. */
enum
{
    SUN_BY_ANGLES = 0x1, /**< placed by `direct_azimuth` and `direct_altitude` */
    SUN_RGB_COLORS = 0x2 /**< colours are `direct_sun_rgb` and `direct_sky_rgb` */
};

/** One per document, made when it opens, with the values that are named here and else zero. What the host
 * fills is clamped to its range by zr_set_sun_and_sky. */
typedef struct sun_sky
{
    uint32_t flags;                     /**< SUN_* bits */
    float sun_intensity, sky_intensity; /**< factors, 1 */
    char16_t place[258];                /**< name of the place */
    double time_zone;                   /**< hours */
    double latitude, longitude;         /**< degrees */
    int32_t day_of_year;                /**< 0 is 1 January; 171 */
    int32_t local_minutes;              /**< after midnight; 720 */
    int32_t daylight_saving;            /**< not 0: the clock is an hour fast */
    float sun_ct0, sun_ct1;             /**< colour of the sun by day and at sunset, kelvin; 5000, 2500 */
    float sky_ct0, sky_ct1;             /**< of the sky; 10000, 7000 */
    float cloudy_ct;                    /**< of the overcast sky; 6500 */
    double cloudiness;                  /**< 0 clear to 1 overcast */
    double sun_size;       /**< half-width of the disc on a plane 5 metres along the ray, 0 to 2; 0 sharp */
    int32_t sun_samples;   /**< shadow rays a point, 1 */
    float sun_jitter;      /**< amplitude of the noise on the first, 0.05 */
    double sun_strength;   /**< result: lux on a plane square to the sun */
    double sky_strength;   /**< result: cd/m^2, scales zr_get_sky_ground_intensity */
    vector3 sun_direction; /**< result: unit vector of travel */
    double north;          /**< rotation of north in the model, radians */
    double altitude, azimuth;                   /**< result, radians */
    float sun_color[3], sky_color[3];           /**< results */
    vector3 sky_axis;                           /**< result */
    float direct_azimuth, direct_altitude;      /**< radians; 0, 45 degrees */
    float direct_sky_rgb[3], direct_sun_rgb[3]; /**< 1, 1, 1 */
    float sun_energy[3];                        /**< for a radiosity solver; not written without one */
    light* sky_light;                           /**< owned */
} sun_sky;

/** The record in which a host reads and sets place, time and weather. Angles in radians, zones in minutes. */
typedef struct sun_sky_data
{
    uint32_t sun_sky_flags; /**< of the document */
    uint32_t flags;         /**< SUN_* bits */
    double north;           /**< as in `sun_sky` */
    double reserved;        /**< 0 */
    /** @{ */
    /** As in `sun_sky`. */
    double cloudiness;
    float sun_size;
    int32_t sun_samples;
    float sun_jitter;
    char16_t place[130];
    /** @} */
    double latitude, longitude; /**< radians */
    int32_t time_zone;          /**< minutes */
    /** @{ */
    /** As in `sun_sky`. */
    int32_t daylight_saving;
    int32_t day_of_year;
    int32_t local_minutes;
    double direct_azimuth, direct_altitude;
    float sun_intensity, sky_intensity;
    float direct_sun_rgb[3], direct_sky_rgb[3];
    float sun_ct0, sun_ct1, sky_ct0, sky_ct1, cloudy_ct;
    /** @} */
} sun_sky_data;

/** Values of zr_set_sun_model. */
enum sun_model
{
    SUN_MODEL_TABLES = 0, /**< the system's own tables: declination within 1.4 degrees, equation of time
                             within 2.4 minutes */
    SUN_MODEL_ALMANAC =
        1 /**< a published algorithm: within 0.01 degrees from 1950 to 2050, without refraction */
};

/** Chooses the solar angles of the process; the year, 1583 to 9999, counts for the almanac only. Between
 * renders. SUN_MODEL_TABLES at the start. Returns 1; 0 for an unknown model. */
ZR_API int32_t zr_set_sun_model(int32_t model, int32_t year);
ZR_API int32_t zr_get_sun_model(int32_t* year_out); /**< `year_out` may be NULL */

/** Azimuth and altitude of the sun's centre, radians, by the process's sun model: azimuth from north,
 * positive toward morning, negative in the afternoon; at a pole by the meridian of `longitude`; 0 with the
 * sun at the zenith. Altitude without refraction. `day` counts from 0, 1 January, and is clamped to 0 to 365;
 * the tables end at 364, so a leap year's last day counts as the day before. Latitude (clamped to the poles)
 * and longitude in radians, east positive. `solar_minutes_out` is true solar time, noon 720. Returns 1.
 *
 *  The almanac follows Meeus, Astronomical Algorithms, 2nd edition, chapters 7, 12, 22, 25 and 40. */
ZR_API int32_t zr_solar_angles(double local_minutes, int32_t day, double time_zone_hours, double latitude,
    double longitude, double* azimuth_out, double* altitude_out, double* solar_minutes_out);

/** Works out all results of the document's `sun_sky` and prepares the process's sun for this document. On the
 *  host's thread, before a render. Returns 1. */
ZR_API int32_t zr_set_sun_and_sky(document* doc);

/** Relative luminance of the sky in a unit direction toward it; the caller multiplies by `sky_strength` and
 *  `sky_color`. 1; 0, with the result 0, if there is no sky. Any thread. */
ZR_API int32_t zr_get_sky_ground_intensity(const vector3* direction, const sun_sky* sky, double* result_out);

/** @{ */
/** Copies the settings out of, or into, a document. Storing also works out `sun_direction` from the direct
 * angles and takes those only with SUN_BY_ANGLES. Return 1. */
ZR_API int32_t zr_get_sunsky_data(sun_sky_data* data_out, const sun_sky* sky, const document* doc);
ZR_API int32_t zr_store_sunsky_data(const sun_sky_data* data, sun_sky* sky, document* doc);
/** @} */

/** Direction of travel of the light of a sun at `azimuth` (from north, positive toward the east) and
 *  `altitude`, with north turned by `north`; radians. z = -sin(altitude), x = -sin(azimuth + north) r,
 *  y = -cos(azimuth + north) r, with r = cos(altitude). Returns 1. */
ZR_API int32_t zr_sun_angles_to_vector(double azimuth, double altitude, double north, vector3* vector_out);

ZR_EXTERN_C_END

#endif
