/// @file
/// What the decoders of picture files share: the file in memory, the bitmap that a header may ask for, the
/// words for a file that ends too early, and the order of the channels.
#pragma once

#include "zirconlite/imagefiles/bitmap_store.hpp"
#include "zirconlite/imagefiles/codecs.hpp"

namespace zr
{

/// Largest picture file that is read.
inline constexpr uint64_t picture_file_limit = uint64_t(1) << 31;

/// The whole file at `path` by malloc, for the caller to free. Null, with the reason reported.
uint8_t* read_file_for_decoding(const char16_t* path, size_t* size);

/// Decodes the record's file; a reason that the decoder gives is reported for zr_last_error.
bitmap* read_picture(const bitmap_format& record, picture_decoder decode);

/// Whether a file of `file_bytes` may claim `pixels`. The densest coding of a picture gives less than 2048
/// for each byte; up to a megapixel is free, so that a short file cut in its pixels still shows what it has.
bool is_plausible_size(uint64_t pixels, uint64_t file_bytes);

/// new_bitmap for a header in a file of `file_bytes`, refusing what is not plausible.
bitmap* new_bitmap_of_file(
    int64_t width, int64_t height, bitmap_pixels format, uint64_t file_bytes, status* why);

/// The warning for a file that ends before its row `row` (0 the first one stored) is whole.
status cut_in_row(int64_t row, int64_t height);

/// Makes all pixels of an RGBA bitmap opaque.
void set_opaque(bitmap& picture);
/// Whether no pixel of an RGBA bitmap is seen: nobody stores such a picture, the writer left its alpha at 0.
bool is_wholly_clear(const bitmap& picture);
/// Divides colours by the alpha that they were multiplied with.
void divide_by_alpha(bitmap& picture);

/// Copies pixels of 3 or 4 bytes with the first and the third exchanged. `in` may be `out`.
void swap_red_blue(const uint8_t* in, size_t count, int bytes_per_pixel, uint8_t* out);

} // namespace zr
