/// @file
/// The search for a file by its name.
#include <string.h>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/search_path.hpp"
#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

host_findfile_function* host_findfile_override = nullptr;

/// What identifies a folder.
struct folder_identity
{
    uint64_t words[2];
};

/// One search. `path` grows and shrinks with the folder in hand, so that deep trees cost little stack.
struct search
{
    const char16_t* name;
    char16_t* path; // of ZR_PATH_CAPACITY
    bool has_wildcards;
    zr::array<folder_identity> visited; // a hash table, zero entries empty; capacity a power of two
    size_t visited_count = 0;
};

const char16_t* last_part(const char16_t* name);
bool is_file(const char16_t* path);
bool search_list(search& s, const search_path* list);
bool search_folder(search& s, bool subdirectories);
bool search_model_folder(search& s);
bool first_visit(search& s);
size_t append_part(char16_t* path, const char16_t* part);

} // namespace

int32_t zr_install_new_host_findfile(host_findfile_function* function)
{
    host_findfile_override = function;
    return 1;
}

int32_t zr_findfile(const search_path* list, const char16_t* name, char16_t* path)
{
    path[0] = 0;
    if (!name) { return 0; }
    const char16_t* bare = last_part(name);
    if (bare != name && is_file(name) && platform::copy_text(path, ZR_PATH_CAPACITY, name)) { return 1; }
    if (*bare == 0) { return 0; }
    if (host_findfile_override && host_findfile_override(bare, path)) { return 1; }
    if (zr::host::findfile(bare, path)) { return 1; }

    search s;
    s.name = bare;
    s.path = path;
    s.has_wildcards = false;
    for (const char16_t* p = bare; *p; ++p) { s.has_wildcards |= *p == u'*' || *p == u'?'; }
    const bool found = search_list(s, list) || search_model_folder(s) ||
                       search_list(s, zr::support_search_list()) || search_list(s, zr::file_search_list());
    if (!found) { path[0] = 0; }
    return found;
}

int32_t zr_file_search_directory(uint32_t flags, const char16_t* directory, const char16_t* subpath,
    const char16_t* pattern, zr_find_callback callback, void* context)
{
    char16_t text[ZR_PATH_CAPACITY];
    if (!platform::copy_text(text, ZR_PATH_CAPACITY, directory) ||
        !platform::append_text(text, ZR_PATH_CAPACITY, subpath) ||
        !platform::append_text(text, ZR_PATH_CAPACITY, pattern))
    {
        return 0;
    }
    platform::find_entry entry;
    platform::find* f = platform::find_first(text, &entry);
    if (!f) { return 0; }
    int32_t result = 1;
    do {
        zr_find_data found = { entry.attributes, entry.size, entry.write_time, {} };
        memcpy(found.name, entry.name, sizeof(found.name));
        const int32_t answer = callback ? callback(directory, &found, context) : 0;
        if (answer == -1)
        {
            result = -1;
            break;
        }
        result |= answer;
    } while ((flags & FILE_SEARCH_ALL) && platform::find_next(f, &entry));
    platform::find_close(f);
    return result;
}

namespace
{

bool is_separator(char16_t c) { return c == u'/' || c == u'\\'; }

/// File name and extension: what follows the last separator or the drive's colon.
const char16_t* last_part(const char16_t* name)
{
    const char16_t* part = name;
    if (name[0] && name[1] == u':') { part = name + 2; }
    for (const char16_t* p = part; *p; ++p)
    {
        if (is_separator(*p)) { part = p + 1; }
    }
    return part;
}

bool is_file(const char16_t* path)
{
    platform::find_entry entry;
    return platform::read_attributes(path, &entry) && !(entry.attributes & platform::attribute_folder);
}

bool search_list(search& s, const search_path* list)
{
    for (const search_path* node = list; node; node = node->next)
    {
        s.visited.clear();
        s.visited_count = 0;
        if (platform::copy_text(s.path, ZR_PATH_CAPACITY, node->path) &&
            search_folder(s, (node->flags & SEARCH_SUBDIRECTORIES) != 0))
        {
            return true;
        }
    }
    return false;
}

bool search_model_folder(search& s)
{
    const char16_t* folder = zr::host::get_model_path();
    char16_t text[ZR_PATH_CAPACITY];
    if (!folder || !*folder || !platform::copy_text(text, ZR_PATH_CAPACITY, folder)) { return false; }
    const size_t length = platform::text_length(text);
    if (length > 1 && is_separator(text[length - 1])) { text[length - 1] = 0; }
    const search_path node = { nullptr, SEARCH_SUBDIRECTORIES, text };
    return search_list(s, &node);
}

/// Searches the folder in `s.path`. On success the path is the file's; otherwise it is as before.
bool search_folder(search& s, bool subdirectories)
{
    const size_t folder_length = platform::text_length(s.path);
    platform::find_entry entry;
    const char16_t* name = s.name;
    if (append_part(s.path, name))
    {
        platform::find* f = s.has_wildcards ? platform::find_first(s.path, &entry) : nullptr;
        s.path[folder_length] = 0;
        if (f) { name = entry.name; }
        const bool found = append_part(s.path, name) && is_file(s.path);
        platform::find_close(f);
        if (found) { return true; }
    }
    s.path[folder_length] = 0;
    if (!subdirectories || !first_visit(s)) { return false; }

    if (!append_part(s.path, u"*.*"))
    {
        s.path[folder_length] = 0;
        return false;
    }
    platform::find* f = platform::find_first(s.path, &entry);
    s.path[folder_length] = 0;
    for (bool more = f != nullptr; more; more = platform::find_next(f, &entry))
    {
        if (!(entry.attributes & platform::attribute_folder) || entry.name[0] == u'.') { continue; }
        if (append_part(s.path, entry.name) && search_folder(s, true))
        {
            platform::find_close(f);
            return true;
        }
        s.path[folder_length] = 0;
    }
    platform::find_close(f);
    return false;
}

/// False for a folder whose sub-folders this search has seen, by whatever links, or when memory fails.
bool first_visit(search& s)
{
    folder_identity id;
    if (!platform::read_identity(s.path, id.words)) { return false; }
    if (s.visited_count * 2 >= s.visited.count)
    {
        zr::array<folder_identity> larger;
        if (!larger.resize(s.visited.count ? s.visited.count * 2 : 64)) { return false; }
        for (const folder_identity& old : s.visited)
        {
            if (old.words[0] == 0 && old.words[1] == 0) { continue; }
            size_t at = (old.words[1] * 0x9E3779B97F4A7C15u >> 20) & (larger.count - 1);
            while (larger[at].words[0] || larger[at].words[1]) { at = (at + 1) & (larger.count - 1); }
            larger[at] = old;
        }
        s.visited = static_cast<zr::array<folder_identity>&&>(larger);
    }
    size_t at = (id.words[1] * 0x9E3779B97F4A7C15u >> 20) & (s.visited.count - 1);
    while (s.visited[at].words[0] || s.visited[at].words[1])
    {
        if (memcmp(&s.visited[at], &id, sizeof(id)) == 0) { return false; }
        at = (at + 1) & (s.visited.count - 1);
    }
    s.visited[at] = id;
    ++s.visited_count;
    return true;
}

/// Joins with the separator that the folder's path itself uses. The new length, 0 when it does not fit.
size_t append_part(char16_t* path, const char16_t* part)
{
    const size_t length = platform::text_length(path);
    const char16_t* separator = u"/";
    for (size_t i = 0; i < length; ++i)
    {
        if (path[i] == u'/') { break; }
        if (path[i] == u'\\') { separator = u"\\"; }
    }
    const bool ended = length > 0 && is_separator(path[length - 1]);
    if (!ended && !platform::append_text(path, ZR_PATH_CAPACITY, separator)) { return 0; }
    return platform::append_text(path, ZR_PATH_CAPACITY, part) ? platform::text_length(path) : 0;
}

} // namespace
