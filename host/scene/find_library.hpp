/// @file
/// Where the libraries of materials, lights and plants are found.
#pragma once

#include "host/scene/scene.hpp"

namespace host
{

/// The file of a library by its name with extension: beside the scene, else where the library looks for them.
/// Throws `failure` when there is none.
std::filesystem::path find_library(const scene& s, const std::string& name);

} // namespace host
