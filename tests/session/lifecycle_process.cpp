/// @file
/// A start without a display driver, by a host that is a module. One process: the library starts once.
#include <gtest/gtest.h>

#include "tests/host_module/host_module.h"
#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/module.h"
#include "zirconlite/frame/search_path.h"
#include "zirconlite/frame/string_table.h"
#include "zirconlite/imagefiles/bitmap_store.h"

#include <dlfcn.h>

namespace
{

/// The folders are derived from the root: "common\support\" holds the texts and the searched files.
TEST(Lifecycle, StartsServesAndEndsOnce)
{
    const temporary_folder folder;
    setenv("ZIRCONLITE_SETTINGS", (folder.path / "settings.txt").c_str(), 1);
    folder.write("common/support/deep/leaf.bmp", "");
    std::filesystem::copy(ZIRCONLITE_SOURCE_DIR "/resources/zr3.uni", folder.path / "common/support/zr3.uni");
    zr_handle module = zr_load_module(std::filesystem::path(HOST_MODULE_FILE).u16string().c_str());
    ASSERT_NE(module, nullptr);
    void* loaded = dlopen(HOST_MODULE_FILE, RTLD_NOW | RTLD_NOLOAD);
    auto& host = *static_cast<host_record*>(dlsym(loaded, "the_host"));

    EXPECT_EQ(zr_init_os(), 0);
    const std::u16string root = folder.wide() + u"/";
    ASSERT_EQ(zr_init_ex(root.c_str(), nullptr, nullptr, module, nullptr, nullptr, nullptr, 0), 1u);
    EXPECT_EQ(host.calls[CALL_STATUS_MESSAGE], 0) << "no driver is wanted, so none is missed";
    EXPECT_EQ(zr_init_ex(root.c_str(), nullptr, nullptr, module, nullptr, nullptr, nullptr, 0), 0u);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_STATE);
    EXPECT_EQ(std::u16string(zr_get_message(nullptr, MESSAGE_RENDER_FINISHED)), u"Render finished");

    char16_t path[ZR_PATH_CAPACITY];
    EXPECT_EQ(zr_findfile(nullptr, u"D:\\old\\leaf.bmp", path), 1);
    EXPECT_EQ(host.calls[CALL_FINDFILE], 1) << "enabled from the start without a driver";
    EXPECT_EQ(host.calls[CALL_GET_MODEL_PATH], 1);
    host.findfile_answer = 1;
    std::u16string(u"/from/host").copy(host.findfile_path, 11);
    EXPECT_EQ(zr_findfile(nullptr, u"leaf.bmp", path), 1);
    EXPECT_EQ(std::u16string(path), u"/from/host");
    zr_enable_hostfuncs(0);
    EXPECT_EQ(zr_findfile(nullptr, u"none.bmp", path), 0);
    EXPECT_EQ(host.calls[CALL_FINDFILE], 2);

    // Every amount of memory is "low" now: the host is asked before each request, and gives up.
    zr_set_memory_threshold(2.0);
    void* block = zr_malloc(16);
    EXPECT_NE(block, nullptr) << "a host that is not enabled is not asked";
    zr_free(block);
    zr_enable_hostfuncs(1);
    EXPECT_EQ(zr_open_document(), nullptr);
    EXPECT_EQ(host.calls[CALL_LOW_MEMORY], 1);
    host.on_low_memory = [] { zr_set_memory_threshold(0.0); };
    host.low_memory_answer = 1;
    document* d = zr_open_document();
    EXPECT_NE(d, nullptr) << "the host made room";
    EXPECT_EQ(host.calls[CALL_LOW_MEMORY], 2);
    zr_close_document(d);

    const uint8_t pixel[3] = { 1, 2, 3 };
    ASSERT_NE(zr_add_bitmap(u"dot", 1, 1, 3, pixel), nullptr);
    EXPECT_EQ(zr_term(), 1);
    EXPECT_EQ(zr_get_bitmap_allocation(), 0u) << "bitmaps go with the library";
    EXPECT_EQ(zr_term(), 0);
    EXPECT_EQ(std::u16string(zr_get_message(nullptr, MESSAGE_RENDER_FINISHED)), u"???");
    host.findfile_answer = 0;
    EXPECT_EQ(zr_findfile(nullptr, u"zr3.uni", path), 0) << "no folder is searched any more";
    EXPECT_EQ(zr_init(root.c_str(), nullptr, nullptr, module), 0u) << "there is no way back";
    dlclose(loaded);
    zr_free_module(module);
}

} // namespace
