/// @file
/// Writers of photometric files: LM-63 and EULUMDAT.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <string.h>

#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/ies_file.hpp"
#include "zirconlite/lighting/photometric_text.hpp"
#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"

using namespace zr;

namespace
{

constexpr size_t line_width = 78;
constexpr size_t max_planes = 721; // of EULUMDAT
constexpr int32_t max_angles = 361;
constexpr int direct_ratios = 10;

/// The text as it grows; `ok` turns false when memory fails.
struct text_writer
{
    array<char> text;
    size_t column = 0;
    bool ok = true;

    void add(std::string_view s);
    void add_line(std::string_view s);
    void add_number(double value);          ///< the shortest text that gives the float again
    void add_run(const float* v, size_t n); ///< numbers with line breaks, and an end of line
    void add_value(double value);           ///< a number on a line of its own
};

/// A plane of EULUMDAT, degrees, and the row of the table that it repeats.
struct ldt_plane
{
    double azimuth;
    int32_t row;
};

void write_lm63(const ies_file& file, text_writer& out);
status write_eulumdat(const ies_file& file, const ies_file& table, text_writer& out);
void write_ldt_head(const ies_file& file, const goniometry& g, double lamp_lumens, text_writer& out);
void write_ldt_table(
    const ies_file& table, const array<ldt_plane>& planes, int32_t indicator, double scale, text_writer& out);
bool planes_of(const ies_file& table, array<ldt_plane>& planes, int32_t& indicator);
double share_below_horizon(const goniometry& g);
std::string_view label_of(const ies_file& file, std::string_view keyword);

} // namespace

int32_t zr_write_ies_file(const char16_t* path, const ies_file* file)
{
    if (!path || !file) { return report_failure(ZR_ERROR_ARGUMENT, "no path, or no photometric file"); }
    text_writer out;
    status s = {};
    if (is_named_ldt(path))
    {
        ies_file turned = {};
        const bool is_c = file->photometric_type == IES_TYPE_C;
        out.ok = is_c || turn_into_type_c(*file, turned);
        if (out.ok) { s = write_eulumdat(*file, is_c ? *file : turned, out); }
        free_ies_content(turned);
    }
    else { write_lm63(*file, out); }
    if (ok(s) && !out.ok) { s = fail(ZR_ERROR_MEMORY, "no memory to write a photometric file"); }
    if (ok(s))
    {
        platform::replacement* to = platform::begin_replacement(path);
        const bool is_written = to && platform::write_replacement(to, out.text.items, out.text.count);
        if (to && !is_written) { platform::cancel_replacement(to); }
        if (!is_written || !platform::commit_replacement(to))
        {
            s = fail(ZR_ERROR_WRITE, "cannot be written");
        }
    }
    if (!ok(s)) { platform::to_utf8(path, s.file, sizeof(s.file)); }
    return report(s);
}

namespace
{

void write_lm63(const ies_file& file, text_writer& out)
{
    out.add_line("IESNA:LM-63-2002");
    for (int32_t i = 0; i < file.label_count; ++i)
    {
        const std::string_view label = file.labels[i];
        if (trimmed(label).empty()) { continue; }
        if (label.front() != '[') { out.add("[OTHER] "); }
        out.add_line(label);
    }
    out.add_line(file.tilt_count > 0 ? "TILT=INCLUDE" : "TILT=NONE");
    if (file.tilt_count > 0)
    {
        out.add_value(file.lamp_to_luminaire);
        out.add_value(file.tilt_count);
        out.add_run(file.tilt_angles, size_t(file.tilt_count));
        out.add_run(file.tilt_factors, size_t(file.tilt_count));
    }
    const double head[] = { double(file.lamp_count), file.lumens_per_lamp, file.candela_multiplier,
        double(file.vertical_count), double(file.horizontal_count), double(file.photometric_type),
        double(file.units_type), file.width, file.length, file.height };
    for (double value : head) { out.add_number(value); }
    out.add_line("");
    for (double value : { file.ballast_factor, file.ballast_lamp_factor, file.input_watts })
    {
        out.add_number(value);
    }
    out.add_line("");
    out.add_run(file.vertical_angles, size_t(file.vertical_count));
    out.add_run(file.horizontal_angles, size_t(file.horizontal_count));
    for (int32_t i = 0; i < file.horizontal_count; ++i)
    {
        out.add_run(file.candela + size_t(i) * size_t(file.vertical_count), size_t(file.vertical_count));
    }
}

status write_eulumdat(const ies_file& file, const ies_file& table, text_writer& out)
{
    array<ldt_plane> planes;
    int32_t indicator = 0;
    goniometry g = {};
    if (!planes_of(table, planes, indicator) || !zr_fill_goniometry(&file, &g))
    {
        return fail(ZR_ERROR_MEMORY, "no memory to write a photometric file");
    }
    if (planes.count > max_planes || table.vertical_count > max_angles)
    {
        clear_goniometry(g);
        return fail(ZR_ERROR_LIMIT, "%zu planes of %d angles; EULUMDAT holds %zu of %d at most", planes.count,
            table.vertical_count, max_planes, max_angles);
    }
    const bool is_absolute = file.lumens_per_lamp <= 0.0f;
    const double lamp_lumens =
        is_absolute ? double(g.lumens) : double(file.lamp_count) * file.lumens_per_lamp;
    if (!(g.lumens > 0.0f && lamp_lumens > 0.0))
    {
        clear_goniometry(g);
        return fail(ZR_ERROR_FORMAT, "the table holds no light; EULUMDAT gives intensities for each lumen");
    }
    const double step =
        table.vertical_count > 1 ? double(table.vertical_angles[1]) - table.vertical_angles[0] : 0.0;
    out.add_line(label_of(file, "[MANUFAC]"));
    out.add_value(indicator == 1 ? 1 : 3);
    out.add_value(indicator);
    out.add_value(double(planes.count));
    out.add_value(planes.count > 1 ? planes[1].azimuth - planes[0].azimuth : 0.0);
    out.add_value(table.vertical_count);
    out.add_value(step);
    write_ldt_head(file, g, lamp_lumens, out);
    const double scale = double(file.candela_multiplier) * file.ballast_factor / (lamp_lumens / 1000.0);
    write_ldt_table(table, planes, indicator, scale, out);
    clear_goniometry(g);
    return {};
}

/// From the report to the direct ratios.
void write_ldt_head(const ies_file& file, const goniometry& g, double lamp_lumens, text_writer& out)
{
    for (const char* keyword : { "[TEST]", "[LUMINAIRE]", "[LUMCAT]", "", "[ISSUEDATE]" })
    {
        out.add_line(*keyword ? label_of(file, keyword) : std::string_view());
    }
    const luminous_opening& o = file.opening;
    const bool is_round =
        o.shape == LUMINOUS_DISK || o.shape == LUMINOUS_CYLINDER || o.shape == LUMINOUS_SPHERE;
    const double sizes[] = { o.width * 1000.0, is_round ? 0.0 : o.length * 1000.0, o.height * 1000.0 };
    for (int part = 0; part < 2; ++part)
    {
        // The luminaire itself is not known; its opening stands for it.
        out.add_value(sizes[0]);
        out.add_value(sizes[1]);
        if (part == 0) { out.add_value(sizes[2]); }
    }
    for (int i = 0; i < 4; ++i) { out.add_value(sizes[2]); }
    out.add_value(100.0 * share_below_horizon(g));
    out.add_value(100.0 * g.lumens / lamp_lumens);
    out.add_value(1.0); // conversion factor of intensities
    out.add_value(0.0); // tilt of the measurement
    out.add_value(1);   // set of lamps
    out.add_value(file.lumens_per_lamp <= 0.0f ? -file.lamp_count : file.lamp_count);
    out.add_line(label_of(file, "[LAMP]"));
    out.add_value(lamp_lumens);
    out.add_line(""); // colour
    out.add_line(""); // colour rendering
    out.add_value(file.input_watts);
    for (int i = 0; i < direct_ratios; ++i) { out.add_value(0.0); }
}

void write_ldt_table(
    const ies_file& table, const array<ldt_plane>& planes, int32_t indicator, double scale, text_writer& out)
{
    const size_t count = planes.count;
    const size_t first = indicator == 3 ? count / 4 * 3 : 0;
    const size_t stored = indicator == 0   ? count
                          : indicator == 1 ? 1
                          : indicator == 4 ? count / 4 + 1
                                           : count / 2 + 1;
    for (const ldt_plane& p : planes) { out.add_value(p.azimuth); }
    for (int32_t j = 0; j < table.vertical_count; ++j) { out.add_value(table.vertical_angles[j]); }
    for (size_t i = 0; i < stored; ++i)
    {
        const size_t row = size_t(planes[(first + i) % count].row) * size_t(table.vertical_count);
        for (int32_t j = 0; j < table.vertical_count; ++j)
        {
            out.add_value(table.candela[row + size_t(j)] * scale);
        }
    }
}

/// The planes of the whole circle in rising order, from 0, and the symmetry indicator under which the planes
/// that EULUMDAT wants stored are those of the table.
bool planes_of(const ies_file& table, array<ldt_plane>& planes, int32_t& indicator)
{
    const int32_t symmetry = symmetry_of(table), n = table.horizontal_count;
    const float* angles = table.horizontal_angles;
    bool is_whole = true;
    const auto add = [&](double azimuth, int32_t row)
    {
        const double turned = azimuth < 0.0 ? azimuth + 360.0 : azimuth >= 360.0 ? azimuth - 360.0 : azimuth;
        is_whole = is_whole && planes.push({ turned, row });
    };
    if (symmetry == GONIOMETRY_AXIAL)
    {
        indicator = 1;
        add(0.0, 0);
        return is_whole;
    }
    for (int32_t i = 0; i < n; ++i)
    {
        const double a = angles[i];
        add(a, i);
        if (symmetry == GONIOMETRY_QUADRANT || symmetry == GONIOMETRY_SIDE) { add(180.0 - a, i); }
        if (symmetry == GONIOMETRY_QUADRANT) { add(180.0 + a, i); }
        if (symmetry == GONIOMETRY_QUADRANT || symmetry == GONIOMETRY_HALF) { add(360.0 - a, i); }
    }
    // Before the first angle its row holds.
    if (symmetry != GONIOMETRY_SIDE && angles[0] > 0.0f) { add(0.0, 0); }
    if (!is_whole) { return false; }
    std::stable_sort(planes.begin(), planes.end(),
        [](const ldt_plane& a, const ldt_plane& b) { return a.azimuth < b.azimuth; });
    const auto is_same = [](const ldt_plane& a, const ldt_plane& b) { return a.azimuth == b.azimuth; };
    planes.count = size_t(std::unique(planes.begin(), planes.end(), is_same) - planes.begin());

    const bool starts = angles[0] == 0.0f;
    const bool has_middle = n % 2 == 1 && angles[n / 2] == 180.0f;
    indicator = symmetry == GONIOMETRY_QUADRANT && starts   ? 4
                : symmetry == GONIOMETRY_HALF && starts     ? 2
                : symmetry == GONIOMETRY_SIDE && has_middle ? 3
                                                            : 0;
    return true;
}

/// Share of the light that goes below the horizon.
double share_below_horizon(const goniometry& g)
{
    constexpr int32_t rings = 2048, sectors = 64;
    double below = 0.0, all = 0.0;
    for (int32_t j = 0; j < rings; ++j)
    {
        const double polar = pi * (j + 0.5) / rings;
        double ring = 0.0;
        for (int32_t i = 0; i < sectors; ++i)
        {
            ring += goniometry_value(g, two_pi * (i + 0.5) / sectors, polar);
        }
        ring *= std::sin(polar);
        all += ring;
        if (polar < half_pi) { below += ring; }
    }
    return all > 0.0 ? below / all : 0.0;
}

/// The first label with a keyword, without it, cut to what EULUMDAT allows for a line.
std::string_view label_of(const ies_file& file, std::string_view keyword)
{
    for (int32_t i = 0; i < file.label_count; ++i)
    {
        std::string_view label = trimmed(file.labels[i]);
        if (!begins_with(label, keyword)) { continue; }
        label = trimmed(label.substr(keyword.size()));
        size_t length = std::min(label.size(), line_width);
        while (length < label.size() && length > 0 && (uint8_t(label[length]) & 0xC0) == 0x80) { --length; }
        return label.substr(0, length);
    }
    return {};
}

void text_writer::add(std::string_view s)
{
    for (char c : s) { ok = ok && text.push(c); }
    column += s.size();
}

void text_writer::add_line(std::string_view s)
{
    add(s);
    add("\r\n");
    column = 0;
}

void text_writer::add_number(double value)
{
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof(digits), float(value));
    if (column > 0) { add(" "); }
    add(std::string_view(digits, size_t(end - digits)));
}

void text_writer::add_run(const float* values, size_t count)
{
    for (size_t i = 0; i < count; ++i)
    {
        if (column > line_width - 12) { add_line(""); }
        add_number(values[i]);
    }
    add_line("");
}

void text_writer::add_value(double value)
{
    add_number(value);
    add_line("");
}

} // namespace
