/// @file
/// A host's view of the sun and sky: all settings in one record, angles in radians and zones in minutes.
#include <string.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/lighting/sun_sky.h"

namespace
{

constexpr double degree = 0.017453292519444445;

template <class To, class From> void copy_shared_fields(To& to, const From& from);
void copy_place(char16_t* to, size_t size, const char16_t* from, size_t from_size);

} // namespace

int32_t zr_get_sunsky_data(sun_sky_data* data_out, const sun_sky* sky, const document* doc)
{
    if (!data_out || !sky || !doc) { return zr::report_failure(ZR_ERROR_ARGUMENT, "no sun and sky"); }
    memset(data_out, 0, sizeof *data_out);
    copy_shared_fields(*data_out, *sky);
    data_out->sun_sky_flags = doc->sun_sky_flags;
    data_out->sun_size = float(sky->sun_size);
    data_out->latitude = sky->latitude * degree;
    data_out->longitude = sky->longitude * degree;
    // Whole minutes pass through hours and back.
    const double minutes = sky->time_zone * 60.0 + std::copysign(1e-6, sky->time_zone);
    data_out->time_zone = std::fabs(minutes) < 1e6 ? int32_t(minutes) : 0;
    data_out->direct_azimuth = sky->direct_azimuth;
    data_out->direct_altitude = sky->direct_altitude;
    return 1;
}

int32_t zr_store_sunsky_data(const sun_sky_data* data, sun_sky* sky, document* doc)
{
    if (!data || !sky || !doc) { return zr::report_failure(ZR_ERROR_ARGUMENT, "no sun and sky"); }
    doc->sun_sky_flags = data->sun_sky_flags;
    copy_shared_fields(*sky, *data);
    sky->sun_size = data->sun_size;
    sky->latitude = data->latitude / degree;
    sky->longitude = data->longitude / degree;
    sky->time_zone = data->time_zone / 60.0;
    zr_sun_angles_to_vector(data->direct_azimuth, data->direct_altitude, data->north, &sky->sun_direction);
    if (sky->flags & SUN_BY_ANGLES)
    {
        sky->direct_azimuth = float(data->direct_azimuth);
        sky->direct_altitude = float(data->direct_altitude);
    }
    return 1;
}

namespace
{

/// The fields that both records have under one name, in `from` and `to`.
template <class To, class From> void copy_shared_fields(To& to, const From& from)
{
    to.flags = from.flags;
    to.north = from.north;
    to.cloudiness = from.cloudiness;
    to.sun_samples = from.sun_samples;
    to.sun_jitter = from.sun_jitter;
    to.daylight_saving = from.daylight_saving;
    to.day_of_year = from.day_of_year;
    to.local_minutes = from.local_minutes;
    to.sun_intensity = from.sun_intensity;
    to.sky_intensity = from.sky_intensity;
    std::copy_n(from.direct_sun_rgb, 3, to.direct_sun_rgb);
    std::copy_n(from.direct_sky_rgb, 3, to.direct_sky_rgb);
    to.sun_ct0 = from.sun_ct0;
    to.sun_ct1 = from.sun_ct1;
    to.sky_ct0 = from.sky_ct0;
    to.sky_ct1 = from.sky_ct1;
    to.cloudy_ct = from.cloudy_ct;
    copy_place(to.place, std::size(to.place), from.place, std::size(from.place));
}

void copy_place(char16_t* to, size_t size, const char16_t* from, size_t from_size)
{
    size_t n = 0;
    while (n + 1 < size && n < from_size && from[n]) { ++n; }
    if (n && n + 1 == size && from[n - 1] >= 0xd800 && from[n - 1] < 0xdc00) { --n; } // half a character
    std::copy_n(from, n, to);
    std::fill(to + n, to + size, u'\0');
}

} // namespace
