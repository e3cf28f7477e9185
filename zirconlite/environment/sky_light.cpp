/// @file
/// The smooth sky of the sun comes from its formula. All other environments are averaged over the cells of a
/// table by altitude and azimuth: a cell has one radiance, so that a light source smaller than a cell cannot
/// be hit or missed by chance, and drawing in proportion to it is exact.
#include "zirconlite/environment/sky_light.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/environment/environment.hpp"
#include "zirconlite/environment/prepared_environment.hpp"
#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/clear_sky.hpp"

namespace zr
{

namespace
{

constexpr int32_t max_samples = 4096;
constexpr int coarse_rows = 64, fine_rows = 128; // of altitude; twice as many columns
constexpr int max_points = 8;                    // along a side of a cell
constexpr double bright_contrast = 8.0;          // of the brightest cell against the mean

enum class source
{
    none,
    formula,
    table
};

struct environment_light
{
    source kind;
    bool has_bright_spots;
    const sun_sky* sky; ///< of the formula
    int rows, columns;
    double level_lux[3];               ///< on open level ground
    double flux;                       ///< luminance over all directions
    growable_block<float> radiance;    ///< three a cell, rows from the nadir up
    growable_block<double> row_end;    ///< share of the flux up to the row's upper edge
    growable_block<double> column_end; ///< share of the row's flux up to the cell's far edge
};
environment_light around = {};

bool choose_source(const document& doc);
bool make_table(const document& d);
bool has_hdr(const document& d);
bool has_picture_around(const document& d);
void average_cell(const document& d, int row, int column, int points, float mean[3]);
void make_distribution();
void make_shares(double* ends, int count);
void measure_level_ground();
size_t cell_of(const vector3& d);
int find_step(const double* ends, int count, double& x);
double altitude_sine(int rows, double row);
vector3 direction_at(double z, double turn);
void fill_from_cell(size_t cell, sky_sample& s);

} // namespace

bool prepare_sky_light(const document& doc)
{
    free_sky_light();
    if (!choose_source(doc)) { return false; }
    if (sky_light_shines()) { measure_level_ground(); }
    return true;
}

void free_sky_light()
{
    around.radiance.clear();
    around.row_end.clear();
    around.column_end.clear();
    around = {};
}

bool sky_light_shines() { return around.kind != source::none; }

void level_ground_lux(double lux[3]) { std::copy_n(around.level_lux, 3, lux); }

bool sky_light_has_bright_spots() { return around.has_bright_spots; }

sky_sample sky_light_from(const vector3& direction)
{
    sky_sample s = { direction, {}, 0.0 };
    if (around.kind == source::table) { fill_from_cell(cell_of(direction), s); }
    else if (around.kind == source::formula) { sky_radiance(*around.sky, direction, s.radiance); }
    return s;
}

sky_sample draw_sky_sample(double u, double v)
{
    const int row = find_step(around.row_end.items, around.rows, u);
    const size_t first = size_t(row) * size_t(around.columns);
    const int column = find_step(&around.column_end[first], around.columns, v);
    const double low = altitude_sine(around.rows, row), high = altitude_sine(around.rows, row + 1);
    sky_sample s = { direction_at(low + (high - low) * u, (column + v) / around.columns), {}, 0.0 };
    fill_from_cell(first + size_t(column), s);
    return s;
}

} // namespace zr

using namespace zr;

int32_t zr_set_sky_light_samples(document* doc, int32_t count)
{
    const int32_t former = doc->sky_light_samples;
    if (count >= 0 && count <= max_samples) { doc->sky_light_samples = count; }
    else { report_failure(ZR_ERROR_ARGUMENT, "%d rays to the sky; 0 to %d", count, max_samples); }
    return former;
}

double zr_set_background_luminance(document* doc, double luminance)
{
    const double former = doc->background_luminance;
    if (luminance >= 0.0 && luminance <= max_environment_radiance) { doc->background_luminance = luminance; }
    else
    {
        report_failure(
            ZR_ERROR_ARGUMENT, "background luminance %g; 0 to %g cd/m2", luminance, max_environment_radiance);
    }
    return former;
}

namespace zr
{

namespace
{

/// Decides what shines. False when memory fails.
bool choose_source(const document& doc)
{
    if (doc.light_model != LIGHT_MODEL_EXACT || doc.sky_light_samples <= 0) { return true; }
    const uint32_t mode = doc.sun_sky_flags;
    const bool has_sun = (mode & SUN_SKY_SUN_MASK) && doc.sun_sky;
    if (has_sun && (mode & SUN_SKY_INDIRECT) && !(mode & SUN_SKY_DIRECT_SKY)) { return true; }
    if (has_sun && doc.environment.mode == ENVIRONMENT_SKY && !has_hdr(doc) && !has_picture_around(doc))
    {
        around.sky = doc.sun_sky;
        if (around.sky->sky_strength > 0.0) { around.kind = source::formula; }
        return true;
    }
    return (environment_white(doc) <= 0.0 && !has_hdr(doc)) || make_table(doc);
}

bool make_table(const document& d)
{
    const bool has_picture = has_hdr(d) || has_picture_around(d);
    around.rows = has_hdr(d) ? fine_rows : coarse_rows;
    around.columns = 2 * around.rows;
    const size_t cells = size_t(around.rows) * size_t(around.columns);
    if (!around.radiance.resize(3 * cells) || !around.column_end.resize(cells) ||
        !around.row_end.resize(size_t(around.rows)))
    {
        free_sky_light();
        return report_failure(ZR_ERROR_MEMORY, "no memory for the light of the environment");
    }
    const int points = has_picture ? max_points : 2;
    for (int row = 0; row < around.rows; ++row)
    {
        for (int column = 0; column < around.columns; ++column)
        {
            const size_t cell = size_t(row) * size_t(around.columns) + size_t(column);
            average_cell(d, row, column, points, &around.radiance[3 * cell]);
        }
    }
    make_distribution();
    if (around.flux > 0.0) { around.kind = source::table; }
    return true;
}

bool has_hdr(const document& d) { return (d.environment_flags & ENVIRONMENT_HDR) && d.environment.hdr_view; }

/// A picture that lies in the view has no direction to shine from.
bool has_picture_around(const document& d)
{
    return (d.environment_flags & ENVIRONMENT_PICTURE) && prepared_of(d, d.environment).image_bitmap &&
           d.environment.image_projection != 0;
}

/// Mean radiance of a cell, by `points` x `points` directions of equal solid angle.
void average_cell(const document& d, int row, int column, int points, float mean[3])
{
    double sum[3] = {};
    const double low = altitude_sine(around.rows, row), high = altitude_sine(around.rows, row + 1);
    for (int i = 0; i < points; ++i)
    {
        const double z = low + (high - low) * (i + 0.5) / points;
        for (int k = 0; k < points; ++k)
        {
            double rgb[3];
            environment_radiance(d, d.environment,
                direction_at(z, (column + (k + 0.5) / points) / around.columns), nullptr, rgb);
            for (int c = 0; c < 3; ++c) { sum[c] += rgb[c]; }
        }
    }
    for (int c = 0; c < 3; ++c) { mean[c] = float(sum[c] / (points * points)); }
}

void make_distribution()
{
    double brightest = 0.0;
    for (int row = 0; row < around.rows; ++row)
    {
        const double band =
            2.0 * M_PI * (altitude_sine(around.rows, row + 1) - altitude_sine(around.rows, row));
        double* ends = &around.column_end[size_t(row) * size_t(around.columns)];
        const float* cell = &around.radiance[3 * size_t(row) * size_t(around.columns)];
        double sum = 0.0;
        for (int column = 0; column < around.columns; ++column, cell += 3)
        {
            const double y = luminance(cell);
            brightest = std::fmax(brightest, y);
            ends[column] = sum += y * band / around.columns;
        }
        around.row_end[size_t(row)] = around.flux += sum;
        make_shares(ends, around.columns);
    }
    make_shares(around.row_end.items, around.rows);
    around.has_bright_spots = brightest * 4.0 * M_PI > bright_contrast * around.flux;
}

/// Makes ends of running sums 0 to 1; where there is nothing, even steps.
void make_shares(double* ends, int count)
{
    const double total = ends[count - 1];
    for (int i = 0; i < count; ++i) { ends[i] = total > 0.0 ? ends[i] / total : (i + 1.0) / count; }
    ends[count - 1] = 1.0;
}

/// Irradiance of level ground under the upper half, by cells of a table.
void measure_level_ground()
{
    const int rows = around.kind == source::table ? around.rows : coarse_rows, columns = 2 * rows;
    for (int row = rows / 2; row < rows; ++row)
    {
        const double low = altitude_sine(rows, row), high = altitude_sine(rows, row + 1);
        const double weight = M_PI * (high * high - low * low) / columns;
        for (int column = 0; column < columns; ++column)
        {
            const vector3 middle = direction_at(altitude_sine(rows, row + 0.5), (column + 0.5) / columns);
            const sky_sample s = sky_light_from(middle);
            for (int c = 0; c < 3; ++c) { around.level_lux[c] += weight * s.radiance[c]; }
        }
    }
}

size_t cell_of(const vector3& d)
{
    const double altitude = std::asin(std::clamp(d.z, -1.0, 1.0)) / M_PI + 0.5;
    double turn = std::atan2(d.y, d.x) / (2.0 * M_PI);
    if (turn < 0.0) { turn += 1.0; }
    const int row = std::min(int(altitude * around.rows), around.rows - 1);
    const int column = std::min(int(turn * around.columns), around.columns - 1);
    return size_t(row) * size_t(around.columns) + size_t(column);
}

/// Index of the first end that lies above `x`; `x` becomes the place within that step, 0 to 1.
int find_step(const double* ends, int count, double& x)
{
    const int i = std::min(int(std::upper_bound(ends, ends + count, x) - ends), count - 1);
    const double from = i ? ends[i - 1] : 0.0, width = ends[i] - from;
    x = width > 0.0 ? std::clamp((x - from) / width, 0.0, 1.0) : 0.5;
    return i;
}

double altitude_sine(int rows, double row) { return std::sin(M_PI * (row / rows - 0.5)); }

vector3 direction_at(double z, double turn)
{
    const double angle = 2.0 * M_PI * turn, r = std::sqrt(std::fmax(1.0 - z * z, 0.0));
    return { r * std::cos(angle), r * std::sin(angle), z };
}

void fill_from_cell(size_t cell, sky_sample& s)
{
    const float* rgb = &around.radiance[3 * cell];
    for (int c = 0; c < 3; ++c) { s.radiance[c] = rgb[c]; }
    s.density = around.has_bright_spots ? luminance(rgb) / around.flux : 0.0;
}

} // namespace

} // namespace zr
