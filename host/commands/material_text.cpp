/// @file
/// The keys are those of scene_material_keys.cpp; a value that the reader takes by itself is left out.
#include "host/commands/material_text.hpp"

#include "host/scene/scene_keys.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/bumps.h"
#include "zirconlite/materials/mat_image.h"

#include <fmt/format.h>

#include <cmath>

namespace host
{

namespace
{

constexpr int stored_digits = 7; ///< of a record's f32
constexpr int size_digits = 6;   ///< of what a record holds as its reciprocal

std::string triple(double x, double y, double z, int digits = stored_digits);
std::string number(double value, int digits = stored_digits);

struct text_table
{
    std::string text;
    void put(const char* key, const std::string& value) { text += fmt::format("{} = {}\n", key, value); }
    void put_unless(const char* key, double value, double usual)
    {
        if (number(value) != number(usual)) { put(key, number(value)); }
    }
    void put_flag(const char* key, bool value, bool usual = false)
    {
        if (value != usual) { put(key, value ? "true" : "false"); }
    }
    void put_triple(const char* key, double x, double y, double z, const std::string& usual)
    {
        const std::string value = triple(x, y, z);
        if (value != usual) { put(key, value); }
    }
};

std::string pattern_text(const std::string& name, const std::string& heading, const complex_material& m);
std::string simple_text(const std::string& heading, const simple_material& m);
bool same_color(const float (&a)[3], const float (&b)[3]);
std::string image_text(const std::string& heading, const mat_image& i);
std::string color(const float (&linear)[3]);
std::string bump_text(const std::string& heading, const bump& b);
std::string quoted(const std::string& text);
std::string size_of(const vector3& scale);
void put_frame(text_table& t, const double (&origin)[3], const double (&axis)[3], double rotation);

} // namespace

std::string material_text(const std::string& name, const material& m)
{
    const std::string heading = fmt::format("materials.{}", quoted(name));
    return m.flags & MATERIAL_COMPLEX
               ? pattern_text(name, heading, reinterpret_cast<const complex_material&>(m))
               : simple_text(heading, reinterpret_cast<const simple_material&>(m));
}

std::string plain_text(const char16_t* text)
{
    std::u16string units(text);
    for (size_t i = 0; i < units.size(); ++i)
    {
        const char16_t c = units[i];
        const bool is_pair = c >= 0xD800 && c < 0xDC00 && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000;
        if (is_pair) { ++i; }
        else if ((c >= 0xD800 && c < 0xE000) || c < 0x20 || (c >= 0x7F && c < 0xA0)) { units[i] = 0xFFFD; }
    }
    return utf8_of(units);
}

namespace
{

std::string pattern_text(const std::string& name, const std::string& heading, const complex_material& m)
{
    text_table t{ fmt::format("[{}]\n", heading) };
    const int32_t kind = zr_get_blend_kind(&m.head);
    if (kind >= 0) { t.put("kind", quoted(material_kind_names[kind + 1])); }
    else { t.text += fmt::format("# a pattern of the unknown kind {}\n", m.stored_kind); }
    t.put("first", quoted(name + " first"));
    t.put("second", quoted(name + " second"));
    const blend_params& p = m.params;
    t.put("ratio", fmt::format("[{}, {}]", number(p.ratio[0]), number(p.ratio[1])));
    if (m.has_own_pattern)
    {
        t.put("size", size_of(m.scale));
        put_frame(t, { m.origin.x, m.origin.y, m.origin.z }, { m.axis.x, m.axis.y, m.axis.z }, m.rotation);
        t.put_flag("mapped", m.blend_flags & BLEND_MAPPED);
        t.put("octaves", fmt::format("{}", p.octaves));
        t.put("turbulence", number(p.turbulence[0]));
        t.put("softness", number(p.softness[0]));
    }
    if (kind == BLEND_KIND_TILE) { t.put_unless("tile_offset", p.tile_offset.x, 0); }
    if (m.blend_flags & BLEND_JITTER_COLOR)
    {
        t.put("color_jitter", triple(p.color_jitter.x, p.color_jitter.y, p.color_jitter.z));
    }
    if (m.blend_flags & BLEND_JITTER_COORDINATES)
    {
        t.put(
            "coordinate_jitter", triple(p.coordinate_jitter.x, p.coordinate_jitter.y, p.coordinate_jitter.z));
    }
    if (p.mask) { t.put("mask", quoted(plain_text(p.mask->path))); }
    const char* const sides[] = { " first", " second" };
    for (int i = 0; i < 2; ++i)
    {
        if (m.children[i]) { t.text.append(1, '\n').append(material_text(name + sides[i], *m.children[i])); }
    }
    return t.text;
}

std::string simple_text(const std::string& heading, const simple_material& m)
{
    text_table t{ fmt::format("[{}]\n", heading) };
    const float white[3] = { 1, 1, 1 };
    t.put("color", color(m.color));
    t.put_unless("mirror", m.reflect_share, 0);
    if (!same_color(m.reflect_color, white)) { t.put("mirror_color", color(m.reflect_color)); }
    t.put_unless("transparency", m.transparency, 0);
    t.put_unless("translucency", m.translucent_share, 0);
    if (!same_color(m.transparent_color, m.color)) { t.put("transparent_color", color(m.transparent_color)); }
    t.put_unless("ior", m.ior, 1.5);
    t.put_unless("attenuation", m.attenuation, 0);
    t.put_unless("luminosity", m.luminosity, 0);
    t.put_flag("metal", m.head.flags & MATERIAL_REFLECT_FOLLOWS_COLOR);
    constexpr uint32_t sharp = MATERIAL_SHARP_REFLECTION | MATERIAL_SHARP_TRANSMISSION;
    t.put_flag("glossy", (m.head.flags & sharp) != sharp, true);
    if (m.head.flags & MATERIAL_OWN_HIGHLIGHT)
    {
        t.put("highlight", number(m.own_highlight));
        t.put_unless("highlight_strength", m.own_strength, 1);
        if (!same_color(m.own_highlight_color, white))
        {
            t.put("highlight_color", color(m.own_highlight_color));
        }
    }
    for (const mat_image* i = m.images; i; i = i->next) { t.text += image_text(heading, *i); }
    for (const bump* b = m.bumps; b; b = b->next) { t.text += bump_text(heading, *b); }
    return t.text;
}

bool same_color(const float (&a)[3], const float (&b)[3])
{
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}

std::string image_text(const std::string& heading, const mat_image& i)
{
    text_table t{ fmt::format("\n[[{}.image]]\n", heading) };
    t.put("file", quoted(plain_text(i.path)));
    t.put("size", fmt::format("[{}, {}]", number(i.size[0], size_digits), number(i.size[1], size_digits)));
    put_frame(t, i.origin, i.axis, i.rotation);
    t.put_unless("strength", i.strength, 1);
    t.put_unless("bump", i.bump_strength, 0);
    t.put_flag("on_color", i.flags & IMAGE_ON_COLOR, true);
    t.put_flag("on_mirror", i.flags & IMAGE_ON_REFLECT);
    t.put_flag("on_transparent", i.flags & IMAGE_ON_TRANSPARENT);
    t.put_flag("on_shine", i.flags & IMAGE_ON_SHININESS);
    t.put_flag("on_clear", i.flags & IMAGE_ON_CLEARNESS);
    t.put_flag("mirror_tiles", i.flags & IMAGE_MIRROR_TILES);
    const int blur = i.flags & IMAGE_BLUR_MOST     ? 3
                     : i.flags & IMAGE_BLUR_MORE   ? 2
                     : i.flags & IMAGE_BLUR_LITTLE ? 1
                                                   : 0;
    if (blur) { t.put("blur", quoted(blur_names[blur])); }
    if (i.key->kind == KEY_NONE) { return t.text; }
    t.put("key", quoted(key_names[i.key->kind == KEY_ALPHA ? 2 : 1]));
    t.put("key_color", color(i.key->color));
    t.put("tolerance", number(i.key->tolerance));
    t.put_unless("feather", i.key->feather, 0);
    t.put_flag("invert", i.key->flags & KEY_INVERT);
    t.put_flag("cut_out", i.key->flags & KEY_CUTS_OUT);
    return t.text;
}

/// A linear colour as a screen shows it.
std::string color(const float (&linear)[3])
{
    const auto shown = [](float c) { return c > 0 ? std::pow(double(c), 1 / 2.2) : 0.0; };
    return triple(shown(linear[0]), shown(linear[1]), shown(linear[2]));
}

std::string bump_text(const std::string& heading, const bump& b)
{
    text_table t{ fmt::format("\n[[{}.bump]]\n", heading) };
    const int row = b.function == zr_bump_pyramid ? 2 : b.function == zr_bump_sandpaper ? 1 : 0;
    t.put("kind", quoted(bump_names[row]));
    t.put("size", size_of(b.scale));
    t.put("strength", number(b.strength));
    put_frame(t, { b.origin.x, b.origin.y, b.origin.z }, { b.axis.x, b.axis.y, b.axis.z }, b.rotation);
    return t.text;
}

std::string quoted(const std::string& text)
{
    std::string out(1, '"');
    for (const char c : text)
    {
        if (c == '"' || c == '\\') { out += '\\'; }
        out += c;
    }
    out += '"';
    return out;
}

/// The size of one repeat, metres.
std::string size_of(const vector3& scale)
{
    return triple(1 / scale.x, 1 / scale.y, 1 / scale.z, size_digits);
}

void put_frame(text_table& t, const double (&origin)[3], const double (&axis)[3], double rotation)
{
    t.put_triple("origin", origin[0], origin[1], origin[2], "[0, 0, 0]");
    t.put_triple("axis", axis[0], axis[1], axis[2], "[0, 0, 1]");
    t.put_unless("rotation_deg", rotation * degrees, 0);
}

std::string triple(double x, double y, double z, int digits)
{
    return fmt::format("[{}, {}, {}]", number(x, digits), number(y, digits), number(z, digits));
}

std::string number(double value, int digits) { return fmt::format("{:.{}g}", value, digits); }

} // namespace

} // namespace host
