/// @file
/// The process's one sun: what zr_set_sun_and_sky prepares for the document in hand and workers read.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/lighting/sun_sky.h"

namespace zr
{

/// A LIGHT_PARALLEL of the sun's direction, colour and disc.
extern light sun_light;
/// Whose results `sun_light` and the factors below are; null before the first.
extern const sun_sky* current_sun_sky;
/// How far the day's colours, and the sky's brightness, apply at the sun's altitude: 1 by day, 0 by night.
extern double twilight_color, twilight_sky;

/// Readies sun, sky and window lights for a render of `doc`; nothing where neither takes part. Before
/// the workers start.
void prepare_sun(document& doc);

/// What is free of zero in a document's `sun_sky`; makes its sky light. False when memory fails.
bool init_sun_sky(document& doc);

/// Frees them; the process's sun forgets the document.
void end_sun_sky(document& doc);

/// A direction to a point of the sun's disc, as `light.sample` of LIGHT_SKY.
int32_t sample_sun_disc(const light* l, const vector3* point, source_sample* samples, int32_t n);

/// Luminance of the sky relative to `sky_strength`, whatever the job's mode.
double sky_luminance(const sun_sky& sky, const vector3& direction);

} // namespace zr
