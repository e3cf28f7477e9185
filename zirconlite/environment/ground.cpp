#include "zirconlite/environment/ground.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/material.h"
#include "zirconlite/materials/material_list.hpp"
#include "zirconlite/materials/surface.h"
#include "zirconlite/meshes/mesh_attributes.hpp"
#include "zirconlite/platform/text.hpp"

namespace zr
{

namespace
{

struct ground_object
{
    scene_object head;
    uint32_t flags;
    struct material_entry* material_entry;
    double ground_z; ///< model units
};

material* get_material(const scene_object* o);
int32_t intersect(ray* r, scene_object* o, double low, double high);
ground_object& ground_of(scene_object* o);
const ground_object& ground_of(const scene_object* o);

const object_vft operations = {
    .type_id = OBJECT_GROUND,
    .get_flags = [](const scene_object* o) { return ground_of(o).flags; },
    .get_material = get_material,
    .get_color = nullptr,
    .get_properties = [](const scene_object*) -> property_node* { return nullptr; },
    .intersect = intersect,
    .add_to_grid = nullptr,
    .add_to_frustum = nullptr,
    .get_bounds = nullptr,
    .slot_9 = nullptr,
    .visit_triangles = nullptr,
    .get_area = nullptr,
    .get_mapping = [](const scene_object*, mapping*) { return int32_t(0); },
    .get_surface = [](scene_object* o, ray* r, surface* out) { zr_resolve_surface(get_material(o), r, out); },
    .add_property = nullptr,
    .set_flags =
        [](scene_object* o, uint32_t value, int32_t mode)
    {
        mesh_attributes own = {};
        own.flags = ground_of(o).flags;
        attributes_set_flags(own, value, mode);
        ground_of(o).flags = own.flags;
    },
    .set_material = [](scene_object* o, material_entry* entry) { ground_of(o).material_entry = entry; },
    .set_color = nullptr,
    .set_mapping = nullptr,
    .sharp_edges = nullptr,
    .get_identity = nullptr,
    .update_for_view = nullptr,
    .get_vertex_uv = nullptr,
    .intersect_many = nullptr,
    .get_triangle = nullptr,
    .complete_hit = nullptr,
    .is_opaque = nullptr,
};

ground_object ground = { { nullptr, &operations, 0, 0 }, 0, nullptr, 0.0 };
material_entry own_entry = {}; ///< of a material that is the ground's alone

material_entry* load_material(const document& doc);
bool is_given(const char16_t* text);
material_entry* find_material(const document& doc, const char16_t* name);
bool hit_plane(const ground_object& g, ray& r, double low, double high);

} // namespace

void end_ground()
{
    free_material(own_entry.material);
    own_entry.material = nullptr;
    ground.material_entry = &own_entry;
}

bool ground_prepare(document& doc)
{
    if (!(doc.environment_flags & ENVIRONMENT_GROUND)) { return false; }
    ground.ground_z = doc.ground_height * doc.world_to_model - doc.world_offset.z;
    operations.set_flags(&ground.head, OBJECT_THIN | OBJECT_NOT_RADIOSITY, FLAGS_ASSIGN);
    operations.set_material(&ground.head, load_material(doc));
    return true;
}

bool ground_test(const document& doc, ray& r)
{
    r.hit_ground = 0;
    if ((r.flags & RAY_PROBE) || !(doc.environment_flags & ENVIRONMENT_GROUND)) { return false; }
    if (!hit_plane(ground, r, r.t_min, r.t_max)) { return false; }
    r.hit_object = &ground.head;
    r.hit_ground = 1;
    return true;
}

namespace
{

/// The entry with the ground's material.
material_entry* load_material(const document& doc)
{
    end_ground();
    const char16_t* name = doc.ground_material_name;
    if (is_given(name) && is_given(doc.ground_material_library))
    {
        own_entry.material = zr_load_material_from_library(name, doc.ground_material_library);
    }
    else if (is_given(name))
    {
        if (material_entry* of_document = find_material(doc, name)) { return of_document; }
    }
    if (!own_entry.material) { own_entry.material = zr_build_fake_material(); }
    return &own_entry;
}

bool is_given(const char16_t* text) { return text && text[0]; }

material_entry* find_material(const document& doc, const char16_t* name)
{
    for (material_entry* e = doc.materials; e; e = e->next)
    {
        if (!e->library[0] && platform::same_text(e->name, name)) { return e; }
    }
    return nullptr;
}

material* get_material(const scene_object* o) { return entry_material(ground_of(o).material_entry); }

int32_t intersect(ray* r, scene_object* o, double low, double high)
{
    if (!hit_plane(ground_of(o), *r, low, high)) { return 0; }
    r->hit_object = o;
    return 1;
}

bool hit_plane(const ground_object& g, ray& r, double low, double high)
{
    if (!(std::fabs(r.direction.z) >= geometry_zero)) { return false; }
    const double t = (g.ground_z - r.origin.z) * r.inv_direction.z;
    if (!(t >= low && t >= r.t_min && t <= high && t <= r.t_max && t <= r.hit_t)) { return false; }
    r.hit_t = t;
    r.hit_point = r.origin + t * r.direction;
    r.geometric_normal = r.interpolated_normal = { 0, 0, 1 };
    r.hit_element = 0;
    std::fill_n(r.element_coords, 3, 1.0); // within, on no edge
    return true;
}

ground_object& ground_of(scene_object* o) { return *reinterpret_cast<ground_object*>(o); }

const ground_object& ground_of(const scene_object* o) { return *reinterpret_cast<const ground_object*>(o); }

} // namespace

} // namespace zr
