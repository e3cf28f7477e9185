/// @file
/// What a render works out from an `environment` record. It is kept beside the record, one for each of a
/// document's two, so that hosts may copy, save and restore records as they like.
#pragma once

#include "zirconlite/frame/document.h"

namespace zr
{

inline constexpr int cloud_cells = 32; ///< of the cloud box along x and y

/// One ellipsoid of a cumulus.
struct cloud_ellipsoid
{
    cloud_ellipsoid* next;
    float inverse_rx2, inverse_ry2, inverse_rz2; ///< 1 / radius squared
    float center[3];
    float base; ///< height at which the cloud's thickness scale starts
};

/// An ellipsoid in the list of a cell.
struct cloud_cell_node
{
    cloud_cell_node* next;
    cloud_ellipsoid* ellipsoid;
};

} // namespace zr

struct prepared_environment
{
    float gradient_colors[9]; ///< top, middle, bottom
    double gradient_sines[3];

    void *image_bitmap, *image_key; ///< a shared `bitmap`; an own `mat_key`
    double sine_top, sine_bottom, inverse_sine_span;
    double azimuth_start, inverse_azimuth_span, inverse_altitude_span;
    double inverse_planar_scale[2], inverse_view_size[2];

    matrix4 cloud_matrix;
    double cloud_world_offset[3];
    zr::cloud_cell_node* cells[zr::cloud_cells * zr::cloud_cells]; ///< lists, index x x 32 + y
    double cloud_box_min[3], cloud_box_max[3];
    double inverse_cell_size[3], cell_size[3];
    zr::cloud_ellipsoid*
        ellipsoids; ///< the list of all, newest first; owns the block that the cells lie in too

    matrix4 hdr_matrix;
};

namespace zr
{

/// What environment_prepare worked out for `record`, one of the document's two; all zero before. Any thread.
const prepared_environment& prepared_of(const document& doc, const environment& record);

} // namespace zr
