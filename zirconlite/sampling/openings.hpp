/// @file
/// Openings of rooms as portals: where the sky comes in by clear panes, a part of the shadow rays to the sky
/// aims at them. Bitterli, Novak and Jarosz, "Portal-masked environment map sampling" (2015), has the idea;
/// here a pane is chosen by its apparent size and a point on it evenly.
#pragma once

#include <stddef.h>

#include "zirconlite/frame/document.h"
#include "zirconlite/sampling/scene_survey.hpp"
#include "zirconlite/types.h"

namespace zr
{

inline constexpr size_t max_openings = max_panels;

/// The openings as a point of a room sees them.
struct seen_openings
{
    vector3 point;
    double weight[max_openings]; ///< apparent sizes, of those that there are
    double sum;                  ///< of them; 0: the point aims at none
};

/// Finds which sides of the clear panels lie outdoors. After the survey; on one thread.
void prepare_openings(document& doc);

/// From the side of a surface that faces `normal`.
seen_openings openings_from(const vector3& point, const vector3& normal);

/// A direction through one of them; `u` and `v` in 0 to 1.
vector3 aim_at_opening(const seen_openings& seen, double u, double v);

/// Density with which aim_at_opening finds a direction; 1/sr.
double opening_density(const seen_openings& seen, const vector3& direction);

} // namespace zr
