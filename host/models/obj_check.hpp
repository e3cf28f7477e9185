/// @file
/// What assimp passes over in OBJ files: smoothing, the placement of pictures, and materials that are not
/// there.
#pragma once

#include "host/models/model.hpp"

#include <filesystem>
#include <map>

namespace host
{

struct obj_findings
{
    bool smooths = false;           ///< a smoothing group is switched on
    std::vector<std::string> notes; ///< material files and materials that are missing
    /// The pictures of each material with their scale and offset, by the material's name.
    std::map<std::string, std::array<model_texture, texture_roles>> textures;
};

/// Reads the statements of the file and of its material files that do not describe shapes.
obj_findings check_obj(const std::filesystem::path& file);

} // namespace host
