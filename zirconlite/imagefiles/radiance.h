/** @file
 *  Radiance pictures (RGBE, ".hdr", ".pic"): a rendered picture kept as light, so that it can be shown at
 *  another exposure later. Pixels have three mantissas of 8 bits and one exponent. */
#ifndef ZIRCONLITE_IMAGEFILES_RADIANCE_H
#define ZIRCONLITE_IMAGEFILES_RADIANCE_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

typedef struct image_buffer image_buffer;

/** Writes the radiance of a whole picture, surfaces and background alike; what was not rendered is black.
 *  Not while a render fills `buffer`.
 *
 *  @param path    the file to write or to replace
 *  @param buffer  of the format PIXEL_RADIANCE; display values hold no radiance
 *  @return 1; 0 on failure, reported by zr_last_error, with an old file at `path` kept */
ZR_API int32_t zr_write_radiance_file(const char16_t* path, const image_buffer* buffer);

/** The same with a comment in the head of the file: ASCII, lines of their own, at most 400 bytes; NULL none.
 */
ZR_API int32_t zr_write_noted_radiance_file(
    const char16_t* path, const image_buffer* buffer, const char* comment);

/** Replaces the picture in `buffer` by that of a file: size, PIXEL_RADIANCE, no planes, all light as that of
 *  surfaces. Blocks that `buffer` had are freed. Read are flat pixels and both forms of run lengths, in all
 *  eight orientations; EXPOSURE and COLORCORR lines change nothing.
 *
 *  @return 1. 0 on failure, reported by zr_last_error, with `buffer` as it was. A file that ends or is
 * damaged within its pixels gives 1, the rest black, and leaves a status for zr_last_error
 *
 *  G. Ward, "Real Pixels", Graphics Gems II, 1991. */
ZR_API int32_t zr_read_radiance_file(const char16_t* path, image_buffer* buffer);

ZR_EXTERN_C_END

#endif
