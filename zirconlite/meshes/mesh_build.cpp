#include "zirconlite/meshes/mesh_build.hpp"

#include <cfloat>
#include <cmath>
#include <initializer_list>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"

using namespace zr;

namespace
{

bool add_light_property(mesh_build& build, scene_object* head, int32_t kind, light* source);
bool add_luminous_property(mesh_build& build, scene_object* head);
double luminous_radiance(float brightness);
bool add_list_property(mesh_build& build, scene_object* head, int32_t kind, void* list);
property_node* new_property(mesh_build& build, int32_t kind);

} // namespace

int32_t zr_init_mesh_build(document* doc, mesh_build* build)
{
    *build = {};
    object_group& group = doc->scene_objects;
    build->object_list_head = &group.first;
    build->objects = group.memory;
    build->object_count = &group.totals[OBJECT_GROUP_COUNT];
    build->bounds = &doc->bounds;
    build->total_area = &group.area_sum;
    return 1;
}

int32_t zr_create_mesh(document* doc, mesh_build* build)
{
    const mesh_geometry* geometry = build->geometry;
    if (!geometry || geometry->vertex_count < 1)
    {
        report_failure(ZR_ERROR_ARGUMENT, "mesh: it has no vertices");
        return 0;
    }
    if (!check_geometry(*geometry)) { return 0; }
    const bool takes_part = doc->mode == MODE_RADIOSITY && build->descriptor &&
                            !(build->descriptor->flags & OBJECT_NOT_RADIOSITY);
    return takes_part && radiosity_mesh_builder ? radiosity_mesh_builder(doc, *build)
                                                : build_y_mesh(doc, *build);
}

int32_t zr_display_objects(document* doc, triangle_callback callback, void* extra)
{
    for (scene_object* list : { doc->scene_objects.first, doc->radiosity_objects.first })
    {
        for (scene_object* object = list; object; object = object->next)
        {
            if (!object->vft || !object->vft->visit_triangles) { continue; }
            object->vft->visit_triangles(object, nullptr, nullptr, callback, extra);
        }
    }
    return 1;
}

namespace zr
{

mesh_builder radiosity_mesh_builder = nullptr;

bool check_geometry(const mesh_geometry& geometry)
{
    if (!geometry.vertices || geometry.polygon_count < 0 || (geometry.polygon_count && !geometry.polygons))
    {
        return report_failure(ZR_ERROR_ARGUMENT, "mesh: vertices or polygons are missing");
    }
    for (int32_t i = 0; i < geometry.vertex_count; ++i)
    {
        const vector3& v = geometry.vertices[i];
        if (!(std::fabs(v.x) < FLT_MAX && std::fabs(v.y) < FLT_MAX && std::fabs(v.z) < FLT_MAX))
        {
            return report_failure(
                ZR_ERROR_ARGUMENT, "mesh: vertex %d has a coordinate that is no finite f32 value", i);
        }
    }
    for (int32_t p = 0; p < geometry.polygon_count; ++p)
    {
        const mesh_polygon& polygon = geometry.polygons[p];
        if (polygon.vertex_count < 0 || (polygon.vertex_count && !polygon.indices))
        {
            return report_failure(ZR_ERROR_ARGUMENT, "mesh: polygon %d has no indices", p);
        }
        for (int32_t c = 0; c < polygon.vertex_count; ++c)
        {
            if (polygon.indices[c] < 0 || polygon.indices[c] >= geometry.vertex_count)
            {
                return report_failure(ZR_ERROR_ARGUMENT,
                    "mesh: polygon %d names vertex %d; the mesh has vertices 0 to %d", p, polygon.indices[c],
                    geometry.vertex_count - 1);
            }
        }
    }
    return true;
}

bool apply_descriptor(mesh_build& build, scene_object* head)
{
    const object_descriptor& d = *build.descriptor;
    const object_vft& vft = *head->vft;
    vft.set_material(head, build.material);
    vft.set_mapping(head, d.mapping);
    vft.set_flags(head, d.flags, FLAGS_ASSIGN);

    bool done = true;
    if (d.flags & OBJECT_LIGHT_SHAPE)
    {
        done &= add_light_property(build, head, PROPERTY_LIGHT_SHAPE, build.light);
    }
    if (d.flags & OBJECT_PROPERTY_6)
    {
        done &= add_light_property(build, head, PROPERTY_GROUP, build.group_light);
    }
    if (d.flags & OBJECT_PROPERTY_8)
    {
        done &= add_light_property(build, head, PROPERTY_GLOW_FILTERED, build.group_light);
    }
    else if (d.flags & OBJECT_PROPERTY_7)
    {
        done &= add_light_property(build, head, PROPERTY_GLOW, build.group_light);
    }
    if (d.luminous) { done &= add_luminous_property(build, head); }
    done &= add_list_property(build, head, PROPERTY_DECALS, d.decals);
    done &= add_list_property(build, head, PROPERTY_RIPPLES, d.ripples);
    vft.set_color(head, build.color);
    return done;
}

} // namespace zr

namespace
{

bool add_light_property(mesh_build& build, scene_object* head, int32_t kind, light* source)
{
    property_node* node = new_property(build, kind);
    if (!node) { return false; }
    const object_descriptor& d = *build.descriptor;
    node->payload.light = source;
    node->factor = kind == PROPERTY_LIGHT_SHAPE ? 1.0f : d.brightness;
    if (kind == PROPERTY_GLOW_FILTERED)
    {
        for (int i = 0; i < 3; ++i) { node->filter[i] = d.luminous_color[i]; }
    }
    head->vft->add_property(head, node);
    return true;
}

bool add_luminous_property(mesh_build& build, scene_object* head)
{
    property_node* node = new_property(build, PROPERTY_LUMINOUS);
    if (!node) { return false; }
    const object_descriptor& d = *build.descriptor;
    const double radiance = luminous_radiance(d.brightness);
    for (int i = 0; i < 3; ++i)
    {
        node->radiance[i] = float(d.luminous_color[i] * radiance);
        node->color[i] = d.luminous_color[i] * d.brightness;
    }
    head->vft->add_property(head, node);
    return true;
}

/// Radiance that a `brightness` of 0 to 1 stands for: 0 to 30000, evenly in its logarithm.
double luminous_radiance(float brightness) { return std::pow(30001.0, double(brightness)) - 1.0; }

bool add_list_property(mesh_build& build, scene_object* head, int32_t kind, void* list)
{
    if (!list) { return true; }
    property_node* node = new_property(build, kind);
    if (!node) { return false; }
    node->payload.list = list;
    head->vft->add_property(head, node);
    return true;
}

property_node* new_property(mesh_build& build, int32_t kind)
{
    auto* node = static_cast<property_node*>(zr_new_initialized_object(build.objects, sizeof(property_node)));
    if (node) { node->kind = kind; }
    return node;
}

} // namespace
