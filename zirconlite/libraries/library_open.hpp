/// @file
/// Opening a library of any kind, by its path or its name.
#pragma once

#include "zirconlite/libraries/library_kinds.hpp"

namespace zr
{

/// zr_libfile_open, which gives an empty file that is opened for writing the header of its kind.
zr_handle open_library_file(
    const library_kind& kind, const char16_t* path, uint32_t access, uint32_t share, int32_t disposition);

/// Opens the library `name` of a kind, with or without its extension: a path, or the first that the search
/// finds. ZR_INVALID_HANDLE, reported, when there is none.
zr_handle open_named_library(const library_kind& kind, const char16_t* name, uint32_t access, uint32_t share);

} // namespace zr
