#include "zirconlite/libraries/sibling_list.hpp"

#include <initializer_list>
#include <string.h>

#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace zr
{

/// A live child: its node, what precedes it in the file's list (a tombstone, too; 0 none), its name.
struct sibling
{
    uint32_t node, previous, name;
};

/// The children of one type of one folder.
struct sibling_list
{
    uint32_t head_place; ///< where the file keeps the head of the list
    bool is_kept;        ///< `live` and `tail` are valid
    bool is_walked;      ///< not in order, or broken: each search walks the file
    uint32_t tail;       ///< last node of the file's list; 0 none
    array<sibling> live; ///< in order
};

} // namespace zr

namespace
{

constexpr uint32_t name_place = 8;

uint32_t head_place(uint32_t parent, int32_t type);
zr::sibling_list* list_at(zr::library_file& lib, uint32_t place, bool* is_known);
size_t list_index(const zr::library_file& lib, uint32_t place);
bool keep_list(zr::library_file& lib, int32_t type, zr::sibling_list& list);
bool search_file(
    zr::library_file& lib, const char16_t* name, uint32_t place, int32_t type, zr::child_place* found);
bool search_list(
    zr::library_file& lib, const char16_t* name, const zr::sibling_list& list, size_t* index, bool* is_match);
void drop_list(zr::sibling_list* list);

} // namespace

namespace zr
{

bool find_child(library_file& lib, const char16_t* name, uint32_t parent, int32_t type, child_place* place)
{
    *place = {};
    bool is_known = false;
    sibling_list* list = list_at(lib, head_place(parent, type), &is_known);
    // One search costs less by walking; whoever searches again gets the array.
    if (list && is_known && !list->is_walked)
    {
        if (!list->is_kept && !keep_list(lib, type, *list))
        {
            list->live.clear();
            list->is_walked = true;
        }
        size_t i = 0;
        bool is_match = false;
        if (list->is_kept && search_list(lib, name, *list, &i, &is_match))
        {
            const sibling_list& l = *list;
            *place = is_match           ? child_place{ l.live[i].node, l.live[i].node }
                     : i < l.live.count ? child_place{ 0, l.live[i].previous }
                                        : child_place{ 0, l.tail };
            return true;
        }
    }
    return search_file(lib, name, head_place(parent, type), type, place);
}

void child_inserted(library_file& lib, const char16_t* name, uint32_t parent, int32_t type,
    const child_place& place, uint32_t node)
{
    const size_t at = list_index(lib, head_place(parent, type));
    if (at == lib.lists.count || lib.lists[at]->head_place != head_place(parent, type)) { return; }
    sibling_list& list = *lib.lists[at];
    if (!list.is_kept) { return; }
    size_t i = 0;
    bool is_match;
    uint32_t text = 0;
    array<sibling>& live = list.live;
    if (!read_u32_at(lib, uint64_t(node) + name_place, &text) ||
        !search_list(lib, name, list, &i, &is_match) || !live.reserve(live.count + 1))
    {
        forget_children(lib, parent);
        return;
    }
    if (i < live.count && live[i].previous == place.previous) { live[i].previous = node; }
    if (list.tail == place.previous) { list.tail = node; }
    memmove(live.items + i + 1, live.items + i, (live.count - i) * sizeof(sibling));
    live[i] = { node, place.previous, text };
    ++live.count;
}

void child_buried(library_file& lib, uint32_t parent, uint32_t node)
{
    for (const int32_t type : { LIBRARY_CHUNK_FOLDER, LIBRARY_CHUNK_RECORD })
    {
        const size_t at = list_index(lib, head_place(parent, type));
        if (at == lib.lists.count || lib.lists[at]->head_place != head_place(parent, type)) { continue; }
        array<sibling>& live = lib.lists[at]->live;
        for (size_t i = 0; i < live.count; ++i)
        {
            if (live[i].node != node) { continue; }
            memmove(live.items + i, live.items + i + 1, (live.count - i - 1) * sizeof(sibling));
            --live.count;
            break;
        }
    }
}

void forget_children(library_file& lib, uint32_t parent)
{
    for (const int32_t type : { LIBRARY_CHUNK_FOLDER, LIBRARY_CHUNK_RECORD })
    {
        const size_t at = list_index(lib, head_place(parent, type));
        if (at == lib.lists.count || lib.lists[at]->head_place != head_place(parent, type)) { continue; }
        lib.lists[at]->live.clear();
        lib.lists[at]->is_kept = false;
    }
}

void forget_all_children(library_file& lib)
{
    for (sibling_list* list : lib.lists) { drop_list(list); }
    lib.lists.clear();
}

} // namespace zr

namespace
{

uint32_t head_place(uint32_t parent, int32_t type)
{
    return parent + (type == LIBRARY_CHUNK_FOLDER ? 12 : 16);
}

/// Where the list of a place is among the lists, or would be.
size_t list_index(const zr::library_file& lib, uint32_t place)
{
    size_t low = 0, high = lib.lists.count;
    while (low < high)
    {
        const size_t middle = (low + high) / 2;
        if (lib.lists[middle]->head_place < place) { low = middle + 1; }
        else { high = middle; }
    }
    return low;
}

/// The list's record, made at first; null when memory fails, which costs time only.
zr::sibling_list* list_at(zr::library_file& lib, uint32_t place, bool* is_known)
{
    const size_t at = list_index(lib, place);
    zr::array<zr::sibling_list*>& lists = lib.lists;
    *is_known = at < lists.count && lists[at]->head_place == place;
    if (*is_known) { return lists[at]; }
    auto* made = static_cast<zr::sibling_list*>(zr_calloc(1, sizeof(zr::sibling_list)));
    if (!made || !lists.reserve(lists.count + 1))
    {
        zr_free(made);
        return nullptr;
    }
    made->head_place = place;
    memmove(lists.items + at + 1, lists.items + at, (lists.count - at) * sizeof(lists[0]));
    lists[at] = made;
    ++lists.count;
    return made;
}

void drop_list(zr::sibling_list* list)
{
    list->live.clear();
    zr_free(list);
}

/// Fills the array from the file. False when the list is broken or out of order, or memory fails.
bool keep_list(zr::library_file& lib, int32_t type, zr::sibling_list& list)
{
    list.live.clear();
    list.tail = 0;
    char16_t texts[2][ZR_NAME_CAPACITY] = {};
    uint32_t at = 0;
    if (!zr::read_u32_at(lib, list.head_place, &at)) { return false; }
    for (uint64_t left = zr::node_budget(lib); at != 0; --left)
    {
        zr::library_node node;
        if (left == 0 || !zr::read_node(lib, at, type, &node)) { return false; }
        if (node.name)
        {
            char16_t(&text)[ZR_NAME_CAPACITY] = texts[list.live.count % 2];
            const char16_t* before = texts[(list.live.count + 1) % 2];
            if (!zr::read_name(lib, node.name, text)) { return false; }
            if (list.live.count > 0 && platform::compare_no_case(before, text) > 0) { return false; }
            if (!list.live.push({ at, list.tail, node.name })) { return false; }
        }
        list.tail = at;
        at = node.next;
    }
    return list.is_kept = true;
}

/// The first live sibling that is not below `name`. False when the array and the file disagree.
bool search_list(
    zr::library_file& lib, const char16_t* name, const zr::sibling_list& list, size_t* index, bool* is_match)
{
    size_t low = 0, high = list.live.count;
    char16_t text[ZR_NAME_CAPACITY];
    while (low < high)
    {
        const size_t middle = (low + high) / 2;
        if (!zr::read_name(lib, list.live[middle].name, text)) { return false; }
        const int order = platform::compare_no_case(text, name);
        if (order < 0) { low = middle + 1; }
        else
        {
            high = middle;
            *is_match = order == 0;
        }
    }
    *index = low;
    uint32_t stored = 0;
    *is_match = low < list.live.count && *is_match; // the last comparison that lowered `high` was with `low`
    return !*is_match || (zr::read_u32_at(lib, uint64_t(list.live[low].node) + name_place, &stored) &&
                             stored == list.live[low].name);
}

/// The walk through the file: the list ends at a match, or before the first live name that is greater.
bool search_file(
    zr::library_file& lib, const char16_t* name, uint32_t place, int32_t type, zr::child_place* found)
{
    char16_t text[ZR_NAME_CAPACITY];
    uint32_t at = 0;
    if (!zr::read_u32_at(lib, place, &at)) { return false; }
    for (uint64_t left = zr::node_budget(lib); at != 0; --left)
    {
        zr::library_node node;
        if (left == 0)
        {
            return zr::fail_in_library(
                lib, at, zr::fail(ZR_ERROR_FORMAT, "the links of the library run in a circle"));
        }
        if (!zr::read_node(lib, at, type, &node)) { return false; }
        if (node.name)
        {
            if (!zr::read_name(lib, node.name, text)) { return false; }
            const int order = platform::compare_no_case(name, text);
            if (order == 0) { found->node = at; }
            else if (order < 0) { return true; }
        }
        found->previous = at;
        if (found->node) { return true; }
        at = node.next;
    }
    return true;
}

} // namespace
