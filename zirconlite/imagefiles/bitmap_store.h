/** @file
 *  The store of bitmaps: files are read once and shared by their full path, each with all its mipmap levels
 * in one allocation, and sampled without interpolation. Bitmaps may be read into the lists and looked for on
 * any thread, beside a job; they are freed, and the switches set, on the host's thread while nothing uses
 * them. Sampling may run on all threads. */
#ifndef ZIRCONLITE_IMAGEFILES_BITMAP_STORE_H
#define ZIRCONLITE_IMAGEFILES_BITMAP_STORE_H

#include "zirconlite/imagefiles/bitmap_format.h"

ZR_EXTERN_C_BEGIN

/** Bits of `bitmap.flags`. */
enum bitmap_flag
{
    BITMAP_ALLOCATED = 0x1, /**< `pixels` is the record's own */
    BITMAP_LARGE = 0x2,     /**< a store of at least 0x1400001 bytes */
    BITMAP_LISTED = 0x4,    /**< a list owns it */
    BITMAP_OF_USER =
        0x8 /**< read while bitmaps were uncached: the one image or mask that points to it owns it */
};

/** Reads the file that `record->path` names, found along the search paths, and builds its mipmap. The
 * extension picks the format; an unknown one, or none, becomes ".jpg". `record->path` becomes the path as
 * found.
 *
 *  @param record  names the file
 *  @param list  head of the list that holds the file already or takes it, as zr_shared_bitmaps() gives; with
 * NULL the caller owns the bitmap. In temp mode, unless bitmaps are uncached, the temporary list serves
 *               instead.
 *  @return NULL when the file is not found, which is not reported, and when it cannot be read or its path is
 *          longer than the record holds, which is */
ZR_API bitmap* zr_read_bitmap(bitmap_format* record, bitmap** list);

/** The head of the shared list, for zr_read_bitmap. */
ZR_API bitmap** zr_shared_bitmaps(void);

/** Puts a picture that the host has decoded in the shared list under `name`, with its mipmap.
 *
 *  @param name      the key: a full path, or what the host makes up for a picture that has no file of its
 * own; 511 characters at most
 *  @param width     pixels, above 0
 *  @param height    pixels, above 0
 *  @param channels  1 grey, 3 r g b, 4 r g b a; 8 bits each
 *  @param rows      `height` rows, the bottom one first, without gaps; copied
 *  @return the bitmap, owned by the list; the one that is there under that name already, whatever its size;
 * NULL when an argument is out of range and when memory fails */
ZR_API bitmap* zr_add_bitmap(
    const char16_t* name, uint32_t width, uint32_t height, uint32_t channels, const uint8_t* rows);

/** The bitmap of that name in the shared list; NULL none. */
ZR_API bitmap* zr_find_bitmap(const char16_t* name);

/** Frees a list of bitmaps; NULL is fine. Returns 1. */
ZR_API int32_t zr_free_bitmap_list(bitmap* head);
ZR_API int32_t zr_free_all_bitmaps(void);  /**< the shared list; returns 1 */
ZR_API int32_t zr_free_temp_bitmaps(void); /**< the temporary list; returns 1 */
/** Bitmaps in the temporary list. A user interface empties it when there are more than 10. */
ZR_API int32_t zr_get_temp_bitmap_count(void);

/** Bytes in the stores of the shared list. */
ZR_API size_t zr_get_bitmap_allocation(void);

/** @{ */
/** While set, reads for materials keep their bitmaps out of all lists: each `mat_image` owns its own. The
 * setters return 1. */
ZR_API int32_t zr_set_bitmap_ui_not_cached(int32_t value);
ZR_API int32_t zr_bitmap_ui_not_cached(void);
/** @} */
/** While set, reads use the temporary list. */
ZR_API int32_t zr_use_temp_bitmap_list(int32_t value);
/** While set, a read in temp mode does not look in the temporary list but reads the file again, and an older
 * bitmap of that name there takes the picture at its old address. Bitmaps that `list` holds are still found
 * in it. */
ZR_API int32_t zr_replace_temp_bitmap(int32_t value);

/** Fills the levels behind level 0, each the box mean of the one before, and `average`. Returns 1; 0 when the
 *  record's sizes do not fit together or its store has no room. */
ZR_API int32_t zr_build_mipmap(bitmap* b);

/** A copy of record and store, in no list; NULL when memory fails and for NULL. */
ZR_API bitmap* zr_dupe_bitmap(const bitmap* b);

/** The nearest texel of level 0: each of its channels in 0 to 1. u and v are clamped to 0 to 1. Returns the
 * channel count. */
ZR_API int32_t zr_sample_bitmap(const bitmap* b, const double uv[2], double out[4]);

/** The bytes of texel (x, y) of level 0, as many as there are channels. Returns the channel count; -1
 * outside. */
ZR_API int32_t zr_sample_image_map(const bitmap* b, const uint32_t xy[2], uint8_t bytes[4]);

/** The nearest texel of `level`, mixed with that of the next one by `fraction` when that is not 0: r, g, b in
 *  0 to 1 (a grey picture repeats its value) and alpha (a byte times 0.004, at most 1), 0 where the picture
 * has none. u and v are clamped to 0 to 1, the level to the last. Returns the channel count. Allocates
 * nothing.
 */
ZR_API int32_t zr_sample_mipmap(
    const bitmap* b, const double uv[2], int32_t level, double fraction, double out[4]);

ZR_EXTERN_C_END

#endif
