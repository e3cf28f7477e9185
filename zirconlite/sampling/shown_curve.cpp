#include "zirconlite/sampling/shown_curve.hpp"

#include <algorithm>
#include <bit>
#include <cmath>

#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/tone.h"

namespace zr
{

namespace
{

constexpr float steps_of_display = 255.0f;
constexpr int shift = 19; ///< leaves the exponent and four bits of the mantissa
constexpr float darkest = 0x1p-24f;
constexpr uint32_t first_bits = 0x33800000; ///< of `darkest`
static_assert(std::bit_cast<uint32_t>(darkest) == first_bits);

float light_at(int i) { return std::bit_cast<float>(first_bits + (uint32_t(i) << shift)); }

float look_up(const float* table, float light)
{
    if (!(light > darkest)) { return 0.0f; }
    const uint32_t place = std::bit_cast<uint32_t>(light) - first_bits;
    const uint32_t i = place >> shift;
    if (i >= uint32_t(shown_curve::steps)) { return table[shown_curve::steps]; }
    const float within = float(place & ((1u << shift) - 1)) * (1.0f / float(1u << shift));
    return table[i] + (table[i + 1] - table[i]) * within;
}

float grey_shown(const render_view& view, float light, bool is_background)
{
    pixel_components c = {};
    std::fill_n(is_background ? c.background : c.surface, 3, light);
    c.present = is_background ? PIXEL_HAS_BACKGROUND : PIXEL_HAS_SURFACE;
    float rgb[3];
    zr_get_rgb_from_pixel_components(&view, &c, rgb);
    return rgb[1] * steps_of_display;
}

} // namespace

void prepare_shown_curve(const render_view& view, shown_curve& curve)
{
    curve.gain = view.source_gain > 0.0f ? std::min(view.source_gain, 4.0f) : 0.0f;
    for (int i = 0; i <= shown_curve::steps; ++i)
    {
        curve.surface[i] = grey_shown(view, light_at(i), false);
        curve.ratio[i] = std::pow(std::min(light_at(i), 1.0f), float(1.0 / display_gamma));
    }
    int above = 0; // the first step that shows as much as the background
    for (int i = 0; i <= shown_curve::steps; ++i)
    {
        const float shown = grey_shown(view, light_at(i), true);
        while (above < shown_curve::steps && curve.surface[above] < shown) { ++above; }
        curve.as_surface[i] = shown > 0.0f ? light_at(above) : 0.0f;
        if (above == 0 || !(shown > curve.surface[above - 1])) { continue; }
        const float below = curve.surface[above - 1], rise = curve.surface[above] - below;
        const float share = rise > 0.0f ? std::min((shown - below) / rise, 1.0f) : 1.0f;
        curve.as_surface[i] = light_at(above - 1) + (light_at(above) - light_at(above - 1)) * share;
    }
}

void light_of(const shown_curve& curve, const pixel_components& c, float light[3])
{
    const float factor = (1.0f - c.source_ratio) + curve.gain * c.source_ratio;
    for (int i = 0; i < 3; ++i)
    {
        light[i] = factor * c.surface[i] + look_up(curve.as_surface, c.background[i]);
    }
}

void show(const shown_curve& curve, const float light[3], float rgb[3])
{
    const float brightest = std::max({ light[0], light[1], light[2] });
    const float shown = look_up(curve.surface, brightest);
    for (int i = 0; i < 3; ++i)
    {
        rgb[i] = light[i] == brightest ? shown : shown * look_up(curve.ratio, light[i] / brightest);
    }
}

} // namespace zr
