#include "zirconlite/sampling/denoise.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/vector.hpp"

namespace zr
{

namespace
{

constexpr int32_t reach = 8, patch = 2, variance_reach = 3; // pixels to each side
constexpr float strictness = 0.7f;                          // of differences, in standard deviations
constexpr float min_difference = 0.004f; // of the light itself, which noise cannot be distinguished from
constexpr float min_albedo = 0.04f;      // darker surfaces are filtered with their colour
constexpr float albedo_difference = 0.1f, normal_difference = 0.25f;
constexpr float support = 3.0f; // of the kernel, in its squared differences

constexpr int32_t dot_reach = 2;
constexpr float brightest_dot = 2.0f; // of the other half
constexpr float usual_spread = 3.5f;  // of the neighbours, in standard deviations
static_assert(reach + patch + variance_reach + dot_reach == denoise_margin);

/// Light of one pixel in both halves of its samples, without the surface's colour.
struct denoise_pixel
{
    float half[2][3];
    float sampled[2]; ///< luminance of the halves
    float y[2];       ///< the same without single bright dots
    float variance;   ///< of one half's luminance, smoothed over neighbours
    float albedo[3], normal[3];
};

/// The rows that a band looks at.
struct pixel_rows
{
    int32_t width, height; ///< of the picture
    int32_t first, end;    ///< rows of it that `pixels` holds
    array<denoise_pixel> pixels;
};

float square(float x) { return x * x; }

void set_guides(denoise_pixel& p, const pixel_guides& g, float scale)
{
    float largest = 0.0f;
    for (int i = 0; i < 3; ++i)
    {
        p.normal[i] = g.normal[i] * scale;
        p.albedo[i] = g.albedo[i] * scale;
        largest = std::max(largest, p.albedo[i]);
    }
    for (float& a : p.albedo) { a = largest < min_albedo ? 1.0f : std::max(a, min_albedo); }
}

denoise_pixel pixel_of(const pixel_sums& s, const pixel_guides& g)
{
    denoise_pixel p = {};
    const float all = float(std::max<uint32_t>(s.count, 1));
    const float counts[2] = { float(std::max<uint32_t>((s.count + 1) / 2, 1)),
        float(std::max<uint32_t>(s.count / 2, 1)) };
    set_guides(p, g, 1.0f / all);
    for (int i = 0; i < 3; ++i)
    {
        const float background = s.background[i] / all;
        const float odd = s.radiance[i] + s.background[i] - s.half[i];
        p.half[0][i] = std::max(s.half[i] / counts[0] - background, 0.0f) / p.albedo[i];
        p.half[1][i] = std::max(odd / counts[1] - background, 0.0f) / p.albedo[i];
    }
    for (int h = 0; h < 2; ++h) { p.sampled[h] = p.y[h] = float(luminance(p.half[h])); }
    return p;
}

/// Half the squared difference of both halves, averaged over the neighbours.
float variance_at(const pixel_rows& d, int32_t x, int32_t y)
{
    float sum = 0.0f;
    int32_t count = 0;
    for (int32_t v = std::max(y - variance_reach, 0); v <= std::min(y + variance_reach, d.height - 1); ++v)
    {
        for (int32_t u = std::max(x - variance_reach, 0); u <= std::min(x + variance_reach, d.width - 1); ++u)
        {
            const denoise_pixel& p = d.pixels[size_t(v - d.first) * size_t(d.width) + size_t(u)];
            sum += 0.5f * square(p.y[0] - p.y[1]);
            ++count;
        }
    }
    return sum / float(count);
}

/// One sample of a rare bright path outshines a pixel: what neither its neighbours nor its own other half
/// have is taken down to about theirs.
void tame_dots(const pixel_rows& d, int32_t x, int32_t y, denoise_pixel& p)
{
    float sum = 0.0f, squares = 0.0f;
    int32_t count = 0;
    for (int32_t v = std::max(y - dot_reach, 0); v <= std::min(y + dot_reach, d.height - 1); ++v)
    {
        for (int32_t u = std::max(x - dot_reach, 0); u <= std::min(x + dot_reach, d.width - 1); ++u)
        {
            if (u == x && v == y) { continue; }
            for (const float q : d.pixels[size_t(v - d.first) * size_t(d.width) + size_t(u)].sampled)
            {
                sum += q;
                squares += q * q;
                ++count;
            }
        }
    }
    const float mean = count > 0 ? sum / float(count) : 0.0f;
    const float spread = count > 0 ? std::sqrt(std::max(squares / float(count) - mean * mean, 0.0f)) : 0.0f;
    for (int h = 0; h < 2; ++h)
    {
        const float most = std::max(brightest_dot * p.sampled[1 - h], mean + usual_spread * spread);
        if (!(p.sampled[h] > most)) { continue; }
        for (float& c : p.half[h]) { c *= most / p.sampled[h]; }
        p.y[h] = most;
    }
}

/// Fills `rows` for a band of the picture. False when memory fails.
bool fill_rows(const denoiser& d, int32_t first, int32_t end, pixel_rows& rows)
{
    rows.width = d.width;
    rows.height = d.height;
    rows.first = std::max(first - denoise_margin, 0);
    rows.end = std::min(end + denoise_margin, d.height);
    const size_t width = size_t(d.width);
    if (!rows.pixels.resize(size_t(rows.end - rows.first) * width)) { return false; }
    for (int32_t y = rows.first; y < rows.end; ++y)
    {
        for (size_t x = 0; x < width; ++x)
        {
            const size_t from = size_t(y) * d.stride + x;
            rows.pixels[size_t(y - rows.first) * width + x] = pixel_of(d.sums[from], d.guides[from]);
        }
    }
    const int32_t seen = reach + patch + variance_reach, inner = reach + patch;
    for (int32_t y = std::max(first - seen, 0); y < std::min(end + seen, d.height); ++y)
    {
        for (int32_t x = 0; x < d.width; ++x)
        {
            tame_dots(rows, x, y, rows.pixels[size_t(y - rows.first) * width + size_t(x)]);
        }
    }
    for (int32_t y = std::max(first - inner, 0); y < std::min(end + inner, d.height); ++y)
    {
        for (int32_t x = 0; x < d.width; ++x)
        {
            rows.pixels[size_t(y - rows.first) * width + size_t(x)].variance = variance_at(rows, x, y);
        }
    }
    return true;
}

/// Squared difference of two pixels in one half, in variances, less what noise alone makes of it.
float difference(const denoise_pixel& p, const denoise_pixel& q, int half)
{
    const float noise = p.variance + std::min(p.variance, q.variance);
    const float apart = square(p.y[half] - q.y[half]) - noise;
    return apart / (square(strictness) * (p.variance + q.variance) +
                       square(min_difference * (p.y[half] + q.y[half])) + 1e-12f);
}

float guide_difference(const denoise_pixel& p, const denoise_pixel& q)
{
    float albedo = 0.0f, normal = 0.0f;
    for (int i = 0; i < 3; ++i)
    {
        albedo += square(p.albedo[i] - q.albedo[i]);
        normal += square(p.normal[i] - q.normal[i]);
    }
    return std::max(albedo / square(albedo_difference), normal / square(normal_difference));
}

/// A kernel close to exp(-x) that ends.
float kernel(float x)
{
    if (x >= support) { return 0.0f; }
    const float t = 1.0f - std::max(x, 0.0f) / support;
    return t * t * t;
}

/// What a pixel has taken from others, for each half.
struct filtered_pixel
{
    float light[2][3];
    float weight[2];  ///< of all
    float largest[2]; ///< of one
};

/// The work of one band: rows `first` to `end`, and differences of the rows around them.
struct band
{
    const pixel_rows& d;
    int32_t first, end;
    array<float> differences[2]; ///< of each half at one offset; rows first - patch to end + patch
    array<filtered_pixel> pixels;
};

const denoise_pixel& at(const pixel_rows& d, int32_t x, int32_t y)
{
    return d.pixels[size_t(std::clamp(y, 0, d.height - 1) - d.first) * size_t(d.width) +
                    size_t(std::clamp(x, 0, d.width - 1))];
}

void fill_differences(band& b, int32_t dx, int32_t dy)
{
    size_t n = 0;
    for (int32_t y = b.first - patch; y < b.end + patch; ++y)
    {
        for (int32_t x = 0; x < b.d.width; ++x, ++n)
        {
            const denoise_pixel &p = at(b.d, x, y), &q = at(b.d, x + dx, y + dy);
            for (int h = 0; h < 2; ++h) { b.differences[h][n] = difference(p, q, h); }
        }
    }
    // Sums along the rows; always in the same order, so that a band does not show.
    const int32_t width = b.d.width;
    const size_t rows = size_t(b.end - b.first) + 2 * patch;
    for (array<float>& block : b.differences)
    {
        for (size_t r = 0; r < rows; ++r)
        {
            float* row = &block[r * size_t(width)];
            float window[2 * patch + 1];
            for (int32_t i = 0; i <= 2 * patch; ++i) { window[i] = row[std::clamp(i - patch, 0, width - 1)]; }
            for (int32_t x = 0; x < width; ++x)
            {
                const float sum = (window[0] + window[1]) + (window[2] + window[3]) + window[4];
                const float next = row[std::min(x + patch + 1, width - 1)];
                std::copy(window + 1, window + 2 * patch + 1, window);
                window[2 * patch] = next;
                row[x] = sum;
            }
        }
    }
}

void add_offset(band& b, int32_t dx, int32_t dy)
{
    fill_differences(b, dx, dy);
    const size_t width = size_t(b.d.width);
    constexpr float in_patch = float((2 * patch + 1) * (2 * patch + 1));
    for (int32_t y = b.first; y < b.end; ++y)
    {
        if (y + dy < 0 || y + dy >= b.d.height) { continue; }
        for (int32_t x = std::max(0, -dx); x < std::min(b.d.width, b.d.width - dx); ++x)
        {
            const denoise_pixel &p = at(b.d, x, y), &q = at(b.d, x + dx, y + dy);
            const float guides = guide_difference(p, q);
            if (guides >= support) { continue; }
            filtered_pixel& out = b.pixels[size_t(y - b.first) * width + size_t(x)];
            for (int h = 0; h < 2; ++h)
            {
                // Weights of this half come from the other one.
                const float* column = &b.differences[1 - h][size_t(y - b.first) * width + size_t(x)];
                float sum = 0.0f;
                for (size_t r = 0; r <= 2 * patch; ++r) { sum += column[r * width]; }
                const float weight = kernel(std::max(sum / in_patch, guides));
                for (int i = 0; i < 3; ++i) { out.light[h][i] += weight * q.half[h][i]; }
                out.weight[h] += weight;
                out.largest[h] = std::max(out.largest[h], weight);
            }
        }
    }
}

/// A pixel's own light counts as that of the one most like it: with more, its grain would stay.
void add_own_light(filtered_pixel& out, const denoise_pixel& p)
{
    constexpr float alone = 0.02f; // where nothing is like it
    for (int h = 0; h < 2; ++h)
    {
        const float weight = std::max(out.largest[h], alone);
        for (int i = 0; i < 3; ++i) { out.light[h][i] += weight * p.half[h][i]; }
        out.weight[h] += weight;
    }
}

} // namespace

bool denoise_band(const denoiser& d, int32_t first, array<float>& out)
{
    pixel_rows around;
    if (!fill_rows(d, first, std::min(first + denoise_rows, d.height), around)) { return false; }
    band b = { around, first, std::min(first + denoise_rows, d.height), {}, {} };
    const size_t width = size_t(d.width), rows = size_t(b.end - b.first);
    if (!b.pixels.resize(rows * width) || !out.resize(3 * rows * width)) { return false; }
    for (array<float>& block : b.differences)
    {
        if (!block.resize((rows + 2 * patch) * width)) { return false; }
    }
    std::fill_n(b.pixels.items, b.pixels.count, filtered_pixel{});
    for (int32_t dy = -reach; dy <= reach; ++dy)
    {
        for (int32_t dx = -reach; dx <= reach; ++dx)
        {
            if (dx != 0 || dy != 0) { add_offset(b, dx, dy); }
        }
    }
    for (size_t n = 0; n < rows * width; ++n)
    {
        const denoise_pixel& p = around.pixels[size_t(first - around.first) * width + n];
        filtered_pixel& f = b.pixels[n];
        add_own_light(f, p);
        for (int i = 0; i < 3; ++i)
        {
            const float light = 0.5f * (f.light[0][i] / f.weight[0] + f.light[1][i] / f.weight[1]);
            out[3 * n + size_t(i)] = light * p.albedo[i];
        }
    }
    return true;
}

} // namespace zr
