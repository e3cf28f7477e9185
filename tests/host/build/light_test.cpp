// The light sources of a scene file: their records, groups and visible shapes, and what is refused.
#include "host/build/build_light.hpp"
#include "host/build/build_scene.hpp"
#include "host/failure.hpp"
#include "tests/support/temporary_folder.hpp"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/jobs/render_job.h"
#include "zirconlite/lighting/goniometry.h"
#include "zirconlite/raytrace/emission_setup.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

using namespace host;

namespace
{

const std::string camera = "[camera]\neye = [0, -5, 1]\ntarget = [0, 0, 1]\n";
constexpr double pi = 3.14159265358979323846;

/// A document with the lights of a scene's text.
struct lit_document
{
    explicit lit_document(const std::string& text, const std::filesystem::path& file = "room.toml")
        : doc(zr_open_document())
    {
        const scene s = parse_scene(camera + text, file);
        scene_lights lights(s, doc);
        lights.add_shapes();
        lights.insert();
    }
    ~lit_document() { zr_close_document(doc); }
    const light& first() const { return *first_leaf(doc->lights); }
    document* doc;
};

double distance(const vector3& a, const vector3& b) { return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z); }

} // namespace

TEST(SceneLights, FillTheirRecords)
{
    struct
    {
        const char* text;
        int32_t type, distribution;
        double lumens, area;
        std::function<bool(const light&)> holds;
    } const cases[] = {
        { "kind = \"sphere\"\nlumens = 800\nradius = 0.5\ndimmer = 0.5", LIGHT_SPHERICAL,
            DISTRIBUTION_ISOTROPIC, 400, pi, [](const light& l) { return l.dimmer == 0.0f; } },
        { "kind = \"area\"\nlumens = 800\nsize = [2, 1]\nposition = [1, 2, 3]", LIGHT_AREA,
            DISTRIBUTION_DIFFUSE, 800, 2,
            [](const light& l)
            {
                return l.normal.z == -1.0 && distance(l.vertices[0], { 0, 1.5, 3 }) < 1e-9 &&
                       distance(l.vertices[2], { 2, 2.5, 3 }) < 1e-9;
            } },
        { "kind = \"area\"\ncandela = 100\nsize = [2, 1]\nposition = [0, 0, 0]\nnormal = [0, 1, 0]\nc0 = [0, "
          "0, 3]",
            LIGHT_AREA, DISTRIBUTION_DIFFUSE, 100 * pi, 2,
            [](const light& l)
            { return l.normal.y > 0.999 && l.axis_u.z > 0.999 && std::fabs(l.vertices[0].z) == 1.0; } },
        { "kind = \"area\"\nlumens = 800\ncorners = [[0, 0, 2], [3, 0, 2], [3, 1, 2], [0, 1, 2]]", LIGHT_AREA,
            DISTRIBUTION_DIFFUSE, 800, 3,
            [](const light& l) { return l.normal.z > 0.999 && l.length == 3.0; } },
        { "kind = \"area\"\nlumens = 800\ncorners = [[0, 0, 2], [3, 0, 2], [4, 1, 2]]\ntarget = [0, 0, 0]",
            LIGHT_AREA, DISTRIBUTION_DIFFUSE, 800, 3,
            [](const light& l) {
                return l.normal.z < -0.999 && distance(l.vertices[3], { 1, 1, 2 }) < 1e-9;
            } },
        { "kind = \"area\"\nlumens = 800\ncorners = [[0, 0, 9], [3, 0, 9], [4, 1, 9]]\ntarget = [0, 0, 5]",
            LIGHT_AREA, DISTRIBUTION_DIFFUSE, 800, 3,
            [](const light& l) { return l.normal.z < -0.999 && l.position.z == 9.0; } },
        { "kind = \"line\"\nlumens = 5\nends = [[-1, 0, 9], [1, 0, 9]]\ntarget = [0, 4, 9]",
            LIGHT_CYLINDRICAL, DISTRIBUTION_ISOTROPIC, 5, 0,
            [](const light& l) { return l.normal.y > 0.999 && l.position.z == 9.0; } },
        { "kind = \"tube\"\nwatts = 10\nbulb = \"fluorescent\"\nradius = 0.1\nends = [[1, 1, 2], [1, 4, 2]]",
            LIGHT_CYLINDRICAL, DISTRIBUTION_DIFFUSE, 750, 0.6 * pi,
            [](const light& l)
            { return l.axis_u.y == 1.0 && l.length == 3.0 && l.position.y == 2.5 && l.normal.z == -1.0; } },
        { "kind = \"line\"\nlumens = 5\nposition = [0, 0, 1]\naxis = [0, 0, -2]\nlength = 0.5",
            LIGHT_CYLINDRICAL, DISTRIBUTION_ISOTROPIC, 5, 0,
            [](const light& l)
            { return l.axis_u.z == -1.0 && l.radius == 0.0 && std::fabs(l.normal.z) < 1e-9; } },
        { "kind = \"disk\"\nlumens = 5\nradius = 2\ntarget = [0, 9, 3]\ndistribution = \"even\"", LIGHT_DISK,
            DISTRIBUTION_ISOTROPIC, 5, 4 * pi, [](const light& l) { return l.normal.y == 1.0; } },
        { "kind = \"disk\"\nlumens = 5\nradius = 2\ndistribution = \"spot\"\nbeam_deg = 20\nfield_deg = 90",
            LIGHT_DISK, DISTRIBUTION_SPOT, 5, 4 * pi,
            [](const light& l) {
                return std::fabs(l.beam_angle - pi / 18) < 1e-6 && std::fabs(l.field_angle - pi / 4) < 1e-6;
            } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.text);
        const lit_document made(std::string("[[light]]\n") + c.text + "\n");
        const light& l = made.first();
        EXPECT_EQ(l.type, c.type);
        EXPECT_EQ(l.distribution, c.distribution);
        EXPECT_NEAR(l.lumens, c.lumens, 1e-4 * c.lumens);
        EXPECT_NEAR(l.area, c.area, 1e-9);
        EXPECT_TRUE(c.holds(l));
    }
}

TEST(SceneLights, TakeTheirDistributionFromAFile)
{
    const temporary_folder folder;
    folder.write(
        "down.ies", "IESNA:LM-63-2002\nTILT=NONE\n1 -1 1 3 1 1 2 0 0 0\n1 1 20\n0 60 90\n0\n100 100 0\n");
    // Even to 60 degrees, and linear from there to 90.
    const std::string text = "[[light]]\nies = \"down.ies\"\nc0 = [0, 1, 0]\ndimmer = 0.5\n";
    const lit_document file(text, folder.path / "room.toml");
    const double lumens = 2 * pi * 100 * (0.5 + std::cos(pi / 3) - (1 - std::sin(pi / 3)) / (pi / 6));
    EXPECT_EQ(file.first().distribution, DISTRIBUTION_GONIOMETRIC);
    EXPECT_NEAR(file.first().candela, 50.0, 0.05);
    EXPECT_NEAR(file.first().lumens, lumens / 2, 1e-3 * lumens);
    EXPECT_EQ(file.first().axis_u.y, 1.0);
    EXPECT_EQ(file.first().axis_v.x, -1.0) << "angles turn counter-clockwise seen from above";
    const lit_document own(text + "lumens = 1000\n", folder.path / "room.toml");
    EXPECT_NEAR(own.first().lumens, 500.0, 1e-3);
    folder.write("dark.ies", "IESNA:LM-63-2002\nTILT=NONE\n1 -1 1 1 1 1 2 0 0 0\n1 1 20\n0\n0\n100\n");
    for (const char* wrong : { "up.ies cannot be used", "dark.ies holds no light" })
    {
        const std::string named(wrong, 0, std::string(wrong).find(' '));
        try
        {
            const lit_document made("[[light]]\nies = \"" + named + "\"\n", folder.path / "room.toml");
            FAIL() << wrong;
        }
        catch (const failure& f)
        {
            const std::string message = f.what();
            EXPECT_EQ(f.code, named == "up.ies" ? exit_missing_file : exit_bad_scene);
            EXPECT_NE(message.find("room.toml:4: [[light]] ies: " + std::string(wrong)), std::string::npos)
                << message;
        }
    }
}

TEST(SceneLights, OfAGroupHaveItsColourAndItsDimmer)
{
    const lit_document made(
        "[[light]]\ngroup = \"ring\"\nlumens = 100\nfilter = [1, 0.5, 1]\n"
        "[[light]]\nkind = \"group\"\nname = \"ring\"\ngroup = \"all\"\ndimmer = 0.5\nkelvin = 3000\n"
        "[[light]]\nlumens = 400\n"
        "[[light]]\nkind = \"group\"\nname = \"all\"\ndimmer = 0.5\nfilter = [0.5, 1, 1]\n");
    EXPECT_EQ(made.doc->light_count, 3) << "the outer group is none";
    const light& alone = *made.doc->lights;
    EXPECT_EQ(alone.lumens, 400.0f) << "the strongest comes first";
    ASSERT_NE(alone.next, nullptr);
    EXPECT_EQ(alone.next->lumens, 25.0f) << "a group is as strong as its lights";
    const light& inner = *next_leaf(const_cast<light*>(&alone));
    float warm[3];
    CT_to_RGB(3000, warm);
    EXPECT_NEAR(inner.lumens, 25.0, 1e-4);
    EXPECT_NEAR(inner.flux_color[0], 25 * std::pow(0.5, 2.2) * warm[0], 1e-3);
    EXPECT_NEAR(inner.flux_color[1], 25 * std::pow(0.5, 2.2) * warm[1], 1e-3);
    EXPECT_NEAR(inner.flux_color[2], 25 * warm[2], 1e-3);
}

TEST(SceneLights, VisibleShapesHaveTheLuminanceOfTheirLight)
{
    struct
    {
        const char* text;
        double area, luminance; ///< m^2 of what glows; of 1000 lumens, cd/m^2
        bool has_dark_parts;
    } const cases[] = {
        { "kind = \"sphere\"\nradius = 0.5", pi, 1000 / (pi * pi), false },
        { "kind = \"area\"\nsize = [2, 1]", 2, 1000 / (2 * pi), true },
        { "kind = \"area\"\nsize = [2, 1]\ndistribution = \"even\"", 2, 1000 / (2 * pi), false },
        { "kind = \"disk\"\nradius = 0.5", pi / 4, 4000 / (pi * pi), true },
        { "kind = \"tube\"\nradius = 0.05\naxis = [1, 0, 0]\nlength = 2", 0.2 * pi, 1000 / (0.2 * pi * pi),
            true },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.text);
        const lit_document made(std::string("[[light]]\nvisible = true\nlumens = 1000\n") + c.text + "\n");
        zr_init_raytrace(made.doc, &made.doc->views[1]);
        zr_set_source_initial_luminance(made.doc->scene_objects.first);
        double glowing = 0;
        bool has_dark_parts = false;
        for (scene_object* o = made.doc->scene_objects.first; o; o = o->next)
        {
            const property_node* shape = o->vft->get_properties(o);
            while (shape && shape->kind != PROPERTY_LIGHT_SHAPE) { shape = shape->next; }
            ASSERT_TRUE(shape);
            EXPECT_EQ(shape->payload.light, &made.first());
            if (shape->color[1] == 0.0f) { has_dark_parts = true; }
            else
            {
                EXPECT_NEAR(shape->color[1], c.luminance, 1e-4 * c.luminance);
                glowing += o->vft->get_area(o);
            }
        }
        EXPECT_EQ(has_dark_parts, c.has_dark_parts);
        EXPECT_NEAR(glowing, c.area, 0.01 * c.area);
    }
}
