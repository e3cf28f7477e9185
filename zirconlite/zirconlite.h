/** @file
 *  All of the library's public headers. A program that starts it begins with zirconlite/frame/module.h;
 *  docs/embedding.md leads through one. */
#ifndef ZIRCONLITE_ZIRCONLITE_H
#define ZIRCONLITE_ZIRCONLITE_H

#include "zirconlite/display/progress.h"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/host.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/module.h"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/frame/search_path.h"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/frame/types.h"
#include "zirconlite/frame/window.h"
#include "zirconlite/geometry/mesh_build.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/geometry/search_structure.h"
#include "zirconlite/geometry/vector.h"
#include "zirconlite/geometry/voxel_grid.h"
#include "zirconlite/geometry/y_mesh.h"
#include "zirconlite/imagefiles/bitmap_format.h"
#include "zirconlite/lighting/environment.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/materials/blend.h"
#include "zirconlite/materials/bumps.h"
#include "zirconlite/materials/mapping.h"
#include "zirconlite/materials/mat_image.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/materials/noise.h"
#include "zirconlite/materials/ripple.h"
#include "zirconlite/raytrace/emission_setup.h"
#include "zirconlite/raytrace/image_buffer.h"
#include "zirconlite/raytrace/output.h"
#include "zirconlite/raytrace/projection.h"
#include "zirconlite/raytrace/ray.h"
#include "zirconlite/raytrace/render_job.h"
#include "zirconlite/raytrace/surface.h"
#include "zirconlite/raytrace/tone.h"

#endif
