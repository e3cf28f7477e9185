/// @file
/// Any bytes as a library: seeking, walking, inserting and packing end, and stay within the file.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "zirconlite/libraries/library_file.hpp"

namespace
{

uint64_t keys_seen;

int32_t seek_key(zr_handle source, zr_handle, const char16_t* key)
{
    keys_seen += zr_file_seek(source, key);
    return 1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    zr::library_file* lib = zr::new_library();
    if (!lib) { return 0; }
    lib->writes = true;
    if (zr_file_write_bytes(lib, bytes, uint32_t(size)))
    {
        zr_file_seek(lib, u"Stones\\Marble\\White");
        const uint32_t root = zr_file_seek(lib, u"");
        zr_libfile_in_order_read_ex(lib, nullptr, root, u"", seek_key, seek_key);
        zr_file_insert_record(lib, u"Stones\\Marble\\White", nullptr, nullptr);
        const uint32_t node = zr_file_insert_record(lib, u"Stones\\Marble\\white", nullptr, nullptr);
        // What was inserted is found, whatever the rest of the file is like, unless names stand out of order.
        if (node > lib->size) { abort(); }
        zr_libfile_in_order_read_ex(lib, nullptr, root, u"", seek_key, seek_key);
    }
    zr::free_library(lib);
    return 0;
}
