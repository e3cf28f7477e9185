// The operations of a render mesh's faces.
#include "zirconlite/meshes/y_mesh.hpp"

#include <cmath>

#include "zirconlite/geometry/ray.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/mapping.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/materials/opacity.hpp"
#include "zirconlite/materials/surface.h"
#include "zirconlite/meshes/face_hit.hpp"
#include "zirconlite/meshes/mesh_attributes.hpp"
#include "zirconlite/platform/processor.hpp"
#include "zirconlite/search/grid_insertion.hpp"

namespace zr
{

namespace
{

int32_t intersect(ray* r, scene_object* object, double t_low, double t_high);
void add_to_grid(voxel_node* node, scene_object* object);
void get_bounds(const scene_object* object, bounding_box* box);
void visit_triangles(scene_object* object, void*, void*, triangle_callback callback, void* extra);
int32_t get_vertex_uv(const scene_object* object, int32_t set, const double weights[3], float uv_out[2]);
int32_t intersect_many(
    ray* r, scene_object* const* table, const uint32_t* numbers, size_t count, double t_low, double t_high);
void get_triangle(const scene_object* object, triangle_coefficients* out);
void complete_hit(ray* r, scene_object* object);
int32_t is_opaque(const scene_object* object);
mesh_attributes& attributes_of(const scene_object* object);

} // namespace

const object_vft y_mesh_vft = {
    .type_id = OBJECT_Y_MESH,
    .get_flags = [](const scene_object* o) { return attributes_of(o).flags; },
    .get_material = [](const scene_object* o) { return effective_material(attributes_of(o)); },
    .get_color =
        [](const scene_object* o, uint8_t out[4])
    {
        for (int i = 0; i < 4; ++i) { out[i] = attributes_of(o).color[i]; }
    },
    .get_properties = [](const scene_object* o) { return attributes_of(o).properties; },
    .intersect = intersect,
    .add_to_grid = add_to_grid,
    .add_to_frustum = nullptr,
    .get_bounds = get_bounds,
    .slot_9 = nullptr,
    .visit_triangles = visit_triangles,
    .get_area = [](const scene_object* o) { return as_face(o)->area; },
    .get_mapping = [](const scene_object* o, mapping* out)
    { return attributes_get_mapping(attributes_of(o), out); },
    .get_surface = [](scene_object* o, ray* r, surface* out)
    { zr_resolve_surface(effective_material(attributes_of(o)), r, out); },
    .add_property = [](scene_object* o, property_node* node)
    { attributes_add_property(attributes_of(o), node); },
    .set_flags = [](scene_object* o, uint32_t value, int32_t mode)
    { attributes_set_flags(attributes_of(o), value, mode); },
    .set_material = [](scene_object* o, material_entry* entry) { attributes_of(o).material = entry; },
    .set_color = [](scene_object* o, const uint8_t in[4]) { attributes_set_color(attributes_of(o), in); },
    .set_mapping = [](scene_object* o, mapping* m) { attributes_of(o).mapping = m; },
    .sharp_edges = [](const scene_object*) { return int32_t(1); },
    .get_identity = [](const scene_object* o) -> const void* { return as_face(o)->attributes; },
    .update_for_view = nullptr,
    .get_vertex_uv = get_vertex_uv,
    .intersect_many = intersect_many,
    .get_triangle = get_triangle,
    .complete_hit = complete_hit,
    .is_opaque = is_opaque,
};

} // namespace zr

const object_vft* y_mesh_get_vft(void) { return &zr::y_mesh_vft; }

namespace zr
{

namespace
{

int32_t intersect(ray* r, scene_object* object, double t_low, double t_high)
{
    const tested_ray q = test_range(*r, t_low, t_high);
    double t;
    return hit_plane(*as_face(object), q, r->hit_t, t) && take_hit(*r, object, q, t);
}

void add_to_grid(voxel_node* node, scene_object* object)
{
    const y_face& face = *as_face(object);
    vector3 corners[3];
    for (int i = 0; i < 3; ++i)
    {
        const float* p = face.vertex[i]->position;
        corners[i] = { p[0], p[1], p[2] };
    }
    bounding_box box;
    get_bounds(object, &box);
    insert_polygon(node, object, 3, corners, box);
}

void get_bounds(const scene_object* object, bounding_box* box)
{
    const y_face& face = *as_face(object);
    const auto extreme = [&](int nibble, int axis)
    { return double(face.vertex[face.head.kind_word >> (4 * nibble) & 0xf]->position[axis]); };
    box->min = { extreme(0, 0), extreme(1, 1), extreme(2, 2) };
    box->max = { extreme(3, 0), extreme(4, 1), extreme(5, 2) };
}

void visit_triangles(scene_object* object, void*, void*, triangle_callback callback, void* extra)
{
    const y_face& face = *as_face(object);
    triangle_visit visit = {};
    visit.vertex_count = 3;
    for (int i = 0; i < 3; ++i)
    {
        const y_vertex& v = *face.vertex[i];
        visit.position[i] = { v.position[0], v.position[1], v.position[2] };
        visit.normal[i] = { v.normal[0], v.normal[1], v.normal[2] };
    }
    const material* m = object->vft->get_material(object);
    surface neutral;
    if (m && m->surface) { neutral = *m->surface; }
    else { zr_void_surface(&neutral); }
    for (int i = 0; i < 3; ++i)
    {
        visit.color[i] = neutral.color[i] * neutral.diffuse;
        visit.transparent_color[i] = neutral.transparent_color[i];
    }
    visit.opacity = float(luminance(neutral.transparent_color) * neutral.transparent);
    visit.extra = extra;
    callback(&visit, object);
}

int32_t get_vertex_uv(const scene_object* object, int32_t set, const double weights[3], float uv_out[2])
{
    if (set != 0 && set != 1) { return 0; }
    auto* face = const_cast<y_face*>(as_face(object));
    const float(*corner)[2] = y_face_corner_uv(face, set);
    double sum[2] = { 0.0, 0.0 };
    for (int i = 0; i < 3; ++i)
    {
        float uv[2];
        if (corner)
        {
            uv[0] = corner[i][0];
            uv[1] = corner[i][1];
        }
        else if (!zr_prim_uv_to_float(face->vertex[i]->uv[set], uv)) { return 0; }
        sum[0] += weights[i] * uv[0];
        sum[1] += weights[i] * uv[1];
    }
    uv_out[0] = float(sum[0]);
    uv_out[1] = float(sum[1]);
    return 1;
}

int32_t intersect_many(
    ray* r, scene_object* const* table, const uint32_t* numbers, size_t count, double t_low, double t_high)
{
    if (platform::has_avx2()) { return intersect_faces_avx2(r, table, numbers, count, t_low, t_high); }
    int32_t improved = 0;
    for (size_t i = 0; i < count; ++i)
    {
        scene_object* object = table[numbers[i]];
        improved |= object->vft->intersect(r, object, t_low, t_high);
    }
    return improved;
}

void get_triangle(const scene_object* object, triangle_coefficients* out)
{
    const y_face& face = *as_face(object);
    const auto a = int32_t(object->kind_word >> 28), b = int32_t(object->kind_word >> 24 & 0xf);
    const float *v1 = face.vertex[1]->position, *v2 = face.vertex[2]->position;
    *out = { { face.normal[0], face.normal[1], face.normal[2] }, face.plane_d,
        { face.edge_a_first, face.edge_a_second }, { face.edge_b_first, face.edge_b_second },
        { v1[a], v1[b] }, { v2[a], v2[b] }, { a, b } };
}

void complete_hit(ray* r, scene_object* object)
{
    store_hit(*r, object, { r->hit_t, r->element_coords[1], r->element_coords[0] });
}

/// Decals may cut holes into a face, so its material alone does not say.
int32_t is_opaque(const scene_object* object)
{
    const mesh_attributes& attributes = attributes_of(object);
    for (const property_node* p = attributes.properties; p; p = p->next)
    {
        if (p->kind == PROPERTY_DECALS || p->kind == PROPERTY_RPC_DECALS) { return 0; }
    }
    return is_always_opaque(effective_material(attributes));
}

mesh_attributes& attributes_of(const scene_object* object) { return *as_face(object)->attributes; }

} // namespace

} // namespace zr
