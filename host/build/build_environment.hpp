/// @file
/// From what a scene says about its environment to the library's environments.
#pragma once

#include "host/scene/scene.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/render_view.h"

#include <memory>
#include <string>
#include <vector>

namespace host
{

struct view_deleter
{
    void operator()(render_view* v) const;
};
/// A view of its own that holds a picture.
using owned_view = std::unique_ptr<render_view, view_deleter>;

/// Where fields start that neither a settings file nor the scene sets.
void set_environment_defaults(document* d);

/// Reads the settings files that the scene names, in their order: environments into the document, sun and
/// exposure into those keys of the scene that it does not give itself. Pictures that an environment names are
/// looked for beside its file. Throws `failure`.
void apply_settings_files(scene& s, document* d, std::vector<std::string>& notes);

/// Makes the picture of a file the record's; one that cannot be read is left out, with a line in `notes`.
void set_background_picture(
    environment& e, const std::filesystem::path& file, std::vector<std::string>& notes);

/// Sets the environments, haze, ground and clouds. `views` takes the pictures of light, which the document
/// then points to. Throws `failure`.
void set_environment(
    const scene& s, document* d, std::vector<owned_view>& views, std::vector<std::string>& notes);

} // namespace host
