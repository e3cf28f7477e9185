// Model files through the importing child: every format, its axes and units, and damaged ones.
#include "host/models/import.hpp"
#include "host/models/model_stream.hpp"
#include "host/pictures/picture_reader.hpp"
#include "host/pictures/picture_store.hpp"
#include "tests/support/temporary_folder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <fstream>

using namespace host;

namespace
{

/// A square of 2 by 1 at a height of 3.
const char obj_text[] = "mtllib a.mtl\no wall\nv 0 3 0\nv 2 3 0\nv 2 3 -1\nv 0 3 -1\nusemtl red\nf 1 2 3 4\n";
const char mtl_text[] = "newmtl red\nKd 1 0.5 0\nKs 0.25 0.25 0.25\nNs 40\nd 0.25\nNi 1.4\nillum 2\n";
/// A file of tests/models: the same square as the format's own program would write it.
std::string stored(const char* name)
{
    std::ifstream in(std::filesystem::path(ZIRCONLITE_SOURCE_DIR "/tests/models") / name, std::ios::binary);
    return { std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>() };
}

/// The square as glTF, with one text in it changed; its indices are the last 16 characters of the buffer.
std::string gltf(const std::string& from = "", const std::string& to = "")
{
    std::string text = stored("square.gltf");
    return text.replace(text.find(from), from.size(), to);
}
const char indices[] = "AAABAAIAAAACAAMA";

class Import : public testing::Test
{
protected:
    import_request request(const std::string& name)
    {
        import_request r;
        r.file = folder.path / name;
        r.program = ZIRCONLITE_HOST_PROGRAM;
        r.limits.seconds = 60;
        return r;
    }
    model read(const std::string& name, const std::string& content)
    {
        folder.write(name, content);
        return import_model(request(name));
    }
    failure refusal(const import_request& r)
    {
        try
        {
            import_model(r);
        }
        catch (const failure& f)
        {
            EXPECT_EQ(std::count(f.what(), f.what() + std::strlen(f.what()), '\n'), 0) << f.what();
            return f;
        }
        ADD_FAILURE() << "was read";
        return failure(exit_done, "");
    }
    failure refusal(const std::string& name, const std::string& content)
    {
        folder.write(name, content);
        return refusal(request(name));
    }
    temporary_folder folder;
};

std::array<float, 6> extent(const model& m)
{
    std::array<float, 6> e{ 1e9f, 1e9f, 1e9f, -1e9f, -1e9f, -1e9f };
    for (const model_mesh& mesh : m.meshes)
    {
        for (size_t i = 0; i < mesh.positions.size(); ++i)
        {
            e[i % 3] = std::min(e[i % 3], mesh.positions[i]);
            e[3 + i % 3] = std::max(e[3 + i % 3], mesh.positions[i]);
        }
    }
    return e;
}

} // namespace

TEST_F(Import, BringsEveryFormatToMetresWithZUp)
{
    struct
    {
        const char* file;
        std::string content;
    } const cases[] = {
        { "a.obj", obj_text },
        { "a.ply", stored("square.ply") },
        { "a.stl", stored("square.stl") },
        { "a.3ds", stored("square.3ds") },
        { "a.gltf", gltf() },
        { "cm.dae", stored("square-cm.dae") },
        { "y.dae", stored("square-y-up.dae") },
        { "a.ifc", stored("square.ifc") },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.file);
        const model m = read(c.file, c.content);
        const std::array<float, 6> expected{ 0, 0, 3, 2, 1, 3 }, found = extent(m);
        for (int i = 0; i < 6; ++i) { EXPECT_NEAR(found[i], expected[i], 1e-5) << i; }
        ASSERT_FALSE(m.meshes.empty());
        EXPECT_FALSE(m.meshes[0].is_closed);
    }
}

TEST_F(Import, PutsTheScenesUnitAndAxisOverTheFiles)
{
    struct
    {
        const char* file;
        std::string content;
        double unit;
        char up;
        std::array<float, 6> expected;
    } const cases[] = {
        { "mm.stl", stored("square.stl"), 0.001, 0, { 0, 0, 0.003f, 0.002f, 0.001f, 0.003f } },
        { "cm.dae", stored("square-cm.dae"), 1, 0, { 0, 0, 300, 200, 100, 300 } },
        { "up.dae", stored("square-y-up.dae"), 0, 'z', { 0, 3, -1, 2, 3, 0 } },
        { "up.3ds", stored("square.3ds"), 0, 'z', { 0, 0, 3, 2, 1, 3 } },
        { "x.ply", stored("square.ply"), 0, 'x', { -3, 0, 0, -3, 1, 2 } },
        { "mm.ifc", stored("square.ifc"), 0.01, 0, { 0, 0, 30, 20, 10, 30 } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.file);
        folder.write(c.file, c.content);
        import_request r = request(c.file);
        r.metres_per_unit = c.unit;
        r.up = c.up;
        const std::array<float, 6> found = extent(import_model(r));
        for (int i = 0; i < 6; ++i)
        {
            EXPECT_NEAR(found[i], c.expected[i], 1e-4 + 1e-6 * std::abs(c.expected[i])) << i;
        }
    }
}

TEST_F(Import, KeepsPolygonsMaterialsAndTextureCoordinatesByCorner)
{
    folder.write("a.mtl", mtl_text);
    const model m = read("a.obj", "mtllib a.mtl\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\nv 2 1 0\nvt 0 "
                                  "0\nvt 0.5 0\nvt 0.5 1\nvt 0 1\nvt 0.25 0.25\n"
                                  "usemtl red\nf 1/1 2/2 3/3 4/4\nf 2/5 5/1 6/3 3/3\n");
    ASSERT_EQ(m.meshes.size(), 1u);
    const model_mesh& mesh = m.meshes[0];
    EXPECT_EQ(mesh.corner_count, std::vector<uint32_t>(2, 4));
    EXPECT_EQ(mesh.positions.size(), 6u * 3);
    ASSERT_EQ(mesh.uv[0].size(), 16u);
    EXPECT_EQ(mesh.uv[0][2], 0.5f);  // the shared vertex in one polygon
    EXPECT_EQ(mesh.uv[0][8], 0.25f); // and in the other
    const model_material& red = m.materials.at(mesh.material);
    EXPECT_EQ(red.name, "red");
    EXPECT_EQ((*red.diffuse)[1], 0.5f);
    EXPECT_EQ(*red.opacity, 0.25f);
    EXPECT_EQ(*red.ior, 1.4f);
    EXPECT_EQ(*red.illumination, 2);
}

TEST_F(Import, TakesSmoothingGroupsOfAnObjWithoutNormals)
{
    const std::string roof = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 1\nv 2 1 1\n";
    EXPECT_NEAR(read("on.obj", roof + "s 1\nf 1 2 3 4\nf 2 5 6 3\n").meshes[0].smooth_cosine, 0.5, 1e-6);
    EXPECT_EQ(read("off.obj", roof + "s off\nf 1 2 3 4\nf 2 5 6 3\n").meshes[0].smooth_cosine, 1);
}

TEST_F(Import, RefusesDamagedFilesInOneLine)
{
    const std::string ply_head =
        "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n"
        "element face 1\nproperty list uchar int vertex_indices\nend_header\n";
    struct
    {
        const char* file;
        std::string content, part;
    } const cases[] = {
        { "empty.obj", "", "the file is empty" },
        { "noise.obj", std::string("\x01\x02\x03\xff", 4), "" },
        { "nan.obj", "v nan 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n", "vertex 0 is not a number" },
        { "far.obj", "v 0 0 0\nv 2e9 0 0\nv 0 1 0\nf 1 2 3\n", "vertex 1 lies beyond 1e9 metres" },
        { "index.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n", "" },
        { "index.ply", ply_head + "0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n", "" },
        { "cut.ply", ply_head + "0 0 0\n1 0", "" },
        { "cut.gltf", gltf().substr(0, 200), "" },
        { "index.gltf", gltf(indices, "AAABAAkAAAACAAMA"),
            "mesh \"square\": 1 of its 2 triangles have an index out of range" },
        { "first.gltf", gltf(indices, "CQABAAIAAAACAAMA"), "1 of its 2 triangles" },
        { "second.gltf", gltf(indices, "AAAJAAIAAAACAAMA"), "1 of its 2 triangles" },
        { "count.gltf", gltf("\"count\":6", "\"count\":60000"), "" },
        { "packed.gltf", gltf("{\"asset", R"({"extensionsRequired":["EXT_meshopt_compression"],"asset)"),
            "needs EXT_meshopt_compression, which is not supported" },
        { "cut.glb", "glTF\x02\x00\x00\x00", "" },
        { "cut.3ds", stored("square.3ds").substr(0, 60), "" },
        { "cut.ifc", stored("square.ifc").substr(0, 400), "" },
        { "a.unknown", "text", "the format \".unknown\" is not known" },
        { "none", "text", "is not known" },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.file);
        const failure f = refusal(c.file, c.content);
        EXPECT_EQ(f.code, exit_bad_scene) << f.what();
        EXPECT_NE(std::string(f.what()).find(c.file), std::string::npos) << f.what();
        EXPECT_NE(std::string(f.what()).find(c.part), std::string::npos) << f.what();
    }
}

TEST_F(Import, ReadsMeshesInTheOrderOfTheNodes)
{
    const model m =
        read("order.gltf", gltf(R"([{"nodes":[0]}],"nodes":[{"mesh":0,"name":"wall"}])",
                               R"([{"nodes":[0,1]}],"nodes":[{"mesh":1,"name":"b"},{"mesh":0,"name":"a"}])"));
    ASSERT_EQ(m.meshes.size(), 2u);
    EXPECT_EQ(m.meshes[0].name, "b");
    EXPECT_EQ(m.meshes[0].corner_count.size() + m.meshes[1].corner_count.size(), 3u);
}

TEST_F(Import, SaysWhatAnObjLacksAndPlacesItsPictures)
{
    folder.write(
        "a.mtl", "newmtl caf\xE9\nmap_Kd -s 2 3 1 -o 0.5 0.25 bl\xE9 u.tga\nmap_d -clamp on -s 4 8.tga\n");
    const model m = read("a.obj", "mtllib a.mtl\nmtllib none.mtl\nv 0 0 0\nv 1 0 0\nv 1 1 0\nusemtl caf\xE9\n"
                                  "f 1 2 3\nusemtl oak\nf 3 2 1\n");
    ASSERT_EQ(m.notes.size(), 2u);
    EXPECT_EQ(m.notes[0], "the material file \"none.mtl\" was not found");
    EXPECT_NE(m.notes[1].find("no material \"oak\""), std::string::npos) << m.notes[1];
    const auto cafe = std::find_if(m.materials.begin(), m.materials.end(),
        [](const model_material& own) { return own.name == "caf\xC3\xA9"; });
    ASSERT_NE(cafe, m.materials.end());
    const model_texture &color = cafe->textures[texture_color], &opacity = cafe->textures[texture_opacity];
    EXPECT_EQ(color.file, "bl\xC3\xA9 u.tga");
    EXPECT_EQ(color.scale, (std::array<float, 2>{ 2, 3 }));
    EXPECT_EQ(color.offset, (std::array<float, 2>{ 0.5f, 0.25f }));
    EXPECT_EQ(opacity.file, "8.tga");
    EXPECT_EQ(opacity.scale, (std::array<float, 2>{ 4, 1 }));
    EXPECT_EQ(read("on.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nf 1 2 3\n").notes.size(), 0u);
}

// The picture that is made of the colours shows each corner's own at the place of that corner.
TEST_F(Import, ShowsColoursOfVertices)
{
    const model m = read("a.ply",
        "ply\nformat ascii 1.0\nelement vertex 5\nproperty float x\nproperty float y\nproperty float z\n"
        "property uchar red\nproperty uchar green\nproperty uchar blue\nelement face 3\n"
        "property list uchar int vertex_indices\nend_header\n0 0 0 255 0 0\n1 0 0 0 255 0\n1 1 0 0 0 255\n"
        "0.5 1.5 0 255 255 255\n0 1 0 10 20 30\n5 0 1 2 3 4\n4 4 2 1 0\n3 0 2 1\n");
    const uint8_t colors[5][3] = { { 255, 0, 0 }, { 0, 255, 0 }, { 0, 0, 255 }, { 255, 255, 255 },
        { 10, 20, 30 } };
    ASSERT_EQ(m.pictures.size(), 1u);
    picture8 p;
    std::string why;
    ASSERT_TRUE(read_picture_bytes(m.pictures[0], p, why)) << why;
    ASSERT_EQ(m.meshes.size(), 1u);
    const model_mesh& mesh = m.meshes[0];
    EXPECT_EQ(m.materials.at(mesh.material).textures[texture_color].file, "*0");
    ASSERT_EQ(mesh.uv[1].size(), 2 * mesh.corners.size());
    for (size_t k = 0; k < mesh.corners.size(); ++k)
    {
        const float* place = &mesh.positions[3 * mesh.corners[k]];
        const int vertex = place[1] > 1.2f   ? 3
                           : place[1] > 0.5f ? (place[0] > 0.5f ? 2 : 4)
                                             : (place[0] > 0.5f ? 1 : 0);
        const auto x = uint32_t(mesh.uv[1][2 * k] * float(p.width)),
                   y = uint32_t(mesh.uv[1][2 * k + 1] * float(p.height));
        const uint8_t* texel = &p.rows[(size_t(y) * p.width + x) * p.channels];
        for (int c = 0; c < 3; ++c) { EXPECT_NEAR(texel[c], colors[vertex][c], 2) << "corner " << k; }
    }
}

TEST(ModelPictureSearch, GoesByTheBaseNameWithoutCase)
{
    const temporary_folder folder;
    for (const char* name :
        { "here.png", "sub/exact.png", "Wood.PNG", "Textures/Stone Wall.jpg", "caf\xE9.png" })
    {
        folder.write(name, "x");
    }
    struct
    {
        const char *named, *found;
    } const cases[] = {
        { "here.png", "here.png" },
        { "sub\\exact.png", "sub/exact.png" },
        { "C:\\Users\\me\\wood.png", "Wood.PNG" },
        { "/home/me/maps/stone%20wall.JPG", "Textures/Stone Wall.jpg" },
        { "caf\xC3\xA9.png", "caf\xE9.png" },
        { "none.png", "" },
        { "sub", "" },
        { "maps/", "" },
    };
    for (const auto& c : cases)
    {
        const std::filesystem::path found = find_model_picture(folder.path / "a.obj", c.named);
        EXPECT_EQ(found, *c.found ? folder.path / c.found : std::filesystem::path()) << c.named;
    }
}

TEST_F(Import, DistinguishesMissingFilesFromDamagedOnes)
{
    EXPECT_EQ(refusal(request("absent.obj")).code, exit_missing_file);
    std::filesystem::create_directory(folder.path / "folder.obj");
    EXPECT_EQ(refusal(request("folder.obj")).code, exit_missing_file);
}

TEST_F(Import, LimitsTheTimeAndMemoryOfTheChild)
{
    std::string text;
    for (int k = 0; k < 400000; ++k)
    {
        text += "v " + std::to_string(k) + " 0 0\nv 0 1 0\nv 0 0 1\nf -1 -2 -3\n";
    }
    folder.write("large.obj", text);
    import_request r = request("large.obj");
    r.limits.seconds = 0.05;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(std::string(refusal(r).what()).find("takes longer than 0.05 seconds"), std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    r.limits.seconds = 60;
    r.limits.memory_bytes = 48 << 20;
    EXPECT_NE(std::string(refusal(r).what()).find("MB"), std::string::npos);
}

TEST_F(Import, SurvivesAnyChild)
{
    folder.write("a.obj", obj_text);
    import_request r = request("a.obj");
    struct
    {
        const char* what;
        const char* program;
    } const cases[] = {
        { "says nothing", "/bin/true" },
        { "fails", "/bin/false" },
        { "is not there", "/nonexistent/program" },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        r.program = c.program;
        EXPECT_EQ(refusal(r).code, exit_bad_scene);
    }
    folder.write("crash.sh", "#!/bin/sh\nprintf 'ZRM1' >&3\nkill -SEGV $$\n");
    std::filesystem::permissions(folder.path / "crash.sh", std::filesystem::perms::owner_all);
    r.program = folder.path / "crash.sh";
    EXPECT_NE(std::string(refusal(r).what()).find("crashed"), std::string::npos);
    folder.write("stay.sh", "#!/bin/sh\nexec 3>&-\nexec sleep 60\n");
    std::filesystem::permissions(folder.path / "stay.sh", std::filesystem::perms::owner_all);
    r.program = folder.path / "stay.sh";
    EXPECT_NE(std::string(refusal(r).what()).find("had to be ended"), std::string::npos);
}

// A damaged child cannot hurt its parent: every cut and many changed bytes of an answer are read without
// harm, and what is taken is sound.
TEST(ModelStream, SurvivesDamage)
{
    model m;
    m.materials.resize(2);
    m.materials[0].name = "red";
    m.materials[0].diffuse = std::array<float, 3>{ 1, 0, 0 };
    m.materials[1].ior = 1.5f;
    m.meshes.resize(1);
    m.meshes[0].positions = { 0, 0, 0, 1, 0, 0, 0, 1, 0 };
    m.meshes[0].corner_count = { 3 };
    m.meshes[0].corners = { 0, 1, 2 };
    m.meshes[0].uv[0] = { 0, 0, 1, 0, 0, 1 };
    byte_writer out;
    write_model(out, m);

    import_result result{};
    std::string reason;
    model back;
    byte_reader whole{ out.bytes.data(), out.bytes.size() };
    ASSERT_TRUE(read_answer(whole, result, back, reason)) << reason;
    EXPECT_EQ(back.materials[0].name, "red");
    EXPECT_EQ(*back.materials[1].ior, 1.5f);
    EXPECT_EQ(back.meshes[0].uv[0], m.meshes[0].uv[0]);

    for (size_t size = 0; size < out.bytes.size(); ++size)
    {
        const std::vector<unsigned char> cut(out.bytes.begin(), out.bytes.begin() + long(size));
        model none;
        byte_reader in{ cut.data(), cut.size() };
        EXPECT_FALSE(read_answer(in, result, none, reason)) << size;
    }
    for (size_t at = 0; at < out.bytes.size(); ++at)
    {
        for (const unsigned char value : { 0x00, 0x7F, 0x80, 0xFF })
        {
            std::vector<unsigned char> bytes = out.bytes;
            bytes[at] = value;
            model changed;
            byte_reader in{ bytes.data(), bytes.size() };
            if (!read_answer(in, result, changed, reason) || result != import_result::model) { continue; }
            for (const model_mesh& mesh : changed.meshes)
            {
                EXPECT_EQ(mesh_fault(mesh, changed.materials.size()), "");
            }
        }
    }
}
