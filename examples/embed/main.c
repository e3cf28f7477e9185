/* A program that renders a room of its own making to a BMP file: embed [FILE]. docs/embedding.md explains it
 * step by step. */
#include <stdio.h>
#include <string.h>

#include "zirconlite/zirconlite.h"

#ifndef ZIRCONLITE_RESOURCES
#define ZIRCONLITE_RESOURCES "/usr/local/share/zirconlite/"
#endif

/* Paths are UTF-16 in the library; those of this program are plain ASCII. */
static void widen(const char* text, char16_t* out, size_t capacity)
{
    size_t i = 0;
    for (; text[i] && i + 1 < capacity; ++i) { out[i] = (unsigned char)text[i]; }
    out[i] = 0;
}

static int fail(const char* step)
{
    fprintf(stderr, "embed: %s: %s\n", step, zr_last_error()->text);
    return 1;
}

static material_entry* add_material(document* scene, const char16_t* name, const float color[3], float mirror)
{
    material* made = zr_build_matte_material(color);
    if (!made) { return NULL; }
    simple_material* simple = (simple_material*)made;
    simple->diffuse_share = 1 - mirror; /* the rest is mirrored */
    zr_update_material_weights(made);
    for (int i = 0; i < 3; ++i) { simple->reflect_color[i] = 1; }
    return zr_add_material(scene, name, made); /* the scene owns it now */
}

/* A box is six polygons over eight corners. Seen from inside it is a room. */
static int32_t add_box(document* scene, material_entry* material, vector3 low, vector3 high)
{
    static const int32_t sides[6][4] = { { 0, 2, 3, 1 }, { 4, 5, 7, 6 }, { 0, 1, 5, 4 }, { 2, 6, 7, 3 },
        { 0, 4, 6, 2 }, { 1, 3, 7, 5 } };
    vector3 corners[8];
    mesh_polygon polygons[6];
    for (int i = 0; i < 8; ++i)
    {
        corners[i].x = i & 1 ? high.x : low.x;
        corners[i].y = i & 2 ? high.y : low.y;
        corners[i].z = i & 4 ? high.z : low.z;
    }
    for (int i = 0; i < 6; ++i) { polygons[i] = (mesh_polygon){ 4, sides[i] }; }
    const mesh_geometry shape = {
        .vertex_count = 8, .vertices = corners, .polygon_count = 6, .polygons = polygons
    };
    object_descriptor object = { .smooth_cosine = 1 }; /* flat faces */
    mesh_build build;
    zr_init_mesh_build(scene, &build);
    build.descriptor = &object;
    build.material = material;
    build.geometry = &shape;
    return zr_create_mesh(scene, &build);
}

static int32_t add_lamp(document* scene, vector3 position, float candela)
{
    const light source = { .type = LIGHT_SPHERICAL,
        .distribution = DISTRIBUTION_ISOTROPIC,
        .position = position,
        .normal = { 0, 0, -1 },
        .axis_u = { 1, 0, 0 },
        .axis_v = { 0, 1, 0 },
        .radius = 0.1,
        .falloff = 2,
        .brightness_unit = BRIGHTNESS_CANDELA,
        .candela = candela,
        .color_temperature = 3600,
        .filter = { 1, 1, 1 },
        .shadow_strength = 1,
        .shadow_samples = 4,
        .sample_jitter = 1,
        .fixture_scale = 1,
        .simple_brightness = 1 };
    light* made = zr_create_light(&source, scene->sun_sky);
    return made && zr_insert_light_source_ex(&scene->lights, made, scene) == 1;
}

static int32_t build_scene(document* scene)
{
    const float plaster[3] = { 0.7f, 0.68f, 0.62f }, lacquer[3] = { 0.6f, 0.05f, 0.04f };
    scene->world_to_model = scene->model_to_world = 1; /* this scene is in metres */
    scene->quality = 3;
    scene->aa_level = 0.9;
    scene->reflect_limit = scene->refract_limit = 2;
    scene->default_smooth_cosine = 1;
    scene->sky_scale = 1;
    scene->render_flags = RENDER_SOFT_SHADOWS;
    scene->gloss_samples = 3; /* materials are glossy unless they say otherwise */
    const int32_t built = add_box(scene, add_material(scene, u"plaster", plaster, 0),
                              (vector3){ -2, -2.5, 0 }, (vector3){ 2, 2, 2.6 }) &&
                          add_box(scene, add_material(scene, u"lacquer", lacquer, 0.3f),
                              (vector3){ -0.5, 0.2, 0.01 }, (vector3){ 0.5, 1, 1 }) &&
                          add_lamp(scene, (vector3){ 0.8, -0.8, 2.3 }, 120);
    scene->scene_area = scene->scene_objects.area_sum; /* for the light that walls give each other */
    return built && zr_build_voxel_grid(scene);
}

static int32_t set_camera(document* scene, const int32_t size[2])
{
    render_view* camera = &scene->views[0];
    zr_init_view(scene, camera, NULL);
    zr_init_view(scene, &scene->views[1], NULL);
    scene->current_view = 1;
    camera->position = (vector3){ 0, -2.3, 1.3 };
    camera->target = (vector3){ 0, 0, 1.3 };
    camera->right = (vector3){ 1, 0, 0 };
    camera->up = (vector3){ 0, 0, 1 };
    camera->back = (vector3){ 0, -1, 0 };
    camera->projection = PROJECTION_PERSPECTIVE;
    camera->lens_length = 24;
    camera->pixel_aspect = 1;
    zr_new_render_view(&scene->views[1], camera, size);
    return zr_init_projection(&scene->views[1]);
}

static int32_t save(document* scene, const char* path)
{
    bitmap_format file = { 0 };
    zr_init_bitmap_format(BITMAP_BMP, &file);
    widen(path, file.path, sizeof file.path / sizeof file.path[0]);
    file.image = &scene->views[1];
    file.width = (uint32_t)scene->views[1].width;
    file.height = (uint32_t)scene->views[1].height;
    return zr_write_raytrace_image(&file);
}

int main(int count, char** arguments)
{
    const char* path = count > 1 ? arguments[1] : "room.bmp";
    const int32_t size[2] = { 320, 240 };
    char16_t resources[ZR_PATH_CAPACITY];
    widen(ZIRCONLITE_RESOURCES, resources, ZR_PATH_CAPACITY);
    if (!zr_init_ex(resources, NULL, NULL, NULL, resources, resources, resources, 0))
    {
        return fail("start");
    }
    document* scene = zr_open_document();
    if (!scene || !build_scene(scene)) { return fail("scene"); }
    if (!set_camera(scene, size)) { return fail("camera"); }
    render_job job = { .document = scene, .view = &scene->views[1] };
    if (zr_raytrace(&job) != 1) { return fail("render"); }
    while (!zr_wait_for_render(scene, 200)) { printf("%2.0f%%\n", 100 * job.progress.fraction); }
    if (!(scene->render_state & RENDER_STATE_FINISHED)) { return fail("render"); }
    if (!save(scene, path)) { return fail(path); }
    zr_close_document(scene);
    zr_term();
    return 0;
}
