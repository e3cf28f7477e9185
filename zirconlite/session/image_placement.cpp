/// @file
/// How a picture lies in a window, and the walk over the window's positions that draws it.
#include <cmath>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/picture/output.h"

namespace
{

int32_t truncated(double value);
int32_t clamp_axis(double* cop, int32_t visible, int32_t size, int32_t* scroll);
void draw_row(image_placement* placement, int32_t first_column, int32_t end_column);

} // namespace

int32_t image_pixel_to_display_pixel(const image_placement* placement, const double pixel[2], int32_t out[2])
{
    for (int axis = 0; axis < 2; ++axis)
    {
        const double origin = placement->client_size[axis] * placement->cop[axis] -
                              placement->picture_size[axis] * placement->zoom * 0.5;
        out[axis] = truncated(pixel[axis] * placement->zoom + origin + 0.5);
    }
    return 1;
}

int32_t zr_adjust_COP(image_placement* placement, const int32_t visible[2], int32_t scroll[2])
{
    const int32_t x = clamp_axis(&placement->cop[0], visible[0], placement->picture_size[0], &scroll[0]);
    const int32_t y = clamp_axis(&placement->cop[1], visible[1], placement->picture_size[1], &scroll[1]);
    // Pictures count rows from below, scroll bars from above.
    if (y) { scroll[1] = 100 - scroll[1]; }
    return x | y << 1;
}

int32_t zr_pan_image(
    image_placement* placement, const int32_t visible[2], const double delta[2], int32_t scroll[2])
{
    for (int axis = 0; axis < 2; ++axis)
    {
        if (placement->picture_size[axis] < 1) { continue; }
        placement->cop[axis] += double(visible[axis]) / placement->picture_size[axis] * delta[axis];
    }
    return zr_adjust_COP(placement, visible, scroll);
}

void zr_set_COP(image_placement*) {}

int32_t zr_display_image(image_placement* placement)
{
    const document* document = placement->view ? placement->view->document : nullptr;
    const bool simple = document && document->mode == MODE_SIMPLE;
    placement->pixel_cache = simple ? nullptr : zr_init_pixel_cache();

    const double width = placement->picture_size[0] * placement->zoom;
    const double height = placement->picture_size[1] * placement->zoom;
    const int32_t left = truncated(width * placement->cop[0]) - placement->client_size[0] / 2;
    const int32_t top = truncated(height * placement->cop[1]) - placement->client_size[1] / 2;
    placement->first_y = top;
    placement->first_x = left > 0 ? truncated(left * placement->reduction) : 0;
    for (int32_t row = 0; row < placement->client_size[1]; ++row)
    {
        placement->row = row;
        const bool in_picture = row >= -int64_t(top) && row < truncated(height - top);
        placement->begin_row(placement, !in_picture);
        draw_row(placement, in_picture ? -left : 0, in_picture ? truncated(width - left) : 0);
    }
    zr_term_pixel_cache(placement->pixel_cache);
    placement->pixel_cache = nullptr;
    return 1;
}

namespace
{

/// Half the range of i32 at most, so that sums and signs of results stay within it.
int32_t truncated(double value)
{
    constexpr double limit = 1 << 30;
    return value >= limit ? int32_t(limit) : value > -limit ? int32_t(value) : -int32_t(limit);
}

/// Keeps the window filled along one axis; 1 when it can scroll, with the bar's position from 0 to 100.
int32_t clamp_axis(double* cop, int32_t visible, int32_t size, int32_t* scroll)
{
    *scroll = 50;
    if (visible >= size)
    {
        *cop = 0.5;
        return 0;
    }
    const double half = visible * 0.5 / size;
    *cop = std::fmin(std::fmax(*cop, half), 1.0 - half);
    *scroll = truncated((*cop - half) / (1.0 - 2.0 * half) * 100.0 + 0.5);
    return 1;
}

/// Columns from `first_column` up to `end_column` show the picture, the others are blank.
void draw_row(image_placement* placement, int32_t first_column, int32_t end_column)
{
    for (int32_t column = 0; column < placement->client_size[0]; ++column)
    {
        placement->column = column;
        const bool blank = column < first_column || column >= end_column;
        if (blank) { placement->put_blank(placement); }
        else { placement->put_pixel(placement); }
        placement->next_pixel(placement, blank);
    }
}

} // namespace
