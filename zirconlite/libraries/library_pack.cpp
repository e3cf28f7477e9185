/// @file
/// Packing, and deleting in libraries that are named by their path.
#include "zirconlite/frame/dialogs.hpp"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

int32_t bury_in(const char16_t* path, const char16_t* key);

} // namespace

int32_t zr_libfile_pack(
    const char16_t* path, const char16_t* kind, zr_record_callback copier, zr_handle window)
{
    if (!path || !kind || !copier)
    {
        return zr::report_failure(
            ZR_ERROR_ARGUMENT, "a library, its kind and a copier are needed to pack it");
    }
    if (window && window != ZR_INVALID_HANDLE)
    {
        if (zr::ask(zr_get_message(nullptr, MESSAGE_PACK_LIBRARY)) != MESSAGE_BOX_YES) { return 0; }
        zr::host::status_message(zr_get_message(nullptr, MESSAGE_PACKING_LIBRARY));
    }
    // The lock of the old file lasts until the packed one has its place.
    zr_handle source =
        zr_libfile_open(path, LIBRARY_READ | LIBRARY_WRITE, LIBRARY_SHARE_NOTHING, LIBRARY_OPEN_EXISTING);
    if (source == ZR_INVALID_HANDLE) { return 0; }
    zr::library_file* target = zr::new_library();
    bool is_good = target != nullptr;
    if (is_good)
    {
        target->writes = true;
        is_good = zr_file_write_header(target, kind) != 0;
    }
    if (is_good)
    {
        const uint32_t root = zr_file_seek(source, u"");
        bool is_whole = false;
        zr::walk_library(source, target, root, u"", copier, nullptr, &is_whole);
        is_good = is_whole && zr::replace_by_library(*target, path);
    }
    zr::free_library(target);
    zr_libfile_cancel(source);
    return is_good;
}

int32_t zr_libfile_delete_record(const char16_t* path, const char16_t* key)
{
    const size_t length = key ? platform::text_length(key) : 0;
    if (length == 0 || key[length - 1] == u'\\') { return -1; }
    return bury_in(path, key);
}

int32_t zr_libfile_delete_folder(const char16_t* path, const char16_t* key)
{
    char16_t folder[ZR_KEY_CAPACITY] = {};
    const size_t length = key ? platform::text_length(key) : 0;
    if (length == 0 || !platform::append_text(folder, ZR_KEY_CAPACITY, key) ||
        (key[length - 1] != u'\\' && !platform::append_text(folder, ZR_KEY_CAPACITY, u"\\")))
    {
        return -1;
    }
    const int32_t count = bury_in(path, folder);
    return count > 0 ? 1 : count;
}

int32_t zr_split_fullkey(const char16_t* full, char16_t* out_library, char16_t* out_key)
{
    out_library[0] = out_key[0] = 0;
    if (!full || !full[0] || !full[1]) { return 0; }
    size_t at = 0;
    while (full[at + 1] && !(full[at] == u'\\' && full[at + 1] == u'\\')) { ++at; }
    if (!full[at + 1] || !full[at + 2] || at >= ZR_KEY_CAPACITY) { return 0; }
    if (!platform::copy_text(out_key, ZR_KEY_CAPACITY, full + at + 2))
    {
        out_key[0] = 0;
        return 0;
    }
    for (size_t i = 0; i < at; ++i) { out_library[i] = full[i]; }
    out_library[at] = 0;
    return 1;
}

namespace
{

/// The count of tombstones; -1 when the key does not exist, 0 on failure.
int32_t bury_in(const char16_t* path, const char16_t* key)
{
    zr_handle file =
        zr_libfile_open(path, LIBRARY_READ | LIBRARY_WRITE, LIBRARY_SHARE_NOTHING, LIBRARY_OPEN_EXISTING);
    if (file == ZR_INVALID_HANDLE) { return 0; }
    const uint32_t node = zr_file_seek(file, key);
    const uint32_t count = node ? zr_file_delete_leaf(file, node) : 0;
    if (!zr_libfile_close(file)) { return 0; }
    return node ? int32_t(count) : -1;
}

} // namespace
