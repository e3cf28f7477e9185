/// @file
/// The order matters: settings, then light sources, then meshes (some are the shapes of lights, and they make
/// the bounds), then the insertion of the lights (distant ones take their power from the bounds).
#include "host/build/build_scene.hpp"

#include "host/build/build_daylight.hpp"
#include "host/build/build_environment.hpp"
#include "host/build/build_light.hpp"
#include "host/build/build_material.hpp"
#include "host/build/camera_fit.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/models/model_materials.hpp"
#include "host/models/model_transform.hpp"
#include "host/pictures/picture_store.hpp"
#include "host/stop_signals.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"
#include "zirconlite/geometry/vector.h"
#include "zirconlite/materials/mapping.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/meshes/mesh_build.h"
#include "zirconlite/picture/projection.h"
#include "zirconlite/picture/tone.h"
#include "zirconlite/sampling/converging.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace host
{

namespace
{

void set_settings(const scene& s, document* d)
{
    const scene_render& r = s.render;
    d->mode = MODE_RAYTRACE;
    d->world_to_model = d->model_to_world = 1; // the host's scenes are in metres
    d->quality = r.quality;
    d->aa_level = r.antialiasing;
    d->pixel_jitter = r.pixel_jitter;
    d->reflect_limit = r.reflect_limit;
    d->refract_limit = r.refract_limit;
    d->sky_scale = r.ambient_scale;
    d->gloss_samples = r.gloss_samples;
    d->gloss_jitter = float(r.gloss_jitter);
    d->translucency_samples = r.translucency_samples;
    zr_set_sky_light_samples(d, r.sky_samples);
    zr_set_light_early_stop(d, r.early_stop);
    d->translucency_jitter = float(r.translucency_jitter);
    d->default_smooth_cosine = 1;
    zr_set_light_model(d, r.light_model);
    zr_set_pixel_sampler(d, r.sampler);
    zr_set_denoising(d, r.denoise);
    zr_set_indirect_light(d, r.indirect, r.bounce_limit, r.clamp_indirect.value_or(100));
    const sampling_limits limits = { r.noise, r.min_samples, r.max_samples, uint32_t(r.seed), r.seconds };
    if (!zr_set_sampling_limits(d, &limits))
    {
        throw failure(exit_bad_scene, s.file.string() + library_error());
    }

    d->render_flags = 0;
    if (r.soft_shadows) { d->render_flags |= RENDER_SOFT_SHADOWS; }
    if (!r.glossy_reflections) { d->render_flags |= RENDER_SHARP_REFLECTION; }
    if (!r.glossy_transmission) { d->render_flags |= RENDER_SHARP_TRANSMISSION; }
    if (r.fast) { d->render_flags |= RENDER_FAST; }
    if (!s.output.depth.empty()) { d->render_flags |= RENDER_DEPTH_PLANE; }
    if (!s.output.object_id.empty()) { d->render_flags |= RENDER_OBJECT_IDS; }
    if (s.camera.f_stop)
    {
        d->render_flags |= RENDER_DEPTH_OF_FIELD;
        d->lens_f_stop = *s.camera.f_stop;
    }
    if (!s.output.alpha.empty()) { d->environment_flags |= ENVIRONMENT_ALPHA; }
}

material_entry* add_material(document* d, const std::string& name, material* made)
{
    const std::u16string key = utf16_of(name);
    material_entry* entry = zr_add_material(d, key.c_str(), made);
    if (!entry)
    {
        throw failure(exit_render_failed, fmt::format("material \"{}\"{}", name, library_error()));
    }
    return entry;
}

/// A material in use: its entry, and what it asks of the meshes that have it.
struct used_material
{
    material_entry* entry = nullptr;
    std::optional<bool> thin;
    bool has_pictures = false; ///< of its model's, placed by vertex coordinates
    uint32_t uv_set = 0;
};

/// Whether anything in the material shines.
bool glows(const scene& s, const scene_material& m)
{
    if (m.luminosity > 0) { return true; }
    return m.kind != material_simple &&
           (glows(s, s.materials.at(m.first)) || glows(s, s.materials.at(m.second)));
}

/// A picture of the model at the end of a simple material's list.
mat_image* add_model_image(material* made, bitmap* picture, const model_texture& t)
{
    mat_image* image = zr_new_mat_image();
    if (!image) { throw failure(exit_render_failed, "out of memory for materials"); }
    mat_image** end = &reinterpret_cast<simple_material*>(made)->images;
    while (*end) { end = &(*end)->next; }
    *end = image;
    image->bitmap = picture;
    image->flags = t.mirror ? IMAGE_MIRROR_TILES : 0;
    for (int i = 0; i < 2; ++i)
    {
        const double scale = t.scale[size_t(i)] == 0 ? 1 : double(t.scale[size_t(i)]);
        image->size[i] = 1 / scale;
        image->origin[i] = -double(t.offset[size_t(i)]) / scale;
    }
    zr_update_mat_image(image);
    return image;
}

/// Materials are added when a mesh first asks for them: a model library of hundreds costs nothing.
struct material_store
{
    const scene& s;
    document* d;
    std::vector<std::string>& notes;
    std::map<std::string, used_material> by_name{};
    bool any_glows = false;

    const used_material& of_scene(const std::string& name)
    {
        used_material& u = by_name[name];
        if (u.entry) { return u; }
        const scene_material& m = s.materials.at(name);
        u = { add_material(d, name, build_material(s, m, notes)), m.thin };
        any_glows |= glows(s, m);
        return u;
    }

    void add_pictures(material* made, const std::filesystem::path& file, const model& m,
        const model_material& own, used_material& u)
    {
        const model_pictures pictures = load_model_pictures(file, m, own, notes);
        if (pictures.color)
        {
            mat_image* image = add_model_image(made, pictures.color, own.textures[texture_color]);
            image->flags |= IMAGE_ON_COLOR;
            if (pictures.has_alpha)
            {
                image->key->kind = KEY_ALPHA;
                image->key->flags = KEY_CUTS_OUT;
                u.thin = true;
                // Where a texel is partly clear, in the coarser levels most of all, the material shows below
                // it.
                simple_material& below = *reinterpret_cast<simple_material*>(made);
                for (int c = 0; c < 3; ++c)
                {
                    below.color[c] = below.translucent_color[c] =
                        float(linear_value(double(pictures.color->average[c])));
                }
            }
            u.uv_set = own.textures[texture_color].uv_set;
        }
        if (pictures.bump)
        {
            mat_image* image = add_model_image(made, pictures.bump, own.textures[texture_bump]);
            image->strength = 0;
            image->bump_strength = -own.textures[texture_bump].strength; // bright parts stand out
        }
        if (pictures.normal)
        {
            mat_image* image = add_model_image(made, pictures.normal, own.textures[texture_normal]);
            image->flags |= IMAGE_OF_NORMALS;
            image->strength = 0;
            image->bump_strength = own.textures[texture_normal].strength;
        }
        u.has_pictures = pictures.color || pictures.bump || pictures.normal;
    }

    const used_material& of_mesh(const scene_model& from, const model& m, uint32_t index)
    {
        const model_material& own = m.materials[index];
        const auto named = from.materials.find(own.name);
        const std::string& chosen = named != from.materials.end() ? named->second : from.material;
        if (!chosen.empty()) { return of_scene(chosen); }
        // A colon cannot start a name of the scene's materials as TOML writes them bare.
        const std::string key = fmt::format(":{}:{}:{}:{}", from.file, from.pictures, index, own.name);
        used_material& u = by_name[key];
        if (u.entry) { return u; }
        const scene_material read = material_from_model(own);
        u.thin = read.thin;
        material* made = build_material(s, read, notes);
        if (from.pictures) { add_pictures(made, beside_scene(s, from.file), m, own, u); }
        u.entry = add_material(d, key, made);
        any_glows |= read.luminosity > 0;
        return u;
    }
};

/// The mapping of a model's meshes; null for none. `built` keeps it.
mapping* mapping_of(const scene_model& from, const used_material& material, built_scene& built)
{
    const int kind = from.mapping >= 0       ? from.mapping
                     : material.has_pictures ? int(MAPPING_VERTEX)
                                             : MAPPING_NONE;
    if (kind == MAPPING_NONE) { return nullptr; }
    mapping& m = *built.mappings.emplace_back(std::make_unique<mapping>());
    m.kind = kind;
    const auto& a = from.mapping_axis;
    const double length = std::hypot(a[0], a[1], a[2]);
    const vector3 axis = { a[0] / length, a[1] / length, a[2] / length };
    const vector3 origin = { from.mapping_origin[0], from.mapping_origin[1], from.mapping_origin[2] };
    zr_build_matrix(&axis, &origin, -from.mapping_rotation_deg * radians, &m.transform);
    for (int i = 0; i < 3; ++i)
    {
        m.scale[i] = from.mapping_scale[size_t(i)];
        m.angular_scale[i] = 1;
    }
    // One turn, and the height or the arc from pole to pole, hold this many tiles.
    m.angular_scale[0] = from.mapping_repeats[0] / (2 * pi);
    if (kind == MAPPING_ANGULAR_CYLINDER) { m.angular_scale[2] = from.mapping_repeats[1]; }
    if (kind == MAPPING_ANGULAR_SPHERE) { m.angular_scale[1] = from.mapping_repeats[1] / pi; }
    return &m;
}

/// Where the mesh comes from, for messages.
std::string mesh_name(const scene_model& from, const model_mesh& mesh)
{
    return mesh.name.empty() ? from.file : fmt::format("{}: mesh \"{}\"", from.file, mesh.name);
}

void add_mesh(document* d, const scene_model& from, const transform& t, const model_mesh& mesh,
    const used_material& material, light* shape_of, built_scene& built)
{
    constexpr size_t most = size_t(std::numeric_limits<int32_t>::max());
    const size_t vertices = mesh.positions.size() / 3;
    if (vertices > most || mesh.corners.size() > most)
    {
        throw failure(exit_bad_scene, mesh_name(from, mesh) + ": too large");
    }
    std::vector<vector3> points(vertices);
    for (size_t i = 0; i < vertices; ++i)
    {
        points[i] = apply(t, mesh.positions[3 * i], mesh.positions[3 * i + 1], mesh.positions[3 * i + 2]);
        if (!(std::abs(points[i].x) <= model_far && std::abs(points[i].y) <= model_far &&
                std::abs(points[i].z) <= model_far))
        {
            throw failure(exit_bad_scene,
                fmt::format("{}: vertex {} lies beyond 1e9 metres in the scene", mesh_name(from, mesh), i));
        }
    }
    const std::vector<int32_t> corners(mesh.corners.begin(), mesh.corners.end());
    std::vector<mesh_polygon> polygons;
    size_t at = 0;
    for (const uint32_t count : mesh.corner_count)
    {
        polygons.push_back({ int32_t(count), &corners[at] });
        at += count;
        built.triangles += count - 2;
    }

    mesh_geometry geometry{};
    geometry.vertex_count = int32_t(vertices);
    geometry.vertices = points.data();
    geometry.polygon_count = int32_t(polygons.size());
    geometry.polygons = polygons.data();
    for (int set = 0; set < 2; ++set)
    {
        if (!mesh.uv[set].empty())
        {
            // The library's pictures take the first set.
            const int as = material.uv_set == 1 && !mesh.uv[1].empty() ? 1 - set : set;
            geometry.corner_uv[as] = reinterpret_cast<const float(*)[2]>(mesh.uv[set].data());
        }
    }

    object_descriptor descriptor{};
    descriptor.smooth_cosine =
        from.smooth_angle_deg ? std::cos(*from.smooth_angle_deg * radians) : mesh.smooth_cosine;
    // -1 means "the document's default" to the library; an angle of 180 degrees is just above it.
    descriptor.smooth_cosine = std::max(descriptor.smooth_cosine, -0.9999999);
    const bool is_thin = from.thin ? *from.thin : material.thin ? *material.thin : !mesh.is_closed;
    if (is_thin) { descriptor.flags |= OBJECT_THIN; }
    descriptor.mapping = mapping_of(from, material, built);
    if (!from.casts_shadow) { descriptor.flags |= OBJECT_NO_SHADOW | OBJECT_NO_SOLVER_SHADOW; }

    if (shape_of) { descriptor.flags |= OBJECT_LIGHT_SHAPE; }

    mesh_build build{};
    zr_init_mesh_build(d, &build);
    build.light = shape_of;
    build.descriptor = &descriptor;
    build.material = material.entry;
    build.geometry = &geometry;
    if (!zr_create_mesh(d, &build))
    {
        throw failure(exit_render_failed, mesh_name(from, mesh) + ": cannot be built" + library_error());
    }
}

/// import_model, with the place in the scene in front of what went wrong.
model import_for_scene(const scene& s, const scene_model& from, const import_request& request)
{
    try
    {
        return import_model(request);
    }
    catch (const failure& f)
    {
        if (stop_signal() || from.line == 0) { throw; } // a model alone has no scene to name
        throw failure(f.code, fmt::format("{}:{}: {}", s.file.string(), from.line, f.what()));
    }
}

void add_model(document* d, const scene& s, const scene_model& from, const import_limits& limits,
    material_store& materials, scene_lights& lights, built_scene& built)
{
    import_request request;
    request.file = beside_scene(s, from.file);
    request.metres_per_unit = from.unit.empty() ? 0 : metres_per_unit(from.unit).value_or(0);
    request.up = from.up.empty() ? 0 : from.up[0];
    request.limits = limits;
    const model m = import_for_scene(s, from, request);

    for (const auto& [name, chosen] : from.materials)
    {
        const bool known = std::any_of(m.materials.begin(), m.materials.end(),
            [&name = name](const model_material& own) { return own.name == name; });
        if (known) { continue; }
        std::vector<const char*> names;
        for (const model_material& own : m.materials) { names.push_back(own.name.c_str()); }
        names.push_back(nullptr);
        const char* near = nearest_name(name, names.data());
        throw failure(exit_bad_scene,
            fmt::format("{}:{}: the model {} has no material \"{}\"{}", s.file.string(), from.line, from.file,
                name, near ? fmt::format("; did you mean \"{}\"?", near) : ""));
    }
    for (const std::string& note : m.notes) { built.notes.push_back(fmt::format("{}: {}", from.file, note)); }
    if (m.dropped_polygons)
    {
        built.notes.push_back(fmt::format(
            "{}: {} points, lines or polygons without area left out", from.file, m.dropped_polygons));
    }
    const transform t = transform_of(from);
    light* const shape_of = lights.named(from.light);
    const double area_before = d->scene_objects.area_sum;
    for (const model_mesh& mesh : m.meshes)
    {
        end_if_stopped("the build of the scene");
        add_mesh(d, from, t, mesh, materials.of_mesh(from, m, mesh.material), shape_of, built);
    }
    if (shape_of) { lights.add_area(from.light, d->scene_objects.area_sum - area_before); }
}

/// The camera's axes; a view straight along `up` takes north, or east, for the picture's top.
void set_axes(const scene_camera& c, render_view& v)
{
    const vec3 &eye = *c.eye, &target = *c.target;
    v.position = { eye[0], eye[1], eye[2] };
    v.target = { target[0], target[1], target[2] };
    v.back = unit({ eye[0] - target[0], eye[1] - target[1], eye[2] - target[2] });
    const vector3 given = unit({ c.up[0], c.up[1], c.up[2] });
    for (const vector3& up : { given, vector3{ 0, 1, 0 }, vector3{ 1, 0, 0 } })
    {
        const vector3 right = cross(up, v.back);
        if (right.x * right.x + right.y * right.y + right.z * right.z < 1e-12) { continue; }
        v.right = unit(right);
        v.up = cross(v.back, v.right);
        return;
    }
}

/// A ground at the very foot would share the floors' plane.
double height_below(const bounding_box& box)
{
    const double size = std::max({ box.max.x - box.min.x, box.max.y - box.min.y, box.max.z - box.min.z });
    return box.min.z - std::max(1e-4 * size, 1e-6);
}

/// Completes the camera: fits it to the models when it has no eye, and focuses on the target.
void place_camera(const scene& s, document* d, scene_camera& c)
{
    const auto& frame = c.sub_frame.value_or(std::array<double, 4>{ 0, 0, 1, 1 });
    const double width = s.render.size[0] / (frame[2] - frame[0]),
                 height = s.render.size[1] / (frame[3] - frame[1]);
    if (!c.eye) { fit_camera(c, d->bounds, width / height); }
    if (!c.target) { c.target = default_target; }
    double distance = 0;
    for (size_t i = 0; i < 3; ++i) { distance += std::pow((*c.target)[i] - (*c.eye)[i], 2); }
    d->focus_distance = c.focus_distance.value_or(std::sqrt(distance));
}

} // namespace

built_scene build_scene(const scene& s, document* d, const import_limits& limits)
{
    built_scene built;
    set_settings(s, d);
    set_daylight(s.sun, d);
    set_environment(s, d, built.hdr_views, built.notes);
    material_store materials{ s, d, built.notes };
    if (!s.ground.material.empty()) { materials.of_scene(s.ground.material); }
    scene_lights lights(s, d);
    for (const scene_model& m : s.models) { add_model(d, s, m, limits, materials, lights, built); }
    lights.add_shapes([&](const std::string& name) { return materials.of_scene(name).entry; });
    built.camera = s.camera;
    place_camera(s, d, built.camera);
    if (s.ground.below_models) { d->ground_height = height_below(d->bounds); }
    d->scene_area = s.render.ambient ? d->scene_objects.area_sum : 0;
    lights.insert();
    const bool surrounded = !s.environment_map.file.empty() || s.background.luminance.value_or(0) > 0;
    if (!s.models.empty() && s.lights.empty() && !s.sun.is_on && !surrounded && !materials.any_glows)
    {
        throw failure(exit_bad_scene,
            fmt::format("{}: there is no light source in the scene; it needs a [[light]], a [sun] or a "
                        "material with luminosity",
                s.file.string()));
    }
    return built;
}

void set_film(render_view& view, const scene_tone& tone)
{
    const double ev =
        tone.shutter ? zr_exposure_value(tone.f_stop, *tone.shutter, tone.film_speed) : tone.ev.value_or(0);
    zr_set_film_exposure(&view, tone.shutter || tone.ev, ev);
    float white[3];
    if (tone.white_kelvin) { CT_to_RGB(float(*tone.white_kelvin), white); }
    zr_set_film_white(&view, tone.white_automatic, tone.white_kelvin ? white : nullptr);
}

void set_exposure(render_view& view, const scene_tone& tone)
{
    view.tone_method = tone.method;
    view.brightness = float(tone.brightness);
    view.contrast = float(tone.contrast);
    view.source_gain = float(tone.source_gain);
    set_film(view, tone);
}

void build_view(const scene& s, document* d, built_scene& built)
{
    const scene_camera& c = built.camera;
    render_view& from = d->views[0];
    render_view& v = d->views[1];
    d->current_view = 1;
    zr_init_view(d, &from, nullptr);
    zr_init_view(d, &v, nullptr);
    set_exposure(from, s.tone);
    set_axes(c, from);
    from.projection = c.projection;
    from.lens_length = c.fov_deg ? zr_FOVtoMM(*c.fov_deg * radians) : c.lens_mm.value_or(28);
    from.near = c.near_distance;
    from.pano_angle = c.pano_angle_deg * radians;
    from.pano_fov = c.pano_fov_deg * radians;
    from.pixel_aspect = 1;
    for (const clip_plane& p : c.clip_planes) { built.clip_planes.push_back({ p[0], p[1], p[2], p[3] }); }
    from.clip_plane_count = int32_t(built.clip_planes.size());
    from.clip_planes = built.clip_planes.data();
    const int32_t size[2] = { s.render.size[0], s.render.size[1] };
    if (c.sub_frame)
    {
        const auto& f = *c.sub_frame; // from above; the record counts from below
        from.frame_low[0] = float(f[0]);
        from.frame_low[1] = float(1 - f[3]);
        from.frame_high[0] = float(f[2]);
        from.frame_high[1] = float(1 - f[1]);
        from.frame_aspect = float((size[1] / (f[3] - f[1])) / (size[0] / (f[2] - f[0])));
    }
    zr_new_render_view(&v, &from, size);
    // A new view is never parallel, and its size comes before its projection.
    v.projection = c.projection;
    if (c.projection == PROJECTION_PARALLEL)
    {
        v.image_width = *c.parallel_width;
        v.image_height = c.parallel_height.value_or(*c.parallel_width * size[1] / size[0]);
    }
    if (!zr_init_projection(&v))
    {
        throw failure(exit_render_failed, "the camera cannot be projected" + library_error());
    }
}

} // namespace host
