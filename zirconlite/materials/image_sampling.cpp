#include "zirconlite/materials/image_sampling.hpp"

#include <algorithm>

#include "zirconlite/geometry/vector.hpp"

namespace zr
{

namespace
{

constexpr double min_cosine = 1e-8;
constexpr double of_byte = 0.003921568627451; // 1 / 255
constexpr double bump_depth = 8.0;

double color_key(const mat_key& key, const double sample[4]);
int32_t bordered(int32_t at, int32_t size, bump_border border);
int32_t grey_level(const bitmap& b, int32_t x, int32_t y);

} // namespace

void vertex_scale(const evaluation_points& points, double scale[2])
{
    if (!points.has_gradients) { return; }
    for (int i = 0; i < 2; ++i) { scale[i] *= length(points.gradient[i]); }
}

double footprint_measure(const ray& r, const double scale[2], const bitmap& b)
{
    const double k = std::max(std::fabs(dot(r.interpolated_normal, r.direction)), min_cosine);
    const int32_t size[2] = { b.width, b.height };
    double measure = 0.0;
    for (int i = 0; i < 2; ++i)
    {
        const double f =
            r.footprint_slope[0] != 0.0 ? (r.path_length + r.hit_t) * r.footprint_slope[i] : r.footprint[i];
        const double texels = f * scale[i] * size[i];
        measure = std::max(measure, texels * texels / k);
    }
    return measure;
}

mip_level choose_level(double measure, int32_t level_count)
{
    mip_level chosen = { 0, 0.0 };
    if (!(measure > 1.0) || level_count < 2) { return chosen; }
    do {
        if (++chosen.level == level_count - 1) { return chosen; }
        measure *= 0.25;
    } while (measure > 1.0);
    chosen.fraction = measure - std::floor(measure);
    return chosen;
}

double key_value(const bitmap& b, const mat_key& key, const double sample[4])
{
    const bool invert = key.flags & KEY_INVERT;
    switch (key.kind)
    {
    case KEY_ALPHA:
        if (b.bytes_per_pixel != 4) { return 0.0; }
        return invert ? sample[3] : 1.0 - sample[3];
    case KEY_COLOR:
    {
        const double value = color_key(key, sample);
        return invert ? 1.0 - value : value;
    }
    default:
        return 0.0;
    }
}

void image_bump(const bitmap& b, const bump_place& at, double strength, vector3& normal)
{
    int32_t left = 0, right = 0, first = 0, last = 0; // columns and rows of the window of 3 by 3 texels
    for (int row = 0; row < 3; ++row)
    {
        const int32_t y = bordered(at.y + (at.flip_y ? row - 1 : 1 - row), b.height, at.border);
        for (int column = 0; column < 3; ++column)
        {
            const int32_t x = bordered(at.x + (at.flip_x ? 1 - column : column - 1), b.width, at.border);
            const int32_t grey = grey_level(b, x, y);
            left += column == 0 ? grey : 0;
            right += column == 2 ? grey : 0;
            first += row == 0 ? grey : 0;
            last += row == 2 ? grey : 0;
        }
    }
    const double gu = (right - left) * of_byte / 6.0, gv = (first - last) * of_byte / 6.0;
    normal = normalized(normal + (gu * at.u + gv * at.v) * (bump_depth * strength));
}

namespace
{

double color_key(const mat_key& key, const double sample[4])
{
    int32_t sum = 0;
    for (int c = 0; c < 3; ++c)
    {
        const int32_t difference = std::abs(int32_t(sample[c] * 255.0 + 0.5) - key.color_bytes[c]);
        if (difference >= key.tolerance_byte) { return 0.0; }
        sum += difference;
    }
    if (key.feather == 0.0f) { return 1.0; }
    const double inside = 1.0 - double(sum) / key.tolerance_byte * 0.33333333;
    return inside < key.feather ? inside / key.feather : 1.0;
}

/// The texel that stands for position `at` along an axis of `size` texels, at most one step outside.
int32_t bordered(int32_t at, int32_t size, bump_border border)
{
    if (at >= 0 && at < size) { return at; }
    switch (border)
    {
    case bump_border::wrap:
        return at < 0 ? at + size : at - size;
    case bump_border::mirror:
        return at < 0 ? -1 - at : 2 * size - 1 - at;
    case bump_border::clamp:
        break;
    }
    return at < 0 ? 0 : size - 1;
}

int32_t grey_level(const bitmap& b, int32_t x, int32_t y)
{
    const uint8_t* p = b.pixels + (size_t(y) * b.width + x) * b.bytes_per_pixel;
    return b.bytes_per_pixel == 1 ? p[0] : std::max({ p[0], p[1], p[2] });
}

} // namespace

} // namespace zr
