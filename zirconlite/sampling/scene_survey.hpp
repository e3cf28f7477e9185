/// @file
/// Surfaces that samples aim at: those that glow, flat mirrors and panes that throw light, and panes that let
/// the sky in. Found once for each render; workers only read.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/scene_object.h"

namespace zr
{

/// A flat part of the scene, enclosed by a rectangle in its plane.
struct flat_panel
{
    vector3 middle, normal, u, v; ///< unit vectors; u and v along the sides
    double half_u, half_v;        ///< of the sides, model units
    double area;                  ///< of the surfaces in it
    double mirrored, clear;       ///< shares of the light by their material
};

/// A point on a glowing surface, chosen by its light.
struct glowing_point
{
    scene_object* object;
    vector3 point, normal;
    double density; ///< per square unit
};

/// Surveys a document. False when memory fails.
bool prepare_survey(const document& doc);
void free_survey();

/// Panels of one kind at most.
inline constexpr size_t max_panels = 16;

/// Panels whose mirror images of luminaires count, the largest first.
const flat_panel* mirror_panels(size_t& count);
/// The mirror panel of an object, or -1.
int32_t mirror_panel_of(const scene_object& object);

/// Clear panels through which the sky is sampled.
const flat_panel* opening_panels(size_t& count);

bool surfaces_glow();

/// Chooses a point on a glowing surface in proportion to its light; `u` and `v` in 0 to 1.
glowing_point pick_glowing_point(double u, double v);

/// Density with which pick_glowing_point finds any point of an object, per square unit; 0 for objects that
/// are not picked.
double glowing_density(const scene_object& object);

/// Where a line meets a panel's rectangle: the distance from `origin` along `direction`. False where it
/// misses.
bool meets_panel(const flat_panel& panel, const vector3& origin, const vector3& direction, double& distance);

/// A point and a direction as the panel mirrors them.
vector3 mirrored_point(const flat_panel& panel, const vector3& point);
vector3 mirrored_direction(const flat_panel& panel, const vector3& direction);

} // namespace zr
