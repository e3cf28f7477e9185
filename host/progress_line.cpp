/// @file
/// Two ways to show progress: a terminal is redrawn ten times a second, a log gets a line for every 5 per
/// cent, at most one in 2 seconds.
#include "host/progress_line.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

namespace host
{

namespace
{

constexpr double terminal_interval_s = 0.1, log_interval_s = 2;
constexpr int log_step_percent = 5;
// Below this share the time that is left is a guess nobody should read.
constexpr double first_estimate = 0.02;

} // namespace

std::string clock_text(double seconds)
{
    const long s = long(std::clamp(seconds + 0.5, 0.0, 3.6e6));
    if (s < 3600) { return fmt::format("{}:{:02}", s / 60, s % 60); }
    return fmt::format("{}:{:02}:{:02}", s / 3600, s / 60 % 60, s % 60);
}

void progress_line::show(const std::string& what, double fraction)
{
    const auto now = clock::now();
    const int percent = int(std::clamp(fraction, 0.0, 1.0) * 100);
    const double since = std::chrono::duration<double>(now - shown_).count();
    const bool is_first = what != what_ || shown_percent_ < 0;
    if (is_terminal_ ? !is_first && since < terminal_interval_s
                     : !is_first && (percent < shown_percent_ + log_step_percent || since < log_interval_s))
    {
        return;
    }
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    std::string line = fmt::format("{}  {} %", what, percent);
    if (fraction > first_estimate)
    {
        line += fmt::format("  {} left", clock_text(elapsed * (1 - fraction) / fraction));
    }
    if (is_terminal_)
    {
        std::fprintf(stderr, "\r\033[K%s", line.c_str());
        is_open_ = true;
    }
    else { std::fprintf(stderr, "%s\n", line.c_str()); }
    std::fflush(stderr);
    what_ = what;
    shown_percent_ = percent;
    shown_ = now;
}

void progress_line::finish()
{
    if (is_open_) { std::fprintf(stderr, "\r\033[K"); }
    std::fflush(stderr);
    is_open_ = false;
}

void progress_line::restart()
{
    finish();
    start_ = clock::now();
    shown_percent_ = -1;
    what_.clear();
}

} // namespace host
