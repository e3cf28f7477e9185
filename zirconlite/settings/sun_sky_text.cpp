/// @file
/// The text of sun and sky.
#include <stddef.h>

#include <iterator>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/settings/settings_text.hpp"

namespace
{

using type = zr::settings_type;

constexpr int32_t place_capacity = int32_t(std::size(sun_sky_data{}.place));

constexpr zr::settings_field fields[] = {
    { u"FLAGS", type::integer, 1, offsetof(sun_sky_data, flags) },
    { u"NORTH", type::real, 1, offsetof(sun_sky_data, north) },
    { u"CLOUDINESS", type::real, 1, offsetof(sun_sky_data, cloudiness) },
    { u"LATITUDE", type::real, 1, offsetof(sun_sky_data, latitude) },
    { u"LONGITUDE", type::real, 1, offsetof(sun_sky_data, longitude) },
    { u"TIME ZONE", type::integer, 1, offsetof(sun_sky_data, time_zone) },
    { u"PLACE", type::text, place_capacity, offsetof(sun_sky_data, place) },
    { u"DST", type::integer, 1, offsetof(sun_sky_data, daylight_saving) },
    { u"DATE", type::integer, 1, offsetof(sun_sky_data, day_of_year) },
    { u"TIME", type::integer, 1, offsetof(sun_sky_data, local_minutes) },
    { u"SUN RGB", type::single, 3, offsetof(sun_sky_data, direct_sun_rgb) },
    { u"SKY RGB", type::single, 3, offsetof(sun_sky_data, direct_sky_rgb) },
    { u"SUN CT0", type::single, 1, offsetof(sun_sky_data, sun_ct0) },
    { u"SUN CT1", type::single, 1, offsetof(sun_sky_data, sun_ct1) },
    { u"SKY CT0", type::single, 1, offsetof(sun_sky_data, sky_ct0) },
    { u"SKY CT1", type::single, 1, offsetof(sun_sky_data, sky_ct1) },
    { u"CLOUDY CT", type::single, 1, offsetof(sun_sky_data, cloudy_ct) },
    { u"AZIMUTH", type::real, 1, offsetof(sun_sky_data, direct_azimuth) },
    { u"ALTITUDE", type::real, 1, offsetof(sun_sky_data, direct_altitude) },
    { u"SUN INTENSITY", type::single, 1, offsetof(sun_sky_data, sun_intensity) },
    { u"SKY INTENSITY", type::single, 1, offsetof(sun_sky_data, sky_intensity) },
};

bool has_sun_sky(const document* doc);

} // namespace

namespace zr
{

bool write_sunsky(settings_writer& to, document& doc)
{
    sun_sky_data values;
    zr_get_sunsky_data(&values, doc.sun_sky, &doc);
    to.add(settings_head(SETTINGS_SUN_SKY));
    if (!write_fields(to, { fields, std::size(fields), &values })) { return false; }
    to.add(u"\n#END");
    return true;
}

bool read_sunsky(unit_source& from, document& doc)
{
    sun_sky_data values;
    zr_get_sunsky_data(&values, doc.sun_sky, &doc);
    const settings_table table = { fields, std::size(fields), &values };
    return read_fields(from, &table, 1) && zr_store_sunsky_data(&values, doc.sun_sky, &doc);
}

} // namespace zr

int32_t save_sunsky_config_info(FILE* stream, document* doc)
{
    if (!stream || !has_sun_sky(doc)) { return 0; }
    zr::settings_writer text;
    return zr::write_sunsky(text, *doc) && zr::write_to_stream(text, stream);
}

int32_t read_sunsky_config_info(FILE* stream, document* doc)
{
    if (!stream || !has_sun_sky(doc)) { return 0; }
    zr::unit_source from = { stream, nullptr, 0 };
    return zr::read_sunsky(from, *doc);
}

namespace
{

bool has_sun_sky(const document* doc)
{
    return (doc && doc->sun_sky) || zr::report_failure(ZR_ERROR_ARGUMENT, "the document has no sun and sky");
}

} // namespace
