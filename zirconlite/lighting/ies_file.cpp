/// @file
/// Opening of photometric files, and the reader of LM-63.
#include "zirconlite/lighting/ies_file.hpp"

#include <algorithm>
#include <cmath>
#include <stdio.h>
#include <stdlib.h>

#include "zirconlite/frame/memory.h"
#include "zirconlite/lighting/goniometry.hpp"
#include "zirconlite/lighting/photometric_text.hpp"
#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"

using namespace zr;

namespace
{

struct heading_row
{
    std::string_view text;
    ies_format format;
};
constexpr heading_row headings[] = {
    { "IESNA91", IES_LM63_1991 },
    { "IESNA:LM-63-1995", IES_LM63_1995 },
    { "IESNA:LM-63-2002", IES_LM63_2002 },
    { "IES:LM-63-2019", IES_LM63_2019 },
};

/// Angles that a type of photometry has, degrees.
struct angle_range
{
    double vertical_from, vertical_to, horizontal_from, horizontal_to;
};
constexpr angle_range ranges[] = {
    { 0.0, 180.0, -180.0, 360.0 },  // IES_TYPE_C
    { -180.0, 180.0, -90.0, 90.0 }, // IES_TYPE_B
    { -90.0, 90.0, -180.0, 180.0 }, // IES_TYPE_A
};

constexpr double metres_per_foot = 0.3048;

void read_labels(text_scanner& in, ies_file& file);
void read_tilt(text_scanner& in, const char16_t* path, ies_file& file);
void read_tilt_data(text_scanner& in, ies_file& file);
void read_tilt_file(text_scanner& in, const char16_t* path, ies_file& file);
bool path_beside(const char16_t* path, const char16_t* name, array<char16_t>& beside);
void read_head_numbers(text_scanner& in, ies_file& file);
void check_head_numbers(text_scanner& in, const ies_file& file);
float* read_angles(text_scanner& in, int32_t count, const char* what, double from, double to);
void read_candela(text_scanner& in, ies_file& file);
float* read_floats(text_scanner& in, int32_t count, const char* what);
bool is_text(std::string_view line, std::string_view wanted);
bool has_tilt_line(std::string_view text);

status out_of_memory() { return fail(ZR_ERROR_MEMORY, "no memory for a photometric file"); }

} // namespace

ies_file* zr_open_ies_file(const char16_t* path)
{
    ies_file* made = nullptr;
    report(read_photometric_file(path, made));
    return made;
}

void zr_free_ies_file(ies_file* file)
{
    if (!file) { return; }
    free_ies_content(*file);
    zr_free(file);
}

int32_t zr_read_ies_file(const char16_t* path, goniometry* goniometry)
{
    if (!goniometry) { return report_failure(ZR_ERROR_ARGUMENT, "no goniometry to read into"); }
    ies_file* file = zr_open_ies_file(path);
    const int32_t is_read = file ? zr_fill_goniometry(file, goniometry) : 0;
    zr_free_ies_file(file);
    return is_read;
}

namespace zr
{

status read_photometric_file(const char16_t* path, ies_file*& made)
{
    made = nullptr;
    size_t size = 0;
    platform::file_error why = platform::file_error::none;
    unsigned char* bytes =
        path ? platform::read_whole_file(path, photometric_size_limit, &size, &why) : nullptr;
    status s = {};
    if (!bytes)
    {
        s = !path || why == platform::file_error::not_found ? fail(ZR_ERROR_NOT_FOUND, "no such file")
            : why == platform::file_error::not_a_file
                ? fail(ZR_ERROR_READ, "not a file")
                : fail(ZR_ERROR_READ, "cannot be read, or larger than 64 MB");
    }
    else if (!(made = static_cast<ies_file*>(zr_calloc(1, sizeof(ies_file))))) { s = out_of_memory(); }
    else { s = parse_photometric(bytes, size, path, *made); }
    free(bytes);
    if (ok(s)) { return s; }
    if (path && !s.file[0]) { platform::to_utf8(path, s.file, sizeof(s.file)); }
    zr_free_ies_file(made);
    made = nullptr;
    return s;
}

status parse_photometric(const uint8_t* bytes, size_t size, const char16_t* path, ies_file& file)
{
    array<char> decoded;
    if (!decode_text(bytes, size, decoded)) { return out_of_memory(); }
    const std::string_view text(decoded.items, decoded.count);
    return is_named_ldt(path) && !has_tilt_line(text) ? parse_eulumdat(text, file)
                                                      : parse_lm63(text, path, file);
}

status parse_lm63(std::string_view text, const char16_t* path, ies_file& file)
{
    text_scanner in(text);
    read_labels(in, file);
    read_tilt(in, path, file);
    read_head_numbers(in, file);
    check_head_numbers(in, file);
    if (!in.ok()) { return in.why; }

    const angle_range& range = ranges[file.photometric_type - 1];
    file.vertical_angles =
        read_angles(in, file.vertical_count, "vertical angle", range.vertical_from, range.vertical_to);
    file.horizontal_angles = read_angles(
        in, file.horizontal_count, "horizontal angle", range.horizontal_from, range.horizontal_to);
    read_candela(in, file);
    file.opening = opening_of(file);
    return in.why;
}

bool is_named_ldt(const char16_t* path) { return path && platform::matches_wildcards(path, u"*.ldt"); }

void free_ies_content(ies_file& file)
{
    for (int32_t i = 0; file.labels && i < file.label_count; ++i) { zr_free(file.labels[i]); }
    zr_free(file.labels);
    zr_free(file.tilt_name);
    zr_free(file.tilt_angles);
    zr_free(file.tilt_factors);
    zr_free(file.vertical_angles);
    zr_free(file.horizontal_angles);
    zr_free(file.candela);
    file = {};
}

bool add_label(ies_file& file, std::string_view text)
{
    constexpr int32_t step = 16;
    if (file.label_count >= label_limit) { return false; }
    if (file.label_count % step == 0)
    {
        void* larger = zr_realloc(file.labels, size_t(file.label_count + step) * sizeof(char*));
        if (!larger) { return false; }
        file.labels = static_cast<char**>(larger);
    }
    char* copy = copy_of(text);
    if (!copy) { return false; }
    file.labels[file.label_count++] = copy;
    return true;
}

char* copy_of(std::string_view text)
{
    auto* copy = static_cast<char*>(zr_malloc(text.size() + 1));
    if (!copy) { return nullptr; }
    std::copy(text.begin(), text.end(), copy);
    copy[text.size()] = 0;
    return copy;
}

/// Widths and lengths below 0 are round. The editions before 2002 leave the length of a circle and of a
/// cylinder at 0.
luminous_opening opening_of(const ies_file& file)
{
    const float unit = file.units_type == 1 ? float(metres_per_foot) : 1.0f;
    const float w = file.width, l = file.length, h = file.height;
    luminous_opening o = { LUMINOUS_POINT, std::fabs(w) * unit, std::fabs(l) * unit, std::fabs(h) * unit };
    if (w == 0.0f && l == 0.0f && h == 0.0f) { return o; }
    const bool lies = h < 0.0f && ((w > 0.0f) != (l > 0.0f)) && w * l <= 0.0f;
    if (lies) { o.shape = LUMINOUS_TUBE; }
    else if (h < 0.0f) { o.shape = w < 0.0f && l < 0.0f ? LUMINOUS_SPHERE : LUMINOUS_UPRIGHT; }
    else if (w < 0.0f || l < 0.0f) { o.shape = h > 0.0f ? LUMINOUS_CYLINDER : LUMINOUS_DISK; }
    else { o.shape = h > 0.0f ? LUMINOUS_BOX : LUMINOUS_RECTANGLE; }

    const bool is_round = o.shape == LUMINOUS_DISK || o.shape == LUMINOUS_CYLINDER;
    if (is_round && o.width == 0.0f) { o.width = o.length; }
    if (is_round && o.length == 0.0f) { o.length = o.width; }
    if (o.shape == LUMINOUS_TUBE && o.width == 0.0f) { o.width = o.height; }
    if (o.shape == LUMINOUS_TUBE && o.length == 0.0f) { o.length = o.height; }
    return o;
}

} // namespace zr

namespace
{

/// The lines above TILT=; the first gives the edition.
void read_labels(text_scanner& in, ies_file& file)
{
    std::string_view line;
    bool is_first = true;
    while (in.next_line(line))
    {
        if (is_first)
        {
            is_first = false;
            const auto* row = std::find_if(std::begin(headings), std::end(headings),
                [&](const heading_row& r) { return is_text(line, r.text); });
            if (row != std::end(headings))
            {
                file.format = row->format;
                continue;
            }
        }
        const std::string_view text = trimmed(line);
        if (begins_with(text, "TILT="))
        {
            file.tilt_name = copy_of(trimmed(text.substr(5)));
            if (!file.tilt_name) { in.fail(out_of_memory()); }
            else if (!*file.tilt_name)
            {
                in.fail(fail(
                    ZR_ERROR_FORMAT, "TILT= is followed by nothing; NONE, INCLUDE or a file was expected"));
            }
            return;
        }
        if (!add_label(file, line))
        {
            in.fail(file.label_count >= label_limit
                        ? fail(ZR_ERROR_FORMAT, "no line TILT= within the first %d lines", label_limit)
                        : out_of_memory());
            return;
        }
    }
    in.fail(fail(ZR_ERROR_FORMAT, "the file ends without a line TILT="));
}

void read_tilt(text_scanner& in, const char16_t* path, ies_file& file)
{
    if (!in.ok() || is_text(file.tilt_name, "NONE")) { return; }
    if (is_text(file.tilt_name, "INCLUDE")) { read_tilt_data(in, file); }
    else { read_tilt_file(in, path, file); }
}

void read_tilt_data(text_scanner& in, ies_file& file)
{
    file.lamp_to_luminaire = in.integer("the lamp-to-luminaire geometry");
    if (in.ok() && (file.lamp_to_luminaire < 1 || file.lamp_to_luminaire > 3))
    {
        in.fail(fail(ZR_ERROR_FORMAT, "the lamp-to-luminaire geometry must be 1, 2 or 3 and is %d",
            file.lamp_to_luminaire));
    }
    file.tilt_count = in.integer("the number of tilt angles");
    if (in.ok() && (file.tilt_count < 1 || size_t(file.tilt_count) > in.left() / 4 + 1))
    {
        in.fail(fail(ZR_ERROR_FORMAT, "%d tilt angles and factors do not fit the %zu bytes that follow",
            file.tilt_count, in.left()));
    }
    file.tilt_angles = read_angles(in, file.tilt_count, "tilt angle", -360.0, 360.0);
    file.tilt_factors = read_floats(in, file.tilt_count, "tilt factor");
}

/// A file of tilt data lies in the folder of the photometric file.
void read_tilt_file(text_scanner& in, const char16_t* path, ies_file& file)
{
    const platform::utf16_text name(file.tilt_name);
    array<char16_t> beside;
    if (!path)
    {
        return in.fail(fail(ZR_ERROR_NOT_FOUND, "a tilt file is named, and there is no folder to look in"));
    }
    if (!name.units || !path_beside(path, name.units, beside)) { return in.fail(out_of_memory()); }

    uint64_t own[2], other[2];
    if (platform::read_identity(path, own) && platform::read_identity(beside.items, other) &&
        own[0] == other[0] && own[1] == other[1])
    {
        return in.fail(fail(ZR_ERROR_FORMAT, "the file names itself as its tilt file"));
    }
    size_t size = 0;
    platform::file_error why = platform::file_error::none;
    unsigned char* bytes = platform::read_whole_file(beside.items, tilt_size_limit, &size, &why);
    if (!bytes)
    {
        return in.fail(fail(ZR_ERROR_NOT_FOUND, "tilt file \"%.100s\" %s", file.tilt_name,
            why == platform::file_error::not_found    ? "not found beside the file"
            : why == platform::file_error::not_a_file ? "is not a file"
                                                      : "cannot be read, or is larger than 1 MB"));
    }
    array<char> decoded;
    if (decode_text(bytes, size, decoded))
    {
        text_scanner tilt(std::string_view(decoded.items, decoded.count));
        text_scanner look = tilt;
        std::string_view token;
        if (look.next_token(token) && begins_with(token, "TILT="))
        {
            tilt.token_line = look.token_line;
            tilt.fail(fail(ZR_ERROR_FORMAT, "a tilt file cannot name another one"));
        }
        read_tilt_data(tilt, file);
        if (!tilt.ok())
        {
            in.why = tilt.why;
            platform::to_utf8(beside.items, in.why.file, sizeof(in.why.file));
        }
    }
    else { in.fail(out_of_memory()); }
    free(bytes);
}

/// `name` in the folder of `path`; false when memory fails.
bool path_beside(const char16_t* path, const char16_t* name, array<char16_t>& beside)
{
    size_t folder = platform::text_length(path);
    while (folder > 0 && path[folder - 1] != u'/' && path[folder - 1] != u'\\') { --folder; }
    for (size_t i = 0; i < folder; ++i)
    {
        if (!beside.push(path[i])) { return false; }
    }
    for (const char16_t* c = name; *c; ++c)
    {
        if (!beside.push(*c)) { return false; }
    }
    return beside.push(0);
}

void read_head_numbers(text_scanner& in, ies_file& file)
{
    file.lamp_count = in.integer("the number of lamps");
    file.lumens_per_lamp = float(in.number("the lumens per lamp"));
    file.candela_multiplier = float(in.number("the candela multiplier"));
    file.vertical_count = in.integer("the number of vertical angles");
    file.horizontal_count = in.integer("the number of horizontal angles");
    if (in.ok() && (file.vertical_count < 1 || file.horizontal_count < 1))
    {
        in.fail(fail(ZR_ERROR_FORMAT, "%d vertical and %d horizontal angles; at least 1 of each was expected",
            file.vertical_count, file.horizontal_count));
    }
    // Each value takes a digit and a separator.
    const uint64_t values = uint64_t(uint32_t(file.vertical_count)) * uint32_t(file.horizontal_count) +
                            uint32_t(file.vertical_count) + uint32_t(file.horizontal_count);
    if (in.ok() && values > in.left() / 2 + 1)
    {
        in.fail(
            fail(ZR_ERROR_FORMAT, "%d vertical by %d horizontal angles do not fit the %zu bytes that follow",
                file.vertical_count, file.horizontal_count, in.left()));
    }
    file.photometric_type = in.integer("the photometric type");
    if (in.ok() && (file.photometric_type < IES_TYPE_C || file.photometric_type > IES_TYPE_A))
    {
        in.fail(fail(ZR_ERROR_FORMAT, "the photometric type must be 1 (C), 2 (B) or 3 (A) and is %d",
            file.photometric_type));
    }
    file.units_type = in.integer("the type of units");
    if (in.ok() && (file.units_type < 1 || file.units_type > 2))
    {
        in.fail(fail(
            ZR_ERROR_FORMAT, "the type of units must be 1 (feet) or 2 (metres) and is %d", file.units_type));
    }
    file.width = float(in.number("the width of the opening"));
    file.length = float(in.number("the length of the opening"));
    file.height = float(in.number("the height of the opening"));
    file.ballast_factor = float(in.number("the ballast factor"));
    file.ballast_lamp_factor = float(in.number("the ballast-lamp factor"));
    file.input_watts = float(in.number("the input watts"));
}

void check_head_numbers(text_scanner& in, const ies_file& file)
{
    if (!in.ok()) { return; }
    if (file.lamp_count < 1)
    {
        in.fail(fail(ZR_ERROR_FORMAT, "%d lamps; at least 1 was expected", file.lamp_count));
    }
    const struct
    {
        const char* what;
        float value;
    } factors[] = {
        { "the candela multiplier", file.candela_multiplier },
        { "the ballast factor", file.ballast_factor },
    };
    for (const auto& f : factors)
    {
        if (!(f.value > 0.0f))
        {
            in.fail(fail(ZR_ERROR_FORMAT, "%s must be above 0 and is %g", f.what, f.value));
        }
    }
    if (file.photometric_type == IES_TYPE_B && (file.horizontal_count < 2 || file.vertical_count < 2))
    {
        in.fail(fail(ZR_ERROR_FORMAT, "photometry of type B needs two angles of each kind at least"));
    }
}

/// Null before which all failed; what was read up to a failure.
float* read_angles(text_scanner& in, int32_t count, const char* what, double from, double to)
{
    if (!in.ok()) { return nullptr; }
    auto* angles = static_cast<float*>(zr_calloc(size_t(count), sizeof(float)));
    if (!angles) { in.fail(out_of_memory()); }
    char expected[32];
    snprintf(expected, sizeof(expected), "a %s", what);
    for (int32_t i = 0; in.ok() && i < count; ++i)
    {
        const double angle = in.number(expected);
        angles[i] = float(angle);
        if (in.ok() && !(angle >= from && angle <= to))
        {
            in.fail(
                fail(ZR_ERROR_FORMAT, "%s %d is %g; %g to %g was expected", what, i + 1, angle, from, to));
        }
        if (in.ok() && i > 0 && !(angles[i] > angles[i - 1]))
        {
            in.fail(fail(ZR_ERROR_FORMAT, "%s %d is %g, which is not above the %g before it", what, i + 1,
                angle, angles[i - 1]));
        }
    }
    return angles;
}

void read_candela(text_scanner& in, ies_file& file)
{
    if (!in.ok()) { return; }
    const size_t count = size_t(file.vertical_count) * size_t(file.horizontal_count);
    file.candela = static_cast<float*>(zr_calloc(count, sizeof(float)));
    if (!file.candela) { return in.fail(out_of_memory()); }
    float peak = 0.0f;
    for (size_t i = 0; in.ok() && i < count; ++i)
    {
        const double value = in.number("a candela value");
        if (in.ok() && value < 0.0)
        {
            in.fail(fail(ZR_ERROR_FORMAT, "candela value %zu of row %zu is below 0: %g",
                i % size_t(file.vertical_count) + 1, i / size_t(file.vertical_count) + 1, value));
        }
        file.candela[i] = float(value);
        peak = std::fmax(peak, file.candela[i]);
    }
    if (in.ok() && !(peak > 0.0f)) { in.fail(fail(ZR_ERROR_FORMAT, "every candela value is 0")); }

    std::string_view token;
    double more;
    if (in.ok() && in.next_token(token) && parse_number(token, more))
    {
        in.fail(
            fail(ZR_ERROR_FORMAT, "numbers follow the last of %d by %d candela values: the counts are wrong",
                file.horizontal_count, file.vertical_count));
    }
}

float* read_floats(text_scanner& in, int32_t count, const char* what)
{
    if (!in.ok() || count < 1) { return nullptr; }
    auto* values = static_cast<float*>(zr_calloc(size_t(count), sizeof(float)));
    if (!values) { in.fail(out_of_memory()); }
    for (int32_t i = 0; in.ok() && i < count; ++i) { values[i] = float(in.number(what)); }
    return values;
}

bool is_text(std::string_view line, std::string_view wanted)
{
    return line.size() == wanted.size() && begins_with(line, wanted);
}

bool has_tilt_line(std::string_view text)
{
    text_scanner in(text);
    for (std::string_view line; in.next_line(line);)
    {
        if (begins_with(trimmed(line), "TILT=")) { return true; }
    }
    return false;
}

} // namespace
