#include "zirconlite/platform/threads.hpp"

#include <gtest/gtest.h>

#include "zirconlite/platform/clock.hpp"
#include "zirconlite/platform/random.hpp"
#include "zirconlite/platform/windows.hpp"

using namespace zr::platform;

namespace
{

struct shared
{
    event* go = new_event();
    lock* guard = new_lock();
    int count = 0;
    ~shared()
    {
        free_event(go);
        free_lock(guard);
    }
};

void add_thousand(void* argument)
{
    auto* s = static_cast<shared*>(argument);
    for (int i = 0; i < 1000; ++i)
    {
        const lock_scope outer(s->guard);
        const lock_scope again(s->guard);
        ++s->count;
    }
}

} // namespace

TEST(Threads, LocksExcludeAndMayBeTakenAgain)
{
    shared s;
    zr_handle threads[4];
    for (zr_handle& t : threads) { t = start_thread(add_thousand, &s, 0); }
    for (zr_handle t : threads)
    {
        EXPECT_TRUE(wait_for_thread(t, -1));
        close_thread(t);
    }
    EXPECT_EQ(s.count, 4000);
}

TEST(Threads, AnEventLetsOneWaitPass)
{
    shared s;
    const uint64_t start = tick_ms();
    EXPECT_FALSE(wait_event(s.go, 30));
    EXPECT_GE(tick_ms() - start, 29u);
    signal_event(s.go);
    signal_event(s.go);
    EXPECT_TRUE(wait_event(s.go, 0));
    EXPECT_FALSE(wait_event(s.go, 0));
}

TEST(Random, RepeatsThePublishedSequence)
{
    // x1 = 101 * 214013 + 2531011 = 24146324 = 0x01707194; its bits 16 to 30 are 0x170.
    srand15(101);
    EXPECT_EQ(rand15(), 0x170);
    srand15(1);
    EXPECT_EQ(rand15(), 41);
    EXPECT_EQ(rand15(), 18467);
}

TEST(Windows, CommandsArriveByQueueAndByCallback)
{
    zr_handle queue = new_queue_window();
    uint32_t command = 0;
    EXPECT_FALSE(next_command(queue, 10, &command));
    for (uint32_t i = 1; i <= 20; ++i) { EXPECT_TRUE(post_command(queue, i)); }
    for (uint32_t i = 1; i <= 20; ++i)
    {
        EXPECT_TRUE(next_command(queue, 0, &command));
        EXPECT_EQ(command, i);
    }
    free_window(queue);
    uint32_t seen = 0;
    zr_handle sink =
        new_callback_window([](void* context, uint32_t c) { *static_cast<uint32_t*>(context) = c; }, &seen);
    EXPECT_TRUE(post_command(sink, 10001));
    EXPECT_EQ(seen, 10001u);
    free_window(sink);
    EXPECT_FALSE(post_command(nullptr, 1));
}
