/// @file
/// Windows inside the library.
#pragma once

#include "zirconlite/frame/document.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/daylight.h"
#include "zirconlite/lighting/light.h"

namespace zr
{

/// zr_lt_daylight_update for every window of the document.
void update_windows(document& doc);

/// Whether sunlight that comes through the window may pass `point`; for a window with LIGHT_SUN_SHINES.
inline bool is_in_sun_shaft(const light& window, const vector3& point)
{
    for (int32_t i = 0; i < window.vertex_count; ++i)
    {
        if (dot(window.edge_normals[i], point) < window.edge_offsets[i]) { return false; }
    }
    return true;
}

} // namespace zr
