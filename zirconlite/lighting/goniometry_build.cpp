/// @file
/// From a photometric file to the table of a light: symmetry, scale, and the turning of types A and B into C.
#include <algorithm>
#include <cmath>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/ies_file.hpp"

using namespace zr;

namespace
{

constexpr double radians_per_degree = 0.017453292519444445;
constexpr double min_integral = 1e-12;

/// Steps of the table that types A and B are resampled to, degrees.
constexpr double finest_step = 0.5, coarsest_step = 2.5;

bool copy_table(const ies_file& file, goniometry& g);
double candela_towards(const ies_file& file, double azimuth, double polar);
double step_of(const float* angles, int32_t count);

} // namespace

int32_t zr_fill_goniometry(const ies_file* file, goniometry* table)
{
    if (!file || !table)
    {
        return report_failure(ZR_ERROR_ARGUMENT, "no photometric file, or no goniometry");
    }
    struct goniometry made = {};
    ies_file turned = {};
    const bool is_c = file->photometric_type == IES_TYPE_C;
    const bool is_made = (is_c || turn_into_type_c(*file, turned)) && copy_table(is_c ? *file : turned, made);
    free_ies_content(turned);
    if (!is_made) { return report_failure(ZR_ERROR_MEMORY, "no memory for a photometric table"); }

    float peak = 0.0f;
    for (int32_t i = 0; i < made.horizontal_count; ++i)
    {
        peak = std::max(peak, *std::max_element(made.rows[i], made.rows[i] + made.vertical_count));
    }
    for (int32_t i = 0; peak > 0.0f && i < made.horizontal_count; ++i)
    {
        for (int32_t j = 0; j < made.vertical_count; ++j) { made.rows[i][j] /= peak; }
    }
    const double integral = goniometry_integral(made);
    made.peak_candela = float(double(file->candela_multiplier) * file->ballast_factor * peak);
    made.lumens = float(integral * made.peak_candela);
    made.lm_per_cd = float(std::fmax(integral, min_integral));
    clear_goniometry(*table);
    *table = made;
    return 1;
}

namespace zr
{

int32_t symmetry_of(const ies_file& file)
{
    if (file.horizontal_count == 1) { return GONIOMETRY_AXIAL; }
    const float first = file.horizontal_angles[0], last = file.horizontal_angles[file.horizontal_count - 1];
    if (first < 0.0f) { return GONIOMETRY_FULL; } // both sides are there
    if (first == 90.0f && last == 270.0f) { return GONIOMETRY_SIDE; }
    return last == 90.0f ? GONIOMETRY_QUADRANT : last == 180.0f ? GONIOMETRY_HALF : GONIOMETRY_FULL;
}

/// The poles of types A and B lie elsewhere, so the cells of their tables do not fit those of type C. The
/// finest of their steps is kept within bounds, which keeps tables small.
bool turn_into_type_c(const ies_file& file, ies_file& turned)
{
    const double step = std::clamp(std::fmin(step_of(file.vertical_angles, file.vertical_count),
                                       step_of(file.horizontal_angles, file.horizontal_count)),
        finest_step, coarsest_step);
    const double turn = file.horizontal_angles[0] >= 0.0f ? 180.0 : 360.0;
    const int32_t rows = int32_t(std::ceil(turn / step - 1e-6)),
                  columns = int32_t(std::ceil(180.0 / step - 1e-6));
    turned.photometric_type = IES_TYPE_C;
    turned.horizontal_count = rows + 1;
    turned.vertical_count = columns + 1;
    const size_t row_size = size_t(columns) + 1, row_count = size_t(rows) + 1;
    turned.vertical_angles = static_cast<float*>(zr_calloc(row_size, sizeof(float)));
    turned.horizontal_angles = static_cast<float*>(zr_calloc(row_count, sizeof(float)));
    turned.candela = static_cast<float*>(zr_calloc(row_count * row_size, sizeof(float)));
    if (!turned.vertical_angles || !turned.horizontal_angles || !turned.candela) { return false; }
    for (int32_t j = 0; j <= columns; ++j) { turned.vertical_angles[j] = float(180.0 * j / columns); }
    for (int32_t i = 0; i <= rows; ++i)
    {
        turned.horizontal_angles[i] = float(turn * i / rows);
        float* row = turned.candela + size_t(i) * row_size;
        for (int32_t j = 0; j <= columns; ++j)
        {
            row[j] = float(candela_towards(
                file, turn * i / rows * radians_per_degree, 180.0 * j / columns * radians_per_degree));
        }
    }
    return true;
}

} // namespace zr

namespace
{

bool copy_table(const ies_file& file, goniometry& g)
{
    if (!make_goniometry_tables(g, file.vertical_count, file.horizontal_count)) { return false; }
    g.symmetry = symmetry_of(file);
    for (int32_t j = 0; j < g.vertical_count; ++j)
    {
        g.vertical_angles[j] = float(file.vertical_angles[j] * radians_per_degree);
    }
    for (int32_t i = 0; i < g.horizontal_count; ++i)
    {
        g.horizontal_angles[i] = float(file.horizontal_angles[i] * radians_per_degree);
        const float* row = file.candela + size_t(i) * size_t(g.vertical_count);
        std::copy(row, row + g.vertical_count, g.rows[i]);
    }
    return true;
}

/// What a table of type A or B has in a direction of type C; 0 beside its angles. Their horizontal angles
/// turn clockwise seen from above, the azimuths of C the other way.
double candela_towards(const ies_file& file, double azimuth, double polar)
{
    const double ahead = std::sin(polar) * std::cos(azimuth), right = -std::sin(polar) * std::sin(azimuth),
                 down = std::cos(polar);
    const bool is_b = file.photometric_type == IES_TYPE_B;
    const double latitude = std::asin(std::clamp(is_b ? right : -down, -1.0, 1.0)) / radians_per_degree;
    const double longitude = (is_b ? std::atan2(ahead, down) : std::atan2(right, ahead)) / radians_per_degree;
    double horizontal = is_b ? latitude : longitude;
    const double vertical = is_b ? longitude : latitude;
    if (file.horizontal_angles[0] >= 0.0f) { horizontal = std::fabs(horizontal); }

    const auto place = [](const float* angles, int32_t count, double angle, int32_t& at, double& share)
    {
        constexpr double slack = 1e-6; // degrees, for the rounding of the turn
        if (angle < angles[0] - slack || angle > angles[count - 1] + slack) { return false; }
        const auto behind = int32_t(std::upper_bound(angles, angles + count, float(angle)) - angles);
        at = std::clamp(behind - 1, 0, std::max(count - 2, 0));
        share = count < 2
                    ? 0.0
                    : std::clamp((angle - angles[at]) / (double(angles[at + 1]) - angles[at]), 0.0, 1.0);
        return true;
    };
    int32_t i, j;
    double s, t;
    if (!place(file.horizontal_angles, file.horizontal_count, horizontal, i, s) ||
        !place(file.vertical_angles, file.vertical_count, vertical, j, t))
    {
        return 0.0;
    }
    const auto along = [&](int32_t row)
    {
        const float* values = file.candela + size_t(row) * size_t(file.vertical_count);
        return t > 0.0 ? values[j] * (1.0 - t) + values[j + 1] * t : values[j];
    };
    return s > 0.0 ? along(i) * (1.0 - s) + along(i + 1) * s : along(i);
}

double step_of(const float* angles, int32_t count)
{
    double step = 180.0;
    for (int32_t i = 1; i < count; ++i) { step = std::fmin(step, double(angles[i]) - angles[i - 1]); }
    return step;
}

} // namespace
