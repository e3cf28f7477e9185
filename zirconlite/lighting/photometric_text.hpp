/// @file
/// The text of photometric files: decoding of its bytes, lines and numbers. A line has no limit but the
/// file's length; CR, LF and both together end one.
#pragma once

#include <string_view>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/status.hpp"

namespace zr
{

/// Turns the bytes of a file into UTF-8: UTF-16 behind its mark, UTF-8 where all of it is well-formed, else
/// Latin-1. Control characters but tabs and line ends become blanks. False when memory fails.
bool decode_text(const uint8_t* bytes, size_t size, array<char>& text);

/// `text` without blanks and tabs at both ends.
std::string_view trimmed(std::string_view text);

/// Whether `text` begins with `head`, without regard to the case of ASCII letters.
bool begins_with(std::string_view text, std::string_view head);

/// A whole token as a finite number: digits with sign, point and exponent, and nothing else. `decimal` is
/// the decimal mark.
bool parse_number(std::string_view token, double& value, char decimal = '.');

/// Bytes of a token that a message shows, cut at a whole character.
int shown_length(std::string_view token);

/// Goes through a text by lines and by numbers. The first failure is kept, and what is read behind it is 0.
struct text_scanner
{
    explicit text_scanner(std::string_view text) : at(text.data()), end(text.data() + text.size()) {}

    bool ok() const { return zr::ok(why); }
    bool at_end() const { return at == end; }
    size_t left() const { return size_t(end - at); }

    /// The next line without its end and the blanks at its end; false at the end of the text.
    bool next_line(std::string_view& text);

    /// The next token between blanks, commas and line ends; false at the end of the text.
    bool next_token(std::string_view& token);

    /// The next token as a number that fits a float, or as a whole number. `what` names it in the failure.
    double number(const char* what);
    int32_t integer(const char* what);

    /// Keeps `s` with the line of the last token, unless a failure is kept already.
    void fail(const status& s);

    const char* at;
    const char* end;
    int32_t line = 1;       ///< of `at`
    int32_t token_line = 1; ///< of the last token or line
    status why = {};
};

} // namespace zr
