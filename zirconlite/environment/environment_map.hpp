/// @file
/// The picture of light that stands for the whole environment, `environment.hdr_view`.
#pragma once

#include "zirconlite/environment/prepared_environment.hpp"

namespace zr
{

/// Works out `hdr_matrix`.
void prepare_environment_map(const environment& record, prepared_environment& made);

/// The light of the picture in a unit direction, cd/m2, times `hdr_scale`. False without a picture, and where
/// it has no pixel. Any thread.
///
/// A picture is a light probe when its view's projection says so, else latitude and longitude: the middle of
/// both is north (+y) before `hdr_rotation`, x grows to the right as seen from inside.
bool hdr_light(
    const environment& record, const prepared_environment& made, const vector3& direction, float rgb[3]);

/// Brings light of the picture to linear display values, 0 to 1, by its own view's tone operator.
void hdr_display(const environment& record, float rgb[3]);

} // namespace zr
