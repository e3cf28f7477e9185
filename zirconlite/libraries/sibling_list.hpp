/// @file
/// Finding a child by its name. A list that is asked for again is kept as an array, so that searching,
/// inserting and packing thousands of siblings does not walk the file each time.
#pragma once

#include "zirconlite/libraries/library_file.hpp"

namespace zr
{

/// What a search for a child found.
struct child_place
{
    uint32_t node; ///< the live child of that name; 0 none
    uint32_t
        previous; ///< behind which a child of that name belongs, the node itself when there is one; 0: first
};

/// False, reported, when links leave the file or run in a circle.
bool find_child(library_file& lib, const char16_t* name, uint32_t parent, int32_t type, child_place* place);

/// Enters an insertion in the kept lists, at a place that find_child gave.
void child_inserted(library_file& lib, const char16_t* name, uint32_t parent, int32_t type,
    const child_place& place, uint32_t node);

/// Enters that a node lost its name.
void child_buried(library_file& lib, uint32_t parent, uint32_t node);

/// Forgets both lists of a folder, or all.
void forget_children(library_file& lib, uint32_t parent);
void forget_all_children(library_file& lib);

} // namespace zr
