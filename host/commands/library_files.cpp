#include "host/commands/library_files.hpp"

#include "host/library_session.hpp"
#include "host/text.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/libraries/material_library.h"

#include <cstdio>

namespace host
{

namespace
{

int32_t note_key(zr_handle, zr_handle keys, const char16_t* key)
{
    static_cast<std::vector<std::u16string>*>(keys)->push_back(key);
    return 1;
}

} // namespace

void fail_with(const std::string& what)
{
    const zr_status& s = *zr_last_error();
    const exit_code code = s.code == ZR_ERROR_NOT_FOUND                            ? exit_missing_file
                           : s.code == ZR_ERROR_FORMAT || s.code == ZR_ERROR_LIMIT ? exit_bad_scene
                                                                                   : exit_render_failed;
    throw failure(code, what + library_error());
}

std::u16string key_of(const std::string& text)
{
    if (!is_utf8(text)) { throw failure(exit_usage, "the key is not UTF-8"); }
    return utf16_of(text);
}

std::u16string record_key_of(const std::filesystem::path& file, const std::string& key)
{
    std::u16string made = key_of(key);
    if (!made.empty() && made.back() != u'\\') { return made; }
    throw failure(
        exit_usage, fmt::format("{}: \"{}\" is the key of a folder; a record's key ends in its name",
                        file.string(), key));
}

open_library::open_library(const std::filesystem::path& path, uint32_t access)
    : handle(zr_libfile_open(utf16_of(path).c_str(), access, LIBRARY_SHARE_READ, LIBRARY_OPEN_EXISTING))
{
    char16_t kind[33];
    if (handle == ZR_INVALID_HANDLE) { fail_with(path.string()); }
    if (zr_file_get_kind(handle, kind)) { return; }
    zr_libfile_cancel(handle);
    throw failure(exit_bad_scene, path.string() + ": is not a library");
}

void check_library(const std::filesystem::path& path) { const open_library opened(path, LIBRARY_READ); }

bool read_keys(zr_handle library, std::vector<std::u16string>& keys)
{
    const zr_status before = *zr_last_error();
    const uint32_t root = zr_file_seek(library, u"");
    const bool is_walked = zr_libfile_in_order_read_ex(library, &keys, root, u"", note_key, note_key) != 0;
    return is_walked && std::memcmp(&before, zr_last_error(), sizeof before) == 0;
}

void delete_key(const std::filesystem::path& file, const std::string& text)
{
    check_library(file);
    const std::u16string path = utf16_of(file), key = key_of(text);
    const bool is_folder = !key.empty() && key.back() == u'\\';
    const int32_t result = is_folder ? zr_libfile_delete_folder(path.c_str(), key.c_str())
                                     : zr_libfile_delete_record(path.c_str(), key.c_str());
    if (result == 0) { fail_with(file.string()); }
    if (result < 0)
    {
        throw failure(exit_missing_file,
            fmt::format("{}: there is no {} \"{}\"", file.string(), is_folder ? "folder" : "record", text));
    }
}

void pack_library(const std::filesystem::path& file)
{
    check_library(file);
    const auto before = std::filesystem::file_size(file);
    if (!zr_pack_library(utf16_of(file).c_str())) { fail_with(file.string() + ": not packed"); }
    std::printf("%s: %ju bytes, before %ju\n", file.c_str(), uintmax_t(std::filesystem::file_size(file)),
        uintmax_t(before));
}

zr_handle open_for_writing(const std::filesystem::path& file, const std::filesystem::path& shown,
    library_opener open, int32_t disposition)
{
    zr_handle library =
        open(utf16_of(file).c_str(), LIBRARY_READ | LIBRARY_WRITE, LIBRARY_SHARE_NOTHING, disposition);
    if (library == ZR_INVALID_HANDLE) { fail_with(shown.string()); }
    return library;
}

void make_library(const std::filesystem::path& file, library_opener open)
{
    const auto make = [&](const std::filesystem::path& to, int32_t disposition)
    {
        if (!zr_libfile_close(open_for_writing(to, file, open, disposition))) { fail_with(file.string()); }
    };
    const std::filesystem::path folder = file.parent_path();
    if (!folder.empty() && !std::filesystem::is_directory(folder))
    {
        throw failure(exit_missing_file, file.string() + ": its folder does not exist");
    }
    if (std::filesystem::exists(file) || !make_whole(file, make))
    {
        throw failure(exit_render_failed, file.string() + ": the library exists already");
    }
}

} // namespace host
