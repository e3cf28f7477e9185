/// @file
/// A font of strokes for drawings that the program draws itself.
#pragma once

namespace host
{

/// Units of the font: a capital is 6 high, a letter takes 4 of 6 in width.
inline constexpr double stroke_capital = 6, stroke_advance = 6;

/// The strokes of a character, separated by blanks; each is a chain of points of two digits, x from the left
/// and y from the top of a capital down. Characters that the font lacks are drawn as question marks.
const char* strokes_of(char32_t character);

} // namespace host
