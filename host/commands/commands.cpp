/// @file
/// The command line: the table of commands, the help with the exit codes, and the one place where a failure
/// becomes a line on standard error.
#include "host/commands/commands.hpp"

#include "host/failure.hpp"
#include "host/models/import.hpp"
#include "host/scene/scene.hpp"
#include "host/stop_signals.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

namespace host
{

const command_row commands[] = {
    { "render", "Render a scene file, or a model alone, to a picture", setup_render },
    { "info", "Print what a model file contains: size, units, materials, pictures", setup_info },
    { "convert", "Write a picture in another format", setup_convert },
    { "tone", "Show a picture kept as light at an exposure", setup_tone },
    { "settings", "Show, convert and check files of settings: .su, .en and .ex", setup_settings },
    { "library", "List, show, add, delete, pack and translate library files", setup_library },
    { "lights", "List, show, add, delete and pack luminaires of light libraries", setup_lights },
    { "ies", "Print, plot and convert photometric files", setup_ies },
    { "sun", "Print the position of the sun and the light of sun and sky", setup_sun },
    { "keys", "Print the sections and keys of a scene file", setup_keys },
    { nullptr, nullptr, nullptr },
};

namespace
{

struct exit_row
{
    exit_code code;
    const char* meaning;
};
constexpr exit_row exit_rows[] = {
    { exit_done, "done" },
    { exit_render_failed, "the render failed, or a picture cannot be written" },
    { exit_bad_scene, "the scene, a model or a picture is wrong or damaged" },
    { exit_missing_file, "the scene, a model or a picture was not found" },
    { exit_usage, "the command line is wrong" },
    { exit_hung_up, "stopped because the terminal was closed; the unfinished picture is saved" },
    { exit_interrupted, "stopped by Ctrl-C; the unfinished picture is saved" },
    { exit_terminated, "stopped by SIGTERM; the unfinished picture is saved" },
};

std::string exit_code_help()
{
    std::string text = "Exit codes:\n";
    for (const exit_row& row : exit_rows)
    {
        text += fmt::format("  {:>3}  {}\n", int(row.code), row.meaning);
    }
    return text;
}

void say(const std::string& text) { std::fprintf(stderr, "zirconlite: %s\n", text.c_str()); }

/// What was printed must have arrived: a full disk behind standard output is a failure like any other.
void check_standard_output()
{
    errno = 0;
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) { return; }
    throw failure(exit_render_failed, fmt::format("standard output cannot be written{}{}", errno ? ": " : "",
                                          errno ? strerror(errno) : ""));
}

int run_commands(int argument_count, char** arguments)
{
    CLI::App program{ "Renders architectural models by ray tracing" };
    program.name("zirconlite");
    program.set_version_flag("--version", "zirconlite " ZIRCONLITE_VERSION);
    program.require_subcommand(1);
    program.footer(exit_code_help());
    std::function<int()> run;
    for (const command_row* row = commands; row->name; ++row)
    {
        CLI::App* command = program.add_subcommand(row->name, row->help);
        command->footer(exit_code_help());
        const std::function<int()> action = row->setup(*command);
        command->callback([&run, action] { run = action; });
    }
    try
    {
        program.parse(argument_count, arguments);
    }
    catch (const CLI::Success& e)
    {
        program.exit(e); // --help and --version
        check_standard_output();
        return exit_done;
    }
    catch (const CLI::ParseError& e)
    {
        // A word that is no command is reported as unknown, not as missing.
        const bool no_command = program.get_subcommands().empty();
        const bool unknown = no_command && argument_count > 1 && arguments[1][0] != '-';
        say((unknown ? fmt::format("there is no command \"{}\"", arguments[1]) : e.what()) + "; see --help");
        return exit_usage;
    }
    const int code = run();
    check_standard_output();
    return code;
}

} // namespace

std::function<int()> setup_keys(CLI::App&)
{
    return []
    {
        std::fputs(describe_scene_keys().c_str(), stdout);
        return int(exit_done);
    };
}

int run_program(int argument_count, char** arguments)
{
    if (argument_count > 1 && std::strcmp(arguments[1], import_child_command) == 0)
    {
        return run_import_child(argument_count - 2, arguments + 2);
    }
    try
    {
        watch_stop_signals();
        return run_commands(argument_count, arguments);
    }
    catch (const failure& f)
    {
        say(f.what());
        return f.code;
    }
    catch (const std::bad_alloc&)
    {
        say("out of memory");
    }
    catch (const std::exception& e)
    {
        say(e.what());
    }
    return exit_render_failed;
}

} // namespace host
