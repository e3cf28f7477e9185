#include "zirconlite/raytrace/pixel_sampler.hpp"

#include <cmath>

#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/surface_evaluation.hpp"
#include "zirconlite/picture/tone.h"
#include "zirconlite/raytrace/direct_light.hpp"

namespace zr
{

ray_z_buffer z_buffer = {};

namespace
{

constexpr int tree_levels = 3;
constexpr int node_count = 1 + 4 + 16;
constexpr double corner_reach = 0.4999; ///< corners lie this share of the size from the middle

/// The place of a node in the pixel; the same for all threads and pixels.
struct node_shape
{
    int level;
    double centre[2];    ///< relative to the pixel's middle
    int32_t centre_cell; ///< levels 0 and 1
    int32_t corner_cells[4];
    double corners[4][2];
    int first_child; ///< number of the first of four; levels 0 and 1
};

struct tree_shape
{
    node_shape nodes[node_count];
};

/// What a thread keeps of a node for the pixel in hand.
struct aa_node
{
    bool refined[4];
    uint32_t centre_object, corner_objects[4];
    sample_values centre, corners[4];
};

struct thread_aa_store
{
    aa_node nodes[node_count];
    sample_cell grid[grid_cells];
    sample_cell* line_store; ///< 4 x width + 1 cells
    float centre_depth;
    uint16_t centre_id;
};

thread_aa_store* stores[thread_slots] = {};

constexpr void fill_node(
    tree_shape& t, int number, int level, double x, double y, double size, int next_child)
{
    node_shape& n = t.nodes[number];
    n.level = level;
    n.centre[0] = x;
    n.centre[1] = y;
    const double s = size * corner_reach;
    const double signs[4][2] = { { -1, 1 }, { -1, -1 }, { 1, -1 }, { 1, 1 } };
    for (int i = 0; i < 4; ++i)
    {
        n.corners[i][0] = x + signs[i][0] * s;
        n.corners[i][1] = y + signs[i][1] * s;
    }
    const int32_t* c = n.corner_cells;
    n.centre_cell = ((c[3] + c[2]) / 2 + (c[0] + c[1]) / 2) / 2;
    n.first_child = next_child;
}

constexpr void fill_children(tree_shape& t, int number, double size, int& next)
{
    const node_shape parent = t.nodes[number];
    const int32_t *c = parent.corner_cells, m = parent.centre_cell;
    const int32_t cells[4][4] = {
        { c[0], (c[0] + c[1]) / 2, m, (c[3] + c[0]) / 2 },
        { (c[0] + c[1]) / 2, c[1], (c[1] + c[2]) / 2, m },
        { m, (c[1] + c[2]) / 2, c[2], (c[2] + c[3]) / 2 },
        { (c[0] + c[3]) / 2, m, (c[3] + c[2]) / 2, c[3] },
    };
    const double q = size * 0.25;
    const double at[4][2] = { { -q, q }, { -q, -q }, { q, -q }, { q, q } };
    const int first = parent.first_child;
    for (int i = 0; i < 4; ++i)
    {
        for (int k = 0; k < 4; ++k) { t.nodes[first + i].corner_cells[k] = cells[i][k]; }
        int grandchildren = 0;
        if (parent.level + 1 < tree_levels - 1)
        {
            grandchildren = next;
            next += 4;
        }
        fill_node(t, first + i, parent.level + 1, parent.centre[0] + at[i][0], parent.centre[1] + at[i][1],
            size * 0.5, grandchildren);
    }
}

constexpr tree_shape make_tree()
{
    tree_shape t = {};
    const int32_t corners[4] = { 0, 20, 24, 4 };
    for (int i = 0; i < 4; ++i) { t.nodes[0].corner_cells[i] = corners[i]; }
    fill_node(t, 0, 0, 0.0, 0.0, 1.0, 1);
    int next = 5;
    fill_children(t, 0, 1.0, next);
    for (int i = 1; i < 5; ++i) { fill_children(t, i, 0.5, next); }
    return t;
}

constexpr tree_shape tree = make_tree();

/// Share of a pixel's light that the standard deviation of its sky light may have after the first samples.
constexpr double uncertain_share = 0.1;

/// Very bright light is pressed together before it is averaged, so that one sample does not swamp a pixel.
constexpr double soft_knee = 500.0;

/// The pixel in hand.
struct pixel_work
{
    const pixel_request& request;
    thread_aa_store& store;
    ray r;
    bool takes_every_sample;
};

void prepare_grid(pixel_work& work);
void seed_grid(pixel_work& work);
void sample_node(pixel_work& work, int number);
void sample_corners(pixel_work& work, const node_shape& shape, aa_node& node);
void store_depth(const pixel_work& work, int32_t cell);
void sample_centre(pixel_work& work, const node_shape& shape, aa_node& node);
void shoot(pixel_work& work, int32_t cell, const double offset[2]);
sample_values values_of(const ray& r);
float soften(double c);
bool may_refine(const document& doc, const node_shape& shape);
bool is_sky_uncertain(const aa_node& root);
bool corners_differ(const pixel_work& work, const aa_node& node, int corner);
const void* identity(const document& doc, uint32_t number);
bool lacks_sharp_edges(const document& doc, uint32_t number);
bool is_noisy(const document& doc, uint32_t number);
scene_object* object_of(const document& doc, uint32_t number);
void shown_color(const pixel_request& q, const sample_values& v, float rgb[3]);
sample_values resolve_node(const thread_aa_store& store, int number);
sample_values mean(const sample_values* const v[], int count);
float unsoften(float c);
void write_back(pixel_work& work);

} // namespace

bool make_aa_stores(int32_t thread_count, int32_t width)
{
    free_aa_stores();
    fill_random_tables();
    for (int32_t i = 0; i < thread_count && i < thread_slots; ++i)
    {
        stores[i] = static_cast<thread_aa_store*>(zr_calloc(1, sizeof(thread_aa_store)));
        if (!stores[i]) { return false; }
        stores[i]->line_store =
            static_cast<sample_cell*>(zr_calloc(size_t(width) * 4 + 1, sizeof(sample_cell)));
        if (!stores[i]->line_store) { return false; }
        for (sample_cell& c : stores[i]->grid) { c.object = empty_cell; }
        clear_line_store(width, i);
    }
    return true;
}

void free_aa_stores()
{
    for (thread_aa_store*& store : stores)
    {
        if (store) { zr_free(store->line_store); }
        zr_free(store);
        store = nullptr;
    }
}

void clear_line_store(int32_t width, int32_t thread)
{
    sample_cell* cells = stores[thread]->line_store;
    for (size_t i = 0; i < size_t(width) * 4 + 1; ++i)
    {
        cells[i].object = empty_cell;
        cells[i].values.alpha = 0.0f;
    }
}

void sample_pixel(const pixel_request& request, pixel_result& result)
{
    pixel_work work = { request, *stores[request.thread], *request.prototype, false };
    work.store.centre_depth = 0.0f;
    work.store.centre_id = 0;
    prepare_grid(work);
    seed_grid(work);
    sample_node(work, 0);
    result.values = resolve_node(work.store, 0);
    for (int i = 0; i < 3; ++i)
    {
        result.values.radiance[i] = unsoften(result.values.soft_radiance[i]);
        result.values.background[i] = unsoften(result.values.soft_background[i]);
    }
    result.depth = work.store.centre_depth;
    result.id = work.store.centre_id;
    write_back(work);
}

namespace
{

void prepare_grid(pixel_work& work)
{
    const pixel_request& q = work.request;
    const bool first = q.flags & PIXEL_FIRST_OF_LINE;
    for (int cell = 0; cell < 20; ++cell)
    {
        if (first || cell % grid_side != 0) { work.store.grid[cell].object = empty_cell; }
    }
    const size_t x = size_t(q.position[0]);
    for (int i = 0; i < grid_side; ++i) { work.store.grid[20 + i] = work.store.line_store[4 * x + i]; }
}

void seed_grid(pixel_work& work)
{
    const earlier_sample* e = work.request.earlier;
    if (!e) { return; }
    const uint32_t flags = work.request.flags;
    const int cell = flags & PIXEL_SEEDS_CELL_4    ? 4
                     : flags & PIXEL_SEEDS_CELL_20 ? 20
                     : flags & PIXEL_SEEDS_CELL_24 ? 24
                                                   : 0;
    sample_cell& c = work.store.grid[cell];
    c.object = e->object;
    for (int i = 0; i < 3; ++i)
    {
        c.values.radiance[i] = e->components.surface[i];
        c.values.background[i] = e->components.background[i];
        c.values.simple_color[i] = e->components.simple[i];
        c.values.soft_radiance[i] = soften(e->components.surface[i]);
        c.values.soft_background[i] = soften(e->components.background[i]);
    }
    c.values.source_ratio = e->components.source_ratio;
    c.values.sky_variance = 0.0f;
    c.values.alpha = e->alpha;
}

void sample_node(pixel_work& work, int number)
{
    const node_shape& shape = tree.nodes[number];
    aa_node& node = work.store.nodes[number];
    sample_corners(work, shape, node);
    for (bool& refined : node.refined) { refined = false; }
    if (shape.level == tree_levels - 1) { return; }
    sample_centre(work, shape, node);
    if (!may_refine(*work.request.doc, shape)) { return; }
    if (shape.level == 0) { work.takes_every_sample = is_sky_uncertain(node); }
    for (int i = 0; i < 4; ++i)
    {
        node.refined[i] = work.takes_every_sample || corners_differ(work, node, i);
        if (node.refined[i]) { sample_node(work, shape.first_child + i); }
    }
}

void sample_corners(pixel_work& work, const node_shape& shape, aa_node& node)
{
    for (int i = 0; i < 4; ++i)
    {
        const int32_t cell = shape.corner_cells[i];
        if (work.store.grid[cell].object == empty_cell)
        {
            shoot(work, cell, shape.corners[i]);
            if (shape.level == 0) { store_depth(work, cell); }
        }
        node.corner_objects[i] = work.store.grid[cell].object;
        node.corners[i] = work.store.grid[cell].values;
    }
}

void store_depth(const pixel_work& work, int32_t cell)
{
    if (!z_buffer.depth) { return; }
    const bool right = cell == 4 || cell == 24, up = cell == 20 || cell == 24;
    const int32_t x = int32_t(work.request.position[0]) + right;
    const int32_t y = int32_t(work.request.position[1]) + up;
    if (x >= z_buffer.width || y >= z_buffer.height) { return; }
    z_buffer.depth[size_t(y) * z_buffer.width + x] = float(work.r.hit_t);
}

void sample_centre(pixel_work& work, const node_shape& shape, aa_node& node)
{
    const sample_cell& cell = work.store.grid[shape.centre_cell];
    if (cell.object == empty_cell && work.request.doc->quality < 3)
    {
        const sample_values* corners[4] = { &node.corners[0], &node.corners[1], &node.corners[2],
            &node.corners[3] };
        node.centre = mean(corners, 4);
        node.centre_object = empty_cell;
        return;
    }
    if (cell.object == empty_cell)
    {
        shoot(work, shape.centre_cell, shape.centre);
        if (shape.level == 0)
        {
            work.store.centre_depth = float(work.r.hit_t);
            work.store.centre_id = work.r.material_id;
        }
    }
    node.centre_object = cell.object;
    node.centre = cell.values;
}

/// Shoots the ray of a cell; the cell holds its values afterwards.
void shoot(pixel_work& work, int32_t cell, const double offset[2])
{
    const pixel_request& q = work.request;
    const double middle[2] = { q.position[0] + offset[0], q.position[1] + offset[1] };
    double position[2];
    jittered_position(middle, q.position_low, q.position_high, position);
    trace_primary(*q.doc, *q.view, work.r, q.thread, position, cell, environment_background);
    if (work.r.counters) { ++work.r.counters->primary_rays; }
    sample_cell& c = work.store.grid[cell];
    c.object = work.r.hit_object ? work.r.hit_object->number : 0u;
    c.values = values_of(work.r);
}

sample_values values_of(const ray& r)
{
    sample_values v;
    for (int i = 0; i < 3; ++i)
    {
        v.radiance[i] = float(r.radiance[i]);
        v.background[i] = r.background[i];
        v.simple_color[i] = r.simple_color[i];
        v.soft_radiance[i] = soften(r.radiance[i]);
        v.soft_background[i] = soften(r.background[i]);
    }
    v.source_ratio = source_ratio_of(r);
    v.sky_variance = r.sky_variance;
    v.alpha = r.alpha;
    return v;
}

float soften(double c)
{
    if (!(c > 0.0)) { return 0.0f; }
    return float(c > soft_knee ? soft_knee + std::pow(c - soft_knee, 0.95) : c);
}

bool may_refine(const document& doc, const node_shape& shape)
{
    if (doc.render_flags & (RENDER_FAST | RENDER_NO_SUBDIVISION) || doc.quality < 2) { return false; }
    return job.aa_threshold == 0.0 || !(shape.level == 1 && doc.quality == 2);
}

/// Whether the first samples of a pixel leave its sky light uncertain. Refinement by what the samples saw
/// would then choose by the noise that it averages: a pixel whose rays all missed a small window would stay
/// black.
bool is_sky_uncertain(const aa_node& root)
{
    if (job.aa_threshold >= 1.0) { return false; }
    const sample_values* first[5] = { &root.corners[0], &root.corners[1], &root.corners[2], &root.corners[3],
        &root.centre };
    const sample_values m = mean(first, 5);
    const double allowed = uncertain_share * luminance(m.radiance);
    return m.sky_variance > allowed * allowed;
}

bool corners_differ(const pixel_work& work, const aa_node& node, int corner)
{
    const document& document = *work.request.doc;
    if (document.quality == 5) { return true; }
    const uint32_t a = node.centre_object, b = node.corner_objects[corner];
    if (document.quality > 2 && identity(document, a) != identity(document, b)) { return true; }
    double limit = job.aa_threshold;
    if (document.quality < 4)
    {
        const bool soft = lacks_sharp_edges(document, a) && lacks_sharp_edges(document, b);
        if (soft || (is_noisy(document, a) && is_noisy(document, b))) { limit += 0.5; }
    }
    if (limit >= 1.0) { return false; }
    float centre[3], other[3];
    shown_color(work.request, node.centre, centre);
    shown_color(work.request, node.corners[corner], other);
    for (int i = 0; i < 3; ++i)
    {
        if (std::fabs(centre[i] - other[i]) >= limit) { return true; }
    }
    return false;
}

const void* identity(const document& doc, uint32_t number)
{
    scene_object* object = object_of(doc, number);
    return object && object->vft->get_identity ? object->vft->get_identity(object) : nullptr;
}

/// Plants and noisy bumps change from sample to sample by nature; more difference is let pass there.
bool lacks_sharp_edges(const document& doc, uint32_t number)
{
    if (number == empty_cell) { return true; }
    scene_object* object = object_of(doc, number);
    return object && !(object->vft->sharp_edges && object->vft->sharp_edges(object));
}

bool is_noisy(const document& doc, uint32_t number)
{
    if (number == empty_cell) { return true; }
    scene_object* object = object_of(doc, number);
    return object && has_noisy_bump(object->vft->get_material(object));
}

scene_object* object_of(const document& doc, uint32_t number)
{
    return number == 0 || number == empty_cell ? nullptr : doc.object_table[number];
}

void shown_color(const pixel_request& q, const sample_values& v, float rgb[3])
{
    const bool simple = q.doc->mode == MODE_SIMPLE;
    for (int i = 0; i < 3; ++i)
    {
        rgb[i] = simple ? v.simple_color[i] : v.soft_radiance[i] + v.soft_background[i];
    }
    if (!simple) { tone(q.view, q.view->background_exponent, q.view->background_scale, rgb, 1); }
}

sample_values resolve_node(const thread_aa_store& store, int number)
{
    const node_shape& shape = tree.nodes[number];
    const aa_node& node = store.nodes[number];
    sample_values quarters[4];
    const sample_values* all[4];
    for (int i = 0; i < 4; ++i)
    {
        if (shape.level == tree_levels - 1) { quarters[i] = node.corners[i]; }
        else if (node.refined[i]) { quarters[i] = resolve_node(store, shape.first_child + i); }
        else
        {
            const sample_values* pair[2] = { &node.corners[i], &node.centre };
            quarters[i] = mean(pair, 2);
        }
        all[i] = &quarters[i];
    }
    return mean(all, 4);
}

/// Mean of what pixels average: the soft colours, the simple colour, ratio and alpha.
sample_values mean(const sample_values* const v[], int count)
{
    sample_values m = {};
    const float share = 1.0f / float(count);
    for (int k = 0; k < count; ++k)
    {
        for (int i = 0; i < 3; ++i)
        {
            m.radiance[i] += v[k]->radiance[i] * share;
            m.background[i] += v[k]->background[i] * share;
            m.simple_color[i] += v[k]->simple_color[i] * share;
            m.soft_radiance[i] += v[k]->soft_radiance[i] * share;
            m.soft_background[i] += v[k]->soft_background[i] * share;
        }
        m.source_ratio += v[k]->source_ratio * share;
        m.sky_variance += v[k]->sky_variance * share * share;
        m.alpha += v[k]->alpha * share;
    }
    return m;
}

float unsoften(float c)
{
    return c > soft_knee ? float(soft_knee + std::pow(c - soft_knee, 1.052631578947)) : c;
}

void write_back(pixel_work& work)
{
    const pixel_request& q = work.request;
    sample_cell* grid = work.store.grid;
    const bool last = q.flags & PIXEL_LAST_OF_LINE;
    const size_t x = size_t(q.position[0]);
    for (int i = 0; i < (last ? 5 : 4); ++i) { work.store.line_store[4 * x + i] = grid[i]; }
    if (last) { return; }
    for (int row = 0; row < 4; ++row) { grid[row * grid_side] = grid[row * grid_side + 4]; }
    // The next pixel loads its lower row from the line store, which a strip's first line finds empty.
    work.store.line_store[4 * x + 4] = grid[grid_cells - 1];
}

} // namespace

} // namespace zr
