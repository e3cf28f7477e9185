/// @file
/// The ways in which hits can be found: either structure, with vectors or without. All give the same hits.
#pragma once

#include "zirconlite/platform/processor.hpp"
#include "zirconlite/search/search_structure.h"

namespace test
{

struct search_path
{
    const char* name;
    int32_t structure;
    bool portable;
};

inline constexpr search_path search_paths[] = {
    { "tree", SEARCH_TREE, false },
    { "tree, portable", SEARCH_TREE, true },
    { "grid", SEARCH_GRID, false },
    { "grid, portable", SEARCH_GRID, true },
};

/// Builds and rays take this path in its scope.
struct taken_path
{
    explicit taken_path(const search_path& p) : before(zr_set_search_structure(p.structure))
    {
        zr::platform::force_portable(p.portable);
    }
    ~taken_path()
    {
        zr::platform::force_portable(false);
        zr_set_search_structure(before);
    }
    taken_path(const taken_path&) = delete;
    taken_path& operator=(const taken_path&) = delete;
    int32_t before;
};

} // namespace test
