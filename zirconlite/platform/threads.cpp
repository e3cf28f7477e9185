/// @file
/// Threads, events and locks over POSIX threads.
#include "zirconlite/platform/threads.hpp"

#include <limits.h>
#include <pthread.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace zr::platform
{

namespace
{

/// What a thread handle names. The running thread and each handle own it together.
struct thread
{
    pthread_t id;
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    int owners;        // under `mutex`
    bool ended;        // under `mutex`
    pid_t kernel_id;   // under `mutex`; 0 until the thread runs
    int nice_increase; // under `mutex`; applied by the thread itself when it starts late
    thread_function function;
    void* argument;
};

thread_local thread* current_thread = nullptr;
int overridden_processors = 0;

void init_condition(pthread_cond_t* condition);
timespec deadline(int64_t milliseconds);
void* run_thread(void* argument);
void drop_thread(thread* t);
void apply_priority(const thread* t);

} // namespace

zr_handle start_thread(thread_function function, void* argument, size_t stack_bytes)
{
    auto* t = static_cast<thread*>(calloc(1, sizeof(thread)));
    if (!t) { return nullptr; }
    pthread_mutex_init(&t->mutex, nullptr);
    init_condition(&t->changed);
    t->owners = 2;
    t->function = function;
    t->argument = argument;

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stack_bytes != 0)
    {
        const size_t page = size_t(sysconf(_SC_PAGESIZE));
        size_t bytes = stack_bytes < size_t(PTHREAD_STACK_MIN) ? size_t(PTHREAD_STACK_MIN) : stack_bytes;
        bytes = (bytes + page - 1) / page * page;
        pthread_attr_setstacksize(&attributes, bytes);
    }
    const int failure = pthread_create(&t->id, &attributes, run_thread, t);
    pthread_attr_destroy(&attributes);
    if (failure)
    {
        t->owners = 1;
        drop_thread(t);
        return nullptr;
    }
    return t;
}

bool wait_for_thread(zr_handle handle, int64_t milliseconds)
{
    auto* t = static_cast<thread*>(handle);
    if (!t) { return true; }
    const timespec until = deadline(milliseconds);
    pthread_mutex_lock(&t->mutex);
    int failure = 0;
    while (!t->ended && failure == 0)
    {
        failure = milliseconds < 0 ? pthread_cond_wait(&t->changed, &t->mutex)
                                   : pthread_cond_timedwait(&t->changed, &t->mutex, &until);
    }
    const bool ended = t->ended;
    pthread_mutex_unlock(&t->mutex);
    return ended;
}

void close_thread(zr_handle handle)
{
    if (handle) { drop_thread(static_cast<thread*>(handle)); }
}

bool is_current_thread(zr_handle handle) { return handle && handle == current_thread; }

zr_handle share_thread(zr_handle handle)
{
    auto* t = static_cast<thread*>(handle);
    if (!t) { return nullptr; }
    pthread_mutex_lock(&t->mutex);
    ++t->owners;
    pthread_mutex_unlock(&t->mutex);
    return t;
}

void set_thread_priority(zr_handle handle, priority p)
{
    auto* t = static_cast<thread*>(handle);
    if (!t) { return; }
    constexpr int nice_increases[] = { 0, 5, 15 };
    pthread_mutex_lock(&t->mutex);
    t->nice_increase = nice_increases[int(p)];
    if (t->kernel_id != 0 && !t->ended) { apply_priority(t); }
    pthread_mutex_unlock(&t->mutex);
}

struct event
{
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    bool signalled;
};

event* new_event()
{
    auto* e = static_cast<event*>(calloc(1, sizeof(event)));
    if (!e) { return nullptr; }
    pthread_mutex_init(&e->mutex, nullptr);
    init_condition(&e->changed);
    return e;
}

void free_event(event* e)
{
    if (!e) { return; }
    pthread_cond_destroy(&e->changed);
    pthread_mutex_destroy(&e->mutex);
    free(e);
}

void signal_event(event* e)
{
    pthread_mutex_lock(&e->mutex);
    e->signalled = true;
    pthread_cond_signal(&e->changed);
    pthread_mutex_unlock(&e->mutex);
}

bool wait_event(event* e, int64_t milliseconds)
{
    const timespec until = deadline(milliseconds);
    pthread_mutex_lock(&e->mutex);
    int failure = 0;
    while (!e->signalled && failure == 0)
    {
        failure = milliseconds < 0 ? pthread_cond_wait(&e->changed, &e->mutex)
                                   : pthread_cond_timedwait(&e->changed, &e->mutex, &until);
    }
    const bool passed = e->signalled;
    e->signalled = false;
    pthread_mutex_unlock(&e->mutex);
    return passed;
}

struct lock
{
    pthread_mutex_t mutex;
};

lock* new_lock()
{
    auto* l = static_cast<lock*>(calloc(1, sizeof(lock)));
    if (!l) { return nullptr; }
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&l->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return l;
}

void free_lock(lock* l)
{
    if (!l) { return; }
    pthread_mutex_destroy(&l->mutex);
    free(l);
}

void take_lock(lock* l) { pthread_mutex_lock(&l->mutex); }

void release_lock(lock* l) { pthread_mutex_unlock(&l->mutex); }

void sleep_ms(int milliseconds)
{
    if (milliseconds <= 0)
    {
        sched_yield();
        return;
    }
    timespec rest = { milliseconds / 1000, (milliseconds % 1000) * 1000000L };
    while (nanosleep(&rest, &rest) != 0) {}
}

int processor_count()
{
    const int overridden = __atomic_load_n(&overridden_processors, __ATOMIC_RELAXED);
    if (overridden > 0) { return overridden; }
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof(set), &set) == 0 && CPU_COUNT(&set) > 0) { return CPU_COUNT(&set); }
    // More processors than the fixed set holds, or a sandbox that hides the affinity.
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? int(online) : 1;
}

void override_processor_count(int count)
{
    __atomic_store_n(&overridden_processors, count, __ATOMIC_RELAXED);
}

namespace
{

void init_condition(pthread_cond_t* condition)
{
    // Waits count on the monotonic clock: setting the wall clock must not lengthen them.
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

timespec deadline(int64_t milliseconds)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (milliseconds <= 0) { return now; }
    constexpr int64_t longest = int64_t(1) << 40; // some 34 years, far from the clock's overflow
    if (milliseconds > longest) { milliseconds = longest; }
    now.tv_sec += milliseconds / 1000;
    now.tv_nsec += (milliseconds % 1000) * 1000000;
    if (now.tv_nsec >= 1000000000)
    {
        now.tv_nsec -= 1000000000;
        ++now.tv_sec;
    }
    return now;
}

void* run_thread(void* argument)
{
    auto* t = static_cast<thread*>(argument);
    current_thread = t;
    pthread_mutex_lock(&t->mutex);
    t->kernel_id = static_cast<pid_t>(syscall(SYS_gettid));
    if (t->nice_increase != 0) { apply_priority(t); }
    pthread_mutex_unlock(&t->mutex);

    t->function(t->argument);

    pthread_mutex_lock(&t->mutex);
    t->ended = true;
    pthread_cond_broadcast(&t->changed);
    pthread_mutex_unlock(&t->mutex);
    drop_thread(t);
    return nullptr;
}

void drop_thread(thread* t)
{
    pthread_mutex_lock(&t->mutex);
    const bool last = --t->owners == 0;
    pthread_mutex_unlock(&t->mutex);
    if (!last) { return; }
    pthread_cond_destroy(&t->changed);
    pthread_mutex_destroy(&t->mutex);
    free(t);
}

/// The nice value belongs to a thread here, not to the process; raising it back may be refused.
void apply_priority(const thread* t)
{
    const int base = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    int wanted = base + t->nice_increase;
    if (wanted > 19) { wanted = 19; }
    setpriority(PRIO_PROCESS, static_cast<id_t>(t->kernel_id), wanted);
}

} // namespace

} // namespace zr::platform
