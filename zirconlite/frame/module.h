/** @file
 *  Start and end of the library, and the modules that it looks its host's functions up in. */
#ifndef ZIRCONLITE_FRAME_MODULE_H
#define ZIRCONLITE_FRAME_MODULE_H

#include "zirconlite/types.h"

ZR_EXTERN_C_BEGIN

/** Binds the library to its host. To be called once per process, by the host's main thread, before all else
 *  but zr_init_os, the allocators and the functions on modules and windows.
 *
 *  Folders end in a separator; all texts are copied.
 *  @param root_path      folder of the installation; NULL reads as empty
 *  @param second_path    accepted for old hosts; not read
 *  @param help_path      NULL none
 *  @param host_module    from zr_load_module or zr_module_from_function; NULL for a host without callbacks
 *  @param support_path   folder that is searched for files; NULL: `root_path` + `common\support\`
 *  @param bin_path       folder of modules; NULL: `root_path` + `common\bin\`
 *  @param language_path  folder of "zr3.uni"; NULL: `support_path`
 *  @param gl_version     0: no display driver, host functions enabled from the start; 1: the driver "zr3gl";
 *                        others: "zr4gl". A driver that cannot be loaded is reported by the message box
 *                        "gl not loaded", and the start goes on without
 *  @return 1; 0 when the platform is refused, memory is exhausted, or the library was started before */
ZR_API uint32_t zr_init_ex(const char16_t* root_path, const char16_t* second_path, const char16_t* help_path,
    zr_handle host_module, const char16_t* support_path, const char16_t* bin_path,
    const char16_t* language_path, int32_t gl_version);

/** zr_init_ex with NULL for the three later folders and `gl_version` 1. */
ZR_API uint32_t zr_init(
    const char16_t* root_path, const char16_t* second_path, const char16_t* help_path, zr_handle host_module);

/** Ends the library: no job may run and no document be open. Returns 1, 0 from the second call on. The
 *  library cannot be started again. */
ZR_API int32_t zr_term(void);

/** For a host that reaches the library through a second module: takes `host_progress` from `module` and has
 *  it called during every render. Returns 1. */
ZR_API int32_t zr_toolkit_in_acad(zr_handle module);
ZR_API int32_t zr_is_toolkit_in_acad(void); /**< 1 after zr_toolkit_in_acad */

/** Whether the host functions of the enabled class may be called, see host.h. Returns 1. */
ZR_API int32_t zr_enable_hostfuncs(int32_t flag);

/** Sets and returns the platform (top two bits of the system's version word): 0 wide-character calls. For
 *  hosts that ask before zr_init_ex. */
ZR_API int32_t zr_init_os(void);
ZR_API int32_t zr_get_os_version(void); /**< the platform */

/** Finds a function by its name for a host that is not a module of its own; NULL when there is none. */
typedef void* (*zr_find_function)(void* context, const char* name);

/** A module whose functions `find` names. The caller frees it, after zr_term. NULL for a null `find` and
 *  when memory is exhausted. */
ZR_API zr_handle zr_module_from_function(zr_find_function find, void* context);

/** Loads a module from a file. The caller frees it, after zr_term. NULL when it cannot be loaded. */
ZR_API zr_handle zr_load_module(const char16_t* path);

ZR_API void zr_free_module(zr_handle module); /**< NULL does nothing */

ZR_EXTERN_C_END

#endif
