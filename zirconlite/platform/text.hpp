/// @file
/// UTF-16 text as hosts hand it over and UTF-8 as the operating system wants it: strict conversion both
/// ways, copies that never cut a character, comparison without regard to case.
#pragma once

#include <stddef.h>

#include "zirconlite/types.h"

namespace zr::platform
{

/// Code units before the end mark.
size_t text_length(const char16_t* text);

/// Converts the whole text or nothing: false, with an empty `out`, for a lone surrogate or when `capacity`
/// (bytes, with the end mark) is too small.
bool to_utf8(const char16_t* text, char* out, size_t capacity);

/// Converts `bytes` bytes of UTF-8, which may hold no end mark. The whole text or nothing: false, with an
/// empty `out`, for overlong, cut, surrogate or out-of-range forms, for a zero byte, or when `capacity`
/// (code units, with the end mark) is too small.
bool to_utf16(const char* text, size_t bytes, char16_t* out, size_t capacity);

/// Copies as much as fits, ending with an end mark and never between the halves of a surrogate pair. False
/// when something was left out. A null text copies as an empty one.
bool copy_text(char16_t* out, size_t capacity, const char16_t* text);

/// Appends to a text in place, as copy_text.
bool append_text(char16_t* out, size_t capacity, const char16_t* text);

bool same_text(const char16_t* a, const char16_t* b);

/// The lower-case form of one code unit: ASCII, Latin-1, Latin Extended-A, Greek and Cyrillic; the same on
/// every machine, whatever its locale. Others stay.
char16_t fold_case(char16_t c);

/// Order of two texts without regard to case: below 0, 0, above 0.
int compare_no_case(const char16_t* a, const char16_t* b);

/// Whether `text` matches `pattern`, without regard to case: '*' any run, '?' one code unit. "*.*" matches
/// every name, also one without a dot.
bool matches_wildcards(const char16_t* text, const char16_t* pattern);

/// A converted copy that lives for a scope. `bytes` is null when the text was null or malformed or when
/// memory failed.
struct utf8_text
{
    explicit utf8_text(const char16_t* text);
    ~utf8_text();
    utf8_text(const utf8_text&) = delete;
    utf8_text& operator=(const utf8_text&) = delete;
    char* bytes = nullptr;
};

/// As utf8_text, the other way.
struct utf16_text
{
    explicit utf16_text(const char* text);
    ~utf16_text();
    utf16_text(const utf16_text&) = delete;
    utf16_text& operator=(const utf16_text&) = delete;
    char16_t* units = nullptr;
};

} // namespace zr::platform
