/// @file
/// The zirconlite program. All that it does stands in commands.cpp and behind it.
#include "host/commands/commands.hpp"

int main(int argument_count, char** arguments) { return host::run_program(argument_count, arguments); }
