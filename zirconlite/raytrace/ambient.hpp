/// @file
/// The ambient term: what stands in for light that reaches a point by way of other surfaces.
#pragma once

#include "zirconlite/frame/document.h"

namespace zr
{

/// Works out the job's ambient colour from the lights, the area and the mean reflectance of the scene. On one
/// thread, before workers start.
void prepare_ambient(const document& document);

} // namespace zr
