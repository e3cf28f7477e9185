/** @file
 *  Image files through one small registry: a `bitmap_format` names a format, carries its reader and writer,
 *  and describes one file being read or written. 8 bits a channel; rows are bottom-up everywhere. */
#ifndef ZIRCONLITE_IMAGEFILES_BITMAP_FORMAT_H
#define ZIRCONLITE_IMAGEFILES_BITMAP_FORMAT_H

#include "zirconlite/display/progress.h"
#include "zirconlite/frame/error.h"
#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct bitmap bitmap;
typedef struct bitmap_format bitmap_format;
typedef struct pixel_cache pixel_cache;

/** Values of `bitmap_format.format_id`. */
enum bitmap_format_id
{
    BITMAP_JPEG = 1,
    BITMAP_TARGA = 2,
    BITMAP_BMP = 3,
    BITMAP_TIF = 4,
    BITMAP_TIFF = 5
};

/** Values of `line_request.pixel_kind` and `bitmap_format.alpha_mode`. */
enum
{
    LINE_RGB = 1,
    LINE_RGBA = 2
};

/** One row wanted by a writer. */
typedef struct line_request
{
    uint32_t pixel_kind; /**< LINE_RGB, LINE_RGBA */
    uint32_t row;        /**< 0 is the bottom row */
    uint8_t* buffer;     /**< receives `width` pixels */
} line_request;

/** A format with its functions, and the one file that they read or write. Belongs to one thread at a time. */
struct bitmap_format
{
    uint32_t format_id;                            /**< a bitmap_format_id */
    uint32_t option_class;                         /**< 0, 1 or 2, for the host's dialogs */
    int32_t (*write_image)(bitmap_format* record); /**< 1; 0 on failure, with the old file kept. NULL: the
                                                        format has no writer */
    bitmap* (*read_image)(bitmap_format* record);  /**< a new bitmap, NULL on failure. A file that ends
                                                        within its pixels gives those it has, the rest
                                                        black, and leaves a status for zr_last_error */
    char16_t name[32];                             /**< name of the format for dialogs, such as "^JPEG" */
    char16_t extension[16];                        /**< without a dot, lower case */
    uint32_t alpha_mode;                           /**< LINE_RGB, LINE_RGBA */
    uint32_t selected_format;                      /**< the format that a dialog chose, a bitmap_format_id */
    char16_t path[256];                            /**< full path of the file */
    uint32_t width, height;                        /**< size of the picture to write, pixels */
    uint32_t compression;                          /**< JPEG only: 100 minus the quality, 0 to 100 */
    void* image;            /**< where the rows come from: the `render_view`; not owned */
    progress_bar* progress; /**< NULL none */
    int32_t (*line_source)(bitmap_format* record, line_request* request); /**< 1; 0 ends the writing */
    struct pixel_cache* pixel_cache; /**< the writer's cache of display values; NULL none */
};

/** A picture in memory. */
struct bitmap
{
    bitmap* next;            /**< next bitmap of the list that owns this one */
    uint32_t flags;          /**< a bitmap_flag, see bitmap_store.h */
    char16_t name[512];      /**< full path; the cache key */
    int32_t width, height;   /**< size of level 0, pixels */
    int32_t pixel_count;     /**< `width` x `height` */
    int32_t byte_count;      /**< `pixel_count` x `bytes_per_pixel` */
    int32_t bits_per_pixel;  /**< 24, 32 or 8 */
    int32_t pixel_format;    /**< 1 RGB, 2 RGBA, 3 grey */
    int32_t bytes_per_pixel; /**< 3, 4 or 1 */
    float average[4];        /**< the one texel of the last level, 0 to 1; grey is repeated in r, g, b */
    uint32_t store_bytes;    /**< size of the allocation behind `pixels` */
    uint8_t* pixels;         /**< level 0 first, bottom row first; room for the mipmaps behind it */
    int32_t level_count;     /**< mipmap levels, level 0 included */
    uint8_t* levels[24];     /**< start of each level, inside `pixels` */
};

/** Calls `callback` with each format in order until it answers 0: then 0, else 1. */
ZR_API int32_t zr_enum_bitmap_formats(
    int32_t (*callback)(bitmap_format* record, void* argument), void* argument);
/** Fills `record` for a format id. 1; 0 for an unknown id, which fills it as JPEG. */
ZR_API int32_t zr_init_bitmap_format(uint32_t format_id, bitmap_format* record);
/** Fills `record` for an extension, which is lower-cased in place. 1; 0 for an unknown one, as JPEG. */
ZR_API int32_t zr_get_bitmap_format_by_ext(char16_t* extension, bitmap_format* record);
/** The id for an extension, which is lower-cased in place; 1 when unknown. */
ZR_API uint32_t zr_bitmap_format_id_from_ext(char16_t* extension);
/** Fills `record` from the entry at `index`, 0 to 4. 1; 0 for another index, as JPEG. */
ZR_API int32_t zr_init_bitmap_format_by_index(int32_t index, bitmap_format* record);

/** A picture file in memory, recognised by its content: BMP, TIFF, JPEG; TARGA, which has no mark of its own,
 * when it is none of these.
 *
 *  @param bytes   the whole file
 *  @param size    its length in bytes
 *  @param status  receives the reason of a failure, or what a damaged file lacks; its code is 0 when the
 *                 picture is whole. NULL is fine
 *  @return a new bitmap without mipmaps, the caller's to free; NULL on failure, which zr_last_error reports
 * as well */
ZR_API bitmap* zr_decode_picture(const uint8_t* bytes, size_t size, zr_status* status);

/** Frees a bitmap with its store; NULL is fine. Returns 1. */
ZR_API int32_t zr_free_bitmap(bitmap* b);

ZR_EXTERN_C_END

#endif
