#include "zirconlite/environment/environment_settings.h"

#include <algorithm>
#include <iterator>

#include "zirconlite/frame/document.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/platform/text.hpp"

using namespace zr;

namespace
{

environment_settings working = {};
environment_picture_settings working_picture = {};

bool fill_working(const document& doc, const environment& record);
bool has_document(const document* doc);
bool store_all(
    const environment_settings& general, const environment_picture_settings& picture, document& doc);
bool replace_text(char16_t*& owned, const char16_t* text);
template <class To, class From> void copy_haze_and_ground(To& to, const From& from);
void store_record(
    const environment_settings& general, const environment_picture_settings& picture, environment& record);
template <class To, class From> void copy_record_fields(To& to, const From& from);
template <class To, class From> void copy_picture_fields(To& to, const From& from);

} // namespace

int32_t get_environment_info(const document* doc)
{
    return has_document(doc) && fill_working(*doc, doc->environment);
}

int32_t get_reflected_environment_info(const document* doc)
{
    return has_document(doc) && fill_working(*doc, doc->reflected_environment);
}

int32_t store_environment_info(document* doc)
{
    return has_document(doc) && store_all(working, working_picture, *doc);
}

int32_t store_reflected_environment_info(document* doc)
{
    if (!has_document(doc)) { return 0; }
    doc->environment_flags = working.environment_flags;
    store_record(working, working_picture, doc->reflected_environment);
    return 1;
}

environment_settings* get_global_env_ptrs(environment_picture_settings** picture_out)
{
    if (picture_out) { *picture_out = &working_picture; }
    return &working;
}

int32_t zr_store_environment_info(
    const environment_settings* general, const environment_picture_settings* picture, document* doc)
{
    if (!general || !picture) { return report_failure(ZR_ERROR_ARGUMENT, "no settings"); }
    return has_document(doc) && store_all(*general, *picture, *doc);
}

namespace
{

bool fill_working(const document& doc, const environment& record)
{
    if (!replace_text(working.ground_material_name, doc.ground_material_name) ||
        !replace_text(working.ground_material_library, doc.ground_material_library))
    {
        return false;
    }
    working.environment_flags = doc.environment_flags;
    copy_haze_and_ground(working, doc);
    copy_record_fields(working, record);
    copy_picture_fields(working_picture, record);
    working_picture.image_fit = (record.image_flags & BACKGROUND_FIT) != 0;
    working_picture.image_tile_mode = !(record.image_flags & BACKGROUND_TILE)  ? TILE_MODE_NONE
                                      : record.image_flags & BACKGROUND_MIRROR ? TILE_MODE_MIRRORED
                                                                               : TILE_MODE_TILED;
    return true;
}

bool has_document(const document* doc) { return doc || report_failure(ZR_ERROR_ARGUMENT, "no document"); }

bool store_all(
    const environment_settings& general, const environment_picture_settings& picture, document& doc)
{
    if (!replace_text(doc.ground_material_name, general.ground_material_name) ||
        !replace_text(doc.ground_material_library, general.ground_material_library))
    {
        return false;
    }
    doc.environment_flags = general.environment_flags;
    copy_haze_and_ground(doc, general);
    store_record(general, picture, doc.environment);
    return true;
}

/// Replaces an owned text by a copy of another; false, with the old one kept, when memory fails.
bool replace_text(char16_t*& owned, const char16_t* text)
{
    char16_t* copy = text ? zr_dupestring(text) : nullptr;
    if (text && !copy) { return report_failure(ZR_ERROR_MEMORY, "no memory for the name of a material"); }
    zr_free(owned);
    owned = copy;
    return true;
}

template <class To, class From> void copy_haze_and_ground(To& to, const From& from)
{
    to.fog_type = from.fog_type;
    std::copy_n(from.fog_color, 3, to.fog_color);
    to.fog_distance = from.fog_distance;
    to.fog_strength = from.fog_strength;
    to.ground_height = from.ground_height;
}

void store_record(
    const environment_settings& general, const environment_picture_settings& picture, environment& record)
{
    copy_record_fields(record, general);
    copy_picture_fields(record, picture);
    record.image_flags &= ~uint32_t(BACKGROUND_FIT | BACKGROUND_TILE | BACKGROUND_MIRROR);
    if (picture.image_fit) { record.image_flags |= BACKGROUND_FIT; }
    if (picture.image_tile_mode != TILE_MODE_NONE) { record.image_flags |= BACKGROUND_TILE; }
    if (picture.image_tile_mode == TILE_MODE_MIRRORED) { record.image_flags |= BACKGROUND_MIRROR; }
}

/// The fields that both blocks share with the record, in `from` and `to`.
template <class To, class From> void copy_record_fields(To& to, const From& from)
{
    to.mode = from.mode;
    to.angle0 = from.angle0;
    to.angle1 = from.angle1;
    to.angle2 = from.angle2;
    to.cloud_flags = from.cloud_flags;
    to.ci_density = from.ci_density;
    to.ci_transparency = from.ci_transparency;
    to.ci_horizon = from.ci_horizon;
    to.cu_number = from.cu_number;
    to.cu_scale_v = from.cu_scale_v;
    to.cloud_rotation = from.cloud_rotation;
    to.cloud_seed = from.cloud_seed;
    for (int i = 0; i < 3; ++i)
    {
        to.color0[i] = from.color0[i];
        to.color1[i] = from.color1[i];
        to.color2[i] = from.color2[i];
        to.cu_color[i] = from.cu_color[i];
        to.ci_color[i] = from.ci_color[i];
        to.cu_scale[i] = from.cu_scale[i];
        to.ci_scale[i] = from.ci_scale[i];
        to.cloud_offset[i] = from.cloud_offset[i];
    }
}

template <class To, class From> void copy_picture_fields(To& to, const From& from)
{
    platform::copy_text(to.image_filename, std::size(to.image_filename), from.image_filename);
    to.image_projection = from.image_projection;
    to.image_opacity = from.image_opacity;
    std::copy_n(from.image_planar_scale, 2, to.image_planar_scale);
    std::copy_n(from.image_planar_offset, 2, to.image_planar_offset);
    std::copy_n(from.image_spherical_angles, 4, to.image_spherical_angles);
    std::copy_n(from.image_cylindrical_angles, 4, to.image_cylindrical_angles);
    to.mask_type = from.mask_type;
    to.mask_flags = from.mask_flags;
    std::copy_n(from.mask_color, 3, to.mask_color);
    to.mask_range = from.mask_range;
    to.mask_blur = from.mask_blur;
}

} // namespace
