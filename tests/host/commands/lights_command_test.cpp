/// @file
/// `zirconlite lights` from outside.
#include "tests/support/program.hpp"

#include <gtest/gtest.h>

namespace
{

const char photometry[] =
    "IESNA:LM-63-2002\n[LUMINAIRE] Basin\n[LUMCAT] B-7\nTILT=NONE\n1 500 1 2 1 1 2 -0.3 -0.3 0\n"
    "1 1 40\n0 90\n0\n100 100\n";

TEST(LightsCommand, KeepsLuminairesOfPhotometricFiles)
{
    const temporary_folder folder;
    folder.write("a.ies", photometry);
    const auto run = [&](std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "lights");
        const int code = run_program(folder, arguments);
        return code == 0 ? folder.read("output.txt") : std::to_string(code) + " " + folder.read("errors.txt");
    };
    EXPECT_EQ(run({ "add", "l.llib", "Halls\\Basin", "--ies", "a.ies", "--kelvin", "3000", "--output", "0.5",
                  "--material", "METALS\\\\Brass\\Dull", "--offset", "0", "0.1", "-0.2" }),
        "");
    EXPECT_EQ(run({ "add", "l.llib", "Halls\\Panel", "--size", "1.2", "0.6", "--name", "Panel" }), "");
    // 100 cd over the lower half are 628.3 lm, of which the record takes half.
    const std::string list = run({ "list", "l.llib" });
    EXPECT_NE(list.find("Halls\\Basin      314       50    3000  Basin\n"), std::string::npos) << list;
    EXPECT_NE(list.find("Halls\\Panel        -        -    5000  Panel\n"), std::string::npos) << list;
    const std::string shown = run({ "show", "l.llib", "halls\\basin" });
    for (const char* part : { "model      B-7\n", "material   METALS\\\\Brass\\Dull\n", "a disk\n",
             "0.3 m along C0, 0.3 m along C90\n", "offset     0, 0.1, -0.2 m\n",
             "628.3 lm of the table, 314.2 lm" })
    {
        EXPECT_NE(shown.find(part), std::string::npos) << part << "\n" << shown;
    }
    EXPECT_EQ(run_program(folder, { "library", "show", "l.llib", "halls\\basin" }), 0);
    EXPECT_EQ(folder.read("output.txt"), shown);
    EXPECT_EQ(run({ "delete", "l.llib", "Halls\\Panel" }), "");
    EXPECT_NE(run({ "pack", "l.llib" }).find("l.llib: "), std::string::npos);
    EXPECT_EQ(run({ "show", "l.llib", "Halls\\Panel" }),
        "3 zirconlite: l.llib: there is no record \"Halls\\Panel\"\n");
    EXPECT_EQ(run({ "show", "l.llib", "HALLS\\Basin" }), shown);

    const struct
    {
        std::vector<std::string> arguments;
        const char* answer;
    } refused[] = {
        { { "list", "none.llib" }, "3 " },
        { { "list", "a.ies" }, "64 zirconlite: a.ies: a light library ends in .llib" },
        { { "add", "l.llib", "Halls\\", "--name", "x" },
            "64 zirconlite: l.llib: \"Halls\\\" is the key of a folder" },
        { { "add", "l.llib", "x", "--material", "Brass" },
            "64 zirconlite: --material: \"Brass\" is not like" },
        { { "add", "l.llib", "x", "--ies", "none.ies" }, "3 zirconlite: none.ies: no such file" },
        { { "add", "l.llib", "x", "--kelvin", "0" }, "64 " },
        { { "new", "l.llib" }, "1 zirconlite: l.llib: the library exists already" },
    };
    for (const auto& r : refused)
    {
        EXPECT_EQ(run(r.arguments).compare(0, std::string(r.answer).size(), r.answer), 0) << run(r.arguments);
    }
    // A library that is cut off is refused by name, and nothing is written to it.
    std::filesystem::resize_file(
        folder.path / "l.llib", std::filesystem::file_size(folder.path / "l.llib") - 8);
    EXPECT_EQ(run({ "show", "l.llib", "Halls\\Basin" }).compare(0, 2, "2 "), 0);
    EXPECT_NE(folder.read("errors.txt").find("longer than the file"), std::string::npos)
        << folder.read("errors.txt");
}

} // namespace
