/// @file
/// One worker's tables for direct light.
#pragma once

#include "zirconlite/raytrace/direct_light.hpp"

namespace zr
{

/// In cache lines of its own: it is written at every shaded point, while the others are read.
struct alignas(128) thread_lights
{
    double total_potential; ///< sum of the list's luminance
    double point_potential; ///< the same without window lights
    int32_t leaf_count;
    light_candidate* candidates; ///< one for each light, and one for the sun
    scene_object* recent[16];    ///< what last blocked any light with the early stop; null none
    int32_t next_recent;
    shadow_cache_entry* caches; ///< in the order of the walk over the leaves, then the sun's
};

extern thread_lights light_tables[thread_slots];

} // namespace zr
