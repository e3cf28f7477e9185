/// @file
/// The process-wide state of the library. Written at start and end and by the few switches of module.h;
/// read everywhere.
#pragma once

#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/types.h"

namespace zr
{

constexpr int jitter_vector_count = 4096;

struct module_state
{
    int32_t os_platform;            ///< top two bits of the system's version word
    int32_t host_functions_enabled; ///< atomic; callbacks of the enabled class may be called
    int32_t no_gl_driver;           ///< a finished job posts no completion command
    int32_t toolkit_in_acad;        ///< host progress reports are forced on during a render
    int32_t started;                ///< zr_init_ex returned 1
    int32_t terminated;
    char16_t *root_path, *help_path, *support_path, *bin_path, *language_path; ///< null until the start
    string_table messages;
    zr_handle resource_module;
    const char16_t* gl_driver_name; ///< null when none is wanted
    zr_handle gl_driver;            ///< null when none is loaded
    int32_t display_bits;           ///< bits per pixel of the screen
    float (*jitter_vectors)[3];     ///< jitter_vector_count of them, components in -0.5 to 0.5
    platform::lock* ambient_lock;   ///< guards `document.ambient_gain`
    void* host[host::slot_count];   ///< atomic; addresses of the host's functions
    void* color_material_table;     ///< atomic; the host's colour table, null until it gave one
};

extern module_state the_module;

} // namespace zr
