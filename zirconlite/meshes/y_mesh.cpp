// Building of render meshes: polygons to triangles, shared smooth vertices, the precomputed ray test.
#include "zirconlite/meshes/y_mesh.hpp"

#include <cfloat>
#include <cmath>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/object_table.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/meshes/mesh_build.hpp"

using namespace zr;

namespace
{

/// The state of one zr_create_mesh call.
struct mesh_work
{
    document* owner;
    mesh_build& build;
    vertex_entry* table;
    const scene_object* head;
    mesh_attributes* attributes;
    property_node* face_table;
    uint32_t parts;
};

bool check_build(const mesh_build& build);
property_node* add_face_table(mesh_build& build, scene_object* head);
vertex_entry* new_vertex_table(mesh_build& build);
bool add_polygons(mesh_work& work);
bool add_polygon(mesh_work& work, int32_t number, size_t first_corner);
y_face* add_face(mesh_build& build, vertex_entry* table, const int32_t indices[3], const scene_object& head,
    mesh_attributes& attributes, bool keep_vertices, uint32_t parts);
y_vertex* smooth_vertex(mesh_build& build, vertex_entry& first, const float normal[3]);
bool take_normal(vertex_entry& entry, const float normal[3], double smooth_cosine);
void store(float out[3], const vector3& v);
void finish_ray_test(y_face& face, const vector3 p[3]);
uint32_t axes_word(const y_face& face);
uint32_t extreme_vertex(const y_face& face, int axis, double sign);
void edge_function(const vector3& from, const vector3& to, const vector3& apex, int a, int b, float out[2]);
vector3 widened(const float v[3]);
void copy_corner_uv(y_face& face, const mesh_geometry& geometry, const size_t corners[3], bool reversed);
bool link_face(mesh_work& work, y_face* face);

} // namespace

y_face* y_mesh_add_face(mesh_build* build, vertex_entry* vtx_table, const int32_t indices[3],
    const scene_object* head, mesh_attributes* attributes, int32_t keep_vertices)
{
    return y_mesh_add_face_ex(build, vtx_table, indices, head, attributes, keep_vertices, 0);
}

y_face* y_mesh_add_face_ex(mesh_build* build, vertex_entry* vtx_table, const int32_t indices[3],
    const scene_object* head, mesh_attributes* attributes, int32_t keep_vertices, int32_t extended)
{
    return add_face(*build, vtx_table, indices, *head, *attributes, keep_vertices != 0,
        extended ? uint32_t(Y_FACE_EXTENDED) : 0u);
}

void free_vtx_table(vertex_entry* vtx_table, int32_t count)
{
    if (!vtx_table) { return; }
    for (int32_t i = 0; i < count; ++i)
    {
        for (vertex_entry* entry = vtx_table[i].next; entry;)
        {
            vertex_entry* next = entry->next;
            zr_free(entry);
            entry = next;
        }
    }
    zr_free(vtx_table);
}

namespace zr
{

bool build_y_mesh(document* doc, mesh_build& build)
{
    if (!check_build(build)) { return false; }
    // Faces and the mesh's own head begin alike, so the operations of the table work on both.
    auto* head = static_cast<y_face*>(zr_new_initialized_object(build.objects, sizeof(y_face)));
    auto* attributes =
        static_cast<mesh_attributes*>(zr_new_initialized_object(build.objects, sizeof(mesh_attributes)));
    bool done = head && attributes;
    property_node* face_table = nullptr;
    if (done)
    {
        head->head.vft = &y_mesh_vft;
        head->attributes = attributes;
        done = apply_descriptor(build, &head->head);
        if (done && (build.build_flags & MESH_FACE_TABLE))
        {
            face_table = add_face_table(build, &head->head);
            done = face_table != nullptr;
        }
        if (build.descriptor->smooth_cosine == -1.0)
        {
            build.descriptor->smooth_cosine = doc->default_smooth_cosine;
        }
    }
    vertex_entry* table = done ? new_vertex_table(build) : nullptr;
    if (table)
    {
        const uint32_t parts = (build.geometry->corner_uv[0] ? uint32_t(Y_FACE_UV_0) : 0u) |
                               (build.geometry->corner_uv[1] ? uint32_t(Y_FACE_UV_1) : 0u) |
                               (build.build_flags & MESH_FACE_TABLE ? uint32_t(Y_FACE_EXTENDED) : 0u);
        mesh_work work = { doc, build, table, &head->head, attributes, face_table, parts };
        done = add_polygons(work);
        free_vtx_table(table, build.geometry->vertex_count);
    }
    if (!done || !table) { return report_failure(ZR_ERROR_MEMORY, "mesh: memory is exhausted"); }
    return true;
}

} // namespace zr

namespace
{

bool check_build(const mesh_build& build)
{
    if (!build.descriptor || !build.objects || !build.object_list_head)
    {
        return report_failure(ZR_ERROR_ARGUMENT, "mesh: descriptor, arena or object list is missing");
    }
    if ((build.build_flags & MESH_FACE_TABLE) && build.face_count < build.geometry->polygon_count)
    {
        return report_failure(ZR_ERROR_ARGUMENT, "mesh: face_count is below the number of polygons");
    }
    return true;
}

property_node* add_face_table(mesh_build& build, scene_object* head)
{
    auto* node = static_cast<property_node*>(zr_new_initialized_object(build.objects, sizeof(property_node)));
    const size_t bytes = sizeof(scene_object*) * size_t(build.face_count);
    // A table larger than a chunk does not fit the arena.
    auto* faces = bytes <= build.objects->chunk_size
                      ? static_cast<scene_object**>(zr_new_initialized_object(build.objects, bytes))
                      : nullptr;
    if (!node || !faces) { return nullptr; }
    node->kind = PROPERTY_FACES;
    node->payload.count = build.face_count;
    node->faces = faces;
    head->vft->add_property(head, node);
    head->vft->set_flags(head, OBJECT_FACE_TABLE, FLAGS_SET);
    return node;
}

/// One y_vertex per input vertex, and the table that leads to them. Null when memory fails.
vertex_entry* new_vertex_table(mesh_build& build)
{
    const mesh_geometry& g = *build.geometry;
    auto* table = static_cast<vertex_entry*>(zr_calloc(g.vertex_count, sizeof(vertex_entry)));
    for (int32_t i = 0; table && i < g.vertex_count; ++i)
    {
        auto* vertex = static_cast<y_vertex*>(zr_new_initialized_object(build.objects, sizeof(y_vertex)));
        if (!vertex)
        {
            free_vtx_table(table, i);
            return nullptr;
        }
        store(vertex->position, g.vertices[i]);
        table[i].vertex = vertex;
        if (build.bounds) { grow(*build.bounds, widened(vertex->position)); }
        if (build.counters) { ++build.counters->vertices; }
    }
    return table;
}

bool add_polygons(mesh_work& work)
{
    const mesh_geometry& g = *work.build.geometry;
    size_t corners = 0;
    for (int32_t i = 0; i < g.polygon_count; ++i)
    {
        if (!add_polygon(work, i, corners)) { return false; }
        corners += size_t(g.polygons[i].vertex_count);
    }
    return true;
}

/// Splits a polygon into a fan from its first corner. `first_corner` counts the corners of all polygons
/// before.
bool add_polygon(mesh_work& work, int32_t number, size_t first_corner)
{
    const mesh_polygon& polygon = work.build.geometry->polygons[number];
    const bool reversed = work.attributes->flags & OBJECT_REVERSED;
    for (int32_t i = 2; i < polygon.vertex_count; ++i)
    {
        const int32_t indices[3] = { polygon.indices[0], polygon.indices[i - 1], polygon.indices[i] };
        y_face* face =
            add_face(work.build, work.table, indices, *work.head, *work.attributes, false, work.parts);
        if (!face) { return false; }
        const size_t corners[3] = { first_corner, first_corner + i - 1, first_corner + i };
        copy_corner_uv(*face, *work.build.geometry, corners, reversed);
        if (!link_face(work, face)) { return false; }
        if (work.face_table && number < work.build.face_count)
        {
            work.face_table->faces[number] = &face->head;
        }
    }
    return true;
}

y_face* add_face(mesh_build& build, vertex_entry* table, const int32_t indices[3], const scene_object& head,
    mesh_attributes& attributes, bool keep_vertices, uint32_t parts)
{
    auto* face = static_cast<y_face*>(zr_new_initialized_object(build.objects, y_face_bytes(parts)));
    if (!face) { return nullptr; }
    face->head.next = head.next;
    face->head.vft = head.vft;
    face->attributes = &attributes;
    face->parts = parts;

    const bool reversed = head.vft->get_flags(&face->head) & OBJECT_REVERSED;
    const int32_t corner[3] = { indices[reversed ? 2 : 0], indices[1], indices[reversed ? 0 : 2] };
    vector3 p[3];
    for (int i = 0; i < 3; ++i) { p[i] = widened(table[corner[i]].vertex->position); }

    const vector3 n = cross(p[1] - p[0], p[2] - p[0]);
    const double doubled_area = length(n);
    store(face->normal, normalized(normalized(n)));
    face->area = float(doubled_area * 0.5);
    if (build.total_area) { *build.total_area += doubled_area * 0.5; }

    for (int i = 0; i < 3; ++i)
    {
        vertex_entry& entry = table[corner[i]];
        face->vertex[i] = keep_vertices ? entry.vertex : smooth_vertex(build, entry, face->normal);
        if (!face->vertex[i]) { return nullptr; }
    }
    finish_ray_test(*face, p);
    return face;
}

/// The variant of an input vertex that takes the face; a new one when none does. Null when memory fails.
y_vertex* smooth_vertex(mesh_build& build, vertex_entry& first, const float normal[3])
{
    vertex_entry* last = &first;
    for (vertex_entry* entry = &first; entry; entry = entry->next)
    {
        if (take_normal(*entry, normal, build.descriptor->smooth_cosine)) { return entry->vertex; }
        last = entry;
    }
    auto* entry = static_cast<vertex_entry*>(zr_calloc(1, sizeof(vertex_entry)));
    auto* vertex = static_cast<y_vertex*>(zr_new_object(build.objects, sizeof(y_vertex)));
    if (!entry || !vertex)
    {
        zr_free(entry);
        return nullptr;
    }
    *vertex = *first.vertex;
    for (int i = 0; i < 3; ++i) { vertex->normal[i] = normal[i]; }
    entry->vertex = vertex;
    entry->use_count = 1;
    last->next = entry;
    return vertex;
}

/// Lets the entry's vertex take the face's normal. False when it lies too far from the mean so far.
bool take_normal(vertex_entry& entry, const float normal[3], double smooth_cosine)
{
    y_vertex& vertex = *entry.vertex;
    if (entry.use_count == 0)
    {
        for (int i = 0; i < 3; ++i) { vertex.normal[i] = normal[i]; }
        entry.use_count = 1;
        return true;
    }
    const vector3 mean = widened(vertex.normal), added = widened(normal);
    if (dot(mean, added) < smooth_cosine) { return false; }
    const double w = double(entry.use_count) / (entry.use_count + 1.0);
    store(vertex.normal, normalized(mean * w + added * (1.0 - w)));
    ++entry.use_count;
    return true;
}

void store(float out[3], const vector3& v)
{
    out[0] = float(v.x);
    out[1] = float(v.y);
    out[2] = float(v.z);
}

void finish_ray_test(y_face& face, const vector3 p[3])
{
    face.head.kind_word = axes_word(face);
    const int a = int(face.head.kind_word >> 28), b = int(face.head.kind_word >> 24 & 0xf);
    float edge[2];
    edge_function(p[0], p[1], p[2], a, b, edge);
    face.edge_a_first = edge[0];
    face.edge_a_second = edge[1];
    edge_function(p[0], p[2], p[1], a, b, edge);
    face.edge_b_first = edge[0];
    face.edge_b_second = edge[1];
    face.plane_d = float(-dot(widened(face.normal), p[0]));
}

uint32_t axes_word(const y_face& face)
{
    const float nx = std::fabs(face.normal[0]), ny = std::fabs(face.normal[1]),
                nz = std::fabs(face.normal[2]);
    uint32_t first = 0, second = 1;
    if (nx > ny && nx > nz)
    {
        first = 1;
        second = 2;
    }
    else if (ny > nz) { second = 2; }

    uint32_t word = first << 28 | second << 24;
    for (int axis = 0; axis < 3; ++axis)
    {
        word |= extreme_vertex(face, axis, -1.0) << (4 * axis);
        word |= extreme_vertex(face, axis, 1.0) << (4 * axis + 12);
    }
    return word;
}

/// Which vertex has the largest (sign 1) or smallest (sign -1) coordinate; ties as the record says.
uint32_t extreme_vertex(const y_face& face, int axis, double sign)
{
    const double c0 = sign * face.vertex[0]->position[axis];
    const double c1 = sign * face.vertex[1]->position[axis];
    const double c2 = sign * face.vertex[2]->position[axis];
    if (c1 > c0 && c1 > c2) { return 1; }
    return c2 > c0 ? 2 : 0;
}

/// The linear function that is 0 at `apex` (when taken from it) and 1 on the line from `from` to `to`.
void edge_function(const vector3& from, const vector3& to, const vector3& apex, int a, int b, float out[2])
{
    double direction[2] = { component(to, b) - component(from, b), component(from, a) - component(to, a) };
    normalize_2d(direction);
    double h = direction[0] * (component(apex, a) - component(from, a)) +
               direction[1] * (component(apex, b) - component(from, b));
    double sign = 1.0;
    if (std::fabs(h) < geometry_zero)
    {
        h = geometry_zero;
        sign = -1.0;
    }
    else if (h > 0.0) { sign = -1.0; }
    out[0] = float(sign * direction[0] / std::fabs(h));
    out[1] = float(sign * direction[1] / std::fabs(h));
}

vector3 widened(const float v[3]) { return { v[0], v[1], v[2] }; }

void copy_corner_uv(y_face& face, const mesh_geometry& geometry, const size_t corners[3], bool reversed)
{
    for (int set = 0; set < 2; ++set)
    {
        float(*uv)[2] = y_face_corner_uv(&face, set);
        for (int i = 0; uv && i < 3; ++i)
        {
            const float* from = geometry.corner_uv[set][corners[reversed ? 2 - i : i]];
            uv[i][0] = from[0];
            uv[i][1] = from[1];
        }
    }
}

bool link_face(mesh_work& work, y_face* face)
{
    mesh_build& build = work.build;
    if (!number_object(work.owner, &face->head)) { return false; }
    face->head.next = *build.object_list_head;
    *build.object_list_head = &face->head;
    if (build.object_count) { ++*build.object_count; }
    if (build.counters)
    {
        ++build.counters->faces;
        ++build.counters->face_records;
    }
    return true;
}

} // namespace
