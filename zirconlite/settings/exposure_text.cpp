/// @file
/// The text of an exposure: one line of six values.
#include <algorithm>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/settings/settings_text.hpp"

namespace zr
{

namespace
{

/// What a line may set; a value that is no number leaves its field alone.
struct exposure_line
{
    document& doc;
    render_view& view;
};

using store_value = void (*)(const exposure_line& to, double value);

float clamped(double value, double low, double high);

constexpr store_value places[] = {
    [](const exposure_line& to, double v) { to.view.brightness = clamped(v, -5.0, 5.0); },
    [](const exposure_line& to, double v) { to.view.contrast = clamped(v, 0.001, 0.999); },
    [](const exposure_line& to, double v) { to.doc.ambient_gain = v; },
    [](const exposure_line&, double) {}, // `sky_scale`: written for other readers, the document keeps its own
    [](const exposure_line& to, double v) { to.view.source_gain = clamped(v, 0.0, 4.0); },
    [](const exposure_line& to, double v)
    {
        if (v > -1.0 && v < int(TONE_FILM) + 1.0) { to.view.tone_method = int32_t(v); }
    },
};

bool read_exposure_line(const settings_line& line, const exposure_line& to);

} // namespace

void write_exposure(settings_writer& to, const document& doc, const render_view& view)
{
    to.add(settings_head(SETTINGS_EXPOSURE));
    to.add(u'\n');
    for (const double value : { double(view.brightness), double(view.contrast), doc.ambient_gain,
             doc.sky_scale, double(view.source_gain) })
    {
        to.add_number(value);
        to.add(u'\t');
    }
    to.add_integer(view.tone_method);
    to.add(u"\n#END");
}

bool read_exposure(unit_source& from, document& doc, render_view& view)
{
    if (view.exposure_flags & EXPOSURE_LOCKED)
    {
        return report_failure(ZR_ERROR_STATE, "the exposure is locked");
    }
    settings_line line;
    while (read_body_line(from, line))
    {
        if (!read_exposure_line(line, { doc, view })) { return false; }
    }
    return true;
}

} // namespace zr

int32_t save_exposure_config_info(FILE* stream, document* doc, render_view* view)
{
    if (!stream || !doc || !view) { return 0; }
    zr::settings_writer text;
    zr::write_exposure(text, *doc, *view);
    return zr::write_to_stream(text, stream);
}

int32_t read_exposure_config_info(FILE* stream, document* doc, render_view* view)
{
    zr::unit_source from = { stream, nullptr, 0 };
    return stream && doc && view && zr::read_exposure(from, *doc, *view);
}

namespace zr
{

namespace
{

bool read_exposure_line(const settings_line& line, const exposure_line& to)
{
    const char16_t* at = line.text;
    for (const store_value store : places)
    {
        settings_token token;
        double value;
        if (!next_token(at, token))
        {
            return report_failure(ZR_ERROR_FORMAT, "a line of the exposure lacks a value: six are expected");
        }
        if (number_of(token, value)) { store(to, value); }
    }
    return true;
}

float clamped(double value, double low, double high) { return float(std::clamp(value, low, high)); }

} // namespace

} // namespace zr
