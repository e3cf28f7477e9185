/// @file
/// The keys of what lies around a scene.
#include "host/scene/scene_keys.hpp"

namespace host
{

const char* const background_mode_names[4] = { "color", "gradient", "sky", nullptr };
const char* const picture_projection_names[4] = { "planar", "cylindrical", "spherical", nullptr };
const char* const hdr_projection_names[3] = { "latlong", "probe", nullptr };
const char* const haze_names[4] = { "light", "dark", "color", nullptr };

namespace
{

constexpr double far = 1e9;

const key_row<scene_background> background_rows[] = {
    { "mode", &scene_background::mode, 0, 0, background_mode_names, 0,
        "what shows; left out: the sky where there is a `[sun]` and no `color`, else the color" },
    { "color", &scene_background::color, 0, 1, nullptr, 0, "colour behind the scene, black" },
    { "top", &scene_background::top, 0, 1, nullptr, 0, "top of a gradient, a deep blue" },
    { "middle", &scene_background::middle, 0, 1, nullptr, 0,
        "its middle; the mean of the others when left out" },
    { "bottom", &scene_background::bottom, 0, 1, nullptr, 0, "its bottom, a pale blue" },
    { "top_deg", &scene_background::top_deg, -90, 90, nullptr, 0,
        "altitude from which on the top shows, 90" },
    { "middle_deg", &scene_background::middle_deg, -90, 90, nullptr, 0, "altitude of the middle, 20" },
    { "bottom_deg", &scene_background::bottom_deg, -90, 90, nullptr, 0,
        "altitude below which the bottom shows, 0" },
    { "without_sun", &scene_background::without_sun, 0, 0, nullptr, 0,
        "the sky is that of a clear day where there is no `[sun]`, not black; false" },
    { "luminance", &scene_background::luminance, 0, 1e12, nullptr, 0,
        "what white gives as a light in the exact light model, cd/m2; left out: the strength of the sky "
        "where there "
        "is a `[sun]`, else nothing" },
    { "picture", &scene_background::picture, 1, 4096, nullptr, 0,
        "a picture over that, beside the scene file" },
    { "projection", &scene_background::projection, 0, 0, picture_projection_names, 0,
        "behind the view, on a cylinder or a sphere around the scene; `planar`" },
    { "fit", &scene_background::fit, 0, 0, nullptr, 0, "a planar picture fills the view, true" },
    { "tile", &scene_background::tile, 0, 0, nullptr, 0, "the picture repeats, false" },
    { "mirror_tiles", &scene_background::mirror_tiles, 0, 0, nullptr, 0,
        "every second repeat is flipped, false" },
    { "opacity", &scene_background::opacity, 0, 1, nullptr, 0, "of the picture, 1" },
    { "scale", &scene_background::scale, 0, far, nullptr, 0,
        "width and height of a planar picture that does not fit, as fractions of the view, `[1, 1]`" },
    { "offset", &scene_background::offset, -far, far, nullptr, 0, "its lower left corner, `[0, 0]`" },
    { "picture_top_deg", &scene_background::picture_top_deg, -90, 90, nullptr, 0,
        "altitude of the top edge of a picture around the scene: 45 on a cylinder, 90 on a sphere" },
    { "picture_bottom_deg", &scene_background::picture_bottom_deg, -90, 90, nullptr, 0,
        "of its bottom edge: -45, -90" },
    { "azimuth_deg", &scene_background::azimuth_deg, -360, 360, nullptr, 0,
        "where its middle lies: 0 north (+y), 90 east (+x); 0" },
    { "span_deg", &scene_background::span_deg, 0, 360, nullptr, 0,
        "how far round it reaches; 0 is nowhere; 360" },
    { "key", &scene_background::key, 0, 0, key_names, 0, "what part of the picture is see-through, `none`" },
    { "key_color", &scene_background::key_color, 0, 1, nullptr, 0, "the see-through colour, black" },
    { "tolerance", &scene_background::tolerance, 0, 1, nullptr, 0, "how far from it a colour may lie, 0.1" },
    { "feather", &scene_background::feather, 0, 1, nullptr, 0, "softness of the key's edge, 0" },
    { "invert", &scene_background::invert, 0, 0, nullptr, 0, "the rest is see-through instead, false" },
    { nullptr, &scene_background::mode, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_hdr> hdr_rows[] = {
    { "file", &scene_hdr::file, 1, 4096, nullptr, 0,
        "a picture of light, .hdr or .exr, or a .png of 16 bits with white as 1, beside the scene file" },
    { "projection", &scene_hdr::projection, 0, 0, hdr_projection_names, 0,
        "latitude and longitude, or an angular map; the middle is north (+y); `latlong`" },
    { "rotation_deg", &scene_hdr::rotation_deg, -36000, 36000, nullptr, 0,
        "turn about the vertical, counter-clockwise from above, 0" },
    { "scale", &scene_hdr::scale, 0, 1e6, nullptr, 0, "factor of its light, 1" },
    { "opacity", &scene_hdr::opacity, 0, 1, nullptr, 0, "what stays of the background under it, 0" },
    { nullptr, &scene_hdr::file, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_reflections> reflection_rows[] = {
    { "none", &scene_reflections::none, 0, 0, nullptr, 0, "mirrors see nothing beside the scene, false" },
    { "clouds", &scene_reflections::clouds, 0, 0, nullptr, 0,
        "mirrors with a background of their own see clouds, true" },
    { nullptr, &scene_reflections::none, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_haze> haze_rows[] = {
    { "kind", &scene_haze::kind, 0, 0, haze_names, 0, "`light`, or `color` where one is given" },
    { "color", &scene_haze::color, 0, 1, nullptr, 0, "of the haze" },
    { "distance", &scene_haze::distance, 0, far, nullptr, 0, "where it is full, metres; 0 is no haze; 1000" },
    { "strength", &scene_haze::strength, 0, 1, nullptr, 0, "share of haze from there on, 0.5" },
    { nullptr, &scene_haze::kind, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_ground> ground_rows[] = {
    { "height", &scene_ground::height, -far, far, nullptr, 0, "metres, 0" },
    { "material", &scene_ground::material, 1, 256, nullptr, 0, "name of a material of the scene, grey" },
    { nullptr, &scene_ground::height, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_clouds> cloud_rows[] = {
    { "cumulus", &scene_clouds::cumulus, 0, 0, nullptr, 0, "heaps, true" },
    { "cirrus", &scene_clouds::cirrus, 0, 0, nullptr, 0, "a high veil, true" },
    { "close_horizon", &scene_clouds::close_horizon, 0, 0, nullptr, 0,
        "the veil also closes the band near and below the horizon, false" },
    { "without_sun", &scene_clouds::without_sun, 0, 0, nullptr, 0,
        "clouds show though there is no `[sun]`, false" },
    { "seed", &scene_clouds::seed, -2147483648.0, 2147483647.0, nullptr, 0,
        "another number is another sky, 1" },
    { "rotation_deg", &scene_clouds::rotation_deg, -36000, 36000, nullptr, 0, "turn about the vertical, 0" },
    { "offset", &scene_clouds::offset, -1000, 1000, nullptr, 0,
        "shift along x, y, z as fractions of the space they fill, `[0, 0, 0]`" },
    { "count", &scene_clouds::count, 0, 100000, nullptr, 0, "heaps, 150" },
    { "color", &scene_clouds::color, 0, 1, nullptr, 0, "tint of the heaps, white" },
    { "scale", &scene_clouds::scale, 0, 1000, nullptr, 0,
        "their size along x, y, z, one number or three; below 0.001 there are none; 1" },
    { "variation", &scene_clouds::variation, 0, 1, nullptr, 0, "of their size, 0.6" },
    { "cirrus_color", &scene_clouds::cirrus_color, 0, 1, nullptr, 0, "tint of the veil, white" },
    { "cirrus_scale", &scene_clouds::cirrus_scale, 0, 1000, nullptr, 0,
        "size of its pattern along x and y; 0 is no veil; `[1, 1, 1]`" },
    { "density", &scene_clouds::density, 0, 1, nullptr, 0, "of the veil, 0.4" },
    { "transparency", &scene_clouds::transparency, 0, 1, nullptr, 0, "of the veil, 0.8" },
    { "horizon", &scene_clouds::horizon, 0, 10, nullptr, 0,
        "sine of the altitude where the veil ends, in tenths; it fades up to four times that; 0.5" },
    { nullptr, &scene_clouds::cumulus, 0, 0, nullptr, 0, nullptr },
};

} // namespace

const section<scene_background> background_section{ "[background]",
    "What lies behind everything. `[reflections.background]` takes the same keys.", background_rows };
const section<scene_hdr> hdr_section{ "[environment_map]",
    "An environment map: a picture of radiance around the scene. `[reflections.environment_map]` takes the "
    "same keys.",
    hdr_rows };
const section<scene_reflections> reflection_section{ "[reflections]",
    "What mirrors see beside the scene. With `[reflections.background]` or `[reflections.environment_map]` "
    "they see these, else what the eye sees.",
    reflection_rows };
const section<scene_haze> haze_section{ "[haze]", "Haze that grows with the distance.", haze_rows };
const section<scene_ground> ground_section{ "[ground]", "A level plane without end.", ground_rows };
const section<scene_clouds> clouds_section{ "[clouds]", "Clouds before the sky.", cloud_rows };

} // namespace host
