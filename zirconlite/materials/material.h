/** @file
 *  What a point of a surface does with light. A simple material holds colours and weights; a complex one
 *  blends two children.
 *
 *  Threads: materials are made, changed and freed on the host's thread, while no job runs. Render threads
 * read them without a lock. */
#ifndef ZIRCONLITE_MATERIALS_MATERIAL_H
#define ZIRCONLITE_MATERIALS_MATERIAL_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct mat_image mat_image;
typedef struct mask_source mask_source;
typedef struct ray ray;
typedef struct surface surface;

/** Bits of `material.flags`. Bits 16 to 19 hold the size class of the preview. */
enum material_flag
{
    MATERIAL_COMPLEX = 0x1,
    MATERIAL_REFLECT_FOLLOWS_COLOR = 0x10, /**< metals: `reflect_color` follows `color` */
    MATERIAL_STORES_LUMINOSITY = 0x20,     /**< its record in a library has the luminosity */
    MATERIAL_NO_MIRROR = 0x40,             /**< mirrors nothing, whatever `reflect` is */
    MATERIAL_FLOAT_LUMINOSITY = 0x80,      /**< its record has it as a float, older ones as an integer */
    MATERIAL_SHARP_REFLECTION = 0x100,     /**< mirrored rays do not spread */
    MATERIAL_SHARP_TRANSMISSION = 0x200,   /**< transmitted rays do not spread */
    MATERIAL_OWN_HIGHLIGHT = 0x400,        /**< the highlight comes from the `own_` fields */
    MATERIAL_STORES_OWN = 0x800            /**< its record in a library has the `own_` fields */
};

/** Bits of `complex_material.blend_flags`. */
enum blend_flag
{
    BLEND_MAPPED = 0x2,             /**< the pattern runs on the mapped coordinates, not on the world point */
    BLEND_JITTER_COLOR = 0x4,       /**< the colour varies from tile to tile */
    BLEND_JITTER_COORDINATES = 0x8, /**< and the place of its pictures and patterns */
    BLEND_COMPILED = 0x10           /**< set by library compilers for tiles and masks; not read */
};

/** The head that both forms begin with. A `material*` points to one of the two; MATERIAL_COMPLEX says which.
 */
typedef struct material
{
    uint32_t flags;           /**< MATERIAL_* bits */
    struct surface* surface;  /**< the surface with no ray; owned, NULL until resolved */
    struct material* parent;  /**< complex material that owns this one; NULL at the top */
    char16_t *name, *library; /**< name and library that the material was read from; owned, NULL none */
    uint16_t id;              /**< value for the object-id plane */
} material;

typedef struct bump bump;
/** Tilts `normal` at `point` (already scaled). */
typedef void (*bump_function)(const vector3* point, vector3* normal, double strength);

/** Bits of `bump.flags`. */
enum
{
    BUMP_MAPPED = 0x2 /**< runs on the mapped coordinates, not on the world point */
};

/** A bump function with its frame. Owned by its simple material; read-only while rendering. */
struct bump
{
    struct bump* next;      /**< next bump of the material */
    uint32_t flags;         /**< BUMP_* bits */
    char16_t name[32];      /**< name for dialogs */
    bump_function function; /**< the kind */
    vector3 axis;           /**< z axis of the bump's frame */
    float rotation;         /**< radians */
    vector3 origin;         /**< origin of the bump's frame */
    vector3 scale;          /**< repeats per unit */
    matrix4 transform;      /**< zr_build_matrix(axis, origin, -rotation) */
    double strength;        /**< factor on the tilt; 0 none */
};

/** Colours and weights. Whoever changes a share or `opacity` calls zr_update_material_weights. */
typedef struct simple_material
{
    material head;                /**< the common head */
    int32_t style;                /**< the editor's template; not read when rendering */
    float opacity;                /**< 1 - `transparency` */
    float diffuse_share;          /**< part of the opaque light that is diffuse */
    float reflect_share;          /**< part of the opaque light that is mirrored, 1 - `diffuse_share` */
    float reflect;                /**< derived: `opacity` x `reflect_share` */
    float diffuse;                /**< derived: `opacity` x `diffuse_share` */
    float transparency;           /**< part of the incoming light that is transmitted, 0 to 1 */
    float translucent_share;      /**< part of the passing light that spreads */
    float transparent_share;      /**< 1 - `translucent_share` */
    float transparent;            /**< derived: `transparency` x `transparent_share` */
    float translucent;            /**< derived: `transparency` x `translucent_share` */
    float highlight;              /**< exponent of the highlight */
    float ior;                    /**< index of refraction, >= 1 */
    float attenuation;            /**< loss per unit of distance inside, 0 to 1 */
    float color[3];               /**< diffuse colour, linear, 0 to 1 */
    float reflect_color[3];       /**< colour of mirrored light, linear, 0 to 1 */
    float translucent_color[3];   /**< colour of diffusely transmitted light, linear, 0 to 1 */
    float transparent_color[3];   /**< colour of light transmitted straight on, linear, 0 to 1 */
    float luminosity;             /**< self-emission: radiance is `color` x this, cd/m^2 */
    float own_highlight;          /**< exponent with MATERIAL_OWN_HIGHLIGHT */
    float own_strength;           /**< strength with MATERIAL_OWN_HIGHLIGHT */
    float own_highlight_color[3]; /**< colour with MATERIAL_OWN_HIGHLIGHT, linear */
    struct bump* bumps;           /**< owned list; NULL none */
    struct mat_image* images;     /**< owned list; NULL none */
} simple_material;

/** Settings of a blend function; which of them count depends on the kind. */
typedef struct blend_params
{
    int32_t octaves;       /**< octaves of noise, 0 to NOISE_MAX_OCTAVES */
    uint32_t jitter_flags; /**< not read: the BLEND_JITTER_* bits count */
    float ratio[3];        /**< share of the first child, per axis of a tile. Of an angular blend [0] is the
                                cosine from which it shows alone, [1] that below which it does not */
    float turbulence[3];   /**< strength of the noise that disturbs the pattern; the first counts */
    float softness[3];     /**< width of the transition as a part of the narrower band, 0 a hard edge */
    vector3 tile_offset;   /**< shift from each row of tiles to the next, in tiles; x counts */
    struct mask_source* mask;                /**< picture of a mask; NULL for the other kinds */
    vector3 color_jitter, coordinate_jitter; /**< amplitudes of the variation from tile to tile */
} blend_params;

typedef struct child_context child_context; /**< what one of the two children is evaluated with */
typedef struct complex_material complex_material;
/** Share of the first child at `point`; with a null point the kind's neutral value. */
typedef double (*blend_function)(
    const complex_material* material, struct ray* r, const vector3* point, child_context* children);
/** Fills the contexts of both children before they are evaluated, such as the shift of a tile's colour. */
typedef void (*prepare_function)(
    const complex_material* material, struct ray* r, const vector3* point, child_context* children);

/** Two children and the function that says how much of the first shows at each point. */
struct complex_material
{
    material head;                /**< the common head, with MATERIAL_COMPLEX set */
    material* children[2];        /**< owned; never NULL in a complete material */
    uint32_t blend_flags;         /**< BLEND_* bits */
    blend_function blend;         /**< share of the first child; NULL for an unknown kind */
    prepare_function prepare;     /**< NULL for most kinds */
    char16_t kind_label[32];      /**< name of the kind for dialogs */
    char16_t child_labels[2][32]; /**< names of the two children for dialogs */
    blend_params params;          /**< settings of the blend function */
    vector3 scale;                /**< pattern repeats per unit */
    vector3 origin;               /**< origin of the pattern */
    vector3 axis;                 /**< z axis of the pattern */
    float rotation;               /**< radians */
    matrix4 transform;            /**< zr_build_matrix(axis, origin, -rotation) */
    int32_t
        has_own_pattern; /**< 0 for blend, clear finish and angular blend: the pattern scale is a child's */
    uint32_t
        stored_kind; /**< the kind in the record that it was read from, written again while `blend` is NULL */
};

/** Bits of `material_entry.flags`. */
enum
{
    MATERIAL_ENTRY_PRIORITY =
        0x1 /**< yields to one without it, of an object's own and its colour's material */
};

/** One material in use by a document. */
struct material_entry
{
    uint32_t flags;              /**< MATERIAL_ENTRY_* bits */
    char16_t *name, *library;    /**< name and library, the key of the list; owned */
    struct material* material;   /**< owned; NULL if the library could not give it */
    struct material_entry* next; /**< next entry of the document */
};
typedef struct material_entry material_entry;

/** @{ */
/** Zeroed and defaulted records with no surface; NULL when memory fails. The caller frees them with
 *  free_material. `new_simple_material` differs from the default material in `ior` 1, `highlight` 1 and
 *  black colours. */
ZR_API material* new_simple_material(void);
ZR_API material* new_complex_material(void);
/** @} */

/** A deep copy with names, surface, children, bumps and images; NULL for NULL or when memory fails. */
ZR_API material* dupe_material(const material* source);

/** Frees a material with all that it owns. 0 for NULL, else 1. */
ZR_API int32_t free_material(material* m);

/** Works out `diffuse`, `reflect`, `transparent`, `translucent` and the complements from `opacity`,
 *  `diffuse_share` and `translucent_share`, each clamped to 0 to 1. Returns 1; 0 for a complex material. */
ZR_API int32_t zr_update_material_weights(material* m);

/** A default material of that display colour: `color` = min(c, 0.99) ^ 2.2, with its surface. */
ZR_API material* zr_build_fake_material_ex(const float rgb[3]);
/** The same in light grey, 0.86704016. */
ZR_API material* zr_build_fake_material(void);
/** A default material with the linear `color` as given, with its surface. */
ZR_API material* zr_build_matte_material(const float rgb[3]);

/** Adds a material of the host to the document's list under `name`; the document owns it from then on and
 *  resolves its surface. Gives the present entry, and frees `m`, when the name is taken already. NULL
 *  when memory fails. */
ZR_API material_entry* zr_add_material(document* doc, const char16_t* name, material* m);

/** A material read by `name` from the library file `library`, with both texts copied into it and no surface.
 * The caller frees it. NULL when the library cannot give it. `uncached` keeps its pictures out of the shared
 * store. */
ZR_API material* zr_load_from_library_ex(const char16_t* name, const char16_t* library, int32_t uncached);
ZR_API material* zr_load_from_library(
    const char16_t* name, const char16_t* library); /**< with `uncached` 0 */
/** The same with its neutral surface. */
ZR_API material* zr_load_material_from_library(const char16_t* name, const char16_t* library);

/** Looks for the entry of `name` in `library`, else makes one. Its `material` is NULL when the library cannot
 *  give it, and stays so. NULL when memory fails. */
ZR_API material_entry* zr_load_material(document* doc, const char16_t* name, const char16_t* library);

ZR_API int32_t zr_free_material_list(document* doc);   /**< returns 1 */
ZR_API int32_t zr_free_plant_materials(document* doc); /**< returns 1 */

/** Raises three floats in place to the power 2.2. */
ZR_API void zr_degamma_color(float rgb[3]);

ZR_EXTERN_C_END

#endif
