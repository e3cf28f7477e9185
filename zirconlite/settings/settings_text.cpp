#include "zirconlite/settings/settings_text.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <float.h>
#include <iterator>
#include <string.h>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/text.hpp"

namespace zr
{

namespace
{

struct head_row
{
    const char16_t* text;
    size_t compared; ///< characters that must be there
};
constexpr head_row heads[] = {
    { u"#ZR3 SUNSKY", 11 },
    { u"#ZR3 ENVIRONMENT", 11 },
    { u"#ZR3 EXPOSURE", 13 },
};
static_assert(std::size(heads) == SETTINGS_EXPOSURE);

bool next_unit(unit_source& from, char16_t& unit);
bool next_byte(unit_source& from, uint8_t& byte);
bool is_key(const settings_token& token, const char16_t* key);
bool begins_with(const char16_t* text, const char16_t* start, size_t count);
bool read_value(const settings_field& f, const char16_t* at, bool is_cut, uint8_t* record);
bool read_text(const settings_field& f, const char16_t* at, bool is_cut, uint8_t* place);
void store_number(settings_type type, double value, uint8_t* place);
bool whole_number(double value, uint32_t& word);
bool write_text(settings_writer& to, const settings_field& f, const char16_t* text);
size_t text_room(const settings_field& f);
bool is_separator(char16_t c);
bool fail_text(const settings_field& f, size_t room);
void write_number(settings_writer& to, settings_type type, const uint8_t* place);
size_t size_of(settings_type type);

} // namespace

bool read_line(unit_source& from, settings_line& line)
{
    size_t n = 0;
    bool any = false;
    char16_t unit;
    line.is_cut = false;
    while (next_unit(from, unit))
    {
        any = true;
        if (unit == u'\n') { break; }
        if (n < settings_line_limit) { line.text[n++] = unit; }
        else if (unit != u'\r') { line.is_cut = true; }
    }
    if (n && n < settings_line_limit && line.text[n - 1] == u'\r') { --n; }
    line.text[n] = 0;
    return any;
}

bool read_body_line(unit_source& from, settings_line& line)
{
    return read_line(from, line) && !begins_with(line.text, u"#END", 4);
}

int32_t read_settings_head(unit_source& from)
{
    settings_line line;
    if (!read_line(from, line)) { return report_failure(ZR_ERROR_FORMAT, "the file is empty"); }
    const char16_t* text = line.text[0] == 0xfeff ? line.text + 1 : line.text;
    for (size_t i = 0; i < std::size(heads); ++i)
    {
        if (begins_with(text, heads[i].text, heads[i].compared)) { return int32_t(i) + 1; }
    }
    if (text[0] == 0xfffe)
    {
        return report_failure(ZR_ERROR_FORMAT, "not settings: UTF-16 of the wrong byte order");
    }
    if (text[0] == 0x5a23)
    {
        return report_failure(ZR_ERROR_FORMAT, "not settings: 8-bit text, UTF-16LE expected");
    }
    return report_failure(ZR_ERROR_FORMAT,
        "not settings: the first line is not #ZR3 SUNSKY, #ZR3 ENVIRONMENT or #ZR3 EXPOSURE");
}

bool next_token(const char16_t*& at, settings_token& token)
{
    while (*at && is_separator(*at)) { ++at; }
    token.text = at;
    while (*at && !is_separator(*at)) { ++at; }
    token.length = size_t(at - token.text);
    return token.length != 0;
}

bool number_of(const settings_token& token, double& value)
{
    char text[settings_line_limit];
    size_t n = 0, start = 0;
    while (n < token.length && token.text[n] < 0x80)
    {
        text[n] = char(token.text[n]);
        ++n;
    }
    while (start < n && text[start] == ' ') { ++start; }
    if (start + 1 < n && text[start] == '+' && text[start + 1] != '-') { ++start; }
    double read;
    const std::from_chars_result r = std::from_chars(text + start, text + n, read);
    if (r.ec != std::errc() || !std::isfinite(read)) { return false; }
    value = read;
    return true;
}

bool read_fields(unit_source& from, const settings_table* tables, size_t count)
{
    settings_line line;
    while (read_body_line(from, line))
    {
        const char16_t* at = line.text;
        settings_token key;
        if (!next_token(at, key)) { continue; }
        for (const settings_table* t = tables; t < tables + count; ++t)
        {
            const settings_field* end = t->fields + t->count;
            const settings_field* f =
                std::find_if(t->fields, end, [&](const settings_field& row) { return is_key(key, row.key); });
            if (f != end && !read_value(*f, at, line.is_cut, static_cast<uint8_t*>(t->record)))
            {
                return false;
            }
        }
    }
    return true;
}

void settings_writer::add(const char16_t* text)
{
    for (; *text; ++text) { add(*text); }
}

void settings_writer::add_number(double value)
{
    char text[400];
    const std::to_chars_result r =
        std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, 6);
    for (const char* c = text; c < r.ptr; ++c) { add(char16_t(*c)); }
}

void settings_writer::add_integer(int32_t value)
{
    char text[16];
    const std::to_chars_result r = std::to_chars(text, text + sizeof(text), value);
    for (const char* c = text; c < r.ptr; ++c) { add(char16_t(*c)); }
}

bool write_fields(settings_writer& to, const settings_table& table)
{
    for (const settings_field* f = table.fields; f < table.fields + table.count; ++f)
    {
        const uint8_t* place = static_cast<const uint8_t*>(table.record) + f->offset;
        const char16_t* text = reinterpret_cast<const char16_t*>(place);
        if (f->type == settings_type::owned_text) { memcpy(&text, place, sizeof(text)); }
        if (f->type == settings_type::owned_text && !text) { continue; }
        to.add(u'\n');
        to.add(f->key);
        to.add(u'=');
        if (f->type == settings_type::text || f->type == settings_type::owned_text)
        {
            if (!write_text(to, *f, text)) { return false; }
            continue;
        }
        for (int32_t i = 0; i < f->count; ++i)
        {
            if (i > 0) { to.add(u'\t'); }
            write_number(to, f->type, place + i * size_of(f->type));
        }
    }
    return true;
}

bool write_to_stream(const settings_writer& from, FILE* stream)
{
    if (!from.ok) { return report_failure(ZR_ERROR_MEMORY, "no memory for the text of the settings"); }
    for (const char16_t unit : from.units)
    {
        uint8_t pair[2];
        put_u16(pair, unit);
        if (fwrite(pair, 1, sizeof(pair), stream) != sizeof(pair))
        {
            return report_failure(ZR_ERROR_WRITE, "the settings cannot be written");
        }
    }
    return true;
}

const char16_t* settings_head(int32_t kind) { return heads[kind - 1].text; }

} // namespace zr

int32_t zr_read_settings_head(FILE* stream)
{
    zr::unit_source from = { stream, nullptr, 0 };
    return stream ? zr::read_settings_head(from) : 0;
}

namespace zr
{

namespace
{

bool next_unit(unit_source& from, char16_t& unit)
{
    uint8_t pair[2];
    if (!next_byte(from, pair[0]) || !next_byte(from, pair[1])) { return false; }
    unit = byte_reader(pair, 2).u16();
    return true;
}

bool next_byte(unit_source& from, uint8_t& byte)
{
    if (from.stream)
    {
        const int c = fgetc(from.stream);
        byte = uint8_t(c);
        return c != EOF;
    }
    if (!from.left) { return false; }
    byte = *from.bytes++;
    --from.left;
    return true;
}

bool is_key(const settings_token& token, const char16_t* key)
{
    return platform::text_length(key) == token.length && begins_with(token.text, key, token.length);
}

bool begins_with(const char16_t* text, const char16_t* start, size_t count)
{
    for (size_t i = 0; i < count; ++i)
    {
        if (text[i] != start[i]) { return false; }
    }
    return true;
}

bool read_value(const settings_field& f, const char16_t* at, bool is_cut, uint8_t* record)
{
    uint8_t* place = record + f.offset;
    if (f.type == settings_type::text || f.type == settings_type::owned_text)
    {
        return read_text(f, at, is_cut, place);
    }
    settings_token token;
    double value;
    for (int32_t i = 0; i < f.count && next_token(at, token); ++i)
    {
        if (number_of(token, value)) { store_number(f.type, value, place + i * size_of(f.type)); }
    }
    return true;
}

bool read_text(const settings_field& f, const char16_t* at, bool is_cut, uint8_t* place)
{
    settings_token token;
    if (!next_token(at, token)) { return true; }
    if (is_cut) { return fail_text(f, text_room(f)); }
    settings_line value;
    std::copy_n(token.text, token.length, value.text);
    value.text[token.length] = 0;
    if (f.type == settings_type::text)
    {
        const auto capacity = size_t(f.count);
        if (platform::text_length(value.text) >= capacity) { return fail_text(f, capacity - 1); }
        platform::copy_text(reinterpret_cast<char16_t*>(place), size_t(f.count), value.text);
        return true;
    }
    char16_t* copy = zr_dupestring(value.text);
    if (!copy) { return report_failure(ZR_ERROR_MEMORY, "no memory for a text of the settings"); }
    char16_t* old;
    memcpy(&old, place, sizeof(old));
    zr_free(old);
    memcpy(place, &copy, sizeof(copy));
    return true;
}

void store_number(settings_type type, double value, uint8_t* place)
{
    if (type == settings_type::real) { memcpy(place, &value, sizeof(value)); }
    if (type == settings_type::single && std::fabs(value) <= double(FLT_MAX))
    {
        const auto f = float(value);
        memcpy(place, &f, sizeof(f));
    }
    uint32_t word;
    if (type == settings_type::integer && whole_number(value, word)) { memcpy(place, &word, sizeof(word)); }
}

/// The value's whole part in 32 bits; false where it does not fit. Signed and unsigned words share the range.
bool whole_number(double value, uint32_t& word)
{
    const double whole = std::trunc(value);
    if (!(whole >= -2147483648.0 && whole <= 4294967295.0)) { return false; }
    word = uint32_t(int64_t(whole));
    return true;
}

/// A text as a value, up to what would end it. False where it does not fit the line with its key.
bool write_text(settings_writer& to, const settings_field& f, const char16_t* text)
{
    size_t room = text_room(f);
    for (; *text && !is_separator(*text) && *text != u'\r'; ++text)
    {
        if (room-- == 0) { return fail_text(f, text_room(f)); }
        to.add(*text);
    }
    return true;
}

/// Room for the text of a key in its line.
size_t text_room(const settings_field& f) { return settings_line_limit - platform::text_length(f.key) - 1; }

bool is_separator(char16_t c) { return c == u'\t' || c == u'\n' || c == u'='; }

bool fail_text(const settings_field& f, size_t room)
{
    const platform::utf8_text key(f.key);
    return report_failure(
        ZR_ERROR_LIMIT, "the text of %s is longer than %zu characters", key.bytes ? key.bytes : "", room);
}

void write_number(settings_writer& to, settings_type type, const uint8_t* place)
{
    if (type == settings_type::integer)
    {
        int32_t word;
        memcpy(&word, place, sizeof(word));
        to.add_integer(word);
        return;
    }
    double value;
    float f;
    memcpy(&f, place, sizeof(f));
    if (type == settings_type::real) { memcpy(&value, place, sizeof(value)); }
    to.add_number(type == settings_type::real ? value : double(f));
}

size_t size_of(settings_type type) { return type == settings_type::real ? sizeof(double) : sizeof(uint32_t); }

} // namespace

} // namespace zr
