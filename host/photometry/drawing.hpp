/// @file
/// Drawings of lines and short texts, kept as shapes and written as SVG or, drawn by the program itself, in
/// any format of pictures.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace host
{

using rgb8 = std::array<uint8_t, 3>;

/// A line through points, in pixels from the top left.
struct drawn_line
{
    std::vector<std::array<double, 2>> points;
    rgb8 color;
    double width;
    double dash = 0; ///< length of the dashes and of the gaps; 0: a whole line
};

enum class text_anchor
{
    start,
    middle,
    end
};

/// A line of text; `y` is that of its foot.
struct drawn_text
{
    double x, y;
    double height; ///< of a capital
    text_anchor anchor;
    rgb8 color;
    std::string text; ///< UTF-8
};

/// Lines are below texts; what comes later is above.
struct drawing
{
    int width, height;
    std::vector<drawn_line> lines;
    std::vector<drawn_text> texts;
};

std::string svg_of(const drawing& d);

/// The pixels by rows from the top, three bytes each, on white.
std::vector<uint8_t> pixels_of(const drawing& d);

/// Writes .svg, or a picture by its extension. Throws `failure`.
void write_drawing(const std::filesystem::path& file, const drawing& d);

/// Whether `file` can be written, before work is put into a drawing. Throws `failure`.
void check_drawing_file(const std::filesystem::path& file, int width, int height);

} // namespace host
