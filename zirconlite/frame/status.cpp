/// @file
/// Statuses of failed calls, one kept for each thread.
#include "zirconlite/frame/status.hpp"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

namespace
{

thread_local zr_status last_failure;

zr::status format_status(zr_error_code code, const char* format, va_list arguments);

} // namespace

const zr_status* zr_last_error(void) { return &last_failure; }

namespace zr
{

status fail(zr_error_code code, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const status s = format_status(code, format, arguments);
    va_end(arguments);
    return s;
}

bool report(const status& s)
{
    if (ok(s)) { return true; }
    last_failure = s;
    return false;
}

bool report_failure(zr_error_code code, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const status s = format_status(code, format, arguments);
    va_end(arguments);
    return report(s);
}

} // namespace zr

namespace
{

zr::status format_status(zr_error_code code, const char* format, va_list arguments)
{
    zr::status s = {};
    s.code = code;
    const int length = vsnprintf(s.text, sizeof(s.text), format, arguments);
    if (length < int(sizeof(s.text))) { return s; }
    // The cut may have gone through a character: take off the bytes of an unfinished one.
    size_t end = sizeof(s.text) - 1;
    size_t lead = end;
    while (lead > 0 && (static_cast<unsigned char>(s.text[lead - 1]) & 0xC0) == 0x80) { --lead; }
    if (lead > 0)
    {
        const unsigned char first = static_cast<unsigned char>(s.text[lead - 1]);
        const size_t whole = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 1;
        if (lead - 1 + whole > end) { s.text[lead - 1] = 0; }
    }
    return s;
}

} // namespace
