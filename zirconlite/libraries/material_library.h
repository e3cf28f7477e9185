/** @file
 *  Material libraries (".mlib"): material records in the container of zirconlite/libraries/library_file.h,
 * which describes keys, handles and edits. */
#ifndef ZIRCONLITE_LIBRARIES_MATERIAL_LIBRARY_H
#define ZIRCONLITE_LIBRARIES_MATERIAL_LIBRARY_H

#include "zirconlite/materials/material.h"
#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** zr_libfile_open; an empty file that is opened for writing, and any that is made or emptied, becomes an
 * empty material library. */
ZR_API zr_handle zr_matfile_open(const char16_t* path, uint32_t access, uint32_t share, int32_t disposition);

/** Finds a material library by its name, without extension, by zr_libfile_search_ex with the folder
 * "internal", and opens it for reading. A name with a folder in it is a path. ZR_INVALID_HANDLE when it is
 * not found. */
ZR_API zr_handle zr_matlib_open(const char16_t* library_name);
/** The same for reading and writing. */
ZR_API zr_handle zr_matlib_open_write(const char16_t* library_name);

/** Writes a material under a key, in place of the record that is there. The node; 0 on failure. Sets the
 * material's MATERIAL_FLOAT_LUMINOSITY. Its luminosity is stored with MATERIAL_STORES_LUMINOSITY only. */
ZR_API uint32_t zr_matfile_add_record(zr_handle file, const char16_t* key, material* m);

/** The material of a record, with its pictures and masks, but without names and surface. The caller frees it
 * by free_material; pictures are found by zr_findfile and owned by the shared or temporary list, or by the
 * material while bitmaps are uncached. A picture that is not found leaves its record without a bitmap. NULL
 * when there is no such record, it is damaged, or nests or holds more than any material does. */
ZR_API material* zr_matfile_read_record(zr_handle file, const char16_t* key);

/** Appends the record of a material with its children and lists, `parent` being the record of the complex
 *  material that owns it. With `with_id` its `id` follows, as two bytes at the end. The offset; 0 for NULL
 * and on failure. */
ZR_API uint32_t zr_matfile_write_material(zr_handle file, material* m, uint32_t parent, int32_t with_id);
/** Reads the record at an offset, as zr_matfile_read_record; 0 gives the default material. With `with_id` its
 * `id` is read from 4 bytes before the end of the file: whoever uses both keeps two more bytes behind it. */
ZR_API material* zr_matfile_read_material(zr_handle file, uint32_t offset, int32_t with_id);

/** Adds a material to the library of a name. The node; 0 when it is not found or cannot be written. */
ZR_API uint32_t zr_save_material(const char16_t* key, const char16_t* library_name, material* m);

/** zr_libfile_pack for a material library. */
ZR_API int32_t zr_pack_matlib(zr_handle window, const char16_t* path);

/* Libraries of any kind, recognised by their extension. */

/** Packs the library at `path` without asking. 1; 0 on failure and for an extension that has no records. */
ZR_API int32_t zr_pack_library(const char16_t* path);
/** Writes the keys of all records to a text file, the library's path with its extension replaced by ".uni":
 * UTF-16 with the mark U+FEFF, a line break in front of each key. 1; 0 on failure. */
ZR_API int32_t zr_dump_library(const char16_t* path);
/** Makes "<name>_translated<extension>" beside a library, anew, of the records that a text file names. It is
 * UTF-16 with its mark; a line holds a key, a tab and the key in the new library. A key in double quotes may
 * hold quotes, doubled. Keys that the library lacks are passed over. The count of records that were written;
 * -1 on failure, which leaves no new library. */
ZR_API int32_t zr_translate_library(const char16_t* path, const char16_t* translation);

/** @{ */
/** The two above with files that the user picks. 0 when cancelled or failed, else 1. */
ZR_API int32_t zr_libfile_dump(zr_handle window);
ZR_API int32_t zr_libfile_translate(zr_handle window);
/** @} */

/* Conversion of the libraries of an older program, whose records the host reads. */

/** One side of an older record. Colours are display values. */
typedef struct older_side
{
    /** @{ */
    /** colours of the side's light: diffuse, mirrored, transmitted, emitted */
    float diffuse[3], specular[3], transmitted[3], luminous[3];
    /** @} */
    float specular_strength[3]; /**< factor on `specular` */
    float gloss;                /**< sharpness of the highlight */
    float ior, attenuation;     /**< index of refraction, and loss per unit of distance inside */
    char16_t image_path[512];   /**< file of the picture; empty none */
    double image_size[2];       /**< inches; a width of 0: no image */
    float image_strength;       /**< how far the picture replaces the colour, 0 to 1 */
    float image_bump_strength;  /**< 0 no bump */
    float image_transparency;   /**< what the side gives the image; 0 none */
    int32_t has_own_key;        /**< the key is `key_color`; else the first of the five switches that is on */
    float key_color[3];         /**< linear */
    /** @{ */
    /** switches that choose a key colour */
    int32_t key_black, key_white, key_red, key_green, key_blue;
    /** @} */
    int32_t inverts_key; /**< not 0: the key gets KEY_CUTS_OUT */
    float key_tolerance; /**< 0 to 1 */
    float sand_bump;     /**< 0 none */
    float rubble_bump;   /**< strength; 0 none */
    float rubble_size;   /**< size of the rubble */
} older_side;

/** One record of an older library. */
typedef struct older_material
{
    char16_t name[256]; /**< the key in the new library */
    int32_t kind;       /**< 0 plain, 2 granite, 3 wood, any other marble */
    float size;         /**< of the pattern */
    float ratio;        /**< share of the first side, 0 to 1 */
    /** @{ */
    /** strength of the noise, and width of the transition between the sides */
    float turbulence, softness;
    /** @} */
    older_side sides[2]; /**< a plain one has the first only */
} older_material;

/** The next record: the first with `first` 1. NULL behind the last. The record stays the host's, and valid
 * until the next call. */
typedef const older_material* (*older_material_iterator)(void* context, int32_t first);

/** Asks for the name of the new library ("zr2_" and `name` at first; `host_get_new_library_name` answers),
 * before an existing one is replaced, too, and converts into the support folder. `out_name` has room for 256
 * code units. 1; 0 when cancelled or failed. */
ZR_API int32_t zr_convert_material_library(zr_handle window, const char16_t* name, void* context,
    older_material_iterator iterator, char16_t* out_name);
/** Makes the library at `path` anew from the iterator's records. 1; 0 on failure, which keeps an old one. */
ZR_API int32_t zr_convert_material_library_i(
    const char16_t* path, void* context, older_material_iterator iterator);

ZR_EXTERN_C_END

#endif
