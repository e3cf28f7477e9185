/// @file
/// Puts a scene into a document of the library: settings, background, materials, meshes, lights, camera.
#pragma once

#include "host/build/build_environment.hpp"
#include "host/models/import.hpp"
#include "host/scene/scene.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/materials/mapping.h"

#include <memory>

namespace host
{

/// What a build leaves to be said or kept.
struct built_scene
{
    uint64_t triangles = 0;
    scene_camera camera;                            ///< with an eye and a target
    std::vector<std::string> notes;                 ///< one line each: what a file has and the picture lacks
    std::vector<view_clip_plane> clip_planes;       ///< the view points to these
    std::vector<owned_view> hdr_views;              ///< the environments point to these
    std::vector<std::unique_ptr<mapping>> mappings; ///< the meshes point to these
};

/// Settings, materials, models and lights. Throws `failure`.
built_scene build_scene(const scene& s, document* d, const import_limits& limits);

/// Camera and exposure of view 1 for a picture of the scene's size, projected and ready to render.
/// `built` must outlive the view.
void build_view(const scene& s, document* d, built_scene& built);

/// Brightness, contrast and method of a view.
void set_exposure(render_view& view, const scene_tone& tone);

} // namespace host
