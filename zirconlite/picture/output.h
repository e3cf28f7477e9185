/** @file
 *  Finished pictures out of the library: a rendering through a writer of the format table, single pixels
 *  through a small cache and an ordered dither, and walkabout frames read back from the display.
 *
 *  Threads: whole pictures and walkabout frames on the host's thread. Single pixels on any thread that has a
 *  pixel cache of its own, also while a job renders. */
#ifndef ZIRCONLITE_PICTURE_OUTPUT_H
#define ZIRCONLITE_PICTURE_OUTPUT_H

#include "zirconlite/imagefiles/bitmap_format.h"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct render_view render_view;

/** One packed pixel with its display colour. */
typedef struct pixel_cache_entry
{
    uint8_t key[5]; /**< the packed pixel */
    float rgb[3];   /**< its display colour, 0 to 1 */
} pixel_cache_entry;

/** A ring of the last display colours: neighbouring pixels of a rendering are often equal. */
typedef struct pixel_cache
{
    pixel_cache_entry entries[5]; /**< the ring */
    uint32_t valid[5];            /**< 1: the entry holds a value */
    int32_t newest;               /**< entry last written, -1 at the start */
    int32_t last_found;           /**< where the next search starts, -1 at the start */
} pixel_cache;

/** Writes the rendering of the view in `record->image`. The document is host_get_current_doc(), or the
 *  view's own when the host names none. The writer's result; 0 when the record has none. */
ZR_API int32_t zr_write_raytrace_image(bitmap_format* record);
/** Asks for a file and writes the rendering. 1; 0 when cancelled or not written. */
ZR_API int32_t zr_save_rendering(zr_handle window, bitmap_format* record, render_view* view);

/** Makes room for frames of a width and height in pixels. 1; 0 for a size out of range and when memory fails.
 */
ZR_API int32_t zr_init_walkabout_frame(const int32_t size[2]);
ZR_API int32_t zr_term_walkabout_frame(void); /**< frees it; returns 1 */
/** Reads the display into rows of B, G, R bytes `row_bytes` apart. 1; 0 without a frame or display. */
ZR_API int32_t zr_get_walkabout_frame(const int32_t size[2], uint8_t* pixels, int32_t row_bytes);
/** Writes what the display shows, read row by row. The writer's result; 0 when the record has none. */
ZR_API int32_t zr_write_walkabout_image(bitmap_format* record);
/** @{ */
/** Write what the display shows of the model, drawn anew with `redraw`: to a file that the user picks, or to
 *  that of `record`. 1; 0 when cancelled or not written. The reserved arguments are not read. */
ZR_API int32_t zr_save_model_view(int32_t redraw, zr_handle window);
ZR_API int32_t zr_save_model_view_ex(
    int32_t redraw, void* reserved_1, void* reserved_2, bitmap_format* record);
/** @} */

ZR_API pixel_cache* zr_init_pixel_cache(void);          /**< NULL when memory fails */
ZR_API int32_t zr_term_pixel_cache(pixel_cache* cache); /**< 1 when something was freed, else 0 */
/** Unpacks a pixel and gives its display colour. Returns 1. */
ZR_API int32_t zr_evaluate_and_unpack_rt_pixel(
    const render_view* view, const uint8_t* pixel, pixel_components* components, float rgb[3]);
/** The display colour of an unpacked pixel, by the cache when it holds `pixel`; `cache` may be NULL.
 * Returns 1. */
ZR_API int32_t zr_get_pixel_rgb(const render_view* view, pixel_cache* cache, const uint8_t* pixel,
    pixel_components* components, float rgb[3]);
/** @{ */
/** Display value of a packed pixel with `bits` bits a channel (1 to 16). Returns 1. */
ZR_API int32_t zr_evaluate_rt_pixel_ex(
    const render_view* view, pixel_cache* cache, const uint8_t* pixel, int32_t values[3], int32_t bits);
ZR_API int32_t zr_evaluate_rt_pixel(
    const render_view* view, pixel_cache* cache, const uint8_t* pixel, uint8_t bytes[3]);
/** @} */

/** @{ */
/** Ordered dither: `dither24` takes 11-bit values to 8 bits, `dither16` 8-bit values to 5 bits. Values out of
 *  range are clamped.
 *
 *  B. E. Bayer, "An optimum method for two-level rendition of continuous-tone pictures", 1973. */
ZR_API void dither24(
    int32_t x, int32_t y, int32_t r, int32_t g, int32_t b, uint8_t* r_out, uint8_t* g_out, uint8_t* b_out);
ZR_API void dither16(
    int32_t x, int32_t y, int32_t r, int32_t g, int32_t b, uint8_t* r_out, uint8_t* g_out, uint8_t* b_out);
/** @} */

/** One output pixel of a rendering: R, G, B and with `want_alpha` the share of object. 1; 0 where no pixel is
 *  valid, with black and alpha 0; -1 to -4 for a position outside, with nothing written. */
ZR_API int32_t read_rt_pixel(const render_view* view, const int32_t position[2], uint8_t* bytes,
    pixel_cache* cache, int32_t want_alpha);

/** For writers: moves the record's progress bar to `row`. */
ZR_API void write_progress(bitmap_format* record, uint32_t row);

ZR_EXTERN_C_END

#endif
