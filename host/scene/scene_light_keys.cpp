/// @file
/// The keys of `[[light]]`, and what its kinds ask of them.
#include "host/build/build_daylight.hpp"
#include "host/build/build_light.hpp"
#include "host/scene/scene_keys.hpp"
#include "host/vectors.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace host
{

const char* const light_kind_names[11] = { "point", "spot", "distant", "window", "sphere", "area", "line",
    "tube", "disk", "group", nullptr };
const char* const distribution_names[4] = { "even", "diffuse", "spot", nullptr };
// The order is that of the library's bulb efficacies: 1.8, 17, 75, 100, 100, 55 and 60 lumens a watt.
const char* const bulb_names[8] = { "candle", "incandescent", "fluorescent", "metal-halide", "sodium",
    "mercury", "compact", nullptr };

namespace
{

constexpr double far = 1e9; // the largest coordinate in metres

const key_row<scene_light> light_rows[] = {
    { "kind", &scene_light::kind, 0, 0, light_kind_names, 0, "`point` when left out" },
    { "name", &scene_light::name, 1, 255, nullptr, 0, "for messages, and for what belongs to the light" },
    { "group", &scene_light::group, 1, 255, nullptr, 0,
        "name of a light of kind `group`, whose `kelvin` and `filter` colour it and whose `dimmer` dims it "
        "too" },
    { "position", &scene_light::position, -far, far, nullptr, 0, "its middle, metres, `[0, 0, 3]`" },
    { "target", &scene_light::target, -far, far, nullptr, 0,
        "the point at which it aims, where its light has a direction; or" },
    { "normal", &scene_light::normal, -far, far, nullptr, 0,
        "the direction itself, `[0, 0, -1]`; of a window into the room" },
    { "c0", &scene_light::c0, -far, far, nullptr, 0,
        "direction of horizontal angle 0 of `ies`, and of the width of a rectangle: east as far as the aim "
        "allows" },
    { "lumens", &scene_light::lumens, 0, 1e9, nullptr, 0, "luminous flux; or" },
    { "candela", &scene_light::candela, 0, 1e9, nullptr, 0, "peak intensity; or" },
    { "watts", &scene_light::watts, 0, 1e7, nullptr, 0, "electric power of a `bulb`" },
    { "bulb", &scene_light::bulb, 0, 0, bulb_names, 0, "kind of bulb for `watts`, `incandescent`" },
    { "lux", &scene_light::lux, 0, 200000, nullptr, 0, "illuminance square to a distant light" },
    { "kelvin", &scene_light::kelvin, 1000, 40000, nullptr, 0, "colour temperature, 5000 is white" },
    { "filter", &scene_light::filter, 0, 1, nullptr, 0, "coloured glass in front of the source, white" },
    { "dimmer", &scene_light::dimmer, 0, 1, nullptr, 0, "factor of its light, 1" },
    { "distribution", &scene_light::distribution, 0, 0, distribution_names, 0,
        "`even` all round, `diffuse` as matt surfaces shine, or a `spot` of `beam_deg` and `field_deg`; "
        "diffuse "
        "for area, disk and tube, even for others" },
    { "ies", &scene_light::ies, 1, 4096, nullptr, 0,
        "photometric file, LM-63 or EULUMDAT, of how the light is distributed; its lumens when none are "
        "given" },
    { "beam_deg", &scene_light::beam_deg, 4, 179, nullptr, 0,
        "full angle at which a spot has half its intensity, 60" },
    { "field_deg", &scene_light::field_deg, 1, 180, nullptr, 0, "full angle beyond which it is dark, 90" },
    { "azimuth_deg", &scene_light::azimuth_deg, -360, 360, nullptr, 0,
        "where a distant light comes from: 0 north (+y), 90 east (+x)" },
    { "altitude_deg", &scene_light::altitude_deg, -90, 90, nullptr, 0, "its height above the horizon" },
    { "radius", &scene_light::radius, 0, 1000, nullptr, 0,
        "of a point or spot with soft shadows, 0; of a sphere, tube or disk; metres" },
    { "disc_deg", &scene_light::disc_deg, 0, 43, nullptr, 0,
        "diameter of a distant light as seen, for soft shadows, 0; the sun's is 0.53" },
    { "corners", &scene_light::corners, -far, far, nullptr, 0,
        "of a window 3 to 10 points, of an area 3 or 4 of a parallelogram, counter-clockwise from the lit "
        "side or by "
        "`normal`; or" },
    { "size", &scene_light::size, 0, 1000, nullptr, 0,
        "width and height of either about `position`, `[1, 1]`" },
    { "ends", &scene_light::ends, -far, far, nullptr, 0, "two points of a line or tube; or" },
    { "axis", &scene_light::axis, -far, far, nullptr, 0, "its direction, with" },
    { "length", &scene_light::length, 1e-6, 1e5, nullptr, 0, "its length about `position`, 1" },
    { "opacity", &scene_light::opacity, 0, 0.999, nullptr, 0, "share of the sky's light that it blocks, 0" },
    { "shadow_samples", &scene_light::shadow_samples, 1, 256, nullptr, 0, "shadow rays a point, 1" },
    { "shadow_jitter", &scene_light::shadow_jitter, 0, 1, nullptr, 0, "noise of their places, 0.5" },
    { "shadow_strength", &scene_light::shadow_strength, 0, 1, nullptr, 0,
        "0 no shadows; below 1 half-shadows are paler, what no ray reaches stays dark; 1" },
    { "falloff", &scene_light::falloff, 0, 4, nullptr, 0, "power of the distance, 2; a real source has 2" },
    { "visible", &scene_light::visible, 0, 0, nullptr, 0,
        "its shape is seen with the luminance that it has, false; needs a size" },
    { "highlight", &scene_light::highlight, 0, 0, nullptr, 0, "shows highlights, true" },
    { nullptr, &scene_light::name, 0, 0, nullptr, 0, nullptr },
};

} // namespace

const section<scene_light> light_section{ "[[light]]",
    "A light source. Each but the following takes one of `lumens`, `candela` and `watts`; with `ies` it may "
    "have none. "
    "Distant takes `lux`; a window takes the sky's light; a group gives its lights a colour. At most 10000.",
    light_rows };

namespace
{

constexpr double tiny = 1e-9; // metres

/// Refuses a light with its name in front of what is wrong.
struct light_check
{
    const scene& s;
    const scene_light& l;
    const std::string& file;

    [[noreturn]] void wrong(const std::string& text) const
    {
        bad_scene(
            file, l.line, fmt::format("[[light]]{} {}", l.name.empty() ? "" : " \"" + l.name + "\"", text));
    }
};

double length_of(const vec3& v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }
vec3 between(const vec3& from, const vec3& to)
{
    return { to[0] - from[0], to[1] - from[1], to[2] - from[2] };
}

void check_strength(const light_check& c)
{
    const scene_light& l = c.l;
    const int given = int(l.lumens.has_value()) + int(l.candela.has_value()) + int(l.watts.has_value());
    if (l.lux || given > 1 || (given == 0 && l.ies.empty()))
    {
        c.wrong("give one of lumens, candela and watts");
    }
}

void check_window_light(const light_check& c)
{
    if (!c.s.sun.is_on || c.s.sun.mode != sun_mode_windows)
    {
        c.wrong("is a window: it needs a [sun] of mode \"windows\"");
    }
    const std::string text = check_window(c.l);
    if (!text.empty()) { c.wrong(text); }
}

void check_distant(const light_check& c)
{
    const scene_light& l = c.l;
    if (!l.lux || l.lumens || l.candela || l.watts)
    {
        c.wrong("is distant: give its lux, and no lumens, candela or watts");
    }
    if (!l.azimuth_deg || !l.altitude_deg) { c.wrong("is distant: give azimuth_deg and altitude_deg"); }
}

void check_spot(const light_check& c)
{
    check_strength(c);
    if (!c.l.target && !c.l.normal) { c.wrong("is a spot: give its target"); }
}

void check_rectangle(const light_check& c)
{
    check_strength(c);
    const scene_light& l = c.l;
    if (l.corners.empty())
    {
        if (!(l.size[0] > 0 && l.size[1] > 0)) { c.wrong("size: is 0"); }
        return;
    }
    if (l.corners.size() != 3 && l.corners.size() != 4) { c.wrong("corners: an area has 3 or 4"); }
    const vec3 e1 = between(l.corners[0], l.corners[1]), e2 = between(l.corners[1], l.corners[2]);
    const vector3 area = cross({ e1[0], e1[1], e1[2] }, { e2[0], e2[1], e2[2] });
    if (length(area) < tiny) { c.wrong("corners: span no area"); }
    if (l.corners.size() == 4 &&
        length_of(between(e2, between(l.corners[0], l.corners[3]))) > 1e-3 * (length_of(e1) + length_of(e2)))
    {
        c.wrong("corners: the fourth does not complete a parallelogram");
    }
}

void check_round(const light_check& c)
{
    check_strength(c);
    if (!(c.l.radius > 0)) { c.wrong("has no radius"); }
}

void check_line(const light_check& c)
{
    if (c.l.kind == light_tube) { check_round(c); }
    else { check_strength(c); }
    const scene_light& l = c.l;
    if (l.ends.empty() && !l.axis) { c.wrong("give its ends, or position, axis and length"); }
    if (!l.ends.empty() && l.ends.size() != 2) { c.wrong("ends: there are two"); }
    if (!l.ends.empty() && length_of(between(l.ends[0], l.ends[1])) < 1e-6)
    {
        c.wrong("ends: are one point");
    }
    if (l.axis && length_of(*l.axis) < tiny) { c.wrong("axis: has no length"); }
}

void check_group(const light_check& c)
{
    const scene_light& l = c.l;
    if (l.name.empty()) { c.wrong("is a group: it needs a name"); }
    if (l.lumens || l.candela || l.watts || l.lux || l.visible || !l.ies.empty())
    {
        c.wrong("is a group: its lights have strengths and shapes, and it a colour");
    }
    const auto has_name = [&](const scene_light& other) { return other.name == l.name; };
    if (std::count_if(c.s.lights.begin(), c.s.lights.end(), has_name) > 1)
    {
        c.wrong("is a group: another light has its name");
    }
}

/// By kind; the names are in light_kind_names.
constexpr void (*checks[])(const light_check&) = { check_strength, check_spot, check_distant,
    check_window_light, check_round, check_rectangle, check_line, check_line, check_round, check_group };

void check_aim(const light_check& c)
{
    const scene_light& l = c.l;
    if (l.target && length_of(between(*l.target, middle_of(l))) < tiny)
    {
        c.wrong("aims at its own position");
    }
    if (l.normal && length_of(*l.normal) < tiny) { c.wrong("normal: has no length"); }
    if (l.target && l.normal) { c.wrong("takes target or normal, not both"); }
    const bool is_spot = l.kind == light_spot || l.distribution == int(distribution_spot);
    if (is_spot && l.field_deg < l.beam_deg) { c.wrong("has a field_deg below its beam_deg"); }
    if (!l.ies.empty() && (l.distribution || l.kind == light_spot))
    {
        c.wrong("ies: the file is the distribution; it takes no other");
    }
    const bool has_no_law = l.kind == light_distant || l.kind == light_window || l.kind == light_group;
    if (has_no_law && (l.distribution || !l.ies.empty()))
    {
        c.wrong(l.distribution ? "distribution: its kind has none" : "ies: its kind has none");
    }
    const bool has_surface = l.radius > 0 || l.kind == light_area;
    const bool has_none = l.kind == light_distant || l.kind == light_window || l.kind == light_linear;
    if (l.visible && (has_none || !has_surface)) { c.wrong("visible: it has no surface; give a radius"); }
}

void check_membership(const light_check& c)
{
    const scene_light* above = &c.l;
    for (size_t depth = 0; !above->group.empty(); ++depth)
    {
        const std::string& name = above->group;
        above = find_light(c.s, name);
        if (!above || above->kind != light_group)
        {
            c.wrong(fmt::format("group: there is no [[light]] of kind \"group\" named \"{}\"", name));
        }
        if (depth > c.s.lights.size()) { c.wrong("group: lies inside itself"); }
    }
}

} // namespace

const scene_light* find_light(const scene& s, const std::string& name)
{
    const auto found =
        std::find_if(s.lights.begin(), s.lights.end(), [&](const scene_light& l) { return l.name == name; });
    return found != s.lights.end() ? &*found : nullptr;
}

void check_lights(const scene& s, const std::string& file)
{
    for (const scene_light& l : s.lights)
    {
        const light_check c{ s, l, file };
        checks[l.kind](c);
        check_aim(c);
        check_membership(c);
    }
}

} // namespace host
