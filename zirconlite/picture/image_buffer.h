/** @file
 *  `image_buffer`: a rendered picture kept as scene radiance, five bytes a pixel, so that exposure can change
 *  after the render. Row 0 is the bottom row.
 *
 *  Threads: while a job renders, each row has one worker as its writer, and any thread may read through
 *  zr_image_buffer_pixel_ex, which trusts only rows whose signature is set. Making and freeing a buffer is
 * for the host's thread, while no job runs. */
#ifndef ZIRCONLITE_PICTURE_IMAGE_BUFFER_H
#define ZIRCONLITE_PICTURE_IMAGE_BUFFER_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct document document;
typedef struct render_view render_view;

/** Values of `image_buffer.pixel_format`. */
enum pixel_format
{
    PIXEL_RADIANCE = 0, /**< packed radiance, 5 bytes */
    PIXEL_SIMPLE = 1    /**< display values after the simple gamma, 4 bytes */
};

/** Bits of `image_buffer.planes`. */
enum
{
    PLANE_ALPHA = 0x1,
    PLANE_OBJECT_ID = 0x2,
    PLANE_DEPTH = 0x4
};

/** Signature of a row: the first byte of its header slot. */
enum row_signature
{
    ROW_EMPTY = 0,
    ROW_PASS_1 = 1, /**< valid pixels at x and y multiples of 4 */
    ROW_PASS_2 = 2, /**< valid pixels at multiples of 2 */
    ROW_COMPLETE = 3,
    ROW_PREPROCESS = 255 /**< only probe samples; treated as empty */
};

/** What the samples of one pixel add up to; made by the converging sampler. */
typedef struct pixel_sums
{
    float radiance[3];   /**< surfaces, cd/m^2 */
    float background[3]; /**< background layer */
    float half[3];       /**< both, of the samples with even numbers */
    uint16_t light;      /**< straight from light sources, the largest channel of each sample: share of the
                              largest sum of `radiance`, 0 to 4 in 65535ths of that */
    uint16_t alpha;      /**< mean share of background, 0 to 1 in 65535ths */
    uint32_t count;      /**< samples */
} pixel_sums;

/** A row has `row_pixels` slots: a header slot whose first byte is the signature, then pixel x in slot x + 1,
 *  then spare slots. Plane entries are at `row_pixels` x y + x, with no header slot. */
typedef struct image_buffer
{
    int32_t pixel_format;  /**< a pixel_format */
    int32_t width, height; /**< pixels */
    uint32_t planes;       /**< PLANE_* bits */
    int32_t pixel_size;    /**< bytes per slot: 5, or 4 for PIXEL_SIMPLE */
    size_t row_bytes;      /**< `row_pixels` x `pixel_size` */
    size_t total_bytes;    /**< size of `pixels` */
    int32_t row_pixels;    /**< `width` + 4 */
    uint8_t* pixels;       /**< rows from the bottom; owned */
    uint8_t* alpha;        /**< NULL none; share of background, 0 to 255 */
    uint16_t* object_ids;  /**< NULL none; `material.id` of the hit */
    float* depth;          /**< NULL none; distance from the eye, model units; -1 nothing was hit */
    pixel_sums* sums;      /**< NULL none; at `width` x y + x, whatever the region; freed with the buffer */
} image_buffer;

/** Bits of `pixel_components.present`. */
enum
{
    PIXEL_HAS_SURFACE = 0x1,
    PIXEL_HAS_BACKGROUND = 0x2,
    PIXEL_HAS_SOURCE_RATIO = 0x4,
    PIXEL_HAS_SIMPLE = 0x8
};

/** A pixel unpacked. */
typedef struct pixel_components
{
    uint32_t present;    /**< PIXEL_HAS_* bits */
    float surface[3];    /**< radiance of surfaces, cd/m^2 */
    float background[3]; /**< background layer, world values of the inverse tone operator */
    float source_ratio;  /**< 0 to 1: share that came straight from light sources */
    float simple[3];     /**< simple format only */
} pixel_components;

/** One pixel in all planes; NULL where a plane is absent. */
typedef struct pixel_pointers
{
    uint8_t *pixel, *alpha; /**< the slot and its entry in the alpha plane */
    uint16_t* object_id;    /**< entry in the object-id plane */
    float* depth;           /**< entry in the depth plane */
} pixel_pointers;

/** Longest side of a picture, pixels. */
#define IMAGE_MAX_SIDE 65536

/** A zeroed buffer with the format and planes that the document asks for; NULL when memory fails or the size
 *  is not from 1 to IMAGE_MAX_SIDE. */
ZR_API image_buffer* new_image_buffer(const document* doc, int32_t width, int32_t height);
/** A buffer without planes; simple format when `pixel_format` is 1. */
ZR_API image_buffer* zr_new_image_buffer(int32_t width, int32_t height, int32_t pixel_format);
ZR_API int32_t zr_destroy_image_buffer(image_buffer* buffer); /**< returns 1; NULL is fine */

/** The first byte of row y; NULL without pixels. */
ZR_API uint8_t* zr_image_buffer_signature(const image_buffer* buffer, int32_t y);
/** The slot of a pixel, unchecked; NULL without pixels. */
ZR_API uint8_t* zr_image_buffer_pixel(const image_buffer* buffer, int32_t x, int32_t y);
/** The same, and the entries of the planes. */
ZR_API uint8_t* image_buffer_pixel_pointers(
    const image_buffer* buffer, int32_t x, int32_t y, pixel_pointers* pointers);
/** The safe read: NULL outside the image; the shared black pixel (with `pointers` left alone) in rows not yet
 *  valid; else the nearest valid sample at or below the position. */
ZR_API const uint8_t* zr_image_buffer_pixel_ex(
    const image_buffer* buffer, int32_t x, int32_t y, pixel_pointers* pointers);
/** The slot `count` pixels to the right; may point behind the row. */
ZR_API uint8_t* zr_image_buffer_skip_pixels(const image_buffer* buffer, uint8_t* pixel, int32_t count);
/** The same for all pointers of a pixel. */
ZR_API void image_buffer_advance(const image_buffer* buffer, pixel_pointers* pointers, int32_t count);

/** Packs a pixel; returns the kinds written (PIXEL_HAS_SIMPLE for a simple pixel that is not black, else
 *  PIXEL_HAS_SURFACE, PIXEL_HAS_BACKGROUND; surface and background together keep their sum, as surface). NaN
 *  and negative channels count as 0; infinity is clamped to the largest radiance, just below 2^63; below 1e-7
 * a pixel is black.
 *
 *  Radiance pixels: byte 0 is 0 for black, else the shared exponent + 64, with bit 7 set for pure
 *  background. Bytes 1 to 3 are the mantissas of red, green, blue. Byte 4 is `source_ratio` x 255,
 *  rounded; a ratio of 0 leaves it as it was, but clears it where the pixel held background. In a pure
 *  background, which has no ratio, byte 4 holds four bits more of each of the two weaker channels, so that
 *  a picked colour comes back. */
ZR_API uint32_t pack_pixel(const image_buffer* buffer, const pixel_components* components, uint8_t* pixel);
/** Unpacks a pixel; returns `present`. `raw` 0 takes simple pixels through the inverse of the simple
 *  gamma. */
ZR_API uint32_t zr_unpack_internal_pixel(
    const image_buffer* buffer, const uint8_t* pixel, pixel_components* components, int32_t raw);

/** @{ */
/** The object number that passes -1, 1 and 2 keep in the slot to the right of a sample, low byte first. */
ZR_API void zr_store_object_reference(const image_buffer* buffer, uint8_t* sample_pixel, uint32_t number);
ZR_API uint32_t zr_read_object_reference(const image_buffer* buffer, const uint8_t* sample_pixel);
/** @} */

/** Frees the view's picture under the display's image lock. Returns 1. */
ZR_API int32_t zr_free_raytrace_buffer(render_view* view);

/** Mean radiance of a pixel, surfaces and background, from the sums of its samples. 1; 0 where there are no
 * sums, or outside the picture. Not while a render fills the buffer. */
ZR_API int32_t zr_image_buffer_mean(const image_buffer* buffer, int32_t x, int32_t y, float rgb_out[3]);

ZR_EXTERN_C_END

#endif
