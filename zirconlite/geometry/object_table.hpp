/// @file
/// The numbers of a document's objects. Grid cells and picture slots hold numbers, not pointers.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/scene_object.h"

namespace zr
{

/// Gives `object` the next number of the document. False when memory fails.
bool number_object(document* doc, scene_object* object);

/// Makes room for `count` further objects, so that number_object cannot fail for them.
bool reserve_numbers(document* doc, size_t count);

/// Numbers the objects of the document's lists that have no number yet, oldest first, the radiosity list
/// before the general one: objects that a host makes and links itself. `count_out` receives the objects of
/// both lists. False when memory fails.
bool number_listed_objects(document* doc, size_t* count_out);

/// Forgets all numbers; the next object gets 1.
void clear_object_table(document* doc);

} // namespace zr
