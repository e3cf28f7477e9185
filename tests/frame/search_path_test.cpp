#include "zirconlite/frame/search_path.hpp"

#include <gtest/gtest.h>

#include "tests/support/find_table.hpp"
#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/platform/settings.hpp"

namespace
{

std::u16string model_folder;
const char16_t* on_get_model_path() { return model_folder.empty() ? nullptr : model_folder.c_str(); }

struct SearchPath : testing::Test
{
    SearchPath()
    {
        zr::platform::override_settings_file(folder.wide("settings.txt").c_str());
        model_folder.clear();
    }
    ~SearchPath() override
    {
        zr::end_search_lists();
        zr::platform::override_settings_file(nullptr);
    }
    void start(bool read_stored = false)
    {
        zr::start_search_lists((folder.wide("support") + u"/").c_str(), read_stored);
    }
    std::string find(const char16_t* name, const search_path* list = nullptr) const
    {
        char16_t path[ZR_PATH_CAPACITY];
        if (!zr_findfile(list, name, path)) { return path[0] ? "garbage" : ""; }
        return std::filesystem::relative(std::filesystem::path(path), folder.path).generic_string();
    }
    temporary_folder folder;
    host_functions host{ { { "host_get_model_path", reinterpret_cast<void*>(on_get_model_path) } } };
};

search_path node(std::u16string& path, uint32_t flags = 0) { return { nullptr, flags, path.data() }; }

} // namespace

TEST_F(SearchPath, FilesAreFoundInTheFixedOrder)
{
    for (const char* name : { "own/a.bmp", "model/m/a.bmp", "support/s/a.bmp", "search/a.bmp" })
    {
        folder.write(name, "");
    }
    std::u16string own = folder.wide("own"), search = folder.wide("search");
    search_path own_list = node(own), search_list = node(search);
    zr_save_search_path(&search_list);
    start(true);
    model_folder = folder.wide("model") + u"\\";
    EXPECT_EQ(find(u"C:\\gone\\a.bmp", &own_list), "own/a.bmp");
    EXPECT_EQ(find(u"a.bmp"), "model/m/a.bmp");
    model_folder.clear();
    EXPECT_EQ(find(u"/nowhere/A.BMP"), "support/s/A.BMP");
    std::filesystem::remove(folder.path / "support/s/a.bmp");
    EXPECT_EQ(find(u"a.bmp"), "search/a.bmp");
    std::filesystem::remove(folder.path / "search/a.bmp");
    EXPECT_EQ(find(u"a.bmp"), "");
    EXPECT_EQ(find(folder.wide("own/a.bmp").c_str()), "own/a.bmp")
        << "a full name that exists stays as it is";
    EXPECT_EQ(find(u""), "");
    EXPECT_EQ(find(u"folder/"), "");
}

TEST_F(SearchPath, SubfoldersAreSearchedDepthFirstButNotHiddenOnes)
{
    for (const char* name :
        { "support/b/x.bmp", "support/a/deep/x.bmp", "support/.hidden/h.bmp", "support/top.bmp/f" })
    {
        folder.write(name, "");
    }
    start();
    EXPECT_EQ(find(u"x.bmp"), "support/a/deep/x.bmp");
    EXPECT_EQ(find(u"h.bmp"), "");
    EXPECT_EQ(find(u"top.bmp"), "") << "a folder is no file";
    std::u16string plain = folder.wide("support");
    search_path list = node(plain);
    model_folder.clear();
    zr::end_search_lists();
    EXPECT_EQ(find(u"x.bmp", &list), "") << "without the flag the folders below stay unseen";
}

TEST_F(SearchPath, LinksInACircleEndTheSearch)
{
    folder.write("support/a/x.txt", "");
    std::filesystem::create_directory_symlink("..", folder.path / "support/a/up");
    std::filesystem::create_directory_symlink(".", folder.path / "support/a/self");
    for (int i = 0; i < 20; ++i)
    {
        // Every level leads twice to the next: without memory of its visits a search takes 2^20 steps.
        const auto level = folder.path / ("support/l" + std::to_string(i));
        std::filesystem::create_directories(level);
        std::filesystem::create_directory_symlink("../l" + std::to_string(i + 1), level / "p");
        std::filesystem::create_directory_symlink("../l" + std::to_string(i + 1), level / "q");
    }
    start();
    EXPECT_EQ(find(u"none.bmp"), "");
    EXPECT_EQ(find(u"x.txt"), "support/a/x.txt");
}

TEST_F(SearchPath, ListsAreStoredAndReadByKind)
{
    std::u16string a = u"C:\\maps", b = u"/b";
    search_path second = node(b), first = node(a);
    first.next = &second;
    search_path* read = nullptr;
    EXPECT_EQ(zr_get_search_path(&read), 0);
    char16_t output[16] = u"x";
    EXPECT_EQ(zr_get_output_path(output, 16), 0);
    EXPECT_EQ(output[0], 0);
    for (int kind = 1; kind <= 4; ++kind)
    {
        EXPECT_EQ(zr_save_search_path_ex(&first, kind), 1);
        ASSERT_EQ(zr_get_search_path_ex(&read, kind), 1);
        EXPECT_EQ(std::u16string(read->path), a);
        EXPECT_EQ(std::u16string(read->next->path), b);
        EXPECT_EQ(read->next->next, nullptr);
        EXPECT_EQ(read->flags, kind == 1 ? uint32_t(SEARCH_SUBDIRECTORIES) : 0u);
        zr_free_search_path(read);
        read = nullptr;
    }
    start(true);
    EXPECT_EQ(zr_get_output_path(output, 5), 1);
    EXPECT_EQ(std::u16string(output), u"C:\\m");
    EXPECT_EQ(zr_save_search_path_ex(&second, SEARCH_PATH_OUTPUT), 1);
    zr_get_output_path(output, 16);
    EXPECT_EQ(std::u16string(output), u"/b") << "the working list follows what is stored";
    EXPECT_EQ(zr_save_search_path_ex(nullptr, SEARCH_PATH_OUTPUT), 1);
    EXPECT_EQ(zr_get_search_path_ex(&read, SEARCH_PATH_OUTPUT), 1);
    EXPECT_EQ(read, nullptr) << "an empty value leaves the head alone";
    std::u16string too_long(4095, u'x');
    search_path long_node = node(too_long);
    EXPECT_EQ(zr_save_search_path(&long_node), 0);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_LIMIT);
}
