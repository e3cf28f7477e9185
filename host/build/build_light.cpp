#include "host/build/build_light.hpp"

#include "host/build/build_daylight.hpp"
#include "host/build/build_material.hpp"
#include "host/build/light_shapes.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/lighting/goniometry.h"
#include "zirconlite/lighting/ies_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace host
{

namespace
{

/// The light itself is dimmed: what its shape shows follows from it.
void set_strength(const scene_light& from, double dimmer, light& l)
{
    l.brightness_unit = from.watts ? BRIGHTNESS_WATTS : from.lumens ? BRIGHTNESS_LUMENS : BRIGHTNESS_CANDELA;
    l.lumens = float(from.lumens.value_or(0) * dimmer);
    l.candela = float(from.candela.value_or(0) * dimmer);
    l.watts = float(from.watts.value_or(0) * dimmer);
    l.bulb_index = uint32_t(from.bulb);
}

void set_cone(const scene_light& from, light& l)
{
    l.distribution = DISTRIBUTION_SPOT;
    // The record counts from the axis.
    l.beam_angle = float(from.beam_deg / 2 * radians);
    l.field_angle = float(from.field_deg / 2 * radians);
}

void set_point(const scene_light& from, light& l)
{
    l.type = LIGHT_SPHERICAL;
    l.distribution = DISTRIBUTION_ISOTROPIC;
    l.area = 4 * pi * from.radius * from.radius;
}

void set_spot(const scene_light& from, light& l)
{
    set_point(from, l);
    set_cone(from, l);
}

void set_distant(const scene_light& from, light& l)
{
    l.type = LIGHT_PARALLEL;
    l.distribution = DISTRIBUTION_DEFAULT;
    l.azimuth = std::remainder(*from.azimuth_deg * radians, 2 * pi);
    l.altitude = *from.altitude_deg * radians;
    l.dimmer = float(std::pow(*from.lux * from.dimmer / 100000, 0.25));
    l.disc_size = float(std::min(5 * std::tan(from.disc_deg / 2 * radians), 2.0));
    l.falloff = 0;
}

void set_rectangle(const scene_light& from, light& l)
{
    l.type = LIGHT_AREA;
    l.distribution = DISTRIBUTION_DIFFUSE;
    l.vertex_count = 4;
    if (from.corners.empty())
    {
        const int signs[4][2] = { { -1, -1 }, { 1, -1 }, { 1, 1 }, { -1, 1 } };
        for (int i = 0; i < 4; ++i)
        {
            const vector3 along = plus(l.position, l.axis_u, signs[i][0] * from.size[0] / 2);
            l.vertices[i] = plus(along, l.axis_v, signs[i][1] * from.size[1] / 2);
        }
    }
    else
    {
        for (int i = 0; i < 3; ++i) { l.vertices[i] = to_vector(from.corners[size_t(i)]); }
        l.vertices[3] = plus(plus(l.vertices[0], l.vertices[2], 1), l.vertices[1], -1);
    }
    const vector3 e1 = plus(l.vertices[1], l.vertices[0], -1), e2 = plus(l.vertices[2], l.vertices[1], -1);
    const vector3 across = cross(e1, e2);
    const bool is_turned = (from.corners.empty() || from.normal || from.target) && dot(across, l.normal) < 0;
    l.area = length(across);
    l.normal = plus({}, across, (is_turned ? -1 : 1) / l.area);
    l.length = length(e1);
    l.height = length(e2);
    if (from.corners.empty()) { return; }
    l.axis_u = unit(from.c0 ? plus(to_vector(*from.c0), l.normal, -dot(to_vector(*from.c0), l.normal)) : e1);
    l.axis_v = cross(l.axis_u, l.normal);
}

void set_line(const scene_light& from, light& l)
{
    l.type = LIGHT_CYLINDRICAL;
    l.distribution = DISTRIBUTION_ISOTROPIC;
    l.length = from.length;
    vector3 along = from.axis ? unit(to_vector(*from.axis)) : vector3{};
    if (!from.ends.empty())
    {
        const vector3 a = to_vector(from.ends[0]), b = to_vector(from.ends[1]);
        l.length = length(plus(b, a, -1));
        along = unit(plus(b, a, -1));
    }
    l.axis_u = along;
    // Its aim and the axis are square to each other.
    const vector3 aim = plus(l.normal, along, -dot(l.normal, along));
    l.normal = length(aim) > 1e-6
                   ? unit(aim)
                   : unit(cross(along, std::fabs(along.x) < 0.9 ? vector3{ 1, 0, 0 } : vector3{ 0, 1, 0 }));
    l.axis_v = cross(l.axis_u, l.normal);
    l.radius = 0;
}

void set_tube(const scene_light& from, light& l)
{
    set_line(from, l);
    l.distribution = DISTRIBUTION_DIFFUSE;
    l.radius = from.radius;
    l.area = 2 * pi * from.radius * l.length;
}

void set_disk(const scene_light& from, light& l)
{
    l.type = LIGHT_DISK;
    l.distribution = DISTRIBUTION_DIFFUSE;
    l.area = pi * from.radius * from.radius;
}

void set_group(const scene_light&, light& l) { l.type = LIGHT_GROUP; }

/// By kind; the names are in light_kind_names.
constexpr void (*set_kind[])(const scene_light&, light&) = { set_point, set_spot, set_distant, set_window,
    set_point, set_rectangle, set_line, set_tube, set_disk, set_group };

void set_frame(const scene_light& from, light& l)
{
    if (from.target) { l.aim_point = to_vector(*from.target); }
    const vector3 aim = from.target   ? plus(l.aim_point, l.position, -1)
                        : from.normal ? to_vector(*from.normal)
                                      : vector3{ 0, 0, -1 };
    const light_frame frame = frame_about(aim, from.c0);
    l.normal = frame.normal;
    l.axis_u = frame.u;
    l.axis_v = frame.v;
}

void set_distribution(const scene_light& from, light& l)
{
    if (!from.distribution) { return; }
    constexpr int32_t distributions[] = { DISTRIBUTION_ISOTROPIC, DISTRIBUTION_DIFFUSE, DISTRIBUTION_SPOT };
    l.distribution = distributions[*from.distribution];
    if (*from.distribution == distribution_spot) { set_cone(from, l); }
}

/// Factors of the light and of the groups that it belongs to.
double dimmer_of(const scene& s, const scene_light& l)
{
    double product = l.dimmer;
    for (const scene_light* above = &l; !above->group.empty();)
    {
        above = find_light(s, above->group);
        product *= above->dimmer;
    }
    return product;
}

std::string place_of(const scene& s, const scene_light& l)
{
    return fmt::format("{}:{}: ", s.file.string(), l.line);
}

/// A table of its own, which the caller frees.
goniometry* read_table(const scene& s, const scene_light& from)
{
    goniometry* table = zr_new_goniometry();
    const std::u16string path = utf16_of(beside_scene(s, from.ies).string());
    if (!table || !zr_read_ies_file(path.c_str(), table))
    {
        zr_free_goniometry(table);
        const int line = zr_last_error()->line;
        const bool is_missing = zr_last_error()->code == ZR_ERROR_NOT_FOUND && line == 0;
        throw failure(is_missing ? exit_missing_file : exit_bad_scene,
            fmt::format("{}[[light]] ies: {} cannot be used{}{}", place_of(s, from), from.ies,
                line > 0 ? fmt::format(", line {}", line) : "", library_error()));
    }
    if (!(table->lumens > 0))
    {
        zr_free_goniometry(table);
        throw failure(exit_bad_scene,
            fmt::format("{}[[light]] ies: {} holds no light: its table is 0 between its vertical angles",
                place_of(s, from), from.ies));
    }
    return table;
}

template <size_t size> void copy_text(char16_t (&to)[size], const std::string& text)
{
    const std::u16string units = utf16_of(text);
    std::copy_n(units.begin(), std::min(units.size(), size - 1), to);
}

/// What a luminaire has of its library: the group its names, the lamp its table.
void set_fixture(const luminaire_fixture& from, light& l)
{
    if (l.type == LIGHT_GROUP)
    {
        copy_text(l.material_name, from.material_key);
        copy_text(l.material_library, from.material_library);
        copy_text(l.library_entry, from.entry);
        copy_text(l.library_path, from.library_file);
        return;
    }
    if (!from.table) { return; }
    l.distribution = DISTRIBUTION_GONIOMETRIC;
    l.goniometry = zr_share_goniometry(from.table.get());
}

/// Prepared and not yet inserted.
light* make_light(const scene& s, document* d, const scene_light& from)
{
    light l{};
    l.position = to_vector(middle_of(from));
    set_frame(from, l);
    l.radius = from.radius;
    l.color_temperature = float(from.kelvin);
    set_color(l.filter, from.filter);
    l.falloff = from.falloff;
    l.shadow_strength = from.shadow_strength;
    l.shadow_samples = from.shadow_samples;
    l.sample_jitter = float(from.shadow_jitter);
    l.simple_brightness = 1;
    l.fixture_scale = 1;
    l.flags = from.highlight ? 0 : LIGHT_NO_HIGHLIGHT;
    const double dimmer = dimmer_of(s, from);
    set_strength(from, dimmer, l);
    set_kind[from.kind](from, l);
    set_distribution(from, l);
    const std::u16string name = utf16_of(from.name);
    std::copy_n(name.begin(), std::min(name.size(), std::size(l.name) - 1), l.name);
    if (!from.ies.empty())
    {
        l.distribution = DISTRIBUTION_GONIOMETRIC;
        l.goniometry = read_table(s, from);
        if (!from.lumens && !from.candela && !from.watts)
        {
            l.brightness_unit = BRIGHTNESS_LUMENS;
            l.lumens = float(l.goniometry->lumens * dimmer);
        }
    }
    if (from.fixture) { set_fixture(*from.fixture, l); }
    light* made = zr_create_light(&l, d->sun_sky);
    zr_free_goniometry(l.goniometry);
    return made;
}

int groups_above(const light& l)
{
    int count = 0;
    for (const light* above = l.parent; above; above = above->parent) { ++count; }
    return count;
}

[[noreturn]] void cannot_make(const scene& s, const scene_light& from)
{
    throw failure(exit_render_failed, place_of(s, from) + "the light cannot be made" + library_error());
}

} // namespace

light_frame frame_about(const vector3& aim, const std::optional<vec3>& c0)
{
    const vector3 n = unit(aim);
    const vector3 given = c0 ? to_vector(*c0) : vector3{ 1, 0, 0 };
    for (const vector3& wanted : { given, vector3{ 0, 1, 0 }, vector3{ 1, 0, 0 } })
    {
        const vector3 u = plus(wanted, n, -dot(wanted, n));
        if (length(u) > 1e-3 * length(wanted)) { return { unit(u), cross(unit(u), n), n }; }
    }
    return {}; // not reached: one of two axes is across any aim
}

vec3 middle_of(const scene_light& l)
{
    const bool is_line = l.kind == light_linear || l.kind == light_tube;
    const bool has_corners = l.kind == light_area && !l.corners.empty();
    if (!has_corners && (!is_line || l.ends.empty())) { return l.position; }
    const vec3 &a = has_corners ? l.corners[0] : l.ends[0], &b = has_corners ? l.corners[2] : l.ends[1];
    return { (a[0] + b[0]) / 2, (a[1] + b[1]) / 2, (a[2] + b[2]) / 2 };
}

scene_lights::scene_lights(const scene& s, document* d) : s_(s), d_(d)
{
    lights_.reserve(s.lights.size());
    for (const scene_light& from : s.lights)
    {
        lights_.push_back({ from, std::unique_ptr<light, free_light>(make_light(s, d, from)) });
        if (!lights_.back().made) { cannot_make(s, from); }
    }
    for (entry& e : lights_) { e.made->parent = named(e.from.group); }
}

light* scene_lights::named(const std::string& name) const
{
    for (const entry& e : lights_)
    {
        if (!name.empty() && e.from.name == name) { return e.made.get(); }
    }
    return nullptr;
}

void scene_lights::add_area(const std::string& name, double area)
{
    for (entry& e : lights_)
    {
        if (e.from.name != name) { continue; }
        e.mesh_area += area;
        return;
    }
}

void scene_lights::add_shapes(const std::function<material_entry*(const std::string&)>& material_of)
{
    material_entry* plain = nullptr;
    for (entry& e : lights_)
    {
        if (!e.from.visible) { continue; }
        const bool has_look = material_of && e.from.fixture && !e.from.fixture->look.empty();
        if (!has_look && !plain) { plain = add_shape_material(d_); }
        material_entry* const look = has_look ? material_of(e.from.fixture->look) : plain;
        if (!look || !add_light_shape(d_, look, *e.made)) { cannot_make(s_, e.from); }
    }
}

void scene_lights::insert()
{
    // What lies in a group goes into it before the group goes on.
    std::vector<entry*> order;
    for (entry& e : lights_)
    {
        order.push_back(&e);
        if (e.mesh_area > 0) { e.made->area = e.mesh_area + (e.from.visible ? e.made->area : 0); }
    }
    std::stable_sort(order.begin(), order.end(),
        [](const entry* a, const entry* b) { return groups_above(*a->made) > groups_above(*b->made); });
    for (entry* e : order)
    {
        light* const parent = e->made->parent;
        if (parent) { parent->lumens += e->made->lumens; } // a group is as strong as its lights
        if (zr_insert_light_source_ex(parent ? &parent->first_child : &d_->lights, e->made.get(), d_) != 1)
        {
            cannot_make(s_, e->from);
        }
        e->made.release();
    }
}

} // namespace host
