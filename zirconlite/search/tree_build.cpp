// Building the search tree.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <new>
#include <string.h>

#include "zirconlite/platform/processor.hpp"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/search/hit_error.hpp"
#include "zirconlite/search/search_tree.hpp"
#include "zirconlite/search/tree_split.hpp"

namespace zr
{

namespace
{

constexpr size_t min_task = 4096; ///< subtrees of this many objects and below are built in one go
constexpr size_t tasks_wanted = 64;
constexpr int max_threads = 8;

/// A part of the tree with arrays of its own, so that parts can be built side by side.
struct tree_part
{
    array<tree_node> nodes;
    array<triangle_block> blocks;
    array<object_run> runs;
    build_range range;
    uint32_t root;
    int32_t depth;
    bool failed;
};

/// What a build works on.
struct builder
{
    build_ref* refs;
    scene_object* const* objects; ///< by number
};

/// The whole build: the upper nodes one by one, then the subtrees below them on all threads, then all put
/// together in a fixed order.
struct tree_work
{
    builder b;
    search_tree& tree;
    size_t task_size;
    array<tree_node> top_nodes;
    array<tree_part*> parts;
    array<uint32_t> part_parents; ///< node and lane of each part: node x 8 + lane
    size_t next_part;             ///< atomic
    int32_t stop;                 ///< atomic
    const build_monitor& monitor;
    size_t done_objects;
    size_t all_objects;
};

build_ref make_ref(scene_object* object);
float outward(double bound, float side);
build_result build_top(tree_work& w, const build_range& all);
bool add_part(tree_work& w, const build_range& r, uint32_t parent);
build_result build_parts(tree_work& w, int threads);
void part_thread(void* argument);
bool build_next_part(tree_work& w);
uint32_t build_subtree(const builder& b, tree_part& part, const build_range& r, int depth);
uint32_t put_leaf(const builder& b, tree_part& part, const build_range& r);
void put_triangle(triangle_block& block, int lane, const scene_object* object);
int find_children(const builder& b, const build_range& r, build_range children[tree_width]);
tree_node make_node(const build_range* children, int count);
build_result join_parts(tree_work& w);
bool make_store(search_tree& tree, size_t nodes, size_t blocks, size_t runs);
template <class T> void append(T* to, size_t& count, const array<T>& from);
uint32_t moved(uint32_t reference, uint32_t nodes, uint32_t blocks, uint32_t runs);
void free_parts(tree_work& w);

} // namespace

size_t tree_bytes(const search_tree& tree)
{
    return tree.node_count * sizeof(tree_node) + tree.block_count * sizeof(triangle_block) +
           tree.run_count * sizeof(object_run);
}

void clear_tree(search_tree& tree)
{
    zr_free(tree.store);
    tree = {};
    tree.root = reference_none;
}

build_result build_tree(
    search_tree& tree, const listed_objects& objects, int threads, const build_monitor& monitor)
{
    clear_tree(tree);
    if (objects.count == 0) { return build_result::done; }
    array<build_ref> refs;
    if (!refs.reserve(objects.count)) { return build_result::out_of_memory; }
    size_t visited = 0;
    for (scene_object* list : objects.lists)
    {
        for (scene_object* object = list; object; object = object->next)
        {
            if (object->vft && object->vft->intersect) { refs.push(make_ref(object)); }
            constexpr size_t objects_per_look = 4096;
            if (++visited % objects_per_look == 0 && !monitor.goes_on(monitor.context, 0.0))
            {
                return build_result::stopped;
            }
        }
    }
    if (refs.count == 0) { return build_result::done; }
    // Oldest first: neighbours in the lists are neighbours in memory, and reading that forward is faster.
    std::reverse(refs.begin(), refs.end());
    const size_t task_size = std::max(min_task, refs.count / tasks_wanted);
    tree_work w = { { refs.items, objects.table }, tree, task_size, {}, {}, {}, 0, 0, monitor, 0,
        refs.count };
    build_result result = build_top(w, whole_range(refs.items, refs.count));
    if (result == build_result::done) { result = build_parts(w, threads); }
    if (result == build_result::done) { result = join_parts(w); }
    free_parts(w);
    if (result != build_result::done) { clear_tree(tree); }
    return result;
}

namespace
{

build_ref make_ref(scene_object* object)
{
    bounding_box box = { { 1.0, 1.0, 1.0 }, { 0.0, 0.0, 0.0 } };
    if (object->vft->get_bounds) { object->vft->get_bounds(object, &box); }
    const double error = hit_error(box);
    const double low[3] = { box.min.x, box.min.y, box.min.z }, high[3] = { box.max.x, box.max.y, box.max.z };
    float low_out[3], high_out[3];
    for (int axis = 0; axis < 3; ++axis)
    {
        // An object without bounds on an axis may be hit anywhere along it.
        const bool bounded = low[axis] <= high[axis];
        low_out[axis] = bounded ? outward(low[axis] - error, -1.0f) : -FLT_MAX;
        high_out[axis] = bounded ? outward(high[axis] + error, 1.0f) : FLT_MAX;
    }
    return make_build_ref(
        low_out, high_out, object->number, object->vft->get_triangle && object->vft->complete_hit);
}

/// A bound in f32 on the outer side (`side` -1 low, 1 high). Boxes stay finite, so that the differences in
/// the box test are never NaN.
float outward(double bound, float side)
{
    const double clamped = bound < -double(FLT_MAX)  ? -double(FLT_MAX)
                           : bound > double(FLT_MAX) ? double(FLT_MAX)
                                                     : bound;
    const auto rounded = float(clamped);
    const float ulps = (rounded < 0.0f ? -rounded : rounded) * 1.2e-7f + FLT_MIN;
    const float moved = rounded + side * ulps;
    return moved < -FLT_MAX ? -FLT_MAX : moved > FLT_MAX ? FLT_MAX : moved;
}

build_result build_top(tree_work& w, const build_range& all)
{
    struct pending
    {
        build_range range;
        uint32_t parent;
    };
    array<pending> queue;
    constexpr uint32_t no_parent = reference_none;
    if (!queue.push({ all, no_parent })) { return build_result::out_of_memory; }
    for (size_t i = 0; i < queue.count; ++i)
    {
        const pending p = queue[i];
        if (p.range.count() <= w.task_size || is_leaf(w.b.refs, p.range))
        {
            if (!add_part(w, p.range, p.parent)) { return build_result::out_of_memory; }
            continue;
        }
        if (!w.monitor.goes_on(w.monitor.context, 0.0)) { return build_result::stopped; }
        build_range children[tree_width];
        const int count = find_children(w.b, p.range, children);
        if (!w.top_nodes.push(make_node(children, count))) { return build_result::out_of_memory; }
        const auto number = uint32_t(w.top_nodes.count - 1);
        if (p.parent == no_parent) { w.tree.root = reference_node | number; }
        else { w.top_nodes[p.parent / tree_width].children[p.parent % tree_width] = reference_node | number; }
        for (int k = 0; k < count; ++k)
        {
            if (!queue.push({ children[k], number * tree_width + uint32_t(k) }))
            {
                return build_result::out_of_memory;
            }
        }
    }
    return build_result::done;
}

bool add_part(tree_work& w, const build_range& r, uint32_t parent)
{
    void* block = zr_calloc(1, sizeof(tree_part));
    if (!block) { return false; }
    auto* part = new (block) tree_part{};
    part->range = r;
    if (!w.parts.push(part))
    {
        part->~tree_part();
        zr_free(part);
        return false;
    }
    return w.part_parents.push(parent);
}

build_result build_parts(tree_work& w, int threads)
{
    zr_handle pool[max_threads] = {};
    for (int i = 1; i < threads && i < max_threads; ++i)
    {
        pool[i] = platform::start_thread(part_thread, &w, 0);
    }
    bool stopped = false;
    while (build_next_part(w))
    {
        const double done = double(platform::load_word(&w.done_objects));
        if (w.monitor.goes_on(w.monitor.context, done / double(w.all_objects))) { continue; }
        stopped = true;
        platform::store_word(&w.stop, 1);
    }
    for (zr_handle thread : pool)
    {
        if (thread) { platform::wait_for_thread(thread, -1); }
        platform::close_thread(thread);
    }
    if (stopped) { return build_result::stopped; }
    for (const tree_part* part : w.parts)
    {
        if (part->failed) { return build_result::out_of_memory; }
    }
    return build_result::done;
}

void part_thread(void* argument)
{
    while (build_next_part(*static_cast<tree_work*>(argument))) {}
}

bool build_next_part(tree_work& w)
{
    const size_t i = platform::add_to_word(&w.next_part, 1);
    if (i >= w.parts.count || platform::load_word(&w.stop)) { return false; }
    tree_part& part = *w.parts[i];
    // Leaves come out about four fifths full, nodes with some six children.
    part.failed |= !part.blocks.reserve(part.range.count() * 5 / 16 + 8) ||
                   !part.nodes.reserve(part.range.count() / 18 + 8);
    part.root = build_subtree(w.b, part, part.range, 0);
    platform::add_to_word(&w.done_objects, part.range.count());
    return true;
}

/// Builds the subtree of a range in `part`; its reference.
uint32_t build_subtree(const builder& b, tree_part& part, const build_range& r, int depth)
{
    if (part.failed) { return reference_none; }
    if (is_leaf(b.refs, r)) { return put_leaf(b, part, r); }
    if (depth + 1 > part.depth) { part.depth = depth + 1; }
    build_range children[tree_width];
    const int count = find_children(b, r, children);
    if (!part.nodes.push(make_node(children, count)))
    {
        part.failed = true;
        return reference_none;
    }
    const size_t number = part.nodes.count - 1;
    for (int i = 0; i < count; ++i)
    {
        const uint32_t child = build_subtree(b, part, children[i], depth + 1);
        part.nodes[number].children[i] = child;
    }
    return reference_node | uint32_t(number);
}

uint32_t put_leaf(const builder& b, tree_part& part, const build_range& r)
{
    if (!is_triangle(b.refs[r.first]))
    {
        object_run run = {};
        for (size_t i = r.first; i < r.end; ++i) { run.numbers[i - r.first] = number_of(b.refs[i]); }
        part.failed |= !part.runs.push(run);
        return reference_objects | uint32_t(part.runs.count - 1);
    }
    triangle_block block = {};
    for (size_t i = r.first; i < r.end; ++i)
    {
        const auto* object = reinterpret_cast<const char*>(b.objects[number_of(b.refs[i])]);
        __builtin_prefetch(object);
        __builtin_prefetch(object + 64);
    }
    for (size_t i = r.first; i < r.end; ++i)
    {
        put_triangle(block, int(i - r.first), b.objects[number_of(b.refs[i])]);
    }
    part.failed |= !part.blocks.push(block);
    return reference_block | uint32_t(part.blocks.count - 1);
}

void put_triangle(triangle_block& block, int lane, const scene_object* object)
{
    triangle_coefficients t;
    object->vft->get_triangle(object, &t);
    for (int axis = 0; axis < 3; ++axis) { block.normal[axis][lane] = t.normal[axis]; }
    block.plane_d[lane] = t.plane_d;
    for (int k = 0; k < 2; ++k)
    {
        block.edge_a[k][lane] = t.edge_a[k];
        block.edge_b[k][lane] = t.edge_b[k];
        block.vertex_1[k][lane] = t.vertex_1[k];
        block.vertex_2[k][lane] = t.vertex_2[k];
    }
    block.first_is_y[lane] = t.axes[0] == 1 ? -1 : 0;
    block.second_is_z[lane] = t.axes[1] == 2 ? -1 : 0;
    block.numbers[lane] = object->number;
}

/// Cuts a range until it gives eight children, the largest first.
int find_children(const builder& b, const build_range& r, build_range children[tree_width])
{
    int count = 1;
    children[0] = r;
    while (count < tree_width)
    {
        int widest = -1;
        float area = -1.0f;
        for (int i = 0; i < count; ++i)
        {
            const float a = half_area(children[i].box);
            if (is_leaf(b.refs, children[i]) || !(a > area || widest < 0)) { continue; }
            widest = i;
            area = a;
        }
        if (widest < 0) { break; }
        build_range left, right;
        split_range(b.refs, children[widest], left, right);
        children[widest] = left;
        children[count++] = right;
    }
    return count;
}

tree_node make_node(const build_range* children, int count)
{
    tree_node node;
    for (int lane = 0; lane < tree_width; ++lane)
    {
        for (int axis = 0; axis < 3; ++axis)
        {
            node.bounds[0][axis][lane] = lane < count ? low_of(children[lane].box, axis) : FLT_MAX;
            node.bounds[1][axis][lane] = lane < count ? high_of(children[lane].box, axis) : -FLT_MAX;
        }
        node.children[lane] = reference_none;
    }
    return node;
}

/// Puts the upper nodes and then the parts, in their order, into the tree, and ties the parts to their
/// parents.
build_result join_parts(tree_work& w)
{
    search_tree& tree = w.tree;
    size_t nodes = w.top_nodes.count, blocks = 0, runs = 0;
    for (const tree_part* part : w.parts)
    {
        nodes += part->nodes.count;
        blocks += part->blocks.count;
        runs += part->runs.count;
    }
    if (nodes >= reference_number || blocks >= reference_number || runs >= reference_number ||
        !make_store(tree, nodes, blocks, runs))
    {
        return build_result::out_of_memory;
    }
    append(tree.nodes, tree.node_count, w.top_nodes);
    for (size_t i = 0; i < w.parts.count; ++i)
    {
        tree_part& part = *w.parts[i];
        const auto node0 = uint32_t(tree.node_count);
        const auto block0 = uint32_t(tree.block_count);
        const auto run0 = uint32_t(tree.run_count);
        for (tree_node& node : part.nodes)
        {
            for (uint32_t& child : node.children) { child = moved(child, node0, block0, run0); }
        }
        append(tree.nodes, tree.node_count, part.nodes);
        append(tree.blocks, tree.block_count, part.blocks);
        append(tree.runs, tree.run_count, part.runs);
        const uint32_t root = moved(part.root, node0, block0, run0);
        const uint32_t parent = w.part_parents[i];
        if (parent == reference_none) { tree.root = root; }
        else { tree.nodes[parent / tree_width].children[parent % tree_width] = root; }
        tree.depth = std::max(tree.depth, part.depth + part.range.depth);
        part.nodes.clear();
        part.blocks.clear();
        part.runs.clear();
    }
    return build_result::done;
}

/// Room for so many nodes, leaves and runs, in one block.
bool make_store(search_tree& tree, size_t nodes, size_t blocks, size_t runs)
{
    constexpr size_t line = 64;
    const size_t bytes =
        nodes * sizeof(tree_node) + blocks * sizeof(triangle_block) + runs * sizeof(object_run);
    tree.store = zr_malloc(bytes + line);
    if (!tree.store) { return false; }
    platform::prefer_large_pages(tree.store, bytes + line);
    const uintptr_t first = (reinterpret_cast<uintptr_t>(tree.store) + line - 1) / line * line;
    tree.nodes = reinterpret_cast<tree_node*>(first);
    tree.blocks = reinterpret_cast<triangle_block*>(first + nodes * sizeof(tree_node));
    tree.runs =
        reinterpret_cast<object_run*>(first + nodes * sizeof(tree_node) + blocks * sizeof(triangle_block));
    return true;
}

template <class T> void append(T* to, size_t& count, const array<T>& from)
{
    if (from.count) { memcpy(static_cast<void*>(to + count), from.items, from.count * sizeof(T)); }
    count += from.count;
}

uint32_t moved(uint32_t reference, uint32_t nodes, uint32_t blocks, uint32_t runs)
{
    if (reference == reference_none) { return reference; }
    switch (reference & reference_kind)
    {
    case reference_node:
        return reference + nodes;
    case reference_block:
        return reference + blocks;
    default:
        return reference + runs;
    }
}

void free_parts(tree_work& w)
{
    for (tree_part* part : w.parts)
    {
        part->~tree_part();
        zr_free(part);
    }
    w.parts.count = 0;
}

} // namespace

} // namespace zr
