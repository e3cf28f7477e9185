/// @file
/// From a rendered view to picture files: the picture, its planes, and pictures at other exposures.
#pragma once

#include "host/pictures/picture_files.hpp"
#include "host/scene/scene.hpp"
#include "zirconlite/frame/document.h"

namespace host
{

/// All files that a render writes, with full paths.
struct output_files
{
    std::filesystem::path picture, alpha, depth, object_id; ///< empty: not wanted, except for `picture`
    std::vector<std::filesystem::path> variants;            ///< as in the scene
    int width, height;
};

/// What found the indirect light of a document's pictures, and the clamp; for people.
std::string how_indirect_light_was_found(const document& d);

/// Names the files; `option` is the command line's picture. Throws `failure` when one cannot be written.
output_files prepare_output(const scene& s, const std::string& option);

/// Writes the view's whole picture at its exposure, or its light as .hdr.
void write_view(const render_view& v, const std::filesystem::path& file);

/// Writes everything of the view that is valid; rows that were not reached come out black.
void write_output(const scene& s, document* d, const output_files& files);

} // namespace host
