/** @file
 *  The settings of an environment as dialogs and settings files hold them: a working copy of what a document
 * has, filled from it and stored back into it. One per process: on the host's thread, while nothing renders.
 */
#ifndef ZIRCONLITE_ENVIRONMENT_ENVIRONMENT_SETTINGS_H
#define ZIRCONLITE_ENVIRONMENT_ENVIRONMENT_SETTINGS_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;

/** Values of `environment_picture_settings.image_tile_mode`; any other value but 0 reads as tiled. */
enum
{
    TILE_MODE_NONE = 0,
    TILE_MODE_TILED = 1,   /**< BACKGROUND_TILE */
    TILE_MODE_MIRRORED = 2 /**< BACKGROUND_TILE and BACKGROUND_MIRROR */
};

/** The general block. Fields mean what those of the same name mean in `environment` and `document`. */
typedef struct environment_settings
{
    uint32_t environment_flags; /**< ENVIRONMENT_* bits */
    /** @{ */
    /** As in `environment` or `document`. */
    int32_t mode;
    float color0[3], color1[3], color2[3];
    double angle0, angle1, angle2;
    int32_t fog_type;
    float fog_color[3];
    double fog_distance;
    float fog_strength;
    double ground_height;
    /** @} */
    char16_t *ground_material_name, *ground_material_library; /**< from zr_malloc; NULL none */
    /** @{ */
    /** As in `environment`. */
    uint32_t cloud_flags;
    float cu_color[3], ci_color[3];
    float ci_density, ci_transparency, ci_horizon;
    int32_t cu_number;
    float cu_scale[3], ci_scale[3];
    float cu_scale_v;
    float cloud_rotation;
    int32_t cloud_seed;
    float cloud_offset[3];
    /** @} */
} environment_settings;

/** The block of the background picture. */
typedef struct environment_picture_settings
{
    /** @{ */
    /** As in `environment`. */
    char16_t image_filename[260];
    int32_t image_projection;
    /** @} */
    int32_t image_tile_mode; /**< a TILE_MODE_* */
    int32_t image_fit;       /**< not 0: BACKGROUND_FIT */
    /** @{ */
    /** As in `environment`. */
    float image_opacity;
    float image_planar_scale[2], image_planar_offset[2];
    float image_spherical_angles[4], image_cylindrical_angles[4];
    int32_t mask_type, mask_flags;
    float mask_color[3];
    float mask_range, mask_blur;
    /** @} */
} environment_picture_settings;

/** @{ */
/** Copy a document's `environment`, or its `reflected_environment`, with the flags, haze and ground of the
 * document into the working copy. 1; 0 for NULL and when memory fails. */
ZR_API int32_t get_environment_info(const document* doc);
ZR_API int32_t get_reflected_environment_info(const document* doc);
/** @} */

/** @{ */
/** Copy the working copy back: with the flags, haze and ground for `environment`, with the flags alone for
 *  `reflected_environment`. 1; 0 for NULL and when memory fails. */
ZR_API int32_t store_environment_info(document* doc);
ZR_API int32_t store_reflected_environment_info(document* doc);
/** @} */

/** The general block of the working copy, and in `picture_out` that of the picture. */
ZR_API environment_settings* get_global_env_ptrs(environment_picture_settings** picture_out);

/** store_environment_info of a caller's two blocks; the working copy is as before. Its texts stay the
 * caller's. */
ZR_API int32_t zr_store_environment_info(
    const environment_settings* general, const environment_picture_settings* picture, document* doc);

ZR_EXTERN_C_END

#endif
