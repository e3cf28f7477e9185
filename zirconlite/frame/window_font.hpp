/// @file
/// The font of translated windows, and the library's own message table.
#pragma once

#include "zirconlite/types.h"

namespace zr
{

/// Height and face that a string file asks for; used when the font is made.
void set_window_font_choice(int32_t height, const char16_t face[32]);

/// Reads "zr3.uni" of the language folder into the module's table, which stays null when it is missing. The
/// former table is not freed.
void load_messages();

} // namespace zr
