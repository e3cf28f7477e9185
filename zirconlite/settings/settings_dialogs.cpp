/// @file
/// Loading and saving settings under a name that the user is asked for.
#include <iterator>
#include <stdlib.h>

#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/frame/dialogs.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"
#include "zirconlite/settings/settings_text.hpp"

using namespace zr;

namespace
{

constexpr uint64_t file_limit = 16u << 20;

/// The dialogs of one kind of file.
struct settings_dialog
{
    int32_t kind; ///< a settings_kind
    const char16_t *pattern, *extension;
    int32_t filter_name, save_title, open_title; ///< in the string table
};
constexpr settings_dialog dialogs[] = {
    { SETTINGS_SUN_SKY, u"*.su", u"su", 3972, 3973, 3974 },
    { SETTINGS_ENVIRONMENT, u"*.en", u"en", 2018, 2017, 2016 },
    { SETTINGS_EXPOSURE, u"*.ex", u"ex", 5142, 5141, 5140 },
};

/// The name that each dialog starts with: the one used last.
char16_t remembered[std::size(dialogs)][std::size(zr_save_dialog{}.path)];

using ask_function = bool (*)(zr_handle parent, zr_save_dialog* dialog);

/// Where settings go to and come from.
struct settings_place
{
    document* doc;
    render_view* view; ///< of an exposure
};

int32_t load(zr_handle parent, int32_t kind, const settings_place& to);
bool read_body(int32_t kind, unit_source& from, const settings_place& to);
int32_t save(zr_handle parent, int32_t kind, const settings_place& from);
bool is_complete(int32_t kind, const settings_place& place);
const char16_t* ask_for_path(zr_handle parent, const settings_dialog& d, bool saves);
bool write_all(int32_t kind, settings_writer& to, const settings_place& from);

} // namespace

int32_t zr_load_sunsky_config(zr_handle parent, document* doc)
{
    return load(parent, SETTINGS_SUN_SKY, { doc, nullptr });
}

int32_t zr_save_sunsky_config(zr_handle parent, document* doc)
{
    return save(parent, SETTINGS_SUN_SKY, { doc, nullptr });
}

int32_t zr_load_environment_config(zr_handle parent, document* doc)
{
    return load(parent, SETTINGS_ENVIRONMENT, { doc, nullptr });
}

int32_t zr_save_environment_config(zr_handle parent, document* doc)
{
    return save(parent, SETTINGS_ENVIRONMENT, { doc, nullptr });
}

int32_t zr_load_exposure_config(zr_handle parent, document* doc, render_view* view)
{
    return load(parent, SETTINGS_EXPOSURE, { doc, view });
}

int32_t zr_save_exposure_config(zr_handle parent, document* doc, render_view* view)
{
    return save(parent, SETTINGS_EXPOSURE, { doc, view });
}

namespace
{

int32_t load(zr_handle parent, int32_t kind, const settings_place& to)
{
    const char16_t* path = is_complete(kind, to) ? ask_for_path(parent, dialogs[kind - 1], false) : nullptr;
    if (!path) { return 0; }
    size_t size = 0;
    unsigned char* bytes = platform::read_whole_file(path, file_limit, &size);
    if (!bytes) { return report_failure(ZR_ERROR_READ, "the settings cannot be read"); }
    unit_source from = { nullptr, bytes, size };
    const int32_t found = read_settings_head(from);
    const bool done = found == kind && read_body(kind, from, to);
    free(bytes);
    if (found && found != kind)
    {
        return report_failure(ZR_ERROR_FORMAT, "the file contains settings of another kind");
    }
    return done;
}

bool read_body(int32_t kind, unit_source& from, const settings_place& to)
{
    switch (kind)
    {
    case SETTINGS_SUN_SKY:
        return read_sunsky(from, *to.doc);
    case SETTINGS_ENVIRONMENT:
        return read_environment(from, *to.doc);
    default:
        return read_exposure(from, *to.doc, *to.view);
    }
}

int32_t save(zr_handle parent, int32_t kind, const settings_place& from)
{
    const char16_t* path = is_complete(kind, from) ? ask_for_path(parent, dialogs[kind - 1], true) : nullptr;
    settings_writer text;
    if (!path || !write_all(kind, text, from)) { return 0; }
    platform::replacement* file = text.ok ? platform::begin_replacement(path) : nullptr;
    bool done = file != nullptr;
    for (size_t i = 0; i < text.units.count && done; ++i)
    {
        uint8_t pair[2];
        put_u16(pair, text.units[i]);
        done = platform::write_replacement(file, pair, sizeof(pair));
    }
    if (!done) { platform::cancel_replacement(file); }
    else { done = platform::commit_replacement(file); }
    return done || report_failure(ZR_ERROR_WRITE, "the settings cannot be written");
}

/// Whether all that a kind of file needs is there.
bool is_complete(int32_t kind, const settings_place& place)
{
    if (!place.doc || (kind == SETTINGS_EXPOSURE && !place.view)) { return false; }
    return kind != SETTINGS_SUN_SKY || place.doc->sun_sky;
}

/// The path that the user gave, which is remembered; null when cancelled.
const char16_t* ask_for_path(zr_handle parent, const settings_dialog& d, bool saves)
{
    char16_t* path = remembered[d.kind - 1];
    const char16_t* names[] = { zr_get_message(nullptr, d.filter_name) };
    const char16_t* patterns[] = { d.pattern };
    zr_save_dialog dialog = {};
    dialog.title = zr_get_message(nullptr, saves ? d.save_title : d.open_title);
    dialog.folder = u"";
    dialog.filter_count = dialog.filter = 1;
    dialog.filter_names = names;
    dialog.filter_patterns = patterns;
    dialog.default_extension = d.extension;
    platform::copy_text(dialog.path, std::size(dialog.path), path);
    const ask_function ask_user = saves ? ask_for_file : ask_for_existing_file;
    if (!ask_user(parent, &dialog)) { return nullptr; }
    dialog.path[std::size(dialog.path) - 1] = 0;
    if (!dialog.path[0]) { return nullptr; }
    platform::copy_text(path, std::size(dialog.path), dialog.path);
    return path;
}

bool write_all(int32_t kind, settings_writer& to, const settings_place& from)
{
    switch (kind)
    {
    case SETTINGS_SUN_SKY:
        return write_sunsky(to, *from.doc);
    case SETTINGS_ENVIRONMENT:
        return write_environment(to, *from.doc);
    default:
        write_exposure(to, *from.doc, *from.view);
        return true;
    }
}

} // namespace
