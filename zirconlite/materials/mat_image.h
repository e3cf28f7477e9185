/** @file
 *  `mat_image`: one use of a picture on a material, with its placement and a list of what the picture does to
 * a surface. `mat_key` says what part of it counts as see-through, `mask_source` is the picture of a mask. */
#ifndef ZIRCONLITE_MATERIALS_MAT_IMAGE_H
#define ZIRCONLITE_MATERIALS_MAT_IMAGE_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct bitmap bitmap;

/** Bits of `mat_image.flags`. */
enum mat_image_flag
{
    IMAGE_MIRROR_TILES = 0x1,   /**< every second tile is flipped */
    IMAGE_ON_REFLECT = 0x2,     /**< acts on `reflect_color` */
    IMAGE_ON_TRANSPARENT = 0x4, /**< acts on `transparent_color` */
    IMAGE_ON_COLOR = 0x8,       /**< acts on `color` */
    IMAGE_BLUR_LITTLE = 0x10,
    IMAGE_BLUR_MORE = 0x20,
    IMAGE_BLUR_MOST = 0x40,
    IMAGE_ON_SHININESS = 0x80,  /**< its brightness acts as shininess */
    IMAGE_ON_CLEARNESS = 0x100, /**< its brightness acts as clearness */
    IMAGE_OF_NORMALS =
        0x200 /**< its bump is a picture of normals: red and green tilt along u and v, blue is up */
};

/** Values of `mat_key.kind`. */
enum mat_key_kind
{
    KEY_NONE = 0,
    KEY_COLOR = 1,
    KEY_ALPHA = 3
};

/** Bits of `mat_key.flags`. */
enum mat_key_flag
{
    KEY_INVERT = 0x1,
    KEY_CUTS_OUT = 0x2 /**< the value cuts the surface out */
};

/** What part of a picture counts as see-through. */
typedef struct mat_key
{
    int32_t kind;           /**< a mat_key_kind */
    uint32_t flags;         /**< KEY_* bits */
    float color[3];         /**< key colour, linear */
    float tolerance;        /**< 0 to 1 */
    float feather;          /**< 0 a hard edge */
    int32_t color_bytes[3]; /**< derived: truncate(`color` ^ (1 / 2.2) x 255 + 0.5) */
    int32_t tolerance_byte; /**< derived: truncate(`tolerance` x 255) */
} mat_key;

/** One use of a picture on a material. Owned by its material; read-only while rendering. */
typedef struct mat_image
{
    struct mat_image* next; /**< image list of the material */
    uint32_t flags;         /**< IMAGE_* bits */
    char16_t path[512];     /**< file of the picture */
    struct bitmap*
        bitmap;     /**< NULL: skipped when rendering. Owned by the list it was read into, else by this */
    mat_key* key;   /**< owned; never NULL after zr_new_mat_image */
    float strength; /**< how far the picture replaces what lies under it */
    float bump_strength; /**< 0 no bump. Above 0 the normal tilts towards the brighter side, as if bright were
                              low; IMAGE_OF_NORMALS: factor on red and green */
    double size[2];      /**< of one tile */
    double scale[2];     /**< 1 / `size` */
    double origin[3], axis[3];                  /**< origin and z axis of the picture's frame */
    float rotation;                             /**< radians */
    matrix4 transform;                          /**< zr_build_matrix(axis, origin, -rotation) */
    uintptr_t user_data;                        /**< for the owner of the record */
    void (*free_user)(struct mat_image* image); /**< called when the record is freed; may be NULL */
    void (*dupe_user)(struct mat_image* copy);  /**< called with a copy just made; may be NULL */
} mat_image;

/** The picture of a mask material. Copies of a material share it. */
typedef struct mask_source
{
    char16_t path[512]; /**< as found, else as stored */
    struct bitmap*
        bitmap;         /**< NULL: the first child is used everywhere. Owned by the list it was read into */
    int32_t references; /**< materials that point to it; freed with the last */
} mask_source;

/** A record with its defaults and a zeroed key; NULL when memory fails. */
ZR_API mat_image* zr_new_mat_image(void);
/** Frees the record with its key. Its bitmap goes too when `free_bitmap` or the uncached flag is set or it
 * was read for this record alone, unless a list holds it. NULL is fine. Returns 1. */
ZR_API int32_t zr_free_mat_image(mat_image* image, int32_t free_bitmap);
/** @{ */
/** A copy with its own key and no `next`; the bitmap is shared, or copied with `copy_bitmap`. NULL when
 * memory fails. zr_dupe_mat_image copies the bitmap when the uncached flag is set. */
ZR_API mat_image* zr_dupe_mat_image_ex(const mat_image* image, int32_t copy_bitmap);
ZR_API mat_image* zr_dupe_mat_image(const mat_image* image);
/** @} */
/** @{ */
/** The same for a whole list; dupe gives NULL for an empty list and when memory fails. */
ZR_API int32_t free_image_list(mat_image* head);
ZR_API mat_image* dupe_image_list(const mat_image* head);
/** @} */

/** Works out `color_bytes` and `tolerance_byte` of a key. */
ZR_API void zr_update_mat_key(mat_key* key);
/** Works out `scale` from `size` (1e12 for sizes below 1e-10) and `transform` from `axis`, `origin` and
 * `rotation`. */
ZR_API void zr_update_mat_image(mat_image* image);

ZR_EXTERN_C_END

#endif
