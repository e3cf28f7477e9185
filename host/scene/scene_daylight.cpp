#include "host/scene/scene_daylight.hpp"

#include "host/scene/cities.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace host
{

namespace
{

int digits(const std::string& text, size_t at, size_t count);

} // namespace

std::optional<calendar_day> read_date(const std::string& text)
{
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') { return {}; }
    const int year = digits(text, 0, 4), month = digits(text, 5, 2), day = digits(text, 8, 2);
    if (year < 1583 || month < 1 || month > 12) { return {}; }
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const int lengths[12] = { 31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };
    if (day < 1 || day > lengths[month - 1]) { return {}; }
    int before = 0;
    for (int m = 0; m < month - 1; ++m) { before += lengths[m]; }
    return calendar_day{ year, before + day - 1 };
}

std::optional<int> read_time(const std::string& text)
{
    if (text.size() != 5 || text[2] != ':') { return {}; }
    const int hour = digits(text, 0, 2), minute = digits(text, 3, 2);
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59) { return {}; }
    return 60 * hour + minute;
}

std::string check_sun(const scene_sun& s, bool place_follows)
{
    if (!read_date(s.date)) { return fmt::format("date: \"{}\" is no day like \"2026-06-21\"", s.date); }
    if (!read_time(s.time)) { return fmt::format("time: \"{}\" is no time like \"14:30\"", s.time); }
    if (s.azimuth_deg.has_value() != s.altitude_deg.has_value())
    {
        return "azimuth_deg and altitude_deg go together";
    }
    if (s.latitude.has_value() != s.longitude.has_value()) { return "latitude and longitude go together"; }
    if (s.azimuth_deg && (s.latitude || !s.place.empty()))
    {
        return "takes a place or the sun's angles, not both";
    }
    if (!s.place.empty() && !s.latitude && !find_city(s.place))
    {
        const char* near = nearest_city(s.place);
        return fmt::format("place: there is no \"{}\"{}; or give latitude and longitude", s.place,
            near ? fmt::format("; did you mean \"{}\"?", near) : "");
    }
    if (!s.azimuth_deg && !s.latitude && s.place.empty() && !place_follows)
    {
        return "needs a place, latitude and longitude, or azimuth_deg and altitude_deg";
    }
    return "";
}

namespace
{

/// The digits of `text` from `at`; -1 where one is none.
int digits(const std::string& text, size_t at, size_t count)
{
    int number = 0;
    for (size_t i = at; i < at + count; ++i)
    {
        if (i >= text.size() || text[i] < '0' || text[i] > '9') { return -1; }
        number = 10 * number + (text[i] - '0');
    }
    return number;
}

} // namespace

} // namespace host
