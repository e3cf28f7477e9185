/// @file
/// Conversion, copies and comparison of text.
#include "zirconlite/platform/text.hpp"

#include <stdlib.h>
#include <string.h>

namespace zr::platform
{

namespace
{

size_t put_utf8(uint32_t c, char* out);
bool take_utf8(const unsigned char*& at, const unsigned char* end, uint32_t* c);
bool is_high(uint32_t c);
bool is_low(uint32_t c);

} // namespace

size_t text_length(const char16_t* text)
{
    size_t n = 0;
    while (text[n]) { ++n; }
    return n;
}

bool to_utf8(const char16_t* text, char* out, size_t capacity)
{
    if (capacity == 0) { return false; }
    out[0] = 0;
    size_t used = 0;
    for (const char16_t* p = text; *p; ++p)
    {
        uint32_t c = *p;
        if (is_high(c) && is_low(p[1]))
        {
            c = 0x10000 + ((c - 0xD800) << 10) + (p[1] - 0xDC00u);
            ++p;
        }
        else if (is_high(c) || is_low(c))
        {
            out[0] = 0;
            return false;
        }
        char bytes[4];
        const size_t n = put_utf8(c, bytes);
        if (used + n >= capacity)
        {
            out[0] = 0;
            return false;
        }
        memcpy(out + used, bytes, n);
        used += n;
    }
    out[used] = 0;
    return true;
}

bool to_utf16(const char* text, size_t bytes, char16_t* out, size_t capacity)
{
    if (capacity == 0) { return false; }
    const auto* at = reinterpret_cast<const unsigned char*>(text);
    const unsigned char* end = at + bytes;
    size_t used = 0;
    while (at < end)
    {
        uint32_t c = 0;
        const bool good = take_utf8(at, end, &c);
        const size_t n = c >= 0x10000 ? 2 : 1;
        if (!good || used + n >= capacity)
        {
            out[0] = 0;
            return false;
        }
        if (n == 2)
        {
            out[used++] = char16_t(0xD800 + ((c - 0x10000) >> 10));
            out[used++] = char16_t(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
        else { out[used++] = char16_t(c); }
    }
    out[used] = 0;
    return true;
}

bool copy_text(char16_t* out, size_t capacity, const char16_t* text)
{
    if (capacity == 0) { return false; }
    size_t n = 0;
    if (text)
    {
        while (n + 1 < capacity && text[n])
        {
            out[n] = text[n];
            ++n;
        }
    }
    const bool whole = !text || text[n] == 0;
    if (!whole && n > 0 && is_high(out[n - 1]) && is_low(text[n])) { --n; }
    out[n] = 0;
    return whole;
}

bool append_text(char16_t* out, size_t capacity, const char16_t* text)
{
    const size_t used = text_length(out);
    return copy_text(out + used, capacity - used, text);
}

bool same_text(const char16_t* a, const char16_t* b)
{
    while (*a && *a == *b)
    {
        ++a;
        ++b;
    }
    return *a == *b;
}

char16_t fold_case(char16_t c)
{
    if (c < 0x80) { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; }
    if (c >= 0xC0 && c <= 0xDE) { return c == 0xD7 ? c : char16_t(c + 32); }
    if (c >= 0x100 && c <= 0x17F)
    {
        if (c == 0x130 || c == 0x131 || c == 0x138 || c == 0x149 || c == 0x17F) { return c; }
        if (c == 0x178) { return 0xFF; }
        // Pairs have the capital on even numbers, but on odd ones in these two stretches.
        const bool odd_capitals = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
        const bool capital = odd_capitals ? (c & 1) != 0 : (c & 1) == 0;
        return capital ? char16_t(c + 1) : c;
    }
    if (c == 0x386) { return 0x3AC; }
    if (c >= 0x388 && c <= 0x38A) { return char16_t(c + 37); }
    if (c == 0x38C) { return 0x3CC; }
    if (c == 0x38E || c == 0x38F) { return char16_t(c + 63); }
    if (c >= 0x391 && c <= 0x3AB && c != 0x3A2) { return char16_t(c + 32); }
    if (c >= 0x400 && c <= 0x40F) { return char16_t(c + 80); }
    if (c >= 0x410 && c <= 0x42F) { return char16_t(c + 32); }
    return c;
}

int compare_no_case(const char16_t* a, const char16_t* b)
{
    for (;; ++a, ++b)
    {
        const int difference = int(fold_case(*a)) - int(fold_case(*b));
        if (difference != 0 || *a == 0) { return difference; }
    }
}

bool matches_wildcards(const char16_t* text, const char16_t* pattern)
{
    if (same_text(pattern, u"*.*")) { return true; }
    // One mark suffices: a later '*' makes what an earlier one swallowed irrelevant, so the walk stays
    // within length of text times length of pattern.
    const char16_t* after_star = nullptr;
    const char16_t* retry = nullptr;
    while (*text)
    {
        if (*pattern == u'*')
        {
            after_star = ++pattern;
            retry = text;
        }
        else if (*pattern == u'?' || (*pattern && fold_case(*pattern) == fold_case(*text)))
        {
            ++pattern;
            ++text;
        }
        else if (after_star)
        {
            pattern = after_star;
            text = ++retry;
        }
        else { return false; }
    }
    while (*pattern == u'*') { ++pattern; }
    return *pattern == 0;
}

utf8_text::utf8_text(const char16_t* text)
{
    if (!text) { return; }
    const size_t capacity = text_length(text) * 3 + 1;
    bytes = static_cast<char*>(malloc(capacity));
    if (bytes && !to_utf8(text, bytes, capacity))
    {
        free(bytes);
        bytes = nullptr;
    }
}

utf8_text::~utf8_text() { free(bytes); }

utf16_text::utf16_text(const char* text)
{
    if (!text) { return; }
    const size_t length = strlen(text);
    units = static_cast<char16_t*>(malloc((length + 1) * sizeof(char16_t)));
    if (units && !to_utf16(text, length, units, length + 1))
    {
        free(units);
        units = nullptr;
    }
}

utf16_text::~utf16_text() { free(units); }

namespace
{

size_t put_utf8(uint32_t c, char* out)
{
    if (c < 0x80)
    {
        out[0] = char(c);
        return 1;
    }
    if (c < 0x800)
    {
        out[0] = char(0xC0 | (c >> 6));
        out[1] = char(0x80 | (c & 0x3F));
        return 2;
    }
    if (c < 0x10000)
    {
        out[0] = char(0xE0 | (c >> 12));
        out[1] = char(0x80 | ((c >> 6) & 0x3F));
        out[2] = char(0x80 | (c & 0x3F));
        return 3;
    }
    out[0] = char(0xF0 | (c >> 18));
    out[1] = char(0x80 | ((c >> 12) & 0x3F));
    out[2] = char(0x80 | ((c >> 6) & 0x3F));
    out[3] = char(0x80 | (c & 0x3F));
    return 4;
}

bool take_utf8(const unsigned char*& at, const unsigned char* end, uint32_t* c)
{
    const unsigned char lead = *at++;
    if (lead == 0) { return false; }
    if (lead < 0x80)
    {
        *c = lead;
        return true;
    }
    const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead > 0xF4 || end - at < more) { return false; }
    uint32_t value = lead & (0x3Fu >> more);
    for (int i = 0; i < more; ++i)
    {
        if ((*at & 0xC0) != 0x80) { return false; }
        value = (value << 6) | (*at++ & 0x3Fu);
    }
    constexpr uint32_t smallest[] = { 0, 0x80, 0x800, 0x10000 };
    if (value < smallest[more] || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) { return false; }
    *c = value;
    return true;
}

bool is_high(uint32_t c) { return c >= 0xD800 && c < 0xDC00; }

bool is_low(uint32_t c) { return c >= 0xDC00 && c < 0xE000; }

} // namespace

} // namespace zr::platform
