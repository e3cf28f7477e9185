#include "host/photometry/polar_plot.hpp"

#include "host/vectors.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace host
{

namespace
{

constexpr rgb8 ring_color = { 200, 204, 210 }, frame_color = { 130, 134, 140 }, text_color = { 60, 64, 70 };
constexpr rgb8 curve_colors[] = { { 200, 40, 30 }, { 25, 85, 190 } };
constexpr double curve_dashes[] = { 0, 9 };
constexpr double curve_width = 2.4;
constexpr double title_height = 13, label_height = 9, legend_height = 10.5;
constexpr double margin = 64, head = 70, half_head = 92, foot = 120;
constexpr double ring_step_deg = 1, spoke_step_deg = 15;
constexpr size_t longest_title = 60;
constexpr double min_peak = 1e-6; ///< of the rings, for a table that is all but dark

/// The frame of the plot: where 0 cd is, and how far an intensity is from there.
struct polar_frame
{
    double x, y, radius, most; ///< `most` cd at `radius`
    double last_deg;           ///< rings and spokes go this far from the axis

    std::array<double, 2> at(double angle_deg, double share) const
    {
        return { x + radius * share * std::sin(angle_deg * radians),
            y + radius * share * std::cos(angle_deg * radians) };
    }
};

/// 1, 2, 2.5 or 5 times a power of ten, so that three to six of them reach `most`.
double ring_step(double most)
{
    const double decade = std::pow(10.0, std::floor(std::log10(most / 5)));
    for (const double step : { 1.0, 2.0, 2.5, 5.0, 10.0 })
    {
        if (most / (step * decade) <= 6) { return step * decade; }
    }
    return 10 * decade;
}

bool is_half(const luminaire_figures& f) { return f.last_polar_deg <= 90.01; }

polar_frame frame_of(const luminaire_figures& f, double most)
{
    polar_frame frame{};
    frame.most = most;
    frame.x = plot_width / 2.0;
    frame.radius = plot_width / 2.0 - margin;
    frame.y = is_half(f) ? half_head : head + frame.radius;
    frame.last_deg = is_half(f) ? 90 : 180;
    return frame;
}

void draw_rings(const polar_frame& frame, double step, drawing& d)
{
    const int rings = int(std::lround(frame.most / step));
    for (int i = 1; i <= rings; ++i)
    {
        drawn_line ring{ {}, i == rings ? frame_color : ring_color, 1 };
        for (double a = -frame.last_deg; a <= frame.last_deg; a += ring_step_deg)
        {
            ring.points.push_back(frame.at(a, double(i) / rings));
        }
        d.lines.push_back(ring);
        // Beside the vertical spoke, above its ring.
        const auto foot_of = frame.at(0, double(i) / rings);
        d.texts.push_back({ foot_of[0] + 5, foot_of[1] - 4, label_height, text_anchor::start, text_color,
            fmt::format("{:g}", i * step) });
    }
}

void draw_spokes(const polar_frame& frame, drawing& d)
{
    for (double a = -frame.last_deg; a <= frame.last_deg; a += spoke_step_deg)
    {
        const bool is_named = std::fmod(std::abs(a), 30) == 0;
        const bool is_twice = frame.last_deg == 180 && a == -180;
        if (is_twice) { continue; }
        d.lines.push_back({ { frame.at(a, 0), frame.at(a, 1) },
            std::fmod(std::abs(a), 90) == 0 ? frame_color : ring_color, 1 });
        if (!is_named) { continue; }
        const auto end = frame.at(a, 1 + 18 / frame.radius);
        const text_anchor anchor = std::abs(std::sin(a * radians)) < 0.2 ? text_anchor::middle
                                   : a > 0                               ? text_anchor::start
                                                                         : text_anchor::end;
        d.texts.push_back({ end[0], end[1] + label_height / 2, label_height, anchor, text_color,
            fmt::format("{:g}\u00B0", std::abs(a)) });
    }
}

void draw_curve(const polar_frame& frame, const goniometry& g, size_t plane, double unit, drawing& d)
{
    drawn_line curve{ {}, curve_colors[plane], curve_width, curve_dashes[plane] };
    const double azimuth = plane == 0 ? 0 : 90;
    constexpr double step = 0.25;
    for (double a = -180; a <= 180; a += step)
    {
        if (std::abs(a) > frame.last_deg) { continue; }
        const double cd = candela_at(g, a < 0 ? azimuth + 180 : azimuth, std::abs(a));
        curve.points.push_back(frame.at(a, cd * unit / frame.most));
    }
    d.lines.push_back(curve);
}

std::string cut(const std::string& text)
{
    if (text.size() <= longest_title) { return text; }
    size_t length = longest_title;
    while (length > 0 && (uint8_t(text[length]) & 0xC0) == 0x80) { --length; }
    return text.substr(0, length) + "...";
}

std::string angle_text(const std::optional<double>& angle)
{
    return angle ? fmt::format("{:.1f}\u00B0", *angle) : "none";
}

/// Four digits, and no exponent.
std::string short_number(double v) { return v >= 1000 ? fmt::format("{:.0f}", v) : fmt::format("{:.4g}", v); }

void draw_legend(const luminaire_figures& f, bool is_axial, const std::string& unit_name, drawing& d)
{
    double y = d.height - foot + 42;
    for (size_t plane = 0; plane < (is_axial ? 1u : 2u); ++plane)
    {
        d.lines.push_back({ { { margin, y - 4 }, { margin + 50, y - 4 } }, curve_colors[plane], curve_width,
            curve_dashes[plane] });
        const plane_figures& p = f.planes[plane];
        d.texts.push_back({ margin + 62, y, legend_height, text_anchor::start, text_color,
            fmt::format("{}   beam {}, field {}", is_axial ? "Every C-plane" : p.name, angle_text(p.beam_deg),
                angle_text(p.field_deg)) });
        y += 24;
    }
    std::string figures = fmt::format(
        "Rings in {}.  Peak {} cd,  {} lm", unit_name, short_number(f.peak_candela), short_number(f.lumens));
    if (f.lamp_lumens) { figures += fmt::format(" of {} lm in lamps", short_number(*f.lamp_lumens)); }
    d.texts.push_back({ margin, y + 2, legend_height, text_anchor::start, text_color, figures });
}

} // namespace

drawing polar_plot(const ies_file&, const goniometry& g, const luminaire_figures& figures,
    const std::string& title, bool in_klm)
{
    const bool by_lamps = in_klm && figures.lamp_lumens;
    const double unit = by_lamps ? 1000 / *figures.lamp_lumens : 1;
    const double peak = std::max(figures.peak_candela * unit, min_peak), step = ring_step(peak);
    const polar_frame frame = frame_of(figures, step * std::ceil(peak / step - 1e-9));
    const bool is_axial = g.symmetry == GONIOMETRY_AXIAL;
    drawing d{ plot_width, is_half(figures) ? half_plot_height : plot_height, {}, {} };
    d.texts.push_back({ plot_width / 2.0, 36, title_height, text_anchor::middle, text_color, cut(title) });
    draw_rings(frame, step, d);
    draw_spokes(frame, d);
    for (size_t plane = is_axial ? 1 : 2; plane-- > 0;) { draw_curve(frame, g, plane, unit, d); }
    const double side_y = is_half(figures) ? frame.y - 14 : d.height - foot + 10;
    const double side_x = frame.radius * (is_half(figures) ? 0.75 : 1.0);
    d.texts.push_back(
        { frame.x - side_x, side_y, label_height, text_anchor::middle, text_color, "C180, C270" });
    d.texts.push_back({ frame.x + side_x, side_y, label_height, text_anchor::middle, text_color, "C0, C90" });
    draw_legend(figures, is_axial, by_lamps ? "cd/klm" : "cd", d);
    return d;
}

} // namespace host
