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

/// What the pixels of a block hold, as light of surfaces.
struct block_light
{
    float rgb[block_pixels][3];
};

const pixel_sums& sums_at(const block_sums& sums, int32_t x, int32_t y)
{
    return sums.first[size_t(y) * sums.row_stride + size_t(x)];
}

uint64_t bit_of(int32_t x, int32_t y) { return uint64_t(1) << (block_side * y + x); }

/// What the mean of two halves errs by, of their difference: half of it, and less by the fourth root of 2,
/// since the error of the sequence falls with the power -3/4 of its length.
constexpr double error_of_difference = 0.5 * 0.8408964152537145;

double mean_square(const float a[3], const float b[3])
{
    double squares = 0.0;
    for (int i = 0; i < 3; ++i) { squares += (double(a[i]) - b[i]) * (double(a[i]) - b[i]); }
    return squares / 3.0;
}

/// The error that two halves of a pixel's samples show, squared: the mean of the channels. The background is
/// taken from all.
double squared_half_error(const shown_curve& curve, const pixel_sums& sums, const float light[3])
{
    const float scale = 1.0f / float(sums.count), evens = 1.0f / float((sums.count + 1) / 2),
                odds = 1.0f / float(sums.count / 2);
    float even[3], odd[3], a[3], b[3];
    for (int i = 0; i < 3; ++i)
    {
        const float sum = sums.radiance[i] + sums.background[i], mean = sum * scale;
        even[i] = std::fmax(light[i] + (sums.half[i] * evens - mean), 0.0f);
        odd[i] = std::fmax(light[i] + ((sum - sums.half[i]) * odds - mean), 0.0f);
    }
    show(curve, even, a);
    show(curve, odd, b);
    return error_of_difference * error_of_difference * mean_square(a, b);
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
            if (!(block.chancy & bit_of(x, y))) { continue; }
            const float* mean = light.rgb[block_side * y + x];
            if (sums_at(sums, x, y).count < 2) { return unknown_error; }
            squares += squared_half_error(curve, sums_at(sums, x, y), mean);
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
double squared_edge_error(
    const shown_curve& curve, const block_sums& sums, const block_light& light, int32_t x, int32_t y)
{
    const float* value = light.rgb[block_side * y + x];
    float low[3], high[3];
    std::copy_n(value, 3, low);
    std::copy_n(value, 3, high);
    for (int32_t v = std::max(y - 1, 0); v <= std::min(y + 1, sums.rows - 1); ++v)
    {
        for (int32_t u = std::max(x - 1, 0); u <= std::min(x + 1, sums.columns - 1); ++u)
        {
            for (int i = 0; i < 3; ++i)
            {
                low[i] = std::min(low[i], light.rgb[block_side * v + u][i]);
                high[i] = std::max(high[i], light.rgb[block_side * v + u][i]);
            }
        }
    }
    const auto count = float(sums_at(sums, x, y).count);
    const float decay = 1.0f / (std::sqrt(count) * std::sqrt(std::sqrt(count)));
    float more[3], less[3], largest = 0.0f;
    for (int i = 0; i < 3; ++i)
    {
        const float error = error_between(low[i], high[i], value[i], count, decay);
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
double squared_pixel_error(const shown_curve& curve, const block_sums& sums, const block_light& light,
    int32_t x, int32_t y, bool is_sampled)
{
    const double error = squared_edge_error(curve, sums, light, x, y);
    const pixel_sums& s = sums_at(sums, x, y);
    if (s.count < 2 || !is_sampled) { return error; }
    return std::max(error, squared_half_error(curve, s, light.rgb[block_side * y + x]));
}

/// Pixels at the edge of a block do not know what lies next to them on one side.
bool is_on_rim(int32_t x, int32_t y)
{
    return x == 0 || y == 0 || x == block_side - 1 || y == block_side - 1;
}

block_light light_of_block(const shown_curve& curve, const block_sums& sums)
{
    block_light light;
    for (int32_t y = 0; y < sums.rows; ++y)
    {
        for (int32_t x = 0; x < sums.columns; ++x)
        {
            light_of(curve, mean_components(sums_at(sums, x, y)), light.rgb[block_side * y + x]);
        }
    }
    return light;
}

} // namespace

pixel_components mean_components(const pixel_sums& sums)
{
    pixel_components c = {};
    const float scale = 1.0f / static_cast<float>(std::max<uint32_t>(sums.count, 1));
    float largest = 0.0f;
    for (int i = 0; i < 3; ++i)
    {
        c.surface[i] = sums.radiance[i] * scale;
        c.background[i] = sums.background[i] * scale;
        largest = std::fmax(largest, c.surface[i]);
    }
    c.source_ratio = largest > float(geometry_zero) ? std::fmin(sums.light * scale / largest, 1.0f) : 0.0f;
    return c;
}

void decide(
    const shown_curve& curve, const sampling_limits& limits, const block_sums& sums, sampling_block& block)
{
    const block_light light = light_of_block(curve, sums);
    const double by_chance = squared_chance_error(curve, sums, light, block);
    const double allowed = limits.noise * limits.noise;
    const uint64_t sampled = block.open;
    double squares = 0.0;
    block.open = block.good = 0;
    for (int32_t y = 0; y < sums.rows; ++y)
    {
        for (int32_t x = 0; x < sums.columns; ++x)
        {
            const uint64_t bit = bit_of(x, y);
            const auto count = int32_t(sums_at(sums, x, y).count);
            const bool is_chancy = block.chancy & bit;
            const double error =
                is_chancy ? by_chance : squared_pixel_error(curve, sums, light, x, y, sampled & bit);
            const int32_t enough =
                !is_chancy && is_on_rim(x, y) ? std::max(limits.min_samples, 2) : limits.min_samples;
            squares += error;
            const bool is_good = is_chancy ? error <= allowed : error * sure_count <= allowed * count;
            if (is_good) { block.good |= bit; }
            if ((count < enough || !is_good) && count < limits.max_samples) { block.open |= bit; }
        }
    }
    block.error =
        by_chance < unknown_error ? float(std::sqrt(squares / double(sums.columns * sums.rows))) : -1.0f;
}

} // namespace zr
