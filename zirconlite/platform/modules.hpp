/// @file
/// Modules: code loaded by name whose functions are looked up by name. A host that is not a module of its
/// own hands in a find function instead.
#pragma once

#include "zirconlite/types.h"

namespace zr::platform
{

/// Finds a function by its name; null when there is none.
using find_function = void* (*)(void* context, const char* name);

/// Loads a module. A name without a folder is looked for as the system's loader does, with "lib" before and
/// ".so" behind it when it is not found as given. Null when it cannot be loaded.
zr_handle load_module(const char16_t* path);

/// A module whose functions `find` names. Null when memory fails.
zr_handle module_from_function(find_function find, void* context);

/// The address of an exported function; null for a null module or an unknown name.
void* find_in_module(zr_handle module, const char* name);

/// Gives the handle back and unloads the code when nobody else holds it. Null does nothing.
void free_module(zr_handle module);

} // namespace zr::platform
