/// @file
/// The operations that every kind with a `mesh_attributes` record shares: flags, material, colour,
/// properties, mapping.
#pragma once

#include "zirconlite/geometry/scene_object.h"

namespace zr
{

void attributes_set_flags(mesh_attributes& attributes, uint32_t value, int32_t mode);
void attributes_add_property(mesh_attributes& attributes, property_node* node);
/// With a colour index it is the occasion to ask the host for its colour table.
void attributes_set_color(mesh_attributes& attributes, const uint8_t color[4]);
int32_t attributes_get_mapping(const mesh_attributes& attributes, mapping* mapping_out);

/// The material of the object's entry, or of the host's colour table by colour index, as the priority flags
/// say. Never null. Any thread.
material* effective_material(const mesh_attributes& attributes);

/// First property of `kind` on `object`, or the next one behind `after`; null when there is none or no
/// property slot.
property_node* find_property(const scene_object* object, int32_t kind, const property_node* after = nullptr);

/// The first property that names the group of `object`, of either kind; null without.
const property_node* group_property(const scene_object* object);

} // namespace zr
