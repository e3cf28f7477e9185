#include "zirconlite/picture/film.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/tone.h"

namespace zr
{

namespace
{

constexpr double mid_grey = 0.18;
constexpr double picture_key = 0.32;  ///< exposed light of the log-average, which shadows pull below mid-grey
constexpr double max_highlight = 1.6; ///< exposed light that a quarter of the picture may exceed
constexpr double max_stopping = 0.25; ///< for the sake of highlights; the rest of them burns out
constexpr double white_point = 12.0;  ///< exposed light that is shown as white, where mid-grey is 0.18
constexpr double shoulder = 0.97;     ///< of the curve; 1 is sharpest
constexpr double base_contrast = 1.15; ///< slope of the curve at mid-grey, in logarithms
constexpr double meter_constant =
    0.125; ///< luminance of a metered scene over 2^EV at ISO 100: ISO 2720, K = 12.5
constexpr double paling_start = 0.6; ///< shown linear value from which colours pale
constexpr float black_level = 1e-10f;
constexpr float max_radiance = 0x1.fffffep62f;

/// y = x^a / (b x^(a d) + c), through mid-grey and white.
struct film_curve
{
    double a, d, b, c;
};

bool develop(const render_view& view, const float light[3], double linear[3]);
void balance(const render_view& view, float rgb[3]);
double brightness_gain(const render_view& view);
film_curve curve_of(double contrast);
double contrast_of(const render_view& view);
double shown(const film_curve& f, double exposed);
double paling(double value);
float encode(double linear);
float largest(const float rgb[3]);
double plain_exposure(const render_view& view);
double exposure_of(const render_view& view, double log_average);
double automatic_exposure(double log_average, double highlight);
double key_of(double log_average);

} // namespace

int32_t film_tone(const render_view& view, float rgb[3], bool plain)
{
    if (!plain)
    {
        const float none[3] = { 0.0f, 0.0f, 0.0f };
        return film_tone_over(view, none, rgb);
    }
    const bool is_black = largest(rgb) <= black_level;
    for (int j = 0; j < 3; ++j) { rgb[j] = is_black ? 0.0f : encode(rgb[j] * plain_exposure(view)); }
    return !is_black;
}

int32_t film_tone_over(const render_view& view, const float background[3], float rgb[3])
{
    double linear[3];
    const bool is_lit = develop(view, rgb, linear);
    for (int j = 0; j < 3; ++j) { rgb[j] = encode(linear[j] + background[j] * plain_exposure(view)); }
    return is_lit || largest(rgb) > 0.0f;
}

void inverse_film(const render_view& view, float rgb[3])
{
    for (int j = 0; j < 3; ++j)
    {
        rgb[j] = float(std::min(rgb[j] / plain_exposure(view), double(max_radiance)));
    }
}

} // namespace zr

using namespace zr;

double zr_exposure_value(double f_stop, double shutter_seconds, double film_speed)
{
    if (!(f_stop > 0.0) || !(shutter_seconds > 0.0) || !(film_speed > 0.0)) { return 0.0; }
    return std::log2(f_stop * f_stop / shutter_seconds * 100.0 / film_speed);
}

int32_t zr_set_film_exposure(render_view* view, int32_t is_fixed, double ev)
{
    if (!view || !(ev >= -32.0 && ev <= 32.0)) { return 0; }
    view->film_fixed = is_fixed != 0;
    view->film_ev = float(ev);
    return 1;
}

int32_t zr_set_film_white(render_view* view, int32_t is_automatic, const float white[3])
{
    if (!view) { return 0; }
    float rgb[3] = { 0.0f, 0.0f, 0.0f };
    if (white && !is_automatic)
    {
        const double y = luminance(white);
        for (int j = 0; j < 3; ++j)
        {
            if (!(white[j] > 0.0f) || !(y < 1e30)) { return 0; }
            rgb[j] = float(white[j] / y);
        }
    }
    view->film_automatic_white = is_automatic != 0;
    std::copy_n(rgb, 3, view->film_white);
    return 1;
}

namespace zr
{

namespace
{

/// The light of surfaces as shown, linear. False for black.
bool develop(const render_view& view, const float light[3], double linear[3])
{
    float rgb[3] = { light[0], light[1], light[2] };
    balance(view, rgb);
    const float m = largest(rgb);
    std::fill_n(linear, 3, 0.0);
    if (m <= black_level) { return false; }
    const double exposure = exposure_of(view, view.world_luminance) * brightness_gain(view);
    static const film_curve neutral = curve_of(1.0);
    const double contrast = contrast_of(view);
    const double value = shown(contrast == 1.0 ? neutral : curve_of(contrast), m * exposure);
    const double pale = paling(value);
    for (int j = 0; j < 3; ++j)
    {
        const double ratio = rgb[j] / m;
        linear[j] = value * (ratio + (1.0 - ratio) * pale);
    }
    return true;
}

/// The eye adapts to the colour of its surroundings in part, so an automatic balance takes half of it away.
void balance(const render_view& view, float rgb[3])
{
    for (int j = 0; j < 3; ++j)
    {
        const float white =
            view.film_automatic_white ? std::sqrt(view.measured_white[j]) : view.film_white[j];
        if (white > 0.0f) { rgb[j] /= white; }
    }
}

double brightness_gain(const render_view& view)
{
    return !view.film_fixed || std::isnan(view.brightness)
               ? 1.0
               : std::pow(10.0, std::clamp(double(view.brightness), -5.0, 5.0));
}

film_curve curve_of(double contrast)
{
    const double a = base_contrast * contrast, d = shoulder;
    const double mid = std::pow(mid_grey, a), white = std::pow(white_point, a);
    const double mid_d = std::pow(mid_grey, a * d), white_d = std::pow(white_point, a * d);
    const double b = (white * mid_grey - mid) / ((white_d - mid_d) * mid_grey);
    return { a, d, b, white - b * white_d };
}

double contrast_of(const render_view& view)
{
    return std::isnan(view.contrast) ? 1.0 : 0.5 + std::clamp(double(view.contrast), 0.0, 1.0);
}

double shown(const film_curve& f, double exposed)
{
    if (exposed >= white_point) { return 1.0; }
    const double x = std::pow(exposed, f.a);
    return std::clamp(x / (f.b * std::pow(exposed, f.a * f.d) + f.c), 0.0, 1.0);
}

/// How far a bright colour has paled to white.
double paling(double value)
{
    const double t = std::clamp((value - paling_start) / (1.0 - paling_start), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

float encode(double linear) { return float(std::pow(std::clamp(linear, 0.0, 1.0), 1.0 / display_gamma)); }

float largest(const float rgb[3]) { return std::max({ rgb[0], rgb[1], rgb[2] }); }

/// In the plain form as on screen: shades of the background do not depend on brightness.
double plain_exposure(const render_view& view) { return exposure_of(view, view.measured_luminance); }

/// Exposed light of 1 cd/m2. A fixed exposure value puts what a meter reads to mid-grey; else the log-average
/// of the picture goes to the key.
double exposure_of(const render_view& view, double log_average)
{
    if (view.film_fixed) { return mid_grey / (meter_constant * std::exp2(double(view.film_ev))); }
    return log_average > 0.0 ? automatic_exposure(log_average, view.measured_highlight) : 1.0;
}

double automatic_exposure(double log_average, double highlight)
{
    const double exposure = key_of(log_average) / log_average;
    if (!(highlight * exposure > max_highlight)) { return exposure; }
    return std::max(max_highlight / highlight, exposure * max_stopping);
}

/// Eyes see dim scenes dimmer: from 300 cd/m2 down the key falls, to two thirds of it at 5 cd/m2.
double key_of(double log_average)
{
    return picture_key * std::clamp(0.53 + 0.19 * std::log10(log_average), 0.2, 1.0);
}

} // namespace

} // namespace zr
