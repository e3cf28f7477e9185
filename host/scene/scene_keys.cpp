/// @file
/// All sections and keys of a scene file. A new key is a new row here and a field in scene.hpp.
#include "host/scene/scene_keys.hpp"

namespace host
{

const char* const projection_names[7] = { "parallel", "perspective", "two-point", "cylindrical", "spherical",
    "light-probe", nullptr };
const char* const light_model_names[3] = { "fast", "exact", nullptr };
const char* const indirect_names[] = { "ambient", "paths", "cache", nullptr };
const char* const sampler_names[] = { "strips", "converging", nullptr };
const char* const search_names[3] = { "grid", "tree", nullptr };
const char* const tone_method_names[4] = { "power", "histogram", "film", nullptr };
namespace
{

constexpr double far = 1e9; // the largest coordinate in metres
constexpr double tiny = 1e-9;

const key_row<scene_camera> camera_rows[] = {
    { "eye", &scene_camera::eye, -far, far, nullptr, 0,
        "where the camera is, metres; fitted to the models when left out" },
    { "target", &scene_camera::target, -far, far, nullptr, 0,
        "the point in the middle of the picture, `[0, 0, 1.6]`; the middle of the models where the eye is "
        "fitted" },
    { "view", &scene_camera::view, 0, 0, view_names, 0,
        "the side from which a camera without `eye` looks: `front` from the south (-y), `three-quarter`" },
    { "up", &scene_camera::up, -far, far, nullptr, 0, "direction that is up in the picture, `[0, 0, 1]`" },
    { "projection", &scene_camera::projection, 0, 0, projection_names, 1, "kind of picture, `perspective`" },
    { "lens_mm", &scene_camera::lens_mm, 1, 10000, nullptr, 0,
        "focal length on a film 36 mm wide, 28 unless `fov_deg` is given" },
    { "fov_deg", &scene_camera::fov_deg, 0.1, 170, nullptr, 0,
        "horizontal angle of view, in place of `lens_mm`" },
    { "near", &scene_camera::near_distance, -1, far, nullptr, 0,
        "nothing nearer than this is seen, metres; -1 for none" },
    { "clip_planes", &scene_camera::clip_planes, -far, far, nullptr, 0,
        "planes `[a, b, c, d]`; the side where ax + by + cz + d is negative is cut away; at most 16" },
    { "parallel_width", &scene_camera::parallel_width, tiny, far, nullptr, 0,
        "width of a parallel picture, metres; fitted to the models like the eye" },
    { "parallel_height", &scene_camera::parallel_height, tiny, far, nullptr, 0,
        "its height; follows from the picture's shape when left out" },
    { "pano_angle_deg", &scene_camera::pano_angle_deg, 1, 360, nullptr, 0,
        "width of a cylindrical picture as an angle, 360" },
    { "pano_fov_deg", &scene_camera::pano_fov_deg, 1, 170, nullptr, 0, "its vertical angle, 90" },
    { "f_stop", &scene_camera::f_stop, 0.1, 1000, nullptr, 0,
        "aperture; gives depth of field, from quality 3 on" },
    { "focus_distance", &scene_camera::focus_distance, 1e-3, far, nullptr, 0,
        "distance that is sharp, metres; the target's when left out" },
    { "sub_frame", &scene_camera::sub_frame, 0, 1, nullptr, 0,
        "left, top, right, bottom as parts of the whole frame: renders that part at the full size" },
    { nullptr, &scene_camera::view, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_render> render_rows[] = {
    { "size", &scene_render::size, 1, 16384, nullptr, 0, "width and height in pixels, `[960, 640]`" },
    { "threads", &scene_render::threads, 0, 8, nullptr, 0, "workers, 1 to 8; 0 for one a processor" },
    { "quality", &scene_render::quality, 1, 5, nullptr, 0, "1 draft to 5 finest, 3" },
    { "antialiasing", &scene_render::antialiasing, 0, 1, nullptr, 0,
        "0 to 1: how small a difference between neighbours is still refined, 0.9" },
    { "light_model", &scene_render::light_model, 0, 0, light_model_names, 0, "`exact` or `fast`, `exact`" },
    { "search", &scene_render::search, 0, 0, search_names, 0,
        "structure that finds the hits of rays, the same picture from both, `tree`" },
    { "sampler", &scene_render::sampler, 0, 0, sampler_names, 0,
        "`converging` adds samples until the error is small, `strips` has a fixed pattern; the fast light "
        "model has strips alone, `converging`" },
    { "indirect", &scene_render::indirect, 0, 0, indirect_names, 0,
        "indirect light, with the converging sampler: `cache` keeps it in the scene before the picture, "
        "`paths` "
        "follow each bounce, `ambient` is an even light that stands in for them, `cache`" },
    { "denoise", &scene_render::denoise, 0, 0, nullptr, 0,
        "take the grain out of the picture; .hdr pictures keep it, false" },
    { "bounce_limit", &scene_render::bounce_limit, 1, 64, nullptr, 0, "diffuse surfaces in a row, 8" },
    { "clamp_indirect", &scene_render::clamp_indirect, 0, 1e6, nullptr, 0,
        "most indirect light of a sample, in mean luminances of the picture; 0 never; "
        "100, in .hdr pictures 0" },
    { "noise", &scene_render::noise, 0.01, 255, nullptr, 0,
        "error that may be left in a pixel as shown, in steps of 255, 2" },
    { "min_samples", &scene_render::min_samples, 1, 1048576, nullptr, 0,
        "samples of each pixel at least, 16" },
    { "max_samples", &scene_render::max_samples, 1, 1048576, nullptr, 0, "and at most, 1024" },
    { "seconds", &scene_render::seconds, 0, 3e7, nullptr, 0, "that the sampling may take; 0 no limit, 0" },
    { "seed", &scene_render::seed, 0, 2147483647, nullptr, 0, "another one gives other grain, 0" },
    { "reflect_limit", &scene_render::reflect_limit, 0, 40, nullptr, 0, "reflections in a row, 6" },
    { "refract_limit", &scene_render::refract_limit, 0, 40, nullptr, 0,
        "surfaces of glass in a row, 8; both together at most 41" },
    { "soft_shadows", &scene_render::soft_shadows, 0, 0, nullptr, 0, "light sources have a size, true" },
    { "glossy_reflections", &scene_render::glossy_reflections, 0, 0, nullptr, 0, "weak mirrors blur, true" },
    { "glossy_transmission", &scene_render::glossy_transmission, 0, 0, nullptr, 0,
        "frosted glass blurs, true" },
    { "gloss_samples", &scene_render::gloss_samples, 1, 256, nullptr, 0, "rays of a blurred reflection, 4" },
    { "translucency_samples", &scene_render::translucency_samples, 1, 256, nullptr, 0,
        "rays through frosted glass, 4" },
    { "gloss_jitter", &scene_render::gloss_jitter, 0, 1, nullptr, 0,
        "spread of a blurred reflection, 0.0625" },
    { "translucency_jitter", &scene_render::translucency_jitter, 0, 1, nullptr, 0,
        "spread through frosted glass, 0.0625" },
    { "pixel_jitter", &scene_render::pixel_jitter, 0, 1, nullptr, 0,
        "noise of sample places in pixels, 0.25" },
    { "ambient", &scene_render::ambient, 0, 0, nullptr, 0,
        "an even light stands in for what walls reflect, true" },
    { "early_stop", &scene_render::early_stop, 0, 0, nullptr, 0,
        "of many lights test the strongest and some of the rest at each point, with the exact light model "
        "and the "
        "strips sampler, false" },
    { "sky_samples", &scene_render::sky_samples, 0, 4096, nullptr, 0,
        "rays a point to sky and environment in the exact light model, 16; 0 takes their light away" },
    { "ambient_scale", &scene_render::ambient_scale, 0, 10, nullptr, 0,
        "strength of that light in the fast light model, 0.8" },
    { "fast", &scene_render::fast, 0, 0, nullptr, 0, "stop after the coarse passes, false" },
    { "region", &scene_render::region, 0, 16384, nullptr, 0,
        "left, top, width, height in pixels from the top left: renders only this" },
    { "calibration", &scene_render::calibration, 0, 0, nullptr, 0,
        "measure the exposure and make no picture, false" },
    { "skip_preprocess", &scene_render::skip_preprocess, 0, 0, nullptr, 0,
        "measure the exposure by probe rays in place of the first pass, false" },
    { nullptr, &scene_render::size, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_tone> tone_rows[] = {
    { "method", &scene_tone::method, 0, 0, tone_method_names, 0, "`film`, `histogram` or `power`, `film`" },
    { "brightness", &scene_tone::brightness, -5, 5, nullptr, 0, "-5 to 5 in powers of ten of light, 0" },
    { "contrast", &scene_tone::contrast, 0.001, 0.999, nullptr, 0, "0.001 to 0.999, 0.5" },
    { "source_gain", &scene_tone::source_gain, 0, 4, nullptr, 0,
        "gain of light sources that are seen directly, 1" },
    { "ev", &scene_tone::ev, -10, 24, nullptr, 0,
        "film: a fixed exposure value at ISO 100; by the picture's mean when left out" },
    { "shutter", &scene_tone::shutter, 1e-6, 3600, nullptr, 0,
        "film: exposure time in seconds; fixes the exposure with `f_stop` and `film_speed`" },
    { "f_stop", &scene_tone::f_stop, 0.5, 128, nullptr, 0, "film: aperture of that exposure, 8" },
    { "film_speed", &scene_tone::film_speed, 1, 409600, nullptr, 0, "film: ISO speed of that exposure, 100" },
    { "white_kelvin", &scene_tone::white_kelvin, 1000, 40000, nullptr, 0,
        "film: temperature of the light that is shown as white; 5000 when left out" },
    { "white_automatic", &scene_tone::white_automatic, 0, 0, nullptr, 0,
        "film: take half of the picture's mean colour away, false" },
    { nullptr, &scene_tone::method, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_output> output_rows[] = {
    { "file", &scene_output::file, 1, 4096, nullptr, 0,
        "the picture: png, bmp, tga, tif, jpg, or hdr, which keeps the light; the scene's name with `.png` "
        "when "
        "left out" },
    { "alpha", &scene_output::alpha, 1, 4096, nullptr, 0, "PNG of the share of objects in each pixel" },
    { "depth", &scene_output::depth, 1, 4096, nullptr, 0,
        "PNG of distances, 16 bit grey, near is dark; the range is printed; from quality 3 on" },
    { "depth_near", &scene_output::depth_near, 0, far, nullptr, 0,
        "distance that is black, metres; that of the nearest object when left out" },
    { "depth_far", &scene_output::depth_far, 0, far, nullptr, 0,
        "distance that is white, metres; that of the farthest object when left out" },
    { "object_id", &scene_output::object_id, 1, 4096, nullptr, 0,
        "PNG of the materials' `id`, 16 bit grey; from quality 3 on" },
    { nullptr, &scene_output::file, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_variant> variant_rows[] = {
    { "file", &scene_variant::file, 1, 4096, nullptr, 0, "the picture, in any of the formats" },
    { "method", &scene_variant::method, 0, 0, tone_method_names, 0,
        "as in `[tone]`, whose values it starts from" },
    { "brightness", &scene_variant::brightness, -5, 5, nullptr, 0, "as in `[tone]`" },
    { "contrast", &scene_variant::contrast, 0.001, 0.999, nullptr, 0, "as in `[tone]`" },
    { "source_gain", &scene_variant::source_gain, 0, 4, nullptr, 0, "as in `[tone]`" },
    { nullptr, &scene_variant::file, 0, 0, nullptr, 0, nullptr },
};

const key_row<scene_model> model_rows[] = {
    { "file", &scene_model::file, 1, 4096, nullptr, 0,
        "OBJ, glTF, GLB, PLY, COLLADA, STL, 3DS, IFC or another format of the importer" },
    { "unit", &scene_model::unit, 1, 32, nullptr, 0,
        "`m`, `cm`, `mm`, `km`, `in`, `ft`, `yd`, or metres per unit as a text; the format's own when left "
        "out" },
    { "up", &scene_model::up, 1, 1, nullptr, 0, "`x`, `y` or `z`; the format's own when left out" },
    { "scale", &scene_model::scale, -1e6, 1e6, nullptr, 0, "one factor or three, 1" },
    { "rotate", &scene_model::rotate, -36000, 36000, nullptr, 0,
        "degrees about x, then y, then z, after `scale`" },
    { "translate", &scene_model::translate, -far, far, nullptr, 0, "metres, after `rotate`" },
    { "matrix", &scene_model::matrix, -far, far, nullptr, 0,
        "16 numbers by rows in place of the three above; the last row is 0, 0, 0, 1" },
    { "material", &scene_model::material, 1, 256, nullptr, 0, "a material of the scene for the whole model" },
    { "materials", &scene_model::materials, 1, 256, nullptr, 0,
        "`{ \"the model's name\" = \"the scene's\" }` for single materials" },
    { "smooth_angle_deg", &scene_model::smooth_angle_deg, 0, 180, nullptr, 0,
        "faces that meet at less are shaded smoothly; from the model's normals when left out" },
    { "thin", &scene_model::thin, 0, 0, nullptr, 0,
        "glass of a sheet (true) or a solid (false); open meshes are sheets when left out" },
    { "casts_shadow", &scene_model::casts_shadow, 0, 0, nullptr, 0, "true" },
    { "light", &scene_model::light, 1, 255, nullptr, 0,
        "name of the light whose shape this is: it glows with that light's luminance, and casts no shadow of "
        "it" },
    { "pictures", &scene_model::pictures, 0, 0, nullptr, 0,
        "the pictures that the model's own materials name show, true" },
    { "mapping", &scene_model::mapping, 0, 0, mapping_names, 0,
        "how places get pattern coordinates; `vertex` takes the model's own; `none` when left out" },
    { "mapping_origin", &scene_model::mapping_origin, -far, far, nullptr, 0,
        "origin of the mapping's frame in the scene, metres" },
    { "mapping_axis", &scene_model::mapping_axis, -far, far, nullptr, 0, "its z axis, `[0, 0, 1]`" },
    { "mapping_rotation_deg", &scene_model::mapping_rotation_deg, -36000, 36000, nullptr, 0,
        "its turn about that axis, 0" },
    { "mapping_scale", &scene_model::mapping_scale, -1e6, 1e6, nullptr, 0,
        "factors on the coordinates, one or three, 1" },
    { "mapping_repeats", &scene_model::mapping_repeats, -1e6, 1e6, nullptr, 0,
        "angular kinds: tiles round the object, and along it or from pole to pole, `[1, 1]`" },
    { nullptr, &scene_model::file, 0, 0, nullptr, 0, nullptr },
};

} // namespace

const section<scene_camera> camera_section{ "[camera]",
    "The camera. It looks at the models from their front right when left out.", camera_rows };
const section<scene_render> render_section{ "[render]", "How the picture is made.", render_rows };
const section<scene_tone> tone_section{ "[tone]", "From light to screen.", tone_rows };
const section<scene_output> output_section{ "[output]", "The pictures, beside the scene file.", output_rows };
const section<scene_variant> variant_section{ "[[variant]]",
    "One more picture of the same render, at another exposure. At most 64.", variant_rows };
const section<scene_model> model_section{ "[[model]]", "A model file, put into the scene. At most 4096.",
    model_rows };

} // namespace host
