/// @file
/// An open library: blocks of the file that are read when first touched and hold the changes until a commit,
/// and the lists of siblings that were looked at.
#pragma once

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/libraries/library_file.h"
#include "zirconlite/platform/files.hpp"

namespace zr
{

struct sibling_list;

inline constexpr uint32_t library_header_bytes = 1268;
inline constexpr uint32_t library_root_place = 140;    ///< of the root's offset in the header
inline constexpr uint32_t library_deleted_place = 144; ///< of the count of tombstones
inline constexpr uint32_t folder_node_bytes = 20;
inline constexpr uint32_t record_node_bytes = 40;
inline constexpr uint32_t library_block_bytes = 64 * 1024;
inline constexpr uint64_t library_max_bytes = UINT32_MAX; ///< offsets have 32 bits

struct library_file
{
    platform::file* source; ///< as opened, with its lock; null for a file that exists in memory only
    char16_t* path;         ///< null likewise
    uint64_t source_bytes;  ///< what can be read from `source`
    uint64_t size;          ///< with the changes
    uint64_t position;
    array<uint8_t*> blocks;     ///< library_block_bytes each; null until touched
    array<sibling_list*> lists; ///< by the place of their head
    uint64_t read_count;        ///< calls of the system that read
    bool writes;                ///< opened for writing
    bool changed;               ///< since the opening or the last commit
    bool failed;                ///< an edit failed: nothing is written any more
    bool made;                  ///< the opening made the file, which goes when nothing is committed
};

/// The record behind a handle; null, reported, for none.
library_file* library_of(zr_handle file);

/// A library in memory. Null when memory fails.
library_file* new_library();

/// Frees a library with its blocks and lists, without writing.
void free_library(library_file* lib);

/// Puts the content in the place of the file at `path`. False, reported, with the old file kept.
bool replace_by_library(library_file& lib, const char16_t* path);

/// Reads or writes at a place; a write may end behind the end of the file, but not begin there. False when
/// the bytes lie outside, on a read error and when memory fails; a failed write makes the library drop its
/// edit.
bool read_at(library_file& lib, uint64_t at, void* bytes, uint64_t size);
bool write_at(library_file& lib, uint64_t at, const void* bytes, uint64_t size);

bool read_u32_at(library_file& lib, uint64_t at, uint32_t* value);
bool write_u32_at(library_file& lib, uint64_t at, uint32_t value);

/// Appends; the offset, 0 on failure.
uint32_t append(library_file& lib, const void* bytes, uint64_t size);

/// Reports a failure of the library's file, at a byte (0 none); returns false.
bool fail_in_library(const library_file& lib, uint64_t byte, const status& s);

/// Both kinds of node as one record; a tombstone has no name.
struct library_node
{
    uint32_t next, parent, name;
    uint32_t first_folder, first_record; ///< of a folder
    uint32_t payload;                    ///< of a record
    uint64_t date;                       ///< of a record
};

/// False, reported, for a node outside the file.
bool read_node(library_file& lib, uint32_t at, int32_t type, library_node* node);

/// How many nodes a walk may meet before its links must run in a circle.
uint64_t node_budget(const library_file& lib);

/// The name of a node that has one. False, reported, when it lies outside the file.
bool read_name(library_file& lib, uint32_t at, char16_t (&name)[ZR_NAME_CAPACITY]);

/// What zr_libfile_in_order_read_ex does; `*is_whole` is whether everything below was walked, too.
int32_t walk_library(zr_handle source, zr_handle target, uint32_t folder, const char16_t* prefix,
    zr_record_callback on_record, zr_record_callback on_folder, bool* is_whole);

} // namespace zr
