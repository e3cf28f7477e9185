/// @file
/// Modules over the dynamic loader.
#include "zirconlite/platform/modules.hpp"

#include <dlfcn.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"

namespace zr::platform
{

namespace
{

struct module
{
    void* library; // null when `find` stands in
    find_function find;
    void* context;
};

void* open_library(const char16_t* path);

} // namespace

zr_handle load_module(const char16_t* path)
{
    if (!path || !*path) { return nullptr; }
    void* library = open_library(path);
    if (!library) { return nullptr; }
    auto* m = static_cast<module*>(calloc(1, sizeof(module)));
    if (!m)
    {
        dlclose(library);
        return nullptr;
    }
    m->library = library;
    return m;
}

zr_handle module_from_function(find_function find, void* context)
{
    if (!find) { return nullptr; }
    auto* m = static_cast<module*>(calloc(1, sizeof(module)));
    if (!m) { return nullptr; }
    m->find = find;
    m->context = context;
    return m;
}

void* find_in_module(zr_handle handle, const char* name)
{
    auto* m = static_cast<module*>(handle);
    if (!m) { return nullptr; }
    return m->library ? dlsym(m->library, name) : m->find(m->context, name);
}

void free_module(zr_handle handle)
{
    auto* m = static_cast<module*>(handle);
    if (!m) { return; }
    if (m->library) { dlclose(m->library); }
    free(m);
}

namespace
{

void* open_library(const char16_t* path)
{
    const native_path given(path);
    if (!given.valid) { return nullptr; }
    if (void* library = dlopen(given.bytes, RTLD_NOW | RTLD_LOCAL)) { return library; }
    const char* slash = strrchr(given.bytes, '/');
    const int folder = slash ? int(slash - given.bytes + 1) : 0;
    const char* forms[] = { "%.*s%s.so", "%.*slib%s.so" };
    for (const char* form : forms)
    {
        char name[PATH_MAX];
        const int n = snprintf(name, sizeof(name), form, folder, given.bytes, given.bytes + folder);
        if (n < 0 || n >= int(sizeof(name))) { continue; }
        if (void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL)) { return library; }
    }
    return nullptr;
}

} // namespace

} // namespace zr::platform
