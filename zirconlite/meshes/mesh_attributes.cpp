#include "zirconlite/meshes/mesh_attributes.hpp"

#include <algorithm>

#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/materials/mapping.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/materials/material_list.hpp"

namespace zr
{

void attributes_set_flags(mesh_attributes& attributes, uint32_t value, int32_t mode)
{
    if (mode == FLAGS_ASSIGN) { attributes.flags = value; }
    else if (mode == FLAGS_SET) { attributes.flags |= value; }
    else { attributes.flags &= ~value; }
}

void attributes_add_property(mesh_attributes& attributes, property_node* node)
{
    node->next = attributes.properties;
    attributes.properties = node;
}

void attributes_set_color(mesh_attributes& attributes, const uint8_t color[4])
{
    std::copy_n(color, 4, attributes.color);
    if (color[3] != 0) { host::ask_color_material_table(); }
}

int32_t attributes_get_mapping(const mesh_attributes& attributes, mapping* mapping_out)
{
    if (!attributes.mapping) { return 0; }
    *mapping_out = *attributes.mapping;
    return 1;
}

material* effective_material(const mesh_attributes& attributes)
{
    material_entry* own = attributes.material;
    const uint8_t index = attributes.color[3];
    auto* table = index != 0 ? static_cast<material_entry*>(host::color_material_table()) : nullptr;
    if (!table) { return entry_material(own); }

    material_entry* listed = &table[index];
    const bool table_first = attributes.flags & OBJECT_TABLE_MATERIAL;
    material_entry* first = table_first ? listed : own;
    material_entry* second = table_first ? own : listed;
    const auto has_priority = [](const material_entry* entry)
    { return entry && (entry->flags & MATERIAL_ENTRY_PRIORITY) != 0; };
    return entry_material(has_priority(first) && !has_priority(second) ? second : first);
}

property_node* find_property(const scene_object* object, int32_t kind, const property_node* after)
{
    if (!object->vft->get_properties) { return nullptr; }
    property_node* node = after ? after->next : object->vft->get_properties(object);
    while (node && node->kind != kind) { node = node->next; }
    return node;
}

const property_node* group_property(const scene_object* object)
{
    const property_node* p = object->vft->get_properties ? object->vft->get_properties(object) : nullptr;
    while (p && p->kind != PROPERTY_GROUP && p->kind != PROPERTY_GLOW) { p = p->next; }
    return p;
}

} // namespace zr
