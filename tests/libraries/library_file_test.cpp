/// @file
/// The container of libraries: its bytes, keys and order, edits that are cut anywhere, locks, damaged files.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <vector>

#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/bytes.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/module_state.hpp"
#include "zirconlite/frame/search_path.hpp"
#include "zirconlite/libraries/library_file.hpp"
#include "zirconlite/libraries/library_open.hpp"
#include "zirconlite/libraries/material_library.h"
#include "zirconlite/platform/heap.hpp"
#include "zirconlite/platform/settings.hpp"

namespace
{

constexpr uint32_t read_write = LIBRARY_READ | LIBRARY_WRITE;
constexpr uint32_t root = 1268;
const uint64_t a_date = 0x0123456789ABCDEF;

struct Library : testing::Test
{
    Library() { zr_file_set_filetime(&a_date); }
    ~Library() override { zr_file_set_filetime(nullptr); }

    zr_handle make() { return zr_matfile_open(path.c_str(), read_write, 0, LIBRARY_CREATE_OR_EMPTY); }
    zr_handle edit() { return zr_libfile_open(path.c_str(), read_write, 0, LIBRARY_OPEN_EXISTING); }
    zr_handle look()
    {
        return zr_libfile_open(path.c_str(), LIBRARY_READ, LIBRARY_SHARE_READ, LIBRARY_OPEN_EXISTING);
    }
    void make_with(const std::vector<std::u16string>& keys)
    {
        zr_handle file = make();
        for (const std::u16string& key : keys) { zr_file_insert_record(file, key.c_str(), nullptr, nullptr); }
        ASSERT_EQ(zr_libfile_close(file), 1);
    }
    std::string bytes() { return folder.read("a.mlib"); }
    uint32_t u32(size_t at)
    {
        const std::string all = bytes();
        return zr::byte_reader(reinterpret_cast<const uint8_t*>(all.data()) + at, 4).u32();
    }
    void patch(size_t at, uint32_t value)
    {
        std::string all = bytes();
        zr::put_u32(reinterpret_cast<uint8_t*>(all.data()) + at, value);
        folder.write("a.mlib", all);
    }

    temporary_folder folder;
    std::u16string path = folder.wide("a.mlib");
};

std::vector<std::u16string> walked;

int32_t note_key(zr_handle, zr_handle, const char16_t* key)
{
    walked.push_back(key);
    return 1;
}

std::vector<std::u16string> keys_of(zr_handle file)
{
    walked.clear();
    zr_libfile_in_order_read_ex(file, nullptr, zr_file_seek(file, u""), u"", note_key, note_key);
    return walked;
}

TEST_F(Library, NewFilesAreAHeaderAndARoot)
{
    ASSERT_EQ(zr_libfile_close(make()), 1);
    const std::string all = bytes();
    ASSERT_EQ(all.size(), 1288u);
    EXPECT_EQ(all.substr(4, 20), std::string("Z\0R\0_\0L\0I\0B\0F\0I\0L\0E\0", 20));
    EXPECT_EQ(all.substr(68, 16), std::string("M\0A\0T\0E\0R\0I\0A\0L\0", 16));
    const std::map<size_t, uint32_t> values = { { 0, 1268 }, { 132, 4 }, { 136, 0 }, { 140, 1268 },
        { 144, 0 } };
    for (const auto& [at, value] : values) { EXPECT_EQ(u32(at), value) << at; }

    // Of the files that are there only an empty one becomes a library, and only by who may write.
    for (const std::string before : { "", "x" })
    {
        folder.write("a.mlib", before);
        ASSERT_EQ(zr_libfile_close(zr_matfile_open(path.c_str(), read_write, 0, LIBRARY_OPEN_EXISTING)), 1);
        EXPECT_EQ(bytes().size(), before.empty() ? 1288u : 1u);
    }
    folder.write("a.mlib", "");
    zr_libfile_close(zr_matfile_open(path.c_str(), LIBRARY_READ, LIBRARY_SHARE_READ, LIBRARY_OPEN_EXISTING));
    EXPECT_EQ(bytes(), "");
}

TEST_F(Library, KeysLeadToNodesInOrder)
{
    make_with({ u"B\\b", u"A\\", u"B\\Glossy", u"c", u"\xC4pfel", u"B\\GLOSSY", u"\xE4PFEL" });
    EXPECT_EQ(u32(144), 2u); // both were replaced without regard to case
    zr_handle file = edit();
    EXPECT_EQ(keys_of(file),
        (std::vector<std::u16string>{ u"c", u"\xE4PFEL", u"A\\", u"B\\", u"B\\b", u"B\\GLOSSY" }));
    EXPECT_EQ(zr_file_seek(file, u""), root);
    const uint32_t glossy = zr_file_seek(file, u"b\\glossy"), folder_b = zr_file_seek(file, u"b\\");
    EXPECT_NE(glossy, 0u);
    EXPECT_EQ(zr_file_get_offset(file, glossy + 4), folder_b);
    EXPECT_EQ(zr_file_get_offset(file, glossy + 16), 0xFFFFFFFF);
    EXPECT_EQ(zr_file_get_offset(file, glossy + 24), uint32_t(a_date));
    for (const char16_t* key : { u"d", u"C\\", u"B", u"B\\\\b", u"\\", u"A\\b" })
    {
        EXPECT_EQ(zr_file_seek(file, key), 0u);
    }
    for (const std::u16string& key :
        { std::u16string(u"\\x"), std::u16string(2100, u'k'), std::u16string(1024, u'n') })
    {
        EXPECT_EQ(
            zr_file_insert_record(file, key.c_str(), nullptr, nullptr), 0u); // refused, the edit goes on
    }
    EXPECT_EQ(zr_file_delete_leaf(file, zr_file_seek(file, u"C")), 3u);
    EXPECT_EQ(zr_file_seek(file, u"c"), 0u);
    // Both tombstones stay at the head, and what is smaller goes behind them.
    const uint32_t head = zr_file_get_offset(file, root + 16), second = zr_file_get_offset(file, head);
    const uint32_t a = zr_file_insert_record(file, u"a", nullptr, nullptr);
    EXPECT_EQ(zr_file_get_offset(file, root + 16), head);
    EXPECT_EQ(zr_file_get_offset(file, head), second);
    EXPECT_EQ(zr_file_get_offset(file, second), a);
    EXPECT_EQ(zr_file_delete_node(file, root, a, 2), 1);
    EXPECT_EQ(zr_file_delete_node(file, root, a, 2), 0);
    EXPECT_EQ(zr_file_seek(file, u"a"), 0u);
    ASSERT_EQ(zr_libfile_close(file), 1);
    EXPECT_EQ(zr_libfile_delete_record(path.c_str(), u"b\\B"), 4);
    EXPECT_EQ(zr_libfile_delete_record(path.c_str(), u"B\\"), -1);
    EXPECT_EQ(zr_libfile_delete_folder(path.c_str(), u"nowhere"), -1);
    EXPECT_EQ(zr_libfile_delete_folder(path.c_str(), u""), -1);
    EXPECT_EQ(zr_libfile_delete_folder(path.c_str(), u"B"), 1);
    EXPECT_EQ(zr_library_seek(path.c_str(), u"B\\glossy"), 0u);
    EXPECT_EQ(zr_libfile_delete_record(folder.wide("none.mlib").c_str(), u"x"), 0);
}

TEST_F(Library, WritersExcludeEveryone)
{
    make_with({ u"a" });
    zr_handle writer = edit();
    for (zr_handle second : { edit(), look(), make() }) { EXPECT_EQ(second, ZR_INVALID_HANDLE); }
    EXPECT_EQ(zr_libfile_delete_record(path.c_str(), u"a"), 0);
    zr_file_insert_record(writer, u"b", nullptr, nullptr);
    EXPECT_EQ(zr_libfile_commit(writer), 1);
    EXPECT_EQ(edit(), ZR_INVALID_HANDLE); // the new file is locked as well
    zr_libfile_cancel(writer);
    zr_handle readers[] = { look(), look() };
    EXPECT_EQ(edit(), ZR_INVALID_HANDLE);
    for (zr_handle reader : readers)
    {
        EXPECT_NE(zr_file_seek(reader, u"b"), 0u);
        EXPECT_EQ(zr_file_insert_record(reader, u"c", nullptr, nullptr), 0u);
        EXPECT_EQ(zr_libfile_close(reader), 1);
    }
    const std::string before = bytes();
    zr_libfile_cancel(make()); // an emptied library keeps its content until the close
    EXPECT_EQ(bytes(), before);
    const std::u16string fresh = folder.wide("new.mlib");
    zr_libfile_cancel(zr_matfile_open(fresh.c_str(), read_write, 0, LIBRARY_CREATE_NEW));
    EXPECT_FALSE(std::filesystem::exists(folder.path / "new.mlib"));
    EXPECT_EQ(zr_matfile_open(path.c_str(), read_write, 0, LIBRARY_CREATE_NEW), ZR_INVALID_HANDLE);
}

int32_t copy_key(zr_handle, zr_handle target, const char16_t* key)
{
    return zr_file_insert_record(target, key, nullptr, nullptr) != 0;
}

/// Runs `act` in a process whose files cannot grow beyond `limit`: writes fail, or kill it.
template <class F> void run_with_limit(uint64_t limit, bool kills, F act)
{
    const pid_t child = fork();
    if (child == 0)
    {
        signal(SIGXFSZ, kills ? SIG_DFL : SIG_IGN);
        const rlimit core = { 0, 0 }, size = { limit, limit };
        setrlimit(RLIMIT_CORE, &core);
        setrlimit(RLIMIT_FSIZE, &size);
        _exit(act());
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) || WTERMSIG(status) == SIGXFSZ);
}

TEST_F(Library, CutWritesLeaveTheOldOrTheNewFile)
{
    struct
    {
        const char* what;
        int (*act)(Library& l);
    } const cases[] = {
        { "edit",
            [](Library& l)
            {
                zr_handle file = l.edit();
                zr_file_insert_record(file, u"C\\new", nullptr, nullptr);
                return zr_libfile_close(file);
            } },
        { "pack",
            [](Library& l) { return zr_libfile_pack(l.path.c_str(), u"MATERIAL", copy_key, nullptr); } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        make_with({ u"a", u"B\\b", u"B\\B" });
        const std::string old = bytes();
        ASSERT_EQ(c.act(*this), 1);
        const std::string whole = bytes();
        // In the header's reserved zeros one place is like another.
        for (size_t limit = 0; limit <= whole.size(); limit += limit >= 148 && limit < 1236 ? 32 : 1)
        {
            folder.write("a.mlib", old);
            run_with_limit(limit, limit % 2 != 0, [&] { return c.act(*this); });
            ASSERT_EQ(bytes(), limit < whole.size() ? old : whole) << limit;
        }
    }
}

TEST_F(Library, PackingDropsWhatIsDead)
{
    make_with({ u"a", u"a", u"B\\b", u"C\\", u"D\\d" });
    zr_libfile_delete_folder(path.c_str(), u"D");
    const std::string before = bytes();
    const auto refuse_b = [](zr_handle, zr_handle, const char16_t* key) -> int32_t { return key[0] != u'B'; };
    EXPECT_EQ(zr_libfile_pack(path.c_str(), u"MATERIAL", refuse_b, nullptr), 0);
    EXPECT_EQ(bytes(), before);
    EXPECT_EQ(
        zr_libfile_pack(path.c_str(), u"MATERIAL", copy_key, path.data()), 0); // nobody answers: not wanted
    EXPECT_EQ(zr_libfile_pack(path.c_str(), u"MATERIAL", copy_key, nullptr), 1);
    EXPECT_EQ(u32(144), 0u);
    zr_handle file = look();
    EXPECT_EQ(keys_of(file), (std::vector<std::u16string>{ u"a", u"B\\", u"B\\b" }));
    zr_libfile_close(file);
    EXPECT_EQ(
        std::distance(std::filesystem::directory_iterator(folder.path), {}), 1); // nothing left beside it
}

void* payload_of(zr_handle, uint32_t payload) { return reinterpret_cast<void*>(uintptr_t(payload)); }

TEST_F(Library, OlderNodesAreRead)
{
    make_with({ u"a" });
    const uint32_t node = zr_library_seek(path.c_str(), u"a");
    const uint32_t older[] = { 0xFFFFFFFF, 77, 5, 6, 0, 0 };
    for (size_t i = 0; i < std::size(older); ++i) { patch(node + 12 + 4 * i, older[i]); }
    std::filesystem::resize_file(folder.path / "a.mlib", node + 36);
    zr_handle file = look();
    zr_get_date_during_read(1);
    EXPECT_EQ(zr_file_read_record(file, u"A", payload_of), reinterpret_cast<void*>(77));
    EXPECT_EQ(zr_get_read_date(), 0x0000000600000005u);
    zr_get_date_during_read(0);
    zr_libfile_close(file);
}

TEST_F(Library, BrokenLinksEndSearchesAndWalks)
{
    make_with({ u"a", u"b", u"F\\c" });
    const std::string good = bytes();
    const uint32_t a = zr_library_seek(path.c_str(), u"a"), b = zr_library_seek(path.c_str(), u"b"),
                   f = zr_library_seek(path.c_str(), u"F\\");
    const struct
    {
        const char* what;
        size_t at;
        uint32_t value;
    } cases[] = {
        { "a list that runs in a circle", b, a },
        { "a folder in itself", f + 12, f },
        { "a node outside the file", b, 0x7FFFFFFF },
        { "a node at the file's end", b, uint32_t(good.size() - 8) },
        { "a name outside the file", b + 8, 0xFFFFFFF0 },
        { "a root outside the file", 140, 0xFFFFFFF0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        folder.write("a.mlib", good);
        patch(c.at, c.value);
        zr_handle file = edit();
        for (int again = 0; again < 3; ++again) { EXPECT_EQ(zr_file_seek(file, u"zz"), 0u); }
        EXPECT_LT(keys_of(file).size(), 200u);
        zr_libfile_cancel(file);
        EXPECT_EQ(zr_libfile_pack(path.c_str(), u"MATERIAL", copy_key, nullptr), 0);
        EXPECT_NE(zr_last_error()->code, ZR_ERROR_NONE);
    }
}

TEST_F(Library, TextsAndFullKeysSplit)
{
    const struct
    {
        const char16_t *full, *library, *key;
        int32_t result;
    } cases[] = { { u"Z\\\\A\\b", u"Z", u"A\\b", 1 }, { u"x", u"", u"", 0 }, { u"a\\b", u"", u"", 0 },
        { u"a\\\\", u"", u"", 0 }, { u"", u"", u"", 0 }, { u"\\\\k", u"", u"k", 1 } };
    for (const auto& c : cases)
    {
        char16_t library[ZR_KEY_CAPACITY], key[ZR_KEY_CAPACITY];
        EXPECT_EQ(zr_split_fullkey(c.full, library, key), c.result);
        EXPECT_EQ(std::u16string(library), c.library);
        EXPECT_EQ(std::u16string(key), c.key);
    }
    zr_handle file = make();
    const uint32_t text = zr_file_add_string(file, u"ab\xD83D\xDE00");
    char16_t out[8];
    EXPECT_EQ(zr_file_read_string(file, text, out, 8), 8u); // the pair does not fit
    EXPECT_EQ(std::u16string(out), u"ab");
    EXPECT_EQ(zr_file_read_string(file, text, out, 7), 8u); // nor is a code unit cut in two
    EXPECT_EQ(std::u16string(out), u"ab");
    zr_libfile_cancel(file);

    // What a chunk takes is given by its type; a text that is too long drops the edit, no type at all does
    // not.
    make_with({});
    const std::string before = bytes();
    const uint8_t chunk[48] = { 0, 0, 0, 0, 6 };
    const struct
    {
        int32_t type;
        uint32_t length;
    } types[] = { { 1, 20 }, { 2, 40 }, { 3, 14 }, { 4, 48 }, { 0, 0 }, { 5, 0 } };
    const std::u16string longest(1023, u't'), too_long(1024, u't');
    for (const auto& t : types)
    {
        file = edit();
        const auto end = uint32_t(zr_file_get_size(file));
        EXPECT_EQ(zr_file_add_chunk(file, t.type, chunk, 0, 48), t.length ? end : 0) << t.type;
        EXPECT_EQ(zr_file_add_string(file, longest.c_str()), end + t.length);
        EXPECT_EQ(zr_file_get_size(file), end + t.length + 8 + 2 * 1023);
        EXPECT_EQ(zr_file_add_string(file, too_long.c_str()), 0u);
        EXPECT_EQ(zr_libfile_commit(file), 0);
        zr_libfile_cancel(file);
        EXPECT_TRUE(bytes() == before);
    }
}

TEST_F(Library, ValuesAreLittleEndianAndEndWithTheFile)
{
    zr_handle file = make();
    const auto end = uint32_t(zr_file_get_size(file));
    char16_t kind[64];
    EXPECT_EQ(zr_file_get_version(file), 4u);
    EXPECT_EQ(zr_file_get_kind(file, kind), 1);
    EXPECT_EQ(std::u16string(kind), u"MATERIAL");
    EXPECT_EQ(zr_file_set_position(file, end), 1);
    EXPECT_EQ(zr_file_write_dword(file, 0x81828384) & zr_file_write_word(file, 0xFFFE), 1);
    EXPECT_EQ(zr_file_get_position(file), end + 6);
    EXPECT_EQ(zr_file_set_position(file, end + 7), 0);
    EXPECT_EQ(zr_file_set_position(file, end + 6), 1);
    uint32_t dword = 0;
    uint16_t word = 0;
    int16_t number = 0;
    EXPECT_EQ(zr_file_read_word(file, &word) | zr_file_read_dword(file, &dword), 0) << "at the end";
    zr_file_set_position(file, end);
    EXPECT_EQ(zr_file_read_dword(file, &dword) & zr_file_read_short(file, &number), 1);
    EXPECT_EQ(dword, 0x81828384u);
    EXPECT_EQ(number, -2);
    EXPECT_EQ(zr_file_increment_dword(file, end), 0x81828385u);
    EXPECT_EQ(zr_file_get_offset(file, end), 0x81828385u);
    EXPECT_EQ(zr_file_get_offset(file, end + 3), 0u) << "ends behind the file";
    uint8_t bytes[6];
    zr_file_set_position(file, end);
    ASSERT_EQ(zr_file_read_bytes(file, bytes, 6), 1);
    EXPECT_EQ(bytes[0], 0x85);
    EXPECT_EQ(bytes[4], 0xFE);
    EXPECT_EQ(
        zr_file_delete_chunk(file, end) & zr_file_delete_string(file, end) & zr_file_delete_record(file, 1),
        1);
    zr::platform::set_heap_gate([](size_t) { return false; });
    const std::vector<uint8_t> large(100000);
    EXPECT_EQ(zr_file_add_chunk(file, LIBRARY_CHUNK_PAYLOAD, large.data(), 0, 100000), 0u);
    zr::platform::set_heap_gate(nullptr);
    zr_libfile_cancel(file);

    file = make(); // a payload over many blocks
    std::vector<uint8_t> wide(200000), back(wide.size());
    for (size_t i = 0; i < wide.size(); ++i) { wide[i] = uint8_t(i * 7 + i / 251); }
    const uint32_t payload = zr_file_add_chunk(file, LIBRARY_CHUNK_PAYLOAD, wide.data(), 0, 200000);
    EXPECT_EQ(zr_file_set_position(file, payload) & zr_file_read_bytes(file, back.data(), 200000), 1);
    EXPECT_TRUE(back == wide);
    zr_libfile_cancel(file);
    file = make();
    auto* lib = static_cast<zr::library_file*>(file);
    lib->size = zr::library_max_bytes - 3;
    EXPECT_EQ(zr_file_set_position(file, lib->size) & zr_file_write_dword(file, 1), 0);
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_LIMIT) << "it would end at 4 GiB";
    zr_libfile_cancel(file);

    const zr_handle none = ZR_INVALID_HANDLE;
    EXPECT_EQ(zr_file_set_position(none, 0) | zr_file_read_bytes(none, bytes, 1) |
                  zr_file_write_bytes(none, bytes, 1) | zr_file_write_dword(none, 1) |
                  zr_file_write_word(none, 1) | zr_file_write_header(none, u"A") | zr_libfile_commit(none) |
                  zr_libfile_close(none) | zr_libfile_cancel(none),
        0);
    EXPECT_EQ(zr_file_get_position(none) | zr_file_get_size(none) | zr_file_increment_dword(none, 0) |
                  zr_file_add_string(none, u"a") | zr_file_add_chunk(none, 5, bytes, 0, 1) |
                  zr_file_seek(none, u"a") | zr_file_insert_node(none, u"a", 1, 3) |
                  zr_file_read_string(none, 1, kind, 8),
        0u);
}

int32_t take_first(const char16_t* directory, const zr_find_data* found, void* out)
{
    *static_cast<std::u16string*>(out) = std::u16string(directory) + found->name;
    return -1;
}

TEST_F(Library, SearchesGoFromTheSupportFolderToItsInside)
{
    for (const char* name : { "s/x.mlib", "s/internal/x.mlib", "s/internal/y.mlib", "l/x.mlib", "l/z.mlib" })
    {
        folder.write(name, "");
    }
    std::u16string support = folder.wide("s/"), installation = folder.wide() + u"/";
    zr::the_module.support_path = support.data();
    zr::the_module.root_path = installation.data();
    // A list of folders: one that is not there, the support folder once more, "l".
    zr::platform::override_settings_file(folder.wide("settings.txt").c_str());
    std::u16string paths[] = { folder.wide("none"), folder.wide("S"), folder.wide("l") };
    search_path list[3] = { { list + 1, 0, paths[0].data() }, { list + 2, 0, paths[1].data() },
        { nullptr, 0, paths[2].data() } };
    zr_save_search_path_ex(list, SEARCH_PATH_LIBRARIES);
    zr::start_search_lists(support.c_str(), true);
    const struct
    {
        const char16_t* name;
        int32_t inside;
        std::u16string found;
    } cases[] = { { u"x", 1, folder.wide("s/x.mlib") }, { u"Y", 1, folder.wide("s/internal/y.mlib") },
        { u"y", 0, u"" }, { u"z", 0, folder.wide("l/z.mlib") }, { u"?", 1, folder.wide("s/x.mlib") },
        { u"w", 1, u"" } };
    for (const auto& c : cases)
    {
        std::u16string found;
        EXPECT_EQ(
            zr_libfile_search_ex(c.name, u".mlib", take_first, &found, c.inside), c.found.empty() ? 0 : 1);
        std::replace(found.begin(), found.end(), u'\\', u'/');
        EXPECT_EQ(found, c.found);
    }
    folder.write("s/x.mlib", "the first");
    const zr_handle first = zr_matlib_open(u"x");
    EXPECT_EQ(zr_file_get_size(first), 9u);
    EXPECT_EQ(zr_libfile_close(first), 1);
    // What the host's own search answers: it ends the search, leaves out the folders, or is merged.
    static int32_t answer;
    zr_install_new_lib_search(
        [](const char16_t*, const char16_t*, zr_find_callback, void*) { return answer; });
    const int32_t answers[][3] = { { -1, 1, 0 }, { -2, 1, 1 }, { 4, 5, 3 }, { 0, 1, 3 } };
    for (const auto& [given, result, visits] : answers)
    {
        answer = given;
        int32_t count = 0;
        const auto visit = [](const char16_t*, const zr_find_data*, void* n)
        { return ++*static_cast<int32_t*>(n), 1; };
        EXPECT_EQ(zr_libfile_search_ex(u"x", u".mlib", visit, &count, 1), result) << given;
        EXPECT_EQ(count, visits) << given;
    }
    zr_install_new_lib_search(nullptr);
    zr::end_search_lists();
    zr::platform::override_settings_file(nullptr);
    EXPECT_EQ(zr_matlib_open(u"nothing"), ZR_INVALID_HANDLE);
    make_with({ u"a" });
    const std::string before = bytes();
    EXPECT_EQ(zr_libfile_delete_record(path.c_str(), u"a"), 1);
    EXPECT_EQ(folder.read("common/backup/a.mlib"), before);
    zr::the_module.support_path = zr::the_module.root_path = nullptr;
}

} // namespace
