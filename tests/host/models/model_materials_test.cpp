// The rules that docs/materials-from-models.md promises.
#include "host/models/model_materials.hpp"

#include <gtest/gtest.h>

#include <cmath>

using namespace host;

namespace
{

using rgb = std::array<float, 3>;

scene_material mapped(void (*fill)(model_material&))
{
    model_material m;
    fill(m);
    return material_from_model(m);
}

} // namespace

TEST(ModelMaterials, FollowTheRules)
{
    struct
    {
        const char* what;
        void (*fill)(model_material&);
        double mirror, transparency, luminosity;
    } const cases[] = {
        { "nothing given", [](model_material&) {}, 0, 0, 0 },
        { "specular alone is a highlight",
            [](model_material& m)
            {
                m.specular = rgb{ 1, 1, 1 };
                m.shininess = 100;
            },
            0, 0, 0 },
        { "illumination 3 is a mirror",
            [](model_material& m)
            {
                m.diffuse = rgb{ 0.1f, 0.1f, 0.1f };
                m.specular = rgb{ 0.8f, 0.8f, 0.8f };
                m.illumination = 3;
            },
            0.8, 0, 0 },
        { "mirror and diffuse above 1",
            [](model_material& m)
            {
                m.diffuse = rgb{ 1, 1, 1 };
                m.reflectivity = 1.0f;
            },
            0.5, 0, 0 },
        { "opacity", [](model_material& m) { m.opacity = 0.3f; }, 0, 0.7, 0 },
        { "opacity out of range", [](model_material& m) { m.opacity = -4.0f; }, 0, 1, 0 },
        { "glass is not a mirror too",
            [](model_material& m)
            {
                m.opacity = 0.1f;
                m.reflectivity = 1.0f;
            },
            0, 0.9, 0 },
        { "polished metal",
            [](model_material& m)
            {
                m.metallic = 1.0f;
                m.roughness = 0.0f;
                m.linear_colors = true;
            },
            0.95, 0, 0 },
        { "rough metal",
            [](model_material& m)
            {
                m.metallic = 1.0f;
                m.roughness = 1.0f;
                m.linear_colors = true;
            },
            0, 0, 0 },
        { "polished plastic",
            [](model_material& m)
            {
                m.metallic = 0.0f;
                m.roughness = 0.0f;
                m.linear_colors = true;
            },
            0.04, 0, 0 },
        { "glTF alpha that does not blend",
            [](model_material& m)
            {
                m.roughness = 1.0f;
                m.opacity = 0.2f;
                m.linear_colors = true;
            },
            0, 0, 0 },
        { "glTF alpha that blends",
            [](model_material& m)
            {
                m.roughness = 1.0f;
                m.opacity = 0.2f;
                m.linear_colors = m.blended = true;
            },
            0, 0.8, 0 },
        { "glTF transmission",
            [](model_material& m)
            {
                m.roughness = 1.0f;
                m.transmission = 1.0f;
                m.linear_colors = true;
            },
            0, 1, 0 },
        { "emission",
            [](model_material& m)
            {
                m.emissive = rgb{ 2, 1, 0 };
                m.linear_colors = true;
            },
            0, 0, 2000 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const scene_material m = mapped(c.fill);
        EXPECT_NEAR(m.mirror, c.mirror, 1e-6);
        EXPECT_NEAR(m.transparency, c.transparency, 1e-6);
        EXPECT_NEAR(m.luminosity, c.luminosity, 1e-3);
        for (const double channel : m.color.rgb) { EXPECT_TRUE(channel >= 0 && channel <= 1); }
    }
}

TEST(ModelMaterials, ReadColoursAsTheirFormatMeansThem)
{
    // Linear 0.5 shows as 0.7297; a picked 0.5 is itself.
    const auto half = [](bool is_linear)
    {
        model_material m;
        m.diffuse = rgb{ 0.5f, 0.5f, 0.5f };
        m.linear_colors = is_linear;
        return material_from_model(m).color.rgb[0];
    };
    EXPECT_NEAR(half(true), 0.7297, 1e-4);
    EXPECT_EQ(half(false), 0.5);
}

TEST(ModelMaterials, TintGlassByItsFilterOrItsColour)
{
    struct
    {
        const char* what;
        float diffuse;
        std::optional<rgb> filter;
        double tint;
    } const cases[] = {
        { "painted black", 0, {}, 1 },
        { "coloured", 0.5f, {}, 0.5 },
        { "with a filter", 0.5f, rgb{ 0.25f, 0.25f, 0.25f }, 0.25 },
        { "with an importer's white filter", 0.5f, rgb{ 1, 1, 1 }, 0.5 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        model_material m;
        m.diffuse = rgb{ c.diffuse, c.diffuse, c.diffuse };
        m.transparent = c.filter;
        m.opacity = 0.1f;
        EXPECT_EQ(material_from_model(m).transparent_color->rgb[0], c.tint);
    }
}
