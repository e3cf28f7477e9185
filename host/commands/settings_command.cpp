/// @file
/// `zirconlite settings`: what a file of settings holds, its conversion to and from plain UTF-8 text, and a
/// check that says which lines mean nothing.
#include "host/build/build_environment.hpp"
#include "host/build/build_scene.hpp"
#include "host/build/settings_stream.hpp"
#include "host/commands/commands.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/text.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <unistd.h>

namespace host
{

namespace
{

constexpr size_t file_limit = 16u << 20;
constexpr size_t counted_units = 512; // of a line

/// A file in the temporary folder for a scope.
struct scratch_file
{
    explicit scratch_file(const std::string& bytes)
    {
        std::string name = (std::filesystem::temp_directory_path() / "zirconlite-settings-XXXXXX").string();
        const int made = mkstemp(name.data()); // a name that nobody can have prepared
        if (made < 0) { throw failure(exit_render_failed, name + ": the temporary file cannot be made"); }
        close(made);
        path = name;
        std::ofstream(path, std::ios::binary) << bytes;
    }
    ~scratch_file()
    {
        std::error_code error;
        std::filesystem::remove(path, error);
    }
    std::filesystem::path path;
};

/// The library with a document and a view for the values.
struct settings_session
{
    progress_line progress{ false };
    library_session session{ progress };
    document* d = session.scene;
    render_view& view = d->views[1];
};

int make(const std::string& file);
int show(const std::string& file);
int check(const std::string& file);
std::vector<std::string> complaints(int kind, const std::string& text, const std::string& written);
std::vector<std::string> lines_of(const std::string& text);
std::string key_of(const std::string& line);
std::string wrong_values(const std::string& line, const std::string& written);
std::vector<std::string> pieces_of(const std::string& line);
bool is_number(const std::string& piece);
int convert(const std::string& file, const std::string& out);
int read_either(const std::filesystem::path& file, document* d, render_view& view);
bool is_plain_text(const std::string& bytes);
std::string utf16_bytes(const std::filesystem::path& file, const std::string& utf8);
std::string whole_text(int kind, document* d, render_view& view);
std::string utf8_of_utf16_bytes(const std::string& bytes);
std::string read_bytes(const std::filesystem::path& file);

} // namespace

std::function<int()> setup_settings(CLI::App& command)
{
    struct settings_arguments
    {
        std::string file, out;
        int (*run)(const settings_arguments&) = nullptr;
    };
    auto o = std::make_shared<settings_arguments>();
    const auto add = [&](const char* name, const char* help, int (*run)(const settings_arguments&))
    {
        CLI::App* sub = command.add_subcommand(name, help);
        sub->add_option("FILE", o->file, "The file: .su, .en or .ex, or one that convert made plain text")
            ->required();
        sub->callback([o, run] { o->run = run; });
        return sub;
    };
    command.require_subcommand(1);
    add("new",
        "Write a first file with every key at its default: .su sun and sky, .en environment, .ex exposure",
        [](const settings_arguments& a) { return make(a.file); });
    add("show", "Print all values, those that the file leaves out at their defaults",
        [](const settings_arguments& a) { return show(a.file); });
    add("check", "Say which lines of the file mean nothing",
        [](const settings_arguments& a) { return check(a.file); });
    add("convert", "Write all values to a file of the same kind, or as plain text (.txt)",
        [](const settings_arguments& a) { return convert(a.file, a.out); })
        ->add_option("OUT", o->out, "The file to write")
        ->required();
    return [o] { return o->run(*o); };
}

namespace
{

/// A first file, with every key at its default.
int make(const std::string& file)
{
    const int kind = settings_kind_of(file);
    if (!kind)
    {
        throw failure(exit_usage,
            file + ": expected a name that ends in .su (sun and sky), .en (environment) or .ex (exposure)");
    }
    if (std::filesystem::exists(file)) { throw failure(exit_usage, file + ": is already there"); }
    settings_session s;
    set_environment_defaults(s.d);
    set_exposure(s.view, scene_tone{});
    write_settings(file, kind, s.d, s.view);
    return exit_done;
}

int show(const std::string& file)
{
    settings_session s;
    const int kind = read_either(file, s.d, s.view);
    std::printf("%s\n", whole_text(kind, s.d, s.view).c_str());
    return exit_done;
}

int check(const std::string& file)
{
    settings_session s;
    const std::string bytes = read_bytes(file);
    const int kind = read_either(file, s.d, s.view);
    const std::string text = is_plain_text(bytes) ? bytes : utf8_of_utf16_bytes(bytes);
    std::vector<std::string> found = complaints(kind, text, whole_text(kind, s.d, s.view));
    if (!is_plain_text(bytes) && bytes.size() % 2) { found.push_back("there is an odd byte at the end"); }
    for (const std::string& line : found)
    {
        std::fprintf(stderr, "zirconlite: %s: %s\n", file.c_str(), line.c_str());
    }
    static const char* const kinds[] = { "", "sun and sky", "environment", "exposure" };
    if (found.empty()) { std::printf("%s: %s, whole\n", file.c_str(), kinds[kind]); }
    return found.empty() ? exit_done : exit_bad_scene;
}

/// What is odd about the file's own lines; `written` is what this program would write in its place.
std::vector<std::string> complaints(int kind, const std::string& text, const std::string& written)
{
    std::vector<std::string> known = lines_of(written), found;
    known.insert(known.end(), { "GP MATERIAL", "GP LIBRARY" }); // written only where there is one
    const std::vector<std::string> lines = lines_of(text);
    bool ended = false;
    for (size_t i = 1; i < lines.size() && !ended; ++i)
    {
        ended = lines[i].starts_with("#END");
        if (lines[i].size() > counted_units)
        {
            found.push_back(fmt::format(
                "line {}: longer than {} characters; the rest means nothing", i + 1, counted_units));
        }
        if (ended) { continue; }
        const std::string key = key_of(lines[i]);
        const auto same = [&](const std::string& line) { return key_of(line) == key; };
        const auto row = kind == SETTINGS_EXPOSURE ? known.begin() + 1
                                                   : std::find_if(known.begin() + 1, known.end(), same);
        const std::string wrong = row == known.end() ? fmt::format("unknown key \"{}\"", key.substr(0, 80))
                                                     : wrong_values(lines[i], *row);
        if (!wrong.empty()) { found.push_back(fmt::format("line {}: {}", i + 1, wrong)); }
    }
    if (!ended) { found.push_back("there is no #END"); }
    return found;
}

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at <= text.size();)
    {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        if (!lines.back().empty() && lines.back().back() == '\r') { lines.back().pop_back(); }
        at = end + 1;
    }
    if (lines.size() > 1 && lines.back().empty()) { lines.pop_back(); }
    return lines;
}

std::string key_of(const std::string& line)
{
    const std::vector<std::string> pieces = pieces_of(line);
    return pieces.empty() ? "" : pieces[0];
}

/// What is odd about the values of a line; `written` is the line of the same key with all of its values.
std::string wrong_values(const std::string& line, const std::string& written)
{
    const std::vector<std::string> values = pieces_of(line), all = pieces_of(written);
    for (size_t i = 0; i < all.size(); ++i)
    {
        if (!is_number(all[i])) { continue; } // the key, or a text
        if (i >= values.size())
        {
            return fmt::format("{} of {} values are missing", all.size() - i, all.size() - 1);
        }
        if (!is_number(values[i])) { return fmt::format("\"{}\" is no number", values[i].substr(0, 80)); }
    }
    return "";
}

/// The texts between separators; empty ones do not count.
std::vector<std::string> pieces_of(const std::string& line)
{
    std::vector<std::string> pieces;
    for (size_t at = line.find_first_not_of("\t="); at != std::string::npos;)
    {
        const size_t end = std::min(line.find_first_of("\t=", at), line.size());
        pieces.push_back(line.substr(at, end - at));
        at = line.find_first_not_of("\t=", end);
    }
    return pieces;
}

bool is_number(const std::string& piece)
{
    const size_t start = std::min(piece.find_first_not_of(' '), piece.size());
    const char *first = piece.data() + start, *end = piece.data() + piece.size();
    double value;
    if (end - first > 1 && *first == '+' && first[1] != '-') { ++first; }
    return std::from_chars(first, end, value).ec == std::errc() && std::isfinite(value);
}

int convert(const std::string& file, const std::string& out)
{
    settings_session s;
    const int kind = read_either(file, s.d, s.view);
    const int wanted = settings_kind_of(out);
    if (wanted == kind)
    {
        write_settings(out, kind, s.d, s.view);
        return exit_done;
    }
    if (wanted || std::filesystem::path(out).extension() != ".txt")
    {
        throw failure(
            exit_usage, out + ": expected the extension of the file's own kind, or .txt for plain text");
    }
    std::ofstream text(out, std::ios::binary);
    text << whole_text(kind, s.d, s.view) << '\n';
    text.close();
    if (!text) { throw failure(exit_render_failed, out + ": cannot be written"); }
    return exit_done;
}

/// A document with the fields that a file of settings, in either form, sets over the defaults; the kind.
int read_either(const std::filesystem::path& file, document* d, render_view& view)
{
    const std::string bytes = read_bytes(file);
    set_environment_defaults(d);
    set_exposure(view, scene_tone{});
    if (!is_plain_text(bytes)) { return read_settings(file, d, view); }
    const scratch_file as_units(utf16_bytes(file, bytes));
    try
    {
        return read_settings(as_units.path, d, view);
    }
    catch (const failure& f)
    {
        const std::string text = f.what();
        throw failure(
            f.code, file.string() + text.substr(std::min(text.size(), as_units.path.string().size())));
    }
}

bool is_plain_text(const std::string& bytes)
{
    return bytes.starts_with("#ZR3") || bytes.starts_with("\xef\xbb\xbf#ZR3");
}

std::string utf16_bytes(const std::filesystem::path& file, const std::string& utf8)
{
    if (!is_utf8(utf8)) { throw failure(exit_bad_scene, file.string() + ": the text is not UTF-8"); }
    const std::u16string units = utf16_of(utf8);
    std::string out;
    for (const char16_t u : units)
    {
        if (u == 0xfeff || u == u'\r') { continue; }
        out += { char(u & 0xff), char(u >> 8) };
    }
    return out;
}

std::string whole_text(int kind, document* d, render_view& view)
{
    const scratch_file out("");
    write_settings(out.path, kind, d, view);
    return utf8_of_utf16_bytes(read_bytes(out.path));
}

/// The text of UTF-16LE, without its mark.
std::string utf8_of_utf16_bytes(const std::string& bytes)
{
    std::u16string units;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
    {
        const auto unit = char16_t(uint8_t(bytes[i]) | uint8_t(bytes[i + 1]) << 8);
        if (i > 0 || unit != 0xfeff) { units += unit; }
    }
    return utf8_of(units);
}

std::string read_bytes(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    std::error_code error;
    if (!in || std::filesystem::is_directory(file, error))
    {
        throw failure(exit_missing_file, file.string() + ": settings file not found, or it cannot be read");
    }
    std::string bytes(file_limit + 1, '\0');
    in.read(bytes.data(), std::streamsize(bytes.size()));
    bytes.resize(size_t(in.gcount()));
    if (bytes.size() > file_limit) { throw failure(exit_bad_scene, file.string() + ": larger than 16 MB"); }
    return bytes;
}

} // namespace

} // namespace host
