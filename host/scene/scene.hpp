/// @file
/// A scene as its file describes it: plain records with their defaults, before anything is imported or
/// built. Lengths are metres, angles degrees, colours display values from 0 to 1 (see `color3`).
#pragma once

#include "host/scene/scene_daylight.hpp"
#include "host/scene/scene_environment.hpp"
#include "host/scene/scene_luminaire.hpp"

#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace host
{

using vec3 = std::array<double, 3>;

/// One plane a x + b y + c z + d: what lies on its negative side is cut away.
using clip_plane = std::array<double, 4>;

/// The eye of a scene without models, and where a camera looks when its scene does not say.
inline constexpr vec3 default_eye{ 0, -10, 1.6 }, default_target{ 0, 0, 1.6 };

struct scene_camera
{
    std::optional<vec3> eye;    ///< none: fitted to the models
    std::optional<vec3> target; ///< none: [0, 0, 1.6], or the middle of the models
    int view = 0;               ///< row of `view_names`, where the eye is fitted
    vec3 up{ 0, 0, 1 };
    int projection = 2; ///< the library's number: 1 parallel to 6 light probe
    std::optional<double> lens_mm;
    std::optional<double> fov_deg; ///< horizontal
    double near_distance = -1;     ///< below 0: none
    std::vector<clip_plane> clip_planes;
    std::optional<double> parallel_width, parallel_height;
    double pano_angle_deg = 360, pano_fov_deg = 90;
    std::optional<double> f_stop, focus_distance;
    std::optional<std::array<double, 4>> sub_frame; ///< left, top, right, bottom of the whole frame, 0 to 1
};

struct scene_render
{
    std::array<int, 2> size{ 960, 640 };
    int threads = 0; ///< 0: all processors, at most 8
    int quality = 3;
    double antialiasing = 0.9;
    int light_model = 1; ///< 0 fast, 1 exact
    int search = 1;      ///< 0 grid, 1 tree
    int reflect_limit = 6, refract_limit = 8;
    bool soft_shadows = true;
    bool glossy_reflections = true, glossy_transmission = true;
    int gloss_samples = 4, translucency_samples = 4;
    int sky_samples = 16;
    bool early_stop = false;
    int sampler = 1; ///< a pixel_sampler; the fast light model has strips alone
    double noise = 2.0, seconds = 0;
    int indirect = 2; ///< an indirect_light
    int bounce_limit = 8;
    bool denoise = false;
    std::optional<double> clamp_indirect; ///< 100, and never where light is measured
    int min_samples = 16, max_samples = 1024;
    int seed = 0;
    double gloss_jitter = 0.0625, translucency_jitter = 0.0625, pixel_jitter = 0.25;
    bool ambient = true;
    double ambient_scale = 0.8;
    bool fast = false;
    std::optional<std::array<int, 4>> region; ///< left, top, width, height in pixels from the top left
    bool calibration = false;
    bool skip_preprocess = false;
};

struct scene_tone
{
    int method = 2; ///< a tone_method
    double brightness = 0, contrast = 0.5, source_gain = 1;
    std::optional<double> ev, shutter, white_kelvin;
    double f_stop = 8, film_speed = 100;
    bool white_automatic = false;
};

struct scene_output
{
    std::string file, alpha, depth, object_id;
    std::optional<double> depth_near, depth_far;
};

/// One more picture of the same render, at another exposure.
struct scene_variant
{
    std::string file;
    std::optional<int> method;
    std::optional<double> brightness, contrast, source_gain;
};

/// One use of a picture on a material.
struct scene_image
{
    std::string file;
    std::array<double, 2> size{ 1, 1 }; ///< of one tile, in the units of the mapping
    vec3 origin{ 0, 0, 0 }, axis{ 0, 0, 1 };
    double rotation_deg = 0;
    double strength = 1, bump = 0;
    bool on_color = true, on_mirror = false, on_transparent = false, on_shine = false, on_clear = false;
    bool mirror_tiles = false;
    int blur = 0; ///< row of `blur_names`
    int key = 0;  ///< row of `key_names`
    color3 key_color{ { 0, 0, 0 } };
    double tolerance = 0.1, feather = 0;
    bool invert = false, cut_out = false;
};

/// A tilt of the surface by a pattern.
struct scene_bump
{
    int kind = 1; ///< row of `bump_names`, from 1
    vec3 size{ 1, 1, 1 }, origin{ 0, 0, 0 }, axis{ 0, 0, 1 };
    double rotation_deg = 0, strength = 0.5;
};

struct scene_material
{
    std::string library; ///< full key of a library's material, in place of all the rest but `thin` and `id`
    int kind = 0;        ///< row of `material_kind_names`; 0 is simple
    std::string first, second; ///< names of the materials that a pattern is made of
    color3 color;
    double mirror = 0; ///< share of the opaque light that is mirrored; the rest is diffuse
    /// Of a mirror that the highlight's exponent blurs, the part that is shown where nothing can blur it.
    std::optional<double> mirror_unblurred;
    double transparency = 0; ///< share of the light that passes
    double translucency = 0; ///< share of the passing light that spreads
    double ior = 1.5;
    double attenuation = 0; ///< loss per metre inside
    double luminosity = 0;  ///< luminance of the surface itself, cd/m2, times `color`
    std::optional<double> highlight;
    double highlight_strength = 1;
    std::optional<color3> highlight_color, mirror_color, transparent_color;
    bool metal = false;
    bool glossy = true;
    std::optional<bool> thin;
    int id = 0; ///< value in the object-id picture
    std::vector<scene_image> images;
    std::vector<scene_bump> bumps;

    // A pattern.
    vec3 size{ 1, 1, 1 }, origin{ 0, 0, 0 }, axis{ 0, 0, 1 }; ///< of one repeat
    double rotation_deg = 0;
    bool mapped = false; ///< the pattern runs on the object's mapping
    int octaves = 3;
    std::array<double, 2> ratio{ 0.5, 0.5 };
    double turbulence = 0.5, softness = 0.2;
    double tile_offset = 0;
    std::string mask; ///< the picture of a mask
    std::optional<vec3> color_jitter, coordinate_jitter;
    int line = 0; ///< of its table in the scene file
};

struct scene_model
{
    std::string file;
    std::string unit; ///< empty: the format's own
    std::string up;   ///< empty: the format's own
    vec3 scale{ 1, 1, 1 }, rotate{ 0, 0, 0 }, translate{ 0, 0, 0 };
    std::optional<std::array<double, 16>> matrix;
    std::string material;                         ///< for every mesh that `materials` does not name
    std::map<std::string, std::string> materials; ///< the model's material name to the scene's
    std::optional<double> smooth_angle_deg;
    std::optional<bool> thin;
    bool casts_shadow = true;
    int mapping = -1; ///< row of `mapping_names`; -1: none, or by vertex where the model's pictures show
    vec3 mapping_origin{ 0, 0, 0 }, mapping_axis{ 0, 0, 1 }, mapping_scale{ 1, 1, 1 };
    double mapping_rotation_deg = 0;
    std::array<double, 2> mapping_repeats{ 1, 1 };
    std::string light;    ///< name of the light source whose visible shape this is
    bool pictures = true; ///< the pictures that the model's own materials name show
    int line = 0;         ///< of its table in the scene file
};

struct scene_light
{
    std::string name;
    std::string group; ///< name of the light of kind `group` that it belongs to
    int kind = 0;      ///< a scene_light_kind
    vec3 position{ 0, 0, 3 };
    std::optional<vec3> target;
    std::optional<double> lumens, candela, watts, lux;
    int bulb = 1; ///< row of the library's table of bulb efficacies
    double kelvin = 5000;
    color3 filter{ { 1, 1, 1 } };
    double dimmer = 1;
    std::optional<int> distribution;      ///< a scene_distribution; by the kind when left out
    std::string ies;                      ///< file of photometric data
    std::optional<vec3> c0;               ///< horizontal angle 0 of that; also the width of a rectangle
    double beam_deg = 60, field_deg = 90; ///< full angles of the cone
    std::optional<double> azimuth_deg, altitude_deg;
    double radius = 0, disc_deg = 0;
    std::vector<vec3> corners; ///< of a window or a rectangle
    std::array<double, 2> size{ 1, 1 };
    std::optional<vec3> normal; ///< the side that shines; of a window into the room
    std::vector<vec3> ends;     ///< of a line or tube; or
    std::optional<vec3> axis;   ///< its direction, with
    double length = 1;
    double opacity = 0;
    int shadow_samples = 1;
    double shadow_jitter = 0.5, shadow_strength = 1, falloff = 2;
    bool highlight = true;
    bool visible = false;                             ///< the shape is seen, with its own light
    std::shared_ptr<const luminaire_fixture> fixture; ///< of a luminaire; null for others
    int line = 0;
};

struct scene
{
    std::filesystem::path file; ///< as given; paths inside it start from its folder
    scene_camera camera;
    scene_render render;
    scene_tone tone;
    scene_output output;
    scene_background background;
    scene_hdr environment_map;
    scene_reflections reflections;
    scene_haze haze;
    scene_ground ground;
    scene_clouds clouds;
    std::vector<std::string> settings; ///< files of settings, which set their fields first
    std::set<std::string> given_keys;  ///< "section.key" of what the file says about sun and tone

    bool given(const std::string& section, const std::string& key) const
    {
        return given_keys.count(section + "." + key) != 0;
    }

    scene_sun sun;
    std::vector<scene_variant> variants;
    std::vector<scene_model> models;
    std::vector<scene_light> lights;
    std::vector<scene_luminaire> luminaires;
    std::map<std::string, scene_material> materials;
};

/// Values of scene_light::kind, by `light_kind_names`.
enum scene_light_kind
{
    light_point,
    light_spot,
    light_distant,
    light_window,
    light_sphere,
    light_area,
    light_linear,
    light_tube,
    light_disk,
    light_group
};

/// Values of scene_light::distribution, by `distribution_names`.
enum scene_distribution
{
    distribution_even,
    distribution_diffuse,
    distribution_spot
};

/// Complex materials in a chain, the library's own limit.
constexpr int scene_material_depth = 7;

/// Material kinds that the code asks for; the others go by their row.
enum
{
    material_simple = 0,
    material_tile = 4,
    material_mask = 5
};

/// Sides from which a camera without an eye looks.
inline constexpr const char* view_names[] = { "three-quarter", "front", "back", "left", "right", "top",
    nullptr };
enum
{
    view_three_quarter = 0,
    view_top = 5
};

/// Names by projection number less 1.
extern const char* const projection_names[7];
extern const char* const light_model_names[3];
extern const char* const light_kind_names[11];
extern const char* const distribution_names[4];
extern const char* const tone_method_names[4];
extern const char* const bulb_names[8];
extern const char* const material_kind_names[10]; ///< "simple", then the library's kinds in their order
extern const char* const bump_names[4];
extern const char* const blur_names[5];
extern const char* const key_names[4];
extern const char* const mapping_names[9]; ///< by the library's numbers

/// What a scene is read for: a render wants something to look at, its materials alone do not.
enum class scene_use
{
    render,
    materials
};

/// Reads and checks a scene file. Throws `failure`: the file is missing (3), or a line of it is wrong (2).
scene read_scene(const std::filesystem::path& file, scene_use use = scene_use::render);

/// The same from text; `file` names it in messages.
scene parse_scene(
    const std::string& text, const std::filesystem::path& file, scene_use use = scene_use::render);

/// The reference of all sections and keys as a Markdown text, made from the tables that the reader uses.
std::string describe_scene_keys();

/// Refuses light sources that lack what their kind needs, or whose values do not go together.
void check_lights(const scene& s, const std::string& file);

/// The light of this name; null for none.
const scene_light* find_light(const scene& s, const std::string& name);

/// `path` of a scene file, taken from the scene file's folder unless it is absolute.
std::filesystem::path beside_scene(const scene& s, const std::string& path);

/// Metres in a unit's name or number such as "mm" or "0.0254"; nothing when it is neither.
std::optional<double> metres_per_unit(const std::string& unit);

/// The nearest of `names` (ends with a null) by edits, or null when none is near.
const char* nearest_name(const std::string& wrong, const char* const* names);

} // namespace host
