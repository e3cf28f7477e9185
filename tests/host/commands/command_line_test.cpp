// The program from outside: exit codes, one line for each failure, and what stays on the disk.
#include "tests/support/program.hpp"

#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

namespace
{

const char room_obj[] = "v -5 0 5\nv 5 0 5\nv 5 0 -5\nv -5 0 -5\nv -5 4 -5\nv 5 4 -5\nf 1 2 3 4\nf 4 3 6 5\n";
const char room_toml[] = R"(
[camera]
eye = [0, -4, 1.5]
target = [0, 0, 1]
[render]
size = [96, 64]
threads = 2
[[model]]
file = "room.obj"
[[light]]
kind = "point"
lumens = 1000
position = [0, 0, 3]
)";

class CommandLine : public testing::Test
{
protected:
    void SetUp() override
    {
        folder.write("room.obj", room_obj);
        folder.write("room.toml", room_toml);
    }
    int run(const std::vector<std::string>& arguments) { return run_program(folder, arguments); }
    std::string errors() { return folder.read("errors.txt"); }

    /// Size and mean of a PNG; 0 x 0 when it is not one.
    struct picture_facts
    {
        unsigned width = 0, height = 0;
        double mean = 0;
        bool black_row = false;
    };
    picture_facts facts(const std::string& name)
    {
        picture_facts f;
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_file(&image, (folder.path / name).c_str())) { return f; }
        image.format = PNG_FORMAT_GRAY;
        std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
        png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
        f.width = image.width;
        f.height = image.height;
        for (const unsigned char v : pixels) { f.mean += double(v) / double(pixels.size()); }
        for (unsigned y = 0; y < f.height; ++y)
        {
            const auto row = pixels.begin() + long(y) * f.width;
            f.black_row =
                f.black_row || std::all_of(row, row + f.width, [](unsigned char v) { return v == 0; });
        }
        return f;
    }
    temporary_folder folder;
};

} // namespace

TEST_F(CommandLine, ClampsBrightDotsExceptWhereLightIsMeasured)
{
    std::string scene = room_toml;
    scene.replace(scene.find("[0, 0, 3]"), 9, "[0, 4.95, 1]"); // near the wall: a small bright spot
    const auto with = [&](const std::string& keys)
    {
        folder.write(
            "spot.toml", std::string(scene).replace(scene.find("threads"), 0, "max_samples = 16\n" + keys));
        EXPECT_EQ(run({ "render", "spot.toml", "-o", "light.hdr" }), 0) << errors();
        return folder.read("light.hdr");
    };
    const std::string measured = with("");
    EXPECT_EQ(measured, with("clamp_indirect = 0\n"));
    EXPECT_NE(measured, with("clamp_indirect = 8\n"));
}

TEST_F(CommandLine, TheVisibleShapeOfALightDoesNotLightASecondTime)
{
    // A pane of 10,000 cd/m2 behind the eye would give many times the light of the source in front of it.
    folder.write("shape.obj", "v -1 2 7\nv 1 2 7\nv 1 4 7\nv -1 4 7\nf 1 2 3 4\n");
    const std::string tone = "[tone]\nev = 6\n";
    const std::string shape = "[[model]]\nfile = \"shape.obj\"\nmaterial = \"lamp\"\ncasts_shadow = false\n"
                              "[materials.lamp]\ncolor = \"#202020\"\nluminosity = 1000000\n";
    std::string room = room_toml;
    room.insert(room.find("threads"), "clamp_indirect = 0\n");
    folder.write("bare.toml", room + tone);
    folder.write("shaped.toml", room + tone + shape);
    for (const std::string name : { "bare", "shaped" })
    {
        EXPECT_EQ(run({ "render", name + ".toml", "-o", name + ".png", "--max-samples", "64" }), 0)
            << errors();
    }
    EXPECT_GT(facts("bare.png").mean, 20.0);
    EXPECT_NEAR(facts("shaped.png").mean, facts("bare.png").mean, 2.0);
}

TEST_F(CommandLine, GivesACodeAndALineForEveryFailure)
{
    folder.write("key.toml", std::string(room_toml) + "lumen = 3\n");
    folder.write("model.toml", "[camera]\n[[model]]\nfile = \"absent.obj\"\n");
    folder.write("damaged.toml", "[camera]\n[[model]]\nfile = \"damaged.obj\"\n");
    folder.write("damaged.obj", "v 0 0 0\nv nan 0 0\nv 0 1 0\nf 1 2 3\n");
    folder.write("names.toml",
        "[camera]\n[[model]]\nfile = \"room.obj\"\nmaterials = { \"Wal\" = \"a\" }\n[materials.a]\n");
    folder.write("planes.toml", std::string(room_toml) + "[output]\ndepth = \"d.png\"\n");
    folder.write("a.txt", "#ZR3 SUNSKY\nDATE=1\nTIME=dusk\n#END");
    folder.write("b.txt", "#ZR3 ENVIRONMENT\nCOLOR0=0.5\t1\n#END");
    folder.write("there.su", "kept");
    std::filesystem::create_directory(folder.path / "folder.png");

    struct
    {
        const char* what;
        std::vector<std::string> arguments;
        int code;
        const char* part;
    } const cases[] = {
        { "no command", {}, 64, "subcommand" },
        { "no scene", { "render" }, 64, "SCENE" },
        { "unknown option", { "render", "room.toml", "--frobnicate" }, 64, "--frobnicate" },
        { "quality out of range", { "render", "room.toml", "--quality", "9" }, 64,
            "--quality: 9 is outside 1 to 5" },
        { "size not a size", { "render", "room.toml", "--size", "640" }, 64, "--size" },
        { "more pixels than there can be", { "render", "room.toml", "--size", "100000x100000" }, 64,
            "--size: 100000 is outside 1 to 16384" },
        { "settings of no kind", { "settings", "new", "a.txt" }, 64, ".su (sun and sky)" },
        { "settings that are there", { "settings", "new", "there.su" }, 64, "is already there" },
        { "region outside", { "render", "room.toml", "--region", "90,0,20,10" }, 64, "90,0,20,10" },
        { "misspelt projection", { "render", "room.toml", "--projection", "perspectiv" }, 64,
            "did you mean \"perspective\"?" },
        { "missing scene", { "render", "none.toml" }, 3, "none.toml: scene file not found" },
        { "missing model", { "render", "model.toml" }, 3, "absent.obj: model file not found" },
        { "damaged model", { "render", "damaged.toml" }, 2, "vertex 1 is not a number" },
        { "damaged model alone", { "render", "damaged.obj" }, 2, "zirconlite: damaged.obj: " },
        { "a limit that is no number", { "render", "room.toml", "--limit", "nan" }, 64, "--limit: nan" },
        { "unknown material name", { "render", "names.toml" }, 2, "has no material \"Wal\"" },
        { "planes of a draft", { "render", "planes.toml", "--quality", "2" }, 2, "from quality 3 on" },
        { "no such folder", { "render", "room.toml", "-o", "none/a.png" }, 1,
            "none/a.png: cannot be written" },
        { "a folder", { "render", "room.toml", "-o", "folder.png" }, 1, "it is a folder" },
        { "unknown picture format", { "render", "room.toml", "-o", "a.gif" }, 1,
            "must end in one of .png, .bmp" },
        { "a latitude that is no number", { "sun", "--latitude", "nan", "--longitude", "0" }, 64,
            "nan is outside -90" },
        { "a value that is no number", { "settings", "check", "a.txt" }, 2, "line 3: \"dusk\" is no number" },
        { "a colour of two values", { "settings", "check", "b.txt" }, 2,
            "line 2: 1 of 3 values are missing" },
        { "scene as picture", { "render", "room.toml", "-o", "room.toml" }, 64, "would replace the scene" },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(run(c.arguments), c.code) << errors();
        const std::string text = errors();
        EXPECT_NE(text.find(c.part), std::string::npos) << text;
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
        EXPECT_EQ(text.substr(0, 12), "zirconlite: ");
    }
    // Not one of them leaves a file behind.
    for (const auto& entry : std::filesystem::directory_iterator(folder.path))
    {
        EXPECT_EQ(entry.path().filename().string().find(".png."), std::string::npos) << entry.path();
    }
}

TEST_F(CommandLine, ExplainsItself)
{
    EXPECT_EQ(run({ "render", "--help" }), 0);
    const std::string help = folder.read("output.txt");
    for (const char* part : { "--size", "--region", "--preview", "130  stopped by Ctrl-C",
             "  3  the scene, a model or a picture was not found" })
    {
        EXPECT_NE(help.find(part), std::string::npos) << part;
    }
    for (const char* printing : { "keys", "--help" })
    {
        const std::string full =
            std::string("'" ZIRCONLITE_HOST_PROGRAM "' ") + printing + " > /dev/full 2> /dev/null";
        EXPECT_EQ(WEXITSTATUS(std::system(full.c_str())), 1) << printing;
    }
    for (const char* file : { "a.su", "a.en", "a.ex" })
    {
        EXPECT_EQ(run({ "settings", "new", file }), 0) << errors();
        EXPECT_EQ(run({ "settings", "check", file }), 0) << errors();
    }
    EXPECT_EQ(run({ "--version" }), 0);
    EXPECT_EQ(folder.read("output.txt").substr(0, 11), "zirconlite ");
}

TEST_F(CommandLine, RendersPicturesOfTheSizesAskedFor)
{
    struct
    {
        const char* what;
        std::vector<std::string> options;
        unsigned width, height;
    } const cases[] = {
        { "whole", {}, 96, 64 },
        { "size", { "--size", "40x30" }, 40, 30 },
        { "region", { "--region", "13,5,50,31" }, 50, 31 },
        { "preview", { "--preview", "--size", "384x256" }, 96, 64 },
        { "preview of a region", { "--preview", "--size", "384x256", "--region", "160,80,32,32" }, 8, 8 },
        { "cylinder", { "--projection", "cylindrical" }, 96, 64 },
        { "probe", { "--projection", "light-probe" }, 96, 64 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        std::vector<std::string> arguments{ "render", "room.toml", "-o", "out.png" };
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        std::filesystem::remove(folder.path / "out.png");
        ASSERT_EQ(run(arguments), 0) << errors();
        const picture_facts f = facts("out.png");
        EXPECT_EQ(f.width, c.width);
        EXPECT_EQ(f.height, c.height);
        EXPECT_GT(f.mean, 10);
    }
}

TEST_F(CommandLine, SavesPlanesVariantsAndBitmaps)
{
    folder.write(
        "all.toml", std::string(room_toml) +
                        "[output]\nalpha = \"a.png\"\ndepth = \"d.png\"\nobject_id = \"i.png\"\n"
                        "[[variant]]\nfile = \"same.png\"\n[[variant]]\nfile = \"dark.png\"\nbrightness = "
                        "-0.5\n[[variant]]\nfile = \"power.png\"\nmethod = \"power\"\n");
    ASSERT_EQ(run({ "render", "all.toml", "-o", "all.bmp" }), 0) << errors();
    EXPECT_EQ(folder.read("all.bmp").substr(0, 2), "BM");
    EXPECT_GE(std::filesystem::file_size(folder.path / "all.bmp"), 54u + 96 * 64 * 3);
    for (const char* name : { "a.png", "d.png", "i.png", "same.png", "dark.png", "power.png" })
    {
        EXPECT_EQ(facts(name).width, 96u) << name;
    }
    EXPECT_LT(facts("dark.png").mean + 10, facts("same.png").mean);
    EXPECT_NE(folder.read("power.png"), folder.read("same.png"));
    EXPECT_NE(folder.read("output.txt").find("distances "), std::string::npos);
}

TEST_F(CommandLine, SpansDistancesByTheObjectsOrByTheScene)
{
    // A sheet 6 m before the eye, over a ground that goes on to the horizon.
    folder.write("sheet.obj", "v -1 0 0\nv 1 0 0\nv 1 0 2\nv -1 0 2\nf 1 2 3 4\n");
    const std::string scene =
        "[camera]\neye = [0, -6, 1]\ntarget = [0, 0, 1]\n[render]\nsize = [96, 64]\n"
        "[ground]\nheight = 0\n[[light]]\nkind = \"point\"\nlumens = 1000\nposition = [0, -3, 3]\n"
        "[[model]]\nfile = \"sheet.obj\"\nup = \"z\"\n"
        "[output]\ndepth = \"d.png\"\n";
    folder.write("near.toml", scene);
    folder.write("given.toml", scene + "depth_near = 2\ndepth_far = 50\n");
    folder.write("wrong.toml", scene + "depth_near = 5\ndepth_far = 5\n");
    ASSERT_EQ(run({ "render", "near.toml" }), 0) << errors();
    EXPECT_NE(folder.read("output.txt").find("distances 6 m (0) to 6.164 m"), std::string::npos)
        << folder.read("output.txt");
    ASSERT_EQ(run({ "render", "given.toml" }), 0) << errors();
    EXPECT_NE(folder.read("output.txt").find("distances 2 m (0) to 50 m"), std::string::npos);
    EXPECT_EQ(run({ "render", "wrong.toml" }), 2);
    EXPECT_NE(errors().find("depth_near 5 must be below depth_far 5"), std::string::npos) << errors();
}

TEST_F(CommandLine, StopsOnSignalsAndKeepsWhatItHas)
{
    // Fine enough to last for minutes.
    std::string slow = room_toml;
    slow.replace(slow.find("[96, 64]"), 8, "[3000, 2000]\nquality = 5\nantialiasing = 1.0");
    folder.write("slow.toml", slow);
    struct
    {
        int signal, code;
    } const cases[] = { { SIGINT, 130 }, { SIGTERM, 143 }, { SIGHUP, 129 } };
    for (const auto& c : cases)
    {
        folder.write("slow.png", "old picture");
        const pid_t r = start_program(folder, { "render", "slow.toml" });
        // The last pass has begun when its name is in the log.
        for (int i = 0; i < 600 && errors().find("pass 2") == std::string::npos; ++i)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        kill(r, c.signal);
        kill(r, c.signal); // twice at once is one wish
        const auto start_of_stop = std::chrono::steady_clock::now();
        EXPECT_EQ(end_of_program(r), c.code) << errors();
        EXPECT_LT(std::chrono::steady_clock::now() - start_of_stop, std::chrono::seconds(4));
        EXPECT_EQ(facts("slow.png").width, 3000u);
        EXPECT_GT(facts("slow.png").mean, 1);
    }
    // The second wish ends at once, here before a stop could have saved.
    folder.write("slow.png", "old picture");
    const pid_t twice = start_program(folder, { "render", "slow.toml", "--size", "9000x9000" });
    for (int i = 0; i < 600 && errors().find("pass 1") == std::string::npos; ++i)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    kill(twice, SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(350));
    kill(twice, SIGINT);
    EXPECT_EQ(end_of_program(twice), 130);
    EXPECT_EQ(folder.read("slow.png"), "old picture");

    // At once after the start nothing has been measured: the old picture stays.
    folder.write("slow.png", "old picture");
    const pid_t r = start_program(folder, { "render", "slow.toml" });
    std::this_thread::sleep_for(std::chrono::milliseconds(15));
    kill(r, SIGTERM);
    const int code = end_of_program(r);
    EXPECT_TRUE(code == 143 || code == -SIGTERM) << code;
    EXPECT_EQ(folder.read("slow.png"), "old picture");
}

// A model needs no scene file: camera, light and ground are given and named.
TEST_F(CommandLine, RendersAndDescribesAModelAlone)
{
    folder.write("caf\xE9.obj", std::string("mtllib none.mtl\nusemtl bl\xE9\n") + room_obj);
    const pid_t gone = start_program(folder, { "--version" });
    end_of_program(gone);
    const std::string leftover = ".a.png." + std::to_string(gone) + "-1.part"; // of a writer that was killed
    folder.write(leftover, "x");
    ASSERT_EQ(run({ "render", "caf\xE9.obj", "-o", "a.png", "--size", "60x40", "--view", "front" }), 0)
        << errors();
    EXPECT_FALSE(std::filesystem::exists(folder.path / leftover));
    for (const char* part : { "camera: front view", "light: ", "ground: ", "none.mtl" })
    {
        EXPECT_NE(errors().find(part), std::string::npos) << errors();
    }
    EXPECT_EQ(facts("a.png").width, 60u);
    EXPECT_FALSE(facts("a.png").black_row);
    ASSERT_EQ(run({ "info", "room.obj", "--unit", "cm", "--json" }), 0) << errors();
    const std::string json = folder.read("output.txt");
    for (const char* part : { "\"triangles\": 4", "\"metres\": 0.01", "\"up\": \"y\"", "0.04" })
    {
        EXPECT_NE(json.find(part), std::string::npos) << json;
    }
    EXPECT_EQ(run({ "render", "room.toml", "--view", "above" }), 64);
}
