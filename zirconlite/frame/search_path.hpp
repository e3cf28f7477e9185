/// @file
/// The library's own search lists.
#pragma once

#include "zirconlite/frame/search_path.h"

namespace zr
{

/// Makes the support list from a folder that ends in a separator, and with `read_stored` the three stored
/// lists. False when memory fails.
bool start_search_lists(const char16_t* support_folder, bool read_stored);
void end_search_lists();

/// The list that libraries are looked for in; null for none.
const search_path* library_search_list();

/// The SEARCH list; null for none.
const search_path* file_search_list();

/// The support folder's list, of one entry; null before the start.
const search_path* support_search_list();

} // namespace zr
