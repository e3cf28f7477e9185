/// @file
/// Parts of ending a view that the document's operations need one by one.
#pragma once

#include "zirconlite/frame/render_view.h"

namespace zr
{

/// Frees the screen frustum's store and the copy of the background picture.
void free_view_frames(render_view* view);

/// Frees the lock of the scan marker.
void free_scanline_lock(render_view* view);

} // namespace zr
