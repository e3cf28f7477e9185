#include "host/commands/luminaire_text.hpp"

#include "host/commands/material_text.hpp"

#include <fmt/format.h>

namespace host
{

std::optional<double> luminaire_lumens(const luminaire& l)
{
    if (!l.goniometry) { return std::nullopt; }
    return double(l.goniometry->lumens) * double(l.rh);
}

std::string luminaire_text(const luminaire& l)
{
    std::string out;
    const auto row = [&](const char* name, const std::string& text)
    { out += fmt::format("{:<10} {}\n", name, text); };
    row("name", plain_text(l.name));
    row("model", plain_text(l.model));
    row("material", fmt::format("{}\\\\{}", plain_text(l.material_library), plain_text(l.material_key)));
    row("type", fmt::format("{}, {}", l.type == 'G' ? "G, with a photometric table" : std::string(1, l.type),
                    l.geo == 'D'   ? "a disk"
                    : l.geo == 'R' ? "a rectangle"
                                   : std::string(1, l.geo)));
    row("size", fmt::format("{:g} m along C0, {:g} m along C90", l.dim[0], l.dim[1]));
    row("offset", fmt::format("{:g}, {:g}, {:g} m", l.off[0], l.off[1], l.off[2]));
    row("factors", fmt::format("scale {:g}, output {:g}, lum {:g}", l.sc, l.rh, l.lum));
    row("kelvin", fmt::format("{:g}", l.temperature));
    row("flags", fmt::format("{:#x}", l.flags));
    if (!l.goniometry) { return out; }
    const goniometry& g = *l.goniometry;
    row("output",
        fmt::format("{:.1f} lm of the table, {:.1f} lm with its factor", g.lumens, *luminaire_lumens(l)));
    row("peak", fmt::format("{:.1f} cd", g.peak_candela));
    row("angles", fmt::format("{} vertical, {} horizontal", g.vertical_count, g.horizontal_count));
    row("symmetry", symmetry_name(g));
    return out;
}

} // namespace host
