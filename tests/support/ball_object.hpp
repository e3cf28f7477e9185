/// @file
/// A kind of object that the library does not know: balls with a table of their own. They are hit twice, have
/// neither area nor triangles, and state what their bounds are in several ways, so that searches meet objects
/// beside those of meshes.
#pragma once

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/object_table.hpp"
#include "zirconlite/geometry/ray.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/material.h"
#include "zirconlite/materials/surface.h"
#include "zirconlite/search/grid_insertion.hpp"

namespace test
{

struct ball_object
{
    scene_object head;
    vector3 centre;
    double radius;
    material_entry* look;
    bounding_box stated; ///< what the kinds with odd bounds give
};

inline const ball_object& ball_of(const scene_object* o) { return *reinterpret_cast<const ball_object*>(o); }

inline int32_t hit_ball(ray* r, scene_object* o, double t_low, double t_high)
{
    using namespace zr;
    const ball_object& b = ball_of(o);
    const vector3 from = r->origin - b.centre;
    const double half = dot(from, r->direction), root = half * half - dot(from, from) + b.radius * b.radius;
    if (!(root >= 0.0)) { return 0; }
    const double low = std::max(t_low, r->t_min), high = std::min({ t_high, r->t_max, r->hit_t });
    for (const double t : { -half - std::sqrt(root), -half + std::sqrt(root) })
    {
        if (!(t >= low && t <= high)) { continue; }
        if (t == r->hit_t && r->hit_object && r->hit_object->number < o->number) { return 0; }
        r->hit_t = t;
        r->hit_point = r->origin + t * r->direction;
        r->geometric_normal = r->interpolated_normal = normalized(r->hit_point - b.centre);
        r->hit_object = o;
        r->hit_element = 0;
        for (double& c : r->element_coords) { c = 1.0; } // within, not on an edge
        return 1;
    }
    return 0;
}

inline bounding_box box_of(const ball_object& b)
{
    using namespace zr;
    const vector3 reach = { b.radius, b.radius, b.radius };
    return { b.centre - reach, b.centre + reach };
}

/// A table whose bounds come from `bounds`, which also decides about the cells of a grid; null: no bounds.
inline object_vft ball_table(void (*bounds)(const scene_object*, bounding_box*))
{
    object_vft vft = {};
    vft.type_id = 900;
    vft.get_flags = [](const scene_object*) { return uint32_t(0); };
    vft.get_material = [](const scene_object* o) { return ball_of(o).look->material; };
    vft.get_color = [](const scene_object*, uint8_t out[4]) { std::fill_n(out, 4, uint8_t(0)); };
    vft.intersect = hit_ball;
    vft.get_bounds = bounds;
    vft.add_to_grid = [](voxel_node* node, scene_object* o)
    {
        bounding_box box = { { 1, 1, 1 }, { 0, 0, 0 } }; // on no axis: everywhere
        if (o->vft->get_bounds) { o->vft->get_bounds(o, &box); }
        zr::insert_box(node, o, box);
    };
    vft.get_surface = [](scene_object* o, ray* r, surface* out)
    { zr_resolve_surface(ball_of(o).look->material, r, out); };
    vft.get_identity = [](const scene_object* o) -> const void* { return o; };
    return vft;
}

enum ball_kind
{
    BALL_PLAIN,
    BALL_WITHOUT_BOUNDS,
    BALL_STATING, ///< its bounds are `stated`
    BALL_KINDS
};

inline const object_vft ball_tables[BALL_KINDS] = {
    ball_table([](const scene_object* o, bounding_box* out) { *out = box_of(ball_of(o)); }),
    ball_table(nullptr),
    ball_table([](const scene_object* o, bounding_box* out) { *out = ball_of(o).stated; }),
};

/// The balls of one document; they must outlive it.
struct balls
{
    void add(document* d, ball_kind kind, const vector3& centre, double radius, material_entry* look,
        const bounding_box& stated = {})
    {
        all.push_back({ {}, centre, radius, look, stated });
        ball_object& b = all.back();
        b.head.vft = &ball_tables[kind];
        b.head.next = d->scene_objects.first;
        d->scene_objects.first = &b.head;
        ++d->scene_objects.totals[OBJECT_GROUP_COUNT];
        zr::number_object(d, &b.head);
        const bounding_box box = box_of(b);
        zr::grow(d->bounds, box.min);
        zr::grow(d->bounds, box.max);
    }
    std::deque<ball_object> all;
};

/// Bounds that say little: not a number, without end, beyond f32, or on one axis alone.
inline bounding_box odd_bounds(int which, const bounding_box& real)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 inf = std::numeric_limits<double>::infinity();
    switch (which % 5)
    {
    case 0:
        return { { nan, nan, nan }, { nan, nan, nan } };
    case 1:
        return { { -inf, -inf, -inf }, { inf, inf, inf } };
    case 2:
        return { { -1e300, -1e39, real.min.z }, { 1e300, 1e39, real.max.z } };
    case 3:
        return { { real.min.x, nan, real.min.z }, { real.max.x, nan, real.max.z } };
    default:
        return { { real.min.x, real.min.y, -inf }, { inf, real.max.y, real.max.z } };
    }
}

} // namespace test
