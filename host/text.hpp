/// @file
/// Texts and file names between UTF-8, which the host uses, UTF-16, which the library uses, and files in
/// neither.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace host
{

/// Whether the bytes are UTF-8 throughout: no cut or overlong character, no surrogate.
bool is_utf8(std::string_view bytes);

/// The bytes as UTF-8: as they are when they are that, else read as Latin-1.
std::string utf8_of_bytes(std::string_view bytes);

/// The same as UTF-16. Never fails, unlike the conversions of std::filesystem::path.
std::u16string utf16_of(const std::string& bytes);
std::u16string utf16_of(const std::filesystem::path& file);

/// A text as UTF-8; lone halves of characters become question marks.
std::string utf8_of(std::u16string_view units);

/// The text in Latin-1; false when a character has none.
bool latin1_of(std::string_view utf8, std::string& out);

/// A URI's text with its %20 and the like as the bytes that they mean.
std::string percent_decoded(const std::string& uri);

/// The text in lower case, of ASCII letters and of those of Latin-1.
std::u16string lower_case(std::u16string text);

} // namespace host
