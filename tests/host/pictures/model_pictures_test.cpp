// Pictures on imported models, from the file to the pixel.
#include "host/pictures/picture_reader.hpp"
#include "tests/support/program.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

/// A TARGA of four texels, bottom row first: red and green below, blue and clear white above.
std::string four_fields()
{
    std::string tga("\0\0\2\0\0\0\0\0\0\0\0\0\2\0\2\0\40\0", 18);
    for (const char* bgra : { "\0\0\377\377", "\0\377\0\377", "\377\0\0\377", "\377\377\377\0" })
    {
        tga.append(bgra, 4);
    }
    return tga;
}

/// A wall of 2 by 2 metres before a grey one, its picture tiled twice each way. `map` holds lines of its
/// material.
void write_scene(const temporary_folder& folder, const std::string& map, const std::string& model_keys)
{
    folder.write("fields.tga", four_fields());
    folder.write("cut.tga", four_fields().substr(0, 26));
    folder.write("part.tga", std::string("\0\0\2\0\0\0\0\0\0\0\0\0\1\0\1\0\40\0\0\0\200\100", 22));
    folder.write("wall.mtl", "newmtl wall\nKd 1 1 1\n" + map);
    folder.write("wall.obj",
        "mtllib wall.mtl\nv -1 0 0\nv 1 0 0\nv 1 2 0\nv -1 2 0\nvt 0 0\nvt 2 0\nvt 2 2\nvt 0 2\n"
        "usemtl wall\nf 1/1 2/2 3/3 4/4\n");
    folder.write("scene.toml",
        "[camera]\neye = [0, -9, 1]\ntarget = [0, 0, 1]\nprojection = \"parallel\"\n"
        "parallel_width = 2\n[render]\nsize = [64, 64]\nambient = false\n[background]\ncolor = [0, 0, 0]\n"
        "[[light]]\nkind = \"distant\"\nlux = 50000\nazimuth_deg = 180\naltitude_deg = 0\n"
        "[[model]]\nfile = \"wall.obj\"\n" +
            model_keys);
}

/// Middles of the four by four fields, the bottom row first: r, g, b, w for the colour that stands out, -
/// dark.
std::string fields_seen(const temporary_folder& folder)
{
    EXPECT_EQ(run_program(folder, { "render", "scene.toml", "-o", "seen.png" }), 0)
        << folder.read("errors.txt");
    host::picture8 p;
    std::string why;
    EXPECT_TRUE(host::read_picture_file((folder.path / "seen.png").string(), p, why)) << why;
    if (p.rows.empty()) { return ""; }
    std::string seen;
    for (uint32_t field = 0; field < 16; ++field)
    {
        const uint32_t x = field % 4 * 16 + 8, y = field / 4 * 16 + 8;
        const uint8_t* c = &p.rows[(size_t(y) * p.width + x) * p.channels];
        const uint8_t high = std::max({ c[0], c[1], c[2] }), low = std::min({ c[0], c[1], c[2] });
        seen += high < 40 ? '-' : high - low < 40 ? 'w' : high == c[0] ? 'r' : high == c[1] ? 'g' : 'b';
    }
    return seen;
}

} // namespace

TEST(ModelPictures, ShowWhereTheCoordinatesPutThem)
{
    struct
    {
        const char* what;
        const char* map;
        const char* model_keys;
        const char* seen;
        const char* note = nullptr;
    } const cases[] = {
        { "tiled, alpha not asked for", "map_Kd fields.tga\n", "", "rgrgbwbwrgrgbwbw" },
        { "holes by the opacity picture", "map_Kd fields.tga\nmap_d fields.tga\n", "", "rgrgb-b-rgrgb-b-" },
        { "partly clear, over no other colour", "map_Kd part.tga\nmap_d part.tga\n", "", "rrrrrrrrrrrrrrrr" },
        { "colour times picture", "Kd 1 0 0\nmap_Kd fields.tga\n", "", "r-r--r-rr-r--r-r" },
        { "switched off", "map_Kd fields.tga\n", "pictures = false\n", "wwwwwwwwwwwwwwww" },
        { "missing picture", "map_Kd none.tga\n", "", "wwwwwwwwwwwwwwww",
            "none.tga: the picture is left out" },
        { "damaged picture", "map_Kd wall.obj\n", "", "wwwwwwwwwwwwwwww",
            "wall.obj: the picture is left out" },
        { "cut picture", "map_Kd cut.tga\n", "", "rgrg----rgrg----",
            "cut.tga: the picture ends in its row 2 of 2" },
        { "a mapping of the scene", "map_Kd fields.tga\n",
            "mapping = \"planar\"\nmapping_axis = [0, -1, 0]\nmapping_origin = [-1, 0, 0]\nmapping_scale = "
            "0.5\n",
            nullptr },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const temporary_folder folder;
        write_scene(folder, c.map, c.model_keys);
        const std::string seen = fields_seen(folder);
        if (c.seen) { EXPECT_EQ(seen, c.seen); }
        else { EXPECT_NE(seen, "rgrgbwbwrgrgbwbw"); }
        const std::string errors = folder.read("errors.txt");
        if (c.note) { EXPECT_NE(errors.find(c.note), std::string::npos) << errors; }
        else { EXPECT_EQ(errors.find("picture"), std::string::npos) << errors; }
    }
}
