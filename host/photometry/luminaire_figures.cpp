#include "host/photometry/luminaire_figures.hpp"

#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"
#include "zirconlite/frame/error.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace host
{

namespace
{

constexpr const char* format_names[] = { "LM-63-1986", "LM-63-1991", "LM-63-1995", "LM-63-2002", "LM-63-2019",
    "EULUMDAT" };
static_assert(std::size(format_names) == IES_EULUMDAT + 1);
constexpr const char* type_names[] = { "C", "B", "A" };
static_assert(std::size(type_names) == IES_TYPE_A);
constexpr const char* symmetry_names[] = { "none", "about the axis", "in both planes",
    "in the plane of C0 and C180", "in the plane of C90 and C270" };
static_assert(std::size(symmetry_names) == GONIOMETRY_SIDE + 1);
constexpr const char* opening_names[] = { "a point", "rectangle", "box", "disk", "cylinder", "sphere", "tube",
    "upright disk" };
static_assert(std::size(opening_names) == LUMINOUS_UPRIGHT + 1);

/// Steps of the search along a plane, from one side of the axis to the other.
constexpr double plane_step_deg = 0.05;

double on_plane(const goniometry& g, double azimuth_deg, double angle_deg)
{
    return candela_at(g, angle_deg < 0 ? azimuth_deg + 180 : azimuth_deg, std::abs(angle_deg));
}

/// The angle between the outermost directions in which a plane has a share of its peak; none where light that
/// strong goes to the zenith, so that there is no cone.
std::optional<double> spread(const goniometry& g, double azimuth_deg, double share)
{
    double peak = 0, from = 0, to = 0;
    for (double a = -180; a <= 180; a += plane_step_deg)
    {
        peak = std::max(peak, on_plane(g, azimuth_deg, a));
    }
    if (peak <= 0) { return std::nullopt; }
    bool found = false;
    for (double a = -180; a <= 180; a += plane_step_deg)
    {
        if (on_plane(g, azimuth_deg, a) < share * peak) { continue; }
        if (!found) { from = a; }
        found = true;
        to = a;
    }
    const bool is_cone = from > -180 + 2 * plane_step_deg && to < 180 - 2 * plane_step_deg;
    return is_cone ? std::optional(to - from) : std::nullopt;
}

void find_peak(const goniometry& g, luminaire_figures& f)
{
    // The table's values are its peaks: it is linear between them.
    float most = -1;
    for (int32_t i = 0; i < g.horizontal_count; ++i)
    {
        for (int32_t j = 0; j < g.vertical_count; ++j)
        {
            if (g.rows[i][j] <= most) { continue; }
            most = g.rows[i][j];
            f.peak_azimuth_deg = double(g.horizontal_angles[i]) * degrees;
            f.peak_polar_deg = double(g.vertical_angles[j]) * degrees;
        }
    }
    f.peak_candela = double(g.peak_candela);
}

double share_below(const goniometry& g)
{
    constexpr int rings = 1800, sectors = 72;
    double below = 0, all = 0;
    for (int j = 0; j < rings; ++j)
    {
        const double polar = 180.0 * (j + 0.5) / rings;
        double ring = 0;
        for (int i = 0; i < sectors; ++i) { ring += candela_at(g, 360.0 * (i + 0.5) / sectors, polar); }
        ring *= std::sin(polar * radians);
        all += ring;
        if (polar < 90) { below += ring; }
    }
    return all > 0 ? below / all : 0;
}

} // namespace

owned_ies open_photometric_file(const std::filesystem::path& file)
{
    owned_ies opened(zr_open_ies_file(utf16_of(file).c_str()));
    if (opened) { return opened; }
    const zr_status& s = *zr_last_error();
    const bool is_missing = s.code == ZR_ERROR_NOT_FOUND && s.line == 0;
    const std::string where = s.file[0] ? s.file : file.string();
    throw failure(is_missing ? exit_missing_file : exit_bad_scene,
        s.line > 0 ? fmt::format("{}:{}: {}", where, s.line, s.text) : fmt::format("{}: {}", where, s.text));
}

owned_goniometry table_of(const ies_file& file)
{
    owned_goniometry g(zr_new_goniometry());
    if (!g || !zr_fill_goniometry(&file, g.get())) { throw failure(exit_render_failed, "out of memory"); }
    return g;
}

luminaire_figures figures_of(const ies_file& file, const goniometry& g)
{
    luminaire_figures f{};
    f.lumens = double(g.lumens);
    if (file.lumens_per_lamp > 0) { f.lamp_lumens = double(file.lamp_count) * double(file.lumens_per_lamp); }
    if (file.input_watts > 0) { f.efficacy = f.lumens / double(file.input_watts); }
    find_peak(g, f);
    f.below_share = share_below(g);
    f.planes = { plane_figures{ "C0-C180", 0, {}, {} }, plane_figures{ "C90-C270", 90, {}, {} } };
    for (plane_figures& p : f.planes)
    {
        p.beam_deg = spread(g, p.azimuth_deg, 0.5);
        p.field_deg = spread(g, p.azimuth_deg, 0.1);
    }
    for (int32_t i = 0; i < g.horizontal_count; ++i)
    {
        for (int32_t j = 0; j < g.vertical_count; ++j)
        {
            if (g.rows[i][j] > 0)
            {
                f.last_polar_deg = std::max(f.last_polar_deg, double(g.vertical_angles[j]) * degrees);
            }
        }
    }
    return f;
}

double candela_at(const goniometry& g, double azimuth_deg, double polar_deg)
{
    constexpr double inside = 1e-6; // radians; a table has no value at its very ends
    const double first = double(g.vertical_angles[0]), last = double(g.vertical_angles[g.vertical_count - 1]);
    double polar = polar_deg * radians;
    if (std::abs(polar - first) < inside) { polar = first + inside; }
    if (std::abs(polar - last) < inside) { polar = last - inside; }
    return zr_goniometry_value(&g, std::remainder(azimuth_deg, 360.0) * radians, polar) *
           double(g.peak_candela);
}

std::string label_value(const ies_file& file, const std::string& keyword)
{
    const std::string head = "[" + keyword + "]";
    for (int32_t i = 0; i < file.label_count; ++i)
    {
        const std::string label = file.labels[i];
        const size_t at = label.find_first_not_of(" \t");
        if (at == std::string::npos || label.compare(at, head.size(), head) != 0) { continue; }
        const size_t value = label.find_first_not_of(" \t", at + head.size());
        return value == std::string::npos ? "" : label.substr(value);
    }
    return "";
}

std::string luminaire_name(const ies_file& file, const std::filesystem::path& path)
{
    for (const char* keyword : { "LUMINAIRE", "LUMCAT" })
    {
        std::string value = label_value(file, keyword);
        if (!value.empty()) { return value; }
    }
    return path.filename().string();
}

std::string opening_text(const luminous_opening& o)
{
    std::string name = opening_names[o.shape];
    switch (o.shape)
    {
    case LUMINOUS_POINT:
        return name;
    case LUMINOUS_RECTANGLE:
        return fmt::format("{}, {:.3g} m along C0 by {:.3g} m", name, o.length, o.width);
    case LUMINOUS_BOX:
        return fmt::format(
            "{}, {:.3g} m along C0 by {:.3g} m, {:.3g} m high", name, o.length, o.width, o.height);
    case LUMINOUS_CYLINDER:
        return fmt::format("{}, {:.3g} m across, {:.3g} m high", name, o.width, o.height);
    case LUMINOUS_TUBE:
        return fmt::format("{}, {:.3g} m long {} C0, {:.3g} m thick", name, std::max(o.length, o.width),
            o.length >= o.width ? "along" : "across", o.height);
    default:
        return fmt::format("{}, {:.3g} m across", name, std::max({ o.width, o.length, o.height }));
    }
}

const char* format_name(const ies_file& file) { return format_names[file.format]; }
const char* type_name(const ies_file& file) { return type_names[file.photometric_type - 1]; }
const char* symmetry_name(const goniometry& g) { return symmetry_names[g.symmetry]; }

} // namespace host
