/// @file
/// A scene for a model file alone, so that it can be rendered without a scene file.
#pragma once

#include "host/scene/scene.hpp"

namespace host
{

/// Whether a file's name is that of a model and not of a scene.
bool is_model_file(const std::filesystem::path& file);

/// The model under sun and sky on a ground, with a camera that is fitted to it.
scene scene_of_model(const std::filesystem::path& file);

/// A line each about the camera, the light and the ground that a scene was given because it has none.
std::string camera_line(const scene_camera& fitted);
std::string light_line(const scene& s);
std::string ground_line(double height);

} // namespace host
