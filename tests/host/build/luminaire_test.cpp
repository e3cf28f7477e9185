/// @file
/// Luminaires of a library in a scene: their lamps, and their light in a picture.
#include "host/build/build_luminaire.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/pictures/light_picture.hpp"
#include "tests/support/program.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

const char photometry[] = "IESNA91\nTILT=NONE\n1 500 1 2 1 1 2 0 0 0\n1 1 40\n0 90\n0\n100 100\n";

struct Luminaires : testing::Test
{
    Luminaires()
    {
        folder.write("a.ies", photometry);
        folder.write("m.toml", "[camera]\neye=[0,-1,1]\n[materials.brass]\ncolor=[0.9,0.6,0.2]\n");
    }

    int run(const std::vector<std::string>& arguments) { return run_program(folder, arguments); }

    host::scene scene_of(const std::string& luminaires)
    {
        folder.write("s.toml", "[camera]\neye = [0, -5, 1]\n" + luminaires);
        return host::read_scene(folder.path / "s.toml");
    }

    temporary_folder folder;
};

TEST_F(Luminaires, BecomeGroupsWithLamps)
{
    ASSERT_EQ(
        run({ "library", "add", "METALS.mlib", "Brass\\Dull", "--from", "m.toml", "--material", "brass" }),
        0);
    ASSERT_EQ(
        run({ "lights", "add", "l.llib", "Panel", "--ies", "a.ies", "--size", "1.2", "0.6", "--offset", "0.1",
            "0.2", "0.3", "--kelvin", "3000", "--output", "0.5", "--material", "METALS\\\\Brass\\Dull" }),
        0);
    ASSERT_EQ(run({ "lights", "add", "l.llib", "Basin", "--size", "0.4", "0", "--shape", "D" }), 0);
    ASSERT_EQ(run({ "lights", "add", "l.llib", "Line", "--size", "0", "2" }), 0);
    host::progress_line progress(false);
    const host::library_session library(progress);
    host::scene s = scene_of(R"(
[[luminaire]]
library = 'l\\Panel'
position = [1, 2, 3]
dimmer = 0.25
[[luminaire]]
library = 'l\\Panel'
position = [0, 0, 2]
target = [0, 5, 2]
c0 = [0, 1, 1]
lumens = 900
kelvin = 6000
visible = false
[[luminaire]]
library = 'l\\Basin'
lumens = 100
aim = [0, 0, 1]
[[luminaire]]
library = 'l\\Line'
lumens = 100
)");
    std::vector<std::string> notes;
    host::place_luminaires(s, notes);
    ASSERT_EQ(s.lights.size(), 8u);
    ASSERT_EQ(notes.size(), 1u) << "the default material of two records is said once";
    EXPECT_NE(notes[0].find("ZIRCONLITE\\\\Solid Colors"), std::string::npos) << notes[0];

    // Straight down, C0 to the east: C90 is north.
    const host::scene_light &group = s.lights[0], &panel = s.lights[1];
    EXPECT_EQ(group.kind, host::light_group);
    EXPECT_EQ(group.kelvin, 3000);
    EXPECT_EQ(group.dimmer, 0.25);
    EXPECT_EQ(group.fixture->entry, "Panel");
    EXPECT_EQ(panel.group, group.name);
    EXPECT_EQ(panel.kind, host::light_area);
    EXPECT_NEAR(panel.size[0], 1.2, 1e-6);
    EXPECT_NEAR(panel.size[1], 0.6, 1e-6);
    EXPECT_NEAR(*panel.lumens, 100 * 2 * M_PI / 2, 0.01);
    EXPECT_TRUE(panel.visible);
    EXPECT_TRUE(panel.fixture->table);
    EXPECT_TRUE(s.materials.count(panel.fixture->look)) << panel.fixture->look;
    const auto expect_near = [](const host::vec3& a, const host::vec3& b)
    {
        for (size_t i = 0; i < 3; ++i) { EXPECT_NEAR(a[i], b[i], 1e-9) << i; }
    };
    expect_near(panel.position, { 1.1, 2.2, 3.3 });
    // To the north, C0 up: C90 is west, and behind is south.
    const host::scene_light& wall = s.lights[3];
    expect_near(*wall.normal, { 0, 1, 0 });
    expect_near(*wall.c0, { 0, 0, 1 });
    expect_near(wall.position, { -0.2, -0.3, 2.1 });
    EXPECT_EQ(*wall.lumens, 900);
    EXPECT_EQ(s.lights[2].kelvin, 6000);
    EXPECT_FALSE(wall.visible);
    EXPECT_EQ(wall.fixture, panel.fixture) << "one record is read once";
    const host::scene_light& basin = s.lights[5];
    EXPECT_EQ(basin.kind, host::light_disk);
    EXPECT_NEAR(basin.radius, 0.2, 1e-6);
    EXPECT_FALSE(basin.fixture->table);
    EXPECT_EQ(s.lights[7].kind, host::light_linear);
    expect_near(*s.lights[7].axis, { 0, 1, 0 });
}

TEST_F(Luminaires, AreRefusedByLine)
{
    ASSERT_EQ(run({ "lights", "add", "l.llib", "Plain", "--size", "1", "1" }), 0);
    const struct
    {
        const char* text;
        int code;
        const char* reason;
    } cases[] = {
        { "library = 'l\\Plain'", 2, "s.toml:3: [[luminaire]] library: expected LIBRARY\\\\Folder\\Name" },
        { "library = 'none\\\\Plain'", 3, "there is no library" },
        { "library = 'l\\\\Other'", 2, "s.toml:3: library" },
        { "library = 'l\\\\Plain'", 2, "has no photometric table: give its lumens" },
        { "library = 'l\\\\Plain'\naim = [0, 0, 0]", 2, "aim: has no length" },
        { "library = 'l\\\\Plain'\naim = [0, 0, 1]\ntarget = [0, 0, 9]", 2, "target or aim, not both" },
        { "library = 'l\\\\Plain'\ntarget = [0, 0, 3]", 2, "aims at its own position" },
        { "library = 'l\\\\Plain'\nkelvin = 10", 2, "kelvin" },
    };
    for (const auto& c : cases)
    {
        folder.write("s.toml", std::string("[camera]\neye = [0, -5, 1]\n[[luminaire]]\n") + c.text + "\n");
        EXPECT_EQ(run({ "render", "s.toml" }), c.code) << c.text;
        EXPECT_NE(folder.read("errors.txt").find(c.reason), std::string::npos) << folder.read("errors.txt");
    }
}

TEST_F(Luminaires, LightWhatIsBelowThem)
{
    // Twice the lumens of 100 cd, dimmed to half: 25 lx at 2 m, on a floor that reflects 0.5 ^ 2.2.
    ASSERT_EQ(run({ "lights", "add", "l.llib", "Point", "--ies", "a.ies" }), 0);
    folder.write("floor.obj", "v -5 -5 0\nv 5 -5 0\nv 5 5 0\nv -5 5 0\nf 1 2 3 4\n");
    folder.write("s.toml", R"(
[camera]
eye = [0, 0, 1.5]
target = [0, 0, 0]
fov_deg = 4
[render]
size = [16, 16]
[background]
color = [0, 0, 0]
[materials.paint]
color = [0.5, 0.5, 0.5]
[[model]]
file = "floor.obj"
up = "z"
unit = "m"
material = "paint"
[[luminaire]]
library = 'l\\Point'
position = [0, 0, 2]
lumens = 1256.637
dimmer = 0.5
)");
    ASSERT_EQ(run({ "render", "s.toml", "-o", "s.hdr" }), 0) << folder.read("errors.txt");
    std::string warning;
    const host::light_picture light = host::read_light(folder.path / "s.hdr", warning);
    pixel_components c;
    zr_unpack_internal_pixel(light.get(), zr_image_buffer_pixel(light.get(), 8, 8), &c, 0);
    const double expected = 25 * std::pow(0.5, 2.2) / M_PI;
    EXPECT_NEAR(c.surface[1], expected, 0.02 * expected);
}

} // namespace
