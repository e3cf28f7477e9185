/// @file
/// What assimp passes over in silence in a glTF file: triangles whose indices are out of range.
#pragma once

#include <filesystem>
#include <string>

struct aiScene;

namespace host
{

/// Compares the triangles that the file names with those that arrived. Empty when they agree, or when the
/// file is too unusual to tell.
std::string gltf_fault(const std::filesystem::path& file, const aiScene& scene);

} // namespace host
