#include "zirconlite/materials/surface_evaluation.hpp"

#include "zirconlite/materials/opacity.hpp"

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/materials/blend_kinds.hpp"
#include "zirconlite/materials/bumps.h"
#include "zirconlite/materials/image_evaluation.hpp"
#include "zirconlite/materials/mapping.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/material_list.hpp"
#include "zirconlite/materials/ripple.h"
#include "zirconlite/meshes/mesh_attributes.hpp"
#include "zirconlite/picture/gamma_tables.hpp"

namespace zr
{

namespace
{

bool evaluate_complex(const complex_material& m, ray* r, vector3& normal, int depth,
    const child_context* context, surface& out, const evaluation_points& points);
void mix_surfaces(double w, const surface& a, const surface& b, surface& out);
float mix(double w, float a, float b);
void mix(double w, const float a[3], const float b[3], float out[3]);
void evaluate_simple(const simple_material& m, const ray* r, vector3& normal, const child_context* context,
    surface& out, const evaluation_points& points);
void fill_surface(const simple_material& m, surface& out);
void fill_highlight(const simple_material& m, surface& out);
void copy(float to[3], const float from[3]);
void add_color_offset(const child_context& context, surface& out);
vector3 scaled(const vector3& p, const vector3& by);
bool is_opaque_tree(const material* m, int depth);
bool find_pattern_scale(const material* m, int depth, double scale[2]);
const complex_material& as_complex(const material* m);
const simple_material& as_simple(const material* m);
vector3 facing_normal(const ray& r);
evaluation_points mapped_points(const material* m, const ray& r, const vector3& normal);
void place_by_box(const ray& r, const vector3& normal, evaluation_points& points);
bool place_by_vertices(const ray& r, const mapping& m, evaluation_points& points);
void set_gradients(const ray& r, const double scale[2], evaluation_points& points);
void apply_properties(ray& r, surface& s, vector3& normal);
void add_ripples(const property_node& property, const ray& r, vector3& normal);
void to_simple_mode(surface& s);
void apply_simple_gamma(float rgb[3]);

} // namespace

bool evaluate_material(const material* m, ray* r, vector3& normal, int depth, const child_context* context,
    surface& out, const evaluation_points& points)
{
    zr_void_surface(&out);
    if (!m) { return false; }
    if (depth == 0)
    {
        out.material = const_cast<material*>(m);
        if (r) { r->material_id = m->id; }
    }
    if (m->flags & MATERIAL_COMPLEX)
    {
        return evaluate_complex(as_complex(m), r, normal, depth, context, out, points);
    }
    evaluate_simple(as_simple(m), r, normal, context, out, points);
    return true;
}

decal_function decal_hook = nullptr;

bool is_always_opaque(const material* m) { return m && is_opaque_tree(m, 0); }

void pattern_scale_of(const material* m, double scale[2])
{
    scale[0] = scale[1] = 0.0;
    find_pattern_scale(m, 0, scale);
}

bool has_noisy_bump(const material* m)
{
    if (!m || (m->flags & MATERIAL_COMPLEX) || as_simple(m).images) { return false; }
    for (const bump* b = as_simple(m).bumps; b; b = b->next)
    {
        if (b->function == zr_bump_rubble || b->function == zr_bump_sandpaper) { return true; }
    }
    return false;
}

void neutral_surface(const material& m, surface& out)
{
    vector3 normal = { 0, 0, 1 };
    evaluate_material(&m, nullptr, normal, 0, nullptr, out, {});
}

} // namespace zr

using namespace zr;

void zr_void_surface(surface* s)
{
    *s = {};
    s->diffuse = 1.0f;
    s->ior = 1.0f;
    for (int i = 0; i < 3; ++i) { s->reflect_color[i] = s->filter[i] = s->highlight_color[i] = 1.0f; }
}

int32_t zr_resolve_surface(const material* m, ray* r, surface* s)
{
    vector3 normal = { 0, 0, 1 };
    evaluation_points points = {};
    if (r)
    {
        normal = facing_normal(*r);
        r->facing_normal = normal;
        points = mapped_points(m, *r, normal);
        r->uv = points.uvw;
    }
    evaluate_material(m, r, normal, 0, nullptr, *s, points);
    if (r)
    {
        if (r->hit_object) { apply_properties(*r, *s, normal); }
        r->shading_normal = normal;
    }
    if (job.simple_colors) { to_simple_mode(*s); }
    return 1;
}

namespace zr
{

namespace
{

bool evaluate_complex(const complex_material& m, ray* r, vector3& normal, int depth,
    const child_context* context, surface& out, const evaluation_points& points)
{
    if (depth >= max_material_depth) { return false; }
    const bool mapped = m.blend_flags & BLEND_MAPPED;
    evaluation_points below = { transform_point(m.transform, mapped ? points.uvw : points.point),
        transform_point(m.transform, points.uvw), points.has_gradients, {} };
    for (int i = 0; i < 2 && points.has_gradients; ++i)
    {
        below.gradient[i] =
            points.gradient[0] * m.transform.m[i][0] + points.gradient[1] * m.transform.m[i][1];
    }
    if (context && (context->flags & CHILD_COORDINATE_OFFSET))
    {
        below.point += context->coordinate_offset;
        below.uvw += context->coordinate_offset;
    }
    const vector3 q = scaled(mapped ? below.uvw : below.point, m.scale);

    child_context children[2] = {};
    surface surfaces[2];
    vector3 normals[2] = { normal, normal };
    if (r && m.prepare) { m.prepare(&m, r, &q, children); }
    for (int i = 0; i < 2; ++i)
    {
        children[i].child_surface = &surfaces[i];
        children[i].points = &below;
    }
    const auto evaluate_child = [&](int i)
    { evaluate_material(m.children[i], r, normals[i], depth + 1, &children[i], surfaces[i], below); };
    // Most patterns are all of one child nearly everywhere: the other one then is not worked out.
    const bool needs_both = blend_works_on_children(m);
    if (!m.blend) { return false; }
    for (int i = 0; i < 2 && needs_both; ++i) { evaluate_child(i); }
    const double answer = m.blend(&m, r, r ? &q : nullptr, children);
    const double w = answer > 0.0 ? std::fmin(answer, 1.0) : 0.0;
    if (!needs_both && w != 0.0) { evaluate_child(0); }
    if (!needs_both && w != 1.0) { evaluate_child(1); }
    mix_surfaces(w, surfaces[0], surfaces[1], out);
    if (w == 0.0) { normal = normals[1]; }
    else if (w == 1.0) { normal = normals[0]; }
    else { normal = normalized(normals[0] * w + normals[1] * (1.0 - w)); }
    return true;
}

/// `w` of the first surface and the rest of the second. `out.material` stays.
void mix_surfaces(double w, const surface& a, const surface& b, surface& out)
{
    material* made_by = out.material;
    if (w == 0.0) { out = b; }
    else if (w == 1.0) { out = a; }
    else
    {
        out.flags = a.flags | b.flags;
        out.diffuse = mix(w, a.diffuse, b.diffuse);
        out.reflect = mix(w, a.reflect, b.reflect);
        out.translucent = mix(w, a.translucent, b.translucent);
        out.transparent = mix(w, a.transparent, b.transparent);
        mix(w, a.color, b.color, out.color);
        mix(w, a.reflect_color, b.reflect_color, out.reflect_color);
        mix(w, a.translucent_color, b.translucent_color, out.translucent_color);
        mix(w, a.transparent_color, b.transparent_color, out.transparent_color);
        mix(w, a.filter, b.filter, out.filter);
        out.highlight = mix(w, a.highlight, b.highlight);
        out.ior = mix(w, a.ior, b.ior);
        out.attenuation = mix(w, a.attenuation, b.attenuation);
        out.luminosity = mix(w, a.luminosity, b.luminosity);
        out.highlight_strength = mix(w, a.highlight_strength, b.highlight_strength);
        mix(w, a.highlight_color, b.highlight_color, out.highlight_color);
    }
    out.material = made_by;
}

float mix(double w, float a, float b) { return float(w * a + (1.0 - w) * b); }

void mix(double w, const float a[3], const float b[3], float out[3])
{
    for (int i = 0; i < 3; ++i) { out[i] = mix(w, a[i], b[i]); }
}

void evaluate_simple(const simple_material& m, const ray* r, vector3& normal, const child_context* context,
    surface& out, const evaluation_points& points)
{
    fill_surface(m, out);
    if (r && context && (context->flags & CHILD_COLOR_OFFSET)) { add_color_offset(*context, out); }
    for (const bump* b = r ? m.bumps : nullptr; b; b = b->next)
    {
        const vector3& source = b->flags & BUMP_MAPPED ? points.uvw : points.point;
        const vector3 p = scaled(transform_point(b->transform, source), b->scale);
        b->function(&p, &normal, b->strength);
        out.flags |= SURFACE_TEXTURED;
    }
    if (m.images) { apply_images(m, r, normal, context, points, out); }
}

void fill_surface(const simple_material& m, surface& out)
{
    out.diffuse = m.diffuse;
    out.reflect = m.reflect;
    out.translucent = m.translucent;
    out.transparent = m.transparent;
    copy(out.color, m.color);
    copy(out.reflect_color, m.head.flags & MATERIAL_REFLECT_FOLLOWS_COLOR ? m.color : m.reflect_color);
    copy(out.translucent_color, m.translucent_color);
    copy(out.transparent_color, m.transparent_color);
    out.ior = m.ior;
    out.attenuation = m.attenuation;
    out.luminosity = m.luminosity;
    fill_highlight(m, out);
    if (m.head.flags & MATERIAL_NO_MIRROR) { out.flags |= SURFACE_NO_MIRROR; }
    if (m.head.flags & MATERIAL_SHARP_REFLECTION) { out.flags |= SURFACE_SHARP_REFLECTION; }
    if (m.head.flags & MATERIAL_SHARP_TRANSMISSION) { out.flags |= SURFACE_SHARP_TRANSMISSION; }
}

void fill_highlight(const simple_material& m, surface& out)
{
    if (m.head.flags & MATERIAL_OWN_HIGHLIGHT)
    {
        out.highlight = m.own_highlight;
        out.flags |= SURFACE_OWN_LOBE;
        copy(out.highlight_color, m.own_highlight_color);
        out.highlight_strength = (out.reflect + out.diffuse) * m.own_strength;
        return;
    }
    out.highlight = m.highlight;
    copy(out.highlight_color, m.reflect_color);
    out.highlight_strength = out.reflect;
}

void copy(float to[3], const float from[3])
{
    for (int i = 0; i < 3; ++i) { to[i] = from[i]; }
}

void add_color_offset(const child_context& context, surface& out)
{
    for (int i = 0; i < 3; ++i)
    {
        out.color[i] = std::fmin(std::fmax(out.color[i] + context.color_offset[i], 0.0f), 1.0f);
    }
}

vector3 scaled(const vector3& p, const vector3& by) { return { p.x * by.x, p.y * by.y, p.z * by.z }; }

/// Opaque children stay so in a mixture of the system's own kinds; a host's blend may change them.
bool is_opaque_tree(const material* m, int depth)
{
    if (!m || depth > max_material_depth) { return true; } // the void surface
    if (!(m->flags & MATERIAL_COMPLEX))
    {
        return as_simple(m).transparent == 0.0f && images_stay_opaque(as_simple(m).images);
    }
    const complex_material& c = as_complex(m);
    return (!c.blend || is_own_kind(c)) && is_opaque_tree(c.children[0], depth + 1) &&
           is_opaque_tree(c.children[1], depth + 1);
}

/// Whether the material or one of its children has a pattern, with its scale.
bool find_pattern_scale(const material* m, int depth, double scale[2])
{
    if (!m || depth > max_material_depth) { return false; }
    if (m->flags & MATERIAL_COMPLEX)
    {
        const complex_material& c = as_complex(m);
        // A host's own blend repeats by the scale of its material, as most patterns do.
        if (!c.has_own_pattern && is_own_kind(c))
        {
            return find_pattern_scale(c.children[0], depth + 1, scale) ||
                   find_pattern_scale(c.children[1], depth + 1, scale);
        }
        scale[0] = c.scale.x;
        scale[1] = c.scale.y;
        return true;
    }
    const simple_material& s = as_simple(m);
    if (!s.images && !s.bumps) { return false; }
    scale[0] = s.images ? s.images->scale[0] : s.bumps->scale.x;
    scale[1] = s.images ? s.images->scale[1] : s.bumps->scale.y;
    return true;
}

const complex_material& as_complex(const material* m)
{
    return *reinterpret_cast<const complex_material*>(m);
}

const simple_material& as_simple(const material* m) { return *reinterpret_cast<const simple_material*>(m); }

/// The interpolated normal on the eye's side of the face. Where vertex normals bend so far that it turns away
/// from the eye while the face does not, the exact model bends it back as far as needed: turned over, it
/// would look into the solid, and only light from inside would reach the surface.
vector3 facing_normal(const ray& r)
{
    constexpr double min_cosine = 1e-3;
    vector3 normal = normalized(r.interpolated_normal);
    if (dot(normal, normal) == 0.0) { normal = r.geometric_normal; } // opposite vertex normals cancel
    const double side = dot(r.geometric_normal, r.direction);
    if (!is_exact() || side == 0.0) { return dot(normal, r.direction) > 0.0 ? -normal : normal; }
    if (dot(normal, r.geometric_normal) * side > 0.0) { normal = -normal; }
    const double turned = dot(normal, r.direction) + min_cosine;
    return turned > 0.0 ? normalized(normal - turned * r.direction) : normal;
}

evaluation_points mapped_points(const material* m, const ray& r, const vector3& normal)
{
    evaluation_points points = {};
    mapping found;
    const object_vft* vft = r.hit_object ? r.hit_object->vft : nullptr;
    if (!vft || !vft->get_mapping || !vft->get_mapping(r.hit_object, &found) || found.kind == MAPPING_NONE)
    {
        place_by_box(r, normal, points);
        return points;
    }
    if (found.kind == MAPPING_VERTEX)
    {
        if (!place_by_vertices(r, found, points)) { place_by_box(r, normal, points); }
        return points;
    }
    vector3 mapped_normal;
    apply_record apply = { &r.map_point, &points.point, &points.uvw, &normal, &mapped_normal, &found, {} };
    if (found.kind == MAPPING_ANGULAR_CYLINDER || found.kind == MAPPING_ANGULAR_SPHERE)
    {
        pattern_scale_of(m, apply.pattern_scale);
    }
    zr_apply_mapping(&apply);
    return points;
}

/// Without a mapping: the world point, and the two axes across the normal's strongest one.
void place_by_box(const ray& r, const vector3& normal, evaluation_points& points)
{
    points.point = r.map_point;
    zr_box_map(&r.map_point, &normal, &points.uvw);
}

/// False when the object hit has no coordinates.
bool place_by_vertices(const ray& r, const mapping& m, evaluation_points& points)
{
    float uv[2];
    if (!zr_get_uv_from_vertices(&r, 0, uv)) { return false; }
    const double scale[2] = { m.scale[0] != 0.0 ? m.scale[0] : 1.0, m.scale[1] != 0.0 ? m.scale[1] : 1.0 };
    points.point = r.map_point;
    points.uvw = { uv[0] * scale[0], uv[1] * scale[1], 0.0 };
    set_gradients(r, scale, points);
    return true;
}

/// How the coordinates of its vertices grow along the triangle that was hit.
void set_gradients(const ray& r, const double scale[2], evaluation_points& points)
{
    const object_vft& vft = *r.hit_object->vft;
    if (!vft.get_triangle) { return; }
    float corner[3][2];
    for (int i = 0; i < 3; ++i)
    {
        const double weights[3] = { i == 0 ? 1.0 : 0.0, i == 1 ? 1.0 : 0.0, i == 2 ? 1.0 : 0.0 };
        if (!vft.get_vertex_uv(r.hit_object, 0, weights, corner[i])) { return; }
    }
    triangle_coefficients t;
    vft.get_triangle(r.hit_object, &t);
    const vector3 n = { t.normal[0], t.normal[1], t.normal[2] };
    for (int i = 0; i < 2; ++i)
    {
        // The weight of vertex 2 falls along edge_a and that of vertex 1 along edge_b.
        const double to_2 = double(corner[0][i]) - corner[2][i], to_1 = double(corner[0][i]) - corner[1][i];
        vector3 g = { 0, 0, 0 };
        for (int k = 0; k < 2; ++k) { component(g, t.axes[k]) = t.edge_a[k] * to_2 + t.edge_b[k] * to_1; }
        points.gradient[i] = (g - n * dot(g, n)) * scale[i];
    }
    points.has_gradients = is_finite(points.gradient[0]) && is_finite(points.gradient[1]);
}

/// The object's decals in the order of its properties, then its ripples.
void apply_properties(ray& r, surface& s, vector3& normal)
{
    const object_vft& vft = *r.hit_object->vft;
    const property_node* first = vft.get_properties ? vft.get_properties(r.hit_object) : nullptr;
    for (const property_node* p = first; p && decal_hook; p = p->next)
    {
        if (p->kind == PROPERTY_DECALS || p->kind == PROPERTY_RPC_DECALS) { decal_hook(*p, r, s, normal); }
    }
    if (const property_node* ripples = find_property(r.hit_object, PROPERTY_RIPPLES))
    {
        add_ripples(*ripples, r, normal);
    }
}

void add_ripples(const property_node& property, const ray& r, vector3& normal)
{
    constexpr double inverse_two_pi = 0.1591549430919;
    for (auto* wave = static_cast<const ripple*>(property.payload.list); wave; wave = wave->next)
    {
        const vector3 d = r.hit_point - wave->center;
        const double distance = length(d);
        const double a = (wave->phase * inverse_two_pi + distance) * wave->frequency;
        const double height = std::pow(double(wave->decay), a) * wave->amplitude * std::cos(a * two_pi);
        normal = normalized(normal + normalized(d) * height);
    }
}

/// In simple mode colours follow the simple gamma that pixels are packed with.
void to_simple_mode(surface& s)
{
    apply_simple_gamma(s.color);
    apply_simple_gamma(s.reflect_color);
    apply_simple_gamma(s.translucent_color);
    apply_simple_gamma(s.transparent_color);
    apply_simple_gamma(s.filter);
    apply_simple_gamma(s.highlight_color);
}

void apply_simple_gamma(float rgb[3])
{
    for (int i = 0; i < 3; ++i) { rgb[i] = look_up(gamma.simple_float, rgb[i], 1.0f); }
}

} // namespace

} // namespace zr
