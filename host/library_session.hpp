/// @file
/// The library's side of a command: its start and end, and the functions that it calls back.
#pragma once

#include "host/progress_line.hpp"
#include "zirconlite/frame/document.h"

namespace host
{

/// The library, started once per process without a display, with an open document. Ends both.
class library_session
{
public:
    /// Throws `failure` when the library cannot start.
    explicit library_session(progress_line& progress);
    ~library_session();
    library_session(const library_session&) = delete;
    library_session& operator=(const library_session&) = delete;

    document* scene = nullptr;

private:
    zr_handle module_ = nullptr;
};

/// Why the last call into the library failed, for the end of a message.
std::string library_error();

} // namespace host
