/// @file
/// Dumping the keys of a library, and rebuilding it under other keys.
#include <iterator>
#include <stdlib.h>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/frame/dialogs.hpp"
#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/libraries/library_kinds.hpp"
#include "zirconlite/libraries/material_library.h"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr uint64_t max_translation_bytes = 64 << 20;
constexpr const char16_t* translated_mark = u"_translated";
constexpr const char16_t* text_extension = u".uni";

/// A text file being written.
struct text_writing
{
    platform::replacement* file;
    bool is_good;
};

bool put_text(text_writing& out, const char16_t* text);
int32_t dump_key(zr_handle source, zr_handle out, const char16_t* key);
bool path_beside(const char16_t* path, const char16_t* behind_stem, const char16_t* extension,
    char16_t (&out)[ZR_PATH_CAPACITY]);

/// A translation file, whose fields are taken line by line.
struct translation
{
    const char16_t* at;
    const char16_t* end;
    char16_t fields[2][ZR_KEY_CAPACITY];
};
bool next_line(translation& t, bool* is_complete);
bool take_field(const char16_t*& at, const char16_t* end, char16_t (&field)[ZR_KEY_CAPACITY]);
int32_t translate(zr_handle source, zr_handle target, const zr::library_kind& kind, translation& t);
bool ask_for_existing(zr_handle window, const char16_t* title, const char16_t* name, const char16_t* pattern,
    zr_save_dialog* dialog);

} // namespace

int32_t zr_dump_library(const char16_t* path)
{
    char16_t out_path[ZR_PATH_CAPACITY];
    if (!path || !path_beside(path, u"", text_extension, out_path)) { return 0; }
    zr_handle file = zr_libfile_open(path, LIBRARY_READ, LIBRARY_SHARE_READ, LIBRARY_OPEN_EXISTING);
    if (file == ZR_INVALID_HANDLE) { return 0; }
    text_writing out = { platform::begin_replacement(out_path), true };
    bool is_whole = false;
    if (out.file && put_text(out, u"\xFEFF"))
    {
        zr::walk_library(file, &out, zr_file_seek(file, u""), u"", dump_key, nullptr, &is_whole);
    }
    const bool is_good = out.file && is_whole && out.is_good && platform::commit_replacement(out.file);
    if (!is_good)
    {
        if (out.file && !(is_whole && out.is_good)) { platform::cancel_replacement(out.file); }
        if (is_whole || !out.file)
        {
            zr::report_failure(ZR_ERROR_WRITE, "the list of keys cannot be written");
        }
    }
    zr_libfile_close(file);
    return is_good;
}

int32_t zr_translate_library(const char16_t* path, const char16_t* translation_path)
{
    char16_t out_path[ZR_PATH_CAPACITY];
    const zr::library_kind* kind = path && translation_path ? zr::library_kind_of(path) : nullptr;
    if (!kind || !path_beside(path, translated_mark, zr::extension_of(path), out_path)) { return -1; }
    size_t size = 0;
    unsigned char* bytes = platform::read_whole_file(translation_path, max_translation_bytes, &size);
    auto* units = static_cast<char16_t*>(bytes ? zr_malloc(size + sizeof(char16_t)) : nullptr);
    if (!units)
    {
        free(bytes);
        zr::report_failure(ZR_ERROR_READ, "the translation file cannot be read");
        return -1;
    }
    zr::byte_reader in(bytes, size);
    in.skip(2); // the mark of UTF-16
    size_t count = 0;
    while (in.left() >= 2) { units[count++] = in.u16(); }
    free(bytes);
    translation t = { units, units + count, {} };

    int32_t written = -1;
    zr_handle source = zr_libfile_open(path, LIBRARY_READ, LIBRARY_SHARE_READ, LIBRARY_OPEN_EXISTING);
    zr_handle target = source == ZR_INVALID_HANDLE ? ZR_INVALID_HANDLE
                                                   : zr_libfile_open(out_path, LIBRARY_READ | LIBRARY_WRITE,
                                                         LIBRARY_SHARE_NOTHING, LIBRARY_CREATE_OR_EMPTY);
    if (target != ZR_INVALID_HANDLE)
    {
        if (zr_file_write_header(target, kind->name)) { written = translate(source, target, *kind, t); }
        if (written < 0) { zr_libfile_cancel(target); }
        else if (!zr_libfile_close(target)) { written = -1; }
    }
    if (source != ZR_INVALID_HANDLE) { zr_libfile_close(source); }
    zr_free(units);
    return written;
}

int32_t zr_pack_library(const char16_t* path)
{
    const zr::library_kind* kind = path ? zr::library_kind_of(path) : nullptr;
    return kind ? zr_libfile_pack(path, kind->name, kind->copy, nullptr) : 0;
}

int32_t zr_libfile_dump(zr_handle window)
{
    zr_save_dialog dialog;
    return ask_for_existing(window, u"Select Library", u"Library File", u"*.mlib;*.plib;*.llib", &dialog) &&
           zr_dump_library(dialog.path);
}

int32_t zr_libfile_translate(zr_handle window)
{
    zr_save_dialog library, text;
    return ask_for_existing(window, u"Select Library", u"Library File", u"*.mlib;*.plib;*.llib", &library) &&
           zr::library_kind_of(library.path) &&
           ask_for_existing(window, u"Translation File", u"Translation File", u"*.uni", &text) &&
           zr_translate_library(library.path, text.path) >= 0;
}

namespace
{

bool put_text(text_writing& out, const char16_t* text)
{
    for (; *text && out.is_good; ++text)
    {
        uint8_t bytes[2];
        zr::put_u16(bytes, *text);
        out.is_good = platform::write_replacement(out.file, bytes, sizeof(bytes));
    }
    return out.is_good;
}

int32_t dump_key(zr_handle, zr_handle out, const char16_t* key)
{
    auto& writing = *static_cast<text_writing*>(out);
    return put_text(writing, u"\r\n") && put_text(writing, key);
}

bool path_beside(const char16_t* path, const char16_t* behind_stem, const char16_t* extension,
    char16_t (&out)[ZR_PATH_CAPACITY])
{
    const char16_t* end = zr::extension_of(path);
    const bool fits = platform::copy_text(out, std::size(out), path) && size_t(end - path) < std::size(out);
    if (fits) { out[end - path] = 0; }
    if (fits && platform::append_text(out, std::size(out), behind_stem) &&
        platform::append_text(out, std::size(out), extension))
    {
        return true;
    }
    return zr::report_failure(ZR_ERROR_LIMIT, "the path of the library is too long");
}

/// Takes the first two fields of the next line. False behind the last line.
bool next_line(translation& t, bool* is_complete)
{
    while (t.at < t.end && (*t.at == u'\r' || *t.at == u'\n')) { ++t.at; }
    if (t.at == t.end) { return false; }
    *is_complete = take_field(t.at, t.end, t.fields[0]) && take_field(t.at, t.end, t.fields[1]);
    while (t.at < t.end && *t.at != u'\r' && *t.at != u'\n') { ++t.at; }
    return true;
}

/// Takes a field up to a tab or the line's end. False for an empty one and one longer than a key.
bool take_field(const char16_t*& at, const char16_t* end, char16_t (&field)[ZR_KEY_CAPACITY])
{
    while (at < end && *at == u'\t') { ++at; }
    const char16_t* stop = at;
    while (stop < end && *stop != u'\t' && *stop != u'\r' && *stop != u'\n') { ++stop; }
    const bool is_quoted = stop - at >= 2 && *at == u'"' && stop[-1] == u'"';
    const char16_t* from = at + is_quoted;
    const char16_t* last = stop - is_quoted;
    size_t length = 0;
    for (; from < last && length + 1 < std::size(field); ++from)
    {
        field[length++] = *from;
        if (is_quoted && *from == u'"' && from + 1 < last && from[1] == u'"') { ++from; }
    }
    field[length] = 0;
    at = stop;
    return length > 0 && from >= last;
}

/// The count of records written; -1 when one cannot be.
int32_t translate(zr_handle source, zr_handle target, const zr::library_kind& kind, translation& t)
{
    int32_t written = 0;
    bool is_complete;
    while (next_line(t, &is_complete))
    {
        const char16_t* key = t.fields[0];
        if (!is_complete || zr_file_seek(source, key) == 0) { continue; }
        if (!kind.copy_as(source, key, target, t.fields[1])) { return -1; }
        ++written;
    }
    return written;
}

bool ask_for_existing(zr_handle window, const char16_t* title, const char16_t* name, const char16_t* pattern,
    zr_save_dialog* dialog)
{
    *dialog = {};
    dialog->title = title;
    dialog->folder = u"";
    dialog->filter_count = 1;
    dialog->filter_names = &name;
    dialog->filter_patterns = &pattern;
    dialog->default_extension = u"";
    dialog->filter = 1;
    if (!zr::ask_for_existing_file(window, dialog)) { return false; }
    dialog->path[std::size(dialog->path) - 1] = 0;
    return dialog->path[0] != 0;
}

} // namespace
