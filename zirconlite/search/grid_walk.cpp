// Walking a ray through the voxel grid: digital differential analysis down two levels. After Amanatides and
// Woo, "A fast voxel traversal algorithm for ray tracing", Eurographics 1987.
#include <cmath>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/search/voxel_grid.hpp"

namespace zr
{

namespace
{

/// Slack of a cell's interval: hits on a border belong to both cells.
constexpr double border_slack = 1e-10;

/// What stays the same along one walk.
struct walk_ray
{
    const voxel_grid& grid;
    scene_object* const* objects;
    double origin[3], direction[3], inverse[3];
    bool forward[3]; ///< direction is at least 0
};

/// Keeps the nearest hit in the ray. The first cell with a hit inside its own interval has the nearest one.
struct nearest_test
{
    ray& r;
    double limit() const { return r.hit_t < r.t_max ? r.hit_t : r.t_max; }
    bool cell(const walk_ray& w, const voxel_cell& here, double t_low, double t_high)
    {
        const uint32_t* numbers = &w.grid.object_numbers[here.head];
        const auto count = size_t(here.count);
        const object_vft* first = w.objects[numbers[0]]->vft;
        if (first->intersect_many)
        {
            return first->intersect_many(&r, w.objects, numbers, count, t_low, t_high) != 0;
        }
        bool improved = false;
        for (size_t i = 0; i < count; ++i)
        {
            scene_object* object = w.objects[numbers[i]];
            improved |= object->vft->intersect(&r, object, t_low, t_high) != 0;
        }
        return improved;
    }
};

/// Shows each hit of a cell to a visitor.
struct visiting_test
{
    ray& r;
    hit_visitor visit;
    void* context;
    double limit() const { return r.t_max; }
    bool cell(const walk_ray& w, const voxel_cell& here, double t_low, double t_high)
    {
        const uint32_t* numbers = &w.grid.object_numbers[here.head];
        for (int32_t i = 0; i < here.count; ++i)
        {
            scene_object* object = w.objects[numbers[i]];
            r.hit_t = ZR_FAR;
            r.hit_object = nullptr;
            if (object->vft->intersect(&r, object, t_low, t_high) && visit(context, r)) { return true; }
        }
        return false;
    }
};

template <class Test>
bool walk(const voxel_grid& grid, scene_object* const* objects, const ray& r, Test& test);
bool enter_root(const walk_ray& w, const bounding_box& box, double& t_out);
template <class Test> bool walk_node(const walk_ray& w, uint32_t node_number, double t, Test& test);
int32_t clamped_index(double position, const voxel_level& level, int axis);

} // namespace

bool grid_nearest_hit(const voxel_grid& grid, scene_object* const* objects, ray& r)
{
    nearest_test test = { r };
    return walk(grid, objects, r, test);
}

bool grid_visit_hits(
    const voxel_grid& grid, scene_object* const* objects, ray& r, hit_visitor visit, void* context)
{
    visiting_test test = { r, visit, context };
    return walk(grid, objects, r, test);
}

namespace
{

template <class Test>
bool walk(const voxel_grid& grid, scene_object* const* objects, const ray& r, Test& test)
{
    const walk_ray w = {
        .grid = grid,
        .objects = objects,
        .origin = { r.origin.x, r.origin.y, r.origin.z },
        .direction = { r.direction.x, r.direction.y, r.direction.z },
        .inverse = { r.inv_direction.x, r.inv_direction.y, r.inv_direction.z },
        .forward = { r.direction.x >= 0.0, r.direction.y >= 0.0, r.direction.z >= 0.0 },
    };
    double t;
    return enter_root(w, grid.nodes[grid.root].bounds, t) && walk_node(w, grid.root, t, test);
}

/// Where the ray enters the root box: false when it misses it. Touching counts as entering.
bool enter_root(const walk_ray& w, const bounding_box& box, double& t_out)
{
    double enter = 0.0, leave = ZR_FAR;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double low = component(box.min, axis), high = component(box.max, axis);
        const double a = (low - w.origin[axis]) * w.inverse[axis];
        const double b = (high - w.origin[axis]) * w.inverse[axis];
        enter = std::fmax(enter, std::fmin(a, b));
        leave = std::fmin(leave, std::fmax(a, b));
    }
    t_out = enter;
    return enter <= leave * (1.0 + 1e-12) + border_slack;
}

/// Walks the cells of one node from distance `t` on. `test(cell, t_low, t_high)` is called for every cell
/// that holds entries, in order; true ends the walk. `limit()` is the distance beyond which nothing counts.
template <class Test> bool walk_node(const walk_ray& w, uint32_t node_number, double t, Test& test)
{
    const voxel_node& node = w.grid.nodes[node_number];
    const voxel_level& level = w.grid.levels[node.level];
    const double low[3] = { node.bounds.min.x, node.bounds.min.y, node.bounds.min.z };
    double cross[3], step[3];
    int32_t left[3];      // cells between the current one and the border
    int64_t cell_step[3]; // along the array
    int64_t cell = node.cells;
    for (int axis = 0; axis < 3; ++axis)
    {
        const int32_t i = clamped_index(w.origin[axis] + t * w.direction[axis] - low[axis], level, axis);
        const double plane = (w.forward[axis] ? i + 1 : i) * level.cell_size[axis] + low[axis];
        cross[axis] = (plane - w.origin[axis]) * w.inverse[axis];
        step[axis] = std::fabs(level.cell_size[axis] * w.inverse[axis]);
        left[axis] = w.forward[axis] ? level.max_index[axis] - i : i;
        cell_step[axis] = w.forward[axis] ? level.stride[axis] : -level.stride[axis];
        cell += int64_t(i) << level.shift[axis];
    }
    const voxel_cell* cells = w.grid.cells.items;
    for (;;)
    {
        if (t > test.limit()) { return false; }
        const int axis = cross[0] <= cross[1] && cross[0] <= cross[2] ? 0 : cross[1] <= cross[2] ? 1 : 2;
        const double t_next = cross[axis];
        const voxel_cell& here = cells[cell];
        if (here.count)
        {
            const bool ended = here.count == split_cell
                                   ? walk_node(w, here.head, t, test)
                                   : test.cell(w, here, t - border_slack, t_next + border_slack);
            if (ended) { return true; }
        }
        if (left[axis] == 0) { return false; }
        --left[axis];
        cell += cell_step[axis];
        t = t_next;
        cross[axis] += step[axis];
    }
}

int32_t clamped_index(double position, const voxel_level& level, int axis)
{
    const double index = position * level.inv_cell_size[axis];
    if (!(index > 0.0)) { return 0; }
    return index >= level.max_index[axis] ? level.max_index[axis] : int32_t(index);
}

} // namespace

} // namespace zr
