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

bool make_parts(document* document);
void set_defaults(document* document);
bool settle_jobs(document* document);
void free_scene_memory(document* document);
void free_ground_material(document* document);
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

int32_t zr_close_document(document* document)
{
    if (!settle_jobs(document)) { return 0; }
    document->state_flags = 0;
    zr::end_environments(*document);
    free_ground_material(document);
    free_scene_memory(document);
    free_list_record(&document->radiosity_objects.memory);
    free_list_record(&document->scene_objects.memory);
    free_list_record(&document->misc_memory);
    zr::clear_object_table(document);
    if (document->sun_sky) { zr::end_sun_sky(*document); }
    zr_lights_free_ex(document->lights, 1);
    zr_free_voxel_grid(document);
    zr_free_light_cache(document);
    zr_free(document->voxel_grid);
    free_list_record(&document->voxel_memory);
    zr_free_material_list(document);
    zr_free_plant_materials(document);
    zr_free_doc_free_list(document);
    for (render_view& view : document->views)
    {
        zr_free_histogram(view.histogram);
        view.histogram = nullptr;
        zr::free_view_frames(&view);
        zr::free_scanline_lock(&view);
    }
    zr_free_raytrace_buffer(&document->views[1]);
    zr_free(document->owned_block);
    zr_free(document);
    return 1;
}

int32_t zr_wipe_document(document* document)
{
    if (!settle_jobs(document)) { return 0; }
    // The acceleration structure holds numbers of objects that go: a render must build it anew.
    zr_free_voxel_grid(document);
    zr_free_light_cache(document);
    document->state_flags &= ~uint32_t(DOCUMENT_GRID_BUILT);
    document->frustum_invalid = 1;
    free_scene_memory(document);
    zr::clear_object_table(document);
    clear_group(document->radiosity_objects);
    clear_group(document->scene_objects);
    memset(document->misc_totals, 0, sizeof(document->misc_totals));
    document->radiosity_iterations = 0;
    zr_free_material_list(document);
    document->materials = nullptr;
    zr_free_plant_materials(document);
    document->rpc_meshes = nullptr; // they were in the arenas
    zr_lights_free_ex(document->lights, 1);
    document->lights = nullptr;
    document->light_count = 0;
    zr_free(document->views[0].cached_frame);
    document->views[0].cached_frame = nullptr;
    free_ground_material(document);
    zr::free_view_frames(&document->views[1]);
    document->bounds = zr::empty_box;
    document->epsilon = 1e-6;
    return 1;
}

namespace
{

bool make_parts(document* document)
{
    zr_init_memory_list(&document->radiosity_objects.memory, MEMORY_CHUNK_DOCUMENT);
    zr_init_memory_list(&document->scene_objects.memory, MEMORY_CHUNK_DOCUMENT);
    zr_init_memory_list(&document->misc_memory, MEMORY_CHUNK_DOCUMENT);
    return document->radiosity_objects.memory && document->scene_objects.memory && document->misc_memory &&
           zr::init_sun_sky(*document);
}

void set_defaults(document* document)
{
    constexpr double mesh_tolerances[] = { 0.6, 2.0, 0.5, 0.01 };
    memcpy(document->mesh_tolerances, mesh_tolerances, sizeof(mesh_tolerances));
    document->unshot_fraction = 1.0;
    document->tone_default_exponent = 1.1f;
    document->tone_default_scale = 1.0f;
    for (float& channel : document->ambient_color) { channel = 1.0f; }
    document->gloss_samples = 1;
    document->translucency_samples = 1;
    document->sky_light_samples = 16;
    document->sampling_noise = 2.0;
    document->min_samples = 16;
    document->max_samples = 1024;
    document->bounce_limit = 8;
    document->gloss_jitter = 0.0625f;
    document->translucency_jitter = 0.0625f;
    document->tone_scale_factor = 1.0f;
    document->tone_exponent_factor = 1.0f;
    document->bounds = zr::empty_box;
    document->epsilon = 1e-6;
}

/// Whether nothing works on the document any more. A job that has finished, or was asked to stop, is waited
/// for: its thread is in its last steps when the host hears of the end.
bool settle_jobs(document* document)
{
    if (!document) { return zr::report_failure(ZR_ERROR_ARGUMENT, "no document"); }
    if (zr::platform::load_word(&document->preprocess_thread))
    {
        return zr::report_failure(ZR_ERROR_STATE, "the document's acceleration structure is being built");
    }
    if (zr::platform::load_word(&document->solver_thread))
    {
        return zr::report_failure(ZR_ERROR_STATE, "the document's radiosity is being solved");
    }
    return zr::settle_render(document);
}

void free_scene_memory(document* document)
{
    zr_free_memory_list(&document->radiosity_objects.memory);
    zr_free_memory_list(&document->scene_objects.memory);
    zr_free_memory_list(&document->misc_memory);
}

void free_ground_material(document* document)
{
    zr_free(document->ground_material_library);
    zr_free(document->ground_material_name);
    document->ground_material_library = document->ground_material_name = nullptr;
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
