/// @file
/// The polar plot of a luminaire: its intensity in two planes, on rings of equal intensity.
#pragma once

#include "host/photometry/drawing.hpp"
#include "host/photometry/luminaire_figures.hpp"

namespace host
{

/// Without light above the horizon half the circle is enough.
inline constexpr int plot_width = 800, plot_height = 860, half_plot_height = 600;

/// `in_klm`: rings in cd per 1000 lm of the lamps, where these are known.
drawing polar_plot(const ies_file& file, const goniometry& g, const luminaire_figures& figures,
    const std::string& title, bool in_klm);

} // namespace host
