#include "host/models/obj_check.hpp"

#include "host/text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <set>

namespace host
{

namespace
{

constexpr size_t name_limit = 100'000; // material names that are remembered; a scene has hundreds

struct map_keyword
{
    const char* keyword;
    texture_role role;
};
constexpr map_keyword map_keywords[] = {
    { "map_Kd", texture_color },
    { "map_d", texture_opacity },
    { "map_opacity", texture_opacity },
    { "map_bump", texture_bump },
    { "bump", texture_bump },
    { "norm", texture_normal },
    { "map_Kn", texture_normal },
};

/// Options before the name of a picture, and how many words follow at most; numbers where `is_number`.
struct map_option
{
    const char* name;
    int words;
    bool is_number;
};
constexpr map_option map_options[] = {
    { "-s", 3, true },
    { "-o", 3, true },
    { "-t", 3, true },
    { "-mm", 2, true },
    { "-bm", 1, true },
    { "-boost", 1, true },
    { "-texres", 1, true },
    { "-blendu", 1, false },
    { "-blendv", 1, false },
    { "-cc", 1, false },
    { "-clamp", 1, false },
    { "-imfchan", 1, false },
    { "-type", 1, false },
    { "-colorspace", 1, false },
};

void read_library(const std::filesystem::path& folder, const std::string& text, obj_findings& out);
void read_material_file(const std::filesystem::path& file, obj_findings& out);
bool follows(const std::string& line, const char* keyword, std::string& rest);
model_texture read_map(std::string text);
void take_option(const map_option& option, std::string& text, model_texture& t);
bool read_number(const std::string& word, float& out);
std::string take_word(std::string& text);
std::string trimmed(const std::string& line, size_t from);

} // namespace

obj_findings check_obj(const std::filesystem::path& file)
{
    obj_findings out;
    std::set<std::string> libraries, used;
    std::ifstream in(file);
    std::string line, rest;
    while (std::getline(in, line))
    {
        // Nearly all lines are points and faces.
        if (line.empty() || line[0] == 'v' || line[0] == 'f' || line[0] == '#') { continue; }
        if (follows(line, "s", rest))
        {
            out.smooths = out.smooths || !(rest.empty() || rest[0] == '0' || rest == "off");
        }
        else if (follows(line, "mtllib", rest) && !rest.empty() && libraries.insert(rest).second)
        {
            read_library(file.parent_path(), rest, out);
        }
        else if (follows(line, "usemtl", rest) && used.size() < name_limit)
        {
            used.insert(utf8_of_bytes(rest));
        }
    }
    for (const std::string& name : used)
    {
        if (name.empty() || out.textures.count(name)) { continue; }
        out.notes.push_back(
            fmt::format("there is no material \"{}\" in its material files; it is grey", name));
    }
    return out;
}

namespace
{

/// The material files of one statement: its whole text is a name, or each of its words.
void read_library(const std::filesystem::path& folder, const std::string& text, obj_findings& out)
{
    std::error_code error;
    if (std::filesystem::is_regular_file(folder / text, error))
    {
        return read_material_file(folder / text, out);
    }
    for (std::string rest = text; !rest.empty();)
    {
        const std::string name = take_word(rest);
        if (std::filesystem::is_regular_file(folder / name, error))
        {
            read_material_file(folder / name, out);
        }
        else
        {
            out.notes.push_back(fmt::format("the material file \"{}\" was not found", utf8_of_bytes(name)));
        }
    }
}

void read_material_file(const std::filesystem::path& file, obj_findings& out)
{
    std::ifstream in(file);
    std::string line, rest;
    std::array<model_texture, texture_roles>* current = nullptr;
    while (std::getline(in, line))
    {
        if (follows(line, "newmtl", rest) && out.textures.size() < name_limit)
        {
            current = &out.textures[utf8_of_bytes(rest)];
        }
        for (const map_keyword& k : map_keywords)
        {
            if (current && follows(line, k.keyword, rest)) { (*current)[size_t(k.role)] = read_map(rest); }
        }
    }
}

/// What follows the keyword at the start of a line; nothing for another keyword. Keywords have no case.
bool follows(const std::string& line, const char* keyword, std::string& rest)
{
    const std::string text = trimmed(line, 0);
    size_t at = 0;
    for (; keyword[at]; ++at)
    {
        if (at >= text.size() || (text[at] | 0x20) != (keyword[at] | 0x20)) { return false; }
    }
    if (at < text.size() && text[at] != ' ' && text[at] != '\t') { return false; }
    rest = trimmed(text, at);
    return true;
}

model_texture read_map(std::string text)
{
    model_texture t;
    while (!text.empty() && text[0] == '-')
    {
        std::string rest = text;
        const std::string word = take_word(rest);
        const auto* option = std::find_if(std::begin(map_options), std::end(map_options),
            [&](const map_option& o) { return word == o.name; });
        if (option == std::end(map_options) || rest.empty()) { break; }
        text = rest;
        take_option(*option, text, t);
    }
    t.file = utf8_of_bytes(text);
    return t;
}

/// Takes an option's words off `text`; -s and -o go into `t`. A word that is no number begins the picture's
/// name.
void take_option(const map_option& option, std::string& text, model_texture& t)
{
    for (int i = 0; i < option.words && !text.empty(); ++i)
    {
        std::string rest = text;
        const std::string word = take_word(rest);
        float v = 0;
        if (option.is_number && (rest.empty() || !read_number(word, v))) { return; }
        text = rest;
        if (i > 1) { continue; } // pictures have no depth
        if (std::string_view(option.name) == "-s") { t.scale[size_t(i)] = v; }
        if (std::string_view(option.name) == "-o") { t.offset[size_t(i)] = v; }
    }
}

bool read_number(const std::string& word, float& out)
{
    char* end = nullptr;
    const float v = std::strtof(word.c_str(), &end);
    if (word.empty() || *end || !std::isfinite(v)) { return false; }
    out = v;
    return true;
}

/// Takes the first word off `text`.
std::string take_word(std::string& text)
{
    const size_t end = std::min(text.find_first_of(" \t"), text.size());
    std::string word = text.substr(0, end);
    text = trimmed(text, end);
    return word;
}

std::string trimmed(const std::string& line, size_t from)
{
    const char* blank = " \t\r";
    const size_t first = line.find_first_not_of(blank, std::min(from, line.size()));
    if (first == std::string::npos) { return ""; }
    return line.substr(first, line.find_last_not_of(blank) + 1 - first);
}

} // namespace

} // namespace host
