/// @file
/// The keys of `[[luminaire]]`.
#include "host/scene/scene_keys.hpp"

#include <fmt/format.h>

#include <cmath>

namespace host
{

namespace
{

constexpr double far = 1e9; // the largest coordinate in metres

const key_row<scene_luminaire> luminaire_rows[] = {
    { "library", &scene_luminaire::library, 3, 512, nullptr, 0,
        "full key of a luminaire, `LIBRARY\\\\Folder\\Name`; the library lies beside the scene or where "
        "libraries are "
        "looked for" },
    { "name", &scene_luminaire::name, 1, 255, nullptr, 0, "for messages" },
    { "position", &scene_luminaire::position, -far, far, nullptr, 0,
        "of the fixture's origin, metres, `[0, 0, 3]`" },
    { "target", &scene_luminaire::target, -far, far, nullptr, 0, "the point at which its axis aims; or" },
    { "aim", &scene_luminaire::aim, -far, far, nullptr, 0, "the direction itself, `[0, 0, -1]`" },
    { "c0", &scene_luminaire::c0, -far, far, nullptr, 0,
        "direction of horizontal angle 0, C0: east as far as the aim allows" },
    { "lumens", &scene_luminaire::lumens, 0, 1e9, nullptr, 0,
        "luminous flux of the luminaire, that of its photometric table when left out" },
    { "dimmer", &scene_luminaire::dimmer, 0, 1, nullptr, 0, "factor of its light, 1" },
    { "kelvin", &scene_luminaire::kelvin, 1000, 40000, nullptr, 0,
        "colour temperature, that of the library" },
    { "filter", &scene_luminaire::filter, 0, 1, nullptr, 0, "coloured glass in front of the lamp, white" },
    { "shadow_samples", &scene_luminaire::shadow_samples, 1, 256, nullptr, 0, "shadow rays a point, 1" },
    { "visible", &scene_luminaire::visible, 0, 0, nullptr, 0,
        "its opening is seen, in the fixture's material and with its own luminance, true" },
    { nullptr, &scene_luminaire::name, 0, 0, nullptr, 0, nullptr },
};

} // namespace

const section<scene_luminaire> luminaire_section{ "[[luminaire]]",
    "A luminaire of a light library, with its photometric table and the size of its opening. At most 10000.",
    luminaire_rows };

void check_luminaires(const scene& s, const std::string& file)
{
    for (const scene_luminaire& l : s.luminaires)
    {
        const auto wrong = [&](const std::string& text)
        {
            bad_scene(file, l.line,
                fmt::format("[[luminaire]]{} {}", l.name.empty() ? "" : " \"" + l.name + "\"", text));
        };
        const auto has_length = [](const vec3& v) { return std::hypot(v[0], v[1], v[2]) > 1e-9; };
        const size_t split = l.library.find("\\\\");
        if (split == std::string::npos || split == 0 || split + 2 == l.library.size() ||
            l.library.back() == '\\')
        {
            wrong("library: expected LIBRARY\\\\Folder\\Name, in single quotes as TOML keeps backslashes "
                  "there");
        }
        if (l.target && l.aim) { wrong("takes target or aim, not both"); }
        if (l.aim && !has_length(*l.aim)) { wrong("aim: has no length"); }
        if (l.c0 && !has_length(*l.c0)) { wrong("c0: has no length"); }
        const vec3& p = l.position;
        if (l.target && !has_length({ (*l.target)[0] - p[0], (*l.target)[1] - p[1], (*l.target)[2] - p[2] }))
        {
            wrong("aims at its own position");
        }
    }
}

} // namespace host
