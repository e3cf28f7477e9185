/// @file
/// The module state and its switches.
#include "zirconlite/frame/module_state.hpp"

#include "zirconlite/frame/module.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/modules.hpp"
#include "zirconlite/platform/system_version.hpp"

namespace zr
{
module_state the_module;
}

using zr::the_module;

int32_t zr_toolkit_in_acad(zr_handle module)
{
    the_module.toolkit_in_acad = 1;
    zr::host::look_up_progress(module);
    return 1;
}

int32_t zr_is_toolkit_in_acad(void) { return the_module.toolkit_in_acad; }

int32_t zr_enable_hostfuncs(int32_t flag)
{
    zr::platform::store_word(&the_module.host_functions_enabled, flag);
    return 1;
}

int32_t zr_init_os(void)
{
    the_module.os_platform = int32_t(zr::platform::system_version_word() >> 30);
    return the_module.os_platform;
}

int32_t zr_get_os_version(void) { return the_module.os_platform; }

zr_handle zr_module_from_function(zr_find_function find, void* context)
{
    return zr::platform::module_from_function(find, context);
}

zr_handle zr_load_module(const char16_t* path)
{
    zr_handle module = zr::platform::load_module(path);
    if (!module) { zr::report_failure(ZR_ERROR_NOT_FOUND, "the module cannot be loaded"); }
    return module;
}

void zr_free_module(zr_handle module) { zr::platform::free_module(module); }
