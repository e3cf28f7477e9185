#include "host/text.hpp"

#include <cctype>
#include <cstdint>

namespace host
{

namespace
{

constexpr uint32_t no_character = 0xFFFFFFFF;

uint32_t next_character(std::string_view bytes, size_t& at);
void append_utf8(std::string& out, uint32_t c);

} // namespace

bool is_utf8(std::string_view bytes)
{
    for (size_t at = 0; at < bytes.size();)
    {
        if (next_character(bytes, at) == no_character) { return false; }
    }
    return true;
}

std::string utf8_of_bytes(std::string_view bytes)
{
    if (is_utf8(bytes)) { return std::string(bytes); }
    std::string out;
    for (const char c : bytes) { append_utf8(out, uint8_t(c)); }
    return out;
}

std::u16string utf16_of(const std::string& bytes)
{
    const std::string text = utf8_of_bytes(bytes);
    std::u16string out;
    for (size_t at = 0; at < text.size();)
    {
        const uint32_t c = next_character(text, at);
        if (c < 0x10000) { out += char16_t(c); }
        else
        {
            out += { char16_t(0xD800 + ((c - 0x10000) >> 10)), char16_t(0xDC00 + ((c - 0x10000) & 0x3FF)) };
        }
    }
    return out;
}

std::u16string utf16_of(const std::filesystem::path& file) { return utf16_of(file.native()); }

std::string utf8_of(std::u16string_view units)
{
    std::string out;
    for (size_t i = 0; i < units.size(); ++i)
    {
        uint32_t c = units[i];
        const bool is_pair = c >= 0xD800 && c < 0xDC00 && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
                             units[i + 1] < 0xE000;
        if (is_pair) { c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00u); }
        else if (c >= 0xD800 && c < 0xE000) { c = '?'; }
        append_utf8(out, c);
    }
    return out;
}

bool latin1_of(std::string_view utf8, std::string& out)
{
    out.clear();
    for (const char16_t unit : utf16_of(std::string(utf8)))
    {
        if (unit > 0xFF) { return false; }
        out += char(unit);
    }
    return true;
}

std::string percent_decoded(const std::string& uri)
{
    std::string out;
    for (size_t i = 0; i < uri.size(); ++i)
    {
        const bool is_coded = uri[i] == '%' && i + 2 < uri.size() && isxdigit(uint8_t(uri[i + 1])) &&
                              isxdigit(uint8_t(uri[i + 2]));
        out += is_coded ? char(std::stoi(uri.substr(i + 1, 2), nullptr, 16)) : uri[i];
        i += is_coded ? 2 : 0;
    }
    return out;
}

std::u16string lower_case(std::u16string text)
{
    for (char16_t& c : text)
    {
        const bool is_upper = (c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7);
        if (is_upper) { c = char16_t(c + 32); }
    }
    return text;
}

namespace
{

/// The character at `at`, which moves past it; `no_character`, with `at` in place, where the bytes are not
/// UTF-8.
uint32_t next_character(std::string_view bytes, size_t& at)
{
    const auto byte = [&](size_t i) { return uint8_t(bytes[i]); };
    const uint8_t first = byte(at);
    if (first < 0x80) { return ++at, first; }
    const int following = first >= 0xF0 && first < 0xF5   ? 3
                          : first >= 0xE0 && first < 0xF0 ? 2
                          : first >= 0xC2 && first < 0xE0 ? 1
                                                          : 0;
    if (following == 0 || bytes.size() - at <= size_t(following)) { return no_character; }
    uint32_t character = first & (0x3Fu >> following);
    for (int i = 1; i <= following; ++i)
    {
        if ((byte(at + size_t(i)) & 0xC0) != 0x80) { return no_character; }
        character = character << 6 | (byte(at + size_t(i)) & 0x3Fu);
    }
    constexpr uint32_t lowest[] = { 0, 0x80, 0x800, 0x10000 };
    const bool is_surrogate = character >= 0xD800 && character < 0xE000;
    if (character < lowest[following] || character > 0x10FFFF || is_surrogate) { return no_character; }
    at += size_t(following) + 1;
    return character;
}

void append_utf8(std::string& out, uint32_t c)
{
    if (c < 0x80) { out += char(c); }
    else if (c < 0x800) { out += { char(0xC0 | c >> 6), char(0x80 | (c & 0x3F)) }; }
    else if (c < 0x10000)
    {
        out += { char(0xE0 | c >> 12), char(0x80 | (c >> 6 & 0x3F)), char(0x80 | (c & 0x3F)) };
    }
    else
    {
        out += { char(0xF0 | c >> 18), char(0x80 | (c >> 12 & 0x3F)), char(0x80 | (c >> 6 & 0x3F)),
            char(0x80 | (c & 0x3F)) };
    }
}

} // namespace

} // namespace host
