#include "zirconlite/sampling/rounds.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/environment/ground.hpp"
#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/surface.h"
#include "zirconlite/picture/tone.h"
#include "zirconlite/platform/clock.hpp"
#include "zirconlite/platform/processor.hpp"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/raytrace/pixel_sampler.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/sampling/denoise.hpp"
#include "zirconlite/sampling/light_tree.hpp"
#include "zirconlite/sampling/path.hpp"
#include "zirconlite/sampling/pixel_filter.hpp"
#include "zirconlite/sampling/scene_survey.hpp"
#include "zirconlite/sampling/stopping.hpp"
#include "zirconlite/search/ray_search.hpp"

struct sampling_run
{
    document& doc;
    render_view& view;
    image_buffer& image;
    zr::pixel_rectangle rectangle; ///< that is shown
    zr::pixel_rectangle sampled;   ///< with what the filter of grain looks at beyond
    sampling_limits limits;
    int32_t first_column, first_row, columns, rows; ///< of blocks
    int32_t target;                                 ///< samples of a pixel after this round
    uint32_t next_block;                            ///< atomic
    double end_time;                                ///< of the clock, seconds; 0 none
    zr::array<zr::sampling_block> blocks;
    zr::shown_curve curve;
    zr::array<zr::pixel_guides> guides; ///< of every pixel of the picture; empty: the picture keeps its grain
    zr::denoiser denoiser;
    bool is_denoising, is_measuring; ///< the round at hand
};

namespace zr
{

namespace
{

constexpr int32_t first_target = 4;
constexpr float nothing_hit_depth = -1.0f;

sampling_progress latest = {};
platform::lock* latest_lock()
{
    static platform::lock* const lock = platform::new_lock();
    return lock;
}

void publish(const sampling_progress& progress)
{
    const platform::lock_scope held(latest_lock());
    latest = progress;
}

bool is_stopped(const sampling_run& run) { return platform::load_word(&run.doc.stop_render) == 1; }

double seconds_now() { return double(platform::tick_ns()) * 1e-9; }

bool is_out_of_time(const sampling_run& run) { return run.end_time > 0.0 && seconds_now() >= run.end_time; }

/// Up to 16 twice as many, then 24, 32, 48, 64, 96 ...: balanced points of the sequence.
int32_t target_after(int32_t count, const sampling_limits& limits)
{
    if (count == 0) { return std::min(first_target, limits.min_samples); }
    const bool is_power = (count & (count - 1)) == 0;
    const int64_t next = count < 16 ? int64_t(count) * 2
                         : is_power ? int64_t(count) * 3 / 2
                                    : int64_t(count) * 4 / 3;
    return int32_t(std::min<int64_t>(next, limits.max_samples));
}

/// A share in steps, rounded.
uint16_t steps_of(float steps) { return uint16_t(std::clamp(steps + 0.5f, 0.0f, 65535.0f)); }

void add_sample(pixel_sums& sums, const path_light& light, bool is_even)
{
    const float before = float(sums.light) * largest_channel(sums.radiance);
    double brightest = 0.0;
    for (int i = 0; i < 3; ++i)
    {
        sums.radiance[i] += float(light.radiance[i]);
        sums.background[i] += float(light.background[i]);
        if (is_even) { sums.half[i] += float(light.radiance[i] + light.background[i]); }
        brightest = std::fmax(brightest, light.light_radiance[i]);
    }
    const float largest = largest_channel(sums.radiance);
    sums.light = largest > 0.0f ? steps_of((before + float(brightest) * light_steps) / largest) : uint16_t(0);
    if (sums.alpha > 0 || light.alpha > 0.0)
    {
        const float count = float(sums.count);
        sums.alpha =
            steps_of((float(sums.alpha) * count + float(light.alpha) * alpha_steps) / (count + 1.0f));
    }
    ++sums.count;
}

void add_guides(sampling_run& run, int32_t x, int32_t y, const path_light& light)
{
    if (run.guides.count == 0 || !light.has_guides) { return; }
    pixel_guides& g = run.guides[size_t(y) * size_t(run.image.width) + size_t(x)];
    for (int i = 0; i < 3; ++i)
    {
        g.albedo[i] += light.albedo[i];
        g.normal[i] += light.normal[i];
    }
}

/// The sample's path, from its place under the pixel's filter.
path_light path_at(const sampling_run& run, const ray& prototype, int32_t thread, const sample_point& point)
{
    const unit_pair offset = filter_offset(sample_numbers(point, pair_pixel));
    const double position[2] = { point.x + 0.5 + offset.u, point.y + 0.5 + offset.v };
    return trace_path(run.doc, run.view, prototype, thread, point, position);
}

/// A pixel's samples up to the round's target.
void sample_pixel(sampling_run& run, const ray& prototype, int32_t thread, int32_t x, int32_t y,
    sampling_block& block, pixel_sums& sums)
{
    const uint64_t bit = pixel_bit(x % block_side, y % block_side);
    for (auto n = int32_t(sums.count); n < run.target; ++n)
    {
        const sample_point point = { x, y, uint32_t(n), run.limits.seed };
        const path_light light = path_at(run, prototype, thread, point);
        if (prototype.counters) { ++prototype.counters->primary_rays; }
        if (light.left_to_chance)
        {
            block.chancy |= bit;
            block.hidden_chance += light.hidden_chance;
            block.shadow_rays += light.shadow_rays;
            ++block.chances;
        }
        ++block.samples;
        add_sample(sums, light, n % 2 == 0);
        add_guides(run, x, y, light);
    }
}

void store_pixel(sampling_run& run, int32_t x, int32_t y, const pixel_sums& sums)
{
    const pixel_rectangle& r = run.rectangle;
    if (x < r.left || x >= r.right || y < r.bottom || y >= r.top) { return; }
    pixel_pointers p = {};
    image_buffer_pixel_pointers(&run.image, x, y, &p);
    const pixel_components c = mean_components(sums);
    pack_pixel(&run.image, &c, p.pixel);
    if (c.source_ratio == 0.0f) { p.pixel[4] = 0; }
    if (p.alpha) { *p.alpha = uint8_t(float(sums.alpha) * (255.0f / alpha_steps) + 0.5f); }
}

/// Depth and object of a pixel are those of its middle.
void store_middle_hit(sampling_run& run, const ray& prototype, int32_t thread, int32_t x, int32_t y)
{
    pixel_pointers p = {};
    image_buffer_pixel_pointers(&run.image, x, y, &p);
    if (!p.depth && !p.object_id) { return; }
    const double middle[2] = { x + 0.5, y + 0.5 }, no_offset[2] = { 0.0, 0.0 };
    ray r = prototype;
    bool hit = aim_primary(run.doc, run.view, r, thread, middle, no_offset);
    if (hit)
    {
        ground_test(run.doc, r);
        hit = find_nearest_hit(run.doc, r) || r.hit_ground;
    }
    if (hit)
    {
        surface s;
        r.map_point = r.hit_point;
        r.hit_object->vft->get_surface(r.hit_object, &r, &s);
    }
    if (p.depth) { *p.depth = hit ? float(r.hit_t) : nothing_hit_depth; }
    if (p.object_id) { *p.object_id = hit ? r.material_id : uint16_t(0); }
}

bool lies_in(const pixel_rectangle& r, int32_t x, int32_t y)
{
    return x >= r.left && x < r.right && y >= r.bottom && y < r.top;
}

/// A pixel at a block's edge, and the way out.
struct look
{
    int32_t x, y, out_x, out_y;
};
constexpr look looks[] = { { 0, 2, -1, 0 }, { 0, 5, -1, 0 }, { 7, 2, 1, 0 }, { 7, 5, 1, 0 }, { 2, 0, 0, -1 },
    { 5, 0, 0, -1 }, { 2, 7, 0, 1 }, { 5, 7, 0, 1 } };

/// Looks out of the block, at the outermost places of the windows of a few of its pixels: an edge along the
/// block's side reaches into them by so little that their first samples would miss it.
void look_out(sampling_run& run, const ray& prototype, int32_t thread, int32_t x0, int32_t y0,
    const block_sums& all, sampling_block& block)
{
    constexpr double reach = 0.98 * pixel_filter_radius;
    for (const look& l : looks)
    {
        if (l.x + std::abs(l.out_y) >= all.columns || l.y + std::abs(l.out_x) >= all.rows) { continue; }
        if (block.chancy & pixel_bit(l.x, l.y)) { continue; }
        const sample_point point = { x0 + l.x, y0 + l.y, 0, run.limits.seed };
        const double position[2] = { point.x + 0.5 + reach * l.out_x, point.y + 0.5 + reach * l.out_y };
        pixel_sums seen = {};
        add_sample(seen, trace_path(run.doc, run.view, prototype, thread, point, position), true);
        if (prototype.counters) { ++prototype.counters->primary_rays; }
        if (!shows_edge(run.curve, run.limits, sums_at(all, l.x, l.y), seen)) { continue; }
        for (int32_t step = -1; step <= 1; ++step)
        {
            block.edges |= pixel_bit(l.x + step * std::abs(l.out_y), l.y + step * std::abs(l.out_x));
        }
    }
}

/// One block of the round. False when the job was stopped before its last pixel.
bool sample_block(sampling_run& run, uint32_t index, const ray& prototype, int32_t thread)
{
    sampling_block& block = run.blocks[index];
    const int32_t x0 = (run.first_column + int32_t(index % uint32_t(run.columns))) * block_side;
    const int32_t y0 = (run.first_row + int32_t(index / uint32_t(run.columns))) * block_side;
    const auto width = size_t(run.image.width);
    const bool is_first = block.samples == 0;
    const block_sums all = { run.image.sums + size_t(y0) * width + size_t(x0), width,
        std::min(block_side, run.image.width - x0), std::min(block_side, run.image.height - y0) };
    for (int32_t y = y0; y < y0 + all.rows; ++y)
    {
        for (int32_t x = x0; x < x0 + all.columns; ++x)
        {
            if (!(block.open & pixel_bit(x - x0, y - y0))) { continue; }
            if (is_stopped(run)) { return false; }
            pixel_sums& sums = run.image.sums[size_t(y) * width + size_t(x)];
            if (sums.count == 0 && lies_in(run.rectangle, x, y))
            {
                store_middle_hit(run, prototype, thread, x, y);
            }
            sample_pixel(run, prototype, thread, x, y, block, sums);
            store_pixel(run, x, y, sums);
        }
    }
    if (is_first && run.limits.min_samples < edge_samples)
    {
        look_out(run, prototype, thread, x0, y0, all, block);
    }
    decide(run.curve, run.limits, run.doc.denoise ? denoise_gain : 1.0, all, block);
    return true;
}

void mark_rows(const sampling_run& run)
{
    for (int32_t y = run.rectangle.bottom; y < run.rectangle.top; ++y)
    {
        platform::store_word(zr_image_buffer_signature(&run.image, y), uint8_t(ROW_COMPLETE));
    }
}

double needed_samples(const sampling_run& run, const sampling_block& b)
{
    const double taken = double(b.samples);
    if (b.open == 0) { return taken; }
    if (b.error < 0.0f) { return std::max(taken, double(run.limits.min_samples) * block_pixels); }
    const double ratio = b.error / run.limits.noise;
    return std::clamp(taken * ratio * ratio, taken + 1.0,
        std::max(taken + 1.0, double(run.limits.max_samples) * block_pixels));
}

/// Pixels of all blocks.
int64_t covered_pixels(const sampling_run& run)
{
    const int64_t columns = run.columns * block_side, rows = run.rows * block_side;
    return std::min<int64_t>(columns, run.image.width - run.first_column * block_side) *
           std::min<int64_t>(rows, run.image.height - run.first_row * block_side);
}

bool make_sums(image_buffer& image)
{
    zr_free(image.sums);
    const size_t count = size_t(image.width) * size_t(image.height);
    image.sums = static_cast<pixel_sums*>(zr_calloc(count, sizeof(pixel_sums)));
    if (image.sums) { platform::prefer_large_pages(image.sums, count * sizeof(pixel_sums)); }
    return image.sums != nullptr;
}

/// Light of single pixels, one in 16 by 16 of the whole picture, row by row of them. False when the job was
/// stopped.
bool probe_rows(sampling_run& run, const ray& prototype, int32_t thread)
{
    constexpr int32_t step = 16, min_samples = 8, max_samples = 64, paths = 16384;
    const int32_t probes = ((run.image.width + step - 1) / step) * ((run.image.height + step - 1) / step);
    const int32_t samples = std::clamp(paths / std::max(probes, 1), min_samples, max_samples);
    for (;;)
    {
        const int64_t y = int64_t(platform::add_to_word(&run.next_block, 1u)) * step;
        if (y >= run.image.height) { return true; }
        for (int32_t x = 0; x < run.image.width; x += step)
        {
            if (is_stopped(run)) { return false; }
            pixel_sums sums = {};
            for (int32_t n = 0; n < samples; ++n)
            {
                add_sample(sums,
                    path_at(run, prototype, thread, { x, int32_t(y), uint32_t(n), run.limits.seed }),
                    n % 2 == 0);
            }
            const pixel_components c = mean_components(sums);
            pixel_pointers p = {};
            image_buffer_pixel_pointers(&run.image, x, int32_t(y), &p);
            pack_pixel(&run.image, &c, p.pixel);
        }
    }
}

/// The filtered light of a pixel takes the place of its mean; the sums stay as they are.
void store_denoised(sampling_run& run, int32_t x, int32_t y, const float light[3])
{
    const pixel_sums& sums = run.image.sums[size_t(y) * size_t(run.image.width) + size_t(x)];
    const auto is_dark = [](const float v[3]) { return v[0] <= 0.0f && v[1] <= 0.0f && v[2] <= 0.0f; };
    // A picked background alone is shown as it is, and has no grain.
    if (is_dark(sums.radiance) && !is_dark(sums.background)) { return; }
    pixel_pointers p = {};
    image_buffer_pixel_pointers(&run.image, x, y, &p);
    pixel_components c = mean_components(sums);
    std::copy_n(light, 3, c.surface);
    pack_pixel(&run.image, &c, p.pixel);
    if (c.source_ratio == 0.0f) { p.pixel[4] = 0; }
}

/// Bands of rows until none is left. False when the job was stopped or memory failed.
bool denoise_bands(sampling_run& run)
{
    const pixel_rectangle& r = run.sampled;
    array<float> light;
    for (;;)
    {
        const auto band = int64_t(platform::add_to_word(&run.next_block, 1u));
        const int64_t first = band * denoise_rows;
        if (first >= run.denoiser.height) { return true; }
        if (is_stopped(run) || !denoise_band(run.denoiser, int32_t(first), light)) { return false; }
        const int32_t end = int32_t(std::min<int64_t>(first + denoise_rows, run.denoiser.height));
        const float* pixel = light.items;
        for (int32_t y = int32_t(first); y < end; ++y)
        {
            for (int32_t x = 0; x < run.denoiser.width; ++x, pixel += 3)
            {
                const bool is_shown = lies_in(run.rectangle, r.left + x, r.bottom + y);
                if (is_shown) { store_denoised(run, r.left + x, r.bottom + y, pixel); }
            }
        }
    }
}

} // namespace

sampling_run* begin_sampling(document& doc, render_view& view, image_buffer& image, const pixel_rectangle& r)
{
    publish({});
    void* memory = zr_malloc(sizeof(sampling_run));
    if (!memory) { return nullptr; }
    auto* run = new (memory)
        sampling_run{ doc, view, image, r, r, {}, 0, 0, 0, 0, 0, 0, 0.0, {}, {}, {}, {}, false, false };
    job.max_indirect = ZR_FAR;
    zr_get_sampling_limits(&doc, &run->limits);
    if (doc.denoise && r.right > r.left && r.top > r.bottom)
    {
        run->sampled = { std::max(r.left - denoise_margin, 0), std::max(r.bottom - denoise_margin, 0),
            std::min(r.right + denoise_margin, image.width), std::min(r.top + denoise_margin, image.height) };
    }
    const pixel_rectangle& sampled = run->sampled;
    run->first_column = sampled.left / block_side;
    run->first_row = sampled.bottom / block_side;
    run->columns = (sampled.right + block_side - 1) / block_side - run->first_column;
    run->rows = (sampled.top + block_side - 1) / block_side - run->first_row;
    const size_t blocks = size_t(std::max(run->columns, 0)) * size_t(std::max(run->rows, 0));
    const size_t guided = doc.denoise ? size_t(image.width) * size_t(image.height) : 0;
    if (!make_sums(image) || !run->guides.resize(guided) || !run->blocks.resize(blocks) ||
        !prepare_light_tree(doc) || !(job.bounce_limit == 0 || prepare_survey(doc)))
    {
        end_sampling(run);
        report_failure(ZR_ERROR_MEMORY, "render: no memory for the samples of %d x %d pixels", image.width,
            image.height);
        return nullptr;
    }
    std::fill_n(run->guides.items, run->guides.count, pixel_guides{});
    for (sampling_block& b : run->blocks) { b.open = ~uint64_t(0), b.error = -1.0f; }
    prepare_openings(doc);
    prepare_pixel_filter();
    prepare_sequence(run->limits.seed);
    return run;
}

void end_sampling(sampling_run* run)
{
    if (!run) { return; }
    run->~sampling_run();
    zr_free(run);
    free_light_tree();
    free_survey();
}

bool begin_measuring(sampling_run& run)
{
    const bool has_bounces = job.bounce_limit > 0;
    run.is_measuring = has_bounces;
    run.next_block = 0;
    return has_bounces;
}

void begin_rounds(sampling_run& run)
{
    const double clamp = run.doc.clamp_indirect * run.view.measured_luminance;
    job.max_indirect = clamp > 0.0 ? clamp : ZR_FAR;
    run.is_measuring = false;
    if (run.limits.seconds > 0.0) { run.end_time = seconds_now() + run.limits.seconds; }
    prepare_shown_curve(run.view, run.curve);
}

bool next_round(sampling_run& run)
{
    run.next_block = 0;
    const bool any = !is_out_of_time(run) && std::any_of(run.blocks.begin(), run.blocks.end(),
                                                 [](const sampling_block& b) { return b.open != 0; });
    if (any) { run.target = target_after(run.target, run.limits); }
    return any;
}

bool begin_denoising(sampling_run& run)
{
    const pixel_rectangle& r = run.sampled;
    if (run.guides.count == 0 || r.right <= r.left || r.top <= r.bottom) { return false; }
    const size_t width = size_t(run.image.width), first = size_t(r.bottom) * width + size_t(r.left);
    run.next_block = 0;
    run.denoiser = { run.image.sums + first, &run.guides[first], width, r.right - r.left, r.top - r.bottom };
    run.is_denoising = true;
    return true;
}

bool sample_blocks(sampling_run& run, const ray& prototype, int32_t thread)
{
    if (run.is_denoising) { return denoise_bands(run); }
    if (run.is_measuring) { return probe_rows(run, prototype, thread); }
    for (;;)
    {
        const uint32_t index = platform::add_to_word(&run.next_block, 1u);
        // The first round is always whole, so that every pixel has a value.
        if (index >= run.blocks.count || (run.target > first_target && is_out_of_time(run))) { return true; }
        if (run.blocks[index].open != 0 && !sample_block(run, index, prototype, thread)) { return false; }
    }
}

double measure_round(sampling_run& run)
{
    mark_rows(run);
    sampling_progress now = {};
    double squares = 0.0, known = 0.0, taken = 0.0, needed = 0.0;
    for (const sampling_block& b : run.blocks)
    {
        now.done_share += __builtin_popcountll(b.good);
        taken += double(b.samples);
        needed += needed_samples(run, b);
        if (b.error < 0.0f) { continue; }
        squares += double(b.error) * b.error;
        known += 1.0;
    }
    const double pixels = double(std::max<int64_t>(covered_pixels(run), 1));
    now.done_share /= pixels;
    now.mean_samples = taken / pixels;
    now.error = known > 0.0 ? std::sqrt(squares / known) : 0.0;
    now.work_share = needed > 0.0 ? taken / needed : 1.0;
    publish(now);
    return now.work_share;
}

} // namespace zr

using namespace zr;

int32_t zr_set_pixel_sampler(document* doc, int32_t sampler)
{
    if (!doc) { return SAMPLER_STRIPS; }
    const int32_t former = doc->pixel_sampler;
    if (sampler == SAMPLER_STRIPS || sampler == SAMPLER_CONVERGING) { doc->pixel_sampler = sampler; }
    else { report_failure(ZR_ERROR_ARGUMENT, "pixel sampler %d; 0 strips, 1 converging", sampler); }
    return former;
}

int32_t zr_set_indirect_light(document* doc, int32_t kind, int32_t bounce_limit, double clamp)
{
    constexpr double max_clamp = 1e6;
    if (!doc) { return report_failure(ZR_ERROR_ARGUMENT, "no document"); }
    if (kind < INDIRECT_AMBIENT || kind > INDIRECT_CACHE)
    {
        return report_failure(ZR_ERROR_ARGUMENT, "indirect light of kind %d", kind);
    }
    if (bounce_limit < 1 || bounce_limit > max_bounces || !(clamp >= 0.0 && clamp <= max_clamp))
    {
        return report_failure(ZR_ERROR_ARGUMENT, "%d bounces, 1 to %d; indirect light clamped to %g, 0 to %g",
            bounce_limit, max_bounces, clamp, max_clamp);
    }
    doc->indirect_light = kind;
    doc->bounce_limit = bounce_limit;
    doc->clamp_indirect = clamp;
    return 1;
}

int32_t zr_set_denoising(document* doc, int32_t is_on)
{
    if (!doc) { return 0; }
    const int32_t former = doc->denoise;
    doc->denoise = is_on != 0;
    return former;
}

int32_t zr_set_sampling_limits(document* doc, const sampling_limits* limits)
{
    constexpr int32_t max_samples = 1 << 20;
    constexpr double max_seconds = 3.2e7;
    if (!doc || !limits) { return report_failure(ZR_ERROR_ARGUMENT, "sampling limits: null argument"); }
    if (!(limits->noise > 0.0 && limits->noise <= 255.0))
    {
        return report_failure(
            ZR_ERROR_ARGUMENT, "sampling limits: noise %g; must be above 0 and at most 255", limits->noise);
    }
    if (limits->min_samples < 1 || limits->max_samples < limits->min_samples ||
        limits->max_samples > max_samples)
    {
        return report_failure(ZR_ERROR_ARGUMENT,
            "sampling limits: min_samples %d, max_samples %d; must satisfy 1 <= min_samples <= max_samples "
            "<= %d",
            limits->min_samples, limits->max_samples, max_samples);
    }
    if (!(limits->seconds >= 0.0 && limits->seconds <= max_seconds))
    {
        return report_failure(ZR_ERROR_ARGUMENT, "sampling limits: %g seconds; must be 0 (no limit) to %g",
            limits->seconds, max_seconds);
    }
    doc->sampling_noise = limits->noise;
    doc->sampling_seconds = limits->seconds;
    doc->min_samples = limits->min_samples;
    doc->max_samples = limits->max_samples;
    doc->sampling_seed = limits->seed;
    return 1;
}

void zr_get_sampling_limits(const document* doc, sampling_limits* limits_out)
{
    *limits_out = { doc->sampling_noise, doc->min_samples, doc->max_samples, doc->sampling_seed,
        doc->sampling_seconds };
}

void zr_get_sampling_progress(sampling_progress* progress_out)
{
    const platform::lock_scope held(latest_lock());
    *progress_out = latest;
}
