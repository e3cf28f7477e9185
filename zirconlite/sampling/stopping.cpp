#include "zirconlite/sampling/stopping.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/vector.hpp"

namespace zr
{

namespace
{

constexpr double unknown_error = 1e9;
/// A pixel that leaves nothing to chance may err by `noise` at so many samples. With fewer it is less sure
/// how much it errs, and more samples cost little; with more they cost more than they gain elsewhere.
constexpr double sure_count = 16.0;

/// What the pixels of a block hold, as light of surfaces, and the least and most of each pixel and its
/// neighbours in the block. What a block at the picture's rim lacks repeats the pixels beside it.
struct block_light
{
    float value[3][block_pixels], low[3][block_pixels], high[3][block_pixels];
};

void take(const float channels[3][block_pixels], int32_t pixel, float rgb[3])
{
    for (int i = 0; i < 3; ++i) { rgb[i] = channels[i][pixel]; }
}

/// What the mean of two halves errs by, of their difference: half of it. At edges it is less by the fourth
/// root of 2, since there the error of the sequence falls with the power -3/4 of its length.
constexpr double error_by_chance = 0.5, error_at_edges = 0.5 * 0.8408964152537145;

double mean_square(const float a[3], const float b[3])
{
    double squares = 0.0;
    for (int i = 0; i < 3; ++i) { squares += (double(a[i]) - b[i]) * (double(a[i]) - b[i]); }
    return squares / 3.0;
}

/// The difference that two halves of a pixel's samples show, squared: the mean of the channels. The
/// background is taken from all.
double squared_difference(const shown_curve& curve, const pixel_sums& sums, const float light[3])
{
    const uint32_t even_count = (sums.count + 1) / 2, odd_count = sums.count / 2;
    const float scale = 1.0f / float(sums.count), evens = 1.0f / float(even_count),
                odds = 1.0f / float(odd_count);
    float even[3], odd[3], a[3], b[3];
    for (int i = 0; i < 3; ++i)
    {
        const float sum = sums.radiance[i] + sums.background[i], mean = sum * scale;
        even[i] = std::fmax(light[i] + (sums.half[i] * evens - mean), 0.0f);
        odd[i] = std::fmax(light[i] + ((sum - sums.half[i]) * odds - mean), 0.0f);
    }
    show(curve, even, a);
    show(curve, odd, b);
    return mean_square(a, b);
}

/// What a light that no shadow ray has found yet could add to what is shown. By the rule of succession it has
/// one chance in as many as there were rays.
double unseen_light(const shown_curve& curve, const sampling_block& block, const float mean[3])
{
    const double added = block.hidden_chance / double(block.chances) / (block.shadow_rays + 2.0);
    float bright[3], a[3], b[3];
    for (int i = 0; i < 3; ++i) { bright[i] = mean[i] + float(added); }
    show(curve, mean, a);
    show(curve, bright, b);
    return double(b[1]) - a[1];
}

/// The error of the pixels that leave light to chance, squared.
double squared_chance_error(
    const shown_curve& curve, const block_sums& sums, const block_light& light, const sampling_block& block)
{
    double squares = 0.0, sum[3] = {};
    int32_t count = 0;
    for (int32_t y = 0; y < sums.rows; ++y)
    {
        for (int32_t x = 0; x < sums.columns; ++x)
        {
            if (!(block.chancy & pixel_bit(x, y))) { continue; }
            if (sums_at(sums, x, y).count < 2) { return unknown_error; }
            float mean[3];
            take(light.value, block_side * y + x, mean);
            squares +=
                error_by_chance * error_by_chance * squared_difference(curve, sums_at(sums, x, y), mean);
            for (int i = 0; i < 3; ++i) { sum[i] += mean[i]; }
            ++count;
        }
    }
    if (count == 0) { return 0.0; }
    const float mean[3] = { float(sum[0] / count), float(sum[1] / count), float(sum[2] / count) };
    const double unseen = unseen_light(curve, block, mean);
    return squares / count + unseen * unseen;
}

/// The error of a pixel of two values, of which its neighbours show one each: that of a share of `count` even
/// samples. By the rule of succession the lesser value has half a sample more than were seen.
float error_between(float low, float high, float value, float count, float decay)
{
    const float range = high - low;
    if (!(range > 0.0f)) { return 0.0f; }
    const float share = ((value - low) / range * count + 0.5f) / (count + 1.0f);
    return range * std::sqrt(share * (1.0f - share)) * decay;
}

/// What a pixel errs by where its neighbours in the block differ, squared.
double squared_edge_error(const shown_curve& curve, const block_light& light, int32_t pixel, float count)
{
    const float decay = 1.0f / (std::sqrt(count) * std::sqrt(std::sqrt(count)));
    float value[3], more[3], less[3], largest = 0.0f;
    take(light.value, pixel, value);
    for (int i = 0; i < 3; ++i)
    {
        const float error = error_between(light.low[i][pixel], light.high[i][pixel], value[i], count, decay);
        largest = std::max(largest, error);
        more[i] = value[i] + error;
        less[i] = std::max(value[i] - error, 0.0f);
    }
    if (largest == 0.0f) { return 0.0; }
    float shown[3], shown_more[3], shown_less[3];
    show(curve, value, shown);
    show(curve, more, shown_more);
    show(curve, less, shown_less);
    return std::max(mean_square(shown, shown_more), mean_square(shown, shown_less));
}

/// The error of a pixel that leaves nothing to chance, squared. One that took no samples shows what it showed
/// before, but its neighbours may have changed.
double squared_pixel_error(const shown_curve& curve, const pixel_sums& sums, const block_light& light,
    int32_t pixel, bool is_sampled)
{
    const double error = squared_edge_error(curve, light, pixel, float(sums.count));
    if (sums.count < 2 || !is_sampled) { return error; }
    float value[3];
    take(light.value, pixel, value);
    return std::max(error, error_at_edges * error_at_edges * squared_difference(curve, sums, value));
}

/// The least and most of each pixel and those beside it, `step` apart in each of 8 lines of 8.
void spread(const float* low, const float* high, int32_t step, int32_t line, float* low_out, float* high_out)
{
    for (int32_t i = 0; i < block_side; ++i)
    {
        const int32_t before = step * std::max(i - 1, 0), at = step * i,
                      after = step * std::min(i + 1, block_side - 1);
        for (int32_t k = 0; k < block_side * line; k += line)
        {
            low_out[at + k] = std::min({ low[before + k], low[at + k], low[after + k] });
            high_out[at + k] = std::max({ high[before + k], high[at + k], high[after + k] });
        }
    }
}

block_light light_of_block(const shown_curve& curve, const block_sums& sums)
{
    block_light light;
    for (int32_t y = 0; y < block_side; ++y)
    {
        for (int32_t x = 0; x < block_side; ++x)
        {
            const int32_t column = std::min(x, sums.columns - 1), row = std::min(y, sums.rows - 1);
            float rgb[3];
            if (x == column && y == row) { light_of(curve, mean_components(sums_at(sums, x, y)), rgb); }
            else { take(light.value, block_side * row + column, rgb); }
            for (int i = 0; i < 3; ++i) { light.value[i][block_side * y + x] = rgb[i]; }
        }
    }
    for (int i = 0; i < 3; ++i)
    {
        float low[block_pixels], high[block_pixels];
        spread(light.value[i], light.value[i], block_side, 1, low, high);
        spread(low, high, 1, block_side, light.low[i], light.high[i]);
    }
    return light;
}

/// Pixels of a mask and those beside them.
uint64_t with_neighbors(uint64_t mask)
{
    constexpr uint64_t first_column = 0x0101010101010101, last_column = first_column << (block_side - 1);
    const uint64_t rows = mask | (mask & ~last_column) << 1 | (mask & ~first_column) >> 1;
    return rows | rows << block_side | rows >> block_side;
}

} // namespace

pixel_components mean_components(const pixel_sums& sums)
{
    pixel_components c = {};
    const float scale = 1.0f / float(std::max<uint32_t>(sums.count, 1));
    for (int i = 0; i < 3; ++i)
    {
        c.surface[i] = sums.radiance[i] * scale;
        c.background[i] = sums.background[i] * scale;
    }
    const bool is_lit = largest_channel(c.surface) > float(geometry_zero);
    c.source_ratio = is_lit ? std::fmin(float(sums.light) / light_steps, 1.0f) : 0.0f;
    return c;
}

bool shows_edge(
    const shown_curve& curve, const sampling_limits& limits, const pixel_sums& pixel, const pixel_sums& seen)
{
    constexpr float share = 0.04f; // of the window, beyond the pixel
    float light[3], other[3], a[3], b[3];
    light_of(curve, mean_components(pixel), light);
    light_of(curve, mean_components(seen), other);
    for (int i = 0; i < 3; ++i) { other[i] = light[i] + share * (other[i] - light[i]); }
    show(curve, light, a);
    show(curve, other, b);
    return mean_square(a, b) * sure_count > limits.noise * limits.noise;
}

void decide(const shown_curve& curve, const sampling_limits& limits, double gain, const block_sums& sums,
    sampling_block& block)
{
    const block_light light = light_of_block(curve, sums);
    const double sampled_error = squared_chance_error(curve, sums, light, block);
    const double by_chance = sampled_error / (gain * gain);
    const double allowed = limits.noise * limits.noise;
    const uint64_t sampled = block.open, touched = with_neighbors(sampled) | block.chancy,
                   were_good = block.good;
    const double before = block.error > 0.0f ? double(block.error) * block.error : 0.0;
    double squares = 0.0;
    block.open = block.good = 0;
    for (int32_t y = 0; y < sums.rows; ++y)
    {
        for (int32_t x = 0; x < sums.columns; ++x)
        {
            const uint64_t bit = pixel_bit(x, y);
            // A pixel of which nothing near has changed stays as it was.
            if (!(touched & bit))
            {
                squares += before;
                block.good |= were_good & bit;
                continue;
            }
            const pixel_sums& pixel = sums_at(sums, x, y);
            const auto count = int32_t(pixel.count);
            const bool is_chancy = block.chancy & bit;
            const double error =
                is_chancy ? by_chance
                          : squared_pixel_error(curve, pixel, light, block_side * y + x, sampled & bit);
            const int32_t enough =
                block.edges & bit ? std::max(limits.min_samples, edge_samples) : limits.min_samples;
            squares += error;
            const bool is_good = is_chancy ? error <= allowed : error * sure_count <= allowed * count;
            if (is_good) { block.good |= bit; }
            if ((count < enough || !is_good) && count < limits.max_samples) { block.open |= bit; }
        }
    }
    block.error =
        sampled_error < unknown_error ? float(std::sqrt(squares / double(sums.columns * sums.rows))) : -1.0f;
}

} // namespace zr
