/// @file
/// What other rooms ask of the render job.
#pragma once

#include "zirconlite/frame/document.h"

namespace zr
{

/// Whether the document may be changed or freed: no job of it runs. A job that has reported its end is waited
/// for, except on its own thread.
bool settle_render(document* doc);

} // namespace zr
