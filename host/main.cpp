/// @file
/// The zirconlite program. What it does is in commands.cpp.
#include "host/commands/commands.hpp"

int main(int argument_count, char** arguments) { return host::run_program(argument_count, arguments); }
