/// @file
/// `zirconlite ies`: what a photometric file holds, as text and as pictures, and the same in another format.
#include "host/commands/commands.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/photometry/polar_plot.hpp"
#include "host/photometry/wall_picture.hpp"
#include "host/pictures/picture_files.hpp"
#include "host/text.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>

namespace host
{

namespace
{

struct ies_request
{
    std::filesystem::path file, plot, wall, to;
    wall_setting setting;
    bool as_json = false, in_candela = false;
};

std::string angles_text(const float* angles, int32_t count)
{
    if (count == 1) { return fmt::format("{:g}", angles[0]); }
    return fmt::format("{:g} to {:g}", angles[0], angles[count - 1]);
}

std::string or_none(const std::optional<double>& angle)
{
    return angle ? fmt::format("{:.1f}", *angle) : "none";
}

std::string lamps_text(const ies_file& f)
{
    const std::string watts = fmt::format("{:g} W", f.input_watts);
    if (f.lumens_per_lamp <= 0) { return fmt::format("{}, absolute photometry; {}", f.lamp_count, watts); }
    return fmt::format("{} of {:g} lm; {}", f.lamp_count, f.lumens_per_lamp, watts);
}

std::string output_text(const luminaire_figures& v)
{
    if (!v.lamp_lumens) { return fmt::format("{:.1f} lm by the table", v.lumens); }
    return fmt::format("{:.1f} lm by the table; {:g} lm in lamps by the head, {:.1f} %", v.lumens,
        *v.lamp_lumens, 100 * v.lumens / *v.lamp_lumens);
}

std::string peak_text(const luminaire_figures& v)
{
    std::string text = fmt::format("{:.1f} cd at C{:g}, {:g} degrees from the axis", v.peak_candela,
        v.peak_azimuth_deg, v.peak_polar_deg);
    if (v.lamp_lumens) { text += fmt::format("; {:.1f} cd/klm", v.peak_candela / *v.lamp_lumens * 1000); }
    return text;
}

std::string as_text(const ies_file& f, const goniometry& g, const luminaire_figures& v)
{
    std::string out;
    for (int32_t i = 0; i < f.label_count; ++i) { out += fmt::format("{}\n", f.labels[i]); }
    const auto row = [&](const char* name, const std::string& text)
    { out += fmt::format("{:<13} {}\n", name, text); };
    row("format", format_name(f));
    row("lamps", lamps_text(f));
    if (f.tilt_count > 0)
    {
        row("tilt", fmt::format("{}, {} angles, not applied", f.tilt_name, f.tilt_count));
    }
    row("factors", fmt::format("candela x {:g}, ballast {:g}", f.candela_multiplier, f.ballast_factor));
    row("opening", opening_text(f.opening));
    row("angles", fmt::format("type {}; vertical {} ({}), horizontal {} ({})", type_name(f),
                      angles_text(f.vertical_angles, f.vertical_count), f.vertical_count,
                      angles_text(f.horizontal_angles, f.horizontal_count), f.horizontal_count));
    row("symmetry", symmetry_name(g));
    row("output", output_text(v));
    row("downwards", fmt::format("{:.1f} %", 100 * v.below_share));
    row("peak", peak_text(v));
    for (const plane_figures& p : v.planes)
    {
        row(p.name.c_str(),
            fmt::format("beam {}, field {} degrees", or_none(p.beam_deg), or_none(p.field_deg)));
    }
    if (v.efficacy) { row("efficacy", fmt::format("{:.1f} lm/W", *v.efficacy)); }
    return out;
}

nlohmann::ordered_json or_null(const std::optional<double>& value)
{
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

std::string as_json(const ies_file& f, const goniometry& g, const luminaire_figures& v)
{
    nlohmann::ordered_json j;
    j["format"] = format_name(f);
    j["labels"] = std::vector<std::string>(f.labels, f.labels + f.label_count);
    j["lamps"] = f.lamp_count;
    j["lamp_lumens"] = or_null(v.lamp_lumens);
    j["input_watts"] = f.input_watts;
    j["candela_multiplier"] = f.candela_multiplier;
    j["ballast_factor"] = f.ballast_factor;
    j["opening"] = { { "shape", opening_text(f.opening) }, { "width", f.opening.width },
        { "length", f.opening.length }, { "height", f.opening.height } };
    j["type"] = type_name(f);
    j["symmetry"] = symmetry_name(g);
    j["vertical_angles"] = std::vector<float>(f.vertical_angles, f.vertical_angles + f.vertical_count);
    j["horizontal_angles"] =
        std::vector<float>(f.horizontal_angles, f.horizontal_angles + f.horizontal_count);
    j["lumens"] = v.lumens;
    j["downward_share"] = v.below_share;
    j["peak_candela"] = v.peak_candela;
    j["peak_azimuth_deg"] = v.peak_azimuth_deg;
    j["peak_polar_deg"] = v.peak_polar_deg;
    j["efficacy"] = or_null(v.efficacy);
    for (const plane_figures& p : v.planes)
    {
        j["planes"].push_back({ { "name", p.name }, { "beam_deg", or_null(p.beam_deg) },
            { "field_deg", or_null(p.field_deg) } });
    }
    return j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

int run_ies(const ies_request& r)
{
    if (!r.plot.empty()) { check_drawing_file(r.plot, plot_width, plot_height); }
    if (!r.wall.empty())
    {
        check_picture_file(r.wall, { r.setting.size[0], r.setting.size[1], color_layout_of(r.wall), {} });
    }
    const owned_ies file = open_photometric_file(r.file);
    const owned_goniometry g = table_of(*file);
    const luminaire_figures figures = figures_of(*file, *g);
    std::fputs((r.as_json ? as_json : as_text)(*file, *g, figures).c_str(), stdout);
    if (!r.to.empty() && !zr_write_ies_file(utf16_of(r.to).c_str(), file.get()))
    {
        throw failure(exit_render_failed, r.to.string() + library_error());
    }
    if (!r.plot.empty())
    {
        write_drawing(r.plot, polar_plot(*file, *g, figures, luminaire_name(*file, r.file), !r.in_candela));
    }
    if (!r.wall.empty()) { write_wall_picture(r.wall, *g, figures, r.setting); }
    return exit_done;
}

} // namespace

std::function<int()> setup_ies(CLI::App& command)
{
    auto r = std::make_shared<ies_request>();
    command.add_option("FILE", r->file, "The photometric file: LM-63 (.ies) or EULUMDAT (.ldt)")->required();
    command.add_flag("--json", r->as_json, "Print as JSON");
    command.add_option(
        "--plot", r->plot, "Draw the intensities in two planes: .svg, or a picture such as .png");
    command.add_flag(
        "--candela", r->in_candela, "The plot in cd, also where the lumens of the lamps are known");
    command.add_option(
        "--wall", r->wall, "Render the light on a wall and a floor: .png and the like, or .hdr");
    command.add_option("--distance", r->setting.distance, "Of the luminaire from the wall, metres")
        ->check(CLI::Range(0.05, 2.5))
        ->capture_default_str();
    command.add_option("--height", r->setting.height, "Of the luminaire before a wall of 3 m, metres")
        ->check(CLI::Range(0.05, 2.95));
    command.add_option("--turn", r->setting.turn_deg, "Of C0, degrees from along the wall towards it")
        ->check(CLI::Range(-360.0, 360.0))
        ->capture_default_str();
    command.add_option("--to", r->to, "Write the file anew: .ies or .ldt");
    return [r] { return run_ies(*r); };
}

} // namespace host
