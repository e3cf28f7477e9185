/// @file
/// Any bytes as a BMP file: the reader gives a whole picture or a reason, and stays within the file.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "zirconlite/imagefiles/codecs.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    zr_status why = {};
    uint64_t where = 0;
    bitmap* decoded = zr::decode_bmp(bytes, size, &why, &where);
    if (!decoded)
    {
        if (zr::ok(why)) { abort(); } // a refusal has a reason
        return 0;
    }
    uint32_t sum = 0;
    for (int32_t i = 0; i < decoded->byte_count; ++i) { sum += decoded->pixels[i]; }
    if (sum == UINT32_MAX) { abort(); } // the pixels are read, so that the checks see them
    zr_free_bitmap(decoded);
    return 0;
}
