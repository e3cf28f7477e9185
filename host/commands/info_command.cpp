/// @file
/// `zirconlite info`: what a model file contains and what a render makes of it, as text or JSON.
#include "host/commands/commands.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/models/import.hpp"
#include "host/models/model_materials.hpp"
#include "host/pictures/picture_reader.hpp"
#include "host/pictures/picture_store.hpp"
#include "host/text.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>

namespace host
{

namespace
{

using json = nlohmann::ordered_json;

struct info_options
{
    std::string file, unit, up;
    bool as_json = false;
};

constexpr const char* role_names[texture_roles] = { "colour", "opacity", "relief", "normals" };

struct mesh_totals
{
    size_t meshes = 0, closed = 0, triangles = 0, vertices = 0;
};

int info(const info_options& o);
json describe(const std::filesystem::path& file, const model& m);
mesh_totals totals_of(const model& m);
std::array<std::array<double, 3>, 2> bounds_of(const model& m);
json material_json(const model& m, uint32_t index);
std::string hex_color(const color3& c);
json picture_json(const std::filesystem::path& file, const model& m, const std::string& name);
std::string text_of(const json& d);
std::string picture_name(const json& name);
std::string value_text(const json& v);

} // namespace

std::function<int()> setup_info(CLI::App& command)
{
    auto options = std::make_shared<info_options>();
    command.add_option("MODEL", options->file, "The model file")->required();
    command.add_option(
        "--unit", options->unit, "m, cm, mm, km, in, ft, yd or metres per unit, in place of the file's");
    command.add_option("--up", options->up, "x, y or z, in place of the file's")
        ->check(CLI::IsMember({ "x", "y", "z" }));
    command.add_flag("--json", options->as_json, "Print JSON");
    return [options] { return info(*options); };
}

namespace
{

int info(const info_options& o)
{
    import_request request;
    request.file = o.file;
    request.metres_per_unit = o.unit.empty() ? 0 : metres_per_unit(o.unit).value_or(0);
    if (!o.unit.empty() && request.metres_per_unit == 0)
    {
        throw failure(exit_usage,
            fmt::format("--unit: \"{}\" is not m, cm, mm, km, in, ft, yd or metres per unit", o.unit));
    }
    request.up = o.up.empty() ? 0 : o.up[0];
    progress_line progress(false);
    const library_session library(progress);
    const json d = describe(request.file, import_model(request));
    std::printf("%s\n", (o.as_json ? d.dump(2) : text_of(d)).c_str());
    return exit_done;
}

json describe(const std::filesystem::path& file, const model& m)
{
    const mesh_totals t = totals_of(m);
    const auto box = bounds_of(m);
    json out;
    out["file"] = utf8_of_bytes(file.string());
    out["unit"] = { { "metres", m.metres_per_unit }, { "from", m.unit_source } };
    out["up"] = std::string(1, m.up);
    out["bounds"] = { { "min", box[0] }, { "max", box[1] } };
    out["meshes"] = t.meshes;
    out["closed_meshes"] = t.closed;
    out["triangles"] = t.triangles;
    out["vertices"] = t.vertices;
    out["materials"] = json::array();
    out["pictures"] = json::array();
    out["notes"] = m.notes;
    if (m.dropped_polygons)
    {
        out["notes"].push_back(
            fmt::format("{} points, lines or polygons without area left out", m.dropped_polygons));
    }
    std::map<uint32_t, bool> is_used;
    for (const model_mesh& mesh : m.meshes) { is_used[mesh.material] = true; }
    std::map<std::string, bool> pictures;
    for (const auto& [index, used] : is_used)
    {
        out["materials"].push_back(material_json(m, index));
        for (const model_texture& texture : m.materials[index].textures)
        {
            if (!texture.file.empty() && pictures.emplace(texture.file, true).second)
            {
                out["pictures"].push_back(picture_json(file, m, texture.file));
            }
        }
    }
    return out;
}

mesh_totals totals_of(const model& m)
{
    mesh_totals t;
    for (const model_mesh& mesh : m.meshes)
    {
        ++t.meshes;
        t.closed += mesh.is_closed;
        t.vertices += mesh.positions.size() / 3;
        for (const uint32_t count : mesh.corner_count) { t.triangles += count - 2; }
    }
    return t;
}

/// Least and greatest x, y and z.
std::array<std::array<double, 3>, 2> bounds_of(const model& m)
{
    constexpr double far = std::numeric_limits<double>::max();
    std::array<std::array<double, 3>, 2> box{ { { far, far, far }, { -far, -far, -far } } };
    for (const model_mesh& mesh : m.meshes)
    {
        for (size_t i = 0; i < mesh.positions.size(); ++i)
        {
            box[0][i % 3] = std::min(box[0][i % 3], double(mesh.positions[i]));
            box[1][i % 3] = std::max(box[1][i % 3], double(mesh.positions[i]));
        }
    }
    return box;
}

/// The scene material that a model's becomes, without what is at rest.
json material_json(const model& m, uint32_t index)
{
    const model_material& own = m.materials[index];
    const scene_material s = material_from_model(own);
    json out;
    out["name"] = own.name;
    out["color"] = hex_color(s.color);
    const auto put = [&](const char* key, double value)
    {
        if (value > 0) { out[key] = std::round(value * 1e4) / 1e4; }
    };
    put("mirror", s.mirror);
    put("transparency", s.transparency);
    if (s.transparency > 0) { put("ior", s.ior); }
    if (s.transparent_color) { out["transparent_color"] = hex_color(*s.transparent_color); }
    if (s.metal) { out["metal"] = true; }
    if (s.highlight) { put("highlight", *s.highlight); }
    put("luminosity", s.luminosity);
    for (int role = 0; role < texture_roles; ++role)
    {
        const std::string& file = own.textures[size_t(role)].file;
        if (!file.empty()) { out["pictures"][role_names[role]] = file; }
    }
    return out;
}

std::string hex_color(const color3& c)
{
    const auto byte = [&](size_t i) { return int(std::clamp(c.rgb[i], 0.0, 1.0) * 255 + 0.5); };
    return fmt::format("#{:02x}{:02x}{:02x}", byte(0), byte(1), byte(2));
}

/// What becomes of one picture that the model names.
json picture_json(const std::filesystem::path& file, const model& m, const std::string& name)
{
    json out;
    out["name"] = name;
    picture8 p;
    std::string why;
    bool is_read = false;
    if (name[0] == '*')
    {
        const size_t index = size_t(std::atoi(name.c_str() + 1));
        is_read = index < m.pictures.size() && read_picture_bytes(m.pictures[index], p, why);
    }
    else
    {
        const std::filesystem::path found = find_model_picture(file, name);
        if (!found.empty()) { out["file"] = utf8_of_bytes(found.string()); }
        is_read = !found.empty() && read_picture_file(found.string(), p, why);
        if (found.empty()) { why = "file not found, nor one of its name beside the model or in textures/"; }
    }
    out["read"] = is_read;
    if (is_read) { out["size"] = { p.width, p.height }; }
    if (is_read) { out["channels"] = p.channels; }
    if (!why.empty()) { out["note"] = why; }
    return out;
}

/// The same for people.
std::string text_of(const json& d)
{
    const json &low = d["bounds"]["min"], &high = d["bounds"]["max"];
    const auto number = [](const json& v) { return fmt::format("{:.4g}", v.get<double>()); };
    std::string out = value_text(d["file"]) + "\n";
    out += fmt::format("  size       {} x {} x {} metres, from [{}, {}, {}] to [{}, {}, {}]\n",
        number(high[0].get<double>() - low[0].get<double>()),
        number(high[1].get<double>() - low[1].get<double>()),
        number(high[2].get<double>() - low[2].get<double>()), number(low[0]), number(low[1]), number(low[2]),
        number(high[0]), number(high[1]), number(high[2]));
    out += fmt::format(
        "  unit       {} metres, {}\n", number(d["unit"]["metres"]), value_text(d["unit"]["from"]));
    out += fmt::format("  up         {}\n", value_text(d["up"]));
    out += fmt::format("  meshes     {}, {} of them closed; {} triangles, {} vertices\n", d["meshes"].dump(),
        d["closed_meshes"].dump(), d["triangles"].dump(), d["vertices"].dump());
    for (const json& m : d["materials"])
    {
        out += fmt::format("  material   \"{}\":", value_text(m["name"]));
        for (const auto& [key, value] : m.items())
        {
            if (key != "name" && key != "pictures") { out += fmt::format(" {} {}", key, value_text(value)); }
        }
        const json pictures = m.value("pictures", json::object());
        for (const auto& [role, file] : pictures.items())
        {
            out += fmt::format(", {} from {}", role, picture_name(file));
        }
        out += "\n";
    }
    for (const json& p : d["pictures"])
    {
        const std::string size = p["read"].get<bool>()
                                     ? fmt::format("{} x {}", p["size"][0].dump(), p["size"][1].dump())
                                     : "left out";
        out += fmt::format("  picture    {}: {}", picture_name(p["name"]), size);
        if (p.contains("file")) { out += fmt::format(", {}", value_text(p["file"])); }
        if (p.contains("note")) { out += fmt::format(": {}", value_text(p["note"])); }
        out += "\n";
    }
    for (const json& note : d["notes"]) { out += fmt::format("  note       {}\n", value_text(note)); }
    out.pop_back();
    return out;
}

/// A picture's name for people; those that a model holds, or that its vertex colours became, have none.
std::string picture_name(const json& name)
{
    const std::string text = value_text(name);
    return text[0] == '*' ? fmt::format("no. {} in the model", text.substr(1)) : text;
}

std::string value_text(const json& v) { return v.is_string() ? v.get<std::string>() : v.dump(); }

} // namespace

} // namespace host
