/// @file
/// Settings files that a scene names: what they set unless the scene says otherwise.
#include "host/build/build_environment.hpp"
#include "host/build/build_scene.hpp"
#include "host/build/settings_stream.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"
#include "zirconlite/frame/search_path.h"
#include "zirconlite/lighting/sun_sky.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace host
{

namespace
{

void take_sun(scene& s, document* d);
void take_place(scene& s, const sun_sky_data& from);
void take_choices(scene& s, const sun_sky_data& from);
color3 display_color(const float (&linear)[3]);
std::string date_of(int day);
void take_picture(const std::filesystem::path& file, document* d, std::vector<std::string>& notes);
void take_exposure(scene& s, const render_view& from);

} // namespace

void apply_settings_files(scene& s, document* d, std::vector<std::string>& notes)
{
    set_environment_defaults(d);
    for (const std::string& name : s.settings)
    {
        const std::filesystem::path file = beside_scene(s, name);
        render_view& view = d->views[0];
        set_exposure(view, s.tone);
        switch (read_settings(file, d, view))
        {
        case SETTINGS_SUN_SKY:
            take_sun(s, d);
            break;
        case SETTINGS_ENVIRONMENT:
            take_picture(file, d, notes);
            break;
        default:
            take_exposure(s, view);
            break;
        }
    }
    if (s.sun.is_on && !s.sun.azimuth_deg && !s.sun.latitude && s.sun.place.empty())
    {
        throw failure(exit_bad_scene,
            s.file.string() + ": [sun] needs a place, and none of the settings files is one of sun and sky");
    }
}

namespace
{

void take_sun(scene& s, document* d)
{
    sun_sky_data from;
    zr_get_sunsky_data(&from, d->sun_sky, d);
    scene_sun& to = s.sun;
    take_place(s, from);
    take_choices(s, from);
    if (!s.given("sun", "date")) { to.date = date_of(from.day_of_year); }
    if (!s.given("sun", "time"))
    {
        const int minutes = std::clamp(from.local_minutes, 0, 1439);
        to.time = fmt::format("{:02}:{:02}", minutes / 60, minutes % 60);
    }
    if (!s.given("sun", "daylight_saving")) { to.daylight_saving = from.daylight_saving != 0; }
    if (!s.given("sun", "north_deg")) { to.north_deg = from.north * degrees; }
    if (!s.given("sun", "cloudiness")) { to.cloudiness = from.cloudiness; }
    if (!s.given("sun", "sun_intensity")) { to.sun_intensity = from.sun_intensity; }
    if (!s.given("sun", "sky_intensity")) { to.sky_intensity = from.sky_intensity; }
}

void take_place(scene& s, const sun_sky_data& from)
{
    if (s.given("sun", "place") || s.given("sun", "latitude")) { return; }
    s.sun.place = utf8_of(from.place);
    s.sun.latitude = from.latitude * degrees;
    s.sun.longitude = from.longitude * degrees;
    if (!s.given("sun", "zone")) { s.sun.zone_hours = from.time_zone / 60.0; }
}

/// Colours and angles that the file switches on, or leaves to place and temperatures.
void take_choices(scene& s, const sun_sky_data& from)
{
    scene_sun& to = s.sun;
    const bool says_moment = s.given("sun", "place") || s.given("sun", "latitude") ||
                             s.given("sun", "date") || s.given("sun", "time") ||
                             s.given("sun", "azimuth_deg");
    if ((from.flags & SUN_BY_ANGLES) && !says_moment)
    {
        to.azimuth_deg = from.direct_azimuth * degrees;
        to.altitude_deg = from.direct_altitude * degrees;
    }
    if ((from.flags & SUN_RGB_COLORS) && !s.given("sun", "sun_color"))
    {
        to.sun_color = display_color(from.direct_sun_rgb);
        to.sky_color = display_color(from.direct_sky_rgb);
    }
    const std::pair<const char*, float> kelvins[] = { { "sun_kelvin", from.sun_ct0 },
        { "sunset_kelvin", from.sun_ct1 }, { "sky_kelvin", from.sky_ct0 },
        { "sunset_sky_kelvin", from.sky_ct1 }, { "overcast_kelvin", from.cloudy_ct } };
    std::optional<double>* const fields[] = { &to.sun_kelvin, &to.sunset_kelvin, &to.sky_kelvin,
        &to.sunset_sky_kelvin, &to.overcast_kelvin };
    for (size_t i = 0; i < std::size(kelvins); ++i)
    {
        if (!s.given("sun", kelvins[i].first) && kelvins[i].second > 0) { *fields[i] = kelvins[i].second; }
    }
}

color3 display_color(const float (&linear)[3])
{
    color3 c;
    for (size_t i = 0; i < 3; ++i) { c.rgb[i] = std::pow(double(linear[i]), 1 / 2.2); }
    return c;
}

/// "2026-06-21" of a day from 0; the last day of a leap year is that of the nearest one.
std::string date_of(int day)
{
    constexpr int months[] = { 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };
    if (day >= 365) { return "2028-12-31"; }
    int month = 0;
    day = std::max(day, 0);
    while (day >= months[month]) { day -= months[month++]; }
    return fmt::format("2026-{:02}-{:02}", month + 1, day + 1);
}

/// A picture beside the file goes before one of that name in the library's folders.
void take_picture(const std::filesystem::path& file, document* d, std::vector<std::string>& notes)
{
    environment& e = d->environment;
    if (!e.image_filename[0]) { return; }
    std::string name = utf8_of(e.image_filename);
    std::replace(name.begin(), name.end(), '\\', '/');
    const std::filesystem::path beside = file.parent_path() / name;
    std::error_code error;
    char16_t elsewhere[ZR_PATH_CAPACITY];
    if (std::filesystem::exists(beside, error)) { set_background_picture(e, beside, notes); }
    else if ((d->environment_flags & ENVIRONMENT_PICTURE) &&
             !zr_findfile(nullptr, e.image_filename, elsewhere))
    {
        notes.push_back(
            fmt::format("{}: the picture \"{}\" is left out: file not found", file.string(), name));
    }
}

void take_exposure(scene& s, const render_view& from)
{
    if (!s.given("tone", "method")) { s.tone.method = from.tone_method; }
    if (!s.given("tone", "brightness")) { s.tone.brightness = from.brightness; }
    if (!s.given("tone", "contrast")) { s.tone.contrast = from.contrast; }
    if (!s.given("tone", "source_gain")) { s.tone.source_gain = from.source_gain; }
}

} // namespace

} // namespace host
