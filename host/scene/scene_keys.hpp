/// @file
/// The tables of keys of a scene file and the one reader that walks them. A row says what the key is
/// called, where its value goes, what is allowed, and what the reference prints about it.
#pragma once

#include "host/scene/scene.hpp"

#include <stdexcept>

namespace host
{

/// Stands in for the parser's assertions, which broken files reach: they refuse the file in every build
/// instead of ending the program in some.
constexpr void require_toml(bool is_sound)
{
    if (!is_sound) { throw std::invalid_argument("the text is not TOML"); }
}

} // namespace host

#define TOML_ASSERT(condition) host::require_toml(bool(condition))
#include <toml++/toml.h>

#include <functional>
#include <initializer_list>
#include <variant>

namespace host
{

/// Where a key's value goes. The alternative also is the key's type.
template <class R>
using field_of = std::variant<double R::*, std::optional<double> R::*, int R::*, std::optional<int> R::*,
    bool R::*, std::optional<bool> R::*, std::string R::*, vec3 R::*, std::optional<vec3> R::*, color3 R::*,
    std::optional<color3> R::*, std::array<int, 2> R::*, std::array<double, 2> R::*,
    std::optional<std::array<double, 2>> R::*, std::optional<std::array<int, 4>> R::*,
    std::optional<std::array<double, 4>> R::*, std::optional<std::array<double, 16>> R::*,
    std::vector<clip_plane> R::*, std::vector<vec3> R::*, std::map<std::string, std::string> R::*>;

template <class R> struct key_row
{
    const char* name;
    field_of<R> field;
    double low, high;           ///< inclusive range of each number; of a text, its length in bytes
    const char* const* choices; ///< names of the values of an integer, ended by a null; null: none
    int first_choice;           ///< value of the first name
    const char* help;           ///< what it is, with its unit and default
};

/// A place in a scene file, for messages.
struct scene_place
{
    std::string file;
    std::string section; ///< as written, such as "[camera]"
};

/// "file:line: text" as a failure with the code for a bad scene.
[[noreturn]] void bad_scene(const std::string& file, int line, const std::string& text);

/// Reads `table` into `record` by the rows, which end with a null name. Unknown keys, wrong types and
/// values out of range are failures that name the line. `others` are keys that are read elsewhere.
template <class R>
void read_table(const toml::table& table, R& record, const key_row<R>* rows, const scene_place& place,
    std::initializer_list<const char*> others = {});

template <class R> struct section
{
    const char* heading; ///< as written in the file
    const char* help;
    const key_row<R>* rows;
};

extern const section<scene_camera> camera_section;
extern const section<scene_render> render_section;
extern const section<scene_tone> tone_section;
extern const section<scene_output> output_section;
extern const section<scene_variant> variant_section;
extern const section<scene_background> background_section;
extern const section<scene_hdr> hdr_section;
extern const section<scene_reflections> reflection_section;
extern const section<scene_haze> haze_section;
extern const section<scene_ground> ground_section;
extern const section<scene_clouds> clouds_section;
extern const section<scene_sun> sun_section;
extern const section<scene_model> model_section;
extern const section<scene_material> material_section;
extern const section<scene_image> image_section;
extern const section<scene_bump> bump_section;
extern const section<scene_light> light_section;
extern const section<scene_luminaire> luminaire_section;

} // namespace host
