/// @file
/// Any bytes as a file of settings.
#include "fuzz/readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::use_settings(bytes, size);
    return 0;
}
