/// @file
/// The numbers of a document's objects. Grid cells and picture slots hold numbers, not pointers.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/scene_object.h"

namespace zr
{

/// Gives `object` the next number of the document. False when memory fails.
bool number_object(document* document, scene_object* object);

/// Makes room for `count` further objects, so that number_object cannot fail for them.
bool reserve_numbers(document* document, size_t count);

/// Forgets all numbers; the next object gets 1.
void clear_object_table(document* document);

} // namespace zr
