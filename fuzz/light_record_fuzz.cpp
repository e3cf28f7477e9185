/// @file
/// Any bytes as the payload of a light record: what is read can be written, and looked up.
#include "fuzz/photometric_readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::use_light_record(bytes, size);
    return 0;
}
