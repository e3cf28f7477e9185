/// @file
/// The rules of docs/materials-from-models.md, in its order.
#include "host/models/model_materials.hpp"

#include <algorithm>
#include <cmath>

namespace host
{

namespace
{

/// The numbers of the rules.
constexpr double default_ior = 1.5;
constexpr double metal_mirror = 0.95;   // of a polished metal
constexpr double glow_luminance = 1000; // cd/m2 for an emission of 1
constexpr double phong_exponent_limit = 1000;
constexpr double highlight_of_specular = 0.5; // Phong's specular is picked by eye and runs high
constexpr double dark_tint = 0.02;
constexpr int first_mirror_illumination = 3; // OBJ: models 3 to 9 trace rays

double sound_ior(const model_material& m);
void set_transparency(const model_material& m, scene_material& out);
void set_metallic(const model_material& m, scene_material& out);
double normal_reflectance(double ior);
void set_phong(const model_material& m, scene_material& out);
void set_emission(const model_material& m, scene_material& out);
double largest(const std::array<float, 3>& c);
color3 display_color(const std::array<float, 3>& c, bool is_linear);
double clamp01(double v);

} // namespace

double display_value(double linear) { return std::pow(std::max(linear, 0.0), 1 / 2.2); }

double linear_value(double display) { return std::pow(std::max(display, 0.0), 2.2); }

scene_material material_from_model(const model_material& m)
{
    scene_material out;
    const bool is_metallic_rough = m.metallic.has_value() || m.roughness.has_value();
    if (is_metallic_rough && m.base_color) { out.color = display_color(*m.base_color, m.linear_colors); }
    else if (m.diffuse) { out.color = display_color(*m.diffuse, m.linear_colors); }
    out.ior = sound_ior(m);
    set_transparency(m, out);
    if (is_metallic_rough) { set_metallic(m, out); }
    else { set_phong(m, out); }
    set_emission(m, out);
    return out;
}

namespace
{

double sound_ior(const model_material& m)
{
    const double ior = m.ior.value_or(0);
    return ior > 1.001 && ior <= 4 ? ior : default_ior;
}

/// Opacity and its opposites, glass among them.
void set_transparency(const model_material& m, scene_material& out)
{
    double transparency = 0;
    if (m.opacity) { transparency = 1 - clamp01(*m.opacity); }
    if (m.linear_colors && !m.blended) { transparency = 0; } // glTF: alpha counts only when blended
    if (m.transmission) { transparency = std::max(transparency, clamp01(*m.transmission)); }
    out.transparency = transparency;
    if (transparency <= 0) { return; }
    // A filter is a colour of its own where a file has one; glass is often left black in its diffuse colour.
    color3 tint = out.color;
    const bool has_filter = m.transparent && largest(*m.transparent) > dark_tint &&
                            *m.transparent != std::array<float, 3>{ 1, 1, 1 }; // the default of importers
    if (has_filter && !m.linear_colors) { tint = display_color(*m.transparent, false); }
    if (*std::max_element(tint.rgb.begin(), tint.rgb.end()) < dark_tint) { tint.rgb = { 1, 1, 1 }; }
    out.transparent_color = tint;
}

/// Metallic and roughness.
void set_metallic(const model_material& m, scene_material& out)
{
    const double metallic = clamp01(m.metallic.value_or(0));
    const double roughness = clamp01(m.roughness.value_or(1));
    const double smooth = 1 - roughness;
    const double reflectance = normal_reflectance(out.ior);
    out.mirror = reflectance + (metal_mirror - reflectance) * metallic;
    // A rough surface spreads what it reflects until it looks diffuse, so its share moves over.
    out.mirror_unblurred = out.mirror * smooth * smooth;
    out.metal = metallic >= 0.5;
    const double alpha = std::max(roughness * roughness, 0.03);
    // From an exponent of 1 down the surface would count as having none, and its mirror as polished.
    out.highlight = std::clamp(2 / (alpha * alpha) - 2, 1.01, 2000.0);
    out.highlight_strength = out.mirror;
    if (out.metal) { out.highlight_color = out.color; }
}

/// Reflectance of a surface seen straight on.
double normal_reflectance(double ior) { return std::pow((ior - 1) / (ior + 1), 2); }

/// Specular colour, shininess and the mirrors of OBJ's illumination models.
void set_phong(const model_material& m, scene_material& out)
{
    const double specular = m.specular ? clamp01(largest(*m.specular)) : 0;
    double mirror = m.reflectivity ? clamp01(*m.reflectivity) : 0;
    if (m.illumination && *m.illumination >= first_mirror_illumination && *m.illumination <= 9)
    {
        mirror = std::max(mirror, specular);
    }
    if (m.illumination && *m.illumination < first_mirror_illumination) { mirror = 0; }
    // Glass has its Fresnel reflection; a second mirror on top would reflect twice.
    if (out.transparency > 0.5) { mirror = 0; }
    const double diffuse = largest(m.diffuse.value_or(std::array<float, 3>{ 0.6f, 0.6f, 0.6f }));
    out.mirror = mirror + diffuse > 1 ? mirror / (mirror + diffuse) : mirror;

    const double shininess = m.shininess.value_or(0);
    if (specular <= 0 || shininess < 1) { return; }
    out.highlight = std::min(shininess, phong_exponent_limit);
    out.highlight_strength = highlight_of_specular * specular * clamp01(m.shininess_strength.value_or(1.0f));
    out.highlight_color = display_color(*m.specular, m.linear_colors);
    const double peak = *std::max_element(out.highlight_color->rgb.begin(), out.highlight_color->rgb.end());
    for (double& c : out.highlight_color->rgb) { c /= peak; }
}

void set_emission(const model_material& m, scene_material& out)
{
    if (!m.emissive || largest(*m.emissive) <= 1e-4) { return; }
    std::array<float, 3> hue = *m.emissive;
    const float peak = float(largest(hue));
    for (float& c : hue) { c = std::max(c / peak, 0.0f); }
    // A surface has one colour for what it sends and what it throws back; where it glows, the glow's counts.
    out.color = display_color(hue, m.linear_colors);
    const double amount = m.linear_colors ? peak : linear_value(std::min(peak, 1.0f)) * std::max(peak, 1.0f);
    out.luminosity = std::min(glow_luminance * amount, 1e6);
}

double largest(const std::array<float, 3>& c) { return std::max({ c[0], c[1], c[2] }); }

/// A colour of the file as a display value; amounts above 1 become 1.
color3 display_color(const std::array<float, 3>& c, bool is_linear)
{
    color3 out;
    for (int i = 0; i < 3; ++i) { out.rgb[i] = is_linear ? display_value(clamp01(c[i])) : clamp01(c[i]); }
    return out;
}

double clamp01(double v) { return std::clamp(v, 0.0, 1.0); }

} // namespace

} // namespace host
