#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/light.h"
#include "zirconlite/lighting/light_model.hpp"
#include "zirconlite/lighting/sun_sky.h"

namespace
{

using zr::operator-;

constexpr double degree = M_PI / 180.0;

/// A white point light of a power.
light source_of(float lumens, int32_t type = LIGHT_SPHERICAL)
{
    light l = {};
    l.type = type;
    l.distribution = DISTRIBUTION_DEFAULT;
    l.brightness_unit = BRIGHTNESS_LUMENS;
    l.lumens = lumens;
    l.color_temperature = 5000.0f;
    std::fill_n(l.filter, 3, 1.0f);
    l.falloff = 2.0;
    l.shadow_strength = 1.0;
    l.simple_brightness = 0.5f;
    return l;
}

light spot(float lumens, double beam, double field)
{
    light l = source_of(lumens);
    l.distribution = DISTRIBUTION_SPOT;
    l.beam_angle = float(beam);
    l.field_angle = float(field);
    l.normal = { 0, 0, -1 };
    return l;
}

/// Light that comes out of `l` over all directions, by a sum over rings about -z of equal solid angle.
double emitted_lumens(const light& l)
{
    const int rings = 20000;
    double sum = 0.0;
    for (int i = 0; i < rings; ++i)
    {
        const double z = -1.0 + 2.0 * (i + 0.5) / rings;
        const vector3 point = { l.position.x + 3.0 * std::sqrt(1.0 - z * z), l.position.y,
            l.position.z + 3.0 * z };
        source_sample sample = {};
        sample.u = sample.v = 0.5;
        l.sample(&l, &point, &sample, 1);
        sum += sample.color[1] * 4.0 * M_PI / rings;
    }
    return sum;
}

struct owned_light
{
    explicit owned_light(const light& l) : made(zr_create_light(&l, nullptr)) { zr::job.simple_colors = 0; }
    ~owned_light() { zr_light_free(made); }
    light* operator->() const { return made; }
    light& operator*() const { return *made; }
    light* made;
};

} // namespace

TEST(Light, StrengthsFollowFromTheUnitThatWasSet)
{
    struct
    {
        const char* what;
        int32_t unit, distribution;
        float given;
        double lumens, candela;
    } const cases[] = {
        { "1000 lm all round", BRIGHTNESS_LUMENS, DISTRIBUTION_DEFAULT, 1000, 1000, 1000 / (4 * M_PI) },
        { "100 cd all round", BRIGHTNESS_CANDELA, DISTRIBUTION_ISOTROPIC, 100, 400 * M_PI, 100 },
        { "60 W of 17 lm/W", BRIGHTNESS_WATTS, DISTRIBUTION_DEFAULT, 60, 1020, 1020 / (4 * M_PI) },
        { "1000 lm converted as diffuse", BRIGHTNESS_LUMENS, DISTRIBUTION_DIFFUSE, 1000, 1000, 1000 / M_PI },
        { "a candela table that is missing", BRIGHTNESS_LUMENS, DISTRIBUTION_GONIOMETRIC, 1000, 1000,
            1000 / (4 * M_PI) },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        light l = source_of(0.0f);
        l.brightness_unit = c.unit;
        l.distribution = c.distribution;
        l.bulb_index = 1;
        (c.unit == BRIGHTNESS_WATTS        ? l.watts
            : c.unit == BRIGHTNESS_CANDELA ? l.candela
                                           : l.lumens) = c.given;
        const owned_light made(l);
        EXPECT_NEAR(made->lumens, c.lumens, 1e-5 * c.lumens);
        EXPECT_NEAR(made->candela, c.candela, 1e-5 * c.candela);
        EXPECT_NEAR(made->flux_color[2], c.lumens, 1e-5 * c.lumens) << "5000 kelvin is white";
        EXPECT_NEAR(made->intensity_color[0], c.candela, 1e-5 * c.candela);
    }
    // Incandescent, halogen, metal halide and so on; what is no bulb counts as the last one.
    const double efficacies[] = { 1.78125, 17, 75, 100, 100, 55, 60, 60 };
    light bulb = source_of(0.0f);
    bulb.brightness_unit = BRIGHTNESS_WATTS;
    bulb.watts = 10.0f;
    for (const double lumens_per_watt : efficacies)
    {
        EXPECT_NEAR(owned_light(bulb)->lumens, 10.0 * lumens_per_watt, 1e-3) << bulb.bulb_index;
        ++bulb.bulb_index;
    }
    bulb.bulb_index = UINT32_MAX;
    EXPECT_NEAR(owned_light(bulb)->lumens, 600.0, 1e-3);
    const owned_light even(source_of(1000.0f));
    EXPECT_NEAR(emitted_lumens(*even), 1000.0, 0.1);
}

TEST(Light, ASpotsLightIsWithinItsCone)
{
    struct
    {
        double beam, field;
    } const cases[] = { { 10, 20 }, { 30, 30 }, { 30, 45 }, { 45, 90 }, { 20, 120 }, { 60, 80 }, { 2, 5 } };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(testing::Message() << "beam " << c.beam << " field " << c.field);
        document scene = {};
        const light l = spot(1000.0f, c.beam * degree, c.field * degree);
        light* made = zr_create_light(&l, nullptr);
        zr_insert_light_source_ex(&scene.lights, made, &scene);
        zr::job.simple_colors = 0;

        // Half of the peak at the beam's angle, nothing beyond the field.
        for (const double angle : { 0.0, c.beam, c.field + 0.1 })
        {
            const vector3 point = { std::sin(angle * degree), 0, -std::cos(angle * degree) };
            source_sample sample = {};
            made->sample(made, &point, &sample, 1);
            const double factor = angle == 0.0 ? 1.0 : angle == c.beam && c.beam < c.field ? 0.5 : 0.0;
            if (angle != c.beam || c.beam < c.field)
            {
                EXPECT_NEAR(sample.color[0], made->candela * factor, 2e-3 * made->candela) << angle;
            }
        }

        const float classic = made->candela;
        zr::prepare_lights_for_model(&scene, LIGHT_MODEL_EXACT);
        EXPECT_NEAR(emitted_lumens(*made), 1000.0, 3.0);
        EXPECT_NEAR(made->intensity_color[0], made->candela, 1e-5 * made->candela);
        const float exact = made->candela;
        zr::prepare_lights_for_model(&scene, LIGHT_MODEL_EXACT);
        EXPECT_EQ(made->candela, exact);
        zr::prepare_lights_for_model(&scene, LIGHT_MODEL_FAST);
        EXPECT_EQ(made->candela, classic);
        EXPECT_EQ(made->lumens, 1000.0f);
        zr_lights_free(&scene, 1);
    }
}

TEST(Light, TheExactModelTurnsCandelaOfASpotIntoItsLumens)
{
    document scene = {};
    light l = spot(0.0f, 20 * degree, 40 * degree);
    l.brightness_unit = BRIGHTNESS_CANDELA;
    l.candela = 500.0f;
    light even = source_of(1000.0f);
    even.distribution = DISTRIBUTION_DIFFUSE;
    light* made = zr_create_light(&l, nullptr);
    light* diffuse = zr_create_light(&even, nullptr);
    zr_insert_light_source_ex(&scene.lights, made, &scene);
    zr_insert_light_source_ex(&scene.lights, diffuse, &scene);
    zr::job.simple_colors = 0;
    zr::prepare_lights_for_model(&scene, LIGHT_MODEL_EXACT);
    EXPECT_EQ(made->candela, 500.0f);
    EXPECT_NEAR(made->lumens, emitted_lumens(*made), 2e-3 * made->lumens);
    EXPECT_NEAR(emitted_lumens(*diffuse), 1000.0, 1.0);
    zr::prepare_lights_for_model(&scene, LIGHT_MODEL_FAST);
    EXPECT_NEAR(emitted_lumens(*diffuse), 4000.0, 4.0);
    zr_lights_free(&scene, 1);
}

TEST(Light, TheClassicSpotConversionStaysAsItWas)
{
    // exponent = ln 0.5 / ln cos 30 = 4.8188; 2 pi (1 - cos(45)^4.8188) / 5.8188
    float exponent, cos_field;
    EXPECT_NEAR(spot_light_lm_per_cd(30 * degree, 45 * degree, &exponent, &cos_field), 0.87659, 1e-4);
    EXPECT_NEAR(exponent, 4.8188, 1e-4);
    light of_unit = spot(1.0f, 30 * degree, 45 * degree);
    const std::pair<std::pair<int32_t, int32_t>, double> units[] = {
        { { DISTRIBUTION_SPOT, LIGHT_AREA }, 1 / 0.87659 },
        { { DISTRIBUTION_DEFAULT, LIGHT_AREA }, 1 / M_PI },
        { { DISTRIBUTION_ISOTROPIC, LIGHT_AREA }, 1 / (4 * M_PI) },
        { { DISTRIBUTION_DIFFUSE, LIGHT_SPHERICAL }, 1 / (4 * M_PI) },
    };
    for (const auto& [kind, candela] : units)
    {
        of_unit.distribution = kind.first;
        of_unit.type = kind.second;
        double cd_per_lm;
        EXPECT_EQ(zr_get_cd_per_lm(&of_unit, &cd_per_lm), 1);
        EXPECT_NEAR(cd_per_lm, candela, 1e-4);
    }
    EXPECT_NEAR(
        spot_light_lm_per_cd(30 * degree, 90 * degree, &exponent, &cos_field), 2 * M_PI / 5.81884, 1e-4);
    float narrow, narrowest;
    spot_light_lm_per_cd(1 * degree, 45 * degree, &narrowest, &cos_field);
    spot_light_lm_per_cd(2 * degree, 45 * degree, &narrow, &cos_field);
    EXPECT_EQ(narrow, narrowest);
    for (const double angle : { 0.0, -1.0, double(NAN), double(INFINITY), 1e9, M_PI })
    {
        const double k = spot_light_lm_per_cd(angle, angle, &exponent, &cos_field);
        EXPECT_TRUE(std::isfinite(k) && k > 0.0) << angle;
    }
}

TEST(Light, ColourTemperatures)
{
    struct
    {
        float kelvin;
        bool is_warm, is_cool;
    } const cases[] = { { 5000, false, false }, { 2700, true, false }, { 9000, false, true },
        { 1, true, false }, { 1e9f, false, true }, { 0, false, false }, { -4, false, false },
        { NAN, false, false } };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.kelvin);
        float rgb[3];
        CT_to_RGB(c.kelvin, rgb);
        EXPECT_EQ(rgb[2] < rgb[0], c.is_warm);
        EXPECT_EQ(rgb[2] > rgb[0], c.is_cool);
        EXPECT_FLOAT_EQ(*std::max_element(rgb, rgb + 3), 1.0f);
    }
    // Planck's law by hand for 2700 K: blue over red is (5.8e-4 / 1.5e-1) to the power 0.15.
    float rgb[3];
    CT_to_RGB(2700.0f, rgb);
    const auto planck = [](double t, double w)
    { return std::pow(w, -5.0) / (std::exp(14388.0 / (t * w)) - 1.0); };
    const double blue = planck(2700, 0.44) / planck(5000, 0.44), red = planck(2700, 0.6) / planck(5000, 0.6);
    EXPECT_NEAR(rgb[2], std::pow(blue / red, 0.15), 1e-6);
}

TEST(Light, GroupsShareTheirColourOut)
{
    light g = source_of(0.0f, LIGHT_GROUP);
    g.lumens = 7.0f;
    g.filter[1] = 0.5f;
    light* outer = zr_create_light(&g, nullptr);
    EXPECT_EQ(outer->sample, nullptr);
    EXPECT_EQ(outer->candela, 7.0f);
    g.parent = outer;
    light* inner = zr_create_light(&g, nullptr);
    light l = source_of(1000.0f);
    l.parent = inner;
    const owned_light made(l);
    EXPECT_FLOAT_EQ(made->flux_color[1] / made->flux_color[0], 0.25f);
    EXPECT_FLOAT_EQ(made->simple_color[1], 0.125f);
    made->color_temperature = 3000.0f;
    EXPECT_EQ(zr_get_color_intensity(made.made), 1);
    EXPECT_LT(made->plain_color[2], 0.9f * made->plain_color[0]);
    EXPECT_FLOAT_EQ(made->intensity_color[2], made->plain_color[2] * made->candela);
    zr_light_free(inner);
    zr_light_free(outer);
}

TEST(Light, ADistantLightHasItsLuxAndItsSharpnessFromTheDisc)
{
    light l = source_of(0.0f, LIGHT_PARALLEL);
    l.dimmer = 0.5f;
    l.azimuth = 0.0;
    l.altitude = M_PI / 2.0;
    l.world_bounds = { { 0, 0, 0 }, { 4, 5, 2 } };
    l.filter[2] = 0.25f;
    const owned_light made(l);
    EXPECT_NEAR(made->illuminance_color[0], 6250.0, 1e-2); // 0.5^4 x 100000
    EXPECT_NEAR(made->illuminance_color[2], 0.25 * 6250.0, 1e-2);
    EXPECT_NEAR(made->lumens, 6250.0 * 20.0, 1.0); // over a base of 4 by 5
    EXPECT_NEAR(made->normal.z, -1.0, 1e-9);
    EXPECT_EQ(made->falloff, 0.0);

    source_sample samples[2] = {};
    samples[0].u = 0.1, samples[1].v = 0.9;
    const vector3 point = { 1, 2, 3 };
    made->sample(made.made, &point, samples, 2);
    EXPECT_EQ(samples[0].direction.x, samples[1].direction.x);
    EXPECT_EQ(samples[0].distance, 1e12);
    EXPECT_NEAR(samples[0].color[1], 6250.0, 1e-2);
    made->disc_size = 1.0f;
    samples[0].u = 1.0, samples[0].v = 0.5;
    made->sample(made.made, &point, samples, 1);
    EXPECT_NEAR(std::acos(samples[0].direction.z), std::atan(1.0 / 5.0), 1e-6)
        << "1 metre aside, 5 metres along";
    EXPECT_NEAR(zr::length(samples[0].direction), 1.0, 1e-12);

    // An empty scene has no area to be lit.
    made->world_bounds = zr::empty_box;
    light* head = nullptr;
    zr_insert_light_source(&head, made.made, nullptr);
    EXPECT_EQ(made->lumens, 0.0f);
    EXPECT_NEAR(made->illuminance_color[0], 6250.0, 1e-2);
}

TEST(Light, AbsurdValuesAreClamped)
{
    light l = spot(NAN, NAN, -3.0);
    l.position = { NAN, INFINITY, 1e300 };
    l.normal = { 0, 0, 0 };
    l.aim_point = { 0, 0, 0 };
    l.radius = -1.0;
    l.filter[0] = -INFINITY;
    l.falloff = NAN;
    l.bulb_index = 4000000000u;
    l.shadow_strength = 7.0;
    l.shadow_samples = INT32_MAX;
    l.vertex_count = 1000000;
    for (const int32_t type : { 0, 1, 4, 6, 77, -1 })
    {
        SCOPED_TRACE(type);
        l.type = type;
        const owned_light made(l);
        EXPECT_NEAR(zr::length(made->normal), 1.0, 1e-9);
        EXPECT_EQ(made->shadow_strength, 1.0);
        EXPECT_LE(made->shadow_samples, 4096);
        EXPECT_EQ(made->vertex_count, LIGHT_MAX_VERTICES);
        source_sample sample = {};
        const vector3 point = {};
        made->sample(made.made, &point, &sample, 1);
        for (const double c : sample.color) { EXPECT_TRUE(std::isfinite(c) && c >= 0.0) << c; }
    }
}

TEST(Light, FramesComeBackFromAxisAndTurn)
{
    for (const uint32_t flags : { 0u, uint32_t(LIGHT_FRAME_ALONG_NORMAL) })
    {
        light l = source_of(1.0f);
        l.flags = flags;
        l.normal = zr::normalized({ 0.3, -0.5, 0.7 });
        l.axis_u = zr::normalized(zr::cross(l.normal, { 0.2, 1.0, 0.1 }));
        l.axis_v = zr::cross(l.normal, l.axis_u);
        const vector3 before = l.axis_u;
        vector3 axes[3];
        double angle;
        zr_decompose_light_matrix(&l, axes, &angle);
        zr_compose_light_matrix(&l, axes, angle);
        EXPECT_NEAR(zr::length(l.axis_u - before), 0.0, 1e-9) << "flags " << flags;
        EXPECT_NEAR(zr::length(l.axis_v - zr::cross(l.normal, before)), 0.0, 1e-9) << "flags " << flags;
    }
}
