/// @file
/// What light looks like in the picture of a job, near enough to say how far an error shows, and many times
/// cheaper than the tone operators. The brightest channel follows the curve of grey light, the others keep
/// their ratio to it.
#pragma once

#include "zirconlite/frame/render_view.h"
#include "zirconlite/picture/image_buffer.h"

namespace zr
{

/// Tables over the logarithm of light, 16 steps for each doubling.
struct shown_curve
{
    static constexpr int steps = 87 * 16;

    float surface[steps + 1];    ///< of grey light of surfaces; steps of 255
    float as_surface[steps + 1]; ///< of the background layer: light of surfaces that shows alike
    float ratio[steps + 1];      ///< of a weaker channel to the brightest, as shown
    float gain;                  ///< of light straight from light sources, see `render_view.source_gain`
};

/// Fills the tables by the view's tone operator.
void prepare_shown_curve(const render_view& view, shown_curve& curve);

/// Light of surfaces and background together, as light of surfaces alone.
void light_of(const shown_curve& curve, const pixel_components& c, float light[3]);

/// What `light` shows, in steps of 255.
void show(const shown_curve& curve, const float light[3], float rgb[3]);

} // namespace zr
