/// @file
/// The kinds of library by their extensions: the name in their header, and who copies a record.
#pragma once

#include "zirconlite/libraries/library_file.h"

namespace zr
{

/// Copies a record as it is to another library, under another key. 0 when the source lacks it, or has it
/// damaged, and when the target cannot be written.
using record_copier = int32_t (*)(
    zr_handle source, const char16_t* key, zr_handle target, const char16_t* target_key);

struct library_kind
{
    const char16_t* extension; ///< with its dot
    const char16_t* name;      ///< in the header
    const char* records;       ///< what it holds, for messages
    zr_record_callback copy;   ///< for packing
    record_copier copy_as;
};

/// The row of a path's extension, without regard to case. Null, reported, for others.
const library_kind* library_kind_of(const char16_t* path);

/// The end of a path from the last dot of its last part on; its end mark without one.
const char16_t* extension_of(const char16_t* path);

/// Copiers of the kinds.
int32_t copy_material(zr_handle source, zr_handle target, const char16_t* key);
int32_t copy_material_as(zr_handle source, const char16_t* key, zr_handle target, const char16_t* target_key);
int32_t copy_light(zr_handle source, zr_handle target, const char16_t* key);
int32_t copy_light_as(zr_handle source, const char16_t* key, zr_handle target, const char16_t* target_key);

} // namespace zr
