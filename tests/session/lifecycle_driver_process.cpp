/// @file
/// A start with a display driver that is not there, by a host that hands in a find function.
#include <gtest/gtest.h>

#include <string.h>

#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/host.h"
#include "zirconlite/frame/module.h"
#include "zirconlite/frame/search_path.h"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/frame/window.h"

namespace
{

std::u16string shown;
int findfile_calls = 0;

int32_t on_status_message(const char16_t* text) { return shown = text, 1; }
int32_t on_findfile(const char16_t*, char16_t*) { return ++findfile_calls, 0; }

void* find(void* context, const char* name)
{
    ++*static_cast<int*>(context);
    if (!strcmp(name, "host_status_message")) { return reinterpret_cast<void*>(on_status_message); }
    return strcmp(name, "host_findfile") ? nullptr : reinterpret_cast<void*>(on_findfile);
}

TEST(Lifecycle, AMissingDriverIsReportedAndTheStartGoesOn)
{
    const temporary_folder folder;
    setenv("ZIRCONLITE_SETTINGS", (folder.path / "settings.txt").c_str(), 1);
    folder.write("stored/map.bmp", "");
    std::u16string stored = folder.wide("stored");
    const search_path list = { nullptr, 0, stored.data() };
    zr_save_search_path(&list);
    std::u16string bin = folder.wide("bin") + u"/", support = folder.wide("support") + u"/";

    int names_asked = 0;
    zr_handle module = zr_module_from_function(find, &names_asked);
    ASSERT_EQ(zr_init_ex(u"", nullptr, u"help", module, support.c_str(), bin.c_str(), nullptr, 1), 1u);
    EXPECT_EQ(names_asked, 27);
    EXPECT_EQ(shown, u"gl not loaded") << "without dialogs an information is a status message";
    EXPECT_EQ(std::u16string(zr_get_message(nullptr, MESSAGE_RENDER_FINISHED)), u"???") << "no file of texts";

    char16_t path[ZR_PATH_CAPACITY];
    EXPECT_EQ(zr_findfile(nullptr, u"map.bmp", path), 1) << "the stored lists are read with a driver";
    EXPECT_EQ(findfile_calls, 0) << "host functions are off until the host says so";
    zr_enable_hostfuncs(1);
    EXPECT_EQ(zr_findfile(nullptr, u"map.bmp", path), 1);
    EXPECT_EQ(findfile_calls, 1);
    EXPECT_EQ(zr_term(), 1);
    zr_free_module(module);
}

} // namespace
