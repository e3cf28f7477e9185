/// @file
/// Start and end of the library.
#include "zirconlite/frame/module.h"

#include "zirconlite/environment/ground.hpp"
#include "zirconlite/environment/sky_light.hpp"
#include "zirconlite/frame/dialogs.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/frame/search_path.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/frame/window_font.hpp"
#include "zirconlite/imagefiles/bitmap_store.h"
#include "zirconlite/libraries/material_library.hpp"
#include "zirconlite/materials/material_list.hpp"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/platform/modules.hpp"
#include "zirconlite/platform/random.hpp"
#include "zirconlite/platform/text.hpp"
#include "zirconlite/raytrace/direct_light.hpp"
#include "zirconlite/raytrace/pixel_sampler.hpp"

using zr::the_module;
namespace platform = zr::platform;

namespace
{

constexpr int32_t refused_platform = 2;
constexpr int32_t headless_display_bits = 32;

bool set_folders(const char16_t* root_path, const char16_t* help_path, const char16_t* support_path,
    const char16_t* bin_path, const char16_t* language_path);
zr_handle load_from_bin(const char16_t* name);
void start_display_driver(int32_t gl_version);
bool fill_jitter_vectors();

} // namespace

uint32_t zr_init_ex(const char16_t* root_path, const char16_t* second_path, const char16_t* help_path,
    zr_handle host_module, const char16_t* support_path, const char16_t* bin_path,
    const char16_t* language_path, int32_t gl_version)
{
    (void)second_path;
    if (the_module.started)
    {
        zr::report_failure(ZR_ERROR_STATE, "the library can be started once in a process");
        return 0;
    }
    if (gl_version == 0)
    {
        zr_enable_hostfuncs(1);
        the_module.no_gl_driver = 1;
    }
    if (zr_init_os() == refused_platform)
    {
        zr::report_failure(ZR_ERROR_STATE, "the library does not run on this platform");
        return 0;
    }
    the_module.started = 1;
    zr::host::look_up_all(host_module);
    if (!set_folders(root_path, help_path, support_path, bin_path, language_path)) { return 0; }
    zr::load_messages();
    the_module.resource_module = load_from_bin(u"zr3res.dll");
    if (!zr::start_search_lists(the_module.support_path, gl_version != 0)) { return 0; }
    zr::fill_gamma_tables();
    zr::material_library_hook = zr::read_library_material;
    start_display_driver(gl_version);
    the_module.display_bits = headless_display_bits;
    if (!fill_jitter_vectors()) { return 0; }
    the_module.ambient_lock = platform::new_lock();
    return the_module.ambient_lock != nullptr;
}

uint32_t zr_init(
    const char16_t* root_path, const char16_t* second_path, const char16_t* help_path, zr_handle host_module)
{
    return zr_init_ex(root_path, second_path, help_path, host_module, nullptr, nullptr, nullptr, 1);
}

int32_t zr_term(void)
{
    if (the_module.terminated) { return 0; }
    zr_free_string_table(the_module.messages, ZR_MESSAGE_COUNT);
    the_module.messages = nullptr;
    zr_free(the_module.jitter_vectors);
    the_module.jitter_vectors = nullptr;
    zr::end_ground();
    zr::end_search_lists();
    zr_free_all_bitmaps();
    zr_free_temp_bitmaps();
    zr::free_thread_lights();
    zr::free_shadow_caches();
    zr::free_sky_light();
    zr::free_aa_stores();
    the_module.terminated = 1;
    return 1;
}

namespace
{

/// A copy of a text, or of two in a row; an absent one is empty.
bool keep_text(char16_t** place, const char16_t* text, const char16_t* behind = u"")
{
    if (!text) { text = u""; }
    const size_t capacity = platform::text_length(text) + platform::text_length(behind) + 1;
    *place = static_cast<char16_t*>(zr_malloc(capacity * sizeof(char16_t)));
    return *place && platform::copy_text(*place, capacity, text) &&
           platform::append_text(*place, capacity, behind);
}

bool set_folders(const char16_t* root_path, const char16_t* help_path, const char16_t* support_path,
    const char16_t* bin_path, const char16_t* language_path)
{
    return keep_text(&the_module.root_path, root_path) &&
           (bin_path ? keep_text(&the_module.bin_path, bin_path)
                     : keep_text(&the_module.bin_path, root_path, u"common\\bin\\")) &&
           (support_path ? keep_text(&the_module.support_path, support_path)
                         : keep_text(&the_module.support_path, root_path, u"common\\support\\")) &&
           keep_text(&the_module.language_path, language_path ? language_path : the_module.support_path) &&
           keep_text(&the_module.help_path, help_path);
}

zr_handle load_from_bin(const char16_t* name)
{
    char16_t path[ZR_PATH_CAPACITY];
    if (!platform::copy_text(path, ZR_PATH_CAPACITY, the_module.bin_path) ||
        !platform::append_text(path, ZR_PATH_CAPACITY, name))
    {
        return nullptr;
    }
    return platform::load_module(path);
}

/// The driver is in the folder of modules, or where the system looks for modules.
void start_display_driver(int32_t gl_version)
{
    if (gl_version == 0) { return; }
    the_module.gl_driver_name = gl_version == 1 ? u"zr3gl" : u"zr4gl";
    the_module.gl_driver = load_from_bin(the_module.gl_driver_name);
    if (!the_module.gl_driver) { the_module.gl_driver = platform::load_module(the_module.gl_driver_name); }
    if (!the_module.gl_driver) { zr::show_information(u"gl not loaded"); }
}

bool fill_jitter_vectors()
{
    constexpr uint32_t seed = 101;
    constexpr double to_unit = 3.051850947599719e-5; // 1 / 32767
    the_module.jitter_vectors =
        static_cast<float(*)[3]>(zr_malloc(zr::jitter_vector_count * sizeof(*the_module.jitter_vectors)));
    if (!the_module.jitter_vectors) { return false; }
    platform::srand15(seed);
    for (int i = 0; i < zr::jitter_vector_count; ++i)
    {
        for (float& component : the_module.jitter_vectors[i])
        {
            component = float(platform::rand15() * to_unit - 0.5);
        }
    }
    return true;
}

} // namespace
