/// @file
/// A last function to call when a thread of the process faults.
#pragma once

#include <stdint.h>

namespace zr::platform
{

using fatal_handler = void (*)(int32_t signal_number);

/// Calls `handler` once when a thread faults (bad address, illegal instruction, arithmetic); then the process
/// ends as it would have. A second call replaces the handler.
void install_fatal_handler(fatal_handler handler);

} // namespace zr::platform
