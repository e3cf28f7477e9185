/// @file
/// Any bytes as a library: seeking, walking and inserting end, and stay within the file.
#include "fuzz/library_readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::use_library(bytes, size);
    return 0;
}
