/// @file
/// Listing of folders with wildcards, and attributes of single names.
#include <dirent.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zirconlite/platform/clock.hpp"
#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"

namespace zr::platform
{

/// The matches are read at the start and sorted: the system's own order differs from disk to disk.
struct find
{
    find_entry* entries;
    size_t count;
    size_t capacity;
    size_t next;
};

namespace
{

bool fill_entry(const char* path, const char* name, find_entry* entry);
bool push_entry(find* f, const find_entry& entry);
int by_name(const void* a, const void* b);

} // namespace

find* find_first(const char16_t* pattern, find_entry* entry)
{
    if (!pattern) { return nullptr; }
    const char16_t* last_part = pattern;
    for (const char16_t* p = pattern; *p; ++p)
    {
        if (*p == u'/' || *p == u'\\') { last_part = p + 1; }
    }
    char16_t folder_text[PATH_MAX];
    const size_t folder_length = size_t(last_part - pattern);
    if (folder_length + 1 >= PATH_MAX) { return nullptr; }
    memcpy(folder_text, pattern, folder_length * sizeof(char16_t));
    folder_text[folder_length] = 0;
    const native_path folder(folder_length == 0 ? u"." : folder_text);
    DIR* listing = folder.valid ? opendir(folder.bytes) : nullptr;
    if (!listing) { return nullptr; }

    auto* f = static_cast<find*>(calloc(1, sizeof(find)));
    bool good = f != nullptr;
    while (const dirent* item = good ? readdir(listing) : nullptr)
    {
        find_entry found;
        const bool special = strcmp(item->d_name, ".") == 0 || strcmp(item->d_name, "..") == 0;
        if (special || !to_utf16(item->d_name, strlen(item->d_name), found.name, 256)) { continue; }
        if (!matches_wildcards(found.name, last_part)) { continue; }
        char path[PATH_MAX + NAME_MAX + 2];
        const size_t n = strlen(folder.bytes);
        memcpy(path, folder.bytes, n);
        path[n] = '/';
        strcpy(path + n + 1, item->d_name);
        if (fill_entry(path, item->d_name, &found)) { good = push_entry(f, found); }
    }
    closedir(listing);
    if (f && f->count > 1) { qsort(f->entries, f->count, sizeof(find_entry), by_name); }
    if (!good || !find_next(f, entry))
    {
        find_close(f);
        return nullptr;
    }
    return f;
}

bool find_next(find* f, find_entry* entry)
{
    if (f->next >= f->count) { return false; }
    *entry = f->entries[f->next++];
    return true;
}

void find_close(find* f)
{
    if (!f) { return; }
    free(f->entries);
    free(f);
}

bool read_attributes(const char16_t* path, find_entry* entry)
{
    const native_path native(path);
    if (!native.valid) { return false; }
    size_t length = strlen(native.bytes);
    while (length > 1 && native.bytes[length - 1] == '/') { --length; }
    size_t start = length;
    while (start > 0 && native.bytes[start - 1] != '/') { --start; }
    char name[NAME_MAX + 1] = "";
    if (length - start <= NAME_MAX)
    {
        memcpy(name, native.bytes + start, length - start);
        name[length - start] = 0;
    }
    return to_utf16(name, strlen(name), entry->name, 256) && fill_entry(native.bytes, name, entry);
}

bool read_identity(const char16_t* path, uint64_t identity[2])
{
    const native_path native(path);
    struct stat s;
    if (!native.valid || stat(native.bytes, &s) != 0) { return false; }
    identity[0] = s.st_dev;
    identity[1] = s.st_ino;
    return true;
}

namespace
{

/// Everything but the UTF-16 name.
bool fill_entry(const char* path, const char* name, find_entry* entry)
{
    struct stat s;
    if (stat(path, &s) != 0) { return false; }
    uint32_t attributes = 0;
    if (S_ISDIR(s.st_mode)) { attributes |= attribute_folder; }
    if (access(path, W_OK) != 0) { attributes |= attribute_read_only; }
    if (name[0] == '.') { attributes |= attribute_hidden; }
    entry->attributes = attributes ? attributes : uint32_t(attribute_normal);
    entry->size = S_ISREG(s.st_mode) && s.st_size > 0 ? uint64_t(s.st_size) : 0;
    entry->write_time = from_unix_time(s.st_mtim.tv_sec, uint32_t(s.st_mtim.tv_nsec));
    return true;
}

bool push_entry(find* f, const find_entry& entry)
{
    if (f->count == f->capacity)
    {
        const size_t capacity = f->capacity ? f->capacity * 2 : 16;
        void* block = realloc(f->entries, capacity * sizeof(find_entry));
        if (!block) { return false; }
        f->entries = static_cast<find_entry*>(block);
        f->capacity = capacity;
    }
    f->entries[f->count++] = entry;
    return true;
}

int by_name(const void* a, const void* b)
{
    const auto* left = static_cast<const find_entry*>(a);
    const auto* right = static_cast<const find_entry*>(b);
    const int folded = compare_no_case(left->name, right->name);
    if (folded != 0) { return folded; }
    const char16_t *l = left->name, *r = right->name;
    while (*l && *l == *r)
    {
        ++l;
        ++r;
    }
    return int(*l) - int(*r);
}

} // namespace

} // namespace zr::platform
