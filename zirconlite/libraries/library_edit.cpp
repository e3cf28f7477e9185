/// @file
/// Opening, committing and closing of libraries, and their backup. A writing handle keeps the lock of the
/// file it was opened on until a whole new file has taken that file's place.
#include <algorithm>
#include <string.h>

#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/libraries/sibling_list.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr const char16_t* backup_folder = u"common\\backup\\";

platform::file* open_current(
    const char16_t* path, bool writes, uint32_t share, platform::disposition d, platform::file_error* why);
bool names_file(const char16_t* path, platform::file* f);
bool keep_source(zr::library_file& lib, bool emptied);
bool reopen(zr::library_file& lib);
bool report_opening(const char16_t* path, platform::file_error why);
bool write_blocks(zr::library_file& lib, platform::replacement* r);

} // namespace

zr_handle zr_libfile_open(const char16_t* path, uint32_t access, uint32_t share, int32_t disposition)
{
    const bool writes = (access & LIBRARY_WRITE) != 0;
    const bool may_make = disposition != LIBRARY_OPEN_EXISTING && disposition != LIBRARY_EMPTY_EXISTING;
    const bool empties = disposition == LIBRARY_CREATE_OR_EMPTY || disposition == LIBRARY_EMPTY_EXISTING;
    if (!path || disposition < LIBRARY_CREATE_NEW || disposition > LIBRARY_EMPTY_EXISTING ||
        ((may_make || empties) && !writes && disposition != LIBRARY_OPEN_OR_CREATE))
    {
        zr::report_failure(
            ZR_ERROR_ARGUMENT, "a library is opened by a path, for what its disposition needs");
        return ZR_INVALID_HANDLE;
    }
    zr::library_file* lib = zr::new_library();
    if (!lib) { return ZR_INVALID_HANDLE; }
    lib->writes = writes;
    lib->path = zr_dupestring(path);

    platform::file_error why = platform::file_error::other;
    if (lib->path && disposition != LIBRARY_CREATE_NEW)
    {
        lib->source = open_current(path, writes, share, platform::disposition::open_existing, &why);
    }
    if (lib->path && !lib->source && writes && may_make &&
        (why == platform::file_error::not_found || disposition == LIBRARY_CREATE_NEW))
    {
        lib->source = open_current(path, writes, share, platform::disposition::create_new, &why);
        lib->made = lib->source != nullptr;
    }
    if (!lib->source) { report_opening(path, why); }
    // The lock is held by now, so nobody changes what is backed up.
    if (lib->source && writes && !lib->made && platform::file_size(lib->source) > 0)
    {
        zr_backup_libfile(path);
    }
    if (!lib->source || !keep_source(*lib, empties))
    {
        zr_libfile_cancel(lib);
        return ZR_INVALID_HANDLE;
    }
    return lib;
}

int32_t zr_libfile_commit(zr_handle file)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib) { return 0; }
    if (!lib->writes)
    {
        return zr::fail_in_library(*lib, 0, zr::fail(ZR_ERROR_STATE, "the library is open for reading only"));
    }
    if (!lib->changed && !lib->failed) { return 1; }
    if (!zr::replace_by_library(*lib, lib->path)) { return 0; }
    lib->changed = lib->made = false;
    // The new file is there; whether this handle may go on editing it is another matter.
    if (!reopen(*lib)) { lib->failed = true; }
    return 1;
}

int32_t zr_libfile_close(zr_handle file)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib) { return 0; }
    bool is_kept = !lib->failed;
    if (lib->writes && (lib->changed || lib->failed))
    {
        is_kept = zr::replace_by_library(*lib, lib->path);
        if (is_kept) { lib->made = false; }
    }
    zr_libfile_cancel(file);
    return is_kept;
}

int32_t zr_libfile_cancel(zr_handle file)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib) { return 0; }
    // What was made for nothing goes, as long as it is still what the path names.
    if (lib->made && names_file(lib->path, lib->source)) { platform::delete_file(lib->path); }
    zr::free_library(lib);
    return 1;
}

int32_t zr_backup_libfile(const char16_t* path)
{
    if (!path || !zr::the_module.root_path) { return 0; }
    const char16_t* name = path;
    for (const char16_t* c = path; *c; ++c)
    {
        if (*c == u'/' || *c == u'\\') { name = c + 1; }
    }
    char16_t place[ZR_PATH_CAPACITY] = {};
    platform::append_text(place, ZR_PATH_CAPACITY, zr::the_module.root_path);
    if (!platform::append_text(place, ZR_PATH_CAPACITY, backup_folder) || !platform::create_folder(place) ||
        !platform::append_text(place, ZR_PATH_CAPACITY, name))
    {
        return zr::report_failure(ZR_ERROR_WRITE, "the folder of backups cannot be made");
    }
    platform::file* from = platform::open_file(path, platform::file_access::read,
        platform::share_read | platform::share_write, platform::disposition::open_existing);
    platform::replacement* to = from ? platform::begin_replacement(place) : nullptr;
    auto* bytes = static_cast<uint8_t*>(to ? zr_malloc(zr::library_block_bytes) : nullptr);
    bool is_good = bytes != nullptr;
    uint64_t left = is_good ? platform::file_size(from) : 0;
    while (is_good && left > 0)
    {
        const size_t part = size_t(std::min<uint64_t>(left, zr::library_block_bytes));
        is_good =
            platform::read_file(from, bytes, part) == part && platform::write_replacement(to, bytes, part);
        left -= part;
    }
    zr_free(bytes);
    platform::close_file(from);
    if (is_good) { is_good = platform::commit_replacement(to); }
    else { platform::cancel_replacement(to); }
    return is_good || zr::report_failure(ZR_ERROR_WRITE, "the backup of a library cannot be written");
}

namespace zr
{

library_file* new_library()
{
    auto* lib = static_cast<library_file*>(zr_calloc(1, sizeof(library_file)));
    if (!lib) { report_failure(ZR_ERROR_MEMORY, "no memory for a library"); }
    return lib;
}

void free_library(library_file* lib)
{
    if (!lib) { return; }
    forget_all_children(*lib);
    for (uint8_t* block : lib->blocks) { zr_free(block); }
    lib->blocks.clear();
    lib->lists.clear();
    platform::close_file(lib->source);
    zr_free(lib->path);
    zr_free(lib);
}

bool replace_by_library(library_file& lib, const char16_t* path)
{
    if (lib.failed)
    {
        // The reason of the first failure has been reported already.
        return report_failure(ZR_ERROR_STATE, "the edit of the library failed, the library stays as it was");
    }
    platform::file_error why;
    platform::replacement* r = platform::begin_replacement(path, &why);
    bool is_good = r && write_blocks(lib, r);
    if (is_good) { is_good = platform::commit_replacement(r); }
    else { platform::cancel_replacement(r); }
    return is_good ||
           fail_in_library(lib, 0, fail(ZR_ERROR_WRITE, "the library cannot be written; it stays as it was"));
}

} // namespace zr

namespace
{

/// Opens the file that `path` names when its lock is held: who waits for nothing may lock a file that another
/// writer has just replaced.
platform::file* open_current(
    const char16_t* path, bool writes, uint32_t share, platform::disposition d, platform::file_error* why)
{
    const auto access = writes ? platform::file_access::read_write : platform::file_access::read;
    const uint32_t sharing = writes ? platform::share_nothing : share & platform::share_read;
    for (int attempt = 0; attempt < 8; ++attempt)
    {
        platform::file* f = platform::open_file(path, access, sharing, d, why);
        if (!f || names_file(path, f)) { return f; }
        platform::close_file(f);
    }
    *why = platform::file_error::in_use;
    return nullptr;
}

bool names_file(const char16_t* path, platform::file* f)
{
    uint64_t named[2], open[2];
    return platform::read_identity(path, named) && platform::file_identity(f, open) && named[0] == open[0] &&
           named[1] == open[1];
}

/// Takes the size of the source and makes room for its blocks.
bool keep_source(zr::library_file& lib, bool emptied)
{
    const uint64_t size = platform::file_size(lib.source);
    if (size > zr::library_max_bytes)
    {
        return zr::fail_in_library(lib, 0, zr::fail(ZR_ERROR_LIMIT, "a library ends before 4 GiB"));
    }
    lib.changed = emptied && size > 0;
    lib.source_bytes = lib.size = emptied ? 0 : size;
    if (!lib.blocks.resize(size_t((lib.size + zr::library_block_bytes - 1) / zr::library_block_bytes)))
    {
        return zr::fail_in_library(lib, 0, zr::fail(ZR_ERROR_MEMORY, "no memory for the library"));
    }
    return true;
}

/// Moves the lock to the file that took the old one's place. What was read stays good: the content is the
/// same.
bool reopen(zr::library_file& lib)
{
    platform::file_error why = platform::file_error::other;
    platform::file* f = open_current(lib.path, true, 0, platform::disposition::open_existing, &why);
    if (!f || platform::file_size(f) != lib.size)
    {
        platform::close_file(f);
        return zr::fail_in_library(
            lib, 0, zr::fail(ZR_ERROR_STATE, "the library was written, but another program has it now"));
    }
    platform::close_file(lib.source);
    lib.source = f;
    lib.source_bytes = lib.size;
    return true;
}

bool report_opening(const char16_t* path, platform::file_error why)
{
    struct row
    {
        platform::file_error why;
        zr_error_code code;
        const char* text;
    };
    constexpr row rows[] = {
        { platform::file_error::not_found, ZR_ERROR_NOT_FOUND, "the library does not exist" },
        { platform::file_error::exists, ZR_ERROR_WRITE, "the library exists already" },
        { platform::file_error::in_use, ZR_ERROR_STATE, "the library is in use" },
        { platform::file_error::denied, ZR_ERROR_WRITE, "the library may not be opened" },
        { platform::file_error::not_a_file, ZR_ERROR_FORMAT, "the library is not a plain file" },
    };
    zr::status s = zr::fail(ZR_ERROR_READ, "the library cannot be opened");
    for (const row& r : rows)
    {
        if (r.why == why) { s = zr::fail(r.code, "%s", r.text); }
    }
    platform::to_utf8(path, s.file, sizeof(s.file));
    return zr::report(s);
}

bool write_blocks(zr::library_file& lib, platform::replacement* r)
{
    auto* bytes = static_cast<uint8_t*>(zr_malloc(zr::library_block_bytes));
    bool is_good = bytes != nullptr;
    for (uint64_t at = 0; is_good && at < lib.size; at += zr::library_block_bytes)
    {
        const uint64_t part = std::min<uint64_t>(lib.size - at, zr::library_block_bytes);
        is_good = zr::read_at(lib, at, bytes, part) && platform::write_replacement(r, bytes, size_t(part));
    }
    zr_free(bytes);
    return is_good;
}

} // namespace
