/// @file
/// Chooses one luminaire for a point by its likely share of the point's light, in time that grows with the
/// logarithm of their number: Conty Estevez and Kulla, "Importance sampling of many lights with adaptive tree
/// splitting" (2018). Nodes bound what their sources send by its angle to an axis. Made once for each render;
/// workers only read.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/lighting/light.h"

namespace zr
{

/// A luminaire and the probability with which it was chosen; a null `source` where none can reach the point.
struct light_pick
{
    const light* source;
    double probability;
};

/// Sorts the luminaires of a document; the sun and the sky are not among them. False when memory fails.
bool prepare_light_tree(const document& document);

void free_light_tree();

/// Room for the picks of a point.
inline constexpr int max_light_picks = 4;

/// Distant luminaires that a point takes where the eye sees it: all where they are few, else one. Shadows of
/// the sun would else leave most samples without light. Returns how many.
int pick_distant_lights(double u, light_pick picks[max_light_picks]);

/// Room for the candidates of a point.
inline constexpr int max_light_candidates = 16;

/// Luminaires with a place that between them stand for all of these: those that matter by themselves, and one
/// of each group of those that matter less. Each has the probability with which it stands for its group.
/// `normal` is the side that is lit; with `both_sides` every direction counts. Returns how many.
int pick_light_candidates(const vector3& point, const vector3& normal, bool both_sides, double u,
    light_pick picks[max_light_candidates]);

/// Chooses one by `u` in [0, 1), distant ones included. A luminaire that can give light to the point has a
/// probability above 0.
light_pick pick_light(const vector3& point, const vector3& normal, bool both_sides, double u);

} // namespace zr
