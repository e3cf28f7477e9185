/// @file
/// SIGINT, SIGTERM and SIGHUP: the first asks for an orderly stop, the second ends the process at once.
#pragma once

#include "host/failure.hpp"

namespace host
{

/// Installs the handlers. Once, before any thread starts.
void watch_stop_signals();

/// The first signal that came, or 0.
int stop_signal();

/// The exit code of a command that `stop_signal` ended.
exit_code stopped_exit_code();

/// Throws the failure of a stopped command, saying that nothing was saved, when a signal has come.
void end_if_stopped(const char* during);

} // namespace host
