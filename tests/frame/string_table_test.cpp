#include "zirconlite/frame/string_table.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/window.h"
#include "zirconlite/platform/windows.hpp"

namespace
{

/// A table from a text; "\n" in it becomes CR LF.
struct StringTable : testing::Test
{
    ~StringTable() override { zr_free_string_table(table, count); }
    string_table read(const std::u16string& text, int32_t entries = 8000, int32_t read_font = 0)
    {
        std::string bytes;
        for (const char16_t c : text)
        {
            if (c == u'\n') { bytes += std::string("\r\0", 2); }
            bytes += char(c & 0xFF);
            bytes += char(c >> 8);
        }
        folder.write("t.uni", bytes);
        zr_free_string_table(table, count);
        count = entries;
        return table = zr_create_string_table(folder.wide("t.uni").c_str(), entries, read_font);
    }
    std::u16string text(int32_t number) const { return zr_get_message(table, number); }
    temporary_folder folder;
    string_table table = nullptr;
    int32_t count = 0;
};

} // namespace

TEST_F(StringTable, EntriesAreReadInEveryForm)
{
    ASSERT_NE(
        read(u"\uFEFF[00001]\"quoted\" tail\n\uFEFF[00002] \t plain, with blanks\ttail\n\n;[00003]comment\n"
             u"[00004]\n[00005x\"any sixth character\"\n[0006]\"four digits\"\n[08000]\"too high\"\n"
             u"[00007]\"twice\"\n[00007]\"second\"\nnoise\n[00008]\"no line end"),
        nullptr);
    struct
    {
        int32_t number;
        const char16_t* text;
    } const cases[] = {
        { 0, u"???" },
        { 1, u"quoted" },
        { 2, u"plain, with blanks" },
        { 3, u"???" },
        { 4, u"???" },
        { 5, u"any sixth character" },
        { 6, u"???" },
        { 7, u"second" },
        { 8, u"no line end" },
        { 7999, u"???" },
        { 8000, u"???" },
        { -1, u"???" },
    };
    for (const auto& c : cases) { EXPECT_EQ(text(c.number), c.text) << c.number; }
}

TEST_F(StringTable, KeysBecomeMessages)
{
    read(u"[02000]\"Haupt\"\n");
    struct
    {
        const char16_t* text;
        int32_t is_key;
        const char16_t* shown;
    } const cases[] = {
        { u"^^2000Main", 1, u"Haupt" },
        { u"^^2e3", 1, u"Haupt" },
        { u"^^2000.9", 1, u"Haupt" },
        { u"^^2001", 1, u"???" },
        { u"^^99999", 1, u"???" },
        { u"^^-5", 1, u"???" },
        { u"^^infinity", 1, u"???" },
        { u"^^", 1, u"???" },
        { u"^Rubble", 0, u"^Rubble" },
        { u"plain", 0, u"plain" },
        { u"", 0, u"" },
    };
    for (const auto& c : cases)
    {
        char16_t buffer[ZR_MESSAGE_CAPACITY];
        EXPECT_EQ(zr_get_string_from_table(table, c.text, buffer), c.is_key);
        EXPECT_EQ(std::u16string(buffer), c.shown);
    }
}

TEST_F(StringTable, WindowsAndMenusAreTranslated)
{
    namespace platform = zr::platform;
    read(u"FONT_NT 9, Some Face, x\nFONT 20,Later\n[00001]Titel\n[00002]Datei\n[00003]Ende\n", 10, 1);
    zr_handle window = zr_new_memory_window(10, 10, u"^^1 title");
    zr_handle child = zr_new_memory_window(1, 1, u"^^2");
    zr_add_child_window(window, child);
    zr_handle popup = zr_new_menu();
    zr_add_menu_item(popup, 7, 5, u"^^3", nullptr);
    zr_handle menu = zr_new_menu();
    zr_add_menu_item(menu, -1, 0, u"File", popup);
    zr_add_menu_item(menu, 8, 1, u"^^2", nullptr);
    zr_set_window_menu(window, menu);

    EXPECT_EQ(zr_init_window_text(window, table), 1);
    EXPECT_EQ(std::u16string(zr_get_window_text(window)), u"Titel");
    EXPECT_EQ(std::u16string(zr_get_window_text(child)), u"Datei");
    EXPECT_EQ(std::u16string(zr_get_menu_item_text(menu, 0)), u"File");
    EXPECT_EQ(std::u16string(zr_get_menu_item_text(popup, 0)), u"Ende") << "below a popup with plain text";
    EXPECT_EQ(platform::menu_item_id(popup, 0), 7);
    EXPECT_EQ(platform::menu_item_state(popup, 0), 5u);
    EXPECT_EQ(zr_init_window_text(window, table), 0) << "a translated title is no key any more";
    EXPECT_EQ(zr_set_menu_text(nullptr, table), 0);

    const platform::window_font* font = platform::font_of(child);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font, zr_get_window_font());
    EXPECT_EQ(font->height, -12) << "9 points at 96 pixels an inch";
    EXPECT_EQ(std::u16string(font->face), u"Some Face");
    EXPECT_EQ(platform::font_of(window), nullptr);
    zr_free_window(window);
}
