/// @file
/// Finding libraries by their names, in the order in which one hides another.
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/frame/search_path.hpp"
#include "zirconlite/libraries/library_file.h"
#include "zirconlite/platform/text.hpp"

namespace platform = zr::platform;

namespace
{

constexpr int32_t ends_search = -1, skips_folders = -2;

zr_library_search installed_search = nullptr;

int32_t ask_host(const char16_t* name, const char16_t* extension, zr_find_callback callback, void* argument);
bool is_same_folder(const char16_t* a, const char16_t* b);

} // namespace

int32_t zr_libfile_search_ex(const char16_t* name, const char16_t* extension, zr_find_callback callback,
    void* argument, int32_t include_internal)
{
    int32_t found = 0;
    const int32_t answer = ask_host(name, extension, callback, argument);
    if (answer == ends_search) { return 1; }
    const bool skips = answer == skips_folders;
    found |= skips ? 1 : answer;

    const char16_t* support = zr::the_module.support_path ? zr::the_module.support_path : u"";
    // Merges one folder; false when the callback ended the search.
    const auto search = [&](const char16_t* folder)
    {
        const int32_t part =
            zr_file_search_directory(FILE_SEARCH_ALL, folder, name, extension, callback, argument);
        found |= part;
        return part != ends_search;
    };
    if (!skips && *support && !search(support)) { return 1; }
    for (const search_path* p = zr::library_search_list(); p && !skips; p = p->next)
    {
        char16_t folder[ZR_PATH_CAPACITY] = {};
        if (!platform::append_text(folder, ZR_PATH_CAPACITY, p->path) ||
            !platform::append_text(folder, ZR_PATH_CAPACITY, u"\\") || is_same_folder(folder, support))
        {
            continue;
        }
        if (!search(folder)) { return 1; }
    }
    if (include_internal && *support)
    {
        char16_t folder[ZR_PATH_CAPACITY] = {};
        if (platform::append_text(folder, ZR_PATH_CAPACITY, support) &&
            platform::append_text(folder, ZR_PATH_CAPACITY, u"internal\\") && !search(folder))
        {
            return 1;
        }
    }
    return found;
}

int32_t zr_libfile_search(
    const char16_t* name, const char16_t* extension, zr_find_callback callback, void* argument)
{
    return zr_libfile_search_ex(name, extension, callback, argument, 0);
}

int32_t zr_install_new_lib_search(zr_library_search hook)
{
    installed_search = hook;
    return 1;
}

namespace
{

int32_t ask_host(const char16_t* name, const char16_t* extension, zr_find_callback callback, void* argument)
{
    if (installed_search) { return installed_search(name, extension, callback, argument); }
    if (zr::the_module.gl_driver_name) { return 0; }
    return zr::host::search_for_lib_files(name, extension, callback, argument);
}

/// Both end in a separator.
bool is_same_folder(const char16_t* a, const char16_t* b)
{
    const auto plain = [](char16_t c) { return c == u'/' ? u'\\' : platform::fold_case(c); };
    while (*a && plain(*a) == plain(*b))
    {
        ++a;
        ++b;
    }
    return *a == *b;
}

} // namespace
