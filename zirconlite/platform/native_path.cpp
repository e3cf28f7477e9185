/// @file
/// From a host's path to the system's, with the search that disregards case.
#include <dirent.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include "zirconlite/platform/files.hpp"
#include "zirconlite/platform/text.hpp"

namespace zr::platform
{

namespace
{

bool same_name(const char* a, const char* b);
bool correct_part(const char* folder, char* part, size_t length);
void correct_case(char* path);
bool exists(const char* path);

} // namespace

native_path::native_path(const char16_t* path)
{
    bytes[0] = 0;
    if (!path || !*path || !to_utf8(path, bytes, sizeof(bytes))) { return; }
    for (char* p = bytes; *p; ++p)
    {
        if (*p == '\\') { *p = '/'; }
    }
    valid = true;
    if (!exists(bytes)) { correct_case(bytes); }
}

namespace
{

bool same_name(const char* a, const char* b)
{
    char16_t wide_a[NAME_MAX + 1], wide_b[NAME_MAX + 1];
    return to_utf16(a, strlen(a), wide_a, NAME_MAX + 1) && to_utf16(b, strlen(b), wide_b, NAME_MAX + 1) &&
           compare_no_case(wide_a, wide_b) == 0;
}

/// Replaces `part` by the name in `folder` that equals it but for case; the first in byte order when there
/// are several. Only names of the same byte length fit, which folding keeps for the letters it knows.
bool correct_part(const char* folder, char* part, size_t length)
{
    DIR* listing = opendir(folder);
    if (!listing) { return false; }
    char wanted[NAME_MAX + 1];
    memcpy(wanted, part, length);
    wanted[length] = 0;
    char best[NAME_MAX + 1] = "";
    while (const dirent* entry = readdir(listing))
    {
        if (strlen(entry->d_name) != length || !same_name(entry->d_name, wanted)) { continue; }
        if (!best[0] || strcmp(entry->d_name, best) < 0) { memcpy(best, entry->d_name, length + 1); }
    }
    closedir(listing);
    if (!best[0]) { return false; }
    memcpy(part, best, length);
    return true;
}

/// Corrects the parts from the left until one is found in no case at all; the rest stays as written.
void correct_case(char* path)
{
    char* part = path;
    while (*part == '/') { ++part; }
    while (*part)
    {
        char* end = part;
        while (*end && *end != '/') { ++end; }
        const char separator = *end;
        *end = 0;
        const size_t length = size_t(end - part);
        bool found = exists(path);
        if (!found && length <= NAME_MAX)
        {
            char folder[PATH_MAX] = ".";
            if (part != path)
            {
                memcpy(folder, path, size_t(part - path));
                folder[part - path] = 0;
            }
            found = correct_part(folder, part, length);
        }
        *end = separator;
        if (!found) { return; }
        part = end;
        while (*part == '/') { ++part; }
    }
}

bool exists(const char* path) { return faccessat(AT_FDCWD, path, F_OK, AT_SYMLINK_NOFOLLOW) == 0; }

} // namespace

} // namespace zr::platform
