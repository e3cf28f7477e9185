/// @file
/// The library reads what its table of formats knows; PNG, ".jpeg" and pictures inside models come through
/// the host's own reader.
#include "host/pictures/picture_store.hpp"

#include "host/library_session.hpp"
#include "host/models/model_materials.hpp"
#include "host/pictures/picture_reader.hpp"
#include "host/text.hpp"
#include "zirconlite/frame/error.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

namespace host
{

namespace
{

constexpr size_t name_limit = 511, format_path_limit = 255;

/// What the colour picture of a material is made of.
struct color_recipe
{
    std::array<double, 3> factor{ 1, 1, 1 }; ///< linear
    double opacity = 1;
    std::optional<float> cutoff;
    bool uses_alpha = false;
};

bool library_reads(const std::filesystem::path& file);
bitmap* read_by_library(const std::u16string& path);
std::filesystem::path find_in_folder(
    const std::filesystem::path& folder, const std::string& name, bool wants_folder);
color_recipe recipe_of(const model_material& m);
bitmap* load_color(const std::filesystem::path& file, const model& m, const model_material& material,
    const color_recipe& recipe, std::vector<std::string>& notes);
std::string color_name(const std::string& model_file, const model_material& m, const color_recipe& r);
picture8 with_recipe(
    const picture8& from, const std::optional<picture8>& opacity, const color_recipe& recipe);
double opacity_at(const picture8& p, double u, double v);
void fill_clear_texels(picture8& p);
bitmap* load_plain(const std::filesystem::path& file, const model& m, const model_texture& t,
    std::vector<std::string>& notes);
std::string absolute_name(const std::filesystem::path& file);
bitmap* find_by_name(const std::string& name);
std::optional<picture8> read_texture(const std::filesystem::path& file, const model& m,
    const model_texture& t, std::vector<std::string>& notes);
void note_damaged(std::vector<std::string>& notes, const std::string& file, const std::string& why);
void note_unread(std::vector<std::string>& notes, const std::string& file, const std::string& why);
void note_once(std::vector<std::string>& notes, const std::string& line);
std::string plain_separators(std::string name);
bitmap* add_picture(const std::string& name, const picture8& p);

} // namespace

bitmap* load_picture(const std::filesystem::path& file, std::vector<std::string>& notes)
{
    const std::string name = absolute_name(file);
    const std::u16string path = utf16_of(name);
    if (bitmap* known = zr_find_bitmap(path.c_str())) { return known; }
    std::error_code error;
    if (!std::filesystem::exists(file, error))
    {
        note_unread(notes, file.string(), "file not found");
        return nullptr;
    }
    if (library_reads(file) && path.size() <= format_path_limit && is_utf8(name))
    {
        const zr_status before = *zr_last_error();
        bitmap* read = read_by_library(path);
        const zr_status& after = *zr_last_error();
        if (read)
        {
            if (std::memcmp(&before, &after, sizeof after) != 0)
            {
                note_damaged(notes, file.string(), after.text);
            }
            return read;
        }
    }
    picture8 p;
    std::string why;
    if (read_picture_file(name, p, why))
    {
        if (bitmap* added = add_picture(name, p))
        {
            note_damaged(notes, file.string(), why);
            return added;
        }
        why = "its path is longer than 511 characters, or memory is short";
    }
    note_unread(notes, file.string(), why);
    return nullptr;
}

std::filesystem::path find_model_picture(const std::filesystem::path& model_file, const std::string& named)
{
    const std::filesystem::path folder = model_file.parent_path();
    std::error_code error;
    std::string bytes;
    for (const std::string& name : { named, percent_decoded(named), latin1_of(named, bytes) ? bytes : named })
    {
        std::filesystem::path beside = (folder / plain_separators(name)).lexically_normal();
        if (std::filesystem::is_regular_file(beside, error)) { return beside; }
    }
    const std::filesystem::path textures = find_in_folder(folder, "textures", true);
    for (const std::string& name : { named, percent_decoded(named) })
    {
        const std::string base = std::filesystem::path(plain_separators(name)).filename().string();
        if (base.empty()) { continue; }
        std::filesystem::path found = find_in_folder(folder, base, false);
        if (found.empty() && !textures.empty()) { found = find_in_folder(textures, base, false); }
        if (!found.empty()) { return found; }
    }
    return {};
}

model_pictures load_model_pictures(const std::filesystem::path& file, const model& m,
    const model_material& material, std::vector<std::string>& notes)
{
    model_pictures out;
    const color_recipe recipe = recipe_of(material);
    if (!material.textures[texture_color].file.empty())
    {
        out.color = load_color(file, m, material, recipe, notes);
        out.has_alpha = out.color && recipe.uses_alpha;
    }
    out.bump = load_plain(file, m, material.textures[texture_bump], notes);
    out.normal = load_plain(file, m, material.textures[texture_normal], notes);
    return out;
}

namespace
{

/// Whether the library's own table reads this file by its extension.
bool library_reads(const std::filesystem::path& file)
{
    std::string e = file.extension().string();
    std::transform(e.begin(), e.end(), e.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return e == ".bmp" || e == ".tga" || e == ".tif" || e == ".tiff" || e == ".jpg";
}

bitmap* read_by_library(const std::u16string& path)
{
    bitmap_format record{};
    std::u16string extension = path.substr(path.rfind(u'.') + 1);
    zr_get_bitmap_format_by_ext(extension.data(), &record);
    path.copy(record.path, path.size());
    return zr_read_bitmap(&record, zr_shared_bitmaps());
}

/// The file of a name in a folder without regard to case; the first one in the order of their names.
std::filesystem::path find_in_folder(
    const std::filesystem::path& folder, const std::string& name, bool wants_folder)
{
    const std::u16string wanted = lower_case(utf16_of(name));
    std::filesystem::path found;
    std::error_code error;
    for (std::filesystem::directory_iterator i(folder.empty() ? "." : folder, error), end; !error && i != end;
         i.increment(error))
    {
        const std::filesystem::path entry = i->path().filename();
        std::error_code ignored;
        const bool fits = lower_case(utf16_of(entry)) == wanted && i->is_directory(ignored) == wants_folder;
        if (fits && (found.empty() || entry < found)) { found = entry; }
    }
    return found.empty() ? found : folder / found;
}

color_recipe recipe_of(const model_material& m)
{
    color_recipe r;
    const auto& color = m.metallic || m.roughness ? m.base_color : m.diffuse;
    for (int i = 0; i < 3 && color; ++i)
    {
        const double c = std::clamp<double>((*color)[size_t(i)], 0, 1);
        r.factor[size_t(i)] = m.linear_colors ? c : linear_value(c);
    }
    r.cutoff = m.alpha_cutoff;
    r.uses_alpha = m.linear_colors ? m.blended || m.alpha_cutoff : !m.textures[texture_opacity].file.empty();
    if (r.uses_alpha && m.opacity) { r.opacity = std::clamp<double>(*m.opacity, 0, 1); }
    return r;
}

bitmap* load_color(const std::filesystem::path& file, const model& m, const model_material& material,
    const color_recipe& recipe, std::vector<std::string>& notes)
{
    const std::string name = color_name(absolute_name(file), material, recipe);
    if (bitmap* known = find_by_name(name)) { return known; }
    const auto color = read_texture(file, m, material.textures[texture_color], notes);
    if (!color) { return nullptr; }
    std::optional<picture8> opacity;
    const model_texture& mask = material.textures[texture_opacity];
    if (recipe.uses_alpha && !mask.file.empty() && !material.linear_colors)
    {
        opacity = read_texture(file, m, mask, notes);
    }
    return add_picture(name, with_recipe(*color, opacity, recipe));
}

/// A name that says all that the picture was made from, so that equal ones are one.
std::string color_name(const std::string& model_file, const model_material& m, const color_recipe& r)
{
    return fmt::format("{}|{}|{}|{:.6g},{:.6g},{:.6g},{:.6g},{:.6g}", model_file,
        m.textures[texture_color].file, r.uses_alpha ? m.textures[texture_opacity].file + "#" : "",
        r.factor[0], r.factor[1], r.factor[2], r.opacity, r.cutoff.value_or(-1));
}

picture8 with_recipe(const picture8& from, const std::optional<picture8>& opacity, const color_recipe& recipe)
{
    picture8 out;
    out.width = from.width;
    out.height = from.height;
    out.channels = recipe.uses_alpha ? 4 : 3;
    out.rows.resize(size_t(out.width) * out.height * out.channels);
    unsigned char scaled[3][256];
    for (int c = 0; c < 3; ++c)
    {
        for (int v = 0; v < 256; ++v)
        {
            scaled[c][v] = (unsigned char)std::lround(
                255 * display_value(linear_value(v / 255.0) * recipe.factor[size_t(c)]));
        }
    }
    const unsigned char* texel = from.rows.data();
    unsigned char* to = out.rows.data();
    for (uint32_t y = 0; y < out.height; ++y)
    {
        for (uint32_t x = 0; x < out.width; ++x, texel += from.channels, to += out.channels)
        {
            for (int c = 0; c < 3; ++c) { to[c] = scaled[c][texel[from.channels >= 3 ? c : 0]]; }
            if (!recipe.uses_alpha) { continue; }
            double alpha = from.channels == 4 ? texel[3] / 255.0 : 1.0;
            if (opacity) { alpha = opacity_at(*opacity, (x + 0.5) / out.width, (y + 0.5) / out.height); }
            alpha *= recipe.opacity;
            if (recipe.cutoff) { alpha = alpha < *recipe.cutoff ? 0 : 1; }
            to[3] = (unsigned char)std::lround(255 * alpha);
        }
    }
    if (recipe.uses_alpha) { fill_clear_texels(out); }
    return out;
}

/// Opacity at a place of an opacity picture of any size.
double opacity_at(const picture8& p, double u, double v)
{
    const uint32_t x = std::min(uint32_t(u * p.width), p.width - 1),
                   y = std::min(uint32_t(v * p.height), p.height - 1);
    const unsigned char* texel = &p.rows[(size_t(y) * p.width + x) * p.channels];
    if (p.channels == 4) { return texel[3] / 255.0; }
    return *std::max_element(texel, texel + p.channels) / 255.0;
}

/// Gives clear texels the mean colour of what is seen. The black or white of most files
/// would get into the coarser levels of the mipmap, and so into the edges of leaves.
void fill_clear_texels(picture8& p)
{
    uint64_t sums[4] = {};
    for (size_t i = 0; i < p.rows.size(); i += 4)
    {
        const uint64_t alpha = p.rows[i + 3];
        for (size_t c = 0; c < 3; ++c) { sums[c] += alpha * p.rows[i + c]; }
        sums[3] += alpha;
    }
    if (sums[3] == 0) { return; }
    for (size_t i = 0; i < p.rows.size(); i += 4)
    {
        if (p.rows[i + 3] != 0) { continue; }
        for (size_t c = 0; c < 3; ++c) { p.rows[i + c] = (unsigned char)(sums[c] / sums[3]); }
    }
}

bitmap* load_plain(const std::filesystem::path& file, const model& m, const model_texture& t,
    std::vector<std::string>& notes)
{
    if (t.file.empty()) { return nullptr; }
    const std::string name = absolute_name(file) + "|" + t.file;
    if (bitmap* known = find_by_name(name)) { return known; }
    const auto p = read_texture(file, m, t, notes);
    return p ? add_picture(name, *p) : nullptr;
}

std::string absolute_name(const std::filesystem::path& file)
{
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(file, error);
    return (error ? file : whole).lexically_normal().string();
}

bitmap* find_by_name(const std::string& name) { return zr_find_bitmap(utf16_of(name).c_str()); }

/// The model's picture as bytes; nothing, with a note, when it cannot be read.
std::optional<picture8> read_texture(const std::filesystem::path& file, const model& m,
    const model_texture& t, std::vector<std::string>& notes)
{
    picture8 p;
    std::string why;
    if (t.file[0] == '*')
    {
        const size_t index = size_t(std::atoi(t.file.c_str() + 1));
        const std::string name = fmt::format("{}: picture {}", file.string(), index);
        if (index < m.pictures.size() && read_picture_bytes(m.pictures[index], p, why))
        {
            note_damaged(notes, name, why);
            return p;
        }
        note_unread(notes, name, index < m.pictures.size() ? why : "the model does not contain it");
        return {};
    }
    const std::filesystem::path found = find_model_picture(file, t.file);
    if (found.empty())
    {
        note_unread(notes, (file.parent_path() / plain_separators(t.file)).lexically_normal().string(),
            "file not found, nor one of its name beside the model or in textures/");
        return {};
    }
    if (read_picture_file(found.string(), p, why))
    {
        note_damaged(notes, found.string(), why);
        return p;
    }
    note_unread(notes, found.string(), why);
    return {};
}

/// A picture that is used although something is wrong with it, such as a file that ends early.
void note_damaged(std::vector<std::string>& notes, const std::string& file, const std::string& why)
{
    if (!why.empty()) { note_once(notes, fmt::format("{}: {}", file, why)); }
}

void note_unread(std::vector<std::string>& notes, const std::string& file, const std::string& why)
{
    note_once(notes, fmt::format("{}: the picture is left out: {}", file, why));
}

void note_once(std::vector<std::string>& notes, const std::string& line)
{
    if (std::find(notes.begin(), notes.end(), line) == notes.end()) { notes.push_back(line); }
}

/// Exporters write the separator of their own system.
std::string plain_separators(std::string name)
{
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

bitmap* add_picture(const std::string& name, const picture8& p)
{
    const std::u16string key = utf16_of(name);
    if (key.size() > name_limit) { return nullptr; }
    return zr_add_bitmap(key.c_str(), p.width, p.height, p.channels, p.rows.data());
}

} // namespace

} // namespace host
