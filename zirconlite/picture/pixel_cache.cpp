/// @file
/// The cache of display colours, and display values of packed pixels through it.
#include <algorithm>
#include <iterator>
#include <string.h>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/picture/output.h"
#include "zirconlite/picture/tone.h"

namespace
{

constexpr int32_t entry_count = int32_t(std::size(pixel_cache{}.entries));

const float* find(pixel_cache& cache, const uint8_t* pixel);
void insert(pixel_cache& cache, const uint8_t* pixel, const float rgb[3]);

} // namespace

pixel_cache* zr_init_pixel_cache(void)
{
    auto* cache = static_cast<pixel_cache*>(zr_calloc(1, sizeof(pixel_cache)));
    if (cache) { cache->newest = cache->last_found = -1; }
    return cache;
}

int32_t zr_term_pixel_cache(pixel_cache* cache)
{
    zr_free(cache);
    return cache ? 1 : 0;
}

int32_t zr_evaluate_and_unpack_rt_pixel(
    const render_view* view, const uint8_t* pixel, pixel_components* components, float rgb[3])
{
    zr_unpack_internal_pixel(view->image, pixel, components, 1);
    return zr_get_rgb_from_pixel_components(view, components, rgb);
}

int32_t zr_get_pixel_rgb(const render_view* view, pixel_cache* cache, const uint8_t* pixel,
    pixel_components* components, float rgb[3])
{
    const float* known = cache ? find(*cache, pixel) : nullptr;
    if (known)
    {
        std::copy_n(known, 3, rgb);
        return 1;
    }
    zr_get_rgb_from_pixel_components(view, components, rgb);
    if (cache) { insert(*cache, pixel, rgb); }
    return 1;
}

int32_t zr_evaluate_rt_pixel_ex(
    const render_view* view, pixel_cache* cache, const uint8_t* pixel, int32_t values[3], int32_t bits)
{
    float evaluated[3];
    const float* rgb = cache ? find(*cache, pixel) : nullptr;
    if (!rgb)
    {
        pixel_components components;
        zr_evaluate_and_unpack_rt_pixel(view, pixel, &components, evaluated);
        if (cache) { insert(*cache, pixel, evaluated); }
        rgb = evaluated;
    }
    const float top = float((1 << std::clamp(bits, 1, 16)) - 1);
    for (int i = 0; i < 3; ++i) { values[i] = int32_t(rgb[i] * top + 0.5f); }
    return 1;
}

int32_t zr_evaluate_rt_pixel(
    const render_view* view, pixel_cache* cache, const uint8_t* pixel, uint8_t bytes[3])
{
    int32_t values[3];
    zr_evaluate_rt_pixel_ex(view, cache, pixel, values, 8);
    for (int i = 0; i < 3; ++i) { bytes[i] = uint8_t(std::clamp(values[i], 0, 255)); }
    return 1;
}

namespace
{

const float* find(pixel_cache& cache, const uint8_t* pixel)
{
    if (cache.newest < 0) { return nullptr; }
    for (int32_t step = 0; step < entry_count; ++step)
    {
        const int32_t i = (cache.last_found + step) % entry_count;
        const pixel_cache_entry& entry = cache.entries[i];
        if (!cache.valid[i] || memcmp(entry.key, pixel, sizeof(entry.key)) != 0) { continue; }
        cache.last_found = i;
        return entry.rgb;
    }
    return nullptr;
}

void insert(pixel_cache& cache, const uint8_t* pixel, const float rgb[3])
{
    cache.newest = (cache.newest + 1) % entry_count;
    pixel_cache_entry& entry = cache.entries[cache.newest];
    memcpy(entry.key, pixel, sizeof(entry.key));
    std::copy_n(rgb, 3, entry.rgb);
    cache.valid[cache.newest] = 1;
    cache.last_found = cache.newest;
}

} // namespace
