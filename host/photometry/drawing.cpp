/// @file
/// SVG by its elements; pixels by the distance to each stroke.
#include "host/photometry/drawing.hpp"

#include "host/failure.hpp"
#include "host/photometry/stroke_font.hpp"
#include "host/pictures/picture_files.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace host
{

namespace
{

using point = std::array<double, 2>;
using chain = std::vector<point>;

std::string color_text(const rgb8& c) { return fmt::format("#{:02x}{:02x}{:02x}", c[0], c[1], c[2]); }

std::string escaped(const std::string& text)
{
    std::string out;
    for (char c : text)
    {
        switch (c)
        {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::u32string characters_of(const std::string& utf8)
{
    std::u32string out;
    for (size_t i = 0; i < utf8.size();)
    {
        const auto first = uint8_t(utf8[i++]);
        const int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
        char32_t c = more == 0 ? first : first & (0x3F >> more);
        for (int k = 0; k < more && i < utf8.size(); ++k) { c = c << 6 | (uint8_t(utf8[i++]) & 0x3F); }
        out += c;
    }
    return out;
}

double distance_to_segment(const point& p, const point& a, const point& b)
{
    const double dx = b[0] - a[0], dy = b[1] - a[1], squared = dx * dx + dy * dy;
    const double along = squared > 0 ? ((p[0] - a[0]) * dx + (p[1] - a[1]) * dy) / squared : 0;
    const double t = std::clamp(along, 0.0, 1.0);
    return std::hypot(p[0] - a[0] - t * dx, p[1] - a[1] - t * dy);
}

/// The pieces of a dashed line.
std::vector<chain> dashes_of(const chain& line, double dash)
{
    if (dash <= 0) { return { line }; }
    std::vector<chain> out;
    double left = dash;
    bool draws = true;
    chain piece{ line.front() };
    for (size_t i = 1; i < line.size(); ++i)
    {
        point from = line[i - 1];
        const point to = line[i];
        for (double length = std::hypot(to[0] - from[0], to[1] - from[1]); length > left;)
        {
            const double t = left / length;
            from = { from[0] + t * (to[0] - from[0]), from[1] + t * (to[1] - from[1]) };
            piece.push_back(from);
            if (draws) { out.push_back(piece); }
            piece = { from };
            draws = !draws;
            length -= left;
            left = dash;
        }
        left -= std::hypot(to[0] - from[0], to[1] - from[1]);
        piece.push_back(to);
    }
    if (draws) { out.push_back(piece); }
    return out;
}

/// Pixels, with how far the shape that is being drawn covers each.
struct canvas
{
    canvas(int w, int h)
        : width(w), height(h), pixels(size_t(w) * size_t(h) * 3, 255), cover(size_t(w) * size_t(h))
    {
    }

    /// Draws chains as one shape: where they meet, nothing is painted twice.
    void paint(const std::vector<chain>& chains, double line_width, const rgb8& color)
    {
        for (const chain& c : chains)
        {
            for (size_t i = 0; i + 1 < c.size(); ++i) { cover_segment(c[i], c[i + 1], line_width / 2); }
        }
        for (const size_t at : touched)
        {
            for (size_t k = 0; k < 3; ++k)
            {
                uint8_t& value = pixels[3 * at + k];
                value = uint8_t(std::lround(value + (double(color[k]) - value) * double(cover[at])));
            }
            cover[at] = 0;
        }
        touched.clear();
    }

    void cover_segment(const point& a, const point& b, double half_width)
    {
        const double reach = half_width + 1;
        const int left = std::max(0, int(std::min(a[0], b[0]) - reach)),
                  right = std::min(width - 1, int(std::max(a[0], b[0]) + reach)),
                  top = std::max(0, int(std::min(a[1], b[1]) - reach)),
                  bottom = std::min(height - 1, int(std::max(a[1], b[1]) + reach));
        for (int y = top; y <= bottom; ++y)
        {
            for (int x = left; x <= right; ++x)
            {
                const double d = distance_to_segment({ x + 0.5, y + 0.5 }, a, b);
                const auto share = float(std::clamp(half_width + 0.5 - d, 0.0, 1.0));
                const size_t at = size_t(y) * size_t(width) + size_t(x);
                if (share <= cover[at]) { continue; }
                if (cover[at] == 0) { touched.push_back(at); }
                cover[at] = share;
            }
        }
    }

    int width, height;
    std::vector<uint8_t> pixels;
    std::vector<float> cover;
    std::vector<size_t> touched;
};

void paint_text(canvas& on, const drawn_text& t)
{
    const std::u32string characters = characters_of(t.text);
    const double scale = t.height / stroke_capital;
    const double length = double(characters.size()) * stroke_advance * scale - 2 * scale;
    double x = t.anchor == text_anchor::start    ? t.x
               : t.anchor == text_anchor::middle ? t.x - length / 2
                                                 : t.x - length;
    std::vector<chain> chains;
    for (const char32_t c : characters)
    {
        chain stroke;
        for (const char* at = strokes_of(c);; at += 2)
        {
            if (*at == 0 || *at == ' ')
            {
                if (!stroke.empty()) { chains.push_back(stroke); }
                stroke.clear();
                if (*at == 0) { break; }
                --at;
                continue;
            }
            stroke.push_back({ x + (at[0] - '0') * scale, t.y + (at[1] - '0' - stroke_capital) * scale });
        }
        x += stroke_advance * scale;
    }
    on.paint(chains, std::max(1.1, t.height / 8), t.color);
}

bool is_svg(const std::filesystem::path& file) { return file.extension() == ".svg"; }

} // namespace

std::string svg_of(const drawing& d)
{
    std::string out =
        fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" "
                    "viewBox=\"0 0 {0} {1}\">\n<rect width=\"{0}\" height=\"{1}\" fill=\"#ffffff\"/>\n",
            d.width, d.height);
    for (const drawn_line& l : d.lines)
    {
        out += fmt::format(
            "<polyline fill=\"none\" stroke=\"{}\" stroke-width=\"{:g}\" stroke-linejoin=\"round\"",
            color_text(l.color), l.width);
        if (l.dash > 0) { out += fmt::format(" stroke-dasharray=\"{:g}\"", l.dash); }
        out += " points=\"";
        for (const point& p : l.points) { out += fmt::format("{:.2f},{:.2f} ", p[0], p[1]); }
        out += "\"/>\n";
    }
    const char* const anchors[] = { "start", "middle", "end" };
    for (const drawn_text& t : d.texts)
    {
        // A capital is about 0.72 of the size of a font.
        out += fmt::format("<text x=\"{:.2f}\" y=\"{:.2f}\" font-family=\"sans-serif\" font-size=\"{:.1f}\" "
                           "text-anchor=\"{}\" fill=\"{}\">{}</text>\n",
            t.x, t.y, t.height / 0.72, anchors[size_t(t.anchor)], color_text(t.color), escaped(t.text));
    }
    return out + "</svg>\n";
}

std::vector<uint8_t> pixels_of(const drawing& d)
{
    canvas on(d.width, d.height);
    for (const drawn_line& l : d.lines)
    {
        if (!l.points.empty()) { on.paint(dashes_of(l.points, l.dash), l.width, l.color); }
    }
    for (const drawn_text& t : d.texts) { paint_text(on, t); }
    return std::move(on.pixels);
}

void check_drawing_file(const std::filesystem::path& file, int width, int height)
{
    if (!is_svg(file)) { check_picture_file(file, { width, height, pixel_layout::rgb8, {} }); }
}

void write_drawing(const std::filesystem::path& file, const drawing& d)
{
    if (is_svg(file)) { return write_text(file, svg_of(d)); }
    const std::vector<uint8_t> pixels = pixels_of(d);
    const size_t row_size = size_t(d.width) * 3;
    const auto read_row = [&](int row, uint8_t* out)
    { std::copy_n(&pixels[size_t(row) * row_size], row_size, out); };
    write_picture(file, { d.width, d.height, pixel_layout::rgb8, read_row });
}

} // namespace host
