/// @file
/// What the commands for libraries of every kind share: opening, keys, making whole, lists and packing.
#pragma once

#include "host/failure.hpp"
#include "zirconlite/libraries/library_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace host
{

/// The failure that the library has just reported, with `what` in front.
[[noreturn]] void fail_with(const std::string& what);

/// A key as the library takes it. Throws `failure` for a text that is not UTF-8.
std::u16string key_of(const std::string& text);

/// The key of a record; that of a folder, or of nothing, is refused.
std::u16string record_key_of(const std::filesystem::path& file, const std::string& key);

/// An open library, dropped without writing unless it is committed.
struct open_library
{
    open_library(const std::filesystem::path& path, uint32_t access);
    ~open_library() { zr_libfile_cancel(handle); }
    open_library(const open_library&) = delete;
    open_library& operator=(const open_library&) = delete;
    zr_handle handle;
};

/// Refuses a file that is no library.
void check_library(const std::filesystem::path& path);

/// All keys in order; those of folders end in a backslash. False where what follows is damaged.
bool read_keys(zr_handle library, std::vector<std::u16string>& keys);

/// Deletes a record, or a folder.
void delete_key(const std::filesystem::path& file, const std::string& key);

/// Rebuilds the file and prints its sizes.
void pack_library(const std::filesystem::path& file);

/// Makes a library by `write(file, disposition)` under another name and gives it its own when it is whole, so
/// that a killed program leaves no empty library. False, with nothing made, when there is one by then.
template <class Write> bool make_whole(const std::filesystem::path& file, Write write)
{
    std::filesystem::path part = file;
    part += fmt::format(".{}-0.part", getpid()); // what the next writer takes away
    struct remover
    {
        const std::filesystem::path& path;
        ~remover() { unlink(path.c_str()); }
    } const on_return{ part };
    write(part, LIBRARY_CREATE_NEW);
    if (link(part.c_str(), file.c_str()) == 0) { return true; }
    if (errno == EEXIST) { return false; }
    // A file system without second names.
    if (rename(part.c_str(), file.c_str()) == 0) { return true; }
    throw failure(exit_render_failed, fmt::format("{}: {}", file.string(), strerror(errno)));
}

/// Opens a library of one kind for writing by zr_matfile_open or its like.
using library_opener = zr_handle (*)(
    const char16_t* path, uint32_t access, uint32_t share, int32_t disposition);

/// Writes a record by `add(library)`, which gives 0 on failure; makes the library where there is none.
template <class Add>
void add_to_library(const std::filesystem::path& file, const std::string& key, library_opener open, Add add);

/// An empty library; one that is there is refused.
void make_library(const std::filesystem::path& file, library_opener open);

/// zr_handle of a library that is open for writing, or a failure that names `shown`.
zr_handle open_for_writing(const std::filesystem::path& file, const std::filesystem::path& shown,
    library_opener open, int32_t disposition);

template <class Add>
void add_to_library(const std::filesystem::path& file, const std::string& key, library_opener open, Add add)
{
    const auto write = [&](const std::filesystem::path& to, int32_t disposition)
    {
        zr_handle library = open_for_writing(to, file, open, disposition);
        if (!add(library))
        {
            zr_libfile_cancel(library);
            fail_with(fmt::format("{}: \"{}\" cannot be added", file.string(), key));
        }
        if (!zr_libfile_close(library)) { fail_with(file.string()); }
    };
    if (!std::filesystem::exists(file) && make_whole(file, write)) { return; }
    check_library(file);
    write(file, LIBRARY_OPEN_EXISTING);
}

} // namespace host
