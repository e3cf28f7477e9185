#include "zirconlite/frame/memory.h"

#include <gtest/gtest.h>

#include <string.h>

#include "tests/support/find_table.hpp"
#include "zirconlite/frame/array.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/platform/heap.hpp"

namespace platform = zr::platform;

namespace
{

int requests_until_failure = 0;
int low_memory_calls = 0;
int low_memory_answer = 0;
bool host_makes_room = false;

bool failing_gate(size_t) { return requests_until_failure > 0 && requests_until_failure-- > 0; }

int32_t on_low_memory()
{
    ++low_memory_calls;
    zr_free(zr_malloc(8)); // must not ask again from here
    if (host_makes_room && low_memory_calls >= 3)
    {
        platform::set_heap_gate(nullptr);
        const platform::memory_status plenty = { 90, 100 };
        platform::override_memory_status(&plenty);
    }
    return low_memory_answer;
}

struct Memory : testing::Test
{
    Memory()
    {
        const platform::memory_status plenty = { 90, 100 };
        platform::override_memory_status(&plenty);
        low_memory_calls = 0;
        low_memory_answer = 1;
        host_makes_room = false;
        requests_until_failure = 0;
    }
    ~Memory() override
    {
        platform::set_heap_gate(nullptr);
        platform::override_memory_status(nullptr);
    }
    host_functions host{ { { "host_low_memory", reinterpret_cast<void*>(on_low_memory) } } };
};

} // namespace

TEST_F(Memory, TheHostIsAskedWhileMemoryIsLow)
{
    struct
    {
        const char* what;
        uint64_t available;
        int answer;
        bool enabled, room, gives;
        int calls;
    } const cases[] = {
        { "plenty", 8, 0, true, false, true, 0 },
        { "at the threshold", 7, 0, true, false, true, 0 },
        { "low, the host gives up", 6, 0, true, false, false, 1 },
        { "low, the host makes room at its third call", 6, 5, true, true, true, 3 },
        { "low, host functions off", 6, 0, false, false, true, 0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        const platform::memory_status s = { c.available, 100 };
        platform::override_memory_status(&s);
        low_memory_calls = 0;
        low_memory_answer = c.answer;
        host_makes_room = c.room;
        zr_enable_hostfuncs(c.enabled);
        void* block = zr_malloc(16);
        EXPECT_EQ(block != nullptr, c.gives);
        EXPECT_EQ(low_memory_calls, c.calls);
        zr_free(block);
    }
}

TEST_F(Memory, SizesAreCheckedAndBlocksSurviveFailure)
{
    EXPECT_EQ(zr_calloc(SIZE_MAX / 2, 3), nullptr);
    EXPECT_EQ(zr_malloc(SIZE_MAX - 100), nullptr) << "no room that the host makes could suffice";
    EXPECT_EQ(low_memory_calls, 0);
    auto* block = static_cast<char*>(zr_realloc(nullptr, 8));
    strcpy(block, "content");
    low_memory_answer = 0;
    platform::set_heap_gate(failing_gate);
    EXPECT_EQ(zr_realloc(block, 16), nullptr);
    platform::set_heap_gate(nullptr);
    EXPECT_STREQ(block, "content");
    zr_free(block);

    zr::array<int> numbers;
    for (int i = 0; i < 8; ++i) { ASSERT_TRUE(numbers.push(i)); }
    zr_enable_hostfuncs(0);
    platform::set_heap_gate(failing_gate);
    EXPECT_FALSE(numbers.push(8));
    EXPECT_FALSE(numbers.resize(100));
    EXPECT_EQ(numbers.count, 8u);
    EXPECT_EQ(numbers[7], 7);
}

TEST_F(Memory, ArenasCutObjectsFromChunks)
{
    memory_list* list = nullptr;
    zr_init_memory_list(&list, 8192);
    EXPECT_EQ(list->chunk_shift, 13);
    auto* first = static_cast<unsigned char*>(zr_new_object(list, 1));
    EXPECT_EQ(static_cast<unsigned char*>(zr_new_object(list, 8)), first + 8);
    EXPECT_EQ(memory_list_offset(first, list), 0u);
    EXPECT_NE(zr_new_object(list, 8192 - 24), nullptr);
    EXPECT_EQ(static_cast<unsigned char*>(zr_new_object(list, 8)), first + 8184)
        << "the chunk is filled to its end";
    EXPECT_EQ(zr_mem_get_alloc(list), 8192u);
    auto* next = static_cast<unsigned char*>(zr_new_object(list, 8));
    EXPECT_EQ(memory_list_offset(next, list), 8192u);
    EXPECT_EQ(memory_list_offset(next + 5, list), 8197u);
    EXPECT_EQ(memory_list_address(8197, list), next + 5);
    EXPECT_EQ(memory_list_address(3 * 8192, list), nullptr);
    int elsewhere;
    EXPECT_EQ(memory_list_offset(&elsewhere, list), 0u);
    EXPECT_EQ(zr_new_object(list, 8193), nullptr) << "larger than a chunk";
    EXPECT_EQ(list->object_count, 5);

    zr_enable_hostfuncs(0);
    platform::set_heap_gate(failing_gate);
    requests_until_failure = 1; // the chunk's node comes, its block does not
    EXPECT_EQ(zr_new_object(list, 8190), nullptr);
    EXPECT_EQ(list->object_count, 5);
    EXPECT_EQ(zr_mem_get_alloc(list), 2 * 8192u);
    platform::set_heap_gate(nullptr);

    zr_free_memory_list(&list);
    zr_free_memory_list(&list);
    EXPECT_EQ(list->object_count, 0);
    EXPECT_EQ(zr_mem_get_alloc(list), 0u);
    auto* zeroed = static_cast<unsigned char*>(zr_new_initialized_object(list, 3));
    EXPECT_EQ(zeroed[0] | zeroed[1] | zeroed[2], 0);
    EXPECT_EQ(memory_list_address(0, list), zeroed);
    zr_free_memory_list(&list);
    zr_free(list);
    memory_list* none = nullptr;
    zr_free_memory_list(&none);
    EXPECT_EQ(zr_mem_get_alloc(nullptr), 0u);
}
