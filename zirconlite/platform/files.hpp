/// @file
/// Files and folders. Paths are UTF-16 with either separator; a name that is not found as written is looked
/// for without regard to case, folder by folder.
#pragma once

#include <limits.h>
#include <stddef.h>
#include <stdint.h>

#include "zirconlite/types.h"

namespace zr::platform
{

enum class file_access
{
    read,
    write,
    read_write
};

/// What others may do with the file while it is open. Locks are advisory: they bind those who open through
/// here. A file that is taken otherwise is refused at once.
enum sharing : uint32_t
{
    share_nothing = 0,
    share_read = 1,
    share_write = 2
};

enum class disposition
{
    open_existing,
    open_or_create,
    create_new,      ///< fails when the file exists
    create_or_empty, ///< an existing file loses its content once the lock is held; with writing access
    empty_existing
};

enum class file_error
{
    none,
    not_found,
    exists,
    in_use,
    denied,
    not_a_file, ///< a folder, a pipe or a socket
    other
};

struct file;

/// Null on failure, with the reason in `*why` when given.
file* open_file(
    const char16_t* path, file_access a, uint32_t sharing, disposition d, file_error* why = nullptr);

/// Bytes read; fewer than asked for at the end of the file or on an error.
size_t read_file(file* f, void* bytes, size_t size);

/// False when not all could be written; the file remembers it for close_file.
bool write_file(file* f, const void* bytes, size_t size);

bool seek_file(file* f, uint64_t position); ///< from the start; false for a device that cannot
uint64_t file_position(file* f);
uint64_t file_size(file* f); ///< 0 when unknown

/// As read_identity, of the open file, whatever its path names by now.
bool file_identity(file* f, uint64_t identity[2]);

/// Closes. False when a write failed since the opening or the system reports a loss now. Null gives true.
bool close_file(file* f);

/// The whole file by malloc, for the caller to free; null when it cannot be read or is larger than `limit`.
/// One zero byte follows the last.
unsigned char* read_whole_file(const char16_t* path, uint64_t limit, size_t* size, file_error* why = nullptr);

/// Attributes of a found file.
enum file_attributes : uint32_t
{
    attribute_read_only = 0x1,
    attribute_hidden = 0x2, ///< the name begins with "."
    attribute_folder = 0x10,
    attribute_normal = 0x80 ///< none of the others
};

struct find_entry
{
    uint32_t attributes;
    uint64_t size;
    uint64_t write_time; ///< 100 ns since 1601
    char16_t name[256];
};

struct find;

/// Starts a search for "folder/pattern", the wildcards in the last part only. Names come in one order on
/// every machine: without regard to case, then by code unit. "." and ".." are not listed, nor names that
/// are not UTF-8. Null when nothing matches.
find* find_first(const char16_t* pattern, find_entry* entry);
bool find_next(find* f, find_entry* entry);
void find_close(find* f); ///< null does nothing

/// Attributes of one name, without wildcards. False when it does not exist.
bool read_attributes(const char16_t* path, find_entry* entry);

/// What identifies a file or folder, whatever links lead to it. False when it does not exist.
bool read_identity(const char16_t* path, uint64_t identity[2]);

bool delete_file(const char16_t* path);
bool rename_file(const char16_t* from, const char16_t* to); ///< replaces `to` in one step
bool create_folder(const char16_t* path);                   ///< with those above it; true when it exists

/// A file written beside its final place. Readers see the old content until commit_replacement renames.
struct replacement;
replacement* begin_replacement(const char16_t* path, file_error* why = nullptr);
bool write_replacement(replacement* r, const void* bytes, size_t size);
bool seek_replacement(replacement* r, uint64_t position);

/// Puts the new file in its place and frees the record. False, with the old file as it was and the new one
/// gone, when a write, the flush or the rename failed.
bool commit_replacement(replacement* r);
void cancel_replacement(replacement* r); ///< null does nothing

/// A path in the system's own form: UTF-8, "/" between the parts, each part in the case in which it exists.
struct native_path
{
    explicit native_path(const char16_t* path);
    bool valid = false; ///< false: null, empty, malformed or longer than the system allows
    char bytes[PATH_MAX];
};

} // namespace zr::platform
