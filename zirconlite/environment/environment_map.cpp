#include "zirconlite/environment/environment_map.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/render_view.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/picture/projection.h"
#include "zirconlite/picture/tone.h"

namespace zr
{

namespace
{

constexpr float rim_pixels = 1.5f;

void place_in_picture(const render_view& view, const vector3& d, float* x, float* y);

} // namespace

void prepare_environment_map(const environment& record, prepared_environment& made)
{
    const double angle = std::isfinite(record.hdr_rotation) ? double(record.hdr_rotation) : 0.0;
    const double c = std::cos(angle), s = std::sin(angle);
    made.hdr_matrix = { { { c, s, 0, 0 }, { -s, c, 0, 0 }, { 0, 0, 1, 0 }, { 0, 0, 0, 1 } } };
}

bool hdr_light(
    const environment& record, const prepared_environment& made, const vector3& direction, float rgb[3])
{
    const render_view* view = record.hdr_view;
    if (!view || !view->image || !view->image->pixels) { return false; }
    const vector3 d = transform_vector(made.hdr_matrix, direction);
    float at[2];
    place_in_picture(*view, d, &at[0], &at[1]);
    if (!std::isfinite(at[0]) || !std::isfinite(at[1])) { return false; }
    // The seam and the zenith are at the far ends, one step behind the last pixel.
    const int32_t x = std::clamp(int32_t(at[0]), 0, view->image->width - 1);
    const int32_t y = std::clamp(int32_t(at[1]), 0, view->image->height - 1);
    const uint8_t* pixel = zr_image_buffer_pixel_ex(view->image, x, y, nullptr);
    if (!pixel) { return false; }
    pixel_components parts = {};
    zr_unpack_internal_pixel(view->image, pixel, &parts, 0);
    for (int i = 0; i < 3; ++i)
    {
        const float light =
            parts.present & PIXEL_HAS_SIMPLE ? parts.simple[i] : parts.surface[i] + parts.background[i];
        rgb[i] = std::max(light * record.hdr_scale, 0.0f);
    }
    return true;
}

void hdr_display(const environment& record, float rgb[3])
{
    const render_view& view = *record.hdr_view;
    tone(&view, view.tone_exponent, view.tone_scale, rgb, 0);
    for (int i = 0; i < 3; ++i) { rgb[i] = float(std::pow(double(rgb[i]), display_gamma)); }
}

namespace
{

/// Position of a direction in the picture, pixels.
void place_in_picture(const render_view& view, const vector3& d, float* x, float* y)
{
    const auto width = float(view.image->width), height = float(view.image->height);
    if (view.projection != PROJECTION_PROBE)
    {
        zr_equirectangular_vector_to_pixels(&d, width, height, x, y);
        return;
    }
    zr_hdri_vector_to_pixels(&d, width, height, x, y);
    if (d.x * d.x + d.z * d.z < geometry_zero) // straight ahead, or straight behind: any point of the rim
    {
        *x = d.y > 0.0 ? 0.5f * width : width;
        *y = 0.5f * height;
    }
    // A rendered probe has no light in the pixels that its circle cuts.
    const float from_middle = std::hypot(*x / width - 0.5f, *y / height - 0.5f);
    const float whole = 0.5f - rim_pixels / std::min(width, height);
    if (!(from_middle > whole) || !(whole > 0.0f)) { return; }
    *x = (0.5f + (*x / width - 0.5f) * (whole / from_middle)) * width;
    *y = (0.5f + (*y / height - 0.5f) * (whole / from_middle)) * height;
}

} // namespace

} // namespace zr
