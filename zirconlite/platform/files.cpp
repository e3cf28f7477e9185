/// @file
/// Opening, reading and writing of files, and their replacement by rename.
#include "zirconlite/platform/files.hpp"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zr::platform
{

struct file
{
    int descriptor;
    bool write_failed;
};

struct replacement
{
    int descriptor;
    bool write_failed;
    char temporary[PATH_MAX];
    char final[PATH_MAX];
};

namespace
{

file_error error_from_errno(int code);
int open_flags(file_access a, disposition d);
int lock_mode(file_access a, uint32_t sharing);
bool write_all(int descriptor, const void* bytes, size_t size);
void remove_leftovers(const char* final);
file_error open_descriptor(const char* path, file_access a, uint32_t sharing, disposition d, int* descriptor);

} // namespace

file* open_file(const char16_t* path, file_access a, uint32_t sharing, disposition d, file_error* why)
{
    file_error unused;
    file_error& reason = why ? *why : unused;
    const native_path native(path);
    reason = file_error::not_found;
    if (!native.valid) { return nullptr; }
    int descriptor = -1;
    reason = open_descriptor(native.bytes, a, sharing, d, &descriptor);
    if (reason != file_error::none) { return nullptr; }
    auto* f = static_cast<file*>(calloc(1, sizeof(file)));
    if (!f)
    {
        close(descriptor);
        reason = file_error::other;
        return nullptr;
    }
    f->descriptor = descriptor;
    return f;
}

size_t read_file(file* f, void* bytes, size_t size)
{
    size_t done = 0;
    while (done < size)
    {
        const ssize_t n = read(f->descriptor, static_cast<char*>(bytes) + done, size - done);
        if (n < 0 && errno == EINTR) { continue; }
        if (n <= 0) { break; }
        done += size_t(n);
    }
    return done;
}

bool write_file(file* f, const void* bytes, size_t size)
{
    if (!write_all(f->descriptor, bytes, size)) { f->write_failed = true; }
    return !f->write_failed;
}

bool seek_file(file* f, uint64_t position)
{
    return position <= INT64_MAX && lseek(f->descriptor, static_cast<off_t>(position), SEEK_SET) >= 0;
}

uint64_t file_position(file* f)
{
    const off_t position = lseek(f->descriptor, 0, SEEK_CUR);
    return position < 0 ? 0 : uint64_t(position);
}

uint64_t file_size(file* f)
{
    struct stat s;
    return fstat(f->descriptor, &s) == 0 && s.st_size > 0 ? uint64_t(s.st_size) : 0;
}

bool file_identity(file* f, uint64_t identity[2])
{
    struct stat s;
    if (fstat(f->descriptor, &s) != 0) { return false; }
    identity[0] = uint64_t(s.st_dev);
    identity[1] = uint64_t(s.st_ino);
    return true;
}

bool close_file(file* f)
{
    if (!f) { return true; }
    const bool closed = close(f->descriptor) == 0;
    const bool kept = closed && !f->write_failed;
    free(f);
    return kept;
}

unsigned char* read_whole_file(const char16_t* path, uint64_t limit, size_t* size, file_error* why)
{
    *size = 0;
    file* f = open_file(path, file_access::read, share_read, disposition::open_existing, why);
    if (!f) { return nullptr; }
    const uint64_t bytes = file_size(f);
    unsigned char* content = nullptr;
    if (bytes <= limit && bytes < SIZE_MAX) { content = static_cast<unsigned char*>(malloc(bytes + 1)); }
    if (content)
    {
        *size = read_file(f, content, bytes);
        content[*size] = 0;
    }
    else if (why) { *why = file_error::other; }
    close_file(f);
    return content;
}

bool delete_file(const char16_t* path)
{
    const native_path native(path);
    return native.valid && unlink(native.bytes) == 0;
}

bool rename_file(const char16_t* from, const char16_t* to)
{
    const native_path source(from), target(to);
    return source.valid && target.valid && rename(source.bytes, target.bytes) == 0;
}

bool create_folder(const char16_t* path)
{
    native_path native(path);
    if (!native.valid) { return false; }
    for (char* p = native.bytes + 1; *p; ++p)
    {
        if (*p != '/') { continue; }
        *p = 0;
        mkdir(native.bytes, 0777);
        *p = '/';
    }
    mkdir(native.bytes, 0777);
    struct stat s;
    return stat(native.bytes, &s) == 0 && S_ISDIR(s.st_mode);
}

replacement* begin_replacement(const char16_t* path, file_error* why)
{
    file_error unused;
    file_error& reason = why ? *why : unused;
    const native_path native(path);
    reason = file_error::not_found;
    if (!native.valid) { return nullptr; }
    auto* r = static_cast<replacement*>(calloc(1, sizeof(replacement)));
    reason = file_error::other;
    if (!r) { return nullptr; }

    // A link keeps its place: the file it names is replaced, not the link.
    if (!realpath(native.bytes, r->final)) { memcpy(r->final, native.bytes, sizeof(r->final)); }
    struct stat old;
    const bool had_file = stat(r->final, &old) == 0;
    static unsigned counter = 0;
    const int length = snprintf(r->temporary, sizeof(r->temporary), "%s.%ld-%u.part", r->final,
        long(getpid()), __atomic_add_fetch(&counter, 1, __ATOMIC_RELAXED));
    if ((had_file && !S_ISREG(old.st_mode)) || length >= int(sizeof(r->temporary)))
    {
        reason = file_error::not_a_file;
        free(r);
        return nullptr;
    }
    if (had_file && access(r->final, W_OK) != 0)
    {
        reason = file_error::denied;
        free(r);
        return nullptr;
    }
    r->descriptor = open(r->temporary, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (r->descriptor < 0)
    {
        reason = error_from_errno(errno);
        free(r);
        return nullptr;
    }
    flock(r->descriptor, LOCK_EX | LOCK_NB); // says that its writer lives
    if (had_file) { fchmod(r->descriptor, old.st_mode & 07777); }
    remove_leftovers(r->final);
    reason = file_error::none;
    return r;
}

bool write_replacement(replacement* r, const void* bytes, size_t size)
{
    if (!write_all(r->descriptor, bytes, size)) { r->write_failed = true; }
    return !r->write_failed;
}

bool seek_replacement(replacement* r, uint64_t position)
{
    return position <= INT64_MAX && lseek(r->descriptor, static_cast<off_t>(position), SEEK_SET) >= 0;
}

bool commit_replacement(replacement* r)
{
    // The content must be on the disk before the name is: a crash in between would leave an empty file.
    const bool flushed = !r->write_failed && fsync(r->descriptor) == 0;
    const bool closed = close(r->descriptor) == 0;
    const bool placed = flushed && closed && rename(r->temporary, r->final) == 0;
    if (!placed) { unlink(r->temporary); }
    free(r);
    return placed;
}

void cancel_replacement(replacement* r)
{
    if (!r) { return; }
    close(r->descriptor);
    unlink(r->temporary);
    free(r);
}

namespace
{

/// Whether `name` is `base`, a dot, a process that is gone, and whatever up to ".part".
bool is_leftover(const char* name, const char* base)
{
    const size_t length = strlen(base), whole = strlen(name), end = strlen(".part");
    if (whole < length + 1 + end || memcmp(name, base, length) != 0 || name[length] != '.' ||
        strcmp(name + whole - end, ".part") != 0)
    {
        return false;
    }
    char* after = nullptr;
    const long id = strtol(name + length + 1, &after, 10);
    return id > 0 && *after == '-' && kill(pid_t(id), 0) != 0 && errno == ESRCH;
}

/// Takes away what writers of this file that were killed have left beside it.
void remove_leftovers(const char* final)
{
    const char* slash = strrchr(final, '/');
    const char* base = slash ? slash + 1 : final;
    char folder[sizeof(replacement::final)] = ".";
    if (slash) { snprintf(folder, sizeof(folder), "%.*s", slash == final ? 1 : int(slash - final), final); }
    // A file under such a name is itself on its way to become `base`.
    char stem[sizeof(folder)];
    snprintf(stem, sizeof(stem), "%s", base);
    const size_t length = strlen(stem), end = strlen(".part");
    if (length > end && strcmp(stem + length - end, ".part") == 0)
    {
        stem[length - end] = 0;
        if (char* number = strrchr(stem, '.')) { *number = 0; }
        base = stem;
    }
    DIR* list = opendir(folder);
    if (!list) { return; }
    while (const dirent* entry = readdir(list))
    {
        if (!is_leftover(entry->d_name, base)) { continue; }
        const int found = openat(dirfd(list), entry->d_name, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (found < 0) { continue; }
        // Process numbers of another machine mean nothing here, but its lock does.
        if (flock(found, LOCK_EX | LOCK_NB) == 0) { unlinkat(dirfd(list), entry->d_name, 0); }
        close(found);
    }
    closedir(list);
}

file_error error_from_errno(int code)
{
    switch (code)
    {
    case ENOENT:
    case ENOTDIR:
        return file_error::not_found;
    case EEXIST:
        return file_error::exists;
    case EACCES:
    case EPERM:
    case EROFS:
        return file_error::denied;
    case EWOULDBLOCK:
    case ETXTBSY:
        return file_error::in_use;
    case EISDIR:
    case ENXIO:
        return file_error::not_a_file;
    default:
        return file_error::other;
    }
}

int open_flags(file_access a, disposition d)
{
    int flags = a == file_access::read ? O_RDONLY : a == file_access::write ? O_WRONLY : O_RDWR;
    if (d == disposition::create_new) { flags |= O_CREAT | O_EXCL; }
    if (d == disposition::open_or_create || d == disposition::create_or_empty) { flags |= O_CREAT; }
    return flags;
}

/// The advisory lock that stands for a sharing mode: exclusive where others may not read, or where we
/// write and others may not; shared where we only read and nobody may write; none where all may do all.
int lock_mode(file_access a, uint32_t sharing)
{
    if (!(sharing & share_read)) { return LOCK_EX; }
    if (sharing & share_write) { return 0; }
    return a == file_access::read ? LOCK_SH : LOCK_EX;
}

bool write_all(int descriptor, const void* bytes, size_t size)
{
    const char* at = static_cast<const char*>(bytes);
    while (size > 0)
    {
        const ssize_t n = write(descriptor, at, size);
        if (n < 0 && errno == EINTR) { continue; }
        if (n <= 0) { return false; }
        at += n;
        size -= size_t(n);
    }
    return true;
}

file_error open_descriptor(const char* path, file_access a, uint32_t sharing, disposition d, int* descriptor)
{
    // Without O_NONBLOCK the opening of a pipe would wait for its other end, perhaps for ever.
    const int fd = open(path, open_flags(a, d) | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
    if (fd < 0) { return error_from_errno(errno); }
    file_error reason = file_error::none;
    struct stat s;
    if (fstat(fd, &s) != 0) { reason = file_error::other; }
    else if (!S_ISREG(s.st_mode) && !S_ISCHR(s.st_mode)) { reason = file_error::not_a_file; }
    else
    {
        const int mode = lock_mode(a, sharing);
        if (mode != 0 && S_ISREG(s.st_mode) && flock(fd, mode | LOCK_NB) != 0)
        {
            reason = file_error::in_use;
        }
    }
    const bool empties = d == disposition::create_or_empty || d == disposition::empty_existing;
    if (reason == file_error::none && empties && S_ISREG(s.st_mode) && ftruncate(fd, 0) != 0)
    {
        reason = error_from_errno(errno);
    }
    if (reason != file_error::none)
    {
        close(fd);
        return reason;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    *descriptor = fd;
    return file_error::none;
}

} // namespace

} // namespace zr::platform
