/// @file
/// What a photometric file says about its luminaire, in the figures that lighting designers ask for.
#pragma once

#include "zirconlite/lighting/goniometry.h"
#include "zirconlite/lighting/ies_file.h"

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace host
{

struct ies_deleter
{
    void operator()(ies_file* f) const { zr_free_ies_file(f); }
};
using owned_ies = std::unique_ptr<ies_file, ies_deleter>;

struct goniometry_deleter
{
    void operator()(goniometry* g) const { zr_free_goniometry(g); }
};
using owned_goniometry = std::unique_ptr<goniometry, goniometry_deleter>;

/// Opens a photometric file. Throws `failure`: missing (3) or wrong (2), with the line.
owned_ies open_photometric_file(const std::filesystem::path& file);

/// Its table. Throws `failure` when memory fails.
owned_goniometry table_of(const ies_file& file);

/// One half-plane pair: the curve on both sides of the axis.
struct plane_figures
{
    std::string name;   ///< "C0-C180"
    double azimuth_deg; ///< of its right half
    std::optional<double> beam_deg,
        field_deg; ///< between the outermost directions of 50 and 10 % of its peak
};

struct luminaire_figures
{
    double lumens;                     ///< by the table
    std::optional<double> lamp_lumens; ///< of all lamps, by the head; none for absolute photometry
    double peak_candela, peak_azimuth_deg, peak_polar_deg;
    double below_share;                  ///< of the light that goes below the horizon
    std::optional<double> efficacy;      ///< lm/W; none without watts
    std::array<plane_figures, 2> planes; ///< C0-C180 and C90-C270
    double last_polar_deg;               ///< the largest angle from the axis at which there is light
};

luminaire_figures figures_of(const ies_file& file, const goniometry& g);

/// Candela in a direction, degrees. At the very ends of the table its last values hold.
double candela_at(const goniometry& g, double azimuth_deg, double polar_deg);

/// A label's value by its keyword without brackets, empty when there is none.
std::string label_value(const ies_file& file, const std::string& keyword);

/// What a reader calls the luminaire: its name, its number, or the file's name.
std::string luminaire_name(const ies_file& file, const std::filesystem::path& path);

std::string opening_text(const luminous_opening& o);

/// The names of formats, types and symmetries.
const char* format_name(const ies_file& file);
const char* type_name(const ies_file& file);
const char* symmetry_name(const goniometry& g);

} // namespace host
