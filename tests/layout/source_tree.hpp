/// @file
/// Reading of the source tree for the tests of its layout.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

inline std::string read_text(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

/// Paths relative to the root, sorted, of the files below `folder` with one of the extensions.
inline std::vector<std::string> files_below(
    const std::string& folder, const std::vector<std::string>& extensions)
{
    const std::filesystem::path root = ZIRCONLITE_SOURCE_DIR;
    std::vector<std::string> found;
    if (!std::filesystem::exists(root / folder)) { return found; }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder))
    {
        const std::string extension = entry.path().extension().string();
        if (std::find(extensions.begin(), extensions.end(), extension) == extensions.end()) { continue; }
        found.push_back(std::filesystem::relative(entry.path(), root).generic_string());
    }
    std::sort(found.begin(), found.end());
    return found;
}
