/// @file
/// Reading of string files and look-up of texts.
#include "zirconlite/frame/string_table.h"

#include <stdlib.h>
#include <string.h>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/frame/window_font.hpp"
#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr int32_t max_count = 1 << 20;
constexpr uint64_t max_file_bytes = uint64_t(64) << 20;
char16_t default_text[] = u"???";

/// The count is stored in front of the entries, so that a number out of range is seen.
struct table_head
{
    size_t count;
};

/// A string file's code units, one line at a time.
struct line_reader
{
    const unsigned char* at;
    const unsigned char* end;
    char16_t line[ZR_MESSAGE_CAPACITY];
};

bool next_line(line_reader& in);
bool read_font_line(const char16_t* line, bool* done);
bool read_entry(string_table table, int32_t count, const char16_t* line);
bool number_of_key(const char16_t* text, int32_t* number);
table_head* head_of(string_table table);

} // namespace

string_table zr_create_string_table(const char16_t* path, int32_t count, int32_t read_font)
{
    if (!path || count < 0 || count > max_count)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "a string table of %d entries is out of range", count);
        return nullptr;
    }
    size_t size = 0;
    unsigned char* content = platform::read_whole_file(path, max_file_bytes, &size);
    if (!content)
    {
        zr::status s = zr::fail(ZR_ERROR_READ, "the string file cannot be read");
        platform::to_utf8(path, s.file, sizeof(s.file));
        zr::report(s);
        return nullptr;
    }
    const size_t entries = size_t(count);
    auto* head = static_cast<table_head*>(zr_malloc(sizeof(table_head) + entries * sizeof(char16_t*)));
    auto* in = static_cast<line_reader*>(zr_malloc(sizeof(line_reader)));
    string_table table = nullptr;
    if (head && in)
    {
        head->count = entries;
        table = reinterpret_cast<string_table>(head + 1);
        for (size_t i = 0; i < entries; ++i) { table[i] = default_text; }
        in->at = content;
        in->end = content + size;
        bool font_done = read_font == 0;
        bool good = true;
        while (good && next_line(*in))
        {
            const char16_t* line = in->line[0] == 0xFEFF ? in->line + 1 : in->line;
            if (*line == 0 || *line == u';') { continue; }
            if (*line == u'[') { good = read_entry(table, count, line); }
            else if (!font_done) { read_font_line(line, &font_done); }
        }
        if (!good)
        {
            zr_free_string_table(table, count);
            table = nullptr;
        }
    }
    else { zr_free(head); }
    zr_free(in);
    free(content);
    return table;
}

void zr_free_string_table(string_table table, int32_t count)
{
    if (!table) { return; }
    table_head* head = head_of(table);
    const size_t entries = count < 1 ? 0 : head->count;
    for (size_t i = 0; i < entries; ++i)
    {
        if (table[i] != default_text) { zr_free(table[i]); }
    }
    zr_free(head);
}

string_table zr_reinit_string_tables(string_table table, const char16_t* path, int32_t count)
{
    zr_free_string_table(zr::the_module.messages, ZR_MESSAGE_COUNT);
    zr::load_messages();
    zr_free_string_table(table, count);
    return zr_create_string_table(path, ZR_MESSAGE_COUNT, 0);
}

const char16_t* zr_get_message(string_table table, int32_t number)
{
    if (!table) { table = zr::the_module.messages; }
    if (!table || number < 0 || size_t(number) >= head_of(table)->count) { return default_text; }
    return table[number] ? table[number] : default_text;
}

int32_t zr_get_string_from_table(string_table table, const char16_t* text, char16_t* buffer)
{
    int32_t number = 0;
    const bool is_key = number_of_key(text, &number);
    platform::copy_text(buffer, ZR_MESSAGE_CAPACITY, is_key ? zr_get_message(table, number) : text);
    return is_key;
}

namespace zr
{

void load_messages()
{
    the_module.messages = nullptr;
    const char16_t* folder = the_module.language_path;
    if (!folder) { return; }
    char16_t path[ZR_PATH_CAPACITY];
    if (platform::copy_text(path, ZR_PATH_CAPACITY, folder) &&
        platform::append_text(path, ZR_PATH_CAPACITY, u"zr3.uni"))
    {
        the_module.messages = zr_create_string_table(path, ZR_MESSAGE_COUNT, 1);
    }
}

} // namespace zr

namespace
{

/// What does not fit into the line is left out. False at the end, unless a last line has no end mark.
bool next_line(line_reader& in)
{
    size_t used = 0;
    bool any = false;
    while (in.end - in.at >= 2)
    {
        const auto c = char16_t(in.at[0] | in.at[1] << 8);
        in.at += 2;
        any = true;
        if (c == u'\r')
        {
            // The line feed behind it.
            in.at += in.end - in.at >= 2 ? 2 : 0;
            break;
        }
        if (used + 1 < ZR_MESSAGE_CAPACITY) { in.line[used++] = c; }
    }
    in.line[used] = 0;
    return any;
}

bool begins_with(const char16_t* text, const char16_t* word)
{
    while (*word && *text == *word)
    {
        ++text;
        ++word;
    }
    return *word == 0;
}

bool is_one_of(char16_t c, const char16_t* set)
{
    while (*set && *set != c) { ++set; }
    return *set != 0;
}

/// A wide-character font line ends the reading of fonts.
bool read_font_line(const char16_t* line, bool* done)
{
    const bool wide = begins_with(line, u"FONT_NT");
    if (!wide && !begins_with(line, u"FONT")) { return false; }
    // The other platforms take the plain line only: this one's number is elsewhere.
    if (wide && zr::the_module.os_platform != 0) { return false; }
    *done = wide;
    const char16_t* at = line + (wide ? 7 : 4);
    if (*at == 0) { return false; }
    ++at;
    bool negative = false;
    if (*at == u'-' || *at == u'+') { negative = *at++ == u'-'; }
    int32_t height = 0;
    for (; *at >= u'0' && *at <= u'9'; ++at)
    {
        if (height < 10000) { height = height * 10 + (*at - u'0'); }
    }
    while (*at && !is_one_of(*at, u" ,\n\r\t")) { ++at; }
    if (*at) { ++at; }
    while (*at == u' ' || *at == u'\t') { ++at; }
    char16_t face[32];
    size_t n = 0;
    while (*at && !is_one_of(*at, u",\n\r\t") && n + 1 < 32) { face[n++] = *at++; }
    face[n] = 0;
    zr::set_window_font_choice(negative ? -height : height, face);
    return true;
}

/// "[12345]" and a text. False only when memory fails: everything else about a line is forgiven.
bool read_entry(string_table table, int32_t count, const char16_t* line)
{
    int32_t number = 0;
    for (int i = 1; i <= 5; ++i)
    {
        if (line[i] < u'0' || line[i] > u'9') { return true; }
        number = number * 10 + (line[i] - u'0');
    }
    if (line[6] == 0 || number >= count) { return true; }
    const char16_t* text = line + 7;
    while (*text == u' ' || *text == u'\t') { ++text; }
    if (*text == u'"') { ++text; }
    size_t length = 0;
    while (text[length] && !is_one_of(text[length], u"\"\n\r\t")) { ++length; }
    if (length == 0) { return true; }
    auto* copy = static_cast<char16_t*>(zr_malloc((length + 1) * sizeof(char16_t)));
    if (!copy) { return false; }
    memcpy(copy, text, length * sizeof(char16_t));
    copy[length] = 0;
    if (table[number] != default_text) { zr_free(table[number]); }
    table[number] = copy;
    return true;
}

/// Reads the number behind "^^" as a decimal fraction, truncated; a tail of any text is allowed.
bool number_of_key(const char16_t* text, int32_t* number)
{
    if (text[0] != u'^' || text[1] != u'^') { return false; }
    char digits[64];
    size_t n = 0;
    for (const char16_t* p = text + 2; *p && *p < 0x80 && n + 1 < sizeof(digits); ++p)
    {
        digits[n++] = char(*p);
    }
    digits[n] = 0;
    const double value = strtod(digits, nullptr);
    // Beyond every table, NaN included: such a key shows the default text.
    *number = value > -2147483648.0 && value < 2147483648.0 ? int32_t(value) : -1;
    return true;
}

table_head* head_of(string_table table) { return reinterpret_cast<table_head*>(table) - 1; }

} // namespace
