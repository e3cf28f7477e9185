/// @file
/// The ambient term: an estimate of indirect light.
#pragma once

#include "zirconlite/frame/document.h"

namespace zr
{

/// Works out the job's ambient colour from the lights, the area and the mean reflectance of the scene. On one
/// thread, before workers start.
void prepare_ambient(const document& doc);

} // namespace zr
