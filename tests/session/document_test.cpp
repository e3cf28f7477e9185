#include "zirconlite/frame/document.h"

#include <gtest/gtest.h>

#include <string.h>

#include <thread>

#include "zirconlite/frame/error.h"
#include "zirconlite/frame/memory.h"
#include "zirconlite/geometry/scene_object.h"
#include "zirconlite/lighting/light.h"
#include "zirconlite/lighting/sun_sky.h"
#include "zirconlite/materials/material.h"
#include "zirconlite/platform/heap.hpp"
#include "zirconlite/platform/threads.hpp"

namespace platform = zr::platform;

namespace
{

int requests_left = 0;
bool countdown_gate(size_t) { return requests_left-- > 0; }

} // namespace

TEST(Document, OpeningSurvivesEveryFailedRequest)
{
    for (int failing = 0; failing < 5; ++failing)
    {
        requests_left = failing;
        platform::set_heap_gate(countdown_gate);
        document* d = zr_open_document();
        platform::set_heap_gate(nullptr);
        EXPECT_EQ(d, nullptr) << failing;
    }
}

TEST(Document, WipingKeepsTheSettings)
{
    document* d = zr_open_document();
    d->views[0].lens_length = 35.0;
    d->quality = 4;
    d->environment.mode = 2;
    d->reflected_environment.mode = 1;
    d->scene_objects.area_sum = 5.0;
    d->scene_objects.totals[OBJECT_GROUP_COUNT] = 3;
    d->radiosity_iterations = 7;
    d->light_count = 1;
    d->views[0].cached_frame = zr_malloc(16);
    d->views[1].cached_frame = zr_malloc(16);
    d->ground_material_name = zr_dupestring(u"grass");
    d->state_flags = DOCUMENT_GRID_BUILT;
    zr_new_object(d->scene_objects.memory, 100);
    zr_add_material(d, u"oak", new_simple_material());
    d->plant_materials = d->materials; // as if a plant had brought it
    d->materials = nullptr;
    zr_add_material(d, u"elm", new_simple_material());
    d->rpc_meshes = static_cast<rpc_mesh*>(zr_new_object(d->scene_objects.memory, 8));
    EXPECT_EQ(zr_wipe_document(d), 1);
    EXPECT_EQ(d->views[0].lens_length, 35.0);
    EXPECT_EQ(d->quality, 4);
    EXPECT_EQ(d->environment.mode * 10 + d->reflected_environment.mode, 21);
    EXPECT_EQ(d->scene_objects.area_sum, 0.0);
    EXPECT_EQ(d->scene_objects.totals[OBJECT_GROUP_COUNT], 0);
    EXPECT_EQ(zr_mem_get_alloc(d->scene_objects.memory), 0u);
    EXPECT_EQ(d->materials, nullptr);
    EXPECT_EQ(d->plant_materials, nullptr);
    EXPECT_EQ(d->rpc_meshes, nullptr);
    EXPECT_EQ(d->light_count + d->radiosity_iterations, 0);
    EXPECT_EQ(d->views[0].cached_frame, nullptr);
    EXPECT_EQ(d->views[1].cached_frame, nullptr);
    EXPECT_EQ(d->ground_material_name, nullptr);
    EXPECT_EQ(d->state_flags & DOCUMENT_GRID_BUILT, 0u) << "no render may use the old acceleration structure";
    EXPECT_EQ(zr_wipe_document(d), 1);
    d->owned_block = zr_malloc(8);
    EXPECT_EQ(zr_close_document(d), 1);
}

TEST(Document, IsNotClosedWhileItsSearchStructureIsBuiltOrItsRadiositySolved)
{
    document* d = zr_open_document();
    for (zr_handle document::*thread : { &document::preprocess_thread, &document::solver_thread })
    {
        d->*thread = d;
        EXPECT_EQ(zr_wipe_document(d), 0);
        EXPECT_EQ(zr_close_document(d), 0);
        EXPECT_EQ(zr_last_error()->code, ZR_ERROR_STATE);
        d->*thread = nullptr;
    }
    EXPECT_EQ(zr_close_document(d), 1);
}

TEST(FreeList, BlocksAreAddedSwappedAndFreed)
{
    document* d = zr_open_document();
    EXPECT_EQ(zr_free_doc_free_list(d), 1);
    EXPECT_EQ(d->free_list, nullptr);
    void *a = zr_malloc(1), *b = zr_malloc(1), *c = zr_malloc(1), *unknown = zr_malloc(1);
    EXPECT_EQ(free_list_add(d, a), 1);
    EXPECT_EQ(free_list_replace(d, unknown, b), 2);
    EXPECT_EQ(d->free_list->block, b);
    EXPECT_EQ(free_list_swap(d, unknown, nullptr), 0);
    EXPECT_EQ(free_list_swap(d, a, c), 1);
    EXPECT_EQ(d->free_list->next->block, c);
    EXPECT_EQ(free_list_replace(d, c, c), 1) << "a block that takes its own place is not freed";
    EXPECT_EQ(free_list_swap(d, b, nullptr), 1);
    EXPECT_EQ(d->free_list->block, c);
    EXPECT_EQ(d->free_list->next, nullptr);
    EXPECT_EQ(zr_free_doc_free_list(d), 1);
    EXPECT_EQ(d->free_list, nullptr);
    zr_free(unknown);
    zr_close_document(d);
}

TEST(StateWords, WaitsEndAtZeroOrAtABitOfTheMask)
{
    uint32_t word = 0;
    EXPECT_EQ(zr_wait_for_state_variable_ex(&word, 1000000, 0), 0u);
    word = 0x100;
    EXPECT_EQ(zr_wait_for_state_variable_ex(&word, 1000000, ~0u), 0x100u);
    word = 0x1000001;
    std::thread writer(
        [&]
        {
            platform::sleep_ms(20);
            platform::store_word(&word, 0x1000002);
        });
    EXPECT_EQ(zr_wait_for_state_variable_ex(&word, 1, 2), 0x1000002u);
    writer.join();
}
