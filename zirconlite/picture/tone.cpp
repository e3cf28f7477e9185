/// @file
/// The two tone operators and their inverses.
#include "zirconlite/picture/tone.h"

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/render_view.h"
#include "zirconlite/picture/film.hpp"
#include "zirconlite/picture/gamma_tables.hpp"

namespace
{

constexpr float black_level = 1e-10f;
constexpr float max_radiance = 0x1.fffffep62f; // the top of the packed range
constexpr double last_position = 99.99999;     // of the curve, in bins

int dominant_channel(const float rgb[3]);

void clamp_radiance(float rgb[3]);
const histogram* curve_of(const render_view& view, int32_t method);
void follow_method(const render_view& view, float background[3]);

int32_t power_tone(const render_view& view, double exponent, double scale, float rgb[3], bool plain);
void inverse_power_tone(double exponent, double scale, float rgb[3]);
int32_t histogram_tone(const histogram& curve, float rgb[3], bool plain);
void inverse_histogram_tone(const histogram& curve, float rgb[3]);

double display_value(const histogram& curve, double luminance, bool plain);
float luminance_of(const histogram& curve, double value);
float encode_smoothly(float linear);
float decode_smoothly(float encoded);
void set_black(float rgb[3]);

} // namespace

int32_t get_tone_operator(
    double luminance, double* scale, double* exponent, double exponent_factor, double scale_factor)
{
    *scale = *exponent = 1.0;
    if (!(luminance > 0.0) || !std::isfinite(luminance)) { return 0; }
    constexpr double curve_share = 0.2801748290933543;
    const double lg = std::log10(luminance);
    *exponent = (0.4 * lg + 2.92) * curve_share * 0.85 * exponent_factor;
    double m = std::pow(10.0, ((-0.4 * lg * lg - 2.584 * lg + 2.0208) + 2.2235) * curve_share);
    m *= 0.011627906976744186 * 1.25;
    if (lg < 1.0) { m *= std::pow(0.9, 1.0 - lg); }
    *scale = scale_factor * m;
    return 1;
}

int32_t tone(const render_view* view, double exponent, double scale, float rgb[3], int32_t plain)
{
    clamp_radiance(rgb);
    if (view->tone_method == TONE_FILM) { return zr::film_tone(*view, rgb, plain != 0); }
    const histogram* curve = curve_of(*view, view->tone_method);
    if (curve) { return histogram_tone(*curve, rgb, plain != 0); }
    return power_tone(*view, exponent, scale, rgb, plain != 0);
}

int32_t inverse_tone(const render_view* view, double exponent, double scale, float rgb[3])
{
    const histogram* curve = curve_of(*view, view->tone_method);
    if (view->tone_method == TONE_HISTOGRAM && !curve)
    {
        set_black(rgb);
        return 0;
    }
    for (int j = 0; j < 3; ++j) { rgb[j] = rgb[j] > 0.0f ? std::min(rgb[j], 1.0f) : 0.0f; }
    if (rgb[dominant_channel(rgb)] < black_level)
    {
        set_black(rgb);
        return 1;
    }
    if (view->tone_method == TONE_FILM) { zr::inverse_film(*view, rgb); }
    else if (curve) { inverse_histogram_tone(*curve, rgb); }
    else { inverse_power_tone(exponent, scale, rgb); }
    return 1;
}

int32_t zr_get_rgb_from_pixel_components(
    const render_view* view, const pixel_components* components, float rgb[3])
{
    if (view->image && view->image->pixel_format == PIXEL_SIMPLE)
    {
        for (int j = 0; j < 3; ++j) { rgb[j] = components->simple[j]; }
        return 1;
    }
    float background[3] = { components->background[0], components->background[1], components->background[2] };
    follow_method(*view, background);
    const uint32_t kinds = components->present & (PIXEL_HAS_SURFACE | PIXEL_HAS_BACKGROUND);
    if (kinds == PIXEL_HAS_BACKGROUND)
    {
        for (int j = 0; j < 3; ++j) { rgb[j] = background[j]; }
        tone(view, view->background_exponent, view->background_scale, rgb, 1);
        return 1;
    }
    const float ratio = components->source_ratio;
    const float gain = view->source_gain > 0.0f ? std::min(view->source_gain, 4.0f) : 0.0f;
    const float factor = (1.0f - ratio) + gain * ratio;
    if (view->tone_method == TONE_FILM)
    {
        for (int j = 0; j < 3; ++j) { rgb[j] = factor * components->surface[j]; }
        clamp_radiance(rgb);
        clamp_radiance(background);
        zr::film_tone_over(*view, background, rgb);
        return 1;
    }
    for (int j = 0; j < 3; ++j) { rgb[j] = factor * components->surface[j] + background[j]; }
    tone(view, view->tone_exponent, view->tone_scale, rgb, 0);
    return 1;
}

double zr_gain(double x, double a)
{
    // At 0 and 1 the curve is a step, and its formula 0 / 0.
    const double clamped = a > 1e-10 ? std::min(a, 1.0 - 1e-10) : 1e-10;
    const double g = (1.0 / clamped - 2.0) * (1.0 - 2.0 * x);
    return x < 0.5 ? x / (g + 1.0) : (g - x) / (g - 1.0);
}

namespace
{

int dominant_channel(const float rgb[3])
{
    if (rgb[0] > rgb[1] && rgb[0] > rgb[2]) { return 0; }
    return rgb[1] > rgb[2] ? 1 : 2;
}

/// Radiance that a sample may bring: NaN and negative light count as none, infinity as the largest kept.
void clamp_radiance(float rgb[3])
{
    for (int j = 0; j < 3; ++j) { rgb[j] = rgb[j] > 0.0f ? std::min(rgb[j], max_radiance) : 0.0f; }
}

/// The histogram that a method uses; null with the power curve, and before a histogram has been finished.
/// Then the power curve serves, with tone values of 1.0.
const histogram* curve_of(const render_view& view, int32_t method)
{
    if (method != TONE_HISTOGRAM || !view.histogram) { return nullptr; }
    return view.histogram->bin_width > 0.0f ? view.histogram : nullptr;
}

/// A background was turned into light by the inverse of the operator of its time. Where another one shows the
/// picture, it is turned into what that one shows as the same colour.
void follow_method(const render_view& view, float background[3])
{
    const int32_t made_by = view.background_method - 1;
    if (made_by < 0 || made_by == view.tone_method) { return; }
    clamp_radiance(background);
    const double exponent = view.background_exponent, scale = view.background_scale;
    const histogram* curve = curve_of(view, made_by);
    if (made_by == TONE_FILM) { zr::film_tone(view, background, true); }
    else if (curve) { histogram_tone(*curve, background, true); }
    else { power_tone(view, exponent, scale, background, true); }
    for (int j = 0; j < 3; ++j) { background[j] = float(std::pow(double(background[j]), zr::display_gamma)); }
    inverse_tone(&view, exponent, scale, background);
}

int32_t power_tone(const render_view& view, double exponent, double scale, float rgb[3], bool plain)
{
    const int i = dominant_channel(rgb);
    const float m = rgb[i];
    if (m <= black_level)
    {
        set_black(rgb);
        return 0;
    }
    const double power = std::pow(double(m), exponent) * scale;
    const double y = power < 1.0 ? power : 1.0;
    for (int j = 0; j < 3; ++j)
    {
        const double c = std::clamp(double(rgb[j]) / m * y, 0.0, 1.0);
        rgb[j] = float(std::pow(c, zr::tone_gamma_exponent));
    }
    if (plain) { return 1; }
    const float k = view.contrast + 0.1f;
    const double d = rgb[i];
    if (k == 0.5f || !(d > 0.0) || !std::isfinite(k)) { return 1; }
    const double steeper = std::pow(d, double(k) - 0.5 + 1.0);
    for (int j = 0; j < 3; ++j) { rgb[j] = float(rgb[j] / d * steeper); }
    return 1;
}

/// The dominant channel goes back through the curve, the others keep their ratio to it, as in the operator.
void inverse_power_tone(double exponent, double scale, float rgb[3])
{
    const float m = rgb[dominant_channel(rgb)];
    const double radiance = std::pow(double(m) / scale, 1.0 / exponent);
    const double clamped = radiance < max_radiance ? radiance : double(max_radiance);
    for (int j = 0; j < 3; ++j) { rgb[j] = float(double(rgb[j]) / m * clamped); }
}

int32_t histogram_tone(const histogram& curve, float rgb[3], bool plain)
{
    const int i = dominant_channel(rgb);
    const float dominant = rgb[i];
    if (dominant <= black_level)
    {
        set_black(rgb);
        return 0;
    }
    const float y = float(display_value(curve, std::log10(double(dominant)), plain));
    float shown[3], encoded[3];
    for (int j = 0; j < 3; ++j)
    {
        shown[j] = std::clamp(y * (rgb[j] / dominant), 0.0f, 1.0f);
        // A single step at the dark end of the table is many display steps once the dominant channel is
        // bright. The picture's noise hides that, an even background does not.
        encoded[j] = plain ? encode_smoothly(shown[j]) : zr::look_up(zr::gamma.display_float, shown[j], 1.0f);
    }
    if (encoded[i] <= black_level)
    {
        set_black(rgb);
        return 1;
    }
    // The curve gives display values already, so the dominant channel needs no gamma.
    for (int j = 0; j < 3; ++j) { rgb[j] = shown[i] * encoded[j] / encoded[i]; }
    return 1;
}

void inverse_histogram_tone(const histogram& curve, float rgb[3])
{
    const int i = dominant_channel(rgb);
    float display[3];
    for (int j = 0; j < 3; ++j) { display[j] = float(std::pow(double(rgb[j]), 1.0 / zr::display_gamma)); }
    const float y = display[i];
    const float luminance = luminance_of(curve, y);
    const float encoded_y = encode_smoothly(y);
    for (int j = 0; j < 3; ++j)
    {
        const float ratio = j == i ? 1.0f : decode_smoothly(display[j] * encoded_y / y) / y;
        rgb[j] = luminance * std::min(ratio, 1.0f);
    }
}

/// Display value of the curve at a log10 luminance.
double display_value(const histogram& curve, double luminance, bool plain)
{
    if (luminance < curve.log_min) { return 0.0; }
    // A background in white lies at the end of the range, and its packing may put it just beyond.
    if (luminance > curve.log_max) { return plain ? 1.0 : double(curve.curve_top); }
    const double position =
        std::clamp((luminance - curve.log_min) * curve.inverse_bin_width, 0.0, last_position);
    const int bin = int(position);
    const double within = position - std::floor(position);
    const auto value_at = [&](int b) -> double
    {
        if (b >= HISTOGRAM_BINS) { return 1.0; }
        return plain ? curve.bins[b].plain_curve : curve.bins[b].curve;
    };
    const double value = value_at(bin);
    return value + (value_at(bin + 1) - value) * within;
}

/// The luminance that the plain curve shows as `value`, above 0 and at most 1.
float luminance_of(const histogram& curve, double value)
{
    const histogram_bin* const first = curve.bins;
    const histogram_bin* const above = std::upper_bound(first, first + HISTOGRAM_BINS, value,
        [](double v, const histogram_bin& bin) { return v < bin.plain_curve; });
    const int bin = std::max(int(above - first) - 1, 0);
    const double low = first[bin].plain_curve;
    const double high = bin + 1 < HISTOGRAM_BINS ? first[bin + 1].plain_curve : 1.0;
    const double within = high > low ? std::clamp((value - low) / (high - low), 0.0, 1.0) : 0.0;
    const double position = std::min(bin + within, last_position);
    return float(std::pow(10.0, curve.log_min + position / curve.inverse_bin_width));
}

/// The display gamma of a channel from 0 to 1, by straight lines between the entries of its table.
float encode_smoothly(float linear)
{
    if (linear >= 1.0f) { return 1.0f; }
    const float position = linear * 2047.0f;
    const int entry = std::min(int(position), 2046);
    const float* table = zr::gamma.display_float;
    return table[entry] + (table[entry + 1] - table[entry]) * (position - float(entry));
}

/// The exact inverse of encode_smoothly.
float decode_smoothly(float encoded)
{
    if (encoded >= 1.0f) { return 1.0f; }
    const float* table = zr::gamma.display_float;
    const int entry = std::clamp(int(std::upper_bound(table, table + 2048, encoded) - table) - 1, 0, 2046);
    const float step = table[entry + 1] - table[entry];
    return (float(entry) + (encoded - table[entry]) / step) / 2047.0f;
}

void set_black(float rgb[3]) { rgb[0] = rgb[1] = rgb[2] = 0.0f; }

} // namespace
