/// @file
/// What assimp passes over in silence in a glTF file: triangles whose indices are out of range, and meshes or
/// whole files that need an extension which nobody here reads.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace host
{

struct gltf_findings
{
    std::string fault;              ///< why the file is refused; empty when it is not
    std::vector<std::string> notes; ///< what is left out of the model
};

/// Reads the file's JSON and the indices that it names. What is too unusual to judge is left to the importer.
gltf_findings check_gltf(const std::filesystem::path& file);

} // namespace host
