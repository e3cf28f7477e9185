// The rules that docs/materials-from-models.md promises.
#include "host/models/model_materials.hpp"

#include <gtest/gtest.h>

using namespace host;

namespace
{

using rgb = std::array<float, 3>;

} // namespace

TEST(ModelMaterials, FollowTheRules)
{
    using number = std::optional<float>;
    struct
    {
        const char* what;
        std::optional<rgb> diffuse, specular;
        number reflectivity, opacity, metallic, roughness;
        bool is_gltf, blended;
        double mirror, transparency;
    } const cases[] = {
        { "nothing given", {}, {}, {}, {}, {}, {}, false, false, 0, 0 },
        { "specular alone is a highlight", {}, rgb{ 1, 1, 1 }, {}, {}, {}, {}, false, false, 0, 0 },
        { "mirror and diffuse above 1", rgb{ 1, 1, 1 }, {}, 1.0f, {}, {}, {}, false, false, 0.5, 0 },
        { "opacity", {}, {}, {}, 0.3f, {}, {}, false, false, 0, 0.7 },
        { "opacity out of range", {}, {}, {}, -4.0f, {}, {}, false, false, 0, 1 },
        { "glass is not a mirror too", {}, {}, 1.0f, 0.1f, {}, {}, false, false, 0, 0.9 },
        { "polished metal", {}, {}, {}, {}, 1.0f, 0.0f, true, false, 0.95, 0 },
        { "rough metal", {}, {}, {}, {}, 1.0f, 1.0f, true, false, 0.95, 0 },
        { "polished plastic", {}, {}, {}, {}, 0.0f, 0.0f, true, false, 0.04, 0 },
        { "glTF alpha that does not blend", {}, {}, {}, 0.2f, {}, 1.0f, true, false, 0.04, 0 },
        { "glTF alpha that blends", {}, {}, {}, 0.2f, {}, 1.0f, true, true, 0.04, 0.8 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        model_material own;
        own.diffuse = c.diffuse;
        own.specular = c.specular;
        own.reflectivity = c.reflectivity;
        own.opacity = c.opacity;
        own.metallic = c.metallic;
        own.roughness = c.roughness;
        own.linear_colors = c.is_gltf;
        own.blended = c.blended;
        const scene_material m = material_from_model(own);
        EXPECT_NEAR(m.mirror, c.mirror, 1e-6);
        // Where nothing blurs it by its highlight, a rough mirror counts as diffuse.
        if (c.roughness == 1.0f)
        {
            EXPECT_NEAR(m.mirror_unblurred.value(), 0.0, 1e-6);
            EXPECT_GT(m.highlight.value(), 1.0) << "from 1 down it mirrors like polished";
        }
        EXPECT_NEAR(m.transparency, c.transparency, 1e-6);
        for (const double channel : m.color.rgb) { EXPECT_TRUE(channel >= 0 && channel <= 1); }
    }
    model_material mirror, water, lamp;
    mirror.diffuse = rgb{ 0.1f, 0.1f, 0.1f };
    mirror.specular = rgb{ 0.8f, 0.8f, 0.8f };
    mirror.illumination = 3;
    EXPECT_NEAR(material_from_model(mirror).mirror, 0.8, 1e-6);
    water.linear_colors = lamp.linear_colors = true;
    water.roughness = water.transmission = 1.0f;
    EXPECT_NEAR(material_from_model(water).transparency, 1, 1e-6);
    lamp.emissive = rgb{ 2, 1, 0 };
    EXPECT_NEAR(material_from_model(lamp).luminosity, 2000, 1e-3);
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
