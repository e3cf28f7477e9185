/// @file
/// The histogram of a picture's log luminance, and the display curve that is built from it.
///
/// Each bin is capped, so that a large even wall does not take the whole display range for itself: the idea
/// of G. Ward, "A visibility matching tone reproduction operator for high dynamic range scenes" (1997).
#include <algorithm>
#include <cmath>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/picture/tone.h"

namespace
{

constexpr float empty_minimum = 1e12f;
constexpr float darkest_sample = 1e-10f;
constexpr float brightest_sample = 0x1.fffffep62f;

float highlight(histogram& h);
void place_edges(histogram& h);
void count_samples(histogram& h);
void cap_bins(histogram& h);
bool is_locked(const render_view& view);

} // namespace

int32_t make_histogram(render_view* view, const int32_t size[2])
{
    if (is_locked(*view)) { return -1; }
    view->exposure_flags &= ~uint32_t(EXPOSURE_LOCKED);
    zr_free_histogram(view->histogram);
    view->histogram = nullptr;
    if (size[0] < 0 || size[1] < 0 || size[0] > IMAGE_MAX_SIDE || size[1] > IMAGE_MAX_SIDE)
    {
        zr::report_failure(ZR_ERROR_ARGUMENT, "a histogram for %d x %d pixels; each side may be 0 to %d",
            size[0], size[1], IMAGE_MAX_SIDE);
        return 0;
    }
    const size_t capacity = size_t(size[0] + 16) * size_t(size[1] + 16) / 256;
    auto* made = static_cast<histogram*>(zr_calloc(1, sizeof(histogram)));
    float* samples = static_cast<float*>(zr_malloc(capacity * sizeof(float)));
    if (!made || !samples)
    {
        zr_free(made);
        zr_free(samples);
        zr::report_failure(ZR_ERROR_MEMORY, "no memory for a histogram of %zu samples", capacity);
        return 0;
    }
    made->capacity = int32_t(capacity);
    made->samples = samples;
    made->log_min = made->lum_min = empty_minimum;
    view->histogram = made;
    view->view_flags |= VIEW_TONE_VALID;
    return 1;
}

int32_t histogram_add_sample(render_view* view, float value)
{
    if (!view->histogram) { return 0; }
    if (is_locked(*view)) { return -1; }
    histogram& h = *view->histogram;
    if (h.count >= h.capacity) { return 0; }
    const float clamped = value > 0.0f ? std::min(value, brightest_sample) : 0.0f;
    const float log_value = clamped > darkest_sample ? float(std::log10(double(clamped))) : 0.0f;
    h.log_min = std::min(h.log_min, log_value);
    h.log_max = std::max(h.log_max, log_value);
    h.lum_min = std::min(h.lum_min, clamped);
    h.lum_max = std::max(h.lum_max, clamped);
    h.samples[h.count++] = log_value;
    return 1;
}

int32_t finish_histogram(render_view* view, double luminance)
{
    if (is_locked(*view)) { return -1; }
    if (!view->histogram || view->histogram->count < 1) { return 0; }
    histogram& h = *view->histogram;
    view->measured_highlight = highlight(h);
    const double world = luminance > darkest_sample ? luminance : double(darkest_sample);
    h.world_lum = float(luminance);
    h.log_world = float(std::log10(world));
    h.curve_exponent = 1.0f;
    h.curve_top = 1.0f;
    // Dim scenes stay dim.
    if (world < 10.0) { h.curve_exponent = (5.0f - std::max(h.log_world + 4.0f, 0.0f)) * 0.1f + 1.0f; }

    place_edges(h);
    count_samples(h);
    cap_bins(h);
    if (h.count < 1) { return 0; }

    // One sample more in every bin keeps the curve rising everywhere, so that it has an inverse.
    h.bins[0].cumulative = 0.0f;
    for (int i = 0; i < HISTOGRAM_BINS; ++i) { h.bins[i].bin_count += 1; }
    for (int i = 0; i + 1 < HISTOGRAM_BINS; ++i)
    {
        h.bins[i + 1].cumulative =
            float(h.bins[i].cumulative + h.bins[i].bin_count / (h.count + double(HISTOGRAM_BINS)));
    }
    return zr_modify_histogram(view);
}

int32_t zr_modify_histogram(render_view* view)
{
    if (!view->histogram) { return 0; }
    histogram& h = *view->histogram;
    for (histogram_bin& bin : h.bins)
    {
        bin.curve = bin.plain_curve = float(std::pow(double(bin.cumulative), double(h.curve_exponent)));
    }

    const double brightness =
        std::isnan(view->brightness) ? 0.0 : std::clamp(double(view->brightness), -5.0, 5.0);
    const double contrast =
        std::isnan(view->contrast) ? 0.5 : std::clamp(double(view->contrast), 0.001, 0.999);
    if (brightness != 0.0 || contrast != 0.5)
    {
        const double k = brightness >= 0.0 ? std::max(1.0 - brightness / 2.0, 0.0) : 1.0 - brightness;
        for (histogram_bin& bin : h.bins)
        {
            bin.curve = float(std::pow(zr_gain(bin.curve, 1.0 - contrast), k));
        }
    }

    // Below a luminance of 10 the curve is scaled down in step with the log, to 0 at a luminance of 0.001.
    for (int i = 1; i < HISTOGRAM_BINS; ++i)
    {
        if (h.bins[i].edge >= 1.0f)
        {
            h.curve_top = 1.0f;
            break;
        }
        h.curve_top = std::max(h.bins[i].edge + 3.0f, 0.0f) / 4.0f;
        h.bins[i].curve *= h.curve_top;
    }
    return 1;
}

int32_t zr_free_histogram(histogram* h)
{
    if (!h) { return 1; }
    zr_free(h->samples);
    zr_free(h);
    return 1;
}

namespace
{

/// What a quarter of the samples exceeds.
float highlight(histogram& h)
{
    const int32_t place = h.count - 1 - h.count / 4;
    std::nth_element(h.samples, h.samples + place, h.samples + h.count);
    return float(std::pow(10.0, double(h.samples[place])));
}

void place_edges(histogram& h)
{
    const float widening = (h.log_max - h.log_min) * 0.005f;
    const float margin = widening == 0.0f ? 5e-5f : widening;
    h.log_max += margin;
    h.log_min -= margin;
    h.bin_width = (h.log_max - h.log_min) * 0.01f;
    if (h.bin_width == 0.0f) { h.bin_width = 0.0001f; }
    h.inverse_bin_width = 1.0f / h.bin_width;
    for (int i = 0; i < HISTOGRAM_BINS; ++i) { h.bins[i].edge = h.log_min + float(i) * h.bin_width; }
}

void count_samples(histogram& h)
{
    for (histogram_bin& bin : h.bins) { bin.bin_count = 0; }
    for (int32_t s = 0; s < h.count; ++s)
    {
        const float position = (h.samples[s] - h.log_min) * h.inverse_bin_width;
        h.bins[int(std::clamp(position, 0.0f, 99.0f))].bin_count += 1;
    }
}

void cap_bins(histogram& h)
{
    const int32_t ceiling = std::max(int32_t(std::floor(double(h.count) * h.bin_width) * 0.2), 2);
    for (histogram_bin& bin : h.bins)
    {
        const int32_t excess = int32_t(bin.bin_count) - ceiling;
        if (excess < 1) { continue; }
        h.count -= excess;
        bin.bin_count -= uint32_t(excess);
    }
}

/// A locked exposure keeps a histogram that has been measured.
bool is_locked(const render_view& view)
{
    return (view.exposure_flags & EXPOSURE_LOCKED) && (view.view_flags & VIEW_TONE_VALID) && view.histogram &&
           view.histogram->count > 0;
}

} // namespace
