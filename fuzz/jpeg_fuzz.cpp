/// @file
/// Any bytes as a JPEG file: the reader gives a picture or a reason, and stays within the file.
#include "fuzz/readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::read_picture<zr::decode_jpeg>(bytes, size);
    return 0;
}
