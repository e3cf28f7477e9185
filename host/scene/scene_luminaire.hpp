/// @file
/// `[[luminaire]]`: luminaires of light libraries, where a scene hangs them.
#pragma once

#include "host/scene/scene_environment.hpp"
#include "zirconlite/lighting/goniometry.h"

#include <array>
#include <memory>
#include <optional>
#include <string>

namespace host
{

struct scene;

struct scene_luminaire
{
    std::string name;
    std::string library; ///< full key, LIBRARY\\Folder\Name
    std::array<double, 3> position{ 0, 0, 3 };
    std::optional<std::array<double, 3>> target, aim; ///< where its axis points; straight down without
    std::optional<std::array<double, 3>> c0;          ///< direction of horizontal angle 0
    std::optional<double> lumens, kelvin;             ///< else those of the library
    color3 filter{ { 1, 1, 1 } };
    double dimmer = 1;
    int shadow_samples = 1;
    bool visible = true; ///< its opening is seen
    int line = 0;
};

/// What a luminaire's lamp has of its library.
struct luminaire_fixture
{
    std::shared_ptr<goniometry> table; ///< null for one that shines evenly
    std::string look; ///< the fixture's material by its name in the scene; empty: plain white
    std::string material_key, material_library, entry, library_file;
};

/// Refuses what the tables of keys cannot.
void check_luminaires(const scene& s, const std::string& file);

} // namespace host
