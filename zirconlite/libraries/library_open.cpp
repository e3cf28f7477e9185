#include "zirconlite/libraries/library_open.hpp"

#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

bool find_library(const zr::library_kind& kind, const char16_t* name, char16_t (&path)[ZR_PATH_CAPACITY]);
int32_t take_path(const char16_t* directory, const zr_find_data* found, void* path);

} // namespace

namespace zr
{

zr_handle open_library_file(
    const library_kind& kind, const char16_t* path, uint32_t access, uint32_t share, int32_t disposition)
{
    zr_handle file = zr_libfile_open(path, access, share, disposition);
    if (file == ZR_INVALID_HANDLE || !(access & LIBRARY_WRITE) || zr_file_get_size(file) > 0) { return file; }
    if (zr_file_write_header(file, kind.name)) { return file; }
    zr_libfile_cancel(file);
    return ZR_INVALID_HANDLE;
}

zr_handle open_named_library(const library_kind& kind, const char16_t* name, uint32_t access, uint32_t share)
{
    char16_t path[ZR_PATH_CAPACITY];
    if (!name || !find_library(kind, name, path))
    {
        const platform::utf8_text text(name);
        report_failure(
            ZR_ERROR_NOT_FOUND, "there is no %s library \"%s\"", kind.records, text.bytes ? text.bytes : "");
        return ZR_INVALID_HANDLE;
    }
    return open_library_file(kind, path, access, share, LIBRARY_OPEN_EXISTING);
}

} // namespace zr

namespace
{

bool find_library(const zr::library_kind& kind, const char16_t* name, char16_t (&path)[ZR_PATH_CAPACITY])
{
    const bool is_file_name = platform::compare_no_case(zr::extension_of(name), kind.extension) == 0;
    const char16_t* extension = is_file_name ? u"" : kind.extension;
    for (const char16_t* c = name; *c; ++c)
    {
        if (*c != u'/' && *c != u'\\') { continue; }
        platform::find_entry entry;
        return platform::copy_text(path, ZR_PATH_CAPACITY, name) &&
               platform::append_text(path, ZR_PATH_CAPACITY, extension) &&
               platform::read_attributes(path, &entry);
    }
    path[0] = 0;
    zr_libfile_search_ex(name, extension, take_path, path, 1);
    if (path[0] != 0 || !is_file_name) { return path[0] != 0; }
    platform::find_entry entry; // a file of the working folder
    return platform::copy_text(path, ZR_PATH_CAPACITY, name) && platform::read_attributes(path, &entry);
}

/// Keeps the first library of the search.
int32_t take_path(const char16_t* directory, const zr_find_data* found, void* path)
{
    auto* out = static_cast<char16_t*>(path);
    if (platform::copy_text(out, ZR_PATH_CAPACITY, directory) &&
        platform::append_text(out, ZR_PATH_CAPACITY, found->name))
    {
        return -1;
    }
    out[0] = 0;
    return 0;
}

} // namespace
