#include "zirconlite/raytrace/shadow_rays.hpp"

#include "zirconlite/environment/ground.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/materials/surface_evaluation.hpp"
#include "zirconlite/meshes/mesh_attributes.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/secondary_rays.hpp"
#include "zirconlite/search/ray_search.hpp"

namespace zr
{

namespace
{

/// A hit this near to an edge of its face may be found on the neighbour too.
constexpr double edge_weight = 4e-6;

/// An object that the ray passes.
struct pane
{
    double t;
    scene_object* object;
    const void* edge_of; ///< identity of the mesh whose edge was hit; null inside a face
    bool front;
};

/// One walk towards a light. Panes are gathered first and filtered in order of distance afterwards, each
/// once, whatever the order in which the search meets them. Should there be more than fit, the nearest are
/// filtered and the walk is taken again behind them.
struct shadow_walk
{
    static constexpr int room = 16;

    // Panes stay unset: every shadow ray makes a walk, and few meet one.
    shadow_walk(document& d, const light* l) : doc(d), source(l) {}

    document& doc;
    const light* source;
    pane panes[room];
    int count = 0;
    bool overflow = false;
    bool resumes = false; ///< panes up to `last` are done
    pane last;
    bool has_passed = false;
    pane passed; ///< the last one that was filtered
};

bool blocked_by_cached(const light* source, ray& r, scene_object*& blocker);
bool follow(document& doc, const light* source, ray& r);
bool visit(void* context, ray& r);
bool is_skipped(const scene_object* object, const ray& r, const light* source);
bool hides_its_light(const scene_object* object, const light* source);
bool hit_is_opaque(ray& r);
void insert(shadow_walk& walk, const pane& p);
bool lies_before(const pane& a, const pane& b);
pane pane_at_hit(const ray& r);
bool filter_panes(shadow_walk& walk, ray& r);
bool is_one_point(const document& doc, const pane& a, const pane& b);
bool filter(const document& doc, const light* source, ray& r);
void surface_at_hit(ray& r, surface& s);
void block(const light* source, ray& r);
bool differs_sideways(const ray& r);
double strength_of(const light* source);

} // namespace

bool group_contains(const light* node, const light* source)
{
    if (!node || !source) { return false; }
    if (node == source) { return true; }
    for (const light* l = source->parent; l; l = l->parent)
    {
        if (l == node) { return true; }
    }
    return false;
}

bool cast_shadow_ray(
    document& doc, const light& source, const source_sample& sample, shadow_cache_entry* cache, ray& shadow)
{
    shadow.direction = sample.direction;
    shadow.inv_direction = ray_reciprocal(shadow.direction);
    shadow.t_max = sample.distance - 10.0 * doc.epsilon;
    shadow.shadow_light = &source;
    shadow.shadow_cache = cache;
    return shadow_test(doc, source.type == LIGHT_SKY ? nullptr : &source, shadow);
}

bool is_between(scene_object* blocker, const light& source, const source_sample& sample, ray& shadow)
{
    if (source.shadow_strength == 0.0 || is_skipped(blocker, shadow, &source)) { return false; }
    shadow.direction = sample.direction;
    shadow.inv_direction = ray_reciprocal(shadow.direction);
    shadow.t_max = sample.distance - 10.0 * shadow.document->epsilon;
    return blocked_by_cached(&source, shadow, blocker);
}

bool shadow_test(document& doc, const light* source, ray& r)
{
    if (source && source->shadow_strength == 0.0) { return false; }
    scene_object** blocker = nullptr;
    // Light thrown back within glass counts as reflected, beyond `reflect_limit`; depths that the cache does
    // not reach do without.
    const int32_t depth = r.refract_depth + r.reflect_depth;
    if (r.shadow_cache && depth < RECURSION_LIMIT_SUM)
    {
        blocker = &r.shadow_cache->blocker[depth];
        if (blocked_by_cached(source, r, *blocker)) { return true; }
    }
    if (r.counters) { ++r.counters->shadow_rays; }
    r.parent = nullptr;
    r.hit_t = ZR_FAR;
    r.hit_object = nullptr;
    if (ground_test(doc, r))
    {
        if (filter(doc, source, r)) { return true; }
        r.hit_ground = 0;
        r.hit_t = ZR_FAR;
        r.hit_object = nullptr;
    }
    const bool blocked = follow(doc, source, r);
    if (blocker) { *blocker = blocked ? r.hit_object : nullptr; }
    return blocked;
}

namespace
{

/// Tries the object that blocked this light last at this depth. The fast model takes it wherever it is along
/// the ray.
bool blocked_by_cached(const light* source, ray& r, scene_object*& blocker)
{
    if (!blocker) { return false; }
    r.hit_t = ZR_FAR;
    r.hit_object = nullptr;
    const double low = is_exact() ? r.t_min : far_below, high = is_exact() ? r.t_max : ZR_FAR;
    if (!blocker->vft->intersect(&r, blocker, low, high)) { return false; }
    if (!hit_is_opaque(r))
    {
        blocker = nullptr;
        return false;
    }
    block(source, r);
    return true;
}

bool follow(document& doc, const light* source, ray& r)
{
    shadow_walk walk(doc, source);
    for (;;)
    {
        walk.count = 0;
        walk.overflow = false;
        if (visit_hits(doc, r, visit, &walk))
        {
            block(source, r);
            return true;
        }
        if (filter_panes(walk, r)) { return true; }
        r.hit_t = ZR_FAR;
        r.hit_object = nullptr;
        if (!walk.overflow) { return false; }
        walk.last = walk.panes[walk.count - 1];
        walk.resumes = true;
        r.t_min = walk.last.t;
    }
}

bool visit(void* context, ray& r)
{
    shadow_walk& walk = *static_cast<shadow_walk*>(context);
    if (walk.resumes && !lies_before(walk.last, { r.hit_t, r.hit_object, nullptr, false })) { return false; }
    if (is_skipped(r.hit_object, r, walk.source)) { return false; }
    // Whatever else is there, one opaque object takes all light away, so any of them ends the walk.
    if (strength_of(walk.source) >= 1.0 && hit_is_opaque(r)) { return true; }
    complete_hit(r);
    insert(walk, pane_at_hit(r));
    return false;
}

/// Objects that shadow rays of this light do not see.
bool is_skipped(const scene_object* object, const ray& r, const light* source)
{
    // The property decides, not OBJECT_LIGHT_SHAPE: hosts may add it to an object by themselves.
    if (source && hides_its_light(object, source)) { return true; }
    const uint32_t flags = object->vft->get_flags(object);
    if (flags & (r.flags & RAY_PROBE ? OBJECT_NO_SOLVER_SHADOW : OBJECT_NO_SHADOW)) { return true; }
    if (!source) { return false; }
    if (flags & OBJECT_NO_GROUP_SHADOW)
    {
        const property_node* group = group_property(object);
        if (group && group_contains(group->payload.light, source)) { return true; }
    }
    return (flags & OBJECT_NO_WINDOW_SHADOW) && source->type == LIGHT_DAYLIGHT;
}

bool hides_its_light(const scene_object* object, const light* source)
{
    const property_node* p = find_property(object, PROPERTY_LIGHT_SHAPE);
    while (p && p->payload.light != source) { p = find_property(object, PROPERTY_LIGHT_SHAPE, p); }
    return p != nullptr;
}

/// Of a located hit; completes it where that takes looking at the surface.
bool hit_is_opaque(ray& r)
{
    const object_vft& vft = *r.hit_object->vft;
    if (vft.is_opaque && vft.is_opaque(r.hit_object)) { return true; }
    complete_hit(r);
    surface s;
    surface_at_hit(r, s);
    return s.transparent == 0.0f;
}

/// Keeps the nearest panes, in order, each object and each point of a mesh once.
void insert(shadow_walk& walk, const pane& p)
{
    for (int i = 0; i < walk.count; ++i)
    {
        if (walk.panes[i].object == p.object) { return; }
    }
    if (walk.count == shadow_walk::room)
    {
        walk.overflow = true;
        if (!lies_before(p, walk.panes[walk.count - 1])) { return; }
        --walk.count;
    }
    int place = walk.count++;
    for (; place > 0 && lies_before(p, walk.panes[place - 1]); --place)
    {
        walk.panes[place] = walk.panes[place - 1];
    }
    walk.panes[place] = p;
}

bool lies_before(const pane& a, const pane& b)
{
    return a.t < b.t || (a.t == b.t && a.object->number < b.object->number);
}

pane pane_at_hit(const ray& r)
{
    const double* w = r.element_coords;
    const bool on_edge = w[0] < edge_weight || w[1] < edge_weight || w[2] < edge_weight;
    const object_vft& vft = *r.hit_object->vft;
    return { r.hit_t, r.hit_object, on_edge && vft.get_identity ? vft.get_identity(r.hit_object) : nullptr,
        dot(r.geometric_normal, r.direction) < 0.0 };
}

/// Takes the light through the gathered panes. True when one of them blocks.
bool filter_panes(shadow_walk& walk, ray& r)
{
    for (int i = 0; i < walk.count; ++i)
    {
        // Two faces of a mesh that meet in the point hit count once, whichever the search met first.
        if (walk.has_passed && is_one_point(walk.doc, walk.passed, walk.panes[i])) { continue; }
        walk.passed = walk.panes[i];
        walk.has_passed = true;
        scene_object* object = walk.panes[i].object;
        r.hit_t = ZR_FAR;
        r.hit_object = nullptr;
        if (!object->vft->intersect(&r, object, walk.panes[i].t, walk.panes[i].t)) { continue; }
        if (filter(walk.doc, walk.source, r)) { return true; }
    }
    return false;
}

/// Whether two hits are one point of a mesh, met on both sides of an edge.
bool is_one_point(const document& doc, const pane& a, const pane& b)
{
    return a.edge_of && a.edge_of == b.edge_of && a.front == b.front &&
           std::fabs(a.t - b.t) <= 10.0 * doc.epsilon;
}

/// What the object hit leaves of the light. True when it blocks.
bool filter(const document& doc, const light* source, ray& r)
{
    surface s;
    surface_at_hit(r, s);
    if (s.transparent == 0.0f)
    {
        block(source, r);
        return true;
    }
    const uint32_t flags = r.hit_object->vft->get_flags(r.hit_object);
    const bool thin = is_thin(r.hit_object, s);
    const double c = std::fabs(dot(r.shading_normal, r.direction));
    const double mirrored = shadow_reflectance(s, thin, c);
    const bool exact = is_exact();
    const bool corrects = !exact && !(doc.render_flags & RENDER_NO_GRAZING_FILTER) &&
                          !(flags & OBJECT_PLAIN_FILTER) && !(s.flags & SURFACE_PASS_THROUGH) &&
                          differs_sideways(r);
    const double grazing = corrects ? std::fmin(1.0, 3.0 * c * c) : 1.0;
    const double strength = strength_of(source);
    for (int i = 0; i < 3; ++i)
    {
        double f;
        if (exact)
        {
            const double tint = double(s.transparent_color[i]) * s.transparent;
            f = (thin ? tint : std::sqrt(tint)) * (1.0 - mirrored);
        }
        else
        {
            f = s.transparent_color[i] * std::fmax(s.transparent - mirrored, 0.0) * grazing;
            if (!thin) { f = std::sqrt(f); }
        }
        f += (1.0 - f) * (1.0 - strength);
        r.simple_color[i] *= float(f);
    }
    return false;
}

void surface_at_hit(ray& r, surface& s)
{
    r.map_point = r.hit_point;
    r.hit_object->vft->get_surface(r.hit_object, &r, &s);
}

void block(const light* source, ray& r)
{
    const float left = float(std::fmax(1.0 - strength_of(source), 0.0));
    for (float& c : r.simple_color) { c *= left; }
}

bool differs_sideways(const ray& r)
{
    return std::fabs(r.interpolated_normal.x - r.geometric_normal.x) >= 1e-5 ||
           std::fabs(r.interpolated_normal.z - r.geometric_normal.z) >= 1e-5;
}

double strength_of(const light* source) { return source ? source->shadow_strength : 1.0; }

} // namespace

} // namespace zr
