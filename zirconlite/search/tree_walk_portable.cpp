// The walk down a search tree without vector instructions.
#include "zirconlite/search/tree_walk.hpp"

#include <algorithm>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/search/tree_box_margin.hpp"

namespace zr::portable_walk
{

namespace
{

#define ZR_TARGET

constexpr double edge_low = -1e-6, edge_high = 1.0 + 1e-6, weights_high = 1.0 + 2e-6;

struct wide_ray
{
    box_axis axes[3];
    float t_min_box;
    double origin[3], direction[3], t_min;
};

wide_ray widen(const ray& r)
{
    return { { make_box_axis(r.origin.x, r.inv_direction.x), make_box_axis(r.origin.y, r.inv_direction.y),
                 make_box_axis(r.origin.z, r.inv_direction.z) },
        lower_t_min(r.t_min), { r.origin.x, r.origin.y, r.origin.z },
        { r.direction.x, r.direction.y, r.direction.z }, r.t_min };
}

unsigned hit_children(const tree_node& node, const wide_ray& w, float limit, float* near)
{
    unsigned hits = 0;
    for (int lane = 0; lane < tree_width; ++lane)
    {
        float enter = w.t_min_box, leave = limit;
        for (int axis = 0; axis < 3; ++axis)
        {
            const box_axis& a = w.axes[axis];
            enter = std::max(enter, (node.bounds[a.backward][axis][lane] - a.near_origin) * a.near_inverse);
            leave = std::min(leave, (node.bounds[1 - a.backward][axis][lane] - a.far_origin) * a.far_inverse);
        }
        near[lane] = enter;
        hits |= unsigned(enter <= leave) << lane;
    }
    return hits;
}

unsigned hit_block(
    const triangle_block& b, const wide_ray& w, double t_high, double* t_out, double* w1_out, double* w2_out)
{
    unsigned hits = 0;
    for (int i = 0; i < block_width; ++i)
    {
        const double nx = b.normal[0][i], ny = b.normal[1][i], nz = b.normal[2][i];
        const double den = nx * w.direction[0] + ny * w.direction[1] + nz * w.direction[2];
        if (!(std::fabs(den) >= geometry_zero)) { continue; }
        const double t = -(nx * w.origin[0] + ny * w.origin[1] + nz * w.origin[2] + b.plane_d[i]) / den;
        if (!(t >= w.t_min && t <= t_high)) { continue; }
        const int a = b.first_is_y[i] ? 1 : 0, c = b.second_is_z[i] ? 2 : 1;
        const double pa = w.origin[a] + t * w.direction[a], pb = w.origin[c] + t * w.direction[c];
        double s = b.edge_a[0][i] * (pa - b.vertex_2[0][i]) + b.edge_a[1][i] * (pb - b.vertex_2[1][i]);
        if (!(s >= edge_low && s <= edge_high)) { continue; }
        const double w2 = 1.0 - (s < 0.0 ? 0.0 : s > 1.0 ? 1.0 : s);
        s = b.edge_b[0][i] * (pa - b.vertex_1[0][i]) + b.edge_b[1][i] * (pb - b.vertex_1[1][i]);
        if (!(s >= edge_low && s <= edge_high)) { continue; }
        const double w1 = 1.0 - (s < 0.0 ? 0.0 : s > 1.0 ? 1.0 : s);
        if (w1 + w2 > weights_high) { continue; }
        t_out[i] = t;
        w1_out[i] = w1;
        w2_out[i] = w2;
        hits |= 1u << i;
    }
    return hits;
}

#include "zirconlite/search/tree_walk_body.hpp"

#undef ZR_TARGET

} // namespace

bool nearest(const search_tree& tree, scene_object* const* objects, ray& r)
{
    return nearest_hit(tree, objects, r);
}

bool visit(const search_tree& tree, scene_object* const* objects, ray& r, hit_visitor visit, void* context)
{
    return all_hits(tree, objects, r, visit, context);
}

} // namespace zr::portable_walk
