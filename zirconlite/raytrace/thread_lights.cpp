// The tables that each worker keeps for direct light.
#include <string.h>

#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/thread_lights.hpp"

namespace zr
{

thread_lights light_tables[thread_slots] = {};

namespace
{

int32_t count_leaves(const document& doc);
bool make_tables(thread_lights& slot, const document& doc, int32_t leaves);

} // namespace

bool prepare_thread_lights(const document& doc, int32_t thread_count)
{
    free_thread_lights();
    free_shadow_caches();
    for (int i = 0; i < 3; ++i)
    {
        job.simple_ambient_color[i] = doc.ambient_intensity * doc.ambient_color[i];
    }
    const int32_t leaves = count_leaves(doc);
    for (int32_t i = 0; i < thread_count && i < thread_slots; ++i)
    {
        if (!make_tables(light_tables[i], doc, leaves)) { return false; }
    }
    return true;
}

void reset_thread_lights(int32_t thread)
{
    thread_lights& slot = light_tables[thread];
    slot.total_potential = slot.point_potential = 0.0;
    memset(slot.recent, 0, sizeof slot.recent);
    slot.next_recent = 0;
    for (int32_t i = 0; slot.caches && i <= slot.leaf_count; ++i)
    {
        memset(slot.caches[i].blocker, 0, sizeof slot.caches[i].blocker);
    }
}

void free_thread_lights()
{
    for (thread_lights& slot : light_tables)
    {
        zr_free(slot.candidates);
        slot.candidates = nullptr;
        slot.total_potential = slot.point_potential = 0.0;
    }
}

void free_shadow_caches()
{
    for (thread_lights& slot : light_tables)
    {
        zr_free(slot.caches);
        slot.caches = nullptr;
        slot.leaf_count = 0;
        memset(slot.recent, 0, sizeof slot.recent);
    }
}

shadow_cache_entry* cache_entry(int32_t thread, int32_t leaf)
{
    thread_lights& slot = light_tables[thread];
    return slot.caches && leaf <= slot.leaf_count ? &slot.caches[leaf] : nullptr;
}

namespace
{

int32_t count_leaves(const document& doc)
{
    int32_t count = 0;
    for (light* l = first_leaf(doc.lights); l; l = next_leaf(l)) { ++count; }
    return count;
}

bool make_tables(thread_lights& slot, const document& doc, int32_t leaves)
{
    slot.leaf_count = leaves;
    slot.candidates = static_cast<light_candidate*>(zr_calloc(size_t(leaves) + 1, sizeof(light_candidate)));
    slot.caches = static_cast<shadow_cache_entry*>(zr_calloc(size_t(leaves) + 1, sizeof(shadow_cache_entry)));
    if (!slot.candidates || !slot.caches) { return false; }
    int32_t i = 0;
    for (light* l = first_leaf(doc.lights); l; l = next_leaf(l)) { slot.caches[i++].light = l; }
    return true;
}

} // namespace

} // namespace zr
