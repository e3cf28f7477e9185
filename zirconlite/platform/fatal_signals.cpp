/// @file
/// Fault handling over POSIX signals.
#include "zirconlite/platform/fatal_signals.hpp"

#include <signal.h>

namespace zr::platform
{

namespace
{

fatal_handler installed = nullptr;

void on_fault(int signal_number);

} // namespace

void install_fatal_handler(fatal_handler handler)
{
    __atomic_store_n(&installed, handler, __ATOMIC_RELEASE);
    struct sigaction action = {};
    action.sa_handler = on_fault;
    action.sa_flags = SA_RESETHAND | SA_NODEFER;
    constexpr int faults[] = { SIGSEGV, SIGBUS, SIGILL, SIGFPE };
    for (const int number : faults) { sigaction(number, &action, nullptr); }
}

} // namespace zr::platform

namespace zr::platform
{

namespace
{

void on_fault(int signal_number)
{
    // SA_RESETHAND has put the default back: the faulting instruction runs again and ends the process.
    if (const fatal_handler handler = __atomic_load_n(&installed, __ATOMIC_ACQUIRE))
    {
        handler(signal_number);
    }
}

} // namespace

} // namespace zr::platform
