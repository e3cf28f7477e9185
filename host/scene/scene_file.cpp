/// @file
/// Reads a scene file: its sections, then the checks that need more than one key.
#include "host/build/build_daylight.hpp"
#include "host/failure.hpp"
#include "host/scene/scene_keys.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>

namespace host
{

namespace
{

constexpr size_t file_limit = 16u << 20;

struct unit_row
{
    const char* name;
    double metres;
};
constexpr unit_row units[] = { { "m", 1 }, { "cm", 0.01 }, { "mm", 0.001 }, { "km", 1000 }, { "in", 0.0254 },
    { "ft", 0.3048 }, { "yd", 0.9144 } };

const char* const top_level_names[] = { "camera", "render", "tone", "output", "variant", "background",
    "environment_map", "reflections", "haze", "ground", "clouds", "settings", "sun", "model", "materials",
    "light", "luminaire", nullptr };

template <class R>
void read_one(
    const toml::table& root, const char* name, const section<R>& s, R& record, const std::string& file)
{
    const toml::node* n = root.get(name);
    if (!n) { return; }
    if (!n->is_table())
    {
        bad_scene(file, int(n->source().begin.line), fmt::format("{} must be a table of keys", s.heading));
    }
    read_table(*n->as_table(), record, s.rows, { file, s.heading });
}

template <class R>
void read_list(const toml::table& root, const char* name, const section<R>& s, std::vector<R>& records,
    size_t limit, const std::string& file)
{
    const toml::node* n = root.get(name);
    if (!n) { return; }
    const int line = int(n->source().begin.line);
    const toml::array* list = n->as_array();
    if (!list || !list->is_homogeneous(toml::node_type::table))
    {
        bad_scene(file, line, fmt::format("\"{}\" must be written as {}", name, s.heading));
    }
    if (list->size() > limit) { bad_scene(file, line, fmt::format("more than {} of {}", limit, s.heading)); }
    records.resize(list->size());
    for (size_t i = 0; i < records.size(); ++i)
    {
        read_table(*list->get_as<toml::table>(i), records[i], s.rows, { file, s.heading });
        if constexpr (requires { records[i].line; })
        {
            records[i].line = int(list->get(i)->source().begin.line);
        }
    }
}

/// One material: its own keys, then the lists of pictures and bumps inside its table.
void read_material(
    const toml::table& table, scene_material& m, const std::string& heading, const std::string& file)
{
    const std::string name = heading.substr(1, heading.size() - 2);
    const std::string image_heading = "[[" + name + ".image]]", bump_heading = "[[" + name + ".bump]]";
    const section<scene_image> images{ image_heading.c_str(), "", image_section.rows };
    const section<scene_bump> bumps{ bump_heading.c_str(), "", bump_section.rows };
    read_list(table, "image", images, m.images, 16, file);
    read_list(table, "bump", bumps, m.bumps, 16, file);
    read_table(table, m, material_section.rows, { file, heading }, { "image", "bump" });
}

void read_materials(const toml::table& root, scene& s, const std::string& file)
{
    const toml::node* n = root.get("materials");
    if (!n) { return; }
    const toml::table* list = n->as_table();
    if (!list) { bad_scene(file, int(n->source().begin.line), "materials are written as [materials.NAME]"); }
    if (list->size() > 10000) { bad_scene(file, int(n->source().begin.line), "more than 10000 materials"); }
    for (const auto& [name, value] : *list)
    {
        const std::string heading = fmt::format("[materials.{}]", std::string(name.str()));
        if (!value.is_table())
        {
            bad_scene(file, int(name.source().begin.line),
                fmt::format("materials are written as {} with keys of their own", heading));
        }
        scene_material& m = s.materials[std::string(name.str())];
        m.line = int(name.source().begin.line);
        read_material(*value.as_table(), m, heading, file);
    }
}

/// A section that has another name by now: its error says which.
void refuse_renamed(const toml::table& table, const std::string& file)
{
    if (const toml::node* n = table.get("surroundings"))
    {
        bad_scene(file, int(n->source().begin.line), "\"surroundings\" is called \"environment_map\"");
    }
}

/// [reflections] with its two tables.
void read_reflections(const toml::table& root, scene& s, const std::string& file)
{
    const toml::node* n = root.get("reflections");
    if (!n || !n->is_table())
    {
        read_one(root, "reflections", reflection_section, s.reflections, file);
        return;
    }
    const toml::table& own = *n->as_table();
    refuse_renamed(own, file);
    const section<scene_background> background{ "[reflections.background]", "", background_section.rows };
    const section<scene_hdr> hdr{ "[reflections.environment_map]", "", hdr_section.rows };
    read_one(own, "background", background, s.reflections.background, file);
    read_one(own, "environment_map", hdr, s.reflections.environment_map, file);
    s.reflections.is_own = own.contains("background") || own.contains("environment_map");
    read_table(own, s.reflections, reflection_section.rows, { file, reflection_section.heading },
        { "background", "environment_map" });
}

/// `settings = ["a.en"]`, and which keys of the sections that such a file may set are in the scene.
void read_settings_names(const toml::table& root, scene& s, const std::string& file)
{
    for (const char* name : { "sun", "tone" })
    {
        const toml::table* table = root[name].as_table();
        if (!table) { continue; }
        for (const auto& [key, value] : *table)
        {
            s.given_keys.insert(fmt::format("{}.{}", name, key.str()));
        }
    }
    const toml::node* n = root.get("settings");
    if (!n) { return; }
    const toml::array* list = n->as_array();
    const auto is_name = [](const toml::node& e)
    { return e.is_string() && !e.value_or<std::string>("").empty(); };
    if (!list || list->size() > 16 || !std::all_of(list->begin(), list->end(), is_name))
    {
        bad_scene(file, int(n->source().begin.line),
            "settings: expected a list of at most 16 files, like [\"evening.su\", \"meadow.en\"]");
    }
    for (const toml::node& e : *list) { s.settings.push_back(e.value_or<std::string>("")); }
}

void check_top_level(const toml::table& root, const std::string& file)
{
    refuse_renamed(root, file);
    for (const auto& [key, value] : root)
    {
        const std::string name(key.str());
        bool known = false;
        for (const char* const* n = top_level_names; *n; ++n) { known = known || name == *n; }
        if (known) { continue; }
        const char* near = nearest_name(name, top_level_names);
        bad_scene(file, int(key.source().begin.line),
            fmt::format("there is no section \"{}\"{}", name,
                near ? fmt::format("; did you mean \"{}\"?", near) : ""));
    }
}

/// Line of a key in `section`, or of the section itself.
int line_of_key(const toml::table& root, const char* section, const char* key)
{
    const toml::node_view<const toml::node> s = root[section];
    if (!s) { return 0; }
    return int((s[key] ? s[key] : s).node()->source().begin.line);
}

double squared_distance(const vec3& a, const vec3& b)
{
    double sum = 0;
    for (size_t i = 0; i < 3; ++i) { sum += (a[i] - b[i]) * (a[i] - b[i]); }
    return sum;
}

void check_camera(const scene& s, const toml::table& root, const std::string& file)
{
    const auto wrong = [&](const char* key, const std::string& text)
    { bad_scene(file, line_of_key(root, "camera", key), "[camera] " + text); };

    const scene_camera& c = s.camera;
    if (c.eye && root["camera"]["view"]) { wrong("view", "takes an eye or a view, not both"); }
    if (c.eye && squared_distance(*c.eye, c.target.value_or(default_target)) < 1e-18)
    {
        wrong("target", "target: the target is where the eye is");
    }
    if (squared_distance(c.up, { 0, 0, 0 }) < 1e-18) { wrong("up", "up: has no length"); }
    if (c.lens_mm && c.fov_deg) { wrong("fov_deg", "takes lens_mm or fov_deg, not both"); }
    if (c.projection == 1 && c.eye && !c.parallel_width)
    {
        wrong("projection", "projection: a parallel picture needs parallel_width");
    }
    if (c.sub_frame)
    {
        const auto& f = *c.sub_frame;
        if (c.projection != 2) { wrong("sub_frame", "sub_frame: only a perspective picture has one"); }
        if (f[0] >= f[2] || f[1] >= f[3])
        {
            wrong("sub_frame", "sub_frame: coordinates must satisfy left < right and top < bottom");
        }
    }
    for (const clip_plane& p : c.clip_planes)
    {
        if (p[0] * p[0] + p[1] * p[1] + p[2] * p[2] < 1e-18)
        {
            wrong("clip_planes", "clip_planes: a plane has no direction");
        }
    }
}

void check_render(const scene& s, const toml::table& root, const std::string& file)
{
    const auto wrong = [&](const char* section, const char* key, const std::string& text)
    { bad_scene(file, line_of_key(root, section, key), fmt::format("[{}] {}: {}", section, key, text)); };

    const scene_render& r = s.render;
    if (r.reflect_limit + r.refract_limit >= RECURSION_LIMIT_SUM)
    {
        wrong("render", "refract_limit",
            fmt::format("reflect_limit and refract_limit together must stay below {}", RECURSION_LIMIT_SUM));
    }
    if (root["render"]["min_samples"] && r.min_samples > r.max_samples)
    {
        wrong("render", "min_samples",
            fmt::format("{} is above max_samples, {}", r.min_samples, r.max_samples));
    }
    if (r.region)
    {
        const auto& g = *r.region;
        if (g[2] < 1 || g[3] < 1 || g[0] + g[2] > r.size[0] || g[1] + g[3] > r.size[1])
        {
            wrong("render", "region",
                fmt::format("does not lie in the picture of {}x{}", r.size[0], r.size[1]));
        }
    }
}

/// Refuses a name that is no material of the scene; `where` begins the message.
void check_material_name(
    const scene& s, const std::string& file, int line, const std::string& where, const std::string& name)
{
    if (s.materials.count(name)) { return; }
    std::vector<const char*> names;
    for (const auto& m : s.materials) { names.push_back(m.first.c_str()); }
    names.push_back(nullptr);
    const char* near = nearest_name(name, names.data());
    bad_scene(file, line,
        fmt::format("{} there is no [materials.{}]{}", where, name,
            near ? fmt::format("; did you mean \"{}\"?", near) : ""));
}

bool is_null(const vec3& v) { return v[0] == 0 && v[1] == 0 && v[2] == 0; }

/// How deep the material nests, itself included; a material inside itself is refused.
int check_depth(const scene& s, const std::string& file, const std::string& name, int above)
{
    const scene_material& m = s.materials.at(name);
    if (above >= scene_material_depth)
    {
        bad_scene(file, m.line,
            fmt::format("[materials.{}] lies in more than {} patterns, one in the other, or inside itself",
                name, scene_material_depth - 1));
    }
    if (m.kind == material_simple || !m.library.empty()) { return 1; }
    return 1 + std::max(check_depth(s, file, m.first, above + 1), check_depth(s, file, m.second, above + 1));
}

void check_materials(const scene& s, const std::string& file)
{
    for (const auto& [name, m] : s.materials)
    {
        const auto wrong = [&, line = m.line, heading = "[materials." + name + "] "](const std::string& text)
        { bad_scene(file, line, heading + text); };

        if (!m.library.empty() && m.library.find("\\\\") == std::string::npos)
        {
            wrong("library: expected LIBRARY\\\\Folder\\Name, in single quotes as TOML keeps backslashes "
                  "there");
        }
        const bool is_pattern = m.kind != material_simple;
        if (!m.library.empty() && (is_pattern || !m.images.empty() || !m.bumps.empty()))
        {
            wrong("comes from a library: it has no kind, pictures or bumps of its own");
        }
        if (!is_pattern && (!m.first.empty() || !m.second.empty()))
        {
            wrong("first, second: a pattern has them; say its kind");
        }
        if (is_pattern && (m.first.empty() || m.second.empty()))
        {
            wrong("is a pattern: give first and second");
        }
        if (is_pattern && !(m.images.empty() && m.bumps.empty()))
        {
            wrong("is a pattern: pictures and bumps belong to the materials it mixes");
        }
        if (m.kind == material_mask && m.mask.empty()) { wrong("is a mask: give the picture"); }
        if (is_null(m.axis)) { wrong("axis: has no length"); }
        for (const scene_image& i : m.images)
        {
            if (i.file.empty()) { wrong("image: has no file"); }
            if (i.size[0] == 0 || i.size[1] == 0) { wrong("image: size: is 0"); }
            if (is_null(i.axis)) { wrong("image: axis: has no length"); }
        }
        for (const scene_bump& b : m.bumps)
        {
            if (is_null(b.axis)) { wrong("bump: axis: has no length"); }
        }
        for (const std::string& part : { m.first, m.second })
        {
            if (is_pattern) { check_material_name(s, file, m.line, "[materials." + name + "]", part); }
        }
    }
    for (const auto& [name, m] : s.materials) { check_depth(s, file, name, 0); }
}

void check_environment(const scene& s, const toml::table& root, const std::string& file)
{
    const auto wrong = [&](const char* section, const char* key, const std::string& text)
    { bad_scene(file, line_of_key(root, section, key), fmt::format("[{}] {}", section, text)); };

    if (root["environment_map"] && s.environment_map.file.empty())
    {
        wrong("environment_map", "file", "has no file");
    }
    if (s.reflections.none && s.reflections.is_own)
    {
        wrong("reflections", "none", "none: mirrors see nothing, and have a background of their own");
    }
    if (!s.ground.material.empty())
    {
        check_material_name(s, file, line_of_key(root, "ground", "material"), "[ground]", s.ground.material);
    }
}

void check_models(const scene& s, const std::string& file)
{
    const auto check_material = [&](int line, const std::string& name)
    { check_material_name(s, file, line, "[[model]]", name); };
    for (const scene_model& m : s.models)
    {
        if (m.file.empty()) { bad_scene(file, m.line, "[[model]] has no file"); }
        if (!m.unit.empty() && !metres_per_unit(m.unit))
        {
            bad_scene(file, m.line,
                fmt::format(
                    "[[model]] unit: \"{}\" is not m, cm, mm, km, in, ft, yd or metres per unit", m.unit));
        }
        if (!m.up.empty() && m.up != "x" && m.up != "y" && m.up != "z")
        {
            bad_scene(file, m.line, fmt::format("[[model]] up: \"{}\" is not x, y or z", m.up));
        }
        if (m.scale[0] == 0 || m.scale[1] == 0 || m.scale[2] == 0)
        {
            bad_scene(file, m.line, "[[model]] scale: a factor is 0");
        }
        if (m.matrix)
        {
            const auto& t = *m.matrix;
            if (t[12] != 0 || t[13] != 0 || t[14] != 0 || t[15] != 1)
            {
                bad_scene(file, m.line, "[[model]] matrix: the last row must be 0, 0, 0, 1");
            }
        }
        if (is_null(m.mapping_axis)) { bad_scene(file, m.line, "[[model]] mapping_axis: has no length"); }
        if (!m.light.empty() && !find_light(s, m.light))
        {
            bad_scene(
                file, m.line, fmt::format("[[model]] light: there is no [[light]] named \"{}\"", m.light));
        }
        if (!m.material.empty()) { check_material(m.line, m.material); }
        for (const auto& pair : m.materials) { check_material(m.line, pair.second); }
    }
}

void check_sun(const scene& s, const toml::table& root, const std::string& file)
{
    if (!s.sun.is_on) { return; }
    const std::string text = check_sun(s.sun, !s.settings.empty());
    if (!text.empty())
    {
        bad_scene(file, line_of_key(root, "sun", text.substr(0, text.find(':')).c_str()), "[sun] " + text);
    }
    if (s.sun.sun_color.has_value() != s.sun.sky_color.has_value())
    {
        bad_scene(file, line_of_key(root, "sun", "sky_color"), "[sun] sun_color and sky_color go together");
    }
}

void check_pictures(const scene& s, const std::string& file)
{
    for (const scene_variant& v : s.variants)
    {
        if (v.file.empty()) { bad_scene(file, 0, "[[variant]] has no file"); }
    }
}

} // namespace

scene parse_scene(const std::string& text, const std::filesystem::path& path, scene_use use)
{
    const std::string file = path.string();
    toml::table root;
    try
    {
        root = toml::parse(text, file);
    }
    catch (const toml::parse_error& e)
    {
        bad_scene(file, int(e.source().begin.line), std::string(e.description()));
    }
    catch (const std::invalid_argument& e)
    {
        bad_scene(file, 0, e.what());
    }
    check_top_level(root, file);

    scene s;
    s.file = path;
    read_one(root, "camera", camera_section, s.camera, file);
    read_one(root, "render", render_section, s.render, file);
    read_one(root, "tone", tone_section, s.tone, file);
    read_one(root, "output", output_section, s.output, file);
    read_one(root, "background", background_section, s.background, file);
    read_one(root, "environment_map", hdr_section, s.environment_map, file);
    read_reflections(root, s, file);
    read_one(root, "haze", haze_section, s.haze, file);
    read_one(root, "ground", ground_section, s.ground, file);
    read_one(root, "clouds", clouds_section, s.clouds, file);
    s.haze.is_on = root.contains("haze");
    s.ground.is_on = root.contains("ground");
    s.clouds.is_on = root.contains("clouds");
    read_settings_names(root, s, file);
    read_one(root, "sun", sun_section, s.sun, file);
    s.sun.is_on = root.contains("sun");
    read_list(root, "variant", variant_section, s.variants, 64, file);
    read_list(root, "model", model_section, s.models, 4096, file);
    read_list(root, "light", light_section, s.lights, 10000, file);
    read_list(root, "luminaire", luminaire_section, s.luminaires, 10000, file);
    read_materials(root, s, file);

    if (use == scene_use::render && !root["camera"] && s.models.empty())
    {
        bad_scene(file, 0, "there is no [camera] section");
    }
    if (s.models.empty() && !s.camera.eye) { s.camera.eye = default_eye; }
    check_camera(s, root, file);
    check_render(s, root, file);
    check_materials(s, file);
    check_environment(s, root, file);
    check_models(s, file);
    check_sun(s, root, file);
    check_lights(s, file);
    check_luminaires(s, file);
    check_pictures(s, file);
    return s;
}

scene read_scene(const std::filesystem::path& path, scene_use use)
{
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    if (type == std::filesystem::file_type::not_found)
    {
        throw failure(exit_missing_file, fmt::format("{}: scene file not found", path.string()));
    }
    std::ifstream in(path, std::ios::binary);
    if (type == std::filesystem::file_type::directory || !in)
    {
        throw failure(exit_missing_file, fmt::format("{}: scene file cannot be read", path.string()));
    }
    std::string text(file_limit + 1, '\0');
    in.read(text.data(), std::streamsize(text.size()));
    text.resize(size_t(in.gcount()));
    if (text.size() > file_limit) { bad_scene(path.string(), 0, "the scene file is larger than 16 MB"); }
    return parse_scene(text, path, use);
}

std::filesystem::path beside_scene(const scene& s, const std::string& path)
{
    return (s.file.parent_path() / path).lexically_normal();
}

std::optional<double> metres_per_unit(const std::string& unit)
{
    for (const unit_row& u : units)
    {
        if (unit == u.name) { return u.metres; }
    }
    char* end = nullptr;
    const double metres = std::strtod(unit.c_str(), &end);
    if (unit.empty() || *end || !std::isfinite(metres) || metres < 1e-9 || metres > 1e9) { return {}; }
    return metres;
}

namespace
{

template <class R> void describe(std::string& out, const section<R>& s)
{
    out += fmt::format("### `{}`\n\n{}\n\n| Key | What it is |\n|---|---|\n", s.heading, s.help);
    for (const key_row<R>* row = s.rows; row->name; ++row)
    {
        out += fmt::format("| `{}` | {}", row->name, row->help);
        if (row->choices)
        {
            out += ": ";
            for (const char* const* c = row->choices; *c; ++c)
            {
                out += fmt::format("{}`{}`", c == row->choices ? "" : ", ", *c);
            }
        }
        out += " |\n";
    }
    out += "\n";
}

} // namespace

std::string describe_scene_keys()
{
    std::string out;
    describe(out, camera_section);
    describe(out, render_section);
    describe(out, tone_section);
    describe(out, output_section);
    describe(out, variant_section);
    describe(out, background_section);
    describe(out, hdr_section);
    describe(out, reflection_section);
    describe(out, haze_section);
    describe(out, ground_section);
    describe(out, clouds_section);
    describe(out, sun_section);
    describe(out, model_section);
    describe(out, material_section);
    describe(out, image_section);
    describe(out, bump_section);
    describe(out, light_section);
    describe(out, luminaire_section);
    return out;
}

} // namespace host
