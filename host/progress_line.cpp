/// @file
/// Two ways to show progress: a terminal is redrawn ten times a second, a log gets a line for every 5 per
/// cent, at most one in 2 seconds.
#include "host/progress_line.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace host
{

namespace
{

constexpr double terminal_interval_s = 0.1, log_interval_s = 2;
constexpr int log_step_percent = 5;
// A step's own speed says when the whole will be done, once the step has this share of it behind it and this
// time: the steps before are faster or slower, and the first pixels of a step mean little.
constexpr double first_estimate = 0.06, first_estimate_s = 2;

} // namespace

bool redraws_lines(int descriptor)
{
    const char* kind = std::getenv("TERM");
    return isatty(descriptor) && kind && *kind && std::string_view(kind) != "dumb";
}

std::string clock_text(double seconds)
{
    const long s = long(std::clamp(seconds + 0.5, 0.0, 3.6e6));
    if (s < 3600) { return fmt::format("{}:{:02}", s / 60, s % 60); }
    return fmt::format("{}:{:02}:{:02}", s / 3600, s / 60 % 60, s % 60);
}

void progress_line::show(const std::string& what, double fraction, const std::string& detail)
{
    const auto now = clock::now();
    const int percent = int(std::clamp(fraction, 0.0, 1.0) * 100);
    const double since = std::chrono::duration<double>(now - shown_).count();
    const bool is_first = what != what_ || shown_percent_ < 0;
    if (is_first)
    {
        step_start_ = now;
        step_fraction_ = fraction;
    }
    if (is_terminal_ ? !is_first && since < terminal_interval_s
                     : !is_first && (percent < shown_percent_ + log_step_percent || since < log_interval_s))
    {
        return;
    }
    std::string line = fmt::format("{}  {} %{}", what, percent, detail);
    const double done = fraction - step_fraction_,
                 elapsed = std::chrono::duration<double>(now - step_start_).count();
    if (done >= first_estimate && elapsed >= first_estimate_s)
    {
        line += fmt::format("  {} left", clock_text(elapsed * (1 - fraction) / done));
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
    shown_percent_ = -1;
    what_.clear();
}

} // namespace host
