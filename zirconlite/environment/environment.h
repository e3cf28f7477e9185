/** @file
 *  What a ray that leaves the scene brings back: a flat colour, a gradient over altitude, the sky, pictures.
 *  A document has one record for all rays and one that reflected rays can see instead. */
#ifndef ZIRCONLITE_ENVIRONMENT_ENVIRONMENT_H
#define ZIRCONLITE_ENVIRONMENT_ENVIRONMENT_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct render_view render_view;

/** Values of `environment.mode`. */
enum environment_mode
{
    ENVIRONMENT_SKY = 0,
    ENVIRONMENT_FLAT = 1,
    ENVIRONMENT_GRADIENT_2 = 2,
    ENVIRONMENT_GRADIENT_3 = 3
};

/** Bits of `environment.image_flags`. */
enum
{
    BACKGROUND_FIT = 0x1,   /**< a planar picture fills the view */
    BACKGROUND_TILE = 0x2,  /**< repeated beyond its edges */
    BACKGROUND_MIRROR = 0x4 /**< every second tile is mirrored */
};

/** Bits of `environment.cloud_flags`. */
enum
{
    CLOUDS_CUMULUS = 0x1,       /**< ellipsoids in a box above the scene */
    CLOUDS_CIRRUS = 0x2,        /**< one flat layer */
    CLOUDS_CIRRUS_HORIZON = 0x4 /**< the cirrus also closes the band near and below the horizon */
};

/** One environment. All zero on opening: the sky, which is black while no sun takes part. Plain values: a
 * host may copy, save and restore the record; what renders derive from it is kept elsewhere. */
typedef struct environment
{
    int32_t mode;                          /**< an environment_mode */
    float color0[3], color1[3], color2[3]; /**< top, bottom, middle; linear, 0 to 1 */
    double angle0, angle1, angle2;         /**< altitudes of the stops top, middle, bottom, radians */
    uint32_t image_flags;                  /**< BACKGROUND_* bits */
    int32_t image_projection;              /**< 0 planar, 1 cylindrical, 2 spherical */
    char16_t image_filename[260];          /**< file of the background picture; empty none */
    float image_opacity;                   /**< 0 to 1 */
    int32_t mask_type, mask_flags; /**< key of the background picture: a mat_key_kind and KEY_* bits */
    float mask_color[3];           /**< key colour, linear, 0 to 1 */
    float mask_range, mask_blur;   /**< tolerance and feather of the key */
    float image_planar_scale[2], image_planar_offset[2]; /**< fractions of the view */
    float image_cylindrical_angles[4]; /**< top and bottom altitude, centre azimuth, azimuth span, radians */
    float image_spherical_angles[4];   /**< the same for the spherical projection */
    uint32_t cloud_flags;              /**< CLOUDS_* bits */
    int32_t cloud_seed;                /**< another seed gives other clouds */
    float cloud_rotation;              /**< radians about the vertical */
    float cloud_offset[3];             /**< fractions of the cloud box */
    float cu_color[3];                 /**< tint of the cumulus */
    float cu_scale[3];                 /**< size of the cumulus along x, y, z */
    float cu_scale_v;                  /**< variation of the size, 0 to 1 */
    int32_t cu_number;                 /**< count of ellipsoids */
    float ci_color[3];                 /**< tint of the cirrus */
    float ci_scale[3];                 /**< size of its pattern; x and y are used */
    /** @{ */
    /** amount of cirrus, its transparency, and its strength at the horizon, each 0 to 1 */
    float ci_density, ci_transparency, ci_horizon;
    /** @} */
    render_view* hdr_view; /**< a picture of the whole environment; NULL none */
    float hdr_rotation;    /**< radians about the vertical */
    float hdr_scale;       /**< factor on the radiance of the environment map */
    float hdr_opacity;     /**< what stays of the colour under it: 1 hides the picture, 0 shows it alone */
} environment;

ZR_EXTERN_C_END

#endif
