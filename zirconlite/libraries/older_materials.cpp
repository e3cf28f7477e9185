/// @file
/// Materials from the records of an older program, whose shading had other terms.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "zirconlite/frame/dialogs.hpp"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/libraries/library_file.h"
#include "zirconlite/libraries/library_kinds.hpp"
#include "zirconlite/libraries/material_library.h"
#include "zirconlite/libraries/material_records.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/material_list.hpp"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr double metres_per_inch = 0.0254;
constexpr double granite_metres = 0.00254;
constexpr double rubble_metres = 0.0127;
constexpr double sand_scale = 2480.3149606;
constexpr double up[3] = { 0.0, 0.0, 1.0 };
constexpr double origin[3] = { 0.0, 0.0, 0.0 };
constexpr size_t name_capacity = 256;
constexpr const char16_t* library_extension = u".mlib";

material* from_older(const older_material& from);
material* from_side(const older_side& side);
bool add_image(const older_side& side, double& transparency, simple_material& m);
void set_key(const older_side& side, mat_key& key);
bool add_bumps(const older_side& side, simple_material& m);
bool path_of_new(const char16_t* name, char16_t (&path)[ZR_PATH_CAPACITY]);
bool ask_for_new(zr_handle window, char16_t (&name)[ZR_PATH_CAPACITY], char16_t (&path)[ZR_PATH_CAPACITY]);
float largest(const float (&color)[3]);

} // namespace

int32_t zr_convert_material_library(zr_handle window, const char16_t* name, void* context,
    older_material_iterator iterator, char16_t* out_name)
{
    if (!name || !iterator || !out_name)
    {
        return zr::report_failure(ZR_ERROR_ARGUMENT, "a name, an iterator and room for a name are needed");
    }
    for (;;)
    {
        char16_t wanted[ZR_PATH_CAPACITY] = u"zr2_";
        char16_t path[ZR_PATH_CAPACITY] = {};
        if (!platform::append_text(wanted, name_capacity, name)) { return 0; }
        const int32_t answer = zr::host::get_new_library_name(window, 1, wanted);
        wanted[name_capacity - 1] = 0;
        if (answer == 0 || !(answer > 0 ? path_of_new(wanted, path) : ask_for_new(window, wanted, path)))
        {
            return 0;
        }
        platform::find_entry present;
        if (answer > 0 && platform::read_attributes(path, &present)) // a dialog has asked
        {
            const auto replaces = zr::ask(zr_get_message(nullptr, MESSAGE_REPLACE_LIBRARY));
            if (replaces == MESSAGE_BOX_CANCEL) { return 0; }
            if (replaces == MESSAGE_BOX_NO) { continue; }
        }
        platform::copy_text(out_name, name_capacity, wanted);
        return zr_convert_material_library_i(path, context, iterator);
    }
}

int32_t zr_convert_material_library_i(const char16_t* path, void* context, older_material_iterator iterator)
{
    zr_handle file =
        zr_matfile_open(path, LIBRARY_READ | LIBRARY_WRITE, LIBRARY_SHARE_NOTHING, LIBRARY_CREATE_OR_EMPTY);
    if (file == ZR_INVALID_HANDLE) { return 0; }
    bool is_good = true;
    for (const older_material* from = iterator(context, 1); from && is_good; from = iterator(context, 0))
    {
        material* made = from_older(*from);
        is_good = made && zr_matfile_add_record(file, from->name, made) != 0;
        free_material(made);
    }
    if (is_good) { return zr_libfile_close(file); }
    zr_libfile_cancel(file);
    return 0;
}

namespace
{

/// How a pattern's size and the share of its first side become scale and ratio.
struct pattern_row
{
    int32_t kind; ///< of the older record
    int32_t blend_kind;
    double metres; ///< of a size of 1
    bool widens;   ///< the share moves towards one half and stays above it
};
constexpr pattern_row pattern_rows[] = {
    { 2, BLEND_KIND_GRANITE, granite_metres, false }, { 3, BLEND_KIND_WOOD, metres_per_inch, true },
    { 1, BLEND_KIND_MARBLE, metres_per_inch, true }, // the last row serves all others
};

material* from_older(const older_material& from)
{
    if (from.kind == 0) { return from_side(from.sides[0]); }
    const pattern_row* row = pattern_rows;
    while (row != std::end(pattern_rows) - 1 && row->kind != from.kind) { ++row; }
    material* made = new_complex_material();
    if (!made) { return nullptr; }
    auto& m = *reinterpret_cast<complex_material*>(made);
    zr_set_blend_kind(made, row->blend_kind);
    const double scale = zr::guarded_reciprocal(from.size * row->metres);
    m.scale = { scale, scale, scale };
    m.params.octaves = 3;
    m.params.turbulence[0] = from.turbulence * 0.5f;
    m.params.softness[0] = from.softness;
    const float ratio = row->widens ? std::max(0.5f, (from.ratio - 0.5f) * 0.2f + 0.5f) : from.ratio;
    m.params.ratio[0] = m.params.ratio[1] = ratio;
    for (int i = 0; i < 2; ++i)
    {
        m.children[i] = from_side(from.sides[i]);
        if (!m.children[i])
        {
            free_material(made);
            return nullptr;
        }
        m.children[i]->parent = made;
    }
    return made;
}

material* from_side(const older_side& side)
{
    material* made = zr::new_default_material();
    if (!made) { return nullptr; }
    auto& m = *reinterpret_cast<simple_material*>(made);
    double transparency = largest(side.transmitted);
    m.opacity = float(1.0 - transparency);
    bool is_good = add_image(side, transparency, m);

    const float mirror = largest(side.specular);
    const float strength = largest(side.specular_strength);
    for (int i = 0; i < 3 && mirror != 0.0f; ++i) { m.reflect_color[i] = side.specular[i] / mirror; }
    const double share =
        std::min(1.0, strength * 0.2 + mirror) * std::sqrt(std::min(1.0, std::max(0.0, side.gloss * 0.02)));
    m.diffuse_share = float(1.0 - std::pow(std::max(share, 0.0), std::max(double(m.opacity), 0.1)));

    const float light = largest(side.luminous);
    if (light != 0.0f)
    {
        m.luminosity = float(std::pow(std::max(light, 0.0f), 0.25) * 20000.0);
        made->flags |= MATERIAL_STORES_LUMINOSITY;
    }
    for (int i = 0; i < 3; ++i)
    {
        m.color[i] = light != 0.0f         ? side.luminous[i]
                     : transparency != 0.0 ? m.opacity * side.diffuse[i] + side.transmitted[i]
                                           : side.diffuse[i];
        m.translucent_color[i] = m.transparent_color[i] = m.color[i];
    }
    for (float* color : { m.color, m.translucent_color, m.reflect_color, m.transparent_color })
    {
        zr_degamma_color(color);
    }
    m.ior = side.ior;
    m.attenuation = side.attenuation;
    zr_update_material_weights(made);
    is_good = is_good && add_bumps(side, m);
    if (is_good) { return made; }
    free_material(made);
    return nullptr;
}

bool add_image(const older_side& side, double& transparency, simple_material& m)
{
    if (side.image_size[0] == 0.0) { return true; }
    mat_image* image = zr_new_mat_image();
    if (!image) { return false; }
    m.images = image;
    image->flags = 0;
    for (int i = 0; i < 2; ++i) { image->size[i] = side.image_size[i] * metres_per_inch; }
    image->strength = side.image_strength;
    image->bump_strength = side.image_bump_strength;
    if (side.image_transparency != 0.0f)
    {
        transparency = std::max(double(side.image_transparency), transparency);
        image->flags |= IMAGE_ON_TRANSPARENT;
    }
    if (side.image_strength != 0.0f)
    {
        image->flags |= IMAGE_ON_COLOR;
        if (transparency != 0.0) { image->flags |= IMAGE_ON_TRANSPARENT; }
    }
    set_key(side, *image->key);
    zr_update_mat_image(image);
    return platform::copy_text(image->path, std::size(image->path), side.image_path) ||
           zr::report_failure(ZR_ERROR_LIMIT, "the path of a picture is too long");
}

void set_key(const older_side& side, mat_key& key)
{
    const struct
    {
        int32_t is_on;
        float color[3];
    } rows[] = {
        { side.has_own_key, { side.key_color[0], side.key_color[1], side.key_color[2] } },
        { side.key_black, { 0, 0, 0 } },
        { side.key_white, { 1, 1, 1 } },
        { side.key_red, { 1, 0, 0 } },
        { side.key_green, { 0, 1, 0 } },
        { side.key_blue, { 0, 0, 1 } },
    };
    const auto row =
        std::find_if(std::begin(rows), std::end(rows), [](const auto& r) { return r.is_on != 0; });
    if (row == std::end(rows)) { return; }
    key.kind = KEY_COLOR;
    key.flags = side.inverts_key ? KEY_CUTS_OUT : 0;
    std::copy(row->color, row->color + 3, key.color);
    key.tolerance = side.key_tolerance * 0.25f;
    zr_update_mat_key(&key);
}

bool add_bumps(const older_side& side, simple_material& m)
{
    const double fine[3] = { sand_scale, sand_scale, sand_scale };
    if (side.sand_bump != 0.0f && !zr_add_bump(&m.head, 2, up, origin, 0.0, fine, side.sand_bump * 0.5))
    {
        return false;
    }
    if (side.rubble_bump == 0.0f) { return true; }
    const double rough = zr::guarded_reciprocal(side.rubble_size * rubble_metres);
    const double scale[3] = { rough, rough, rough };
    return zr_add_bump(&m.head, 1, up, origin, 0.0, scale, side.rubble_bump) != 0;
}

/// The library `name` among the program's own.
bool path_of_new(const char16_t* name, char16_t (&path)[ZR_PATH_CAPACITY])
{
    const char16_t* folder = zr::the_module.support_path ? zr::the_module.support_path : u"";
    path[0] = 0;
    return (platform::append_text(path, ZR_PATH_CAPACITY, folder) &&
               platform::append_text(path, ZR_PATH_CAPACITY, name) &&
               platform::append_text(path, ZR_PATH_CAPACITY, library_extension)) ||
           zr::report_failure(ZR_ERROR_LIMIT, "the path of the new library is too long");
}

/// Hosts without a callback are asked by the dialog for files. `name` is the one to start with, and becomes
/// that of the file chosen.
bool ask_for_new(zr_handle window, char16_t (&name)[ZR_PATH_CAPACITY], char16_t (&path)[ZR_PATH_CAPACITY])
{
    static constexpr const char16_t* filter_names[] = { u"Library File" };
    static constexpr const char16_t* filter_patterns[] = { u"*.mlib" };
    zr_save_dialog dialog = {};
    dialog.title = u"New Library";
    dialog.folder = zr::the_module.support_path ? zr::the_module.support_path : u"";
    dialog.filter_count = 1;
    dialog.filter_names = filter_names;
    dialog.filter_patterns = filter_patterns;
    dialog.default_extension = library_extension + 1;
    dialog.filter = 1;
    if (!platform::copy_text(dialog.path, std::size(dialog.path), name) || !zr::ask_for_file(window, &dialog))
    {
        return false;
    }
    dialog.path[std::size(dialog.path) - 1] = 0;
    const char16_t *file = dialog.path, *extension = zr::extension_of(dialog.path);
    for (const char16_t* c = dialog.path; *c; ++c)
    {
        if (*c == u'/' || *c == u'\\') { file = c + 1; }
    }
    const bool has_extension = platform::compare_no_case(extension, library_extension) == 0;
    platform::copy_text(name, name_capacity, file);
    if (has_extension) { name[extension - file] = 0; }
    path[0] = 0;
    return name[0] && platform::append_text(path, ZR_PATH_CAPACITY, dialog.path) &&
           (has_extension || platform::append_text(path, ZR_PATH_CAPACITY, library_extension));
}

float largest(const float (&color)[3]) { return std::max({ color[0], color[1], color[2] }); }

} // namespace
