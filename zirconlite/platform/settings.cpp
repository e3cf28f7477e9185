/// @file
/// The settings store over one text file.
#include "zirconlite/platform/settings.hpp"

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"
#include "zirconlite/platform/threads.hpp"

namespace zr::platform
{

namespace
{

constexpr uint64_t max_file_bytes = 1 << 20;

char16_t overriding_path[PATH_MAX] = u"";

/// A text that grows; `failed` once memory ran out.
struct text_builder
{
    char* bytes = nullptr;
    size_t size = 0, capacity = 0;
    bool failed = false;
    ~text_builder() { free(bytes); }
};

bool settings_path(char16_t* path);
void add(text_builder& out, const char* bytes, size_t size);
void add_escaped(text_builder& out, const char* text, bool is_name);
size_t unescape(char* text, size_t size);
bool same_escaped(const char* bytes, size_t size, const char16_t* wanted);
const char* end_of_name(const char* line, const char* end);
char* find_value(const char* content, const char16_t* key, const char16_t* name);
void copy_without(text_builder& out, const char* content, const char16_t* key, const char16_t* name,
    const char* added_line);

/// Writers of several processes take turns: each rewrites the whole file.
struct writer_turn
{
    explicit writer_turn(const char16_t* path);
    ~writer_turn();
    int descriptor = -1;
};

} // namespace

bool read_setting(const char16_t* key, const char16_t* name, char16_t* value, size_t capacity)
{
    if (capacity > 0) { value[0] = 0; }
    char16_t path[PATH_MAX];
    size_t size = 0;
    if (!settings_path(path)) { return false; }
    auto* content = reinterpret_cast<char*>(read_whole_file(path, max_file_bytes, &size));
    if (!content) { return false; }
    char* found = find_value(content, key, name);
    const bool good = found && to_utf16(found, strlen(found), value, capacity);
    free(found);
    free(content);
    return good;
}

bool write_setting(const char16_t* key, const char16_t* name, const char16_t* value)
{
    const utf8_text utf8_key(key), utf8_name(name), utf8_value(value);
    char16_t path[PATH_MAX];
    const bool convertible = utf8_key.bytes && utf8_name.bytes && (!value || utf8_value.bytes);
    if (!convertible || !settings_path(path)) { return false; }

    text_builder line;
    if (value)
    {
        add_escaped(line, utf8_name.bytes, true);
        add(line, "=", 1);
        add_escaped(line, utf8_value.bytes, false);
        add(line, "\n", 2); // with the end mark
    }

    const writer_turn turn(path);
    size_t size = 0;
    file_error why = file_error::none;
    auto* content = reinterpret_cast<char*>(read_whole_file(path, max_file_bytes, &size, &why));
    // A file that is there but cannot be read, or is far too long to be ours, is not overwritten.
    if (!content && why != file_error::not_found) { return false; }

    text_builder out;
    copy_without(out, content ? content : "", key, name, line.bytes);
    free(content);
    if (out.failed || line.failed) { return false; }
    replacement* r = begin_replacement(path);
    if (!r) { return false; }
    write_replacement(r, out.bytes, out.size);
    return commit_replacement(r);
}

void override_settings_file(const char16_t* path) { copy_text(overriding_path, PATH_MAX, path); }

namespace
{

bool settings_path(char16_t* path)
{
    if (overriding_path[0]) { return copy_text(path, PATH_MAX, overriding_path); }
    const char* given = getenv("ZIRCONLITE_SETTINGS");
    if (given && *given) { return to_utf16(given, strlen(given), path, PATH_MAX); }
    const char* config = getenv("XDG_CONFIG_HOME");
    const char* home = getenv("HOME");
    char text[PATH_MAX];
    int n;
    if (config && *config == '/') { n = snprintf(text, sizeof(text), "%s/zirconlite", config); }
    else if (home && *home) { n = snprintf(text, sizeof(text), "%s/.config/zirconlite", home); }
    else { return false; }
    return n > 0 && n < int(sizeof(text)) && to_utf16(text, strlen(text), path, PATH_MAX) &&
           append_text(path, PATH_MAX, u"/settings.txt");
}

void add(text_builder& out, const char* bytes, size_t size)
{
    if (out.failed) { return; }
    if (out.size + size > out.capacity)
    {
        const size_t capacity = (out.size + size) * 2 + 64;
        void* block = realloc(out.bytes, capacity);
        if (!block)
        {
            out.failed = true;
            return;
        }
        out.bytes = static_cast<char*>(block);
        out.capacity = capacity;
    }
    memcpy(out.bytes + out.size, bytes, size);
    out.size += size;
}

void add_escaped(text_builder& out, const char* text, bool is_name)
{
    for (; *text; ++text)
    {
        if (*text == '\\') { add(out, "\\\\", 2); }
        else if (*text == '\n') { add(out, "\\n", 2); }
        else if (*text == '\r') { add(out, "\\r", 2); }
        else if (is_name && *text == '=') { add(out, "\\=", 2); }
        else { add(out, text, 1); }
    }
}

/// Undoes add_escaped in place; the new size.
size_t unescape(char* text, size_t size)
{
    size_t kept = 0;
    for (size_t i = 0; i < size; ++i)
    {
        char c = text[i];
        if (c == '\\' && i + 1 < size)
        {
            c = text[++i];
            if (c == 'n') { c = '\n'; }
            else if (c == 'r') { c = '\r'; }
        }
        text[kept++] = c;
    }
    text[kept] = 0;
    return kept;
}

bool same_escaped(const char* bytes, size_t size, const char16_t* wanted)
{
    auto* copy = static_cast<char*>(malloc(size + 1));
    if (!copy) { return false; }
    memcpy(copy, bytes, size);
    const size_t length = unescape(copy, size);
    auto* wide = static_cast<char16_t*>(malloc((length + 1) * sizeof(char16_t)));
    const bool same = wide && to_utf16(copy, length, wide, length + 1) && compare_no_case(wide, wanted) == 0;
    free(wide);
    free(copy);
    return same;
}

/// The '=' that ends a line's name, or `end`.
const char* end_of_name(const char* line, const char* end)
{
    for (const char* p = line; p < end; ++p)
    {
        if (*p == '\\' && p + 1 < end) { ++p; }
        else if (*p == '=') { return p; }
    }
    return end;
}

const char* line_end(const char* line)
{
    const char* end = strchr(line, '\n');
    return end ? end : line + strlen(line);
}

bool is_key_line(const char* line, const char* end)
{
    return end - line >= 2 && *line == '[' && end[-1] == ']';
}

/// A copy of the value for the caller to free, or null.
char* find_value(const char* content, const char16_t* key, const char16_t* name)
{
    bool in_key = false;
    for (const char *line = content, *end; *line; line = *end ? end + 1 : end)
    {
        end = line_end(line);
        if (is_key_line(line, end)) { in_key = same_escaped(line + 1, size_t(end - line - 2), key); }
        const char* equals = end_of_name(line, end);
        if (!in_key || equals == end || !same_escaped(line, size_t(equals - line), name)) { continue; }
        const size_t size = size_t(end - equals - 1);
        auto* value = static_cast<char*>(malloc(size + 1));
        if (!value) { return nullptr; }
        memcpy(value, equals + 1, size);
        unescape(value, size);
        return value;
    }
    return nullptr;
}

/// The content without that value, and with `added_line` (null: none) as the first line of its key.
void copy_without(
    text_builder& out, const char* content, const char16_t* key, const char16_t* name, const char* added_line)
{
    bool in_key = false, added = added_line == nullptr;
    for (const char *line = content, *end; *line; line = *end ? end + 1 : end)
    {
        end = line_end(line);
        const bool is_key = is_key_line(line, end);
        if (is_key) { in_key = same_escaped(line + 1, size_t(end - line - 2), key); }
        const char* equals = end_of_name(line, end);
        const bool dropped =
            in_key && !is_key && equals != end && same_escaped(line, size_t(equals - line), name);
        if (!dropped)
        {
            add(out, line, size_t(end - line));
            add(out, "\n", 1);
        }
        if (is_key && in_key && !added)
        {
            add(out, added_line, strlen(added_line));
            added = true;
        }
    }
    if (added) { return; }
    const utf8_text utf8_key(key);
    if (!utf8_key.bytes)
    {
        out.failed = true;
        return;
    }
    add(out, "[", 1);
    add_escaped(out, utf8_key.bytes, false);
    add(out, "]\n", 2);
    add(out, added_line, strlen(added_line));
}

writer_turn::writer_turn(const char16_t* path)
{
    char16_t text[PATH_MAX];
    copy_text(text, PATH_MAX, path);
    size_t folder = text_length(text);
    while (folder > 0 && text[folder - 1] != u'/' && text[folder - 1] != u'\\') { --folder; }
    if (folder > 1)
    {
        text[folder - 1] = 0;
        create_folder(text);
    }
    copy_text(text, PATH_MAX, path);
    append_text(text, PATH_MAX, u".lock");
    const native_path native(text);
    if (!native.valid) { return; }
    descriptor = open(native.bytes, O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    // A turn that does not come within two seconds is not waited for: a stopped process may hold it.
    for (int tries = 0; descriptor >= 0 && tries < 200 && flock(descriptor, LOCK_EX | LOCK_NB) != 0; ++tries)
    {
        sleep_ms(10);
    }
}

writer_turn::~writer_turn()
{
    if (descriptor >= 0) { close(descriptor); }
}

} // namespace

} // namespace zr::platform
