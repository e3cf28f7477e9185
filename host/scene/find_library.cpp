#include "host/scene/find_library.hpp"

#include "host/failure.hpp"
#include "host/text.hpp"
#include "zirconlite/libraries/library_file.h"

#include <fmt/format.h>

namespace host
{

namespace
{

int32_t take_first(const char16_t* folder, const struct zr_find_data* match, void* argument);

} // namespace

std::filesystem::path find_library(const scene& s, const std::string& name)
{
    const std::filesystem::path beside = beside_scene(s, name);
    std::error_code error;
    if (std::filesystem::exists(beside, error)) { return std::filesystem::absolute(beside, error); }
    std::filesystem::path found;
    const std::u16string stem = utf16_of(beside.stem()), extension = utf16_of(beside.extension());
    zr_libfile_search_ex(stem.c_str(), extension.c_str(), take_first, &found, 1);
    if (!found.empty()) { return found; }
    throw failure(exit_missing_file,
        fmt::format("{}: there is no library {}, and none of its name in the folders of libraries",
            s.file.string(), beside.string()));
}

namespace
{

/// Takes the first match, which hides others of its name.
int32_t take_first(const char16_t* folder, const struct zr_find_data* match, void* argument)
{
    *static_cast<std::filesystem::path*>(argument) =
        std::filesystem::path(utf8_of(folder)) / utf8_of(match->name);
    return -1;
}

} // namespace

} // namespace host
