/// @file
/// What the list of a document's materials asks of libraries.
#pragma once

#include "zirconlite/libraries/material_library.h"

namespace zr
{

/// A material_library_function: the record `name` of the library that zr_matlib_open finds.
material* read_library_material(const char16_t* library, const char16_t* name, bool uncached);

} // namespace zr
