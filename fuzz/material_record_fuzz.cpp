/// @file
/// Any bytes as the payload of a material record: what it unfolds to is bounded, and is written again.
#include "fuzz/library_readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::use_material_record(bytes, size);
    return 0;
}
