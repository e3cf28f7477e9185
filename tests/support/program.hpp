/// @file
/// The command-line program, run in a folder.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/temporary_folder.hpp"

/// Starts the program in the folder, where what it prints goes to `output.txt` and `errors.txt`.
inline pid_t start_program(const temporary_folder& folder, std::vector<std::string> arguments)
{
    std::filesystem::remove(folder.path / "errors.txt");
    const pid_t id = fork();
    if (id != 0) { return id; }
    std::vector<char*> argv{ const_cast<char*>("zirconlite") };
    for (std::string& a : arguments) { argv.push_back(a.data()); }
    argv.push_back(nullptr);
    if (chdir(folder.path.c_str()) != 0 || setenv("XDG_DATA_HOME", "data", 1) != 0) { _exit(99); }
    dup2(open("output.txt", O_CREAT | O_WRONLY | O_TRUNC, 0600), 1);
    dup2(open("errors.txt", O_CREAT | O_WRONLY | O_TRUNC, 0600), 2);
    execv(ZIRCONLITE_HOST_PROGRAM, argv.data());
    _exit(98);
}

/// Its exit code, or minus the signal that ended it.
inline int end_of_program(pid_t id)
{
    int status = 0;
    waitpid(id, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

inline int run_program(const temporary_folder& folder, const std::vector<std::string>& arguments)
{
    return end_of_program(start_program(folder, arguments));
}
