/// @file
/// Materials as the tables of a scene file, to be read and pasted.
#pragma once

#include "zirconlite/materials/material.h"

#include <string>

namespace host
{

/// The table `[materials."name"]` of a material, those of its pictures and bumps, and of the materials that a
/// pattern mixes. What a scene file cannot say is written as comments.
std::string material_text(const std::string& name, const material& m);

/// Text of the library's for a terminal: control characters and halves of pairs show as U+FFFD.
std::string plain_text(const char16_t* text);

} // namespace host
