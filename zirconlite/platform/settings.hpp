/// @file
/// The settings store: named text values under keys, kept in one UTF-8 file of the user. Each change writes
/// the file anew beside the old one and renames it.
///
/// The file is at `$ZIRCONLITE_SETTINGS`, else at zirconlite/settings.txt under `$XDG_CONFIG_HOME`, else
/// under `$HOME/.config`. A line "[key]" opens a key, a line "name=value" is one of its values; in all of
/// them "\\" stands for a backslash, "\n" and "\r" for line ends, and "\=" for an equals sign in a name.
#pragma once

#include <stddef.h>

#include "zirconlite/types.h"

namespace zr::platform
{

/// The value, when the key and the name are there and it fits into `capacity` code units with its end mark.
/// Keys and names compare without regard to case.
bool read_setting(const char16_t* key, const char16_t* name, char16_t* value, size_t capacity);

/// Stores a value, making file and key when they are missing; a null value takes the name away. False when
/// the file could not be written.
bool write_setting(const char16_t* key, const char16_t* name, const char16_t* value);

/// Puts the file elsewhere; null puts it back. For tests and hosts that keep their own. Not while another
/// thread reads or writes settings.
void override_settings_file(const char16_t* path);

} // namespace zr::platform
