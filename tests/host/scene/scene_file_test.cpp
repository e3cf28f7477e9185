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

TEST(SceneFile, TakesEverySection)
{
    const scene s = parse_scene(R"(
[camera]
eye = [1, 2.5, 3]
target = [4, 5, 6]
projection = "parallel"
parallel_width = 12
clip_planes = [[0, 0, 1, -2]]
[render]
size = [320, 200]
light_model = "fast"
search = "grid"
region = [10, 20, 30, 40]
[tone]
method = "power"
[[variant]]
file = "dark.png"
brightness = -1
[background]
color = "#ff8000"
[[model]]
file = "a.obj"
unit = "mm"
scale = 2
materials = { "Wall 1" = "plaster" }
thin = false
[materials.plaster]
color = [0.5, 0.25, 1]
[[light]]
kind = "spot"
candela = 100
target = [0, 0, 0]
[[light]]
kind = "distant"
lux = 10
azimuth_deg = 90
altitude_deg = 45
)",
        "folder/room.toml");
    EXPECT_EQ(s.camera.eye, (vec3{ 1, 2.5, 3 }));
    EXPECT_EQ(s.camera.projection, 1);
    EXPECT_EQ(s.camera.clip_planes.at(0)[3], -2);
    EXPECT_EQ(s.render.light_model, 0);
    EXPECT_EQ(s.render.search, 0);
    EXPECT_EQ((*s.render.region)[3], 40);
    EXPECT_EQ(s.tone.method, 0);
    EXPECT_NEAR(s.background.color->rgb[1], 128 / 255.0, 1e-12);
    ASSERT_EQ(s.models.size(), 1u);
    EXPECT_EQ(s.models[0].scale, (vec3{ 2, 2, 2 }));
    EXPECT_EQ(s.models[0].materials.at("Wall 1"), "plaster");
    EXPECT_EQ(s.models[0].thin, false);
    ASSERT_EQ(s.lights.size(), 2u);
    EXPECT_EQ(s.lights[1].kind, light_distant);
    EXPECT_EQ(beside_scene(s, "a.obj"), "folder/a.obj");
    EXPECT_EQ(beside_scene(s, "/x/a.obj"), "/x/a.obj");
}

TEST(SceneFile, NamesTheLineTheKeyAndTheRemedy)
{
    struct
    {
        const char* what;
        std::string text, expected;
    } const cases[] = {
        { "misspelt key", camera + "lense_mm = 20\n",
            "room.toml:4: [camera] has no key \"lense_mm\"; did you mean \"lens_mm\"?" },
        { "misspelt section", camera + "[rendr]\n",
            "room.toml:4: there is no section \"rendr\"; did you mean \"render\"?" },
        { "text for a number", camera + "near = \"far\"\n",
            "room.toml:4: [camera] near: expected a number, found a text" },
        { "fraction for an integer", camera + "[render]\nquality = 2.5\n",
            "room.toml:5: [render] quality: expected an integer, found a number" },
        { "too few numbers", "[camera]\neye = [1, 2]\n",
            "room.toml:2: [camera] eye: expected a list of 3 numbers, found 2" },
        { "not a number", "[camera]\neye = [1, nan, 3]\n",
            "room.toml:2: [camera] eye: nan is outside -1000000000 to 1000000000" },
        { "out of range", camera + "[render]\nquality = 6\n",
            "room.toml:5: [render] quality: 6 is outside 1 to 5" },
        { "absurd size", camera + "[render]\nsize = [100, 9223372036854775807]\n",
            "room.toml:5: [render] size: 9.223372036854776e+18 is outside 1 to 16384" },
        { "unknown choice", camera + "projection = \"fisheye\"\n",
            "room.toml:4: [camera] projection: \"fisheye\" is not one of \"parallel\", \"perspective\", "
            "\"two-point\", "
            "\"cylindrical\", \"spherical\", \"light-probe\"" },
        { "wrong colour", camera + "[background]\ncolor = \"red\"\n",
            "room.toml:5: [background] color: \"red\" is not a colour like \"#c8b090\"" },
        { "wrong colour in mirrors", camera + "[reflections]\n[reflections.background]\ncolor = 4\n",
            "room.toml:6: [reflections.background] color: expected a list of 3 numbers or a text like "
            "\"#c8b090\", "
            "found an integer" },
        { "moment with seconds", camera + "[sun]\ntime = 10:00:30\n",
            "room.toml:5: [sun] time: has seconds; a moment is a minute" },
        { "eye and side", camera + "view = \"front\"\n[[model]]\nfile = \"a.obj\"\n",
            "room.toml:4: [camera] takes an eye or a view, not both" },
        { "table for a list", camera + "[model]\nfile = \"a.obj\"\n",
            "room.toml:4: \"model\" must be written as [[model]]" },
        { "list for a table", "[[camera]]\n", "room.toml:1: [camera] must be a table of keys" },
        { "no camera", "[render]\n", "room.toml: there is no [camera] section" },
        { "eye at target", "[camera]\neye = [1, 1, 1]\ntarget = [1, 1, 1]\n",
            "room.toml:3: [camera] target: the target is where the eye is" },
        { "recursion", camera + "[render]\nreflect_limit = 20\nrefract_limit = 22\n",
            "room.toml:6: [render] refract_limit: reflect_limit and refract_limit together must stay below "
            "42" },
        { "region outside", camera + "[render]\nsize = [100, 50]\nregion = [90, 0, 20, 10]\n",
            "room.toml:6: [render] region: does not lie in the picture of 100x50" },
        { "parallel without a width", camera + "projection = \"parallel\"\n",
            "room.toml:4: [camera] projection: a parallel picture needs parallel_width" },
        { "unknown material", camera + "[[model]]\nfile = \"a.obj\"\nmaterial = \"oka\"\n[materials.oak]\n",
            "room.toml:4: [[model]] there is no [materials.oka]; did you mean \"oak\"?" },
        { "material inside itself",
            camera + "[materials.a]\nkind = \"blend\"\nfirst = \"a\"\nsecond = \"a\"\n",
            "room.toml:4: [materials.a] lies in more than 6 patterns, one in the other, or inside itself" },
        { "mask without a picture",
            camera + "[materials.b]\n[materials.a]\nkind = \"mask\"\nfirst = \"b\"\nsecond = \"b\"\n",
            "room.toml:5: [materials.a] is a mask: give the picture" },
        { "key without a library", camera + "[materials.a]\nlibrary = 'WOOD'\n",
            "room.toml:4: [materials.a] library: expected LIBRARY\\\\Folder\\Name, in single quotes as TOML "
            "keeps "
            "backslashes there" },
        { "unit", camera + "[[model]]\nfile = \"a.obj\"\nunit = \"ell\"\n",
            "room.toml:4: [[model]] unit: \"ell\" is not m, cm, mm, km, in, ft, yd or metres per unit" },
        { "two strengths", camera + "[[light]]\nname = \"desk\"\nlumens = 1\nwatts = 1\n",
            "room.toml:4: [[light]] \"desk\" give one of lumens, candela and watts" },
        { "spot without aim", camera + "[[light]]\nkind = \"spot\"\nlumens = 1\n",
            "room.toml:4: [[light]] is a spot: give its target" },
        { "distant in lumens", camera + "[[light]]\nkind = \"distant\"\nlumens = 1\n",
            "room.toml:4: [[light]] is distant: give its lux, and no lumens, candela or watts" },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(refusal(c.text), c.expected);
    }
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
