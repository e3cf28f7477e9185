/// @file
/// The commands of the program, each a row: its name, its help, its options and what it does.
#pragma once

#include <functional>

namespace CLI
{
class App;
}

namespace host
{

/// Adds a command's options to its sub-command and gives back what runs it.
using command_setup = std::function<int()> (*)(CLI::App& command);

struct command_row
{
    const char* name;
    const char* help;
    command_setup setup;
};

/// Ends with a null name.
extern const command_row commands[];

std::function<int()> setup_render(CLI::App& command);
std::function<int()> setup_info(CLI::App& command);
std::function<int()> setup_convert(CLI::App& command);
std::function<int()> setup_tone(CLI::App& command);
std::function<int()> setup_settings(CLI::App& command);
std::function<int()> setup_library(CLI::App& command);
std::function<int()> setup_lights(CLI::App& command);
std::function<int()> setup_ies(CLI::App& command);
std::function<int()> setup_sun(CLI::App& command);
std::function<int()> setup_keys(CLI::App& command);

/// Runs the program and returns its exit code. Never throws.
int run_program(int argument_count, char** arguments);

} // namespace host
