/// @file
/// Simple materials, patterns and the pictures on them; the rules are in docs/materials.md.
#include "host/build/build_material.hpp"

#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/models/model_materials.hpp"
#include "host/pictures/picture_store.hpp"
#include "host/scene/find_library.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/sampling/converging.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace host
{

namespace
{

struct material_deleter
{
    void operator()(material* m) const { free_material(m); }
};
using owned_material = std::unique_ptr<material, material_deleter>;

owned_material build_from_library(const scene& s, const scene_material& m, std::vector<std::string>& notes);
void load_missing_pictures(material& m, std::vector<std::string>& notes);
owned_material build_simple(const scene& s, const scene_material& m, std::vector<std::string>& notes);
void set_simple(simple_material& out, const scene_material& m, bool blurs);
bool takes_no_light(const simple_material& m);
bool blurs_mirrors(const scene_render& r);
void add_bump(material* made, const scene_bump& b);
mat_image** add_image(mat_image** end, const scene& s, const scene_image& i, std::vector<std::string>& notes);
uint32_t image_flags(const scene_image& i);
void set_key(mat_key& key, const scene_image& i);
owned_material build_pattern(const scene& s, const scene_material& m, std::vector<std::string>& notes);
void set_pattern(complex_material& out, const scene_material& m);
double repeats(double size);
mask_source* load_mask(const scene& s, const scene_material& m, std::vector<std::string>& notes);
[[noreturn]] void out_of_memory();
void set_path(char16_t (&out)[512], const std::filesystem::path& file);
void check_pattern_depth(const scene& s, const scene_material& m, const material* made);
int pattern_depth(const material* m);

} // namespace

void set_color(float (&out)[3], const color3& c)
{
    for (int i = 0; i < 3; ++i) { out[i] = float(linear_value(c.rgb[i])); }
}

material* build_material(const scene& s, const scene_material& m, std::vector<std::string>& notes)
{
    owned_material made = !m.library.empty()          ? build_from_library(s, m, notes)
                          : m.kind == material_simple ? build_simple(s, m, notes)
                                                      : build_pattern(s, m, notes);
    made->id = uint16_t(m.id);
    return made.release();
}

namespace
{

owned_material build_from_library(const scene& s, const scene_material& m, std::vector<std::string>& notes)
{
    const size_t split = m.library.find("\\\\");
    const std::string library = m.library.substr(0, split), key = m.library.substr(split + 2);
    const std::filesystem::path file = find_library(s, library + ".mlib");
    const zr_status before = *zr_last_error();
    owned_material made(zr_load_from_library(utf16_of(key).c_str(), utf16_of(file).c_str()));
    if (!made)
    {
        throw failure(exit_bad_scene, fmt::format("{}:{}: library {} has no material \"{}\"{}",
                                          s.file.string(), m.line, file.string(), key, library_error()));
    }
    const zr_status& after = *zr_last_error();
    const bool has_damage = after.code == ZR_ERROR_READ || after.code == ZR_ERROR_FORMAT;
    if (has_damage && std::memcmp(&before, &after, sizeof after) != 0)
    {
        notes.push_back(fmt::format("{}: {}", after.file, after.text));
    }
    load_missing_pictures(*made, notes);
    check_pattern_depth(s, m, made.get());
    return made;
}

/// Loads what the library's own formats do not cover, and notes what is missing.
void load_missing_pictures(material& m, std::vector<std::string>& notes)
{
    const auto load = [&](bitmap*& picture, const char16_t* path)
    {
        if (!picture && path[0]) { picture = load_picture(utf8_of(path), notes); }
    };
    if (m.flags & MATERIAL_COMPLEX)
    {
        auto& pattern = reinterpret_cast<complex_material&>(m);
        if (pattern.params.mask) { load(pattern.params.mask->bitmap, pattern.params.mask->path); }
        for (material* child : pattern.children)
        {
            if (child) { load_missing_pictures(*child, notes); }
        }
        return;
    }
    auto& simple = reinterpret_cast<simple_material&>(m);
    for (mat_image* image = simple.images; image; image = image->next) { load(image->bitmap, image->path); }
}

owned_material build_simple(const scene& s, const scene_material& m, std::vector<std::string>& notes)
{
    owned_material made(new_simple_material());
    if (!made) { out_of_memory(); }
    simple_material& out = *reinterpret_cast<simple_material*>(made.get());
    set_simple(out, m, blurs_mirrors(s.render));
    if (s.render.indirect != 0 && takes_no_light(out) && m.images.empty())
    {
        notes.push_back(
            fmt::format("{}:{}: the material reflects all light that it receives; in a closed room of "
                        "it light has no end, and is cut off",
                s.file.string(), m.line));
    }
    for (const scene_bump& b : m.bumps) { add_bump(made.get(), b); }
    mat_image** end = &out.images;
    for (const scene_image& i : m.images) { end = add_image(end, s, i, notes); }
    return made;
}

/// Whether a diffuse surface gives back all of some colour.
bool takes_no_light(const simple_material& m)
{
    constexpr float all = 0.999f;
    const float largest = std::max({ m.color[0], m.color[1], m.color[2] });
    return m.opacity > 0.0f && m.diffuse_share > 0.0f && largest >= all;
}

void set_simple(simple_material& out, const scene_material& m, bool blurs)
{
    const double mirror = blurs ? m.mirror : m.mirror_unblurred.value_or(m.mirror);
    out.style = 3;
    out.opacity = float(1 - m.transparency);
    out.diffuse_share = float(1 - mirror);
    out.translucent_share = float(m.translucency);
    zr_update_material_weights(&out.head);
    out.ior = float(m.ior);
    out.attenuation = float(m.attenuation);
    out.luminosity = float(m.luminosity);
    if (m.luminosity > 0) { out.head.flags |= MATERIAL_STORES_LUMINOSITY; }
    set_color(out.color, m.color);
    set_color(out.translucent_color, m.color);
    set_color(out.transparent_color, m.transparent_color.value_or(m.color));
    set_color(out.reflect_color, m.mirror_color.value_or(color3{ { 1, 1, 1 } }));
    if (m.metal) { out.head.flags |= MATERIAL_REFLECT_FOLLOWS_COLOR; }
    if (!m.glossy) { out.head.flags |= MATERIAL_SHARP_REFLECTION | MATERIAL_SHARP_TRANSMISSION; }
    // A mirror shows light sources as highlights of an exponent that grows with its share; 1 gives none.
    out.highlight = out.reflect_share * 300 + 1;
    if (m.highlight)
    {
        out.head.flags |= MATERIAL_OWN_HIGHLIGHT;
        out.own_highlight = float(*m.highlight);
        out.own_strength = blurs && m.mirror_unblurred ? 0.0f : float(m.highlight_strength);
        set_color(out.own_highlight_color, m.highlight_color.value_or(color3{ { 1, 1, 1 } }));
    }
}

/// Whether mirrors blur by the exponent of their highlight, which then comes from the same light.
bool blurs_mirrors(const scene_render& r)
{
    return r.sampler == SAMPLER_CONVERGING && r.light_model == LIGHT_MODEL_EXACT;
}

void add_bump(material* made, const scene_bump& b)
{
    const vector3 axis = unit(to_vector(b.axis));
    const double axes[3] = { axis.x, axis.y, axis.z };
    const double scale[3] = { repeats(b.size[0]), repeats(b.size[1]), repeats(b.size[2]) };
    if (!zr_add_bump(made, b.kind, axes, b.origin.data(), b.rotation_deg * radians, scale, b.strength))
    {
        out_of_memory();
    }
}

/// The image behind `*end`, the end of the material's list.
mat_image** add_image(mat_image** end, const scene& s, const scene_image& i, std::vector<std::string>& notes)
{
    mat_image* made = zr_new_mat_image();
    if (!made) { out_of_memory(); }
    *end = made;
    const std::filesystem::path file = beside_scene(s, i.file);
    made->flags = image_flags(i);
    made->strength = float(i.strength);
    made->bump_strength = float(i.bump);
    made->size[0] = i.size[0];
    made->size[1] = i.size[1];
    const vector3 axis = unit(to_vector(i.axis));
    made->axis[0] = axis.x, made->axis[1] = axis.y, made->axis[2] = axis.z;
    for (int k = 0; k < 3; ++k) { made->origin[k] = i.origin[k]; }
    made->rotation = float(i.rotation_deg * radians);
    zr_update_mat_image(made);
    set_key(*made->key, i);
    set_path(made->path, file);
    made->bitmap = load_picture(file, notes);
    return &made->next;
}

/// Flags in the order of the scene's switches.
uint32_t image_flags(const scene_image& i)
{
    static constexpr uint32_t blur[] = { 0, IMAGE_BLUR_LITTLE, IMAGE_BLUR_MORE, IMAGE_BLUR_MOST };
    return (i.on_color ? uint32_t(IMAGE_ON_COLOR) : 0u) | (i.on_mirror ? uint32_t(IMAGE_ON_REFLECT) : 0u) |
           (i.on_transparent ? uint32_t(IMAGE_ON_TRANSPARENT) : 0u) |
           (i.on_shine ? uint32_t(IMAGE_ON_SHININESS) : 0u) |
           (i.on_clear ? uint32_t(IMAGE_ON_CLEARNESS) : 0u) |
           (i.mirror_tiles ? uint32_t(IMAGE_MIRROR_TILES) : 0u) | blur[i.blur];
}

void set_key(mat_key& key, const scene_image& i)
{
    static constexpr int32_t kinds[] = { KEY_NONE, KEY_COLOR, KEY_ALPHA };
    key.kind = kinds[i.key];
    key.flags = (i.invert ? uint32_t(KEY_INVERT) : 0u) | (i.cut_out ? uint32_t(KEY_CUTS_OUT) : 0u);
    set_color(key.color, i.key_color);
    key.tolerance = float(i.tolerance);
    key.feather = float(i.feather);
    zr_update_mat_key(&key);
}

owned_material build_pattern(const scene& s, const scene_material& m, std::vector<std::string>& notes)
{
    owned_material made(new_complex_material());
    if (!made) { out_of_memory(); }
    complex_material& out = *reinterpret_cast<complex_material*>(made.get());
    zr_set_blend_kind(made.get(), m.kind - 1); // the scene's names have the order of the library's codes
    set_pattern(out, m);
    if (m.kind == material_mask) { out.params.mask = load_mask(s, m, notes); }
    const std::string* names[] = { &m.first, &m.second };
    for (int i = 0; i < 2; ++i)
    {
        out.children[i] = build_material(s, s.materials.at(*names[i]), notes);
        out.children[i]->parent = made.get();
    }
    check_pattern_depth(s, m, made.get());
    return made;
}

void set_pattern(complex_material& out, const scene_material& m)
{
    out.axis = unit(to_vector(m.axis));
    out.origin = to_vector(m.origin);
    out.rotation = float(m.rotation_deg * radians);
    out.scale = { repeats(m.size[0]), repeats(m.size[1]), repeats(m.size[2]) };
    zr_update_pattern_transform(&out.head);
    if (m.mapped) { out.blend_flags |= BLEND_MAPPED; }
    blend_params& p = out.params;
    p.octaves = m.octaves;
    for (int i = 0; i < 3; ++i)
    {
        p.ratio[i] = i < 2 ? float(m.ratio[size_t(i)]) : 1.0f;
        p.turbulence[i] = float(m.turbulence);
        p.softness[i] = float(m.softness);
    }
    p.tile_offset = { m.tile_offset, m.tile_offset, m.tile_offset };
    if (m.color_jitter)
    {
        out.blend_flags |= BLEND_JITTER_COLOR;
        p.color_jitter = to_vector(*m.color_jitter);
    }
    if (m.coordinate_jitter)
    {
        out.blend_flags |= BLEND_JITTER_COORDINATES;
        p.coordinate_jitter = to_vector(*m.coordinate_jitter);
    }
}

double repeats(double size) { return std::abs(size) < 1e-9 ? 1e9 : 1 / size; }

mask_source* load_mask(const scene& s, const scene_material& m, std::vector<std::string>& notes)
{
    auto* made = static_cast<mask_source*>(zr_calloc(1, sizeof(mask_source)));
    if (!made) { out_of_memory(); }
    const std::filesystem::path file = beside_scene(s, m.mask);
    made->references = 1;
    set_path(made->path, file);
    made->bitmap = load_picture(file, notes);
    return made;
}

[[noreturn]] void out_of_memory() { throw failure(exit_render_failed, "out of memory for materials"); }

void set_path(char16_t (&out)[512], const std::filesystem::path& file)
{
    const std::u16string path = utf16_of(file);
    if (path.size() >= 512)
    {
        throw failure(
            exit_bad_scene, fmt::format("{}: the path is longer than 511 characters", file.string()));
    }
    path.copy(out, path.size());
    out[path.size()] = 0;
}

/// A library's material counts with the patterns around it; deeper ones would render as nothing.
void check_pattern_depth(const scene& s, const scene_material& m, const material* made)
{
    if (pattern_depth(made) < scene_material_depth) { return; }
    throw failure(
        exit_bad_scene, fmt::format("{}:{}: with those of the library, patterns lie more than {} deep",
                            s.file.string(), m.line, scene_material_depth - 1));
}

/// How deep patterns lie in each other.
int pattern_depth(const material* m)
{
    if (!m || !(m->flags & MATERIAL_COMPLEX)) { return 0; }
    const auto& pattern = *reinterpret_cast<const complex_material*>(m);
    return 1 + std::max(pattern_depth(pattern.children[0]), pattern_depth(pattern.children[1]));
}

} // namespace

} // namespace host
