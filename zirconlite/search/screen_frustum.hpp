/// @file
/// The switch of the screen frustum, for the library's own code.
#pragma once

#include "zirconlite/search/screen_frustum.h"

namespace zr
{

bool screen_buffer_in_use();

} // namespace zr
