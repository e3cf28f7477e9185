/** @file
 *  The ordered lists of folders in which bitmaps, libraries and goniometric files are looked for, how they
 *  are stored, and the one search that finds a file by its name.
 *
 *  The lists are read by any thread and changed by the host's thread only, while no job runs. */
#ifndef ZIRCONLITE_FRAME_SEARCH_PATH_H
#define ZIRCONLITE_FRAME_SEARCH_PATH_H

#include "zirconlite/frame/host.h"
#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** Bits of `search_path.flags`. */
enum
{
    SEARCH_SUBDIRECTORIES = 0x1 /**< folders below, too, except those whose names begin with "." */
};

/** One folder of a list. */
typedef struct search_path
{
    struct search_path* next; /**< next folder */
    uint32_t flags;           /**< SEARCH_* bits */
    char16_t* path;           /**< owned; with no separator at its end */
} search_path;

/** Kinds of stored lists; others are kept under the name "UNKNOWN". */
enum search_path_kind
{
    SEARCH_PATH_FILES = 1,
    SEARCH_PATH_LIBRARIES = 2,
    SEARCH_PATH_OUTPUT = 3
};

/** Longest stored list in code units: each path, a ";" behind it, and the end mark. */
#define SEARCH_PATH_TEXT_CAPACITY 4096

/** A found file. */
struct zr_find_data
{
    uint32_t attributes; /**< FIND_* bits */
    uint64_t size;       /**< bytes */
    uint64_t write_time; /**< 100 ns since 1601, UTC */
    char16_t name[256];  /**< without the folder */
};

/** Bits of `zr_find_data.attributes`. */
enum
{
    FIND_READ_ONLY = 0x1,
    FIND_HIDDEN = 0x2,
    FIND_FOLDER = 0x10,
    FIND_NORMAL = 0x80
};

/** zr_get_search_path_ex with SEARCH_PATH_FILES. */
ZR_API int32_t zr_get_search_path(search_path** list);

/** Reads a stored list into `*list`, in its order; only SEARCH_PATH_FILES gets SEARCH_SUBDIRECTORIES. 1, an
 *  empty value leaving `*list` alone; 0 when nothing is stored, the text is longer than
 *  SEARCH_PATH_TEXT_CAPACITY or memory is exhausted. The caller frees the list. */
ZR_API int32_t zr_get_search_path_ex(search_path** list, int32_t kind);

/** zr_save_search_path_ex with SEARCH_PATH_FILES. */
ZR_API int32_t zr_save_search_path(const search_path* list);

/** Stores a list, and replaces the one of this kind that the library works with, when it has one, by a copy.
 *  1; 0 when the text would exceed SEARCH_PATH_TEXT_CAPACITY or memory is exhausted, with nothing changed. */
ZR_API int32_t zr_save_search_path_ex(const search_path* list, int32_t kind);

/** A deep copy; NULL for NULL or when memory is exhausted. */
ZR_API search_path* zr_dupe_search_path(const search_path* list);
ZR_API int32_t zr_free_search_path(search_path* list); /**< NULL is fine; returns 1 */

/** The first folder of the OUTPUT list, cut to `length` code units with the end mark. With no list 0 and an
 *  empty text. */
ZR_API int32_t zr_get_output_path(char16_t* path, int32_t length);

/** 1 when `path` is an existing folder, with or without a separator at its end. */
ZR_API int32_t zr_is_valid_directory(const char16_t* path);

/** Receives one found file; -1 ends the search, other results are merged. */
typedef int32_t (*zr_find_callback)(const char16_t* directory, const zr_find_data* found, void* context);

/** Bits of the `flags` of zr_file_search_directory. */
enum
{
    FILE_SEARCH_ALL = 0x1 /**< all matches; without it the first only */
};

/** Lists `directory` + `subpath` + `pattern` ('*' and '?' in the last part), sorted by name. 0 when nothing
 *  matches, -1 when the callback (NULL is fine) said so, else 1 with all its results ORed. */
ZR_API int32_t zr_file_search_directory(uint32_t flags, const char16_t* directory, const char16_t* subpath,
    const char16_t* pattern, zr_find_callback callback, void* context);

/** Puts a function in front of every search, called whether or not host functions are enabled; NULL takes
 *  it away. `path_out` has ZR_PATH_CAPACITY. Returns 1. */
ZR_API int32_t zr_install_new_host_findfile(host_findfile_function* function);

/** Finds a file. A `name` with a drive or folder is tried as given; then its last part goes, in this
 *  order, to the function of zr_install_new_host_findfile, `host_findfile`, `list` (may be NULL), the folder
 *  of the model and those below it, the support folder and those below it, and the SEARCH list. In a folder
 *  the file itself comes before the folders below, depth first. Folder links that form a circle are followed
 *  once. Any thread.
 *
 *  @param list  searched after what the host finds itself; may be NULL
 *  @param name  file name, with or without a folder
 *  @param path  receives the full name; ZR_PATH_CAPACITY
 *  @return 1 found, 0 not found */
ZR_API int32_t zr_findfile(const search_path* list, const char16_t* name, char16_t* path);

ZR_EXTERN_C_END

#endif
