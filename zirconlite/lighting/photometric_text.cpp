/// @file
/// Decoding and scanning of photometric files.
#include "zirconlite/lighting/photometric_text.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <float.h>

namespace
{

constexpr size_t shown_token = 40; // bytes of a token that a message shows

struct text_sink
{
    zr::array<char>& text;
    bool ok = true;

    void byte(uint32_t b) { ok = ok && text.push(char(uint8_t(b))); }
    void character(uint32_t c);
};

bool decode_utf8(const uint8_t* bytes, size_t size, text_sink* out);
void decode_utf16(const uint8_t* bytes, size_t size, bool is_big, text_sink& out);

char lower(char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; }
bool is_blank(char c) { return c == ' ' || c == '\t'; }
bool is_line_end(char c) { return c == '\r' || c == '\n'; }
bool separates(char c) { return is_blank(c) || c == ','; }

} // namespace

namespace zr
{

bool decode_text(const uint8_t* bytes, size_t size, array<char>& text)
{
    text_sink out = { text };
    if (!text.reserve(size + size / 4 + 16)) { return false; }
    if (size >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) { decode_utf16(bytes + 2, size - 2, false, out); }
    else if (size >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF)
    {
        decode_utf16(bytes + 2, size - 2, true, out);
    }
    else if (decode_utf8(bytes, size, nullptr))
    {
        const bool has_mark = size >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF;
        decode_utf8(bytes + (has_mark ? 3 : 0), size - (has_mark ? 3 : 0), &out);
    }
    else
    {
        for (size_t i = 0; i < size; ++i) { out.character(bytes[i]); }
    }
    return out.ok;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && is_blank(text.front())) { text.remove_prefix(1); }
    while (!text.empty() && is_blank(text.back())) { text.remove_suffix(1); }
    return text;
}

bool begins_with(std::string_view text, std::string_view head)
{
    if (text.size() < head.size()) { return false; }
    for (size_t i = 0; i < head.size(); ++i)
    {
        if (lower(text[i]) != lower(head[i])) { return false; }
    }
    return true;
}

bool parse_number(std::string_view token, double& value, char decimal)
{
    constexpr size_t longest = 64; // more digits than any reading has
    char copy[longest];
    if (!token.empty() && token.front() == '+')
    {
        token.remove_prefix(1);
        if (!token.empty() && token.front() == '-') { return false; }
    }
    if (token.empty() || token.size() > longest) { return false; }
    // Hexadecimal digits are not taken; "nan" and "inf" are not finite.
    std::replace_copy(token.begin(), token.end(), copy, decimal, '.');
    const char* copy_end = copy + token.size();
    const auto [stop, error] = std::from_chars(copy, copy_end, value);
    return error == std::errc() && stop == copy_end && std::isfinite(value);
}

int shown_length(std::string_view token)
{
    if (token.size() <= shown_token) { return int(token.size()); }
    size_t length = shown_token;
    while (length > 0 && (uint8_t(token[length]) & 0xC0) == 0x80) { --length; }
    return int(length);
}

bool text_scanner::next_line(std::string_view& text)
{
    if (at == end) { return false; }
    token_line = line;
    const char* start = at;
    while (at != end && !is_line_end(*at)) { ++at; }
    text = std::string_view(start, size_t(at - start));
    while (!text.empty() && is_blank(text.back())) { text.remove_suffix(1); }
    if (at != end)
    {
        const bool is_pair = *at == '\r' && at + 1 != end && at[1] == '\n';
        at += is_pair ? 2 : 1;
        ++line;
    }
    return true;
}

bool text_scanner::next_token(std::string_view& token)
{
    while (at != end && (separates(*at) || is_line_end(*at)))
    {
        if (*at == '\n' || (*at == '\r' && !(at + 1 != end && at[1] == '\n'))) { ++line; }
        ++at;
    }
    token_line = line;
    if (at == end) { return false; }
    const char* start = at;
    while (at != end && !separates(*at) && !is_line_end(*at)) { ++at; }
    token = std::string_view(start, size_t(at - start));
    return true;
}

double text_scanner::number(const char* what)
{
    std::string_view token;
    double value = 0.0;
    if (!ok()) { return 0.0; }
    if (!next_token(token))
    {
        fail(zr::fail(ZR_ERROR_READ, "the file ends where %s was expected", what));
        return 0.0;
    }
    if (!parse_number(token, value))
    {
        fail(zr::fail(ZR_ERROR_FORMAT, "\"%.*s\" is no number; %s was expected", shown_length(token),
            token.data(), what));
        return 0.0;
    }
    if (std::fabs(value) > FLT_MAX)
    {
        fail(zr::fail(ZR_ERROR_FORMAT, "%s is too large: %g", what, value));
        return 0.0;
    }
    return value;
}

int32_t text_scanner::integer(const char* what)
{
    const double value = number(what);
    if (ok() && (value != std::trunc(value) || std::fabs(value) > INT32_MAX))
    {
        fail(zr::fail(ZR_ERROR_FORMAT, "%s must be a whole number and is %g", what, value));
    }
    return ok() ? int32_t(value) : 0;
}

void text_scanner::fail(const status& s)
{
    if (!ok()) { return; }
    why = s;
    why.line = token_line;
}

} // namespace zr

namespace
{

void text_sink::character(uint32_t c)
{
    const bool is_control = (c < 0x20 && c != '\t' && c != '\r' && c != '\n') || (c >= 0x7F && c < 0xA0);
    if (is_control) { c = ' '; }
    if (c < 0x80) { byte(c); }
    else if (c < 0x800)
    {
        byte(0xC0 | c >> 6);
        byte(0x80 | (c & 0x3F));
    }
    else if (c < 0x10000)
    {
        byte(0xE0 | c >> 12);
        byte(0x80 | (c >> 6 & 0x3F));
        byte(0x80 | (c & 0x3F));
    }
    else
    {
        byte(0xF0 | c >> 18);
        byte(0x80 | (c >> 12 & 0x3F));
        byte(0x80 | (c >> 6 & 0x3F));
        byte(0x80 | (c & 0x3F));
    }
}

/// False for bytes that are not UTF-8. With no `out` they are checked only.
bool decode_utf8(const uint8_t* bytes, size_t size, text_sink* out)
{
    constexpr uint32_t least[] = { 0, 0x80, 0x800, 0x10000 };
    for (size_t i = 0; i < size;)
    {
        const uint8_t first = bytes[i++];
        const size_t more = first < 0x80 ? 0 : first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
        if ((first >= 0x80 && first < 0xC2) || first > 0xF4 || size - i < more) { return false; }
        uint32_t c = more == 0 ? first : first & (0x3Fu >> more);
        for (size_t k = 0; k < more; ++k)
        {
            if ((bytes[i] & 0xC0) != 0x80) { return false; }
            c = c << 6 | (bytes[i++] & 0x3F);
        }
        if (c < least[more] || (c >= 0xD800 && c < 0xE000) || c > 0x10FFFF) { return false; }
        if (out) { out->character(c); }
    }
    return true;
}

void decode_utf16(const uint8_t* bytes, size_t size, bool is_big, text_sink& out)
{
    const auto unit = [&](size_t i)
    { return uint32_t(bytes[i + (is_big ? 0 : 1)] << 8 | bytes[i + (is_big ? 1 : 0)]); };
    for (size_t i = 0; i + 1 < size; i += 2)
    {
        uint32_t c = unit(i);
        const bool is_half = c >= 0xD800 && c < 0xE000;
        if (is_half && c < 0xDC00 && i + 3 < size && (unit(i + 2) & 0xFC00) == 0xDC00)
        {
            c = 0x10000 + ((c & 0x3FF) << 10) + (unit(i + 2) & 0x3FF);
            i += 2;
        }
        else if (is_half) { c = '?'; }
        out.character(c);
    }
}

} // namespace
