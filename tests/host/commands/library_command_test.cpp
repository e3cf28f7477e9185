/// @file
/// `zirconlite library` from outside: what is shown of a material makes the same record again.
#include "tests/support/program.hpp"

#include <gtest/gtest.h>

namespace
{

struct LibraryCommand : testing::Test
{
    /// The exit code; what was printed, failures included, is in `printed`.
    int run(const std::string& arguments)
    {
        const std::string command = "cd '" + folder.path.string() +
                                    "' && XDG_DATA_HOME=data '" ZIRCONLITE_HOST_PROGRAM "' library " +
                                    arguments + " > out.txt 2>&1";
        const int status = std::system(command.c_str());
        printed = folder.read("out.txt");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    temporary_folder folder;
    std::string printed;
};

const char scene_text[] = R"(
[camera]
eye = [0, -4, 1.5]
[materials.plain]
color = [0.9, 0.5, 0.1]
mirror = 0.25
mirror_color = [0.5, 1, 1]
transparency = 0.5
translucency = 0.25
ior = 1.3
attenuation = 0.125
luminosity = 200
highlight = 50
highlight_strength = 2
metal = true
glossy = false
[[materials.plain.bump]]
kind = "pyramid"
size = [0.5, 0.25, 2]
strength = 0.75
axis = [1, 0, 0]
[[materials.plain.image]]
file = "none.jpg"
size = [0.5, 2]
origin = [1234.567, 0.0123456, 3]
bump = 0.5
on_mirror = true
blur = "more"
key = "color"
key_color = [0, 1, 0]
tolerance = 0.25
cut_out = true
[materials.tiles]
kind = "tile"
first = "plain"
second = "plain"
size = [0.5, 0.25, 1]
ratio = [0.75, 0.875]
tile_offset = 0.5
color_jitter = [0.5, 0.25, 0.125]
rotation_deg = 45
mapped = true
)";

TEST_F(LibraryCommand, ShowsWhatMakesTheSameRecordAgain)
{
    folder.write("s.toml", scene_text);
    ASSERT_EQ(run("add a.mlib 'Floors\\Tiles' --from s.toml --material tiles"), 0) << printed;
    ASSERT_EQ(run("show a.mlib 'floors\\tiles'"), 0) << printed;
    const std::string shown = printed;
    for (const char* part : { "[materials.\"tiles\"]", "kind = \"pyramid\"", "luminosity = 200",
             "glossy = false", "tile_offset = 0.5", "cut_out = true", "color = [0.9, 0.5, 0.1]",
             "origin = [1234.567, 0.0123456, 3]" })
    {
        EXPECT_NE(shown.find(part), std::string::npos) << part;
    }
    folder.write("t.toml", "[camera]\neye = [0, -4, 1.5]\n" + shown);
    ASSERT_EQ(run("add b.mlib 'Floors\\Tiles' --from t.toml --material tiles"), 0) << printed;
    ASSERT_EQ(run("show b.mlib 'floors\\tiles'"), 0);
    EXPECT_EQ(printed, shown);
}

TEST_F(LibraryCommand, FailsInOneLine)
{
    folder.write("s.toml", scene_text);
    folder.write("text.mlib", "no library");
    const struct
    {
        const char *arguments, *printed;
        int code;
    } cases[] = {
        { "new a.mlib", "", 0 },
        { "add a.mlib 'A\\b' --from s.toml --material plain", nullptr, 0 },
        { "list a.mlib", "A\\\n  b\n", 0 },
        { "new a.mlib", "zirconlite: a.mlib: the library exists already\n", 1 },
        { "new none/a.mlib", "zirconlite: none/a.mlib: its folder does not exist\n", 3 },
        { "translate a.mlib none.uni", "zirconlite: none.uni: translation file not found\n", 3 },
        { "list none.mlib", "zirconlite: none.mlib: the library does not exist\n", 3 },
        { "pack text.mlib", "zirconlite: text.mlib: is not a library\n", 2 },
        { "show a.mlib 'A\\c'", "zirconlite: a.mlib: there is no record \"A\\c\"\n", 3 },
        { "show a.mlib 'A\\'",
            "zirconlite: a.mlib: \"A\\\" is the key of a folder; a record's key ends in its name\n", 64 },
        { "add a.mlib '' --from s.toml --material plain",
            "zirconlite: a.mlib: \"\" is the key of a folder; a record's key ends in its name\n", 64 },
        { "delete a.mlib 'C\\'", "zirconlite: a.mlib: there is no folder \"C\\\"\n", 3 },
        { "add a.mlib x --from s.toml --material none", "zirconlite: s.toml: there is no material \"none\"\n",
            2 },
        { "delete a.mlib 'a\\'", "", 0 },
        { "list a.mlib", "", 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.arguments);
        EXPECT_EQ(run(c.arguments), c.code) << printed;
        if (c.printed) { EXPECT_EQ(printed, c.printed); }
    }
    EXPECT_TRUE(std::filesystem::exists(folder.path / "data/zirconlite/common/backup/a.mlib"));
}

} // namespace

// A file of materials alone will do; what killed writers of this library left behind goes, and nothing else.
TEST_F(LibraryCommand, TakesMaterialsAloneAndLeftoversAway)
{
    folder.write("m.toml", "[materials.red]\ncolor = \"#ff0000\"\n");
    const pid_t gone = start_program(folder, { "--version" });
    end_of_program(gone);
    const std::string ended = std::to_string(gone), alive = std::to_string(getpid());
    for (const std::string& name : { "a.mlib." + ended + "-1.part", "a.mlib." + alive + "-1.part",
             "b.mlib." + ended + "-1.part", "a.mlib." + ended + "-1.copy" })
    {
        folder.write(name, "x");
    }
    ASSERT_EQ(run("add a.mlib 'Red' --from m.toml --material red"), 0) << printed;
    EXPECT_FALSE(std::filesystem::exists(folder.path / ("a.mlib." + ended + "-1.part")));
    EXPECT_TRUE(std::filesystem::exists(folder.path / ("a.mlib." + alive + "-1.part")));
    EXPECT_TRUE(std::filesystem::exists(folder.path / ("b.mlib." + ended + "-1.part")));
    EXPECT_TRUE(std::filesystem::exists(folder.path / ("a.mlib." + ended + "-1.copy")));
    EXPECT_EQ(run("list a.mlib"), 0);
    EXPECT_EQ(printed, "Red\n");
}

TEST_F(LibraryCommand, IsWholeOrNotThereWhenItsMakerIsKilled)
{
    folder.write("m.toml", "[materials.red]\ncolor = \"#ff0000\"\n");
    const pid_t maker =
        start_program(folder, { "library", "add", "a.mlib", "Red", "--from", "m.toml", "--material", "red" });
    siginfo_t ended = {};
    while (!std::filesystem::exists(folder.path / "a.mlib") && ended.si_pid == 0)
    {
        waitid(P_PID, id_t(maker), &ended, WEXITED | WNOHANG | WNOWAIT);
    }
    kill(maker, SIGKILL);
    end_of_program(maker);
    EXPECT_EQ(run("list a.mlib"), 0);
    EXPECT_EQ(printed, "Red\n");
}
