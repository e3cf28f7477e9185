/// @file
/// Progress on standard error: one line redrawn in place on a terminal, else a line now and then.
#pragma once

#include <chrono>
#include <string>

namespace host
{

/// Shows how far an operation has come. One thread at a time.
class progress_line
{
public:
    explicit progress_line(bool redraws) : is_terminal_(redraws) {}

    /// A step of `what` at `fraction`, 0 to 1 of the whole; a different `what` starts a line of its own.
    /// `detail` follows the percentage.
    void show(const std::string& what, double fraction, const std::string& detail = "");
    /// Leaves the line, so that other text can follow.
    void finish();
    /// The same, and the next show() starts a step.
    void restart();

private:
    using clock = std::chrono::steady_clock;
    bool is_terminal_;
    bool is_open_ = false;
    std::string what_;
    int shown_percent_ = -1;
    clock::time_point step_start_ = clock::now(), shown_ = {};
    double step_fraction_ = 0; ///< where the present step began
};

/// Whether the descriptor is a terminal that can draw a line anew: one of TERM "dumb", or none, cannot.
bool redraws_lines(int descriptor);

/// "1:05" for 65 seconds, "2:00:05" from an hour on.
std::string clock_text(double seconds);

} // namespace host
