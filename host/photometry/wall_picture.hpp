/// @file
/// The light that a luminaire throws on a wall and a floor, as a rendered picture.
#pragma once

#include "host/photometry/luminaire_figures.hpp"

namespace host
{

/// How the luminaire hangs before the wall.
struct wall_setting
{
    double distance = 0.5; ///< from the wall, metres
    std::optional<double>
        height;          ///< of 3 m; none: near the ceiling, the floor or the middle, as its light goes
    double turn_deg = 0; ///< of C0 from along the wall towards it
    std::array<int, 2> size{ 800, 640 };
};

/// Renders and writes the picture. Throws `failure`.
void write_wall_picture(const std::filesystem::path& file, const goniometry& g,
    const luminaire_figures& figures, const wall_setting& setting);

} // namespace host
