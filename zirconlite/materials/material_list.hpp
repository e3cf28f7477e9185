/// @file
/// The materials in use by a document, for the library's own code.
#pragma once

#include "zirconlite/materials/material.h"

typedef struct surface surface;

namespace zr
{

/// The entry's material. A default material is made, and owned by the entry, where there is none: it stands
/// in for what a library could not give. Null for a null entry and when memory fails. Any thread.
material* entry_material(material_entry* entry);

/// A default material: grey, diffuse, with no surface yet. Null when memory fails.
material* new_default_material();

/// Gives a material its neutral surface, once. False when memory fails.
bool resolve_neutral_surface(material& m);

/// Reads material `name` of the library file `library`, without its surface; null when it cannot. The reader
/// of libraries sets it; empty while there is none.
using material_library_function = material* (*)(const char16_t* library, const char16_t* name, bool uncached);
extern material_library_function material_library_hook;

/// What a material is where no ray meets it, in linear colours whatever mode the last job had.
void neutral_surface(const material& m, surface& out);

} // namespace zr
