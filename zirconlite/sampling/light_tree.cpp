#include "zirconlite/sampling/light_tree.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"

namespace zr
{

namespace
{

/// A luminaire, or all of those below a node.
struct light_bounds
{
    vector3 center;
    double radius;     ///< of a sphere round all sources, metres
    vector3 axis;      ///< middle of the directions of light
    double spread_rad; ///< largest angle between `axis` and a direction of light; pi: everywhere
    double power;      ///< luminance of the intensities, cd
};

/// Inner nodes have two children, stored one after the other; leaves have a source.
struct light_node
{
    light_bounds bounds;
    const light* source;
    uint32_t first_child;
};

struct light_entry
{
    light_bounds bounds;
    const light* source;
    uint32_t order; ///< in the walk over the document's luminaires; breaks ties
};

/// `distant_share` of the samples goes to luminaires without a place.
struct light_tree
{
    growable_block<light_node> nodes;
    growable_block<light_entry> distant;
    double distant_power, distant_share;
};
light_tree tree = {};

double strength_of(const light& l)
{
    const bool is_distant = l.falloff == 0.0;
    const double y = luminance(is_distant ? l.illuminance_color : l.intensity_color);
    return std::isfinite(y) ? std::fmax(y, 0.0) : 0.0;
}

void enclose(light_bounds& b, const light& l)
{
    bounding_box box = empty_box;
    for (int32_t i = 0; i < l.vertex_count; ++i) { grow(box, l.vertices[i]); }
    if (l.vertex_count == 0) { grow(box, l.position); }
    b.center = (box.min + box.max) * 0.5;
    b.radius = 0.5 * length(box.max - box.min);
    if (l.vertex_count == 0) { b.radius += l.radius + 0.5 * (l.length + l.height); }
}

light_bounds bounds_of(const light& l)
{
    light_bounds b = { {}, 0.0, { 0.0, 0.0, 1.0 }, M_PI, strength_of(l) };
    enclose(b, l);
    if (l.distribution != DISTRIBUTION_SPOT) { return b; }
    b.axis = l.normal;
    b.spread_rad = std::acos(std::clamp(double(l.cos_field), -1.0, 1.0));
    return b;
}

double angle_between(const vector3& a, const vector3& b)
{
    return std::acos(std::clamp(dot(a, b), -1.0, 1.0));
}

light_bounds merged(const light_bounds& a, const light_bounds& b)
{
    light_bounds sum;
    sum.power = a.power + b.power;
    const vector3 apart = b.center - a.center;
    const double d = length(apart);
    if (d + b.radius <= a.radius) { sum.center = a.center, sum.radius = a.radius; }
    else if (d + a.radius <= b.radius) { sum.center = b.center, sum.radius = b.radius; }
    else
    {
        sum.radius = 0.5 * (d + a.radius + b.radius);
        sum.center = a.center + apart * ((sum.radius - a.radius) / d);
    }
    const vector3 axis = a.axis * a.power + b.axis * b.power;
    sum.axis = length(axis) > geometry_zero ? normalized(axis) : a.axis;
    sum.spread_rad = std::fmin(M_PI, std::fmax(a.spread_rad + angle_between(sum.axis, a.axis),
                                         b.spread_rad + angle_between(sum.axis, b.axis)));
    return sum;
}

int widest_axis(const light_entry* first, size_t count)
{
    bounding_box box = empty_box;
    for (size_t i = 0; i < count; ++i) { grow(box, first[i].bounds.center); }
    const vector3 size = box.max - box.min;
    if (size.x >= size.y && size.x >= size.z) { return 0; }
    return size.y >= size.z ? 1 : 2;
}

/// Builds the subtree of `count` entries at `place`. Halves by number, so the depth is that of a logarithm.
bool build_node(light_entry* first, size_t count, uint32_t place)
{
    if (count == 1)
    {
        tree.nodes[place] = { first->bounds, first->source, 0 };
        return true;
    }
    const int axis = widest_axis(first, count);
    const size_t half = count / 2;
    std::nth_element(first, first + half, first + count,
        [axis](const light_entry& a, const light_entry& b)
        {
            const double ca = component(a.bounds.center, axis), cb = component(b.bounds.center, axis);
            return ca != cb ? ca < cb : a.order < b.order;
        });
    const auto child = uint32_t(tree.nodes.count);
    if (!tree.nodes.resize(tree.nodes.count + 2)) { return false; }
    if (!build_node(first, half, child) || !build_node(first + half, count - half, child + 1))
    {
        return false;
    }
    tree.nodes[place] = { merged(tree.nodes[child].bounds, tree.nodes[child + 1].bounds), nullptr, child };
    return true;
}

bool collect(const document& document, array<light_entry>& placed)
{
    uint32_t order = 0;
    for (const light* l = first_leaf(document.lights); l; l = next_leaf(const_cast<light*>(l)), ++order)
    {
        if (!l->sample || !(strength_of(*l) > 0.0)) { continue; }
        const bool is_distant = l->falloff == 0.0;
        const light_entry entry = { bounds_of(*l), l, order };
        if (!(is_distant ? tree.distant.push(entry) : placed.push(entry))) { return false; }
        if (is_distant) { tree.distant_power += entry.bounds.power; }
    }
    return true;
}

/// What may reach the point from the sources of a node, up to a factor; 0 only where nothing can.
double importance(const light_bounds& b, const vector3& point, const vector3& normal, bool both_sides)
{
    const vector3 to_center = b.center - point;
    const double squared = dot(to_center, to_center), radius_squared = b.radius * b.radius;
    if (squared == 0.0 && radius_squared == 0.0) { return 0.0; } // a light source gives nothing at distance 0
    if (squared <= radius_squared) { return b.power / std::fmax(radius_squared, geometry_zero); }
    const vector3 direction = to_center * (1.0 / std::sqrt(squared));
    const double sine = std::sqrt(radius_squared / squared), far_cosine = std::sqrt(1.0 - sine * sine);
    if (b.spread_rad < M_PI && angle_between(b.axis, -direction) - std::asin(sine) > b.spread_rad)
    {
        return 0.0;
    }
    // The best cosine over the ball: that of the angle to its middle less its half angle.
    double cosine = dot(normal, direction);
    if (both_sides || cosine >= far_cosine) { cosine = 1.0; }
    else
    {
        cosine = cosine * far_cosine + std::sqrt(std::fmax(1.0 - cosine * cosine, 0.0)) * sine;
        if (!(cosine > 0.0)) { return 0.0; }
    }
    return b.power * cosine / squared;
}

light_pick pick_distant(double u)
{
    double below = 0.0;
    for (const light_entry& e : tree.distant)
    {
        const double share = e.bounds.power / tree.distant_power;
        if (u < below + share || &e == tree.distant.end() - 1) { return { e.source, share }; }
        below += share;
    }
    return {};
}

light_pick pick_placed(const vector3& point, const vector3& normal, bool both_sides, double u)
{
    double probability = 1.0;
    const light_node* node = &tree.nodes[0];
    while (!node->source)
    {
        const light_node* child = &tree.nodes[node->first_child];
        const double a = importance(child[0].bounds, point, normal, both_sides);
        const double b = importance(child[1].bounds, point, normal, both_sides);
        if (!(a + b > 0.0)) { return {}; }
        const double share = a / (a + b);
        if (u < share)
        {
            u /= share;
            probability *= share;
            node = child;
        }
        else
        {
            u = (u - share) / (1.0 - share);
            probability *= 1.0 - share;
            node = child + 1;
        }
    }
    return { node->source, probability };
}

} // namespace

bool prepare_light_tree(const document& document)
{
    free_light_tree();
    array<light_entry> placed;
    bool made = collect(document, placed);
    if (made && placed.count > 0)
    {
        made = tree.nodes.resize(1) && build_node(placed.items, placed.count, 0);
    }
    if (!made)
    {
        free_light_tree();
        return report_failure(ZR_ERROR_MEMORY, "no memory for the tree of luminaires");
    }
    tree.distant_share = tree.distant.count == 0 ? 0.0 : tree.nodes.count == 0 ? 1.0 : 0.5;
    return true;
}

void free_light_tree()
{
    tree.nodes.clear();
    tree.distant.clear();
    tree = {};
}

int pick_distant_lights(double u, light_pick picks[max_light_picks])
{
    if (tree.distant.count == 0) { return 0; }
    if (tree.distant.count > size_t(max_light_picks))
    {
        picks[0] = pick_distant(u);
        return 1;
    }
    int count = 0;
    for (const light_entry& e : tree.distant) { picks[count++] = { e.source, 1.0 }; }
    return count;
}

size_t placed_light_count() { return (tree.nodes.count + 1) / 2; }

light_pick pick_placed_light(const vector3& point, const vector3& normal, bool both_sides, double u)
{
    return tree.nodes.count > 0 ? pick_placed(point, normal, both_sides, u) : light_pick{};
}

light_pick pick_light(const vector3& point, const vector3& normal, bool both_sides, double u)
{
    light_pick picked = {};
    if (u < tree.distant_share)
    {
        picked = pick_distant(u / tree.distant_share);
        picked.probability *= tree.distant_share;
    }
    else if (tree.nodes.count > 0)
    {
        const double placed_share = 1.0 - tree.distant_share;
        picked = pick_placed(point, normal, both_sides, (u - tree.distant_share) / placed_share);
        picked.probability *= placed_share;
    }
    return picked;
}

} // namespace zr
