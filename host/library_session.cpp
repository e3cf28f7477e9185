/// @file
/// The host is a plain program, so it hands the library a function that finds the callbacks by name. They
/// show progress, and answer 0 once a signal has asked to stop.
#include "host/library_session.hpp"

#include "host/failure.hpp"
#include "host/stop_signals.hpp"
#include "host/text.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/host.h"
#include "zirconlite/frame/module.h"
#include "zirconlite/sampling/converging.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace host
{

namespace
{

// The callbacks carry no context, and the library is started once per process.
progress_line* progress = nullptr;
document* current_document = nullptr;

constexpr int sampling_pass = 4; ///< `render_pass` of the converging sampler's rounds

struct callback_row
{
    const char* name;
    void* function;
};

int32_t on_progress(int32_t kind, document* d, render_view*, int32_t code, float fraction, int32_t);
document* on_get_current_doc();
int32_t on_status_message(const char16_t*);
int32_t on_set_legend(render_view*, int32_t);

const callback_row callbacks[] = {
    { "host_progress", reinterpret_cast<void*>(static_cast<host_progress_function*>(on_progress)) },
    { "host_get_current_doc",
        reinterpret_cast<void*>(static_cast<host_get_current_doc_function*>(on_get_current_doc)) },
    { "host_status_message",
        reinterpret_cast<void*>(static_cast<host_status_message_function*>(on_status_message)) },
    { "host_set_legend", reinterpret_cast<void*>(static_cast<host_set_legend_function*>(on_set_legend)) },
};

std::u16string resource_folder();
std::u16string user_folder();
void* find_callback(void*, const char* name);
std::string step_name(int32_t kind, int32_t code, const document* d);
std::string sampling_detail(const document* d);

} // namespace

library_session::library_session(progress_line& line)
{
    progress = &line;
    const std::u16string folder = resource_folder(), own = user_folder();
    module_ = zr_module_from_function(find_callback, nullptr);
    if (!module_ || !zr_init_ex(own.c_str(), nullptr, nullptr, module_, folder.c_str(), folder.c_str(),
                        folder.c_str(), 0))
    {
        zr_free_module(module_);
        throw failure(exit_render_failed, "the library does not start" + library_error());
    }
    scene = zr_open_document();
    current_document = scene;
    if (!scene)
    {
        zr_term();
        zr_free_module(module_);
        throw failure(exit_render_failed, "no document" + library_error());
    }
}

library_session::~library_session()
{
    current_document = nullptr;
    zr_close_document(scene);
    zr_term();
    zr_free_module(module_);
}

std::string library_error()
{
    const zr_status* s = zr_last_error();
    return s->code == ZR_ERROR_NONE ? "" : fmt::format(": {}", s->text);
}

namespace
{

/// Where the library's messages are: installed, or in the source tree of a build that is not.
std::u16string resource_folder()
{
    std::error_code error;
    // An installed tree may have been moved as a whole.
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path beside =
        program.parent_path().parent_path() / ZIRCONLITE_RESOURCES_FROM_PREFIX;
    const std::filesystem::path folders[] = { beside, ZIRCONLITE_INSTALL_RESOURCES,
        ZIRCONLITE_BUILD_RESOURCES };
    for (const std::filesystem::path& folder : folders)
    {
        if (std::filesystem::exists(folder / "zr3.uni", error)) { return utf16_of(folder) + u"/"; }
    }
    std::fprintf(stderr,
        "zirconlite: the texts and tables of the library are missing: no zr3.uni in %s or %s\n",
        beside.c_str(), ZIRCONLITE_INSTALL_RESOURCES);
    return u"";
}

/// Where backups of libraries go: the user's own data, as an installation may not be written to.
std::u16string user_folder()
{
    const char* data = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    const std::filesystem::path folder = data && *data   ? std::filesystem::path(data)
                                         : home && *home ? std::filesystem::path(home) / ".local/share"
                                                         : std::filesystem::temp_directory_path();
    return utf16_of(folder / "zirconlite") + u"/";
}

void* find_callback(void*, const char* name)
{
    for (const callback_row& c : callbacks)
    {
        if (std::strcmp(c.name, name) == 0) { return c.function; }
    }
    return nullptr;
}

int32_t on_progress(int32_t kind, document* d, render_view*, int32_t code, float fraction, int32_t)
{
    if (kind == PROGRESS_PREPROCESS && code == PROGRESS_GRID_STARTS) { progress->restart(); }
    if (code == PROGRESS_STRIP || code == PROGRESS_GRID_ADVANCES)
    {
        progress->show(
            step_name(kind, code, d), fraction, kind == PROGRESS_RAYTRACE ? sampling_detail(d) : "");
    }
    return stop_signal() ? 0 : 1;
}

std::string step_name(int32_t kind, int32_t code, const document* d)
{
    if (kind == PROGRESS_PREPROCESS) { return "sorting the scene"; }
    if (code == PROGRESS_PASS_1_DONE) { return "measuring"; }
    if (d->render_pass == sampling_pass) { return "sampling"; }
    const int passes = d->render_flags & RENDER_FAST ? 2 : 3;
    return fmt::format("pass {} of {}", d->render_pass, passes);
}

/// How far the sampling has come; nothing in other steps.
std::string sampling_detail(const document* d)
{
    sampling_progress reached;
    zr_get_sampling_progress(&reached);
    if (d->render_pass != sampling_pass || reached.mean_samples == 0) { return ""; }
    return fmt::format("  {:.0f} samples a pixel, error {:.1f}, {:.0f} % of the pixels done",
        reached.mean_samples, reached.error, 100 * reached.done_share);
}

document* on_get_current_doc() { return current_document; }

int32_t on_status_message(const char16_t*) { return 1; }

int32_t on_set_legend(render_view*, int32_t) { return 1; }

} // namespace

} // namespace host
