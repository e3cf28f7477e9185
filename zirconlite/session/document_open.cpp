/// @file
/// Opening, wiping and closing of documents.
#include <string.h>

#include "zirconlite/environment/environment.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/object_table.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/jobs/render_job.hpp"
#include "zirconlite/lighting/light.h"
#include "zirconlite/lighting/sun_light.hpp"
#include "zirconlite/materials/material.h"
#include "zirconlite/picture/image_buffer.h"
#include "zirconlite/picture/tone.h"
#include "zirconlite/platform/threads.hpp"
#include "zirconlite/sampling/converging.h"
#include "zirconlite/search/voxel_grid.h"
#include "zirconlite/session/render_view.hpp"

namespace
{

bool make_parts(document* doc);
void set_defaults(document* doc);
bool settle_jobs(document* doc);
void free_scene_memory(document* doc);
void free_ground_material(document* doc);
void clear_group(object_group& group);
void free_list_record(memory_list** list);

} // namespace

document* zr_open_document(void)
{
    auto* made = static_cast<document*>(zr_malloc(sizeof(document)));
    if (!made) { return nullptr; }
    memset(static_cast<void*>(made), 0, sizeof(document));
    if (!make_parts(made))
    {
        zr_close_document(made);
        return nullptr;
    }
    set_defaults(made);
    return made;
}

int32_t zr_close_document(document* doc)
{
    if (!settle_jobs(doc)) { return 0; }
    doc->state_flags = 0;
    zr::end_environments(*doc);
    free_ground_material(doc);
    free_scene_memory(doc);
    free_list_record(&doc->radiosity_objects.memory);
    free_list_record(&doc->scene_objects.memory);
    free_list_record(&doc->misc_memory);
    zr::clear_object_table(doc);
    if (doc->sun_sky) { zr::end_sun_sky(*doc); }
    zr_lights_free_ex(doc->lights, 1);
    zr_free_voxel_grid(doc);
    zr_free_light_cache(doc);
    zr_free(doc->voxel_grid);
    free_list_record(&doc->voxel_memory);
    zr_free_material_list(doc);
    zr_free_plant_materials(doc);
    zr_free_doc_free_list(doc);
    for (render_view& view : doc->views)
    {
        zr_free_histogram(view.histogram);
        view.histogram = nullptr;
        zr::free_view_frames(&view);
        zr::free_scanline_lock(&view);
    }
    zr_free_raytrace_buffer(&doc->views[1]);
    zr_free(doc->owned_block);
    zr_free(doc);
    return 1;
}

int32_t zr_wipe_document(document* doc)
{
    if (!settle_jobs(doc)) { return 0; }
    // The acceleration structure holds numbers of objects that go: a render must build it anew.
    zr_free_voxel_grid(doc);
    zr_free_light_cache(doc);
    doc->state_flags &= ~uint32_t(DOCUMENT_GRID_BUILT);
    doc->frustum_invalid = 1;
    free_scene_memory(doc);
    zr::clear_object_table(doc);
    clear_group(doc->radiosity_objects);
    clear_group(doc->scene_objects);
    memset(doc->misc_totals, 0, sizeof(doc->misc_totals));
    doc->radiosity_iterations = 0;
    zr_free_material_list(doc);
    doc->materials = nullptr;
    zr_free_plant_materials(doc);
    doc->rpc_meshes = nullptr; // they were in the arenas
    zr_lights_free_ex(doc->lights, 1);
    doc->lights = nullptr;
    doc->light_count = 0;
    zr_free(doc->views[0].cached_frame);
    doc->views[0].cached_frame = nullptr;
    free_ground_material(doc);
    zr::free_view_frames(&doc->views[1]);
    doc->bounds = zr::empty_box;
    doc->epsilon = 1e-6;
    return 1;
}

namespace
{

bool make_parts(document* doc)
{
    zr_init_memory_list(&doc->radiosity_objects.memory, MEMORY_CHUNK_DOCUMENT);
    zr_init_memory_list(&doc->scene_objects.memory, MEMORY_CHUNK_DOCUMENT);
    zr_init_memory_list(&doc->misc_memory, MEMORY_CHUNK_DOCUMENT);
    return doc->radiosity_objects.memory && doc->scene_objects.memory && doc->misc_memory &&
           zr::init_sun_sky(*doc);
}

void set_defaults(document* doc)
{
    constexpr double mesh_tolerances[] = { 0.6, 2.0, 0.5, 0.01 };
    memcpy(doc->mesh_tolerances, mesh_tolerances, sizeof(mesh_tolerances));
    doc->unshot_fraction = 1.0;
    doc->tone_default_exponent = 1.1f;
    doc->tone_default_scale = 1.0f;
    for (float& channel : doc->ambient_color) { channel = 1.0f; }
    doc->gloss_samples = 1;
    doc->translucency_samples = 1;
    doc->sky_light_samples = 16;
    doc->sampling_noise = 2.0;
    doc->min_samples = 16;
    doc->max_samples = 1024;
    doc->bounce_limit = 8;
    doc->gloss_jitter = 0.0625f;
    doc->translucency_jitter = 0.0625f;
    doc->tone_scale_factor = 1.0f;
    doc->tone_exponent_factor = 1.0f;
    doc->bounds = zr::empty_box;
    doc->epsilon = 1e-6;
}

/// Whether nothing works on the document any more. A job that has finished, or was asked to stop, is waited
/// for: its thread is in its last steps when the host hears of the end.
bool settle_jobs(document* doc)
{
    if (!doc) { return zr::report_failure(ZR_ERROR_ARGUMENT, "no document"); }
    if (zr::platform::load_word(&doc->preprocess_thread))
    {
        return zr::report_failure(ZR_ERROR_STATE, "the document's acceleration structure is being built");
    }
    if (zr::platform::load_word(&doc->solver_thread))
    {
        return zr::report_failure(ZR_ERROR_STATE, "the document's radiosity is being solved");
    }
    return zr::settle_render(doc);
}

void free_scene_memory(document* doc)
{
    zr_free_memory_list(&doc->radiosity_objects.memory);
    zr_free_memory_list(&doc->scene_objects.memory);
    zr_free_memory_list(&doc->misc_memory);
}

void free_ground_material(document* doc)
{
    zr_free(doc->ground_material_library);
    zr_free(doc->ground_material_name);
    doc->ground_material_library = doc->ground_material_name = nullptr;
}

void clear_group(object_group& group)
{
    group.first = group.list_word_1 = group.list_word_2 = nullptr;
    memset(group.totals, 0, sizeof(group.totals));
    group.area_sum = 0.0;
}

void free_list_record(memory_list** list)
{
    zr_free_memory_list(list);
    zr_free(*list);
    *list = nullptr;
}

} // namespace
