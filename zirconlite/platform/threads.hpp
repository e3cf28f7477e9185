/// @file
/// Threads, events, locks and the processors of the system. With the rest of this folder the only code that
/// calls the operating system.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <type_traits>

#include "zirconlite/types.h"

namespace zr::platform
{

/// A function that runs on a thread of its own.
using thread_function = void (*)(void* argument);

/// Starts a thread with at least `stack_bytes` of stack (0: the system's default). The handle stays valid
/// until close_thread. Null when no thread can be made.
zr_handle start_thread(thread_function function, void* argument, size_t stack_bytes);

/// Waits until the thread has ended. False when `milliseconds` passed first; a negative time waits for ever.
/// Any number of threads may wait for one.
bool wait_for_thread(zr_handle thread, int64_t milliseconds);

/// Gives the handle back; a thread that still runs goes on. Null does nothing.
void close_thread(zr_handle thread);

/// True when the calling thread is the one that `thread` names.
bool is_current_thread(zr_handle thread);

/// A second owner of the handle: both are closed on their own. Null gives null.
zr_handle share_thread(zr_handle thread);

enum class priority
{
    normal,
    below_normal,
    lowest
};

/// Priority of a running thread, relative to the others of the system. Best effort.
void set_thread_priority(zr_handle thread, priority p);

/// Auto-reset event: a signal lets one wait pass, and stays set until a wait takes it.
struct event;
event* new_event();        ///< unsignalled; null when memory fails
void free_event(event* e); ///< null does nothing
void signal_event(event* e);
bool wait_event(event* e, int64_t milliseconds); ///< false after the time; negative waits for ever

/// A lock that the owning thread may take again.
struct lock;
lock* new_lock(); ///< null when memory fails
void free_lock(lock* l);
void take_lock(lock* l);
void release_lock(lock* l);

/// Holds a lock for a scope; a null lock is fine.
struct lock_scope
{
    explicit lock_scope(lock* l) : held(l)
    {
        if (held) { take_lock(held); }
    }
    ~lock_scope()
    {
        if (held) { release_lock(held); }
    }
    lock_scope(const lock_scope&) = delete;
    lock_scope& operator=(const lock_scope&) = delete;
    lock* held;
};

void sleep_ms(int milliseconds);

/// Processors that this process may use, at least 1.
int processor_count();

/// Makes processor_count() answer `count`; 0 asks the system again. For tests.
void override_processor_count(int count);

/// @{
/// Words that several threads read or write without a lock: what was written before a store is seen after the
/// load that finds it.
template <class T> T load_word(const T* word)
{
    T value;
    __atomic_load(word, &value, __ATOMIC_ACQUIRE);
    return value;
}
template <class T> void store_word(T* word, std::type_identity_t<T> value)
{
    __atomic_store(word, &value, __ATOMIC_RELEASE);
}
template <class T> void set_bits(T* word, std::type_identity_t<T> bits)
{
    __atomic_fetch_or(word, bits, __ATOMIC_RELEASE);
}
/// Stores `value` where the word is `expected`, which otherwise becomes what it is. Whether it was stored.
template <class T> bool replace_word(T* word, T& expected, std::type_identity_t<T> value)
{
    return __atomic_compare_exchange(word, &expected, &value, false, __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE);
}
/// Counts on; the value before. Orders nothing else.
template <class T> T add_to_word(T* word, std::type_identity_t<T> n)
{
    return __atomic_fetch_add(word, n, __ATOMIC_RELAXED);
}
/// @}

} // namespace zr::platform
