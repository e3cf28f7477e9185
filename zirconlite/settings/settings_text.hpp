/// @file
/// Lines, keys and values of settings files: the text behind zirconlite/settings/settings_files.h.
#pragma once

#include <stdio.h>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/settings/settings_files.h"

namespace zr
{

/// Where code units come from: a stream, or a file in memory when that is null. An odd byte at the end is
/// dropped.
struct unit_source
{
    FILE* stream;
    const uint8_t* bytes;
    size_t left;
};

inline constexpr size_t settings_line_limit = 512;

/// What counts of a line, with an end mark.
struct settings_line
{
    char16_t text[settings_line_limit + 1];
    bool is_cut; ///< the line is longer
};

/// The next line, without its end; false where nothing is left.
bool read_line(unit_source& from, settings_line& line);

/// The next line of a body; false behind the last and at "#END".
bool read_body_line(unit_source& from, settings_line& line);

/// zr_read_settings_head of any source.
int32_t read_settings_head(unit_source& from);

/// A piece of a line between separators.
struct settings_token
{
    const char16_t* text;
    size_t length;
};

/// The next piece that is not empty, from `at`, which moves behind it. False where there is none.
bool next_token(const char16_t*& at, settings_token& token);

/// The number that a piece begins with; false where it is no finite number.
bool number_of(const settings_token& token, double& value);

enum class settings_type
{
    integer,   ///< int32_t or uint32_t
    single,    ///< float
    real,      ///< double
    text,      ///< char16_t[count]
    owned_text ///< char16_t* from zr_malloc; the line is written only where it is not null
};

/// One key of a settings file. Tables of them are in the order of the lines.
struct settings_field
{
    const char16_t* key;
    settings_type type;
    int32_t count; ///< values; of a text its capacity
    size_t offset; ///< in the record
};

/// The keys of a record.
struct settings_table
{
    const settings_field* fields;
    size_t count;
    void* record;
};

/// Reads lines of keys to the end into the records. False, reported, for a text that does not fit its field
/// and when memory fails for one.
bool read_fields(unit_source& from, const settings_table* tables, size_t count);

/// The text of a settings file as it grows; `ok` turns false when memory fails.
struct settings_writer
{
    array<char16_t> units;
    bool ok = true;

    void add(char16_t unit) { ok = ok && units.push(unit); }
    void add(const char16_t* text);
    void add_number(double value);   ///< as "%f"
    void add_integer(int32_t value); ///< as "%i"
};

/// False, reported, for a text that does not fit a line: half a path would name another file.
bool write_fields(settings_writer& to, const settings_table& table);

/// The bytes of a text, to a stream. False, reported, when memory failed or the stream takes no more.
bool write_to_stream(const settings_writer& from, FILE* stream);

/// Head line of a kind of file.
const char16_t* settings_head(int32_t kind);

// The whole file and the body of each kind.
bool write_sunsky(settings_writer& to, document& doc);
bool read_sunsky(unit_source& from, document& doc);
bool write_environment(settings_writer& to, document& doc);
bool read_environment(unit_source& from, document& doc);
void write_exposure(settings_writer& to, const document& doc, const render_view& view);
bool read_exposure(unit_source& from, document& doc, render_view& view);

} // namespace zr
