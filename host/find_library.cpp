#include "host/find_library.hpp"

#include "host/failure.hpp"
#include "zirconlite/libraries/library_file.h"

#include <fmt/format.h>

namespace host
{

namespace
{

int32_t take_first(const char16_t* directory, const zr_find_data* found, void* file)
{
    *static_cast<std::u16string*>(file) = std::u16string(directory) + found->name;
    return -1;
}

} // namespace

std::filesystem::path find_library(const scene& s, const std::string& name)
{
    const std::filesystem::path beside = beside_scene(s, name);
    std::error_code error;
    if (std::filesystem::exists(beside, error)) { return beside; }
    const std::filesystem::path as_path(name);
    const std::u16string stem = as_path.stem().u16string(), extension = as_path.extension().u16string();
    std::u16string found;
    zr_libfile_search_ex(stem.c_str(), extension.c_str(), take_first, &found, 1);
    if (!found.empty()) { return found; }
    throw failure(exit_missing_file,
        fmt::format("{}: library \"{}\" not found; looked beside the scene and where libraries are installed",
            s.file.string(), name));
}

} // namespace host
