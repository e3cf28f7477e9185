/// @file
/// A small room with a light source or several, built through the public functions alone: what tests of the
/// render job render. Its pictures take fractions of a second.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/error.h"
#include "zirconlite/jobs/render_job.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/meshes/mesh_build.h"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/picture/output.h"
#include "zirconlite/picture/projection.h"
#include "zirconlite/search/voxel_grid.h"

struct room_look
{
    float color[3] = { 0.6f, 0.6f, 0.6f };
    float mirror = 0; ///< share of the light that is mirrored
    float transparency = 0;
    float ior = 1;
    bool glossy = false;
    uint16_t id = 0;
};

inline material_entry* add_look(document* d, const char16_t* name, const room_look& look)
{
    material* made = zr_build_matte_material(look.color);
    auto* m = reinterpret_cast<simple_material*>(made);
    m->head.id = look.id;
    m->opacity = 1 - look.transparency;
    m->diffuse_share = 1 - look.mirror;
    m->translucent_share = look.glossy ? 0.5f : 0.0f;
    zr_update_material_weights(made);
    m->ior = look.ior;
    m->highlight = look.mirror * 300 + 1;
    for (int i = 0; i < 3; ++i)
    {
        m->reflect_color[i] = m->transparent_color[i] = 1;
        m->translucent_color[i] = look.color[i];
    }
    if (!look.glossy) { m->head.flags |= MATERIAL_SHARP_REFLECTION | MATERIAL_SHARP_TRANSMISSION; }
    return zr_add_material(d, name, made);
}

/// A box from `low` to `high`; a room is a box seen from inside. 0 when the library refuses it.
inline int32_t add_box(document* d, material_entry* look, const vector3& low, const vector3& high)
{
    std::vector<vector3> corners;
    for (int i = 0; i < 8; ++i)
    {
        corners.push_back({ i & 1 ? high.x : low.x, i & 2 ? high.y : low.y, i & 4 ? high.z : low.z });
    }
    const int32_t sides[6][4] = { { 0, 2, 3, 1 }, { 4, 5, 7, 6 }, { 0, 1, 5, 4 }, { 2, 6, 7, 3 },
        { 0, 4, 6, 2 }, { 1, 3, 7, 5 } };
    mesh_polygon polygons[6];
    for (int i = 0; i < 6; ++i) { polygons[i] = { 4, sides[i] }; }
    mesh_geometry geometry = {};
    geometry.vertex_count = 8;
    geometry.vertices = corners.data();
    geometry.polygon_count = 6;
    geometry.polygons = polygons;
    object_descriptor descriptor = {};
    descriptor.smooth_cosine = 1;
    mesh_build build;
    zr_init_mesh_build(d, &build);
    build.descriptor = &descriptor;
    build.material = look;
    build.geometry = &geometry;
    return zr_create_mesh(d, &build);
}

inline light point_source_at(const vector3& position, float candela)
{
    light l = {};
    l.type = LIGHT_SPHERICAL;
    l.distribution = DISTRIBUTION_ISOTROPIC;
    l.position = position;
    l.normal = { 0, 0, -1 };
    l.axis_u = { 1, 0, 0 };
    l.axis_v = { 0, 1, 0 };
    l.brightness_unit = BRIGHTNESS_CANDELA;
    l.candela = candela;
    l.color_temperature = 5000;
    for (float& channel : l.filter) { channel = 1; }
    l.falloff = 2;
    l.shadow_strength = 1;
    l.shadow_samples = 1;
    l.fixture_scale = l.simple_brightness = 1;
    return l;
}

inline int32_t add_light(document* d, const light& from)
{
    return zr_insert_light_source_ex(&d->lights, zr_create_light(&from, d->sun_sky), d);
}

/// View 1 at `width` x `height`, from the room's front to its middle.
inline int32_t set_room_view(document* d, int32_t width, int32_t height)
{
    render_view& from = d->views[0];
    zr_init_view(d, &from, nullptr);
    zr_init_view(d, &d->views[1], nullptr);
    d->current_view = 1;
    from.position = { 0, -1.9, 1.5 };
    from.target = { 0, 0, 1.5 };
    from.right = { 1, 0, 0 };
    from.up = { 0, 0, 1 };
    from.back = { 0, -1, 0 };
    from.projection = PROJECTION_PERSPECTIVE;
    from.lens_length = 20;
    from.near = -1;
    from.pixel_aspect = 1;
    const int32_t size[2] = { width, height };
    zr_new_render_view(&d->views[1], &from, size);
    return zr_init_projection(&d->views[1]);
}

inline void set_room_settings(document* d)
{
    d->world_to_model = d->model_to_world = 1;
    d->quality = 3;
    d->aa_level = 0.9;
    d->reflect_limit = d->refract_limit = 4;
    d->default_smooth_cosine = 1;
    d->environment.mode = d->reflected_environment.mode = ENVIRONMENT_FLAT;
}

/// A room of 4 x 4 x 3 metres with a block in it, one light source, the grid built and the view set.
inline document* open_room(int32_t width, int32_t height)
{
    document* d = zr_open_document();
    set_room_settings(d);
    EXPECT_EQ(add_box(d, add_look(d, u"walls", {}), { -2, -2, 0 }, { 2, 2, 3 }), 1);
    EXPECT_EQ(add_box(d, add_look(d, u"block", { { 0.8f, 0.2f, 0.1f }, 0.3f, 0, 1, false, 7 }),
                  { -0.5, 0.2, 0.6 }, { 0.5, 1.2, 1.4 }),
        1);
    EXPECT_EQ(add_light(d, point_source_at({ 0.6, -0.5, 2.5 }, 200)), 1);
    EXPECT_EQ(zr_build_voxel_grid(d), 1);
    EXPECT_EQ(set_room_view(d, width, height), 1);
    return d;
}

inline render_job job_of(document* d)
{
    render_job job = {};
    job.document = d;
    job.view = &d->views[1];
    return job;
}

/// Runs a job to its end; its `render_state`.
inline uint32_t render_to_end(render_job& job)
{
    EXPECT_EQ(zr_raytrace(&job), 1) << zr_last_error()->text;
    EXPECT_EQ(zr_wait_for_render(job.document, -1), 1);
    return job.document->render_state;
}
