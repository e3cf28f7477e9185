/// @file
/// Preparation: the ellipsoids of the cumulus, drawn from the runtime's random numbers, and the lists of the
/// columns that they reach into.
#include "zirconlite/environment/clouds.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/platform/random.hpp"

namespace zr
{

namespace
{

constexpr double box_half = 16000.0, cloud_height = 1500.0, height_spread = 50.0;
constexpr double radius_x = 1200.0, radius_y = 900.0, radius_z = 1300.0;
constexpr float min_scale = 0.001f, max_scale = 1e5f;
constexpr double lowest_rz = 0.8; // of the height: clouds reach far down, so that their undersides are flat
constexpr double box_margin = 1.001;

/// A cloud as it is drawn.
struct drawn_cloud
{
    vector3 center, radius;
};

/// The columns that an ellipsoid reaches into.
struct cell_range
{
    int32_t low[2], high[2];
    size_t count() const { return size_t(high[0] - low[0] + 1) * size_t(high[1] - low[1] + 1); }
};

void build_cumulus(const document& doc, const environment& e, prepared_environment& made);
bool scales_are_usable(const environment& e);
vector3 middle_of_clouds(const document& doc);
drawn_cloud draw_cloud(const environment& e, const vector3& middle);
double spread(double x, double w);
void set_box(prepared_environment& e, const drawn_cloud* drawn, int32_t n);
bool build_lists(prepared_environment& e, const drawn_cloud* drawn, int32_t n);
int32_t count_entries(
    const prepared_environment& e, const drawn_cloud* drawn, int32_t n, uint32_t* in_cell, size_t* all);
cloud_ellipsoid ellipsoid_of(const drawn_cloud& c);
float inverse_square(double r);
cell_range cells_of(const prepared_environment& e, const drawn_cloud& c);
int32_t cell_index(const prepared_environment& e, double at, int axis);

} // namespace

bool clouds_are_active(const document& doc)
{
    const uint32_t flags = doc.environment_flags;
    return (flags & (ENVIRONMENT_CLOUDS | ENVIRONMENT_REFLECTED_CLOUDS)) != 0 &&
           ((doc.sun_sky_flags & SUN_SKY_SUN_MASK) != 0 || (flags & ENVIRONMENT_CLOUDS_ALWAYS) != 0);
}

void release_clouds(prepared_environment& made)
{
    zr_free(made.ellipsoids);
    made.ellipsoids = nullptr;
    std::fill_n(made.cells, cloud_cells * cloud_cells, nullptr);
}

bool clouds_prepare(const document& doc, const environment& record, prepared_environment& made)
{
    if (!clouds_are_active(doc)) { return false; }
    platform::srand15(uint32_t(record.cloud_seed));
    const double angle = std::isfinite(record.cloud_rotation) ? double(record.cloud_rotation) : 0.0;
    const double c = std::cos(angle), s = std::sin(angle);
    made.cloud_matrix = { { { c, s, 0, 0 }, { -s, c, 0, 0 }, { 0, 0, 1, 0 }, { 0, 0, 0, 1 } } };
    release_clouds(made);
    for (int i = 0; i < 3; ++i)
    {
        made.cloud_world_offset[i] = record.cloud_offset[i] * box_half;
        made.cloud_box_min[i] = ZR_FAR;
        made.cloud_box_max[i] = far_below;
    }
    if (!(record.cloud_flags & CLOUDS_CUMULUS)) { return true; }
    build_cumulus(doc, record, made);
    if (!made.ellipsoids) { return true; }
    for (int i = 0; i < 3; ++i)
    {
        made.cloud_world_offset[i] = record.cloud_offset[i] * (made.cloud_box_max[i] - made.cloud_box_min[i]);
    }
    return true;
}

namespace
{

void build_cumulus(const document& doc, const environment& e, prepared_environment& made)
{
    const int32_t n = std::min(e.cu_number, cloud_limit);
    if (!scales_are_usable(e) || n < 1) { return; }
    auto* drawn = static_cast<drawn_cloud*>(zr_malloc(size_t(n) * sizeof(drawn_cloud)));
    if (!drawn)
    {
        report_failure(ZR_ERROR_MEMORY, "no memory for %d clouds", n);
        return;
    }
    const vector3 middle = middle_of_clouds(doc);
    for (int32_t i = 0; i < n; ++i) { drawn[i] = draw_cloud(e, middle); }
    set_box(made, drawn, n);
    build_lists(made, drawn, n);
    zr_free(drawn);
}

bool scales_are_usable(const environment& e)
{
    for (const float s : e.cu_scale)
    {
        if (!(s >= min_scale && s <= max_scale)) { return false; }
    }
    return std::isfinite(e.cu_scale_v);
}

vector3 middle_of_clouds(const document& doc)
{
    const bounding_box& b = doc.bounds;
    if (b.max.z == far_below) { return { 0, 0, cloud_height }; }
    const vector3 m = { 0.5 * (b.min.x + b.max.x), 0.5 * (b.min.y + b.max.y),
        std::min(cloud_height, b.max.z + cloud_height) };
    return is_finite(m) ? m : vector3{ 0, 0, cloud_height };
}

drawn_cloud draw_cloud(const environment& e, const vector3& middle)
{
    const double v = e.cu_scale_v;
    const double ax = e.cu_scale[0] * radius_x, ay = e.cu_scale[1] * radius_y, az = e.cu_scale[2] * radius_z;
    drawn_cloud c;
    c.center.x = spread(middle.x, box_half);
    c.center.y = spread(middle.y, box_half);
    c.center.z = spread(middle.z, height_spread);
    c.radius.x = spread(ax, ax * v);
    c.radius.y = spread(ay, ay * v);
    c.radius.z = std::max(spread(az, az * v * 0.5), lowest_rz * c.center.z);
    return c;
}

/// x +- w, uniform.
double spread(double x, double w)
{
    constexpr double to_unit = 3.051850947599719e-5; // 1 / 32767
    const double q = platform::rand15() * to_unit;
    return x + (2.0 * q - 1.0) * w;
}

void set_box(prepared_environment& e, const drawn_cloud* drawn, int32_t n)
{
    bounding_box box = empty_box;
    for (int32_t i = 0; i < n; ++i)
    {
        grow(box, drawn[i].center - drawn[i].radius);
        grow(box, drawn[i].center + drawn[i].radius);
    }
    for (int i = 0; i < 3; ++i)
    {
        e.cloud_box_min[i] = component(box.min, i);
        e.cloud_box_max[i] = component(box.max, i);
        const double extent = e.cloud_box_max[i] - e.cloud_box_min[i];
        e.cell_size[i] = extent * box_margin / (i < 2 ? cloud_cells : 1);
        e.inverse_cell_size[i] = ray_reciprocal(e.cell_size[i]);
    }
}

/// Ellipsoids and entries lie in one block, each cell's entries in a row: a walk reads them as an array.
bool build_lists(prepared_environment& e, const drawn_cloud* drawn, int32_t n)
{
    uint32_t in_cell[cloud_cells * cloud_cells] = {};
    size_t entries = 0;
    n = count_entries(e, drawn, n, in_cell, &entries);
    const size_t bytes = size_t(n) * sizeof(cloud_ellipsoid) + entries * sizeof(cloud_cell_node);
    auto* ellipsoids = static_cast<cloud_ellipsoid*>(zr_malloc(bytes));
    if (!ellipsoids) { return report_failure(ZR_ERROR_MEMORY, "no memory for %d clouds", n); }
    auto* nodes = reinterpret_cast<cloud_cell_node*>(ellipsoids + n);

    cloud_cell_node* next[cloud_cells * cloud_cells];
    for (int c = 0; c < cloud_cells * cloud_cells; ++c)
    {
        next[c] = nodes;
        e.cells[c] = in_cell[c] ? nodes : nullptr;
        nodes += in_cell[c];
    }
    // The newest is first in the list of all; entering them from there on, each in front of its cells'
    // lists, leaves the oldest first in a cell.
    for (int32_t i = 0; i < n; ++i)
    {
        cloud_ellipsoid* made = &ellipsoids[n - 1 - i];
        *made = ellipsoid_of(drawn[i]);
        made->next = i > 0 ? made + 1 : nullptr;
        const cell_range r = cells_of(e, drawn[i]);
        for (int32_t x = r.low[0]; x <= r.high[0]; ++x)
        {
            for (int32_t y = r.low[1]; y <= r.high[1]; ++y)
            {
                const int32_t c = x * cloud_cells + y;
                *next[c] = { --in_cell[c] ? next[c] + 1 : nullptr, made };
                ++next[c];
            }
        }
    }
    e.ellipsoids = ellipsoids;
    return true;
}

/// How many of the clouds find room in the lists, and the length of each cell's list.
int32_t count_entries(
    const prepared_environment& e, const drawn_cloud* drawn, int32_t n, uint32_t* in_cell, size_t* all)
{
    *all = 0;
    for (int32_t i = 0; i < n; ++i)
    {
        const cell_range r = cells_of(e, drawn[i]);
        if (*all + r.count() > cloud_entry_limit) { return i; }
        *all += r.count();
        for (int32_t x = r.low[0]; x <= r.high[0]; ++x)
        {
            for (int32_t y = r.low[1]; y <= r.high[1]; ++y) { ++in_cell[x * cloud_cells + y]; }
        }
    }
    return n;
}

cloud_ellipsoid ellipsoid_of(const drawn_cloud& c)
{
    cloud_ellipsoid e = {};
    e.inverse_rx2 = inverse_square(c.radius.x);
    e.inverse_ry2 = inverse_square(c.radius.y);
    e.inverse_rz2 = inverse_square(c.radius.z);
    for (int i = 0; i < 3; ++i) { e.center[i] = float(component(c.center, i)); }
    e.base = float(c.center.z - 0.2 * c.radius.z);
    return e;
}

float inverse_square(double r) { return float(1.0 / std::max(r * r, 1e-12)); }

cell_range cells_of(const prepared_environment& e, const drawn_cloud& c)
{
    cell_range r;
    for (int i = 0; i < 2; ++i)
    {
        r.low[i] = cell_index(e, component(c.center, i) - component(c.radius, i), i);
        r.high[i] = cell_index(e, component(c.center, i) + component(c.radius, i), i);
    }
    return r;
}

int32_t cell_index(const prepared_environment& e, double at, int axis)
{
    const double f = (at - e.cloud_box_min[axis]) * e.inverse_cell_size[axis];
    return int32_t(std::clamp(f, 0.0, cloud_cells - 1.0));
}

} // namespace

} // namespace zr
