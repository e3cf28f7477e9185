/// @file
/// The reader of EULUMDAT: one value on each line, intensities in cd per 1000 lm of the lamps, planes that
/// begin at C0. The 26 lines of its head are read in their order; the tables follow.
#include <algorithm>
#include <cmath>
#include <float.h>

#include "zirconlite/frame/memory.h"
#include "zirconlite/lighting/ies_file.hpp"
#include "zirconlite/lighting/photometric_text.hpp"

using namespace zr;

namespace
{

constexpr int max_lamp_sets = 20;
constexpr int direct_ratios = 10;

/// How the planes of a file are stored, by its symmetry indicator.
struct symmetry_row
{
    int32_t divisor;    ///< the count of planes must be a multiple of it
    int32_t part;       ///< 1 / part of the circle is stored
    double first, last; ///< the azimuths of the table that comes of it
};
constexpr symmetry_row symmetries[] = {
    { 1, 1, 0.0, 360.0 },  // none: every plane
    { 1, 0, 0.0, 0.0 },    // about the axis: one plane
    { 2, 2, 0.0, 180.0 },  // in the plane of C0 and C180
    { 4, 2, 90.0, 270.0 }, // in the plane of C90 and C270: stored from C270 by way of C0 to C90
    { 4, 4, 0.0, 90.0 },   // in both
};

/// What the head says of the tables.
struct table_head
{
    int32_t symmetry, planes, angles, stored;
};

struct ldt_reader
{
    text_scanner in;
    ies_file& file;

    std::string_view line(const char* what);
    double number(const char* what, bool may_be_blank = false);
    int32_t integer(const char* what);
    void label(const char* keyword, const char* what);
    void lamps();
    void sizes();
};

table_head read_head(ldt_reader& r);
void check_head(ldt_reader& r, table_head& head);
void read_tables(ldt_reader& r, const table_head& head);
void arrange_rows(text_scanner& in, ies_file& file, const table_head& head, const float* planes);

status out_of_memory() { return fail(ZR_ERROR_MEMORY, "no memory for a photometric file"); }

} // namespace

status zr::parse_eulumdat(std::string_view text, ies_file& file)
{
    ldt_reader r = { text_scanner(text), file };
    file.format = IES_EULUMDAT;
    file.photometric_type = IES_TYPE_C;
    file.units_type = 2;
    file.ballast_factor = file.ballast_lamp_factor = 1.0f;
    file.tilt_name = copy_of("NONE");
    if (!file.tilt_name) { return out_of_memory(); }
    const table_head head = read_head(r);
    if (r.in.ok()) { read_tables(r, head); }
    file.opening = opening_of(file);
    return r.in.why;
}

namespace
{

table_head read_head(ldt_reader& r)
{
    table_head head = {};
    r.label("[MANUFAC]", "the company");
    r.number("the type of source", true);
    head.symmetry = r.integer("the symmetry indicator");
    if (r.in.ok() && (head.symmetry < 0 || head.symmetry > 4))
    {
        r.in.fail(fail(ZR_ERROR_FORMAT, "the symmetry indicator must be 0 to 4 and is %d", head.symmetry));
    }
    head.planes = r.integer("the number of C-planes");
    r.number("the distance of C-planes", true);
    head.angles = r.integer("the number of intensities in a plane");
    check_head(r, head);
    r.number("the distance of intensities", true);
    r.label("[TEST]", "the report");
    r.label("[LUMINAIRE]", "the name of the luminaire");
    r.label("[LUMCAT]", "the number of the luminaire");
    r.line("the name of the file");
    r.label("[ISSUEDATE]", "date and user");
    r.sizes();
    r.number("the downward flux", true);
    r.number("the light output ratio", true);
    const double conversion = r.number("the conversion factor of intensities", true);
    r.number("the tilt of the measurement", true);
    r.lamps();
    r.file.candela_multiplier *= conversion > 0.0 ? float(conversion) : 1.0f;
    for (int i = 0; i < direct_ratios; ++i) { r.number("a direct ratio", true); }
    return head;
}

void check_head(ldt_reader& r, table_head& head)
{
    if (!r.in.ok()) { return; }
    const symmetry_row& row = symmetries[head.symmetry];
    if (head.planes < 1 || head.angles < 1 || head.planes % row.divisor != 0)
    {
        return r.in.fail(fail(ZR_ERROR_FORMAT,
            "%d C-planes of %d intensities; at least 1 of each was expected, and a multiple of %d planes",
            head.planes, head.angles, row.divisor));
    }
    head.stored = row.part == 0 ? 1 : row.part == 1 ? head.planes : head.planes / row.part + 1;
    // Each value takes a line.
    const uint64_t values =
        uint64_t(head.planes) + uint64_t(head.angles) + uint64_t(head.stored) * uint64_t(head.angles);
    if (values > r.in.left() / 2 + 1)
    {
        r.in.fail(fail(ZR_ERROR_FORMAT, "%d C-planes of %d intensities do not fit the %zu bytes that follow",
            head.planes, head.angles, r.in.left()));
    }
}

/// The tables: azimuths of all planes, the vertical angles, and the stored planes one after the other.
void read_tables(ldt_reader& r, const table_head& head)
{
    ies_file& file = r.file;
    array<float> planes;
    file.vertical_count = head.angles;
    file.vertical_angles = static_cast<float*>(zr_calloc(size_t(head.angles), sizeof(float)));
    // A full circle is closed by its first row.
    const size_t rows = size_t(head.stored) + 1, columns = size_t(head.angles);
    file.horizontal_angles = static_cast<float*>(zr_calloc(rows, sizeof(float)));
    file.candela = static_cast<float*>(zr_calloc(rows * columns, sizeof(float)));
    if (!planes.resize(size_t(head.planes)) || !file.vertical_angles || !file.horizontal_angles ||
        !file.candela)
    {
        return r.in.fail(out_of_memory());
    }

    const auto angles = [&](float* to, int32_t count, const char* what, double limit, bool must_be_0)
    {
        for (int32_t i = 0; r.in.ok() && i < count; ++i)
        {
            const double angle = r.number(what);
            to[i] = float(angle);
            if (r.in.ok() && !(angle >= 0.0 && angle <= limit))
            {
                r.in.fail(
                    fail(ZR_ERROR_FORMAT, "%s %d is %g; 0 to %g was expected", what, i + 1, angle, limit));
            }
            if (r.in.ok() && i == 0 && must_be_0 && angle != 0.0)
            {
                r.in.fail(fail(ZR_ERROR_FORMAT, "the first %s is %g; 0 was expected", what, angle));
            }
            if (r.in.ok() && i > 0 && !(to[i] > to[i - 1]))
            {
                r.in.fail(fail(ZR_ERROR_FORMAT, "%s %d is %g, which is not above the %g before it", what,
                    i + 1, angle, double(to[i - 1])));
            }
        }
    };
    angles(planes.items, head.planes, "C-plane", 360.0, head.symmetry != 1);
    angles(file.vertical_angles, head.angles, "vertical angle", 180.0, false);
    float peak = 0.0f;
    for (size_t i = 0; r.in.ok() && i < size_t(head.stored) * columns; ++i)
    {
        const double value = r.number("an intensity");
        if (r.in.ok() && value < 0.0)
        {
            r.in.fail(fail(ZR_ERROR_FORMAT, "intensity %zu of plane %zu is below 0: %g", i % columns + 1,
                i / columns + 1, value));
        }
        file.candela[i] = float(value);
        peak = std::fmax(peak, file.candela[i]);
    }
    if (r.in.ok() && !(peak > 0.0f)) { r.in.fail(fail(ZR_ERROR_FORMAT, "every intensity is 0")); }
    if (r.in.ok()) { arrange_rows(r.in, file, head, planes.items); }
}

/// Gives the stored planes their azimuths, in the order in which these rise.
void arrange_rows(text_scanner& in, ies_file& file, const table_head& head, const float* planes)
{
    const symmetry_row& row = symmetries[head.symmetry];
    const size_t columns = size_t(head.angles);
    const int32_t n = head.stored;
    file.horizontal_count = n;
    const bool is_side = head.symmetry == 3;
    for (int32_t i = 0; i < n; ++i)
    {
        // Planes on the side of C0 stand for their mirror images, from C90 to C270.
        const int32_t stored = is_side ? (3 * head.planes / 4 + i) % head.planes : i;
        const float azimuth = head.symmetry == 1 ? 0.0f : planes[stored];
        if (!is_side) { file.horizontal_angles[i] = azimuth; }
        else { file.horizontal_angles[n - 1 - i] = azimuth > 180.0f ? 540.0f - azimuth : 180.0f - azimuth; }
    }
    if (is_side)
    {
        for (int32_t i = 0; i < n / 2; ++i)
        {
            std::swap_ranges(file.candela + size_t(i) * columns, file.candela + size_t(i + 1) * columns,
                file.candela + size_t(n - 1 - i) * columns);
        }
    }
    const bool is_open = row.part == 1 && n > 1 && file.horizontal_angles[n - 1] < 360.0f;
    if (is_open)
    {
        file.horizontal_angles[n] = 360.0f;
        std::copy(file.candela, file.candela + columns, file.candela + size_t(n) * columns);
        ++file.horizontal_count;
    }
    const float first = file.horizontal_angles[0], last = file.horizontal_angles[file.horizontal_count - 1];
    if (file.horizontal_count > 1 && (first != float(row.first) || last != float(row.last)))
    {
        in.fail(fail(ZR_ERROR_FORMAT, "the C-planes of symmetry %d run from %g to %g; %g to %g was expected",
            head.symmetry, double(first), double(last), row.first, row.last));
    }
}

/// The next line; empty behind the end, which is a failure.
std::string_view ldt_reader::line(const char* what)
{
    std::string_view text;
    if (in.ok() && !in.next_line(text))
    {
        in.token_line = in.line;
        in.fail(fail(ZR_ERROR_READ, "the file ends where %s was expected", what));
    }
    return trimmed(text);
}

/// A decimal comma is as good as a point.
double ldt_reader::number(const char* what, bool may_be_blank)
{
    const std::string_view text = line(what);
    double value = 0.0;
    if (!in.ok() || (may_be_blank && text.empty())) { return 0.0; }
    if (!parse_number(text, value, text.find('.') == std::string_view::npos ? ',' : '.') ||
        std::fabs(value) > FLT_MAX)
    {
        in.fail(fail(ZR_ERROR_FORMAT, "\"%.*s\" is no number; %s was expected", shown_length(text),
            text.data(), what));
        return 0.0;
    }
    return value;
}

int32_t ldt_reader::integer(const char* what)
{
    const double value = number(what);
    if (value == std::trunc(value) && std::fabs(value) <= INT32_MAX) { return int32_t(value); }
    in.fail(fail(ZR_ERROR_FORMAT, "%s must be a whole number and is %g", what, value));
    return 0;
}

/// Keeps a line of text as a label of LM-63.
void ldt_reader::label(const char* keyword, const char* what)
{
    const std::string_view text = line(what);
    array<char> whole;
    if (!in.ok() || text.empty()) { return; }
    bool is_kept = true;
    for (const char* c = keyword; *c; ++c) { is_kept = is_kept && whole.push(*c); }
    is_kept = is_kept && whole.push(' ');
    for (char c : text) { is_kept = is_kept && whole.push(c); }
    if (!is_kept || !add_label(file, std::string_view(whole.items, whole.count)))
    {
        in.fail(out_of_memory());
    }
}

/// Luminaire and opening in millimetres. The length lies in the plane of C90 and C270; a width of 0 is round.
void ldt_reader::sizes()
{
    for (const char* what :
        { "the length of the luminaire", "the width of the luminaire", "the height of the luminaire" })
    {
        number(what, true);
    }
    const double length = number("the length of the opening", true),
                 width = number("the width of the opening", true);
    double height = 0.0;
    for (int i = 0; i < 4; ++i) { height = std::fmax(height, number("the height of the opening", true)); }
    const bool is_round = width == 0.0;
    file.width = float((is_round ? -length : length) / 1000.0);
    file.length = float((is_round ? -length : width) / 1000.0);
    file.height = float(height / 1000.0);
}

/// The first set of lamps counts: further ones are other ways to fit the luminaire. A negative number of
/// lamps marks absolute photometry.
void ldt_reader::lamps()
{
    const int32_t sets = integer("the number of sets of lamps");
    if (in.ok() && (sets < 1 || sets > max_lamp_sets))
    {
        in.fail(fail(ZR_ERROR_FORMAT, "%d sets of lamps; 1 to %d was expected", sets, max_lamp_sets));
    }
    for (int32_t i = 0; in.ok() && i < sets; ++i)
    {
        const int32_t count = integer("the number of lamps");
        if (i == 0) { label("[LAMP]", "the type of lamps"); }
        else { line("the type of lamps"); }
        const double flux = number("the flux of the lamps");
        if (i == 0 && in.ok() && !(flux > 0.0))
        {
            in.fail(fail(ZR_ERROR_FORMAT, "the flux of the lamps must be above 0 and is %g", flux));
        }
        line("the colour of the lamps");
        line("the colour rendering of the lamps");
        const double watts = number("the power of the lamps", true);
        if (i > 0 || !in.ok()) { continue; }
        file.lamp_count = std::clamp(std::abs(count), 1, INT32_MAX);
        file.lumens_per_lamp = count < 0 ? -1.0f : float(flux / file.lamp_count);
        file.candela_multiplier = float(flux / 1000.0);
        file.input_watts = float(watts);
    }
}

} // namespace
