/// @file
/// The blend functions of complex materials: the share of the first child at a point.
#pragma once

#include "zirconlite/materials/material.h"

namespace zr
{

/// Octaves that a pattern takes at most: beyond these a noise adds less than its table can resolve.
inline constexpr int32_t pattern_max_octaves = 16;

/// A periodic wave over `x` in 0 to 1: 1 over the first `ratio` of the period, 0 over the rest, with edges
/// that take `softness` of the narrower band.
double soft_pulse(double x, double ratio, double softness);

double blend_marble(const complex_material* m, ray* r, const vector3* point, child_context* children);
/// A threshold of the noise itself, in at least two octaves.
double blend_granite(const complex_material* m, ray* r, const vector3* point, child_context* children);
/// Rings about the pattern's y axis, two to a unit of radius.
double blend_wood(const complex_material* m, ray* r, const vector3* point, child_context* children);
double blend_tile(const complex_material* m, ray* r, const vector3* point, child_context* children);
double blend_mask(const complex_material* m, ray* r, const vector3* point, child_context* children);
double blend_even(const complex_material* m, ray* r, const vector3* point, child_context* children);
/// The second child as a coat over the first; changes both children's surfaces.
double blend_clear_finish(const complex_material* m, ray* r, const vector3* point, child_context* children);
double blend_angular(const complex_material* m, ray* r, const vector3* point, child_context* children);

/// Gives each tile its jitter of colour and coordinates; the grout has none.
void prepare_tile(const complex_material* m, ray* r, const vector3* point, child_context* children);

} // namespace zr
