/// @file
/// The library started by the host module, for processes that test jobs: one start for all tests of the
/// process, and every answer of the host as at first before each test.
#pragma once

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "tests/host_module/host_module.h"
#include "tests/support/temporary_folder.hpp"
#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/module.h"
#include "zirconlite/frame/window.h"

inline host_record* the_host_record = nullptr;

/// Starts the library with `gl_version` and ends it after the last test.
struct started_library : testing::Environment
{
    explicit started_library(int32_t wanted) : gl_version(wanted) {}

    void SetUp() override
    {
        setenv("ZIRCONLITE_SETTINGS", (folder.path / "settings.txt").c_str(), 1);
        module = zr_load_module(std::filesystem::path(HOST_MODULE_FILE).u16string().c_str());
        ASSERT_NE(module, nullptr);
        void* loaded = dlopen(HOST_MODULE_FILE, RTLD_NOW | RTLD_NOLOAD);
        the_host_record = static_cast<host_record*>(dlsym(loaded, "the_host"));
        const std::u16string texts = std::filesystem::path(ZIRCONLITE_SOURCE_DIR "/resources/").u16string();
        ASSERT_EQ(zr_init_ex(texts.c_str(), nullptr, nullptr, module, texts.c_str(), texts.c_str(),
                      texts.c_str(), gl_version),
            1u);
        text_at_start = the_host_record->messages[0];
    }

    void TearDown() override
    {
        EXPECT_EQ(zr_term(), 1);
        zr_free_module(module);
    }

    int32_t gl_version;
    std::u16string text_at_start; ///< first status text; empty for none
    temporary_folder folder;
    zr_handle module = nullptr;
};

/// What the host heard of one test's jobs and builds, in order.
inline std::vector<progress_call> heard;

/// Called with each report, before the host answers; where a test acts in the middle of a job.
inline void (*on_report)(const progress_call& call) = nullptr;

/// A test with a host that answers as at first and records what it hears.
struct job_test : testing::Test
{
    void SetUp() override
    {
        host_record fresh = {};
        for (int32_t& answer : fresh.progress_answers) { answer = 1; }
        fresh.on_progress = [](const progress_call* call)
        {
            heard.push_back(*call);
            if (on_report) { on_report(*call); }
        };
        *the_host_record = fresh;
        heard.clear();
        on_report = nullptr;
        zr_enable_hostfuncs(1);
        zr_set_memory_threshold(0.07);
        zr_set_max_raytrace_threads(-1);
        zr_rt_skip_preprocess(0);
        zr_set_calibration_frame(0);
    }

    static host_record& host() { return *the_host_record; }
    static void answer(int32_t code, int32_t with) { host().progress_answers[code + 2] = with; }

    static std::vector<int32_t> codes()
    {
        std::vector<int32_t> all;
        for (const progress_call& call : heard) { all.push_back(call.code); }
        return all;
    }

    static int64_t count_of(int32_t code)
    {
        const std::vector<int32_t> all = codes();
        return std::count(all.begin(), all.end(), code);
    }

    /// The status texts since the start of the test.
    static std::vector<std::u16string> texts()
    {
        std::vector<std::u16string> said;
        for (int32_t i = 0; i < host().calls[CALL_STATUS_MESSAGE] && i < 16; ++i)
        {
            said.push_back(host().messages[i]);
        }
        return said;
    }
};
