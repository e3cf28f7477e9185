/** @file
 *  Light libraries (".llib"): luminaires as catalogue entries in the container of
 *  zirconlite/libraries/library_file.h, which describes keys, handles and edits. */
#ifndef ZIRCONLITE_LIBRARIES_LIGHT_LIBRARY_H
#define ZIRCONLITE_LIBRARIES_LIGHT_LIBRARY_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct goniometry goniometry;

/** A luminaire: a fixture with its photometric table and its material. One that was read belongs to the
 * caller, who frees it with zr_free_luminaire, and its `goniometry` with zr_free_goniometry. The four strings
 * come from zr_malloc or zr_dupestring. */
typedef struct luminaire
{
    uint32_t flags;                /**< the host's; kept with the record */
    char16_t* name;                /**< what a catalogue calls it; NULL counts as empty */
    char16_t* model;               /**< its model */
    char16_t* material_key;        /**< the fixture's material */
    char16_t* material_library;    /**< the library of that material, without extension */
    float sc;                      /**< scale of the fixture; 0 reads as 1 */
    float rh;                      /**< output against the largest lamp of a family; 0 reads as 1 */
    float lum;                     /**< factor that is kept with the record; 0 reads as 1 */
    char type;                     /**< 'G': with a photometric table; 'N', 'S': without */
    char geo;                      /**< 'R' or 'D'; kept with the record */
    double off[3];                 /**< the light from the fixture's origin, metres */
    float dim[2];                  /**< size of the fixture along C0 and along C90, metres */
    float temperature;             /**< kelvin; 0 reads as 5000 */
    struct goniometry* goniometry; /**< of type 'G'; else NULL. The caller's */
    char16_t* key;                 /**< not owned, and NULL when read; for whoever writes many */
} luminaire;

/** zr_libfile_open; an empty file that is opened for writing becomes an empty light library. */
ZR_API zr_handle zr_lightfile_open(
    const char16_t* path, uint32_t access, uint32_t share, int32_t disposition);

/** Finds a light library by its name, without extension, by zr_libfile_search_ex with the folder "internal",
 * and opens it for reading. A name with a folder in it is a path. ZR_INVALID_HANDLE when it is not found. */
ZR_API zr_handle zr_lightlib_open(const char16_t* library_name);
/** The same for reading and writing. */
ZR_API zr_handle zr_lightlib_open_write(const char16_t* library_name);

/** Writes a luminaire under a key, in place of the record that is there. The node; 0 on failure, such as a
 * type 'G' whose table cannot be looked up. */
ZR_API uint32_t zr_lightfile_add_record(zr_handle file, const char16_t* key, const luminaire* luminaire);

/** The luminaire of a record; empty strings where it has none, and the key and library of the usual white for
 * its material. NULL when there is no such record, and when it is damaged: a table must lie within the file,
 * with angles that rise. */
ZR_API luminaire* zr_lightfile_read_record(zr_handle file, const char16_t* key);
/** The same from the library of a name. */
ZR_API luminaire* zr_lightfile_read_lum(const char16_t* library_name, const char16_t* key);

/** zr_lightfile_read_lum with its arguments in the other order. */
ZR_API luminaire* zr_load_luminaire_from_library(const char16_t* key, const char16_t* library_name);
/** Adds a luminaire to the library of a name. The node; 0 when it is not found or cannot be written. */
ZR_API uint32_t zr_save_luminaire(
    const char16_t* key, const char16_t* library_name, const luminaire* luminaire);

/** Frees the record and its four strings, but not its `goniometry`; NULL is fine. */
ZR_API void zr_free_luminaire(luminaire* luminaire);

/** zr_libfile_pack for a light library. */
ZR_API int32_t zr_pack_lightlib(zr_handle window, const char16_t* path);

ZR_EXTERN_C_END

#endif
