#include "zirconlite/sampling/light_tree.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/goniometry.h"
#include "zirconlite/lighting/light_emission.hpp"

namespace zr
{

namespace
{

/// Directions about an axis, in bands of equal angle.
constexpr int band_count = 16;
constexpr double band_rad = M_PI / band_count;
constexpr double angle_error = 2e-4; ///< of `near_acos`, with room for rounding

/// A luminaire, or all of those below a node.
struct light_bounds
{
    vector3 center;
    double radius;           ///< of a sphere round all sources, metres
    vector3 axis;            ///< middle of the bands
    float reach[band_count]; ///< most that goes into each band: luminance of intensity, cd
    float peak;              ///< the largest of them
    bool is_even;            ///< all bands are alike
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

/// Most of the table's share of its peak between two angles from the axis, over all azimuths. Between its
/// angles it is linear, so the largest value is at one of them or at an end.
double largest_of_table(const goniometry& g, double low, double high)
{
    double largest = 0.0;
    for (int32_t i = 0; i < g.horizontal_count; ++i)
    {
        for (int32_t j = 0; j + 1 < g.vertical_count; ++j)
        {
            const double a = g.vertical_angles[j], b = g.vertical_angles[j + 1];
            const double from = std::fmax(low, a), to = std::fmin(high, b);
            if (from > to) { continue; }
            const auto at = [&](double angle)
            {
                const double t = b > a ? (angle - a) / (b - a) : 0.0;
                return g.rows[i][j] * (1.0 - t) + g.rows[i][j + 1] * t;
            };
            largest = std::fmax(largest, std::fmax(at(from), at(to)));
        }
    }
    return largest;
}

/// Most of the light's share of its peak between two angles from the axis of its law.
double largest_between(const light& l, emission_law law, double low, double high)
{
    switch (law)
    {
    case emission_law::cosine:
        return std::fmax(std::cos(low), 0.0);
    case emission_law::sine:
        return low < M_PI / 2 && high > M_PI / 2 ? 1.0 : std::fmax(std::sin(low), std::sin(high));
    case emission_law::spot:
    {
        const double c = std::cos(low);
        return c > 0.0 && c >= l.cos_field - 1e-6 ? std::pow(c, double(l.spot_exponent)) : 0.0;
    }
    case emission_law::table:
        return largest_of_table(*l.goniometry, low, high);
    case emission_law::even:
        break;
    }
    return 1.0;
}

light_bounds bounds_of(const light& l)
{
    light_bounds b = {};
    enclose(b, l);
    const bool has_law = l.falloff != 0.0 && l.type != LIGHT_DAYLIGHT;
    const emission_law law = has_law ? law_of(l, true) : emission_law::even;
    b.is_even = law == emission_law::even;
    b.axis = law == emission_law::sine ? l.axis_u : l.normal;
    b.peak = float(strength_of(l));
    for (int i = 0; i < band_count; ++i)
    {
        b.reach[i] = float(b.peak * largest_between(l, law, i * band_rad, (i + 1) * band_rad));
    }
    return b;
}

/// Most that goes into directions between two angles from the axis.
float largest_reach(const light_bounds& b, double low, double high)
{
    if (b.is_even) { return b.peak; }
    const int first = std::max(int((low - angle_error) / band_rad), 0);
    const int last = std::min(int((high + angle_error) / band_rad), band_count - 1);
    float largest = 0.0f;
    for (int i = first; i <= last; ++i) { largest = std::fmax(largest, b.reach[i]); }
    return largest;
}

/// The arc cosine within 7e-5: Abramowitz and Stegun, "Handbook of mathematical functions" (1964), 4.4.45.
double near_acos(double cosine)
{
    const double x = std::fmin(std::fabs(cosine), 1.0);
    const double a = std::sqrt(1.0 - x) * (1.5707288 + x * (-0.2121144 + x * (0.0742610 - x * 0.0187293)));
    return cosine < 0.0 ? M_PI - a : a;
}

double angle_between(const vector3& a, const vector3& b)
{
    return std::acos(std::clamp(dot(a, b), -1.0, 1.0));
}

/// Adds what one part sends to the bands of the whole, whose axis is another.
void add_reach(light_bounds& sum, const light_bounds& part)
{
    const double turn = part.is_even ? 0.0 : angle_between(sum.axis, part.axis);
    for (int i = 0; i < band_count; ++i)
    {
        // Bands that agree are taken as they are.
        sum.reach[i] +=
            turn < 1e-6 ? part.reach[i] : largest_reach(part, i * band_rad - turn, (i + 1) * band_rad + turn);
    }
}

light_bounds merged(const light_bounds& a, const light_bounds& b)
{
    light_bounds sum = {};
    const vector3 apart = b.center - a.center;
    const double d = length(apart);
    if (d + b.radius <= a.radius) { sum.center = a.center, sum.radius = a.radius; }
    else if (d + a.radius <= b.radius) { sum.center = b.center, sum.radius = b.radius; }
    else
    {
        sum.radius = 0.5 * (d + a.radius + b.radius);
        sum.center = a.center + apart * ((sum.radius - a.radius) / d);
    }
    const vector3 axis = a.axis * (a.is_even ? 0.0 : a.peak) + b.axis * (b.is_even ? 0.0 : b.peak);
    sum.axis = length(axis) > geometry_zero ? normalized(axis) : a.axis;
    sum.is_even = a.is_even && b.is_even;
    add_reach(sum, a);
    add_reach(sum, b);
    sum.peak = *std::max_element(sum.reach, sum.reach + band_count);
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
        if (is_distant) { tree.distant_power += entry.bounds.peak; }
    }
    return true;
}

/// A point that is lit, and the side.
struct lit_place
{
    const vector3& point;
    const vector3& normal;
    bool both_sides;
};

/// What may reach a place from the sources of a node, up to a factor; 0 only where nothing can. `vagueness`
/// is the share of it that may lie anywhere within the node.
double importance(const light_bounds& b, const lit_place& at, double& vagueness)
{
    const vector3 to_center = b.center - at.point;
    const double squared = dot(to_center, to_center), radius_squared = b.radius * b.radius;
    vagueness = 1.0;
    if (squared == 0.0 && radius_squared == 0.0) { return 0.0; } // a light source gives nothing at distance 0
    if (squared <= radius_squared) { return b.peak / std::fmax(radius_squared, geometry_zero); }
    const double distance = std::sqrt(squared), sine = b.radius / distance;
    vagueness = sine;
    const vector3 direction = to_center * (1.0 / distance);
    const double far_cosine = std::sqrt(1.0 - sine * sine);
    // The best cosine over the ball: that of the angle to its middle less its half angle.
    double cosine = dot(at.normal, direction);
    if (at.both_sides || cosine >= far_cosine) { cosine = 1.0; }
    else
    {
        cosine = cosine * far_cosine + std::sqrt(std::fmax(1.0 - cosine * cosine, 0.0)) * sine;
        if (!(cosine > 0.0)) { return 0.0; }
    }
    if (b.is_even) { return b.peak * cosine / squared; }
    const double angle = near_acos(-dot(b.axis, direction)), spread = M_PI / 2 - near_acos(sine);
    return largest_reach(b, angle - spread - angle_error, angle + spread + angle_error) * cosine / squared;
}

light_pick pick_distant(double u)
{
    double below = 0.0;
    for (const light_entry& e : tree.distant)
    {
        const double share = e.bounds.peak / tree.distant_power;
        if (u < below + share || &e == tree.distant.end() - 1) { return { e.source, share }; }
        below += share;
    }
    return {};
}

/// Goes down from a node, of which `vagueness` is known, to one of its luminaires.
light_pick pick_below(const light_node* node, double vagueness, const lit_place& at, double u)
{
    constexpr double near_enough = 0.1; // half angle under which a node is small
    double probability = 1.0;
    while (!node->source)
    {
        const light_node* child = &tree.nodes[node->first_child];
        double a = child[0].bounds.peak, b = child[1].bounds.peak;
        // Seen from far away lights that shine all round differ by their power alone.
        if (!node->bounds.is_even || vagueness > near_enough)
        {
            double other;
            a = importance(child[0].bounds, at, vagueness);
            b = importance(child[1].bounds, at, other);
            vagueness = std::fmax(vagueness, other);
        }
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

/// Nodes that share all luminaires of the tree among them.
struct tree_cut
{
    struct part
    {
        const light_node* node;
        double importance, vagueness;
    };
    part parts[max_light_candidates];
    int count;
    double sum; ///< of the importances
};

void add_part(tree_cut& cut, const light_node& node, const lit_place& at)
{
    tree_cut::part part = { &node, 0.0, 0.0 };
    part.importance = importance(node.bounds, at, part.vagueness);
    if (!(part.importance > 0.0)) { return; }
    cut.parts[cut.count++] = part;
    cut.sum += part.importance;
}

/// Divides the nodes of which least is known, until the rest is too little to matter or there is no more
/// room.
void divide(tree_cut& cut, const lit_place& at)
{
    constexpr double enough = 0.01; // share of the point's light that one node may leave open
    while (cut.count > 0 && cut.count < max_light_candidates)
    {
        tree_cut::part* widest = nullptr;
        double most = enough * cut.sum;
        for (tree_cut::part* p = cut.parts; p < cut.parts + cut.count; ++p)
        {
            const double open = p->importance * p->vagueness;
            if (p->node->source || open <= most) { continue; }
            most = open;
            widest = p;
        }
        if (!widest) { return; }
        const light_node* child = &tree.nodes[widest->node->first_child];
        cut.sum -= widest->importance;
        *widest = cut.parts[--cut.count];
        add_part(cut, child[0], at);
        add_part(cut, child[1], at);
    }
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

int pick_light_candidates(const vector3& point, const vector3& normal, bool both_sides, double u,
    light_pick picks[max_light_candidates])
{
    if (tree.nodes.count == 0) { return 0; }
    if (tree.nodes[0].source)
    {
        picks[0] = { tree.nodes[0].source, 1.0 };
        return 1;
    }
    const lit_place at = { point, normal, both_sides };
    tree_cut cut = {};
    add_part(cut, tree.nodes[0], at);
    divide(cut, at);
    int count = 0;
    for (int i = 0; i < cut.count; ++i)
    {
        // Each part goes down by a number of its own.
        const double own = u + i * 0.6180339887498949;
        const light_pick pick =
            pick_below(cut.parts[i].node, cut.parts[i].vagueness, at, own - std::floor(own));
        if (pick.source) { picks[count++] = pick; }
    }
    return count;
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
        picked = pick_below(
            &tree.nodes[0], 1.0, { point, normal, both_sides }, (u - tree.distant_share) / placed_share);
        picked.probability *= placed_share;
    }
    return picked;
}

} // namespace zr
