// Entering objects into the cells of the voxel grid.
#include "zirconlite/search/grid_insertion.hpp"

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/search/hit_error.hpp"
#include "zirconlite/search/voxel_grid.hpp"

namespace zr
{

namespace
{

/// A box is small for a level when two of its sides are below this share of a cell.
constexpr double small_share = 0.25;

struct cell_range
{
    int32_t first[3], last[3];
    bool single() const { return first[0] == last[0] && first[1] == last[1] && first[2] == last[2]; }
};

/// The insertion of one object into one node. Nodes move when their array grows, so they go by number.
struct insertion
{
    voxel_grid& grid;
    uint32_t node;
    scene_object* object;
    bool small;
};

/// Which of a node's cells a polygon crosses.
class polygon_test
{
public:
    polygon_test(const vector3* vertices, int count) : vertices_(vertices), count_(count)
    {
        normal_ = cross(vertices[1] - vertices[0], vertices[2] - vertices[0]);
    }

    bool crosses(const bounding_box& cell)
    {
        return count_ == 0 || ((count_ > 3 || plane_crosses(cell)) && survives_clipping(cell));
    }

private:
    /// Whether the plane of a triangle passes through the cell: most cells of its box it misses.
    bool plane_crosses(const bounding_box& cell) const
    {
        const vector3 centre = (cell.min + cell.max) * 0.5, half = (cell.max - cell.min) * 0.5;
        const double reach =
            std::fabs(normal_.x) * half.x + std::fabs(normal_.y) * half.y + std::fabs(normal_.z) * half.z;
        return std::fabs(dot(normal_, centre - vertices_[0])) <= reach * (1.0 + 1e-9);
    }

    bool survives_clipping(const bounding_box& cell)
    {
        const vector3 &lo = cell.min, &hi = cell.max;
        const clip_plane planes[6] = {
            { { 0, 0, 1 }, hi, hi.z },
            { { 0, 0, -1 }, lo, -lo.z },
            { { 1, 0, 0 }, hi, hi.x },
            { { -1, 0, 0 }, lo, -lo.x },
            { { 0, 1, 0 }, hi, hi.y },
            { { 0, -1, 0 }, lo, -lo.y },
        };
        const clip_set set = { 6, planes };
        constexpr int room = max_inserted_corners + 6 + 2;
        vector3 polygon[room], scratch[room];
        for (int i = 0; i < count_; ++i) { polygon[i] = vertices_[i]; }
        vector3* result;
        return zr_sh_clip_arbitrary(&set, count_, polygon, scratch, &result) != 0;
    }

    const vector3* vertices_;
    int count_;
    vector3 normal_;
};

insertion begin_insertion(voxel_node* node, scene_object* object, const bounding_box& box);
bool is_small(const bounding_box& box, const voxel_level& level);
void enter_range(insertion& in, const bounding_box& box, polygon_test* polygon);
cell_range range_of(const voxel_node& node, const voxel_level& level, const bounding_box& box, double error);
int32_t cell_index(double position, const voxel_level& level, int axis);
void enter_cell(insertion& in, uint32_t cell, const bounding_box& box);
void push_entry(insertion& in, uint32_t cell);
uint32_t new_entry(voxel_grid& grid);
void split(insertion& in, uint32_t cell, const bounding_box& box);

} // namespace

void insert_box(voxel_node* node, scene_object* object, const bounding_box& box)
{
    insertion in = begin_insertion(node, object, box);
    enter_range(in, box, nullptr);
}

void insert_polygon(voxel_node* node, scene_object* object, int vertex_count, const vector3* vertices,
    const bounding_box& box)
{
    insertion in = begin_insertion(node, object, box);
    polygon_test polygon(vertices, vertex_count);
    enter_range(in, box, &polygon);
}

namespace
{

insertion begin_insertion(voxel_node* node, scene_object* object, const bounding_box& box)
{
    voxel_grid& grid = *node->grid;
    return { grid, uint32_t(node - grid.nodes.items), object, is_small(box, grid.levels[node->level]) };
}

bool is_small(const bounding_box& box, const voxel_level& level)
{
    const vector3 size = box.max - box.min;
    int small_sides = 0;
    for (int axis = 0; axis < 3; ++axis)
    {
        small_sides += component(size, axis) * level.inv_cell_size[axis] < small_share;
    }
    return small_sides >= 2;
}

void enter_range(insertion& in, const bounding_box& box, polygon_test* polygon)
{
    // Both are copied: the arrays that hold them grow while cells are entered.
    const voxel_node node = in.grid.nodes[in.node];
    const voxel_level& level = in.grid.levels[node.level];
    const double error = hit_error(box);
    const cell_range range = range_of(node, level, box, error);
    const bool test = polygon && !range.single();
    const vector3 margin = { error, error, error };

    for (int32_t x = range.first[0]; x <= range.last[0]; ++x)
    {
        for (int32_t y = range.first[1]; y <= range.last[1]; ++y)
        {
            for (int32_t z = range.first[2]; z <= range.last[2]; ++z)
            {
                bounding_box cell_box;
                cell_box.min = node.bounds.min + vector3{ x * level.cell_size[0], y * level.cell_size[1],
                    z * level.cell_size[2] };
                cell_box.max =
                    cell_box.min + vector3{ level.cell_size[0], level.cell_size[1], level.cell_size[2] };
                if (test && !polygon->crosses({ cell_box.min - margin, cell_box.max + margin })) { continue; }
                const uint32_t cell = node.cells + (uint32_t(x) << level.shift[0]) +
                                      (uint32_t(y) << level.shift[1]) + uint32_t(z);
                enter_cell(in, cell, cell_box);
            }
        }
    }
}

cell_range range_of(const voxel_node& node, const voxel_level& level, const bounding_box& box, double error)
{
    cell_range r;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double origin = component(node.bounds.min, axis);
        const double low = component(box.min, axis), high = component(box.max, axis);
        // An object without bounds on an axis may be hit anywhere along it.
        const bool bounded = low <= high;
        r.first[axis] = bounded ? cell_index(low - error - origin, level, axis) : 0;
        r.last[axis] = bounded ? cell_index(high + error - origin, level, axis) : level.max_index[axis];
    }
    return r;
}

int32_t cell_index(double position, const voxel_level& level, int axis)
{
    const double index = position * level.inv_cell_size[axis];
    if (!(index > 0.0)) { return 0; }
    return index >= level.max_index[axis] ? level.max_index[axis] : int32_t(index);
}

void enter_cell(insertion& in, uint32_t cell, const bounding_box& box)
{
    voxel_grid& grid = in.grid;
    if (grid.out_of_memory) { return; }
    const voxel_level& level = grid.levels[grid.nodes[in.node].level];
    if (grid.cells[cell].count != split_cell)
    {
        grid.cells[cell].count += in.small;
        if (!level.subdivide_at || grid.cells[cell].count < level.subdivide_at)
        {
            push_entry(in, cell);
            return;
        }
        split(in, cell, box);
        if (grid.out_of_memory) { return; }
    }
    in.object->vft->add_to_grid(&grid.nodes[grid.cells[cell].head], in.object);
}

void push_entry(insertion& in, uint32_t cell)
{
    voxel_grid& grid = in.grid;
    const uint32_t entry = new_entry(grid);
    if (!entry) { return; }
    if (grid.reentering) { ++grid.document->build_reentered; }
    grid.entries[entry] = { grid.cells[cell].head, in.object->number };
    grid.cells[cell].head = entry;
    grid.memory_bytes += sizeof(voxel_entry);
}

uint32_t new_entry(voxel_grid& grid)
{
    if (grid.spare)
    {
        const uint32_t entry = grid.spare;
        grid.spare = grid.entries[entry].next;
        return entry;
    }
    if (grid.entries.count >= UINT32_MAX || !grid.entries.push({}))
    {
        grid.out_of_memory = 1;
        return 0;
    }
    return uint32_t(grid.entries.count - 1);
}

/// Puts a node of the next level in the place of a cell and enters the cell's objects in it.
void split(insertion& in, uint32_t cell, const bounding_box& box)
{
    voxel_grid& grid = in.grid;
    const int32_t level = grid.nodes[in.node].level + 1;
    const size_t cell_count = size_t(grid.levels[level].max_index[0] + 1) * grid.levels[level].stride[0];
    const voxel_node node = { box, uint32_t(grid.cells.count), level, &grid };
    if (grid.cells.count + cell_count > UINT32_MAX || !grid.cells.resize(grid.cells.count + cell_count) ||
        !grid.nodes.push(node))
    {
        grid.out_of_memory = 1;
        return;
    }
    const auto node_number = uint32_t(grid.nodes.count - 1);
    grid.memory_bytes += cell_count * sizeof(voxel_cell);
    ++grid.subgrid_count[level - 1];

    uint32_t entry = grid.cells[cell].head;
    grid.cells[cell] = { node_number, split_cell };
    const int32_t outer = grid.reentering;
    grid.reentering = 1;
    while (entry)
    {
        const voxel_entry old = grid.entries[entry];
        scene_object* object = grid.document->object_table[old.object];
        object->vft->add_to_grid(&grid.nodes[node_number], object);
        grid.entries[entry].next = grid.spare;
        grid.spare = entry;
        grid.memory_bytes -= sizeof(voxel_entry);
        entry = old.next;
    }
    grid.reentering = outer;
}

} // namespace

} // namespace zr
