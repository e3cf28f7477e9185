/// @file
/// How the host fails: one exception that carries the line for standard error and the exit code.
#pragma once

#include <stdexcept>
#include <string>

namespace host
{

/// Exit codes of the command line. The help text and docs/command-line.md list the same table.
enum exit_code : int
{
    exit_done = 0,
    exit_render_failed = 1, ///< rendering or writing failed
    exit_bad_scene = 2,     ///< the scene or one of its models is wrong or damaged
    exit_missing_file = 3,  ///< the scene or one of its models is not there
    exit_usage = 64,        ///< the command line is wrong
    exit_hung_up = 129,     ///< stopped by SIGHUP
    exit_interrupted = 130, ///< stopped by SIGINT
    exit_terminated = 143   ///< stopped by SIGTERM
};

/// Ends the command with `code`; what() is the one line for the user, without the program's name.
struct failure : std::runtime_error
{
    failure(exit_code exit, const std::string& line) : std::runtime_error(line), code(exit) {}
    exit_code code;
};

} // namespace host
