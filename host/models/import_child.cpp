/// @file
/// Both ends of the importing child: starting it under limits and reading its answer, and what it does.
#include "host/models/import.hpp"
#include "host/models/model_stream.hpp"
#include "host/stop_signals.hpp"

#include <fmt/format.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <new>
#include <optional>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace host
{

namespace
{

constexpr int answer_descriptor = 3; // of the child
#ifdef ZIRCONLITE_SANITIZED
// A sanitizer reserves terabytes of address space for its shadow; the parent watches what is resident.
constexpr bool limits_address_space = false;
#else
constexpr bool limits_address_space = true;
#endif

/// The child and its pipe; both end with the record, whatever happens.
struct running_child
{
    pid_t id = -1;
    int pipe = -1;
    void end()
    {
        int status = 0;
        if (pipe >= 0) { close(pipe); }
        if (id > 0)
        {
            kill(id, SIGKILL);
            while (waitpid(id, &status, 0) < 0 && errno == EINTR) {}
        }
        pipe = -1;
        id = -1;
    }
    /// Waits for a child that has closed its pipe, a little while; nothing when it had to be killed.
    std::optional<int> finish()
    {
        for (int i = 0; i < 500; ++i)
        {
            int status = 0;
            if (waitpid(id, &status, WNOHANG) == id)
            {
                id = -1;
                return status;
            }
            usleep(2000);
        }
        end();
        return {};
    }
    ~running_child() { end(); }
};

void check_file(const import_request& r);
running_child start(const import_request& r);
[[noreturn]] void become_child(
    const char* program, char* const* arguments, int pipe, const import_limits& limits);
void limit(int resource, uint64_t value);
std::vector<unsigned char> read_all(running_child& child, const import_request& r);
uint64_t resident_bytes(pid_t id);
[[noreturn]] void damaged(const import_request& r, const std::string& why);
std::string end_text(const std::optional<int>& ended, const import_limits& limits);
std::string memory_text(const import_limits& limits);

} // namespace

model import_model(const import_request& r)
{
    check_file(r);
    running_child child = start(r);
    const std::vector<unsigned char> bytes = read_all(child, r);
    const std::optional<int> status = child.finish();
    if (bytes.empty()) { damaged(r, end_text(status, r.limits)); }

    byte_reader in{ bytes.data(), bytes.size() };
    import_result result{};
    model m;
    std::string reason;
    if (!read_answer(in, result, m, reason))
    {
        damaged(r, !status || WIFSIGNALED(*status) ? end_text(status, r.limits) : reason);
    }
    if (result == import_result::memory) { damaged(r, memory_text(r.limits)); }
    if (result == import_result::refused)
    {
        // Importers' own texts run over lines; a message is one line.
        for (char& c : reason) { c = (c == '\n' || c == '\r' || c == '\t') ? ' ' : c; }
        damaged(r, "cannot be read: " + reason);
    }
    return m;
}

namespace
{

/// False when the reader has gone.
bool send(const std::vector<unsigned char>& bytes)
{
    for (size_t at = 0; at < bytes.size();)
    {
        const ssize_t count = write(answer_descriptor, bytes.data() + at, bytes.size() - at);
        if (count < 0 && errno == EINTR) { continue; }
        if (count <= 0) { return false; }
        at += size_t(count);
    }
    return true;
}

void check_file(const import_request& r)
{
    std::error_code error;
    const auto status = std::filesystem::status(r.file, error);
    if (!std::filesystem::exists(status))
    {
        throw failure(exit_missing_file, fmt::format("{}: model file not found", r.file.string()));
    }
    if (std::filesystem::is_directory(status) || access(r.file.c_str(), R_OK) != 0)
    {
        throw failure(exit_missing_file, fmt::format("{}: model file cannot be read", r.file.string()));
    }
    if (!std::filesystem::is_regular_file(status)) { damaged(r, "is not a regular file"); }
    if (std::filesystem::file_size(r.file, error) == 0) { damaged(r, "the file is empty"); }
}

running_child start(const import_request& r)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
    {
        throw failure(exit_render_failed,
            fmt::format("{}: no pipe to the importer: {}", r.file.string(), strerror(errno)));
    }
    const std::string program = r.program.empty() ? "/proc/self/exe" : r.program.string();
    const std::string file = r.file.string(), unit = fmt::format("{}", r.metres_per_unit);
    const std::string up = r.up ? std::string(1, r.up) : "-";
    const char* arguments[] = { "zirconlite", import_child_command, file.c_str(), unit.c_str(), up.c_str(),
        nullptr };

    running_child child;
    child.pipe = ends[0];
    child.id = fork();
    if (child.id == 0)
    {
        become_child(program.c_str(), const_cast<char* const*>(arguments), ends[1], r.limits);
    }
    close(ends[1]);
    if (child.id < 0)
    {
        throw failure(exit_render_failed,
            fmt::format("{}: the importer does not start: {}", r.file.string(), strerror(errno)));
    }
    return child;
}

/// Only calls that are safe between fork and exec.
[[noreturn]] void become_child(
    const char* program, char* const* arguments, int pipe, const import_limits& limits)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGINT, SIG_IGN); // the parent decides; a terminal sends Ctrl-C to both
    signal(SIGHUP, SIG_IGN); // a closing terminal sends that to both as well
    signal(SIGTERM, SIG_DFL);
    if (pipe == answer_descriptor) { fcntl(pipe, F_SETFD, 0); }
    else { dup2(pipe, answer_descriptor); }
    // Importers print on their own; the terminal belongs to the progress line.
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, 0);
    dup2(nowhere, 1);
    dup2(nowhere, 2);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_CPU, uint64_t(limits.seconds) + 2);
    if (limits_address_space) { limit(RLIMIT_AS, limits.memory_bytes); }
    execv(program, arguments);
    _exit(127);
}

void limit(int resource, uint64_t value)
{
    const rlimit l{ value, value };
    setrlimit(__rlimit_resource(resource), &l);
}

/// Everything that the child writes until it closes its end, watching time, memory and signals.
std::vector<unsigned char> read_all(running_child& child, const import_request& r)
{
    using clock = std::chrono::steady_clock;
    const auto end = clock::now() + std::chrono::duration<double>(r.limits.seconds);
    std::vector<unsigned char> bytes;
    std::vector<unsigned char> block(1 << 20);
    for (;;)
    {
        end_if_stopped("the import");
        if (clock::now() >= end)
        {
            damaged(r, fmt::format("reading it takes longer than {} seconds", r.limits.seconds));
        }
        if (!limits_address_space && resident_bytes(child.id) > r.limits.memory_bytes)
        {
            damaged(r, memory_text(r.limits));
        }
        pollfd waiting{ child.pipe, POLLIN, 0 };
        if (poll(&waiting, 1, 50) <= 0) { continue; }
        const ssize_t count = read(child.pipe, block.data(), block.size());
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) { continue; }
        if (count <= 0) { return bytes; }
        if (bytes.size() + size_t(count) > r.limits.memory_bytes) { damaged(r, memory_text(r.limits)); }
        bytes.insert(bytes.end(), block.begin(), block.begin() + count);
    }
}

uint64_t resident_bytes(pid_t id)
{
    std::ifstream in(fmt::format("/proc/{}/statm", id));
    uint64_t pages = 0, resident = 0;
    in >> pages >> resident;
    return resident * uint64_t(sysconf(_SC_PAGESIZE));
}

[[noreturn]] void damaged(const import_request& r, const std::string& why)
{
    throw failure(exit_bad_scene, fmt::format("{}: {}", r.file.string(), why));
}

/// Why a child without an answer ended.
std::string end_text(const std::optional<int>& ended, const import_limits& limits)
{
    if (!ended) { return "the importer stopped answering and had to be ended"; }
    const int status = *ended;
    if (WIFSIGNALED(status) && (WTERMSIG(status) == SIGXCPU || WTERMSIG(status) == SIGKILL))
    {
        return fmt::format("the importer was ended by the system after its limits of {} seconds and {} MB",
            limits.seconds, limits.memory_bytes >> 20);
    }
    if (WIFSIGNALED(status))
    {
        return fmt::format(
            "the importer crashed on it ({}); the file is damaged", strsignal(WTERMSIG(status)));
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) { return "the importer cannot be started"; }
    return "the importer failed on it; the file is damaged";
}

std::string memory_text(const import_limits& limits)
{
    return fmt::format("reading it takes more than {} MB of memory", limits.memory_bytes >> 20);
}

} // namespace

int run_import_child(int argument_count, char** arguments)
{
    if (argument_count != 3) { return exit_usage; }
    import_request r;
    r.file = arguments[0];
    r.metres_per_unit = std::strtod(arguments[1], nullptr);
    r.up = arguments[2][0] == '-' ? 0 : arguments[2][0];
    byte_writer out;
    try
    {
        model m;
        std::string refusal;
        if (read_model_file(r, m, refusal)) { write_model(out, m); }
        // The importer turns a failed allocation into a text of its own.
        else if (refusal.find("bad_alloc") != std::string::npos ||
                 refusal.find("allocation") != std::string::npos)
        {
            write_refusal(out, import_result::memory, refusal);
        }
        else { write_refusal(out, import_result::refused, refusal.empty() ? "no reason given" : refusal); }
    }
    catch (const std::bad_alloc&)
    {
        out.bytes = {};
        write_refusal(out, import_result::memory, "");
    }
    catch (const std::exception& e)
    {
        out.bytes = {};
        write_refusal(out, import_result::refused, e.what());
    }
    // Destroying a large scene takes time that nobody needs.
    _exit(send(out.bytes) ? exit_done : exit_render_failed);
}

} // namespace host
