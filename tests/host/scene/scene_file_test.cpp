// The scene reader: what it takes, and the one line with which it refuses the rest.
#include "host/failure.hpp"
#include "host/scene/scene.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace host;

namespace
{

const std::string camera = "[camera]\neye = [0, -5, 1]\ntarget = [0, 0, 1]\n";

std::string refusal(const std::string& text)
{
    try
    {
        parse_scene(text, "room.toml");
    }
    catch (const failure& f)
    {
        EXPECT_EQ(f.code, exit_bad_scene);
        return f.what();
    }
    return "";
}

} // namespace

// Each scene of the file ends in a line with its message.
TEST(SceneFile, NamesTheLineTheKeyAndTheRemedy)
{
    std::ifstream in(ZIRCONLITE_SOURCE_DIR "/tests/scenes/refused.txt");
    std::string text, what;
    int count = 0;
    for (std::string line; std::getline(in, line);)
    {
        if (line.starts_with("# ")) { what = line, text.clear(); }
        else if (line.starts_with("=> "))
        {
            EXPECT_EQ(refusal(text), line.substr(3)) << what;
            ++count;
        }
        else { text += line + "\n"; }
    }
    EXPECT_GT(count, 25);
}

TEST(SceneFile, RefusesBrokenTextWithItsLine)
{
    EXPECT_EQ(refusal(camera + "near = = 1\n").substr(0, 12), "room.toml:4:");
    EXPECT_EQ(refusal(camera + "eye = [0, 0, 0]\n").substr(0, 12), "room.toml:4:"); // twice the same key
    EXPECT_NE(refusal(std::string(2000, '[')), "");
    EXPECT_NE(refusal("\xff\xfe\x00[camera]"), "");
}

TEST(SceneFile, TakesDatesAndTimesOfToml)
{
    const scene s =
        parse_scene(camera + "[sun]\nplace = \"Berlin\"\ndate = 2026-03-01\ntime = 07:05:00\n", "a.toml");
    EXPECT_EQ(s.sun.date, "2026-03-01");
    EXPECT_EQ(s.sun.time, "07:05");
}

TEST(SceneFile, ReadsUnits)
{
    EXPECT_DOUBLE_EQ(*metres_per_unit("ft"), 0.3048);
    EXPECT_DOUBLE_EQ(*metres_per_unit("0.0254"), 0.0254);
    for (const char* wrong : { "", "0", "-1", "nan", "1e99", "1m", "metre" })
    {
        EXPECT_FALSE(metres_per_unit(wrong)) << wrong;
    }
}

// The page lists the keys as the program prints them.
TEST(SceneFile, IsDocumentedKeyByKey)
{
    std::ifstream in(ZIRCONLITE_SOURCE_DIR "/docs/scene-format.md");
    std::stringstream page;
    page << in.rdbuf();
    EXPECT_NE(page.str().find(describe_scene_keys()), std::string::npos)
        << "put the output of `zirconlite keys` into docs/scene-format.md";
}
