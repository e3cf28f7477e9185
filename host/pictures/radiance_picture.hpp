/// @file
/// Pictures kept as light, at an exposure of their own.
#pragma once

#include "host/scene/scene.hpp"

namespace host
{

/// Measures the light of a .hdr file as a render measures its scene, and writes the picture that `tone` makes
/// of it. Throws `failure`.
void write_toned(const std::filesystem::path& file, const scene_tone& tone, const std::filesystem::path& out);

/// Writes another .hdr file with the same light. Throws `failure`.
void copy_radiance(const std::filesystem::path& file, const std::filesystem::path& out);

} // namespace host
