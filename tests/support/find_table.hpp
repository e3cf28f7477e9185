/// @file
/// Host functions of a test, found by name: a unit test's stand-in for a host module.
#pragma once

#include <map>
#include <string>

#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/frame/module.h"
#include "zirconlite/frame/module_state.hpp"

/// Offers the given functions, with those of the enabled class on, until it goes.
struct host_functions
{
    explicit host_functions(std::map<std::string, void*> by_name) : functions(std::move(by_name))
    {
        module = zr_module_from_function(find, this);
        zr::host::look_up_all(module);
        zr_enable_hostfuncs(1);
    }
    ~host_functions()
    {
        zr_enable_hostfuncs(0);
        zr::host::look_up_all(nullptr);
        zr_free_module(module);
    }
    host_functions(const host_functions&) = delete;
    host_functions& operator=(const host_functions&) = delete;

    static void* find(void* context, const char* name)
    {
        const auto& known = static_cast<host_functions*>(context)->functions;
        const auto found = known.find(name);
        return found == known.end() ? nullptr : found->second;
    }

    std::map<std::string, void*> functions;
    zr_handle module;
};
