/// @file
/// Any bytes as the payload of a material record: what it unfolds to is bounded, and is written again.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "zirconlite/libraries/material_records.hpp"

namespace
{

constexpr uint32_t first_record = 16; // 0 is no offset

/// Once to memory and back; null when the record is refused.
material* read_again(zr::library_file& lib, material& m)
{
    const uint32_t place = zr::write_material_record(lib, m, 0);
    return place ? zr::read_material_record(lib, place, zr::record_pictures::skip) : nullptr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    zr::library_file* lib = zr::new_library();
    if (!lib) { return 0; }
    lib->writes = true;
    const uint8_t head[first_record] = {};
    if (zr_file_write_bytes(lib, head, sizeof(head)) && zr_file_write_bytes(lib, bytes, uint32_t(size)))
    {
        material* m = zr::read_material_record(*lib, first_record, zr::record_pictures::skip);
        material* again = m ? read_again(*lib, *m) : nullptr;
        if (m && (!again || (again->flags & MATERIAL_COMPLEX) != (m->flags & MATERIAL_COMPLEX))) { abort(); }
        free_material(m);
        free_material(again);
    }
    zr::free_library(lib);
    return 0;
}
