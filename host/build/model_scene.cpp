#include "host/build/model_scene.hpp"

#include "host/models/import.hpp"

#include <fmt/format.h>

#include <cmath>

namespace host
{

namespace
{

// Half left of the default camera and high enough for short shadows.
constexpr double sun_azimuth_deg = 215, sun_altitude_deg = 40;
constexpr char ground_name[] = "ground";
constexpr double ground_grey = 0.5; // as displayed; dull concrete, so that dark models are not lost before it

} // namespace

bool is_model_file(const std::filesystem::path& file)
{
    return is_model_extension(file.extension().string());
}

scene scene_of_model(const std::filesystem::path& file)
{
    scene s;
    s.file = file;
    scene_model& m = s.models.emplace_back();
    m.file = file.filename().string();
    s.sun.is_on = true;
    s.sun.azimuth_deg = sun_azimuth_deg;
    s.sun.altitude_deg = sun_altitude_deg;
    s.background.mode = background_mode_sky;
    s.materials[ground_name].color = { { ground_grey, ground_grey, ground_grey } };
    s.ground.is_on = s.ground.below_models = true;
    s.ground.material = ground_name;
    return s;
}

std::string camera_line(const scene_camera& c)
{
    const vec3 &eye = *c.eye, &target = *c.target;
    const double step = 1e-6 * std::hypot(eye[0] - target[0], eye[1] - target[1], eye[2] - target[2]);
    const auto place = [step](const vec3& p) // without what rounding leaves of 0
    {
        const auto number = [step](double v) { return std::round(v / step) * step + 0.0; };
        return fmt::format("[{:.4g}, {:.4g}, {:.4g}]", number(p[0]), number(p[1]), number(p[2]));
    };
    return fmt::format("camera: {} view from {} to {}; --view takes another side", view_names[c.view],
        place(eye), place(target));
}

std::string light_line(const scene& s)
{
    return fmt::format("light: the sun from azimuth {} at {} degrees, and a clear sky", *s.sun.azimuth_deg,
        *s.sun.altitude_deg);
}

std::string ground_line(double height)
{
    return fmt::format("ground: a grey plane at height {:.4g}; a scene file can leave it out", height);
}

} // namespace host
