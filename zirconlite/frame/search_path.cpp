/// @file
/// The lists of folders and their storage.
#include "zirconlite/frame/search_path.hpp"

#include <string.h>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/settings.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr char16_t settings_key[] = u"SOFTWARE\\Quorvane\\Zirconlite\\Version 3.0\\Paths";

search_path* support_list = nullptr;

/// A stored list by kind, from 1.
struct stored_list
{
    const char16_t* value_name;
    search_path* list;
    uint32_t flags;
};
stored_list stored_lists[] = {
    { u"SEARCH", nullptr, SEARCH_SUBDIRECTORIES },
    { u"LIBRARY", nullptr, 0 },
    { u"OUTPUT", nullptr, 0 },
};
stored_list unknown_list = { u"UNKNOWN", nullptr, 0 };

stored_list& list_of(int32_t kind);
search_path* new_node(const char16_t* path, size_t length, uint32_t flags);
bool join(const search_path* list, char16_t* text);

} // namespace

int32_t zr_get_search_path(search_path** list) { return zr_get_search_path_ex(list, SEARCH_PATH_FILES); }

int32_t zr_get_search_path_ex(search_path** list, int32_t kind)
{
    const stored_list& stored = list_of(kind);
    char16_t text[SEARCH_PATH_TEXT_CAPACITY];
    if (!platform::read_setting(settings_key, stored.value_name, text, SEARCH_PATH_TEXT_CAPACITY))
    {
        return 0;
    }
    search_path* first = nullptr;
    search_path** link = &first;
    for (const char16_t* at = text; *at;)
    {
        size_t length = 0;
        while (at[length] && at[length] != u';') { ++length; }
        if (length > 0)
        {
            *link = new_node(at, length, stored.flags);
            if (!*link)
            {
                zr_free_search_path(first);
                return 0;
            }
            link = &(*link)->next;
        }
        at += length + (at[length] ? 1 : 0);
    }
    if (first) { *list = first; }
    return 1;
}

int32_t zr_save_search_path(const search_path* list)
{
    return zr_save_search_path_ex(list, SEARCH_PATH_FILES);
}

int32_t zr_save_search_path_ex(const search_path* list, int32_t kind)
{
    char16_t text[SEARCH_PATH_TEXT_CAPACITY];
    if (!join(list, text))
    {
        zr::report_failure(
            ZR_ERROR_LIMIT, "the search path is longer than %d characters", SEARCH_PATH_TEXT_CAPACITY - 1);
        return 0;
    }
    stored_list& stored = list_of(kind);
    if (stored.list && stored.list != list)
    {
        search_path* copy = zr_dupe_search_path(list);
        if (list && !copy) { return 0; }
        zr_free_search_path(stored.list);
        stored.list = copy;
    }
    platform::write_setting(settings_key, stored.value_name, text);
    return 1;
}

search_path* zr_dupe_search_path(const search_path* list)
{
    search_path* first = nullptr;
    search_path** link = &first;
    for (const search_path* node = list; node; node = node->next)
    {
        *link = new_node(node->path, platform::text_length(node->path), node->flags);
        if (!*link)
        {
            zr_free_search_path(first);
            return nullptr;
        }
        link = &(*link)->next;
    }
    return first;
}

int32_t zr_free_search_path(search_path* list)
{
    while (list)
    {
        search_path* next = list->next;
        zr_free(list->path);
        zr_free(list);
        list = next;
    }
    return 1;
}

int32_t zr_get_output_path(char16_t* path, int32_t length)
{
    const search_path* output = list_of(SEARCH_PATH_OUTPUT).list;
    if (length > 0) { platform::copy_text(path, size_t(length), output ? output->path : u""); }
    return output != nullptr;
}

int32_t zr_is_valid_directory(const char16_t* path)
{
    platform::find_entry entry;
    return path && *path && platform::read_attributes(path, &entry) &&
           (entry.attributes & platform::attribute_folder) != 0;
}

namespace zr
{

bool start_search_lists(const char16_t* support_folder, bool read_stored)
{
    const size_t length = platform::text_length(support_folder);
    if (length > 0) { support_list = new_node(support_folder, length - 1, SEARCH_SUBDIRECTORIES); }
    if (read_stored)
    {
        for (int32_t kind = SEARCH_PATH_FILES; kind <= SEARCH_PATH_OUTPUT; ++kind)
        {
            zr_get_search_path_ex(&list_of(kind).list, kind);
        }
    }
    return length == 0 || support_list;
}

void end_search_lists()
{
    zr_free_search_path(support_list);
    support_list = nullptr;
    for (stored_list& stored : stored_lists)
    {
        zr_free_search_path(stored.list);
        stored.list = nullptr;
    }
}

const search_path* library_search_list() { return list_of(SEARCH_PATH_LIBRARIES).list; }

const search_path* support_search_list() { return support_list; }

const search_path* file_search_list() { return list_of(SEARCH_PATH_FILES).list; }

} // namespace zr

namespace
{

stored_list& list_of(int32_t kind)
{
    return kind >= SEARCH_PATH_FILES && kind <= SEARCH_PATH_OUTPUT ? stored_lists[kind - 1] : unknown_list;
}

search_path* new_node(const char16_t* path, size_t length, uint32_t flags)
{
    auto* node = static_cast<search_path*>(zr_calloc(1, sizeof(search_path)));
    auto* copy = static_cast<char16_t*>(zr_malloc((length + 1) * sizeof(char16_t)));
    if (!node || !copy)
    {
        zr_free(node);
        zr_free(copy);
        return nullptr;
    }
    memcpy(copy, path, length * sizeof(char16_t));
    copy[length] = 0;
    node->path = copy;
    node->flags = flags;
    return node;
}

bool join(const search_path* list, char16_t* text)
{
    text[0] = 0;
    for (const search_path* node = list; node; node = node->next)
    {
        if (!platform::append_text(text, SEARCH_PATH_TEXT_CAPACITY, node->path) ||
            !platform::append_text(text, SEARCH_PATH_TEXT_CAPACITY, u";"))
        {
            return false;
        }
    }
    return true;
}

} // namespace
