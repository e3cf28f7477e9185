/// @file
/// The text of an environment.
#include <stddef.h>

#include <iterator>

#include "zirconlite/environment/environment_settings.h"
#include "zirconlite/frame/host_callbacks.hpp"
#include "zirconlite/settings/settings_text.hpp"

namespace
{

using type = zr::settings_type;

constexpr int32_t name_capacity = int32_t(std::size(environment_picture_settings{}.image_filename));

using es = environment_settings;
using ps = environment_picture_settings;

constexpr zr::settings_field general_fields[] = {
    { u"FLAGS", type::integer, 1, offsetof(es, environment_flags) },
    { u"MODE", type::integer, 1, offsetof(es, mode) },
    { u"COLOR0", type::single, 3, offsetof(es, color0) },
    { u"COLOR1", type::single, 3, offsetof(es, color1) },
    { u"COLOR2", type::single, 3, offsetof(es, color2) },
    { u"ANGLE0", type::real, 1, offsetof(es, angle0) },
    { u"ANGLE1", type::real, 1, offsetof(es, angle1) },
    { u"ANGLE2", type::real, 1, offsetof(es, angle2) },
    { u"FOG TYPE", type::integer, 1, offsetof(es, fog_type) },
    { u"FOG COLOR", type::single, 3, offsetof(es, fog_color) },
    { u"FOG DISTANCE", type::real, 1, offsetof(es, fog_distance) },
    { u"FOG STRENGTH", type::single, 1, offsetof(es, fog_strength) },
    { u"GP HEIGHT", type::real, 1, offsetof(es, ground_height) },
    { u"GP MATERIAL", type::owned_text, 1, offsetof(es, ground_material_name) },
    { u"GP LIBRARY", type::owned_text, 1, offsetof(es, ground_material_library) },
    { u"CLOUD FLAGS", type::integer, 1, offsetof(es, cloud_flags) },
    { u"CU COLOR", type::single, 3, offsetof(es, cu_color) },
    { u"CI COLOR", type::single, 3, offsetof(es, ci_color) },
    { u"CI DENSITY", type::single, 1, offsetof(es, ci_density) },
    { u"CI TRANSPARENCY", type::single, 1, offsetof(es, ci_transparency) },
    { u"CI HORIZON", type::single, 1, offsetof(es, ci_horizon) },
    { u"CU NUMBER", type::integer, 1, offsetof(es, cu_number) },
    { u"CU SCALE", type::single, 3, offsetof(es, cu_scale) },
    { u"CI SCALE", type::single, 3, offsetof(es, ci_scale) },
    { u"CU SCALE V", type::single, 1, offsetof(es, cu_scale_v) },
    { u"CLOUD ROTATION", type::single, 1, offsetof(es, cloud_rotation) },
    { u"CLOUD SEED", type::integer, 1, offsetof(es, cloud_seed) },
    { u"CLOUD_OFFSET", type::single, 3, offsetof(es, cloud_offset) },
};

constexpr zr::settings_field picture_fields[] = {
    { u"IMAGE PROJECTION", type::integer, 1, offsetof(ps, image_projection) },
    { u"IMAGE TILE MODE", type::integer, 1, offsetof(ps, image_tile_mode) },
    { u"IMAGE FIT VP", type::integer, 1, offsetof(ps, image_fit) },
    { u"IMAGE OPACITY", type::single, 1, offsetof(ps, image_opacity) },
    { u"IMAGE FILENAME", type::text, name_capacity, offsetof(ps, image_filename) },
    { u"IMAGE PLANAR SCALE", type::single, 2, offsetof(ps, image_planar_scale) },
    { u"IMAGE PLANAR OFFSET", type::single, 2, offsetof(ps, image_planar_offset) },
    { u"IMAGE SPHERICAL ANGLES", type::single, 4, offsetof(ps, image_spherical_angles) },
    { u"IMAGE CYLINDRICAL ANGLES", type::single, 4, offsetof(ps, image_cylindrical_angles) },
    { u"MASK TYPE", type::integer, 1, offsetof(ps, mask_type) },
    { u"MASK FLAGS", type::integer, 1, offsetof(ps, mask_flags) },
    { u"MASK COLOR", type::single, 3, offsetof(ps, mask_color) },
    { u"MASK RANGE", type::single, 1, offsetof(ps, mask_range) },
    { u"MASK BLUR", type::single, 1, offsetof(ps, mask_blur) },
};

/// The tables of the working copy.
struct working_tables
{
    working_tables()
    {
        environment_picture_settings* of_picture;
        environment_settings* of_rest = get_global_env_ptrs(&of_picture);
        tables[0] = { general_fields, std::size(general_fields), of_rest };
        tables[1] = { picture_fields, std::size(picture_fields), of_picture };
    }
    zr::settings_table tables[2];
};

} // namespace

namespace zr
{

bool write_environment(settings_writer& to, document& doc)
{
    if (!get_environment_info(&doc)) { return false; }
    const working_tables working;
    to.add(settings_head(SETTINGS_ENVIRONMENT));
    for (const settings_table& t : working.tables)
    {
        if (!write_fields(to, t)) { return false; }
    }
    to.add(u"\n#END");
    return true;
}

bool read_environment(unit_source& from, document& doc)
{
    // What the text leaves out stays as the document has it.
    if (!get_environment_info(&doc)) { return false; }
    const working_tables working;
    return read_fields(from, working.tables, std::size(working.tables)) && store_environment_info(&doc);
}

} // namespace zr

int32_t save_environment_config_info(FILE* stream, document* doc)
{
    zr::settings_writer text;
    return stream && doc && zr::write_environment(text, *doc) && zr::write_to_stream(text, stream);
}

int32_t zr_read_environment_config_info(FILE* stream, document* doc)
{
    zr::unit_source from = { stream, nullptr, 0 };
    return stream && doc && zr::read_environment(from, *doc);
}

int32_t read_environment_config_info(FILE* stream, document* doc)
{
    static char
        wait_cursor; // its address is the handle: hosts distinguish "some cursor" from "the usual one"
    zr::host::change_cursor(&wait_cursor);
    const int32_t done = zr_read_environment_config_info(stream, doc);
    zr::host::change_cursor(nullptr);
    return done;
}
