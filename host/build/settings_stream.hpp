/// @file
/// Settings files through the library's stream functions.
#pragma once

#include "host/scene/scene.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/settings/settings_files.h"

#include <filesystem>
#include <string>

namespace host
{

/// Reads a settings file of any kind into a document and, for an exposure, a view; its kind. Throws
/// `failure`.
int read_settings(const std::filesystem::path& file, document* d, render_view& view);

/// Writes a settings file; an old one stays as it is on failure. Throws `failure`.
void write_settings(const std::filesystem::path& file, int kind, document* d, render_view& view);

/// The kind by a file's extension; 0 for another one.
int settings_kind_of(const std::filesystem::path& file);

} // namespace host
