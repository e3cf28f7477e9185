/// @file
/// Any bytes as a BMP file: the reader gives a picture or a reason, and stays within the file.
#include "fuzz/readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::read_picture<zr::decode_bmp>(bytes, size);
    return 0;
}
