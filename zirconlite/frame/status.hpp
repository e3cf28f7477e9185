/// @file
/// How the library's own functions report failure: a status by value, and its hand-over to zr_last_error.
#pragma once

#include "zirconlite/frame/error.h"

namespace zr
{

using status = zr_status;

inline bool ok(const status& s) { return s.code == ZR_ERROR_NONE; }

/// A status with a formatted text (printf rules). Texts that are too long are cut at a whole character.
status fail(zr_error_code code, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Stores `s` for zr_last_error of this thread when it is a failure; returns whether it is a success.
bool report(const status& s);

/// report(fail(...)) in one call; returns false.
bool report_failure(zr_error_code code, const char* format, ...) __attribute__((format(printf, 2, 3)));

} // namespace zr
