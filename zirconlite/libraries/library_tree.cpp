/// @file
/// Keys and nodes: seeking, inserting, burying, reading records, the walk in order.
#include <string.h>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/libraries/sibling_list.hpp"
#include "zirconlite/platform/clock.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr uint32_t next_place = 0, parent_place = 4, name_place = 8, payload_place = 12;
constexpr uint32_t first_folder_place = 12, first_record_place = 16;
constexpr uint32_t old_record_bytes = 36;
constexpr uint32_t mark = 0xFFFFFFFF, second_mark = 0xFFFFFFFE;

const uint64_t* date_of_records = nullptr; // null: the clock
bool keeps_read_date = false;
uint64_t read_date = 0;

struct key_copy
{
    char16_t units[ZR_KEY_CAPACITY];
};

bool copy_key(const zr::library_file& lib, const char16_t* key, key_copy& copy);
bool names_record(const char16_t* key);
uint32_t append_node(
    zr::library_file& lib, const char16_t* name, uint32_t parent, uint32_t next, int32_t type);
uint32_t list_place(uint32_t parent, int32_t type);
uint32_t bury(zr_handle file, uint32_t node);

/// A walk, which each level continues with its folder's key at the end of `key`.
struct walk
{
    zr::library_file& source;
    zr_handle target;
    zr_record_callback on_record, on_folder;
    uint64_t budget; ///< nodes left to meet
    bool is_whole;
    key_copy key;
    char16_t name[ZR_NAME_CAPACITY]; ///< here and not on the stack, which a deep folder needs
};
int32_t walk_folder(walk& w, uint32_t folder, size_t key_length);
bool next_child(walk& w, uint32_t at, int32_t type, zr::library_node* node);
bool add_name(walk& w, uint32_t name, size_t key_length, const char16_t* behind);

} // namespace

int32_t zr_file_parse_key(char16_t* key, char16_t** out_end)
{
    char16_t* at = key;
    while (*at && *at != u'\\') { ++at; }
    *out_end = at;
    if (*at == 0) { return at == key ? 0 : 2; }
    *at = 0;
    return 1;
}

uint32_t zr_file_seek(zr_handle file, const char16_t* key)
{
    zr::library_file* lib = zr::library_of(file);
    key_copy copy;
    uint32_t folder = 0;
    if (!lib || lib->size == 0 || !copy_key(*lib, key, copy) ||
        !zr::read_u32_at(*lib, zr::library_root_place, &folder))
    {
        return 0;
    }
    char16_t* at = copy.units;
    // A folder below itself would be found for as long as the key goes on; that ends with the key.
    for (;;)
    {
        char16_t* end;
        const int32_t kind = zr_file_parse_key(at, &end);
        if (kind == 0) { return folder; }
        zr::child_place place;
        if (!zr::find_child(*lib, at, folder, kind, &place) || place.node == 0) { return 0; }
        if (kind == LIBRARY_CHUNK_RECORD) { return place.node; }
        folder = place.node;
        at = end + 1;
    }
}

uint32_t zr_library_seek(const char16_t* path, const char16_t* key)
{
    zr_handle file = zr_libfile_open(path, LIBRARY_READ, LIBRARY_SHARE_READ, LIBRARY_OPEN_EXISTING);
    if (file == ZR_INVALID_HANDLE) { return 0; }
    const uint32_t node = zr_file_seek(file, key);
    zr_libfile_close(file);
    return node;
}

uint32_t zr_file_insert_node(zr_handle file, const char16_t* name, uint32_t parent, int32_t type)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib) { return 0; }
    const size_t length = name ? platform::text_length(name) : 0;
    if (length == 0 || length >= ZR_NAME_CAPACITY ||
        (type != LIBRARY_CHUNK_FOLDER && type != LIBRARY_CHUNK_RECORD))
    {
        zr::fail_in_library(*lib, 0,
            zr::fail(ZR_ERROR_ARGUMENT, "a folder or record of a library has a name of 1 to %d characters",
                ZR_NAME_CAPACITY - 1));
        return 0;
    }
    if (!lib->writes || lib->failed)
    {
        zr::fail_in_library(*lib, 0, zr::fail(ZR_ERROR_STATE, "the library cannot be edited"));
        return 0;
    }
    zr::child_place place;
    if (!zr::find_child(*lib, name, parent, type, &place)) { return 0; }
    if (place.node && type == LIBRARY_CHUNK_FOLDER) { return place.node; }
    if (place.node && !bury(file, place.node)) { return 0; }

    const uint32_t link = place.previous ? place.previous + next_place : list_place(parent, type);
    uint32_t next = 0;
    if (!zr::read_u32_at(*lib, link, &next)) { return 0; }
    const uint32_t node = append_node(*lib, name, parent, next, type);
    if (!node || !zr::write_u32_at(*lib, link, node)) { return 0; }
    zr::child_inserted(*lib, name, parent, type, place, node);
    return node;
}

uint32_t zr_file_insert_record(zr_handle file, const char16_t* key, zr_record_writer writer, void* argument)
{
    zr::library_file* lib = zr::library_of(file);
    key_copy copy;
    uint32_t folder = 0;
    if (!lib || !copy_key(*lib, key, copy) || !zr::read_u32_at(*lib, zr::library_root_place, &folder))
    {
        return 0;
    }
    char16_t* at = copy.units;
    for (;;)
    {
        char16_t* end;
        const int32_t kind = zr_file_parse_key(at, &end);
        if (kind == 0) { return 0; }
        const uint32_t node = zr_file_insert_node(file, at, folder, kind);
        if (!node) { return 0; }
        if (kind == LIBRARY_CHUNK_FOLDER)
        {
            folder = node;
            at = end + 1;
            continue;
        }
        // Half a record must not get into the file.
        if (writer && !writer(file, node, argument)) { lib->failed = true; }
        return lib->failed ? 0 : node;
    }
}

uint32_t zr_file_delete_leaf(zr_handle file, uint32_t node) { return bury(file, node); }

uint32_t zr_file_delete_branch(zr_handle file, uint32_t node) { return bury(file, node); }

int32_t zr_file_delete_node(zr_handle file, uint32_t parent, uint32_t node, int32_t type)
{
    zr::library_file* lib = zr::library_of(file);
    if (!lib || (type != LIBRARY_CHUNK_FOLDER && type != LIBRARY_CHUNK_RECORD)) { return 0; }
    uint32_t link = list_place(parent, type);
    for (uint64_t left = zr::node_budget(*lib); left > 0; --left)
    {
        uint32_t at = 0, next = 0;
        if (!zr::read_u32_at(*lib, link, &at) || at == 0) { return 0; }
        if (at == node)
        {
            zr::forget_children(*lib, parent);
            return zr::read_u32_at(*lib, uint64_t(node) + next_place, &next) &&
                   zr::write_u32_at(*lib, link, next);
        }
        link = at + next_place;
    }
    return zr::fail_in_library(
        *lib, link, zr::fail(ZR_ERROR_FORMAT, "the links of the library run in a circle"));
}

void* zr_file_read_record(zr_handle file, const char16_t* key, zr_record_reader reader)
{
    if (!key || !names_record(key)) { return nullptr; }
    const uint32_t at = zr_file_seek(file, key);
    zr::library_node node;
    if (!at || !zr::read_node(*zr::library_of(file), at, LIBRARY_CHUNK_RECORD, &node)) { return nullptr; }
    if (keeps_read_date) { read_date = node.date; }
    return reader(file, node.payload);
}

int32_t zr_libfile_in_order_read_ex(zr_handle source, zr_handle target, uint32_t folder,
    const char16_t* prefix, zr_record_callback on_record, zr_record_callback on_folder)
{
    bool is_whole;
    return zr::walk_library(source, target, folder, prefix, on_record, on_folder, &is_whole);
}

int32_t zr_libfile_in_order_read(
    zr_handle source, zr_handle target, uint32_t folder, const char16_t* prefix, zr_record_callback on_record)
{
    return zr_libfile_in_order_read_ex(source, target, folder, prefix, on_record, nullptr);
}

int32_t zr_file_set_filetime(const uint64_t* date)
{
    date_of_records = date;
    return 1;
}

int32_t zr_get_date_during_read(int32_t flag)
{
    keeps_read_date = flag != 0;
    return 1;
}

uint64_t zr_get_read_date(void) { return read_date; }

namespace zr
{

bool read_node(library_file& lib, uint32_t at, int32_t type, library_node* node)
{
    *node = {};
    const bool is_folder = type == LIBRARY_CHUNK_FOLDER;
    uint8_t bytes[record_node_bytes];
    uint32_t length = is_folder ? folder_node_bytes : old_record_bytes;
    if (!read_at(lib, at, bytes, length)) { return false; }
    byte_reader in(bytes, record_node_bytes);
    node->next = in.u32();
    node->parent = in.u32();
    node->name = in.u32();
    if (is_folder)
    {
        node->first_folder = in.u32();
        node->first_record = in.u32();
        return true;
    }
    node->payload = in.u32();
    if (node->payload == mark)
    {
        node->payload = in.u32();
        node->date = in.u64();
        return true;
    }
    if (!read_at(lib, at, bytes, record_node_bytes)) { return false; }
    in.skip(8);
    node->date = in.u64();
    return true;
}

uint64_t node_budget(const library_file& lib) { return lib.size / folder_node_bytes + 1; }

bool read_name(library_file& lib, uint32_t at, char16_t (&name)[ZR_NAME_CAPACITY])
{
    uint32_t length = 0;
    if (!read_u32_at(lib, uint64_t(at) + 4, &length)) { return false; }
    return zr_file_read_string(&lib, at, name, sizeof(name)) == length;
}

int32_t walk_library(zr_handle source, zr_handle target, uint32_t folder, const char16_t* prefix,
    zr_record_callback on_record, zr_record_callback on_folder, bool* is_whole)
{
    *is_whole = false;
    library_file* lib = library_of(source);
    if (!lib || folder == 0) { return 0; }
    walk w = { *lib, target, on_record, on_folder, node_budget(*lib), true, {}, {} };
    if (!copy_key(*lib, prefix, w.key)) { return 0; }
    const int32_t result = walk_folder(w, folder, platform::text_length(w.key.units));
    *is_whole = w.is_whole && result != 0;
    return result;
}

} // namespace zr

namespace
{

bool copy_key(const zr::library_file& lib, const char16_t* key, key_copy& copy)
{
    if (platform::copy_text(copy.units, ZR_KEY_CAPACITY, key)) { return true; }
    return zr::fail_in_library(
        lib, 0, zr::fail(ZR_ERROR_LIMIT, "a key of a library has up to %d characters", ZR_KEY_CAPACITY - 1));
}

bool names_record(const char16_t* key)
{
    const size_t length = platform::text_length(key);
    return length > 0 && key[length - 1] != u'\\';
}

uint32_t list_place(uint32_t parent, int32_t type)
{
    return parent + (type == LIBRARY_CHUNK_FOLDER ? first_folder_place : first_record_place);
}

/// Appends the name and the node, which points to what follows it. 0 on failure.
uint32_t append_node(
    zr::library_file& lib, const char16_t* name, uint32_t parent, uint32_t next, int32_t type)
{
    const uint32_t text = zr_file_add_string(&lib, name);
    if (!text) { return 0; }
    uint8_t bytes[zr::record_node_bytes] = {};
    uint8_t* at = zr::put_u32(zr::put_u32(zr::put_u32(bytes, next), parent), text);
    if (type == LIBRARY_CHUNK_FOLDER) { return zr::append(lib, bytes, zr::folder_node_bytes); }
    at = zr::put_u32(zr::put_u32(zr::put_u32(at, 0), mark), second_mark);
    zr::put_u64(at, date_of_records ? *date_of_records : platform::now_100ns());
    return zr::append(lib, bytes, zr::record_node_bytes);
}

uint32_t bury(zr_handle file, uint32_t node)
{
    zr::library_file* lib = zr::library_of(file);
    uint32_t parent = 0;
    if (!lib || node == 0 || !zr::read_u32_at(*lib, uint64_t(node) + parent_place, &parent) ||
        !zr::write_u32_at(*lib, uint64_t(node) + name_place, 0))
    {
        return 0;
    }
    zr::child_buried(*lib, parent, node);
    return zr_file_increment_dword(file, zr::library_deleted_place);
}

int32_t walk_folder(walk& w, uint32_t folder, size_t key_length)
{
    zr::library_node own, node;
    if (!next_child(w, folder, LIBRARY_CHUNK_FOLDER, &own)) { return 0; }
    for (uint32_t at = own.first_record; at; at = node.next)
    {
        if (!next_child(w, at, LIBRARY_CHUNK_RECORD, &node)) { return 0; }
        if (!node.name) { continue; }
        if (!add_name(w, node.name, key_length, u"")) { return 0; }
        if (w.on_record && !w.on_record(&w.source, w.target, w.key.units))
        {
            w.is_whole = false;
            return 0;
        }
    }
    for (uint32_t at = own.first_folder; at; at = node.next)
    {
        if (!next_child(w, at, LIBRARY_CHUNK_FOLDER, &node)) { return 0; }
        if (!node.name) { continue; }
        if (!add_name(w, node.name, key_length, u"\\")) { return 0; }
        if (w.on_folder && !w.on_folder(&w.source, w.target, w.key.units))
        {
            w.is_whole = false;
            return 0;
        }
        // Each level adds a backslash at least, so the key's capacity ends the recursion.
        if (!walk_folder(w, at, platform::text_length(w.key.units)) && w.budget == 0) { return 0; }
    }
    return 1;
}

bool next_child(walk& w, uint32_t at, int32_t type, zr::library_node* node)
{
    if (w.budget > 0 && zr::read_node(w.source, at, type, node))
    {
        --w.budget;
        return true;
    }
    if (w.budget == 0)
    {
        zr::fail_in_library(
            w.source, at, zr::fail(ZR_ERROR_FORMAT, "the links of the library run in a circle"));
    }
    return w.is_whole = false;
}

/// Puts a child's name behind the folder's key. False, reported, when it cannot be read or is too long.
bool add_name(walk& w, uint32_t name, size_t key_length, const char16_t* behind)
{
    w.key.units[key_length] = 0;
    if (!zr::read_name(w.source, name, w.name)) { return w.is_whole = false; }
    if (platform::append_text(w.key.units, ZR_KEY_CAPACITY, w.name) &&
        platform::append_text(w.key.units, ZR_KEY_CAPACITY, behind))
    {
        return true;
    }
    w.is_whole = false;
    return zr::fail_in_library(w.source, name,
        zr::fail(ZR_ERROR_LIMIT, "a key of the library is longer than %d characters", ZR_KEY_CAPACITY - 1));
}

} // namespace
