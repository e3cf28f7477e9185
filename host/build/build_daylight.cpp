#include "host/build/build_daylight.hpp"

#include "host/build/build_material.hpp"
#include "host/scene/cities.hpp"
#include "host/text.hpp"
#include "host/vectors.hpp"
#include "zirconlite/geometry/vector.h"
#include "zirconlite/lighting/sun_sky.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace host
{

namespace
{

void set_place(const scene_sun& s, sun_sky& k);
void set_colors(const scene_sun& s, sun_sky& k);
std::vector<vec3> rectangle(const scene_light& from);
vector3 times(const vector3& a, double f);
vector3 twice_area(const std::vector<vec3>& corners);
vector3 plus(const vector3& a, const vector3& b);
vector3 minus(const vector3& a, const vector3& b);

} // namespace

void set_daylight(const scene_sun& s, document* d)
{
    if (!s.is_on) { return; }
    const calendar_day day = read_date(s.date).value_or(calendar_day{});
    zr_set_sun_model(s.angles, day.year);
    d->sun_sky_flags = s.mode == sun_mode_windows ? SUN_SKY_WINDOWS : SUN_SKY_SUN;
    sun_sky& k = *d->sun_sky;
    k.flags = 0;
    set_place(s, k);
    k.day_of_year = day.day_of_year;
    k.local_minutes = read_time(s.time).value_or(720);
    k.daylight_saving = s.daylight_saving;
    if (s.azimuth_deg)
    {
        k.flags |= SUN_BY_ANGLES;
        k.direct_azimuth = float(*s.azimuth_deg * radians);
        k.direct_altitude = float(*s.altitude_deg * radians);
    }
    k.north = s.north_deg * radians;
    k.cloudiness = s.cloudiness;
    k.sun_size = std::min(5 * std::tan(s.size_deg / 2 * radians), 2.0);
    k.sun_samples = s.samples;
    k.sun_jitter = float(s.jitter);
    k.sun_intensity = float(s.sun_intensity);
    k.sky_intensity = float(s.sky_intensity);
    set_colors(s, k);
    zr_set_sun_and_sky(d);
}

void set_window(const scene_light& from, light& l)
{
    l.type = LIGHT_DAYLIGHT;
    l.distribution = DISTRIBUTION_DEFAULT;
    std::vector<vec3> corners = from.corners.empty() ? rectangle(from) : from.corners;
    vector3 area = twice_area(corners);
    if (from.normal && dot(area, to_vector(*from.normal)) < 0)
    {
        std::reverse(corners.begin(), corners.end());
        area = times(area, -1);
    }
    l.area = length(area) / 2;
    l.normal = times(area, 1 / length(area));
    l.vertex_count = int32_t(corners.size());
    for (size_t i = 0; i < corners.size(); ++i) { l.vertices[i] = to_vector(corners[i]); }
    const vector3 e1 = minus(l.vertices[1], l.vertices[0]), e2 = minus(l.vertices[2], l.vertices[1]);
    l.length = length(e1);
    l.axis_u = times(e1, 1 / l.length);
    l.axis_v = cross(l.normal, l.axis_u);
    l.height = dot(e2, l.axis_v);
    l.position = plus(l.vertices[0], times(plus(e1, e2), 0.5));
    l.opacity = float(from.opacity);
}

std::string check_window(const scene_light& l)
{
    if (l.corners.empty())
    {
        if (!l.normal) { return "is a window: give its corners, or position, size and normal"; }
        if (length(to_vector(*l.normal)) < 1e-9) { return "normal: has no length"; }
        return l.size[0] > 0 && l.size[1] > 0 ? "" : "size: is 0";
    }
    const size_t n = l.corners.size();
    if (n < 3 || n > LIGHT_MAX_VERTICES) { return "corners: a window has 3 to 10"; }
    const vector3 area = twice_area(l.corners);
    const double size = length(area);
    if (size < 1e-9) { return "corners: span no area"; }
    for (size_t i = 0; i < n; ++i)
    {
        const vector3 a = to_vector(l.corners[i]), b = to_vector(l.corners[(i + 1) % n]),
                      c = to_vector(l.corners[(i + 2) % n]);
        if (std::abs(dot(minus(a, to_vector(l.corners[0])), area)) > 1e-3 * size * std::sqrt(size))
        {
            return "corners: do not lie in one plane";
        }
        if (dot(cross(minus(b, a), minus(c, b)), area) <= 0)
        {
            return "corners: a window is convex, with no corner within a side";
        }
    }
    return "";
}

namespace
{

void set_place(const scene_sun& s, sun_sky& k)
{
    const city* c = s.place.empty() ? nullptr : find_city(s.place);
    k.latitude = s.latitude ? *s.latitude : c ? c->latitude : 0;
    k.longitude = s.longitude ? *s.longitude : c ? c->longitude : 0;
    const bool is_citys = c && !s.latitude;
    k.time_zone = s.zone_hours ? *s.zone_hours
                  : is_citys   ? c->zone_minutes / 60.0
                               : std::round(k.longitude / 15);
    const std::u16string name = utf16_of(s.place);
    std::fill(std::begin(k.place), std::end(k.place), u'\0');
    std::copy_n(name.begin(), std::min(name.size(), std::size(k.place) - 1), k.place);
}

void set_colors(const scene_sun& s, sun_sky& k)
{
    const std::pair<const std::optional<double>&, float&> kelvins[] = { { s.sun_kelvin, k.sun_ct0 },
        { s.sunset_kelvin, k.sun_ct1 }, { s.sky_kelvin, k.sky_ct0 }, { s.sunset_sky_kelvin, k.sky_ct1 },
        { s.overcast_kelvin, k.cloudy_ct } };
    for (const auto& [given, field] : kelvins)
    {
        if (given) { field = float(*given); }
    }
    if (!s.sun_color || !s.sky_color) { return; }
    k.flags |= SUN_RGB_COLORS;
    set_color(k.direct_sun_rgb, *s.sun_color);
    set_color(k.direct_sky_rgb, *s.sky_color);
}

/// The corners of a rectangle about `position`, counter-clockwise from the side that the normal points to.
std::vector<vec3> rectangle(const scene_light& from)
{
    const vector3 n = times(to_vector(*from.normal), 1 / length(to_vector(*from.normal)));
    vector3 u, v;
    zr_make_axes(&n, &u, &v, 1e-5);
    std::vector<vec3> corners;
    for (const auto& [along, up] : { std::pair{ -1, -1 }, { 1, -1 }, { 1, 1 }, { -1, 1 } })
    {
        const vector3 c = plus(to_vector(from.position),
            plus(times(u, along * from.size[0] / 2), times(v, up * from.size[1] / 2)));
        corners.push_back({ c.x, c.y, c.z });
    }
    return corners;
}

vector3 times(const vector3& a, double f) { return { a.x * f, a.y * f, a.z * f }; }

/// Normal of the polygon with a length of twice its area.
vector3 twice_area(const std::vector<vec3>& corners)
{
    vector3 sum{};
    for (size_t i = 1; i + 1 < corners.size(); ++i)
    {
        sum = plus(sum, cross(minus(to_vector(corners[i]), to_vector(corners[0])),
                            minus(to_vector(corners[i + 1]), to_vector(corners[0]))));
    }
    return sum;
}

vector3 plus(const vector3& a, const vector3& b) { return { a.x + b.x, a.y + b.y, a.z + b.z }; }

vector3 minus(const vector3& a, const vector3& b) { return { a.x - b.x, a.y - b.y, a.z - b.z }; }

} // namespace

} // namespace host
