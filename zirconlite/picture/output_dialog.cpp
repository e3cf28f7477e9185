/// @file
/// Saving a rendering or the model's view under a name that the user is asked for.
#include <iterator>

#include "zirconlite/frame/dialogs.hpp"
#include "zirconlite/frame/render_view.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/picture/output.h"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr int32_t title_of_rendering = 5100, title_of_model_view = 5030; // in the string table

/// The dialog's filters, in its order.
struct save_filter
{
    uint32_t format_id;
    const char16_t* extension;
};
constexpr save_filter filters[] = {
    { BITMAP_JPEG, u"jpg" },
    { BITMAP_BMP, u"bmp" },
    { BITMAP_TARGA, u"tga" },
    { BITMAP_TIF, u"tif" },
};
constexpr int32_t filter_count = int32_t(std::size(filters));
constexpr const char16_t* filter_names[filter_count] = { u"JPEG (*.jpg)", u"BMP (*.bmp)", u"TARGA (*.tga)",
    u"TIFF (*.tif)" };
constexpr const char16_t* filter_patterns[filter_count] = { u"*.jpg", u"*.bmp", u"*.tga", u"*.tif" };

bool ask_for_path(
    zr_handle window, int32_t title, int32_t first_filter, const char16_t* old_path, zr_save_dialog* dialog);
int32_t path_too_long();
size_t folder_length(const char16_t* path);
size_t stem_length(const char16_t* path);

} // namespace

int32_t zr_save_rendering(zr_handle window, bitmap_format* record, render_view* view)
{
    if (!record || !view) { return 0; }
    int32_t first = 1;
    for (int32_t i = 0; i < filter_count; ++i)
    {
        if (filters[i].format_id == record->selected_format) { first = i + 1; }
    }
    zr_save_dialog dialog;
    if (!ask_for_path(window, title_of_rendering, first, record->path, &dialog)) { return 0; }

    record->selected_format = filters[dialog.filter - 1].format_id;
    zr_init_bitmap_format(record->selected_format, record);
    // The format's own extension takes the place of the typed one.
    dialog.path[stem_length(dialog.path)] = 0;
    const bool fits = platform::copy_text(record->path, std::size(record->path), dialog.path) &&
                      platform::append_text(record->path, std::size(record->path), u".") &&
                      platform::append_text(record->path, std::size(record->path), record->extension);
    if (!fits) { return path_too_long(); }
    record->image = view;
    record->width = uint32_t(view->width);
    record->height = uint32_t(view->height);
    return zr_write_raytrace_image(record);
}

int32_t zr_save_model_view(int32_t redraw, zr_handle window)
{
    zr_save_dialog dialog;
    if (!ask_for_path(window, title_of_model_view, 1, u"", &dialog)) { return 0; }
    bitmap_format record = {};
    const size_t stem = stem_length(dialog.path);
    char16_t extension[std::size(record.extension)] = {};
    const bool has_extension = dialog.path[stem] == u'.' &&
                               platform::copy_text(extension, std::size(extension), dialog.path + stem + 1);
    zr_get_bitmap_format_by_ext(has_extension ? extension : nullptr, &record);
    if (!platform::copy_text(record.path, std::size(record.path), dialog.path)) { return path_too_long(); }
    return zr_save_model_view_ex(redraw, nullptr, nullptr, &record);
}

namespace
{

bool ask_for_path(
    zr_handle window, int32_t title, int32_t first_filter, const char16_t* old_path, zr_save_dialog* dialog)
{
    char16_t folder[std::size(zr_save_dialog{}.path)];
    platform::copy_text(folder, std::size(folder), old_path);
    folder[folder_length(folder)] = 0;
    *dialog = {};
    dialog->title = zr_get_message(nullptr, title);
    dialog->folder = folder;
    dialog->filter_count = filter_count;
    dialog->filter_names = filter_names;
    dialog->filter_patterns = filter_patterns;
    dialog->default_extension = filters[first_filter - 1].extension;
    dialog->filter = first_filter;
    platform::copy_text(dialog->path, std::size(dialog->path), old_path);
    if (!zr::ask_for_file(window, dialog)) { return false; }
    dialog->path[std::size(dialog->path) - 1] = 0;
    return dialog->filter >= 1 && dialog->filter <= filter_count && dialog->path[0];
}

int32_t path_too_long()
{
    return zr::report_failure(
        ZR_ERROR_LIMIT, "the path is longer than %zu characters", std::size(bitmap_format{}.path) - 1);
}

size_t folder_length(const char16_t* path)
{
    size_t length = 0;
    for (size_t i = 0; path[i]; ++i)
    {
        if (path[i] == u'/' || path[i] == u'\\') { length = i + 1; }
    }
    return length;
}

/// Length of the path without the extension of its last part.
size_t stem_length(const char16_t* path)
{
    size_t stem = platform::text_length(path);
    for (size_t i = folder_length(path); path[i]; ++i)
    {
        if (path[i] == u'.' && i > folder_length(path)) { stem = i; }
    }
    return stem;
}

} // namespace
