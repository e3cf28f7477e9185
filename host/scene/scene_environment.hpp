/// @file
/// What lies around a scene as its file describes it: background, environment map, reflections, haze, ground
/// and clouds. What is left out keeps the value of a settings file that the scene names, else its default.
#pragma once

#include "host/scene/scene_daylight.hpp"

#include <array>
#include <optional>
#include <string>

namespace host
{

/// `[background]` and `[reflections.background]`.
struct scene_background
{
    std::optional<int> mode; ///< row of `background_mode_names`
    std::optional<color3> color, top, middle, bottom;
    std::optional<double> top_deg, middle_deg, bottom_deg; ///< altitudes of the stops
    std::optional<bool> without_sun;                       ///< the sky shows though there is no sun
    std::optional<double> luminance;                       ///< of white, cd/m2
    std::string picture;
    std::optional<int> projection; ///< row of `picture_projection_names`, the library's numbers
    std::optional<bool> fit, tile, mirror_tiles;
    std::optional<double> opacity;
    std::optional<std::array<double, 2>> scale, offset; ///< planar: fractions of the view
    std::optional<double> picture_top_deg, picture_bottom_deg, azimuth_deg, span_deg;
    std::optional<int> key; ///< row of `key_names`
    std::optional<color3> key_color;
    std::optional<double> tolerance, feather;
    std::optional<bool> invert;
};

enum
{
    background_mode_color = 0,
    background_mode_gradient = 1,
    background_mode_sky = 2
};

/// `[environment_map]` and `[reflections.environment_map]`: a picture of light.
struct scene_hdr
{
    std::string file;
    int projection = 0; ///< row of `hdr_projection_names`
    std::optional<double> rotation_deg, scale, opacity;
};

/// `[reflections]`.
struct scene_reflections
{
    bool none = false;
    std::optional<bool> clouds;
    scene_background background;
    scene_hdr environment_map;
    bool is_own = false; ///< mirrors see the two above
};

struct scene_haze
{
    bool is_on = false;      ///< the scene has the section
    std::optional<int> kind; ///< row of `haze_names`, the library's numbers
    std::optional<color3> color;
    std::optional<double> distance, strength;
};

struct scene_ground
{
    bool is_on = false;
    std::optional<double> height;
    bool below_models = false; ///< at the foot of the models in place of `height`
    std::string material;      ///< of the scene
};

struct scene_clouds
{
    bool is_on = false;
    std::optional<bool> cumulus, cirrus, close_horizon, without_sun;
    std::optional<int> seed, count;
    std::optional<double> rotation_deg;
    std::optional<std::array<double, 3>> offset, scale, cirrus_scale;
    std::optional<color3> color, cirrus_color;
    std::optional<double> variation, density, transparency, horizon;
};

extern const char* const background_mode_names[4];
extern const char* const picture_projection_names[4];
extern const char* const hdr_projection_names[3];
extern const char* const haze_names[4];

} // namespace host
