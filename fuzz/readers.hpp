/// @file
/// What the fuzz targets do with one input, as functions, so that a test can replay the saved inputs. Each
/// aborts when a reader breaks its contract; the sanitizers see the rest. fuzz/corpus/<name> holds the
/// inputs.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "fuzz/library_readers.hpp"
#include "fuzz/photometric_readers.hpp"
#include "fuzz/settings_readers.hpp"
#include "zirconlite/imagefiles/codecs.hpp"
#include "zirconlite/imagefiles/radiance.hpp"
#include "zirconlite/picture/image_buffer.h"

namespace fuzz
{

/// Reads a byte of each page and the last one: the block is as large as its size says.
inline void touch(const uint8_t* bytes, size_t size)
{
    uint64_t sum = bytes[size - 1];
    for (size_t i = 0; i < size; i += 4096) { sum += bytes[i]; }
    if (sum == UINT64_MAX) { abort(); }
}

template <zr::picture_decoder decode> void read_picture(const uint8_t* bytes, size_t size)
{
    zr_status why = {};
    uint64_t where = 0;
    bitmap* decoded = decode(bytes, size, &why, &where);
    if (!decoded && zr::ok(why)) { abort(); } // a refusal has a reason
    if (where > size) { abort(); }
    if (decoded) { touch(decoded->pixels, decoded->store_bytes); }
    zr_free_bitmap(decoded);
}

inline void read_radiance(const uint8_t* bytes, size_t size)
{
    image_buffer* buffer = zr_new_image_buffer(3, 2, PIXEL_RADIANCE);
    if (!buffer) { return; }
    zr_status why = {};
    uint64_t where = 0;
    const bool done = zr::decode_radiance(bytes, size, buffer, &why, &where);
    if (!done && (zr::ok(why) || buffer->width != 3)) { abort(); }
    touch(buffer->pixels, buffer->total_bytes);
    zr_destroy_image_buffer(buffer);
}

struct reader_row
{
    const char* name; ///< of the corpus folder and of the target, with _fuzz behind it
    void (*read)(const uint8_t* bytes, size_t size);
};

inline constexpr reader_row readers[] = {
    { "bmp", read_picture<zr::decode_bmp> },
    { "tga", read_picture<zr::decode_targa> },
    { "tiff", read_picture<zr::decode_tiff> },
    { "jpeg", read_picture<zr::decode_jpeg> },
    { "hdr", read_radiance },
    { "library", use_library },
    { "material_record", use_material_record },
    { "settings", use_settings },
    { "ies", use_ies },
    { "ldt", use_ldt },
    { "light_record", use_light_record },
};

} // namespace fuzz
