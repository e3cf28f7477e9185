/// @file
/// The handlers only note the first signal and, at a second one, leave: nothing else is safe in them.
#include "host/stop_signals.hpp"

#include <fmt/format.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <unistd.h>

namespace host
{

namespace
{

std::atomic<int> first_signal{ 0 };
std::atomic<int64_t> first_time_ms{ 0 };
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<int64_t>::is_always_lock_free);

// Programs that end others send to the process and to its group, so one wish can arrive twice.
constexpr int64_t same_wish_ms = 300;

void on_signal(int number);
int64_t now_ms();

} // namespace

void watch_stop_signals()
{
    struct sigaction action
    {
    };
    action.sa_handler = on_signal;
    sigemptyset(&action.sa_mask);
    // System calls go on after the signal: a picture that is being written must not end half way.
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A closed terminal asks like SIGTERM, unless nohup or the like has said that it does not matter.
    struct sigaction hangup
    {
    };
    if (sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler != SIG_IGN)
    {
        sigaction(SIGHUP, &action, nullptr);
    }
    // A reader that closes the progress pipe must not end the render.
    signal(SIGPIPE, SIG_IGN);
    // A limit on the size of files is reported like a full disk, and leaves no half-written file behind.
    signal(SIGXFSZ, SIG_IGN);
}

int stop_signal() { return first_signal.load(); }

exit_code stopped_exit_code()
{
    switch (stop_signal())
    {
    case SIGTERM:
        return exit_terminated;
    case SIGHUP:
        return exit_hung_up;
    default:
        return exit_interrupted;
    }
}

void end_if_stopped(const char* during)
{
    if (stop_signal())
    {
        throw failure(stopped_exit_code(), fmt::format("stopped during {}; nothing saved", during));
    }
}

namespace
{

void on_signal(int number)
{
    int none = 0;
    if (first_signal.compare_exchange_strong(none, number))
    {
        first_time_ms = now_ms();
        return;
    }
    const int64_t first = first_time_ms;
    if (first != 0 && now_ms() - first > same_wish_ms) { _exit(128 + number); }
}

int64_t now_ms()
{
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

} // namespace

} // namespace host
