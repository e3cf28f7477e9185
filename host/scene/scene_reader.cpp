/// @file
/// Reads one table of a scene file by its rows: types, ranges, choices and the search for a misspelt key.
#include "host/failure.hpp"
#include "host/scene/scene_keys.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace host
{

namespace
{

/// What a row's reader needs beside the value.
struct row_context
{
    const scene_place& place;
    const char* key;
    double low, high;
    const char* const* choices;
    int first_choice;
};

const char* type_name(const toml::node& n)
{
    switch (n.type())
    {
    case toml::node_type::table:
        return "a table";
    case toml::node_type::array:
        return "a list";
    case toml::node_type::string:
        return "a text";
    case toml::node_type::integer:
        return "an integer";
    case toml::node_type::floating_point:
        return "a number";
    case toml::node_type::boolean:
        return "true or false";
    case toml::node_type::time:
        return "a time";
    case toml::node_type::date_time:
        return "a date with a time";
    default:
        return "a date";
    }
}

int line_of(const toml::node& n) { return int(n.source().begin.line); }

[[noreturn]] void wrong_value(const row_context& c, const toml::node& n, const std::string& expected)
{
    bad_scene(c.place.file, line_of(n),
        fmt::format("{} {}: expected {}, found {}", c.place.section, c.key, expected, type_name(n)));
}

[[noreturn]] void out_of_range(const row_context& c, const toml::node& n, double found)
{
    bad_scene(c.place.file, line_of(n),
        fmt::format("{} {}: {} is outside {} to {}", c.place.section, c.key, found, c.low, c.high));
}

double read_number(const row_context& c, const toml::node& n, const char* expected)
{
    const auto value = n.is_number() ? n.value<double>() : std::optional<double>{};
    if (!value) { wrong_value(c, n, expected); }
    if (!std::isfinite(*value) || *value < c.low || *value > c.high) { out_of_range(c, n, *value); }
    return *value;
}

/// A list of exactly `count` numbers.
void read_numbers(const row_context& c, const toml::node& n, double* out, size_t count)
{
    const auto* list = n.as_array();
    const std::string expected = fmt::format("a list of {} numbers", count);
    if (!list) { wrong_value(c, n, expected); }
    if (list->size() != count)
    {
        bad_scene(c.place.file, line_of(n),
            fmt::format("{} {}: expected {}, found {}", c.place.section, c.key, expected, list->size()));
    }
    for (size_t i = 0; i < count; ++i) { out[i] = read_number(c, *list->get(i), "a number"); }
}

std::string choice_list(const char* const* choices)
{
    std::string text;
    for (; *choices; ++choices) { text += (text.empty() ? "\"" : ", \"") + std::string(*choices) + "\""; }
    return "one of " + text;
}

int read_choice(const row_context& c, const toml::node& n)
{
    const auto text = n.value<std::string>();
    if (!n.is_string() || !text) { wrong_value(c, n, choice_list(c.choices)); }
    for (int i = 0; c.choices[i]; ++i)
    {
        if (*text == c.choices[i]) { return c.first_choice + i; }
    }
    bad_scene(c.place.file, line_of(n),
        fmt::format("{} {}: \"{}\" is not {}", c.place.section, c.key, *text, choice_list(c.choices)));
}

int read_integer(const row_context& c, const toml::node& n)
{
    if (c.choices) { return read_choice(c, n); }
    const auto value = n.is_integer() ? n.value<int64_t>() : std::optional<int64_t>{};
    if (!value) { wrong_value(c, n, "an integer"); }
    if (double(*value) < c.low || double(*value) > c.high) { out_of_range(c, n, double(*value)); }
    return int(*value);
}

void read_integers(const row_context& c, const toml::node& n, int* out, size_t count)
{
    const auto* list = n.as_array();
    const std::string expected = fmt::format("a list of {} integers", count);
    if (!list || list->size() != count) { wrong_value(c, n, expected); }
    for (size_t i = 0; i < count; ++i) { out[i] = read_integer(c, *list->get(i)); }
}

/// A date or a time that is written as TOML's own, as the text that it stands for; empty for anything else.
std::string calendar_text(const row_context& c, const toml::node& n)
{
    const std::string key = c.key;
    if (const auto date = n.value<toml::date>(); n.is_date() && date && key == "date")
    {
        return fmt::format("{:04}-{:02}-{:02}", date->year, date->month, date->day);
    }
    if (const auto time = n.value<toml::time>(); n.is_time() && time && key == "time")
    {
        if (time->second || time->nanosecond)
        {
            bad_scene(c.place.file, line_of(n),
                fmt::format("{} time: has seconds; a moment is a minute", c.place.section));
        }
        return fmt::format("{:02}:{:02}", time->hour, time->minute);
    }
    return "";
}

std::string read_text(const row_context& c, const toml::node& n)
{
    if (std::string calendar = calendar_text(c, n); !calendar.empty()) { return calendar; }
    const auto text = n.is_string() ? n.value<std::string>() : std::optional<std::string>{};
    if (!text) { wrong_value(c, n, "a text in quotes"); }
    if (double(text->size()) < c.low || double(text->size()) > c.high ||
        text->find('\0') != std::string::npos)
    {
        bad_scene(c.place.file, line_of(n),
            fmt::format("{} {}: expected a text of {} to {} bytes", c.place.section, c.key, c.low, c.high));
    }
    return *text;
}

/// "#rrggbb".
bool read_hex_color(const std::string& text, color3& out)
{
    if (text.size() != 7 || text[0] != '#' ||
        text.find_first_not_of("0123456789abcdefABCDEF", 1) != std::string::npos)
    {
        return false;
    }
    for (int i = 0; i < 3; ++i) { out.rgb[i] = std::stoi(text.substr(1 + 2 * i, 2), nullptr, 16) / 255.0; }
    return true;
}

// One overload for each alternative of field_of: the type of the field chooses how a value is read.

void read_value(const row_context& c, const toml::node& n, double& out)
{
    out = read_number(c, n, "a number");
}

void read_value(const row_context& c, const toml::node& n, int& out) { out = read_integer(c, n); }

void read_value(const row_context& c, const toml::node& n, std::string& out) { out = read_text(c, n); }

void read_value(const row_context& c, const toml::node& n, bool& out)
{
    const auto value = n.is_boolean() ? n.value<bool>() : std::optional<bool>{};
    if (!value) { wrong_value(c, n, "true or false"); }
    out = *value;
}

/// Three numbers; `scale` and its like also take one number for all three.
void read_value(const row_context& c, const toml::node& n, vec3& out)
{
    const std::string key = c.key;
    if (n.is_number() && (key == "scale" || key == "size" || key == "mapping_scale"))
    {
        out.fill(read_number(c, n, "a number"));
        return;
    }
    read_numbers(c, n, out.data(), 3);
}

void read_value(const row_context& c, const toml::node& n, color3& out)
{
    if (const auto text = n.value<std::string>(); n.is_string() && text)
    {
        if (!read_hex_color(*text, out))
        {
            bad_scene(c.place.file, line_of(n),
                fmt::format("{} {}: \"{}\" is not a colour like \"#c8b090\"", c.place.section, c.key, *text));
        }
        return;
    }
    if (!n.is_array()) { wrong_value(c, n, "a list of 3 numbers or a text like \"#c8b090\""); }
    read_numbers(c, n, out.rgb.data(), 3);
}

template <size_t N> void read_value(const row_context& c, const toml::node& n, std::array<int, N>& out)
{
    read_integers(c, n, out.data(), N);
}

template <size_t N> void read_value(const row_context& c, const toml::node& n, std::array<double, N>& out)
{
    read_numbers(c, n, out.data(), N);
}

void read_value(const row_context& c, const toml::node& n, std::vector<vec3>& out)
{
    const auto* list = n.as_array();
    if (!list || list->size() > 1000) { wrong_value(c, n, "a list of points of 3 numbers each"); }
    out.resize(list->size());
    for (size_t i = 0; i < out.size(); ++i) { read_numbers(c, *list->get(i), out[i].data(), 3); }
}

void read_value(const row_context& c, const toml::node& n, std::vector<clip_plane>& out)
{
    const auto* list = n.as_array();
    if (!list) { wrong_value(c, n, "a list of planes of 4 numbers each"); }
    if (list->size() > 16)
    {
        bad_scene(c.place.file, line_of(n), "[camera] clip_planes: more than 16 planes");
    }
    out.resize(list->size());
    for (size_t i = 0; i < out.size(); ++i) { read_numbers(c, *list->get(i), out[i].data(), 4); }
}

void read_value(const row_context& c, const toml::node& n, std::map<std::string, std::string>& out)
{
    const auto* table = n.as_table();
    if (!table) { wrong_value(c, n, "a table of names, like { \"wall\" = \"plaster\" }"); }
    for (const auto& [name, value] : *table) { out[std::string(name.str())] = read_text(c, value); }
}

template <class T> void read_value(const row_context& c, const toml::node& n, std::optional<T>& out)
{
    T value{};
    read_value(c, n, value);
    out = value;
}

/// Insertions, deletions, replacements and swaps of neighbours between two names.
int edit_distance(const std::string& a, const std::string& b)
{
    std::vector<std::vector<int>> d(a.size() + 1, std::vector<int>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i)
    {
        for (size_t j = 0; j <= b.size(); ++j)
        {
            if (i == 0 || j == 0)
            {
                d[i][j] = int(i + j);
                continue;
            }
            d[i][j] =
                std::min({ d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] != b[j - 1]) });
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
            {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[a.size()][b.size()];
}

} // namespace

void bad_scene(const std::string& file, int line, const std::string& text)
{
    throw failure(exit_bad_scene,
        line > 0 ? fmt::format("{}:{}: {}", file, line, text) : fmt::format("{}: {}", file, text));
}

const char* nearest_name(const std::string& wrong, const char* const* names)
{
    if (wrong.size() > 64) { return nullptr; }
    const char* best = nullptr;
    int best_distance = int(std::max<size_t>(2, wrong.size() / 2)) + 1;
    for (; *names; ++names)
    {
        // A name that only lacks its ending, such as "lens" for "lens_mm", is as near as one slip.
        const std::string name = *names;
        const bool begins = wrong.size() >= 3 && (name.starts_with(wrong) || wrong.starts_with(name));
        const int distance = begins ? 1 : edit_distance(wrong, name);
        if (distance < best_distance)
        {
            best = *names;
            best_distance = distance;
        }
    }
    return best;
}

template <class R>
void read_table(const toml::table& table, R& record, const key_row<R>* rows, const scene_place& place,
    std::initializer_list<const char*> others)
{
    for (const auto& [key, value] : table)
    {
        const std::string name(key.str());
        if (std::find(others.begin(), others.end(), name) != others.end()) { continue; }
        const key_row<R>* row = rows;
        while (row->name && name != row->name) { ++row; }
        if (!row->name)
        {
            std::vector<const char*> names;
            for (row = rows; row->name; ++row) { names.push_back(row->name); }
            names.push_back(nullptr);
            const char* near = nearest_name(name, names.data());
            bad_scene(place.file, int(key.source().begin.line),
                fmt::format("{} has no key \"{}\"{}", place.section, name,
                    near ? fmt::format("; did you mean \"{}\"?", near) : ""));
        }
        const row_context context{ place, row->name, row->low, row->high, row->choices, row->first_choice };
        std::visit([&](auto field) { read_value(context, value, record.*field); }, row->field);
    }
}

#define HOST_READS(R)                                                                                        \
    template void read_table<R>(                                                                             \
        const toml::table&, R&, const key_row<R>*, const scene_place&, std::initializer_list<const char*>);
HOST_READS(scene_camera)
HOST_READS(scene_render)
HOST_READS(scene_tone)
HOST_READS(scene_output)
HOST_READS(scene_variant)
HOST_READS(scene_background)
HOST_READS(scene_hdr)
HOST_READS(scene_reflections)
HOST_READS(scene_haze)
HOST_READS(scene_ground)
HOST_READS(scene_clouds)
HOST_READS(scene_sun)
HOST_READS(scene_model)
HOST_READS(scene_material)
HOST_READS(scene_image)
HOST_READS(scene_bump)
HOST_READS(scene_light)
HOST_READS(scene_luminaire)
#undef HOST_READS

} // namespace host
