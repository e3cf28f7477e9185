/// @file
/// What the fuzz targets of libraries do with one input; see readers.hpp.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/libraries/material_records.hpp"

namespace fuzz
{

inline constexpr uint32_t first_record = 16; ///< where a record's input begins: 0 is no offset

inline int32_t seek_key(zr_handle source, zr_handle seen, const char16_t* key)
{
    *static_cast<uint64_t*>(seen) += zr_file_seek(source, key);
    return 1;
}

/// Seeks, walks and inserts in a library of these bytes.
inline void use_library(const uint8_t* bytes, size_t size)
{
    zr::library_file* lib = zr::new_library();
    if (!lib) { return; }
    lib->writes = true;
    uint64_t seen = 0;
    if (zr_file_write_bytes(lib, bytes, uint32_t(size)))
    {
        const char16_t key[] = u"Stones\\Marble\\White";
        zr_file_seek(lib, key);
        const uint32_t root = zr_file_seek(lib, u"");
        zr_libfile_in_order_read_ex(lib, &seen, root, u"", seek_key, seek_key);
        for (int again = 0; again < 2; ++again)
        {
            const uint32_t node = zr_file_insert_record(lib, key, nullptr, nullptr);
            if (node && uint64_t(node) + zr::record_node_bytes > lib->size) { abort(); }
        }
        zr_libfile_in_order_read_ex(lib, &seen, root, u"", seek_key, seek_key);
    }
    zr::free_library(lib);
}

/// Reads a material from a record of these bytes, writes it, and reads it again.
inline void use_material_record(const uint8_t* bytes, size_t size)
{
    zr::library_file* lib = zr::new_library();
    if (!lib) { return; }
    lib->writes = true;
    const uint8_t head[first_record] = {};
    if (zr_file_write_bytes(lib, head, sizeof(head)) && zr_file_write_bytes(lib, bytes, uint32_t(size)))
    {
        material* m = zr::read_material_record(*lib, first_record, zr::record_pictures::skip);
        const uint32_t place = m ? zr::write_material_record(*lib, *m, 0) : 0;
        material* again = place ? zr::read_material_record(*lib, place, zr::record_pictures::skip) : nullptr;
        // What can be read can be written, and reads as the same form.
        if (m && (!again || (again->flags & MATERIAL_COMPLEX) != (m->flags & MATERIAL_COMPLEX))) { abort(); }
        free_material(m);
        free_material(again);
    }
    zr::free_library(lib);
}

} // namespace fuzz
