/// @file
/// Pictures for materials: files that a scene names, and those that model files bring along. Each is read
/// once and lies in the library's shared store.
#pragma once

#include "host/models/model.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"

#include <filesystem>

namespace host
{

/// The picture of a file; null, with a line in `notes`, when it cannot be read.
bitmap* load_picture(const std::filesystem::path& file, std::vector<std::string>& notes);

/// Where a picture that a model names is: as named, else by its base name without regard to case in the
/// model's folder or in `textures` there. Empty when it is nowhere.
std::filesystem::path find_model_picture(const std::filesystem::path& model_file, const std::string& named);

/// The pictures of a model's material with the material's own colours and opacity worked into them, as the
/// formats define: colour times picture, cut-outs in the alpha.
struct model_pictures
{
    bitmap* color = nullptr; ///< with alpha where the material has any opacity picture or cut-outs
    bool has_alpha = false;
    bitmap* bump = nullptr;
    bitmap* normal = nullptr;
};

/// `file` is the model's own, in whose folder its pictures lie.
model_pictures load_model_pictures(const std::filesystem::path& file, const model& m,
    const model_material& material, std::vector<std::string>& notes);

} // namespace host
