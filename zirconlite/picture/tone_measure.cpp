/// @file
/// Measures a picture's log-average luminance and sets the tone values of its view from it.
#include <algorithm>
#include <cmath>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/picture/tone.h"

namespace
{

constexpr int32_t sample_step = 16; // the preprocess pass renders one pixel in 16 by 16
constexpr float dark_sample = 0.001f;

struct luminance_sum
{
    double log_sum = 0.0;
    int32_t count = 0;
    double channels[3] = {}; ///< sums of logarithms, of pixels with light in every channel
    int32_t colored = 0;
};

luminance_sum sample_image(render_view& view, image_buffer& image, int32_t width, int32_t height, bool clear);
void store_white(const luminance_sum& sum, float white[3]);
void set_neutral_tone(render_view& view);
double clamped_brightness(const render_view& view);

} // namespace

int32_t zr_get_raytrace_tone_op(render_view* view, image_buffer* image)
{
    if (!view || !image) { return 0; }
    return measure_image(view->document, view, image, image->width, image->height, 0);
}

int32_t measure_image(
    document*, render_view* view, image_buffer* image, int32_t width, int32_t height, int32_t clear)
{
    if (!view || !image || !image->pixels)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "there is no picture to measure");
        return 0;
    }
    if ((view->exposure_flags & EXPOSURE_LOCKED) && (view->view_flags & VIEW_TONE_VALID)) { return 1; }
    view->view_flags &= ~uint32_t(VIEW_TONE_VALID);
    const int32_t size[2] = { std::clamp(width, 0, image->width), std::clamp(height, 0, image->height) };
    const bool has_histogram = make_histogram(view, size) == 1;
    view->view_flags &= ~uint32_t(VIEW_TONE_VALID);

    const luminance_sum sum = sample_image(*view, *image, size[0], size[1], clear != 0);
    store_white(sum, view->measured_white);
    const double log_average = sum.count > 0 ? sum.log_sum / sum.count : 0.0;
    view->measured_luminance = sum.count > 0 ? std::pow(10.0, log_average) : 0.0;
    view->world_luminance = sum.count > 0 ? std::pow(10.0, log_average - clamped_brightness(*view)) : 0.0;
    // A picture without light still gets its curve: a background has to come through it.
    finish_histogram(view, sum.count > 0 ? view->measured_luminance : double(dark_sample));
    if (!has_histogram && view->tone_method == TONE_HISTOGRAM) { set_neutral_tone(*view); }
    else { zr_set_raytrace_tone_operator(view); }
    view->view_flags |= VIEW_TONE_VALID;
    return 1;
}

int32_t zr_set_raytrace_tone_operator(render_view* view)
{
    if (view->world_luminance == 0.0)
    {
        set_neutral_tone(*view);
        return 1;
    }
    double exponent_factor = 1.1f, scale_factor = 1.0;
    const document* scene = view->document;
    if (scene && scene->mode == MODE_RAYTRACE)
    {
        scale_factor = 1.1f;
        if (scene->sun_sky_flags == SUN_SKY_SUN || (scene->sun_sky_flags & SUN_SKY_EXTERIOR))
        {
            exponent_factor = scene->tone_exponent_factor;
            scale_factor = scene->tone_scale_factor;
        }
    }
    get_tone_operator(
        view->world_luminance, &view->tone_scale, &view->tone_exponent, exponent_factor, scale_factor);
    // Brightness moves surfaces and not the background.
    get_tone_operator(
        view->measured_luminance, &view->background_scale, &view->background_exponent, 1.0, 1.0);
    return 1;
}

int32_t zr_get_raytrace_tone_op_from_world_lum(render_view* view)
{
    return zr_set_raytrace_tone_operator(view);
}

int32_t apply_exposure(document* doc, render_view* view)
{
    if (!doc || !view || !(doc->render_state & RENDER_STATE_PREPROCESSED)) { return 0; }
    zr_modify_histogram(view);
    view->world_luminance =
        view->measured_luminance > 0.0
            ? std::pow(10.0, std::log10(view->measured_luminance) - clamped_brightness(*view))
            : 0.0;
    return zr_set_raytrace_tone_operator(view);
}

namespace
{

void add_color(luminance_sum& sum, const float rgb[3])
{
    if (!(rgb[0] > 0.0f && rgb[1] > 0.0f && rgb[2] > 0.0f)) { return; }
    for (int i = 0; i < 3; ++i) { sum.channels[i] += std::log10(double(rgb[i])); }
    ++sum.colored;
}

void store_white(const luminance_sum& sum, float white[3])
{
    std::fill_n(white, 3, 0.0f);
    if (sum.colored == 0) { return; }
    double rgb[3];
    for (int i = 0; i < 3; ++i) { rgb[i] = std::pow(10.0, sum.channels[i] / sum.colored); }
    const double y = zr::luminance(rgb);
    for (int i = 0; i < 3 && y > 0.0; ++i) { white[i] = float(rgb[i] / y); }
}

luminance_sum sample_image(render_view& view, image_buffer& image, int32_t width, int32_t height, bool clear)
{
    luminance_sum sum;
    for (int32_t y = 0; y < height; y += sample_step)
    {
        for (int32_t x = 0; x < width; x += sample_step)
        {
            uint8_t* pixel = zr_image_buffer_pixel(&image, x, y);
            pixel_components found;
            zr_unpack_internal_pixel(&image, pixel, &found, 0);
            if (clear) { std::fill_n(pixel, 2 * size_t(image.pixel_size), uint8_t(0)); }
            const double l = zr::luminance(found.surface);
            if (l > 0.0)
            {
                sum.log_sum += std::log10(l);
                ++sum.count;
                add_color(sum, found.surface);
                histogram_add_sample(&view, *std::max_element(found.surface, found.surface + 3));
            }
            else if (view.tone_method == TONE_HISTOGRAM) { histogram_add_sample(&view, dark_sample); }
        }
    }
    return sum;
}

void set_neutral_tone(render_view& view)
{
    view.tone_exponent = view.tone_scale = 1.0;
    view.background_exponent = view.background_scale = 1.0;
}

double clamped_brightness(const render_view& view)
{
    return std::isnan(view.brightness) ? 0.0 : std::clamp(double(view.brightness), -5.0, 5.0);
}

} // namespace
