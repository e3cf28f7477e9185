// Building the voxel grid on a thread of its own, with reports to the host.
#include <new>
#include <stdio.h>

#include "zirconlite/frame/dialogs.hpp"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/geometry/object_table.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/search/preprocess.hpp"
#include "zirconlite/search/screen_frustum.h"
#include "zirconlite/search/voxel_grid.hpp"

using namespace zr;

namespace
{

enum preprocess_code
{
    grid_starts = 100,
    grid_advances = 101,
    grid_ends = 102
};
constexpr int32_t preprocess_kind = 0;
constexpr int32_t building_grid_message = 5201;
constexpr int32_t objects_per_report = 32;

int32_t chosen_structure = SEARCH_TREE; // atomic

struct level_shape
{
    double min_flatness; ///< this shape serves scenes whose height is at least this share of their width
    int32_t resolution[3];
    int32_t shift[3];
    int32_t subdivide_at;
    double child_ratio;
};

// Scenes are taken to lie flat on the xy plane: z alone loses resolution.
constexpr level_shape top_shapes[] = {
    { 0.5, { 32, 32, 32 }, { 10, 5, 0 }, 32, 1.0 },
    { 0.25, { 32, 32, 16 }, { 9, 4, 0 }, 32, 1.0 },
    { 0.0, { 32, 32, 8 }, { 8, 3, 0 }, 32, 1.0 },
};
constexpr level_shape sub_shape = { 0.0, { 4, 4, 4 }, { 4, 2, 0 }, 0, 0.25 };

struct build_work
{
    document& doc;
    bool done;
};

voxel_grid* grid_record(document& doc);
void set_progress_texts(progress& record);
void build_thread(void* argument);
bool build(document& doc);
bool build_search_tree(document& doc, size_t count);
bool start_list(document& doc, const scene_object* list);
bool tree_goes_on(void* context, double fraction);
bool build_grid(document& doc);
bool make_levels(voxel_grid& grid, document& doc);
const level_shape& top_shape(const vector3& size);
voxel_level make_level(int32_t index, const level_shape& shape);
bounding_box root_box(document& doc);
vector3 size_of(const bounding_box& box);
bool enter_list(document& doc, scene_object* list);
bool stop_asked(document& doc);
bool report_advance(document& doc);
float fraction_done(const document& doc);
bool lay_out_objects(voxel_grid& grid);
void empty_grid(voxel_grid& grid);
void count_memory(voxel_grid& grid);

} // namespace

namespace zr
{

int32_t preprocess_running = 0;

} // namespace zr

int32_t zr_build_voxel_grid(document* doc)
{
    if (!doc || platform::load_word(&preprocess_running))
    {
        report_failure(ZR_ERROR_STATE, "grid: no document, or another build runs");
        return 0;
    }
    if (platform::load_word(&doc->render_thread))
    {
        report_failure(ZR_ERROR_STATE, "grid: a render of the document runs");
        return 0;
    }
    if (!grid_record(*doc))
    {
        report_failure(ZR_ERROR_MEMORY, "grid: memory is exhausted");
        return 0;
    }
    // A request to stop an earlier job is over; only words set from here on stop the build.
    platform::store_word(&doc->preprocess_stop, 0);
    platform::store_word(&doc->stop_render, 0);
    zr_invalidate_screen_frustum(doc);
    set_progress_texts(doc->progress_record);
    platform::store_word(&preprocess_running, 1);
    build_work work = { *doc, false };
    zr_handle thread = platform::start_thread(build_thread, &work, 0);
    doc->preprocess_thread = thread;
    if (thread) { wait_and_serve_messages(thread); }
    else { build_thread(&work); }
    doc->preprocess_thread = nullptr;
    platform::close_thread(thread);
    platform::store_word(&preprocess_running, 0);
    if (work.done) { return 1; }
    const bool no_memory = doc->voxel_grid->out_of_memory != 0;
    if (no_memory) { report_failure(ZR_ERROR_MEMORY, "grid: memory is exhausted"); }
    else { report_failure(ZR_ERROR_STATE, "grid: the build was stopped"); }
    return 0;
}

int32_t zr_free_voxel_grid(document* doc)
{
    doc->state_flags &= ~uint32_t(DOCUMENT_GRID_BUILT);
    if (doc->voxel_grid) { empty_grid(*doc->voxel_grid); }
    return 1;
}

int32_t zr_voxel_grid_stats(const voxel_grid* grid, int32_t counts[12])
{
    for (int i = 0; i < 12; ++i) { counts[i] = 0; }
    if (!grid) { return 0; }
    for (int i = 0; i < grid_levels; ++i) { counts[i] = grid->subgrid_count[i]; }
    counts[10] = grid->level_count;
    counts[11] = grid->memory_bytes > INT32_MAX ? INT32_MAX : int32_t(grid->memory_bytes);
    return 1;
}

int32_t zr_set_search_structure(int32_t structure)
{
    const int32_t before = platform::load_word(&chosen_structure);
    if (structure == SEARCH_GRID || structure == SEARCH_TREE)
    {
        platform::store_word(&chosen_structure, structure);
    }
    else
    {
        report_failure(ZR_ERROR_ARGUMENT, "acceleration structure %d; 0 is the grid, 1 the tree", structure);
    }
    return before;
}

namespace
{

voxel_grid* grid_record(document& doc)
{
    if (!doc.voxel_grid)
    {
        void* block = zr_calloc(1, sizeof(voxel_grid));
        if (!block) { return nullptr; }
        doc.voxel_grid = new (block) voxel_grid{};
        doc.voxel_grid->level_count = grid_levels;
        doc.voxel_grid->document = &doc;
    }
    if (!doc.voxel_memory) { zr_init_memory_list(&doc.voxel_memory, MEMORY_CHUNK_DOCUMENT); }
    return doc.voxel_memory ? doc.voxel_grid : nullptr;
}

void set_progress_texts(progress& record)
{
    const char16_t* title = zr_get_message(nullptr, building_grid_message);
    size_t i = 0;
    for (; title[i] && i < 255; ++i) { record.title[i] = title[i]; }
    record.title[i] = 0;
    record.line1[0] = record.line2[0] = record.line3[0] = 0;
    record.bar.fraction = 0.0;
    record.bar.text[0] = u'0';
    record.bar.text[1] = u'%';
    record.bar.text[2] = 0;
    platform::store_word(&record.state, PROGRESS_WORKING);
}

void build_thread(void* argument)
{
    auto& work = *static_cast<build_work*>(argument);
    work.done = build(work.doc);
    platform::store_word(&work.doc.progress_record.state, work.done ? PROGRESS_FINISHED : PROGRESS_CANCELLED);
}

bool build(document& doc)
{
    doc.state_flags &= ~uint32_t(DOCUMENT_GRID_BUILT);
    voxel_grid& grid = *doc.voxel_grid;
    empty_grid(grid);
    grid.structure = platform::load_word(&chosen_structure);
    grid.level_count = grid_levels;
    doc.build_count = doc.build_reentered = 0;
    size_t count = 0;
    if (!number_listed_objects(&doc, &count))
    {
        grid.out_of_memory = 1;
        return false;
    }
    doc.build_total = int32_t(count < INT32_MAX ? count : INT32_MAX);
    if (!(grid.structure == SEARCH_TREE ? build_search_tree(doc, count) : build_grid(doc))) { return false; }
    count_memory(grid);
    host::progress(preprocess_kind, &doc, nullptr, grid_ends, 1.0f);
    doc.state_flags |= DOCUMENT_GRID_BUILT;
    return true;
}

bool build_search_tree(document& doc, size_t count)
{
    voxel_grid& grid = *doc.voxel_grid;
    root_box(doc);
    if (!start_list(doc, doc.radiosity_objects.first) || !start_list(doc, doc.scene_objects.first) ||
        !tree_goes_on(&doc, 0.0))
    {
        return false;
    }
    const listed_objects objects = { doc.object_table,
        { doc.radiosity_objects.first, doc.scene_objects.first }, count };
    const build_result result =
        build_tree(grid.tree, objects, platform::processor_count(), { tree_goes_on, &doc });
    grid.out_of_memory = result == build_result::out_of_memory;
    grid.memory_bytes = tree_bytes(grid.tree);
    grid.subgrid_count[0] = int32_t(grid.tree.node_count);
    grid.level_count = grid.tree.depth;
    doc.build_count = doc.build_total;
    return result == build_result::done;
}

bool start_list(document& doc, const scene_object* list)
{
    return !list || host::progress(preprocess_kind, &doc, nullptr, grid_starts, 0.0f);
}

bool tree_goes_on(void* context, double fraction)
{
    document& d = *static_cast<document*>(context);
    d.build_count = int32_t(fraction * d.build_total);
    return !stop_asked(d) && report_advance(d);
}

bool build_grid(document& doc)
{
    voxel_grid& grid = *doc.voxel_grid;
    if (!make_levels(grid, doc) || !enter_list(doc, doc.radiosity_objects.first) ||
        !enter_list(doc, doc.scene_objects.first))
    {
        return false;
    }
    if (lay_out_objects(grid)) { return true; }
    grid.out_of_memory = 1;
    return false;
}

bool make_levels(voxel_grid& grid, document& doc)
{
    const level_shape& top = top_shape(size_of(doc.bounds));
    grid.levels[0] = make_level(0, top);
    grid.levels[1] = make_level(1, sub_shape);
    const bounding_box box = root_box(doc);
    const vector3 size = box.max - box.min;
    double cells_across[3] = { 1.0, 1.0, 1.0 };
    for (voxel_level& level : grid.levels)
    {
        for (int axis = 0; axis < 3; ++axis)
        {
            cells_across[axis] *= level.max_index[axis] + 1;
            level.cell_size[axis] = component(size, axis) / cells_across[axis];
            level.inv_cell_size[axis] = 1.0 / level.cell_size[axis];
        }
    }
    const size_t root_cells = size_t(top.resolution[0]) * top.resolution[1] * top.resolution[2];
    const voxel_node root = { box, 0, 0, &grid };
    grid.memory_bytes = root_cells * sizeof(voxel_cell);
    if (grid.cells.resize(root_cells) && grid.nodes.push(root) && grid.entries.resize(1)) { return true; }
    grid.out_of_memory = 1;
    return false;
}

const level_shape& top_shape(const vector3& size)
{
    const double flatness = (size.z + 0.001) / std::fmin(size.x + 0.001, size.y + 0.001);
    int i = 0;
    while (i < 2 && !(flatness >= top_shapes[i].min_flatness)) { ++i; }
    return top_shapes[i];
}

voxel_level make_level(int32_t index, const level_shape& shape)
{
    voxel_level level = {};
    level.index = index;
    level.subdivide_at = shape.subdivide_at;
    for (int axis = 0; axis < 3; ++axis)
    {
        level.max_index[axis] = shape.resolution[axis] - 1;
        level.shift[axis] = shape.shift[axis];
        level.stride[axis] = 1 << shape.shift[axis];
        level.child_ratio[axis] = shape.child_ratio;
    }
    return level;
}

/// The scene's box with a margin, so that no object touches the border. Sets the document's epsilon.
bounding_box root_box(document& doc)
{
    bounding_box box = doc.bounds;
    if (!(box.min.x <= box.max.x && box.min.y <= box.max.y && box.min.z <= box.max.z)) { box = {}; }
    const vector3 size = size_of(box);
    const double extent = std::fmax(size.x, std::fmax(size.y, size.z));
    doc.epsilon = extent > 0.0 ? extent * 1e-6 : 0.0001;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double margin = component(size, axis) <= geometry_zero ? 0.5 : doc.epsilon;
        component(box.min, axis) -= margin;
        component(box.max, axis) += margin;
    }
    return box;
}

vector3 size_of(const bounding_box& box)
{
    const vector3 size = box.max - box.min;
    const auto extent = [](double d) { return d > 0.0 && std::isfinite(d) ? d : 0.0; };
    return { extent(size.x), extent(size.y), extent(size.z) };
}

/// False when the build was stopped or memory failed.
bool enter_list(document& doc, scene_object* list)
{
    if (!list) { return true; }
    if (!host::progress(preprocess_kind, &doc, nullptr, grid_starts, 0.0f)) { return false; }
    voxel_grid& grid = *doc.voxel_grid;
    for (scene_object* object = list; object; object = object->next)
    {
        if (doc.build_count % objects_per_report == 0 && (stop_asked(doc) || !report_advance(doc)))
        {
            return false;
        }
        ++doc.build_count;
        if (!object->vft || !object->vft->add_to_grid || !object->vft->intersect) { continue; }
        object->vft->add_to_grid(&grid.nodes[grid.root], object);
        if (grid.out_of_memory) { return false; }
    }
    return true;
}

bool stop_asked(document& doc)
{
    const bool asked = platform::load_word(&doc.preprocess_stop) != 0 ||
                       platform::load_word(&doc.stop_render) != 0 ||
                       platform::load_word(&doc.progress_record.state) == PROGRESS_CANCELLED;
    if (asked)
    {
        platform::store_word(&doc.preprocess_stop, 0);
        platform::store_word(&doc.stop_render, 0);
    }
    return asked;
}

bool report_advance(document& doc)
{
    progress_bar& bar = doc.progress_record.bar;
    bar.fraction = fraction_done(doc);
    char text[16];
    snprintf(text, sizeof text, "%.0f%%", bar.fraction * 100.0);
    for (size_t i = 0; i < sizeof text; ++i) { bar.text[i] = char16_t(text[i]); }
    return host::progress(preprocess_kind, &doc, nullptr, grid_advances, float(bar.fraction));
}

float fraction_done(const document& doc)
{
    if (doc.build_total <= 1) { return 0.0f; }
    const double f = double(doc.build_count) / (doc.build_total - 1);
    return float(std::fmin(std::fmax(f, 0.0), 1.0));
}

/// Puts the objects of each cell side by side in the order of the cells, oldest first, so that a walk reads
/// memory forward, and frees the entries.
bool lay_out_objects(voxel_grid& grid)
{
    size_t total = 0;
    for (const voxel_cell& cell : grid.cells)
    {
        for (uint32_t e = cell.count == split_cell ? 0 : cell.head; e; e = grid.entries[e].next) { ++total; }
    }
    if (!grid.object_numbers.reserve(total)) { return false; }
    for (voxel_cell& cell : grid.cells)
    {
        if (cell.count == split_cell) { continue; }
        const size_t first = grid.object_numbers.count;
        for (uint32_t e = cell.head; e; e = grid.entries[e].next)
        {
            grid.object_numbers.push(grid.entries[e].object);
        }
        cell = { uint32_t(first), int32_t(grid.object_numbers.count - first) };
    }
    grid.entries.clear();
    grid.spare = 0;
    return true;
}

void empty_grid(voxel_grid& grid)
{
    clear_tree(grid.tree);
    grid.nodes.clear();
    grid.cells.clear();
    grid.entries.clear();
    grid.object_numbers.clear();
    grid.spare = 0;
    grid.reentering = grid.out_of_memory = 0;
    grid.memory_bytes = 0;
    for (int32_t& count : grid.subgrid_count) { count = 0; }
    count_memory(grid);
}

/// Lets `voxel_memory` state what the structure holds. Its arrays are blocks of their own: they are larger
/// than the chunks of an arena.
void count_memory(voxel_grid& grid)
{
    if (!grid.document->voxel_memory) { return; }
    grid.document->voxel_memory->allocated =
        tree_bytes(grid.tree) + grid.nodes.capacity * sizeof(voxel_node) +
        grid.cells.capacity * sizeof(voxel_cell) + grid.object_numbers.capacity * sizeof(uint32_t);
}

} // namespace
