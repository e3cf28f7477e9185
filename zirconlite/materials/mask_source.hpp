/// @file
/// The life of the pictures of masks.
#pragma once

#include "zirconlite/materials/mat_image.h"

namespace zr
{

/// One material less points to the mask; the last frees it. Null is fine.
void release_mask(mask_source* mask);

} // namespace zr
