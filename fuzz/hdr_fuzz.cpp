/// @file
/// Any bytes as a Radiance file: the reader gives a picture or a reason, and stays within the file.
#include "fuzz/readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::read_radiance(bytes, size);
    return 0;
}
