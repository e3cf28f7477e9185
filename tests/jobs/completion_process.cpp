/// @file
/// The command that reports a job's end to a host with a display, and what such a host may do when it comes.
/// The display's driver is not there: the start reports it and goes on.
#include "tests/support/room_scene.hpp"
#include "tests/support/started_library.hpp"

namespace
{

auto* const library = new started_library(1);
const auto* const start = testing::AddGlobalTestEnvironment(library);

constexpr uint32_t both = RENDER_STATE_PREPROCESSED | RENDER_STATE_FINISHED;
constexpr int64_t long_enough_ms = 60000;

class completion_test : public job_test
{
protected:
    void SetUp() override
    {
        job_test::SetUp();
        window = zr_new_queue_window();
    }
    void TearDown() override { zr_free_window(window); }

    uint32_t next_command(int64_t milliseconds)
    {
        uint32_t command = 0;
        return zr_next_command(window, milliseconds, &command) ? command : 0;
    }

    zr_handle window;
};

TEST_F(completion_test, ComesAfterEveryEndButARequestToStop)
{
    document* d = open_room(64, 48);
    d->notify_window = window;
    render_job job = job_of(d);
    const struct
    {
        const char* what;
        void (*arrange)();
        uint32_t command;
    } cases[] = {
        { "a whole render", [] {}, ZR_COMMAND_JOB_ENDED },
        { "the host answers 0", [] { answer(PROGRESS_PASS_1_DONE, 0); }, ZR_COMMAND_JOB_ENDED },
        { "a calibration frame", [] { zr_set_calibration_frame(1); }, ZR_COMMAND_JOB_ENDED },
        { "stop_render",
            []
            {
                on_report = [](const progress_call& call)
                { __atomic_store_n(&call.document->stop_render, 1, __ATOMIC_SEQ_CST); };
            },
            0 },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        answer(PROGRESS_PASS_1_DONE, 1);
        c.arrange();
        render_to_end(job);
        EXPECT_EQ(next_command(0), c.command);
        EXPECT_EQ(next_command(0), 0u) << "once";
    }
    zr_close_document(d);
}

/// The job thread is still in its last steps when the command comes; the library waits for it itself.
TEST_F(completion_test, MayBeAnsweredByANewRenderAndByClosing)
{
    document* d = open_room(16, 16);
    d->notify_window = window;
    render_job job = job_of(d);
    ASSERT_EQ(zr_raytrace(&job), 1);
    for (int i = 0; i < 30; ++i)
    {
        ASSERT_EQ(next_command(long_enough_ms), uint32_t(ZR_COMMAND_JOB_ENDED));
        ASSERT_EQ(zr_raytrace(&job), 1) << zr_last_error()->text;
    }
    ASSERT_EQ(next_command(long_enough_ms), uint32_t(ZR_COMMAND_JOB_ENDED));
    EXPECT_EQ(zr_wipe_document(d), 1);
    ASSERT_EQ(zr_raytrace(&job), 1);
    ASSERT_EQ(next_command(long_enough_ms), uint32_t(ZR_COMMAND_JOB_ENDED));
    EXPECT_EQ(zr_close_document(d), 1);
}

/// A host may give its job record up as soon as it hears of the end.
TEST_F(completion_test, TheLastReportNeedsNoJobRecord)
{
    document* d = open_room(16, 16);
    render_job job = job_of(d);
    d->notify_window = zr_window_from_callback(
        [](void* record, uint32_t) { memset(record, 0xff, sizeof(render_job)); }, &job);
    ASSERT_EQ(zr_raytrace(&job), 1);
    ASSERT_EQ(zr_wait_for_render(d, -1), 1);
    EXPECT_EQ(heard.back().code, PROGRESS_RENDERED);
    EXPECT_EQ(heard.back().fraction, 1.0f);
    zr_free_window(d->notify_window);
    zr_close_document(d);
}

TEST_F(completion_test, HostFunctionsAreRaisedForTheLengthOfAJobThatAsks)
{
    EXPECT_EQ(library->text_at_start, u"gl not loaded");
    document* d = open_room(16, 16);
    zr_enable_hostfuncs(0);
    render_job job = job_of(d);
    heard.clear();
    EXPECT_EQ(render_to_end(job), both);
    EXPECT_TRUE(heard.empty());

    job.flags = JOB_HOST_FUNCTIONS;
    EXPECT_EQ(render_to_end(job), both);
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back().code, PROGRESS_RENDERED);
    const size_t reports = heard.size();
    answer(PROGRESS_STRIP, 0);
    EXPECT_EQ(render_to_end(job), uint32_t(RENDER_STATE_PREPROCESSED));
    EXPECT_EQ(heard.size(), reports + 2) << "stopped at the first strip";
    EXPECT_EQ(zr_build_voxel_grid(d), 1);
    EXPECT_EQ(heard.size(), reports + 2) << "lowered after a job that was stopped, too";

    // Inside a second module, every job reports.
    answer(PROGRESS_STRIP, 1);
    const zr_handle module = zr_load_module(std::filesystem::path(HOST_MODULE_FILE).u16string().c_str());
    EXPECT_EQ(zr_toolkit_in_acad(module), 1);
    job.flags = 0;
    EXPECT_EQ(render_to_end(job), both);
    EXPECT_GT(heard.size(), reports + 3);
    zr_close_document(d);
    zr_free_module(module);
}

} // namespace
