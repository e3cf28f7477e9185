/// @file
/// The keys of the sun and the sky's weather.
#include "host/scene/scene_keys.hpp"

namespace host
{

const char* const sun_mode_names[3] = { "outdoors", "windows", nullptr };
const char* const sun_angle_names[3] = { "tables", "almanac", nullptr };

namespace
{

const key_row<scene_sun> sun_rows[] = {
    { "mode", &scene_sun::mode, 0, 0, sun_mode_names, 0,
        "where the sky's light comes from: the open sky, or `[[light]]` of kind `window`; `outdoors`" },
    { "place", &scene_sun::place, 1, 128, nullptr, 0, "a city, such as `Oslo`; or" },
    { "latitude", &scene_sun::latitude, -90, 90, nullptr, 0, "degrees, north positive, with" },
    { "longitude", &scene_sun::longitude, -180, 180, nullptr, 0, "degrees, east positive" },
    { "zone", &scene_sun::zone_hours, -14, 14, nullptr, 0,
        "hours of standard time; the city's, or the nearest hour to the longitude, when left out" },
    { "date", &scene_sun::date, 10, 10, nullptr, 0, "year, month and day, `2026-06-21`" },
    { "time", &scene_sun::time, 5, 5, nullptr, 0, "of the clock, `12:00`" },
    { "daylight_saving", &scene_sun::daylight_saving, 0, 0, nullptr, 0, "the clock is an hour fast, false" },
    { "angles", &scene_sun::angles, 0, 0, sun_angle_names, 0,
        "how place and time give the sun: within 0.01 degrees from 1950 to 2050, or the sky model's own "
        "tables; "
        "`almanac`" },
    { "azimuth_deg", &scene_sun::azimuth_deg, -360, 360, nullptr, 0,
        "position of the sun, instead of place and time: 0 north, 90 east, with" },
    { "altitude_deg", &scene_sun::altitude_deg, -90, 90, nullptr, 0, "its height above the horizon" },
    { "north_deg", &scene_sun::north_deg, -360, 360, nullptr, 0,
        "where north lies in the scene, clockwise from +y, 0" },
    { "cloudiness", &scene_sun::cloudiness, 0, 1, nullptr, 0, "0 clear to 1 overcast; no sun above 0.95; 0" },
    { "size_deg", &scene_sun::size_deg, 0, 43, nullptr, 0, "diameter of the sun as seen; 0 is sharp; 0.533" },
    { "samples", &scene_sun::samples, 1, 256, nullptr, 0, "shadow rays a point to the sun, 4" },
    { "jitter", &scene_sun::jitter, 0, 1, nullptr, 0,
        "noise of the first of them in the fast light model, 0.05" },
    { "sun_intensity", &scene_sun::sun_intensity, 0, 1000, nullptr, 0, "factor of sunlight, 1" },
    { "sky_intensity", &scene_sun::sky_intensity, 0, 1000, nullptr, 0, "factor of the sky's light, 1" },
    { "sun_color", &scene_sun::sun_color, 0, 1, nullptr, 0,
        "in place of colours by temperature; both or none" },
    { "sky_color", &scene_sun::sky_color, 0, 1, nullptr, 0, "with `sun_color`" },
    { "sun_kelvin", &scene_sun::sun_kelvin, 1000, 40000, nullptr, 0, "colour of the sun by day, 5000" },
    { "sunset_kelvin", &scene_sun::sunset_kelvin, 1000, 40000, nullptr, 0, "of the setting sun, 2500" },
    { "sky_kelvin", &scene_sun::sky_kelvin, 1000, 40000, nullptr, 0, "of the clear sky by day, 10000" },
    { "sunset_sky_kelvin", &scene_sun::sunset_sky_kelvin, 1000, 40000, nullptr, 0,
        "of the sky at sunset, 7000" },
    { "overcast_kelvin", &scene_sun::overcast_kelvin, 1000, 40000, nullptr, 0, "of the overcast sky, 6500" },
    { nullptr, &scene_sun::mode, 0, 0, nullptr, 0, nullptr },
};

} // namespace

const section<scene_sun> sun_section{ "[sun]",
    "Sun and sky of a place and a moment. Without it there are none.", sun_rows };

} // namespace host
