/// @file
/// The projection in force: written by zr_init_projection only, read by every ray.
#pragma once

#include "zirconlite/types.h"

namespace zr
{

struct projection_state_record
{
    int32_t two_point;                ///< 1 when the projection in force is the two-point form
    vector3 two_point_target;         ///< the view's target
    double two_point_low;             ///< lowest height of the image plane about the target
    double two_point_distance;        ///< cos(tilt) x distance from eye to target
    double two_point_near;            ///< cos(tilt) x near
    vector3 pano_flat;                ///< horizontal unit vector of the view, projections 4 and 5
    vector3 pano_axis_a, pano_axis_b; ///< axes square to it, projection 5
    double probe_matrix[3][3];        ///< frame of projection 6, columns a, b, c
};

extern projection_state_record projection_state;

} // namespace zr
