/// @file
/// Any bytes as an LM-63 file: it is read into a table that can be looked up, or refused with a line.
#include "fuzz/photometric_readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::use_ies(bytes, size);
    return 0;
}
