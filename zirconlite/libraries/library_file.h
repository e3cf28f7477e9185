/** @file
 *  The container that material, light and plant libraries share: one file with a tree of folders and named
 *  records, addressed by keys.
 *
 *  A key names folders and at last a record, with a backslash behind each folder: `A\B\C` is record C, `A\B\`
 *  folder B, the empty key the root. Names are compared without regard to case, by one table whatever the
 *  locale. A full key has the library's name and two backslashes in front: `STONES\\Marble\White`.
 *
 *  Reading handles lock the file against writers, writing handles against everyone: who comes second is
 * refused at once. Changes of a writing handle stay in memory until zr_libfile_commit or zr_libfile_close
 * puts a whole new file in the place of the old one, so whatever happens in between leaves the old library. A
 * handle whose edit failed drops everything. Deleted and replaced records stay in the file as dead space
 * until it is packed.
 *
 *  A handle belongs to one thread at a time. Offsets count from the start of the file; 0 is none. Every
 * function takes a null or invalid handle as a failure, and files that lie about their insides lead to
 * failures only. */
#ifndef ZIRCONLITE_LIBRARIES_LIBRARY_FILE_H
#define ZIRCONLITE_LIBRARIES_LIBRARY_FILE_H

#include "zirconlite/frame/host.h"
#include "zirconlite/frame/search_path.h"
#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** @{ */
/** Bits of the `access` of an opening. */
#define LIBRARY_READ 0x80000000u
#define LIBRARY_WRITE 0x40000000u
/** @} */

/** Bits of the `share` of an opening: what others may do meanwhile. Who writes shares nothing. */
enum library_share
{
    LIBRARY_SHARE_NOTHING = 0,
    LIBRARY_SHARE_READ = 1
};

/** Values of the `disposition` of an opening. An existing file that is emptied keeps its content until the
 * close. */
enum library_disposition
{
    LIBRARY_CREATE_NEW = 1, /**< fails when the file exists */
    LIBRARY_CREATE_OR_EMPTY = 2,
    LIBRARY_OPEN_EXISTING = 3,
    LIBRARY_OPEN_OR_CREATE = 4,
    LIBRARY_EMPTY_EXISTING = 5
};

/** Kinds of chunk. */
enum library_chunk
{
    LIBRARY_CHUNK_FOLDER = 1,
    LIBRARY_CHUNK_RECORD = 2,
    LIBRARY_CHUNK_STRING = 3,
    LIBRARY_CHUNK_PAYLOAD = 4
};

/** @{ */
/** Capacities in code units with the end mark: of a key, and of one name in it. */
#define ZR_KEY_CAPACITY 2048
#define ZR_NAME_CAPACITY 1024
/** @} */

/* Opening and closing. */

/** Opens a library; with LIBRARY_WRITE it is backed up first (a backup that fails does not stop the edit).
 *  ZR_INVALID_HANDLE when the file is not there, in use, or not a file of less than 4 GiB. While a library is
 *  made for the first time an empty file takes its place. */
ZR_API zr_handle zr_libfile_open(const char16_t* path, uint32_t access, uint32_t share, int32_t disposition);

/** Writes the changes, and goes on. 1, also when there are none; 0 for a reading handle, after a failed edit
 *  and when the new file cannot be written, which keeps the old one. */
ZR_API int32_t zr_libfile_commit(zr_handle file);

/** Writes the changes and closes. As zr_libfile_commit; 1 for reading handles. The handle is gone either way.
 */
ZR_API int32_t zr_libfile_close(zr_handle file);

/** Closes without writing anything. Returns 1; 0 for no handle. */
ZR_API int32_t zr_libfile_cancel(zr_handle file);

/** Copies the file to "common\backup\" under the installation folder, over a former backup. 1; 0 on failure
 * and before the start of the library. */
ZR_API int32_t zr_backup_libfile(const char16_t* path);

/* Bytes, at the handle's position. The functions below leave the position anywhere. Values are little-endian.
 * Each returns 1; 0 at the end of the file, for a reading handle that is written to, and when memory fails.
 */

ZR_API int32_t zr_file_set_position(zr_handle file, uint64_t at); /**< 0 behind the end */
ZR_API uint64_t zr_file_get_position(zr_handle file);             /**< 0 for no handle */
ZR_API uint64_t zr_file_get_size(zr_handle file);                 /**< with the changes; 0 for no handle */
ZR_API int32_t zr_file_read_bytes(zr_handle file, void* bytes, uint32_t size); /**< `size` bytes */
ZR_API int32_t zr_file_write_bytes(
    zr_handle file, const void* bytes, uint32_t size); /**< `size` bytes, which may extend the file */
ZR_API int32_t zr_file_read_dword(zr_handle file, uint32_t* out);   /**< 4 bytes */
ZR_API int32_t zr_file_write_dword(zr_handle file, uint32_t value); /**< 4 bytes */
ZR_API int32_t zr_file_read_short(zr_handle file, int16_t* out);    /**< 2 bytes, signed */
ZR_API int32_t zr_file_read_word(zr_handle file, uint16_t* out);    /**< 2 bytes */
ZR_API int32_t zr_file_write_word(zr_handle file, uint16_t value);  /**< 2 bytes */

/** The value at `at`; 0 when it cannot be read. The position is behind it. */
ZR_API uint32_t zr_file_get_offset(zr_handle file, uint32_t at);
/** Adds 1 to the value at `at`; the new value, 0 when it cannot be written. */
ZR_API uint32_t zr_file_increment_dword(zr_handle file, uint32_t at);

/** Appends a chunk: 20 bytes of a folder, 40 of a record, a string of the length that its head gives, or
 * `size` bytes of payload. `reserved` is not read. Its offset; 0 for another type and on failure, which makes
 * the handle drop its edit. */
ZR_API uint32_t zr_file_add_chunk(
    zr_handle file, int32_t type, const void* bytes, int32_t reserved, uint32_t size);
/** Appends a text of less than ZR_NAME_CAPACITY code units. Its offset; 0 on failure. */
ZR_API uint32_t zr_file_add_string(zr_handle file, const char16_t* text);
/** Reads the text at `at` into `buffer` of `limit_bytes` bytes: as many whole characters as fit, and an end
 *  mark. Returns the stored length in bytes, 0 (and an empty text) when it lies outside the file. */
ZR_API uint32_t zr_file_read_string(zr_handle file, uint32_t at, char16_t* buffer, uint32_t limit_bytes);

/** @{ */
/** Do nothing and return 1: only packing gives space back. */
ZR_API int32_t zr_file_delete_chunk(zr_handle file, uint32_t at);
ZR_API int32_t zr_file_delete_string(zr_handle file, uint32_t at);
ZR_API int32_t zr_file_delete_record(zr_handle file, uint32_t at);
/** @} */

/** Writes the header of an empty library of a kind ("MATERIAL", "LIGHTING", "PLANTS"; at most 31 code units),
 * with its root, at the start. */
ZR_API int32_t zr_file_write_header(zr_handle file, const char16_t* kind);
ZR_API uint32_t zr_file_get_version(zr_handle file); /**< 4 in new files */
/** The kind in the header, `kind` having room for 33 code units. 0, and an empty text, when the file is no
 *  library. Nothing else looks at it. */
ZR_API int32_t zr_file_get_kind(zr_handle file, char16_t* kind);

/* The tree. */

/** Looks at the first name of a key, in place. 0 for an empty key; 1 for a folder, with its backslash, at
 *  `*out_end`, overwritten by an end mark; 2 for a record, `*out_end` at the end mark. */
ZR_API int32_t zr_file_parse_key(char16_t* key, char16_t** out_end);
/** The node of a key; 0 when it does not exist. A name that several siblings have means the first live one.
 */
ZR_API uint32_t zr_file_seek(zr_handle file, const char16_t* key);
/** zr_file_seek in the library at `path`, opened for reading. */
ZR_API uint32_t zr_library_seek(const char16_t* path, const char16_t* key);

/** Puts a child under the folder `parent`: a folder, unless it is there, or a record, in place of one that is
 *  there. The node; 0 on failure. */
ZR_API uint32_t zr_file_insert_node(zr_handle file, const char16_t* name, uint32_t parent, int32_t type);

/** Appends the payload of a record and puts its offset at `node` + 12. 0 when it cannot. */
typedef int32_t (*zr_record_writer)(zr_handle file, uint32_t node, void* argument);

/** Makes the folders that a key lacks, then the record, and has `writer` fill it. The record's node; 0 for a
 * key that ends in a backslash, which makes the folders only, and on failure, which makes the handle drop its
 *  edit. A null writer leaves the record empty. */
ZR_API uint32_t zr_file_insert_record(
    zr_handle file, const char16_t* key, zr_record_writer writer, void* argument);

/** @{ */
/** Turns a record, or a folder with all below it, into a tombstone. The header's count of tombstones; 0 on
 *  failure. */
ZR_API uint32_t zr_file_delete_leaf(zr_handle file, uint32_t node);
ZR_API uint32_t zr_file_delete_branch(zr_handle file, uint32_t node);
/** @} */
/** Takes `node` out of its list under the folder `parent`. 1; 0 when it is not there. */
ZR_API int32_t zr_file_delete_node(zr_handle file, uint32_t parent, uint32_t node, int32_t type);

/** Makes what a caller wants of the payload at an offset. */
typedef void* (*zr_record_reader)(zr_handle file, uint32_t payload);
/** What `reader` makes of a record; NULL when there is none. */
ZR_API void* zr_file_read_record(zr_handle file, const char16_t* key, zr_record_reader reader);

/** Receives each record or folder of a walk with its key; 0 ends the walk of that folder. */
typedef int32_t (*zr_record_callback)(zr_handle source, zr_handle target, const char16_t* key);

/** @{ */
/** Walks a folder: its records in order, then its folders, each with what is below it. `prefix` is the
 * folder's key. `target` is handed on; the callbacks may be NULL. 1; 0 when a callback said so for this
 * folder's own children, and when the links are broken or a key grows longer than ZR_KEY_CAPACITY. */
ZR_API int32_t zr_libfile_in_order_read_ex(zr_handle source, zr_handle target, uint32_t folder,
    const char16_t* prefix, zr_record_callback on_record, zr_record_callback on_folder);
ZR_API int32_t zr_libfile_in_order_read(zr_handle source, zr_handle target, uint32_t folder,
    const char16_t* prefix, zr_record_callback on_record);
/** @} */

/** The date that new records get, 100 ns since 1601, UTC; NULL returns to the clock. The value stays the
 * caller's and is read at each insertion. Returns 1. */
ZR_API int32_t zr_file_set_filetime(const uint64_t* date);
/** While on, zr_file_read_record keeps the date of what it reads for zr_get_read_date. Returns 1. */
ZR_API int32_t zr_get_date_during_read(int32_t flag);
ZR_API uint64_t zr_get_read_date(void); /**< 0 before the first */

/* Whole libraries by their path. */

/** Turns a record into a tombstone. The count of tombstones; -1 when the key names no record, 0 when the file
 *  cannot be opened or written. */
ZR_API int32_t zr_libfile_delete_record(const char16_t* path, const char16_t* key);
/** Turns a folder, and so all below it, into a tombstone; the key may lack its last backslash. 1; -1 when
 * there is no such folder or it is the root, 0 when the file cannot be opened or written. */
ZR_API int32_t zr_libfile_delete_folder(const char16_t* path, const char16_t* key);

/** Rebuilds a library without dead space and empty folders, in place of the old one. `copier` adds the record
 * of a key from the source to the target. With a window the user is asked first. 1; 0 when not wanted or
 * failed, with the old library as it was. */
ZR_API int32_t zr_libfile_pack(
    const char16_t* path, const char16_t* kind, zr_record_callback copier, zr_handle window);

/** Splits a full key at its first two backslashes; each text has ZR_KEY_CAPACITY. 1; 0, with both empty, when
 *  there are none before the last character, or a text is too long. */
ZR_API int32_t zr_split_fullkey(const char16_t* full, char16_t* out_library, char16_t* out_key);

/* Finding libraries. */

/** A search: -1 ends it with success, -2 skips the support folder and the search path, other results are
 *  merged. */
typedef int32_t (*zr_library_search)(
    const char16_t* name, const char16_t* extension, zr_find_callback callback, void* argument);

/** @{ */
/** Calls `callback` with each file `name` + `extension` ('*' and '?' allowed), in the order in which one
 * hides another of the same name: what the hook or else `host_search_for_lib_files` (only without a display
 * driver) knows, the support folder, the folders of the LIBRARY list, and with `include_internal` the folder
 * "internal" of the support folder. A result of -1 ends the search. Nonzero when anything was found. */
ZR_API int32_t zr_libfile_search_ex(const char16_t* name, const char16_t* extension,
    zr_find_callback callback, void* argument, int32_t include_internal);
ZR_API int32_t zr_libfile_search(
    const char16_t* name, const char16_t* extension, zr_find_callback callback, void* argument);
/** @} */
/** Puts a search of the host in front; NULL takes it away. Returns 1. */
ZR_API int32_t zr_install_new_lib_search(zr_library_search hook);

ZR_EXTERN_C_END

#endif
