/// @file
/// What surrounds a scene as a source of light: its radiance by direction, in cd/m2, and a table from which
/// directions are importance sampled by it. Prepared once for each render; workers only read.
#pragma once

#include "zirconlite/frame/document.h"

namespace zr
{

/// One direction with the light that comes from it.
struct sky_sample
{
    vector3 direction;
    double radiance[3]; ///< cd/m2
    double density;     ///< with which draw_sky_sample finds the direction, per steradian
};

/// Prepares the environment of the document as a light, or puts it out: in the fast light model, with
/// `sky_light_samples` 0, and where the sky comes in by windows only. After environment_prepare and the sun,
/// before workers start. False when memory fails; they are out then.
bool prepare_sky_light(const document& doc);

void free_sky_light();

/// Whether the environment gives light in this render.
bool sky_light_shines();

/// Illuminance of open level ground, lux by channel, without the sun.
void level_ground_lux(double lux[3]);

/// Whether parts are so much brighter than the rest that directions must be importance sampled. A smooth
/// sky has no table to draw from.
bool sky_light_has_bright_spots();

/// The light that comes from a unit direction; with the density where there are bright spots, else with 0.
sky_sample sky_light_from(const vector3& direction);

/// A direction in proportion to the luminance; `u` and `v` in 0 to 1. Where there are bright spots only.
sky_sample draw_sky_sample(double u, double v);

} // namespace zr
