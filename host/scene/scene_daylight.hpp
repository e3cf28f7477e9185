/// @file
/// The `[sun]` of a scene: place, moment and weather as they are written, and their reading.
#pragma once

#include <array>
#include <optional>
#include <string>

namespace host
{

/// A colour as a screen shows it: each channel 0 to 1, to be raised to the power 2.2 for linear light.
struct color3
{
    std::array<double, 3> rgb{ 0.7, 0.7, 0.7 };
};

struct scene_sun
{
    bool is_on = false; ///< the scene has the section
    int mode = 0;       ///< row of `sun_mode_names`
    int angles = 1;     ///< row of `sun_angle_names`
    std::string place;
    std::optional<double> latitude, longitude; ///< degrees
    std::optional<double> zone_hours;          ///< of standard time
    std::string date = "2026-06-21", time = "12:00";
    bool daylight_saving = false;
    std::optional<double> azimuth_deg, altitude_deg; ///< in place of place and time
    double cloudiness = 0, north_deg = 0;
    double size_deg = 0.533; ///< apparent diameter
    int samples = 4;
    double jitter = 0.05;
    double sun_intensity = 1, sky_intensity = 1;
    std::optional<color3> sun_color, sky_color;
    std::optional<double> sun_kelvin, sunset_kelvin, sky_kelvin, sunset_sky_kelvin, overcast_kelvin;
};

enum
{
    sun_mode_outdoors = 0,
    sun_mode_windows = 1
};

extern const char* const sun_mode_names[3];
extern const char* const sun_angle_names[3]; ///< by the library's sun models

/// A day of the calendar.
struct calendar_day
{
    int year = 2026;
    int day_of_year = 0; ///< 0 is 1 January
};

/// "2026-06-21"; none for anything else, and for days that no calendar has.
std::optional<calendar_day> read_date(const std::string& text);
/// "12:30" in minutes after midnight.
std::optional<int> read_time(const std::string& text);

/// What is wrong with the section, for a message that begins with its name; empty when nothing is.
/// `place_follows`: a settings file may still place the sun.
std::string check_sun(const scene_sun& s, bool place_follows = false);

} // namespace host
