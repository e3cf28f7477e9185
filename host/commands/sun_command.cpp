/// @file
/// `zirconlite sun`: the position of the sun and the light of sun and sky, for a moment or over a day.
#include "host/build/build_daylight.hpp"
#include "host/commands/commands.hpp"
#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "host/scene/cities.hpp"
#include "host/vectors.hpp"
#include "zirconlite/lighting/sun_sky.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace host
{

namespace
{

constexpr int day_minutes = 24 * 60;

const char* const format_names[] = { "text", "csv", "json" };

struct sun_arguments
{
    scene_sun sun;
    std::string angles = "almanac", step, format = "text";
    bool list_places = false;
};

/// One line of the answer.
struct sun_moment
{
    std::string time;
    double altitude_deg, apparent_deg, azimuth_deg;
    double sun_lux, sky_strength;
    std::array<double, 3> sun_color, sky_color;
};

std::string as_text(const std::vector<sun_moment>& all, const scene_sun& s, const sun_sky& k);
std::string as_csv(const std::vector<sun_moment>& all, const scene_sun& s, const sun_sky&);
std::string as_json(const std::vector<sun_moment>& all, const scene_sun& s, const sun_sky& k);

/// By the row of format_names.
constexpr std::string (*writers[])(
    const std::vector<sun_moment>&, const scene_sun&, const sun_sky&) = { as_text, as_csv, as_json };

int print_sun(const sun_arguments& o);
std::string city_list();
std::string option_names(std::string text);
std::vector<sun_moment> moments(scene_sun s, const std::string& step, document* d);
sun_moment moment_at(const scene_sun& s, document* d);
double lifted_by_air(double altitude_deg);
int read_step(const std::string& text);
CLI::Validator number(double low, double high);
std::string place_of(const scene_sun& s, const sun_sky& k);

} // namespace

std::function<int()> setup_sun(CLI::App& command)
{
    auto o = std::make_shared<sun_arguments>();
    scene_sun& s = o->sun;
    command.add_option("--place", s.place, "A city; --places lists them");
    command.add_option("--latitude", s.latitude, "Degrees, north positive")->check(number(-90.0, 90.0));
    command.add_option("--longitude", s.longitude, "Degrees, east positive")->check(number(-180.0, 180.0));
    command.add_option("--zone", s.zone_hours, "Hours of standard time from universal time")
        ->check(number(-14.0, 14.0));
    command.add_option("--date", s.date, "Like 2026-06-21")->capture_default_str();
    command.add_option("--time", s.time, "Of the clock, like 14:30")->capture_default_str();
    command.add_flag("--daylight-saving", s.daylight_saving, "The clock is an hour fast");
    command.add_option("--azimuth", s.azimuth_deg, "The sun by its angles: degrees, 0 north, 90 east")
        ->check(number(-360.0, 360.0));
    command.add_option("--altitude", s.altitude_deg, "Degrees above the horizon")->check(number(-90.0, 90.0));
    command.add_option("--cloudiness", s.cloudiness, "0 clear to 1 overcast")->check(number(0.0, 1.0));
    command.add_option("--angles", o->angles, "How the sun's place is found")
        ->check(CLI::IsMember({ "almanac", "tables" }))
        ->capture_default_str();
    command.add_option("--table", o->step, "A line for each step of the day, like 1h or 15m");
    command.add_option("--format", o->format, "How it is printed")
        ->check(CLI::IsMember({ "text", "csv", "json" }))
        ->capture_default_str();
    command.add_flag("--places", o->list_places, "List the cities and end");
    return [o] { return print_sun(*o); };
}

namespace
{

int print_sun(const sun_arguments& o)
{
    if (o.list_places)
    {
        std::fputs(city_list().c_str(), stdout);
        return exit_done;
    }
    scene_sun s = o.sun;
    s.is_on = true;
    s.angles = o.angles == sun_angle_names[0] ? 0 : 1;
    const std::string wrong = check_sun(s);
    if (!wrong.empty()) { throw failure(exit_usage, option_names(wrong)); }
    if (!o.step.empty()) { read_step(o.step); }
    progress_line progress(false);
    const library_session session(progress);
    zr_set_light_model(session.scene, LIGHT_MODEL_EXACT);
    const std::vector<sun_moment> all = moments(s, o.step, session.scene);
    size_t row = 0;
    while (o.format != format_names[row]) { ++row; }
    std::fputs(writers[row](all, s, *session.scene->sun_sky).c_str(), stdout);
    return exit_done;
}

std::string city_list()
{
    std::string out;
    for (const city* c = cities; c->name; ++c)
    {
        out += fmt::format("{:<20} {:7.2f} {:8.2f}  UTC{:+.4g}h\n", c->name, c->latitude, c->longitude,
            c->zone_minutes / 60.0);
    }
    return out;
}

/// An option's name for a key of the scene.
std::string option_names(std::string text)
{
    for (const auto& [key, option] : { std::pair<const char*, const char*>{ "azimuth_deg", "--azimuth" },
             { "altitude_deg", "--altitude" }, { "latitude", "--latitude" }, { "longitude", "--longitude" } })
    {
        for (size_t at = text.find(key); at != std::string::npos;
             at = text.find(key, at + 2 + std::string(option).size()))
        {
            text.replace(at, std::string(key).size(), option);
        }
    }
    for (const char* name : { "date:", "time:", "place:" })
    {
        if (text.starts_with(name)) { return "--" + text; }
    }
    return text;
}

std::vector<sun_moment> moments(scene_sun s, const std::string& step, document* d)
{
    if (step.empty()) { return { moment_at(s, d) }; }
    std::vector<sun_moment> all;
    for (int minutes = 0, each = read_step(step); minutes < day_minutes; minutes += each)
    {
        s.time = fmt::format("{:02}:{:02}", minutes / 60, minutes % 60);
        all.push_back(moment_at(s, d));
    }
    return all;
}

sun_moment moment_at(const scene_sun& s, document* d)
{
    set_daylight(s, d);
    const sun_sky& k = *d->sun_sky;
    const double azimuth = k.azimuth * degrees;
    const double altitude = k.altitude * degrees;
    sun_moment m = { s.time, altitude, lifted_by_air(altitude), azimuth < 0 ? azimuth + 360 : azimuth,
        k.sun_strength, k.sky_strength, {}, {} };
    for (size_t i = 0; i < 3; ++i)
    {
        m.sun_color[i] = double(k.sun_color[i]);
        m.sky_color[i] = double(k.sky_color[i]);
    }
    return m;
}

/// Air lifts what is low: Saemundsson, Sky and Telescope 72 (1986), for 10 degrees and 1010 millibars.
double lifted_by_air(double altitude_deg)
{
    if (altitude_deg < -1) { return altitude_deg; }
    return altitude_deg + 1.02 / std::tan((altitude_deg + 10.3 / (altitude_deg + 5.11)) / degrees) / 60;
}

/// "1h" or "15m" in minutes.
int read_step(const std::string& text)
{
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    const std::string unit = end;
    const long minutes = unit == "h" && number <= 24 ? number * 60 : unit == "m" ? number : 0;
    if (minutes < 1 || minutes > day_minutes)
    {
        throw failure(
            exit_usage, fmt::format("--table: \"{}\" is no step like 1h or 15m within a day", text));
    }
    return int(minutes);
}

/// A number from low to high; unlike CLI::Range it refuses "nan".
CLI::Validator number(double low, double high)
{
    const auto check = [=](std::string& text)
    {
        const double value = std::strtod(text.c_str(), nullptr);
        return value >= low && value <= high ? "" : fmt::format("{} is outside {} to {}", text, low, high);
    };
    return CLI::Validator(check, fmt::format("{} to {}", low, high));
}

std::string as_text(const std::vector<sun_moment>& all, const scene_sun& s, const sun_sky& k)
{
    std::string out =
        fmt::format("{}, {}{}\n", place_of(s, k), s.date, s.daylight_saving ? ", daylight saving" : "");
    out += "time   altitude  apparent   azimuth   sun lux  sky cd/m2  sun colour        sky colour\n";
    for (const sun_moment& m : all)
    {
        out += fmt::format("{}  {:8.3f}  {:8.3f}  {:8.3f}  {:8.0f}  {:9.1f}  {:.3f} {:.3f} {:.3f} "
                           "  {:.3f} {:.3f} {:.3f}\n",
            m.time, m.altitude_deg, m.apparent_deg, m.azimuth_deg, m.sun_lux, m.sky_strength, m.sun_color[0],
            m.sun_color[1], m.sun_color[2], m.sky_color[0], m.sky_color[1], m.sky_color[2]);
    }
    return out;
}

std::string place_of(const scene_sun& s, const sun_sky& k)
{
    if (s.azimuth_deg) { return "the sun by its angles"; }
    const city* c = find_city(s.place);
    return fmt::format("{}{}{:.2f} {}, {:.2f} {}, UTC{:+.4g}h", c && !s.latitude ? c->name : "",
        c && !s.latitude ? ": " : "", std::abs(k.latitude), k.latitude < 0 ? "S" : "N", std::abs(k.longitude),
        k.longitude < 0 ? "W" : "E", k.time_zone);
}

std::string as_csv(const std::vector<sun_moment>& all, const scene_sun& s, const sun_sky&)
{
    std::string out =
        "date,time,altitude_deg,apparent_altitude_deg,azimuth_deg,sun_lux,sky_cd_m2,sun_red,sun_green,"
        "sun_blue,sky_red,sky_green,sky_blue\n";
    for (const sun_moment& m : all)
    {
        out += fmt::format(
            "{},{},{:.4f},{:.4f},{:.4f},{:.1f},{:.2f},{:.4f},{:.4f},{:.4f},{:.4f},{:.4f},{:.4f}\n", s.date,
            m.time, m.altitude_deg, m.apparent_deg, m.azimuth_deg, m.sun_lux, m.sky_strength, m.sun_color[0],
            m.sun_color[1], m.sun_color[2], m.sky_color[0], m.sky_color[1], m.sky_color[2]);
    }
    return out;
}

std::string as_json(const std::vector<sun_moment>& all, const scene_sun& s, const sun_sky& k)
{
    std::string out = fmt::format("{{\n  \"date\": \"{}\",\n  \"latitude\": {},\n  \"longitude\": {},\n"
                                  "  \"zone_hours\": {},\n  \"daylight_saving\": {},\n  \"moments\": [\n",
        s.date, k.latitude, k.longitude, k.time_zone, s.daylight_saving);
    for (const sun_moment& m : all)
    {
        out += fmt::format(
            "    {{ \"time\": \"{}\", \"altitude_deg\": {:.4f}, \"apparent_altitude_deg\": {:.4f}, "
            "\"azimuth_deg\": {:.4f}, \"sun_lux\": {:.1f}, \"sky_cd_m2\": {:.2f}, "
            "\"sun_color\": [{:.4f}, {:.4f}, {:.4f}], \"sky_color\": [{:.4f}, {:.4f}, {:.4f}] }}{}\n",
            m.time, m.altitude_deg, m.apparent_deg, m.azimuth_deg, m.sun_lux, m.sky_strength, m.sun_color[0],
            m.sun_color[1], m.sun_color[2], m.sky_color[0], m.sky_color[1], m.sky_color[2],
            &m == &all.back() ? "" : ",");
    }
    return out + "  ]\n}\n";
}

} // namespace

} // namespace host
