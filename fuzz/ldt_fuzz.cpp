/// @file
/// Any bytes as a EULUMDAT file: it is read into a table that can be looked up, or refused with a line.
#include "fuzz/photometric_readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::use_ldt(bytes, size);
    return 0;
}
