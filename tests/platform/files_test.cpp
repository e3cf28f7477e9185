#include "zirconlite/platform/files.hpp"

#include <gtest/gtest.h>

#include <string.h>
#include <sys/stat.h>

#include "tests/support/temporary_folder.hpp"

using namespace zr::platform;

TEST(Files, NamesAreFoundWithEitherSeparatorAndInAnyCase)
{
    const temporary_folder folder;
    folder.write("Textures/Wood/Oak.JPG", "oak");
    folder.write("textures2/oak.jpg", "other");
    const std::u16string base = folder.wide();
    for (const char16_t* name :
        { u"/Textures/Wood/Oak.JPG", u"\\textures\\WOOD\\oak.jpg", u"/TEXTURES//wood/OAK.jpg" })
    {
        size_t size = 0;
        unsigned char* content = read_whole_file((base + name).c_str(), 100, &size);
        ASSERT_NE(content, nullptr);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(content), size), "oak");
        free(content);
    }
    folder.write("Textures/Wood/oak.jpg", "exact");
    size_t size = 0;
    unsigned char* content = read_whole_file((base + u"/Textures/Wood/oak.jpg").c_str(), 100, &size);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(content), size), "exact") << "the written case goes first";
    free(content);
}

TEST(Files, SharingIsRefusedAtOnce)
{
    struct
    {
        const char* what;
        file_access a;
        uint32_t shared;
        file_access b;
        uint32_t shared_b;
        bool opens;
    } const cases[] = {
        { "two readers", file_access::read, share_read, file_access::read, share_read, true },
        { "a writer beside a reader", file_access::read, share_read, file_access::write, share_read, false },
        { "a reader beside a lone writer", file_access::read_write, share_nothing, file_access::read,
            share_read, false },
        { "a reader that lets others write", file_access::read_write, share_read, file_access::read,
            share_read | share_write, true },
        { "a lone reader beside a reader", file_access::read, share_read, file_access::read, share_nothing,
            false },
    };
    const temporary_folder folder;
    folder.write("file", "content");
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        file* first = open_file(folder.wide("file").c_str(), c.a, c.shared, disposition::open_existing);
        ASSERT_NE(first, nullptr);
        file_error why;
        file* second = open_file(folder.wide("file").c_str(), c.b, c.shared_b,
            c.opens ? disposition::open_existing : disposition::create_or_empty, &why);
        EXPECT_EQ(second != nullptr, c.opens);
        EXPECT_EQ(why, c.opens ? file_error::none : file_error::in_use);
        if (!c.opens)
        {
            EXPECT_EQ(folder.read("file"), "content") << "a refused opening must not empty the file";
        }
        close_file(second);
        close_file(first);
        folder.write("file", "content");
    }
}

TEST(Files, OpeningFailsWithAReason)
{
    const temporary_folder folder;
    folder.write("file", "content");
    mkfifo((folder.path / "pipe").c_str(), 0600);
    struct
    {
        const char* name;
        file_access a;
        disposition d;
        file_error why;
    } const cases[] = {
        { "none", file_access::read, disposition::open_existing, file_error::not_found },
        { "none/file", file_access::write, disposition::open_or_create, file_error::not_found },
        { "FILE", file_access::write, disposition::create_new, file_error::exists },
        { "", file_access::read, disposition::open_existing, file_error::not_a_file },
        { "pipe", file_access::read, disposition::open_existing, file_error::not_a_file },
    };
    for (const auto& c : cases)
    {
        file_error why = file_error::none;
        EXPECT_EQ(open_file(folder.wide(c.name).c_str(), c.a, share_read, c.d, &why), nullptr) << c.name;
        EXPECT_EQ(why, c.why) << c.name;
    }
}

TEST(Files, AFullDiskIsReported)
{
    file* f = open_file(u"/dev/full", file_access::write, share_read, disposition::open_existing);
    ASSERT_NE(f, nullptr);
    EXPECT_FALSE(write_file(f, "x", 1));
    EXPECT_FALSE(close_file(f));
}

TEST(Files, ReplacementShowsOnlyWholeFiles)
{
    const temporary_folder folder;
    folder.write("picture", "old");
    chmod((folder.path / "picture").c_str(), 0640);
    const auto entries = [&]
    {
        return std::distance(
            std::filesystem::directory_iterator(folder.path), std::filesystem::directory_iterator());
    };
    replacement* r = begin_replacement(folder.wide("picture").c_str());
    ASSERT_NE(r, nullptr);
    EXPECT_TRUE(write_replacement(r, "newer", 5));
    EXPECT_EQ(folder.read("picture"), "old");
    cancel_replacement(r);
    EXPECT_EQ(folder.read("picture"), "old");
    EXPECT_EQ(entries(), 1);

    std::filesystem::create_symlink("picture", folder.path / "link");
    r = begin_replacement(folder.wide("link").c_str());
    ASSERT_NE(r, nullptr);
    write_replacement(r, "newer", 5);
    seek_replacement(r, 3);
    write_replacement(r, "st", 2);
    EXPECT_TRUE(commit_replacement(r));
    EXPECT_EQ(folder.read("picture"), "newst");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path / "link"));
    struct stat s;
    stat((folder.path / "picture").c_str(), &s);
    EXPECT_EQ(s.st_mode & 0777, 0640u);
    EXPECT_EQ(entries(), 2);

    file_error why;
    EXPECT_EQ(begin_replacement(folder.wide("none/picture").c_str(), &why), nullptr);
    EXPECT_EQ(why, file_error::not_found);
    EXPECT_EQ(begin_replacement(folder.wide().c_str(), &why), nullptr);
    EXPECT_EQ(why, file_error::not_a_file);
}
