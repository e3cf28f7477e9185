/// @file
/// The tree of a document's lights: making, insertion by power, the walk, freeing.
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/daylight.h"
#include "zirconlite/lighting/goniometry.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/lighting/light_emission.hpp"

namespace
{

/// Who makes a light of each type; every type that is not listed is a sphere or point.
struct creator_row
{
    int32_t type;
    void (*create)(light* l);
};
constexpr creator_row creators[] = {
    { LIGHT_SPHERICAL, lt_spherical_create },
    { LIGHT_AREA, lt_area_create },
    { LIGHT_CYLINDRICAL, lt_cylindrical_create },
    { LIGHT_PARALLEL, lt_parallel_create },
    { LIGHT_DISK, lt_disk_create },
};

void create_group(light& group);
void share_group_colors(light& l);
void update_parallel(light& l);
double power(const light& l);
int32_t count_nodes(const light& node);
bool is_group(const light& l) { return l.type == LIGHT_GROUP; }

} // namespace

light* zr_create_light(const light* template_light, struct sun_sky* sky)
{
    auto* made = template_light ? static_cast<light*>(zr_malloc(sizeof(light))) : nullptr;
    if (!made)
    {
        zr::report_failure(template_light ? ZR_ERROR_MEMORY : ZR_ERROR_ARGUMENT, "no light can be made");
        return nullptr;
    }
    *made = *template_light;
    made->goniometry = nullptr;
    if (!is_group(*made) && template_light->goniometry)
    {
        made->goniometry = zr_share_goniometry(template_light->goniometry);
        if (!made->goniometry)
        {
            zr_free(made);
            return nullptr;
        }
    }
    made->next = made->first_child = nullptr;
    if (is_group(*made))
    {
        create_group(*made);
        return made;
    }
    if (made->type == LIGHT_DAYLIGHT && sky)
    {
        lt_daylight_create(made, sky);
        return made;
    }
    for (const creator_row& row : creators)
    {
        if (row.type != made->type) { continue; }
        row.create(made);
        return made;
    }
    lt_spherical_create(made);
    return made;
}

int32_t zr_insert_light_source(light** head, light* source, void*)
{
    share_group_colors(*source);
    if (source->type == LIGHT_PARALLEL) { update_parallel(*source); }
    const double key = power(*source);
    struct light** place = head;
    if (*head && !(key > power(**head)))
    {
        for (struct light** link = head; *link; link = &(*link)->next)
        {
            if (power(**link) >= key) { place = &(*link)->next; }
        }
    }
    source->next = *place;
    *place = source;
    return 1;
}

int32_t zr_insert_light_source_ex(light** head, light* source, document* doc)
{
    if (source->type == LIGHT_DAYLIGHT && doc->sun_sky_flags != SUN_SKY_WINDOWS)
    {
        zr::report_failure(
            ZR_ERROR_STATE, "a window light needs a document whose sky shines through windows");
        return -1;
    }
    source->world_bounds = doc->bounds;
    zr_insert_light_source(head, source, nullptr);
    if (head == &doc->lights) { doc->light_count += count_nodes(*source); }
    return 1;
}

int32_t zr_light_free(light* source)
{
    if (source && !is_group(*source)) { zr_free_goniometry(source->goniometry); }
    zr_free(source);
    return 1;
}

int32_t zr_lights_free_ex(light* first, int32_t with_children)
{
    while (first)
    {
        light* next = first->next;
        if (with_children) { zr_lights_free_ex(first->first_child, with_children); }
        zr_light_free(first);
        first = next;
    }
    return 1;
}

int32_t zr_lights_free(document* doc, int32_t all)
{
    doc->light_count = 0;
    light** link = &doc->lights;
    while (*link)
    {
        light* l = *link;
        if (!all && (l->flags & LIGHT_KEPT))
        {
            doc->light_count += count_nodes(*l);
            link = &l->next;
            continue;
        }
        *link = l->next;
        zr_lights_free_ex(l->first_child, 1);
        zr_light_free(l);
    }
    return 1;
}

light* first_leaf(light* node)
{
    // An empty group is passed over like a light that has been visited.
    while (node && is_group(*node))
    {
        if (node->first_child)
        {
            node = node->first_child;
            continue;
        }
        while (node && !node->next) { node = node->parent; }
        if (node) { node = node->next; }
    }
    return node;
}

light* next_leaf(light* node)
{
    while (node && !node->next) { node = node->parent; }
    return node ? first_leaf(node->next) : nullptr;
}

namespace
{

/// A luminaire shares its colour out to its lights and emits nothing.
void create_group(light& group)
{
    zr::clamp_light_to_ranges(group);
    group.candela = group.lumens;
    for (float& c : group.intensity_color) { c = group.lumens; }
    group.sample_count = nullptr;
    group.sample = nullptr;
}

/// The colours of a light with a group above it, and of all below a group, which may have been linked since
/// they were made.
void share_group_colors(light& l)
{
    for (light* child = is_group(l) ? l.first_child : nullptr; child; child = child->next)
    {
        child->parent = &l;
        share_group_colors(*child);
        if (child->type == LIGHT_PARALLEL) { update_parallel(*child); }
    }
    if (!is_group(l) && l.parent && l.type != LIGHT_DAYLIGHT) { zr_get_color_intensity(&l); }
}

/// A distant light has as much power as falls on the scene.
void update_parallel(light& l)
{
    zr_get_color_intensity(&l);
    const double illuminance = zr::parallel_illuminance(l);
    l.lumens = zr::parallel_lumens(l);
    for (int i = 0; i < 3; ++i)
    {
        l.flux_color[i] = l.lumens * l.intensity_color[i];
        l.illuminance_color[i] = float(l.intensity_color[i] * illuminance);
    }
}

double power(const light& l)
{
    return l.type == LIGHT_DAYLIGHT ? zr::luminance(l.sun_flux) + l.lumens : double(l.lumens);
}

/// 1 for a light; for a group every node below it.
int32_t count_nodes(const light& node)
{
    if (!is_group(node)) { return 1; }
    int32_t count = 0;
    for (const light* child = node.first_child; child; child = child->next)
    {
        count += is_group(*child) ? 1 + count_nodes(*child) : 1;
    }
    return count;
}

} // namespace
