/// @file
/// Whole render jobs as a host without a display sees them: reports in order, answers that stop, stops and
/// pauses in every pass, waiting, and what is left in the picture each time.
#include "tests/support/room_scene.hpp"
#include "tests/support/started_library.hpp"

#include <atomic>
#include <chrono>
#include <thread>

#include "zirconlite/frame/string_table.h"

namespace
{

const auto* const start = testing::AddGlobalTestEnvironment(new started_library(0));

constexpr int32_t width = 96, height = 96; // three strips of the coarse passes, six of the last
constexpr uint32_t both = RENDER_STATE_PREPROCESSED | RENDER_STATE_FINISHED;

std::u16string text(int32_t number) { return zr_get_message(nullptr, number); }

uint8_t signature(const document* d, int32_t y) { return *zr_image_buffer_signature(d->views[1].image, y); }

/// Row y of the picture and of its planes.
std::string row_bytes(const document* d, int32_t y)
{
    const image_buffer& i = *d->views[1].image;
    const size_t at = size_t(i.row_pixels) * size_t(y);
    std::string all(reinterpret_cast<const char*>(i.pixels) + i.row_bytes * size_t(y) + i.pixel_size,
        size_t(i.width * i.pixel_size));
    if (i.alpha) { all.append(reinterpret_cast<const char*>(i.alpha + at), size_t(i.width)); }
    if (i.depth) { all.append(reinterpret_cast<const char*>(i.depth + at), size_t(i.width) * 4); }
    if (i.object_ids) { all.append(reinterpret_cast<const char*>(i.object_ids + at), size_t(i.width) * 2); }
    return all;
}

void expect_black(const document* d, int32_t y)
{
    for (int32_t x = 0; x < width; ++x)
    {
        const int32_t position[2] = { x, y };
        uint8_t bytes[4] = { 9, 9, 9, 9 };
        EXPECT_EQ(read_rt_pixel(&d->views[1], position, bytes, nullptr, 1), 0);
        EXPECT_EQ(bytes[0] | bytes[1] | bytes[2] | bytes[3], 0) << x << ", " << y;
    }
}

document* open_room_with_planes()
{
    document* d = open_room(width, height);
    d->render_flags |= RENDER_DEPTH_PLANE | RENDER_OBJECT_IDS;
    d->environment_flags |= ENVIRONMENT_ALPHA;
    return d;
}

class render_job_test : public job_test
{
};

TEST_F(render_job_test, ReportsInOrderWithFractionsThatGrow)
{
    document* d = open_room(width, height);
    for (const progress_call& call : heard) { EXPECT_EQ(call.kind, PROGRESS_PREPROCESS); }
    ASSERT_GE(heard.size(), 2u);
    EXPECT_EQ(heard.front().code, PROGRESS_GRID_STARTS);
    EXPECT_EQ(heard.back().code, PROGRESS_GRID_ENDS);
    EXPECT_EQ(count_of(PROGRESS_GRID_ADVANCES), int64_t(heard.size()) - 2);

    const struct
    {
        const char* what;
        uint32_t flags;
        int32_t last_signature;
    } cases[] = {
        { "all passes", 0, ROW_COMPLETE },
        { "fast", RENDER_FAST, ROW_PASS_2 },
    };
    render_job job = job_of(d);
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        heard.clear();
        host().calls[CALL_STATUS_MESSAGE] = 0;
        d->render_flags = c.flags;
        EXPECT_EQ(render_to_end(job), both);
        ASSERT_GE(heard.size(), 4u);
        EXPECT_EQ(heard.front().code, PROGRESS_PASS_1_DONE);
        EXPECT_EQ(heard.back().code, PROGRESS_RENDERED);
        EXPECT_EQ(count_of(PROGRESS_STRIP), int64_t(heard.size()) - 2);
        float before = 0;
        for (const progress_call& call : heard)
        {
            EXPECT_EQ(call.kind, PROGRESS_RAYTRACE);
            EXPECT_EQ(call.document, d);
            EXPECT_EQ(call.view, &d->views[1]);
            EXPECT_EQ(call.zero, 0);
            EXPECT_GE(call.fraction, before);
            before = call.fraction;
        }
        EXPECT_EQ(heard.back().fraction, 1.0f);
        EXPECT_LT(heard[heard.size() - 2].fraction, 1.0f);
        EXPECT_EQ(std::u16string(job.progress.text), u"100%");
        EXPECT_EQ(texts(), (std::vector{ text(MESSAGE_RENDER_STARTED), text(MESSAGE_RENDER_FINISHED) }));
        for (int32_t y = 0; y < height; ++y) { EXPECT_EQ(signature(d, y), c.last_signature); }
        EXPECT_EQ(d->render_thread, nullptr);
        EXPECT_EQ(d->workers, nullptr);
        EXPECT_EQ(d->views[1].scan_marker, -1);
    }
    zr_close_document(d);
}

/// The host's own answer is no request to stop: no code -1, no "stopped".
TEST_F(render_job_test, AnAnswerOfZeroEndsTheJobAsStopped)
{
    document* d = open_room_with_planes();
    // A worker takes a strip of 64 rows alone; two take strips of 32. The last pass halves the strips.
    zr_set_max_raytrace_threads(1);
    const struct
    {
        const char* what;
        int32_t code, after;
        uint32_t state;
        int32_t low, high;
    } cases[] = {
        { "after the preprocess pass", PROGRESS_PASS_1_DONE, 0, 1, ROW_PREPROCESS, ROW_PREPROCESS },
        { "before pass 1", PROGRESS_STRIP, 1, 1, ROW_PREPROCESS, ROW_PREPROCESS },
        { "before pass 2", PROGRESS_STRIP, 3, 1, ROW_PASS_1, ROW_PASS_1 },
        { "in pass 2", PROGRESS_STRIP, 4, 1, ROW_PASS_2, ROW_PASS_1 },
        { "in pass 3", PROGRESS_STRIP, 6, 1, ROW_COMPLETE, ROW_PASS_2 },
    };
    render_job job = job_of(d);
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        heard.clear();
        host().calls[CALL_STATUS_MESSAGE] = 0;
        host().progress_zero_after = c.after;
        answer(PROGRESS_PASS_1_DONE, c.code != PROGRESS_PASS_1_DONE);
        EXPECT_EQ(render_to_end(job), c.state);
        EXPECT_EQ(heard.back().code, c.code);
        EXPECT_EQ(count_of(PROGRESS_STOPPED), 0);
        EXPECT_EQ(texts(), std::vector{ text(MESSAGE_RENDER_STARTED) });
        EXPECT_EQ(signature(d, 0), c.low);
        EXPECT_EQ(signature(d, height - 1), c.high);
        if (c.high == ROW_PREPROCESS) { expect_black(d, 0); }
    }
    zr_close_document(d);
}

/// Rows that say they are complete hold what the whole render has there; no row says more than is true.
TEST_F(render_job_test, AStopInAnyPassLeavesAUsablePicture)
{
    document* d = open_room_with_planes();
    render_job job = job_of(d);
    ASSERT_EQ(render_to_end(job), both);
    std::vector<std::string> whole;
    for (int32_t y = 0; y < height; ++y) { whole.push_back(row_bytes(d, y)); }

    const struct
    {
        const char* what;
        int32_t pass;
        double from_line;
        uint32_t state;
        uint8_t rows[2];
    } cases[] = {
        { "preprocess", 0, 0, 0, { ROW_EMPTY, ROW_EMPTY } },
        { "pass 1, first round", 1, 0, 1, { ROW_PREPROCESS, ROW_PREPROCESS } },
        { "pass 1", 1, 1, 1, { ROW_PASS_1, ROW_PREPROCESS } },
        { "pass 2", 2, 1, 1, { ROW_PASS_2, ROW_PASS_1 } },
        { "pass 3, second round", 3, 1, 1, { ROW_COMPLETE, ROW_PASS_2 } },
    };
    static document* stopped_document;
    static int32_t pass;
    static double from_line;
    stopped_document = d;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        heard.clear();
        host().calls[CALL_STATUS_MESSAGE] = 0;
        pass = c.pass;
        from_line = c.from_line;
        const auto stop_when_reached = []
        {
            document* doc = stopped_document;
            if (doc->render_pass == pass && (pass == 0 || doc->current_line >= from_line))
            {
                __atomic_store_n(&doc->stop_render, 1, __ATOMIC_SEQ_CST);
            }
        };
        on_report = nullptr;
        host().on_status_message = nullptr;
        static void (*stop)();
        stop = +stop_when_reached;
        if (pass == 0)
        {
            host().on_status_message = [](const char16_t*) { stop(); };
        }
        else
        {
            on_report = [](const progress_call& call) { call.code == PROGRESS_STRIP ? stop() : void(); };
        }
        EXPECT_EQ(render_to_end(job), c.state);
        EXPECT_EQ(count_of(PROGRESS_STOPPED), 1);
        EXPECT_EQ(heard.back().code, PROGRESS_STOPPED);
        EXPECT_EQ(texts(), (std::vector{ text(MESSAGE_RENDER_STARTED), text(MESSAGE_RENDER_STOPPED) }));
        EXPECT_EQ(signature(d, 0), c.rows[0]);
        EXPECT_EQ(signature(d, height - 1), c.rows[1]);
        for (int32_t y = 0; y < height; ++y)
        {
            const uint8_t s = signature(d, y);
            if (s == ROW_EMPTY || s == ROW_PREPROCESS) { expect_black(d, y); }
            if (s == ROW_COMPLETE) { EXPECT_TRUE(row_bytes(d, y) == whole[size_t(y)]) << "row " << y; }
        }
    }
    zr_close_document(d);
}

/// A scene that keeps the last pass busy for much longer than a pause may take.
document* open_slow_room()
{
    document* d = open_room(400, 400);
    d->quality = 5;
    d->render_flags |= RENDER_SOFT_SHADOWS;
    light source = point_source_at({ -0.5, 0, 2.8 }, 100);
    source.radius = 0.2;
    source.shadow_samples = 16;
    for (int i = 0; i < 4; ++i)
    {
        source.position.x += 0.3;
        EXPECT_EQ(add_light(d, source), 1);
    }
    return d;
}

TEST_F(render_job_test, WaitingIsRightBeforeDuringAndAfterAJob)
{
    document* d = open_slow_room();
    document* other = open_room(16, 16);
    render_job job = job_of(d), second = job_of(other);
    EXPECT_EQ(zr_wait_for_render(nullptr, -1), 1);
    EXPECT_EQ(zr_wait_for_render(d, -1), 1) << "none has run";

    // From the job's own thread everything that would have to wait is refused, and the job goes on.
    static int32_t refused;
    refused = 0;
    on_report = [](const progress_call& call)
    {
        if (call.code != PROGRESS_PASS_1_DONE) { return; }
        render_job nested = job_of(call.document);
        refused += zr_wait_for_render(call.document, -1) == 0 && zr_last_error()->code == ZR_ERROR_STATE;
        refused += zr_wait_for_render(call.document, 0) == 0;
        refused += zr_raytrace(&nested) == 0;
        refused += zr_close_document(call.document) == 0;
        refused += zr_wipe_document(call.document) == 0;
    };
    ASSERT_EQ(zr_raytrace(&job), 1);
    EXPECT_EQ(zr_wait_for_render(d, 0), 0);
    EXPECT_EQ(zr_wait_for_render(d, 30), 0);
    EXPECT_EQ(zr_wait_for_render(other, -1), 1) << "a document without a job";
    EXPECT_EQ(zr_raytrace(&second), 0) << "one job at a time";
    EXPECT_EQ(zr_last_error()->code, ZR_ERROR_STATE);
    EXPECT_EQ(zr_close_document(d), 0);
    while (!(__atomic_load_n(&d->render_state, __ATOMIC_ACQUIRE) & RENDER_STATE_PREPROCESSED))
    {
        std::this_thread::yield();
    }
    zr_pause_raytracing(d, nullptr);
    EXPECT_EQ(refused, 5);
    EXPECT_EQ(zr_wait_for_render(d, 0), 1);

    // A pause from there is a wish that remains until the callback returns.
    refused = 0;
    on_report = [](const progress_call& call)
    {
        if (call.code == PROGRESS_STRIP) { refused += zr_pause_raytracing(call.document, nullptr) == 0; }
    };
    EXPECT_EQ(render_to_end(job), uint32_t(RENDER_STATE_PREPROCESSED));
    EXPECT_EQ(refused, 1);
    zr_close_document(d);
    zr_close_document(other);
}

} // namespace
