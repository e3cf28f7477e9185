/// @file
/// The keys of materials: colours and weights, patterns, and the pictures and bumps on them.
#include "host/scene/scene_keys.hpp"

namespace host
{

const char* const material_kind_names[10] = { "simple", "marble", "granite", "wood", "tile", "mask", "blend",
    "clear-finish", "angular", nullptr };
const char* const bump_names[4] = { "rubble", "sandpaper", "pyramid", nullptr };
const char* const blur_names[5] = { "none", "little", "more", "most", nullptr };
const char* const key_names[4] = { "none", "color", "alpha", nullptr };
const char* const mapping_names[9] = { "none", "box", "cylinder", "sphere", "planar", "angular-cylinder",
    "angular-sphere", "vertex", nullptr };

namespace
{

constexpr double far = 1e9;
constexpr double tiny = 1e-9;

const key_row<scene_material> material_rows[] = {
    { "library", &scene_material::library, 3, 512, nullptr, 0,
        "full key of a library's material, `LIBRARY\\\\Folder\\Name`, in place of all but `thin` and `id`" },
    { "kind", &scene_material::kind, 0, 0, material_kind_names, 0,
        "`simple`, or how a pattern mixes `first` and `second`" },
    { "first", &scene_material::first, 1, 256, nullptr, 0, "name of the first material of a pattern" },
    { "second", &scene_material::second, 1, 256, nullptr, 0, "name of the second; materials nest six deep" },
    { "color", &scene_material::color, 0, 1, nullptr, 0, "diffuse colour, grey of 0.7" },
    { "mirror", &scene_material::mirror, 0, 1, nullptr, 0,
        "share of the opaque light that is mirrored; the rest is diffuse; 0" },
    { "transparency", &scene_material::transparency, 0, 1, nullptr, 0, "share of the light that passes, 0" },
    { "translucency", &scene_material::translucency, 0, 1, nullptr, 0,
        "share of the passing light that spreads, 0" },
    { "ior", &scene_material::ior, 1, 4, nullptr, 0, "index of refraction, 1.5" },
    { "attenuation", &scene_material::attenuation, 0, 1, nullptr, 0, "share lost per metre inside, 0" },
    { "luminosity", &scene_material::luminosity, 0, 1e6, nullptr, 0,
        "own light, cd/m2, times `color`; lights others where light bounces; 0" },
    { "highlight", &scene_material::highlight, 1, 2000, nullptr, 0,
        "exponent of the highlight; follows `mirror` when left out" },
    { "highlight_strength", &scene_material::highlight_strength, 0, 10, nullptr, 0,
        "strength of that highlight, 1" },
    { "highlight_color", &scene_material::highlight_color, 0, 1, nullptr, 0, "its colour, white" },
    { "mirror_color", &scene_material::mirror_color, 0, 1, nullptr, 0, "colour of mirrored light, white" },
    { "transparent_color", &scene_material::transparent_color, 0, 1, nullptr, 0,
        "colour of passing light; `color` when left out" },
    { "metal", &scene_material::metal, 0, 0, nullptr, 0, "mirrored light takes `color`, false" },
    { "glossy", &scene_material::glossy, 0, 0, nullptr, 0, "weak mirrors and frosted glass blur, true" },
    { "thin", &scene_material::thin, 0, 0, nullptr, 0, "as in `[[model]]`, which goes first" },
    { "id", &scene_material::id, 0, 65535, nullptr, 0, "value in the object-id picture, 0" },
    { "size", &scene_material::size, -far, far, nullptr, 0,
        "size of one repeat of the pattern, one number or three, metres, 1" },
    { "origin", &scene_material::origin, -far, far, nullptr, 0, "origin of the pattern's frame" },
    { "axis", &scene_material::axis, -far, far, nullptr, 0, "z axis of the pattern, `[0, 0, 1]`" },
    { "rotation_deg", &scene_material::rotation_deg, -36000, 36000, nullptr, 0, "turn about that axis, 0" },
    { "mapped", &scene_material::mapped, 0, 0, nullptr, 0,
        "the pattern runs on the model's `mapping`, not on places in the scene; false" },
    { "octaves", &scene_material::octaves, 1, 16, nullptr, 0, "layers of noise of marble, granite, wood, 3" },
    { "ratio", &scene_material::ratio, 0, 1, nullptr, 0,
        "share of `first`, along x and y; two cosines, the larger first, for `angular`; `[0.5, 0.5]`" },
    { "turbulence", &scene_material::turbulence, 0, 1000, nullptr, 0, "how far noise bends the bands, 0.5" },
    { "softness", &scene_material::softness, 0, 1, nullptr, 0, "width of the transition, 0 to 1, 0.2" },
    { "tile_offset", &scene_material::tile_offset, -far, far, nullptr, 0,
        "shift of each row of tiles in tiles, 0" },
    { "color_jitter", &scene_material::color_jitter, -1, 1, nullptr, 0,
        "how far the colour of single tiles strays, per channel" },
    { "coordinate_jitter", &scene_material::coordinate_jitter, -far, far, nullptr, 0,
        "how far the pattern inside single tiles is shifted" },
    { "mask", &scene_material::mask, 1, 4096, nullptr, 0, "the picture of a mask, beside the scene file" },
    { nullptr, &scene_material::color, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_image> image_rows[] = {
    { "file", &scene_image::file, 1, 4096, nullptr, 0,
        "the picture: bmp, tga, tif, jpg or png, beside the scene file" },
    { "size", &scene_image::size, -far, far, nullptr, 0, "width and height of one tile, `[1, 1]`" },
    { "origin", &scene_image::origin, -far, far, nullptr, 0, "where a tile begins" },
    { "axis", &scene_image::axis, -far, far, nullptr, 0, "`[0, 0, 1]`" },
    { "rotation_deg", &scene_image::rotation_deg, -36000, 36000, nullptr, 0, "turn of the picture, 0" },
    { "strength", &scene_image::strength, 0, 1, nullptr, 0, "how far it replaces what lies under it, 1" },
    { "bump", &scene_image::bump, -1000, 1000, nullptr, 0, "relief from its brightness, 0" },
    { "on_color", &scene_image::on_color, 0, 0, nullptr, 0, "acts on the colour, true" },
    { "on_mirror", &scene_image::on_mirror, 0, 0, nullptr, 0, "acts on the mirrored colour, false" },
    { "on_transparent", &scene_image::on_transparent, 0, 0, nullptr, 0,
        "acts on the colour of passing light, false" },
    { "on_shine", &scene_image::on_shine, 0, 0, nullptr, 0,
        "its brightness makes the surface mirror, false" },
    { "on_clear", &scene_image::on_clear, 0, 0, nullptr, 0, "its brightness makes the surface clear, false" },
    { "mirror_tiles", &scene_image::mirror_tiles, 0, 0, nullptr, 0, "every second tile is flipped, false" },
    { "blur", &scene_image::blur, 0, 0, blur_names, 0, "`none`" },
    { "key", &scene_image::key, 0, 0, key_names, 0, "what part of the picture is see-through, `none`" },
    { "key_color", &scene_image::key_color, 0, 1, nullptr, 0, "the see-through colour, black" },
    { "tolerance", &scene_image::tolerance, 0, 1, nullptr, 0, "how far from it a colour may lie, 0.1" },
    { "feather", &scene_image::feather, 0, 1, nullptr, 0, "softness of the key's edge, 0" },
    { "invert", &scene_image::invert, 0, 0, nullptr, 0, "the rest is see-through instead, false" },
    { "cut_out", &scene_image::cut_out, 0, 0, nullptr, 0,
        "see-through parts are holes in the surface, false; else the material shows there" },
    { nullptr, &scene_image::file, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_bump> bump_rows[] = {
    { "kind", &scene_bump::kind, 0, 0, bump_names, 1, "`rubble`" },
    { "size", &scene_bump::size, -far, far, nullptr, 0, "size of one grain, one number or three, metres, 1" },
    { "strength", &scene_bump::strength, -1000, 1000, nullptr, 0, "how far the surface tilts, 0.5" },
    { "origin", &scene_bump::origin, -far, far, nullptr, 0, "origin of the pattern's frame" },
    { "axis", &scene_bump::axis, -far, far, nullptr, 0, "its z axis, `[0, 0, 1]`" },
    { "rotation_deg", &scene_bump::rotation_deg, -36000, 36000, nullptr, 0, "turn about that axis, 0" },
    { nullptr, &scene_bump::kind, 0, 0, nullptr, 0, nullptr },
};

} // namespace

const section<scene_material> material_section{ "[materials.NAME]",
    "A material of the scene: simple, a pattern of two others, or a library's.", material_rows };
const section<scene_image> image_section{ "[[materials.NAME.image]]",
    "A picture on a simple material. At most 16 each.", image_rows };
const section<scene_bump> bump_section{ "[[materials.NAME.bump]]",
    "A tilt of a simple material's surface by a pattern. At most 16 each.", bump_rows };

} // namespace host
