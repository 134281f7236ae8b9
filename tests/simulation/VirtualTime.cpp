#include "VirtualTime.h"

#include "Fiber.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <list>
#include <map>
#include <optional>
#include <poll.h>
#include <pthread.h>
#include <random>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using pdalink::test::Fiber;
using pdalink::test::virtual_time::kNever;
using pdalink::test::virtual_time::ReplacedCall;
using pdalink::test::virtual_time::Time;

constexpr int kFirstId = 1000;

struct Thread {
    std::vector<char> stack; ///< where the caller gives none
    std::optional<Fiber> fiber;
    int id = 0; ///< the kernel's number, and the handle too
    void* (*body)(void*) = nullptr;
    void* argument = nullptr;
    bool isDetached = false;
    bool hasEnded = false;
    // When it can go on.
    Time deadline{0};
    std::function<bool()> condition;
};

// NOLINTNEXTLINE(cert-msc51-cpp): a run is to be predictable
struct World {
    Time now = std::chrono::hours(1);
    Time limit = kNever;
    std::multimap<Time, std::function<void()>> actions;
    std::list<Thread> threads;
    int lastId = kFirstId;
    int turns = 0;              ///< since the clock moved
    unsigned int unlocks = 0;   ///< of all mutexes
    std::minstd_rand random;    ///< seeding another one takes longer than a call
    std::vector<Thread*> ready; ///< kept for its memory
};

// Not destroyed at the end of the process: threads and the library's own destructors run until the very end.
World* g_world = nullptr;
thread_local Thread* t_self = nullptr;

constexpr std::size_t kStackSize = std::size_t{256} * 1024;
constexpr int kMaxTurns = 1000000; // without the clock moving

constexpr std::time_t kEpoch = 1767322800; // the wall clock when the monotonic one shows 0

bool isVirtual() {
    return g_world != nullptr && t_self != nullptr;
}

[[noreturn]] void stop(const char* reason) {
    std::fprintf(stderr, "virtual time: %s\n", reason);
    std::abort();
}

bool isReady(const Thread& thread) {
    return !thread.hasEnded && (thread.deadline <= g_world->now || (thread.condition && thread.condition()));
}

/// Goes on to the next moment at which anything happens, and does what is to be done then.
void passTime() {
    World& world = *g_world;
    Time next = world.actions.empty() ? kNever : world.actions.begin()->first;
    for (const Thread& thread : world.threads) {
        next = thread.hasEnded ? next : std::min(next, thread.deadline);
    }
    if (next == kNever) {
        stop("every thread waits for ever");
    }
    if (next > world.limit) {
        stop("a wait has no end");
    }
    world.turns = next > world.now ? 0 : world.turns;
    world.now = std::max(world.now, next);
    while (!world.actions.empty() && world.actions.begin()->first <= world.now) {
        const std::function<void()> action = std::move(world.actions.begin()->second);
        world.actions.erase(world.actions.begin());
        action();
    }
}

Thread& nextThread() {
    World& world = *g_world;
    if (++world.turns > kMaxTurns) {
        stop("a thread never waits");
    }
    world.ready.clear();
    while (world.ready.empty()) {
        for (Thread& thread : world.threads) {
            if (isReady(thread)) {
                world.ready.push_back(&thread);
            }
        }
        if (world.ready.empty()) {
            passTime();
        }
    }
    return *world.ready[world.ready.size() == 1 ? 0 : world.random() % world.ready.size()];
}

/// Lets the next thread go on. Returns when it is this one's turn again.
void switchThread() {
    Thread& next = nextThread();
    if (&next != t_self) {
        Thread& self = *std::exchange(t_self, &next);
        const int depth = std::exchange(ReplacedCall::depth, 0);
        self.fiber->goOnWith(*next.fiber);
        ReplacedCall::depth = depth;
    }
}

void runThread() {
    t_self->body(t_self->argument);
    const ReplacedCall call;
    pdalink::test::virtual_time::yield();
    t_self->hasEnded = true;
    switchThread();
}

std::list<Thread>::iterator threadOf(pthread_t handle) {
    return std::find_if(g_world->threads.begin(), g_world->threads.end(), [&](const Thread& thread) {
        return static_cast<pthread_t>(thread.id) == handle && !thread.isDetached;
    });
}

Time timeOf(const timespec& duration) {
    return std::chrono::seconds(duration.tv_sec) + std::chrono::nanoseconds(duration.tv_nsec);
}

void setTime(timespec& time, Time since) {
    time.tv_sec = since.count() / std::nano::den;
    time.tv_nsec = since.count() % std::nano::den;
}

void sleepUntil(Time time) {
    pdalink::test::virtual_time::waitUntil(time, nullptr);
}

} // namespace

namespace pdalink::test::virtual_time {

void begin(std::uint64_t seed) {
    g_world = new World;
    t_self = &g_world->threads.emplace_back();
    t_self->fiber.emplace();
    t_self->id = kFirstId;
    reseed(seed);
}

void end() {
    t_self = nullptr;
    delete std::exchange(g_world, nullptr);
}

void reseed(std::uint64_t seed) {
    g_world->random.seed(static_cast<std::uint_fast32_t>(seed));
}

Time now() {
    return g_world->now;
}

int thread() {
    return t_self->id - kFirstId;
}

int failureOf(std::string_view call) {
    return failure ? failure(call) : 0;
}

void at(Time time, std::function<void()> action) {
    g_world->actions.emplace(time, std::move(action));
}

void abortAfter(Time time) {
    g_world->limit = time;
}

void waitUntil(Time deadline, std::function<bool()> condition) {
    const ReplacedCall call;
    const int error = errno;
    t_self->deadline = deadline;
    t_self->condition = std::move(condition);
    switchThread();
    t_self->condition = nullptr;
    errno = error;
}

void yield() {
    if (g_world->random() % 4 == 0) {
        waitUntil(g_world->now, nullptr);
    }
}

} // namespace pdalink::test::virtual_time

using namespace pdalink::test::virtual_time;

// What takes the place of a call is found by its name: "__wrap_" and the call's name where the linker is told
// so, the name itself where shared libraries are to call it too.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-inconsistent-declaration-parameter-name)

extern "C" {

int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __real_pthread_join(pthread_t, void**);
int __real_pthread_detach(pthread_t);
int __real_pthread_mutex_lock(pthread_mutex_t*);
int __real_pthread_mutex_unlock(pthread_mutex_t*);
long __real_syscall(long, ...);

int __wrap_pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
    if (!isVirtual()) {
        return __real_pthread_create(handle, attributes, body, argument);
    }
    const ReplacedCall call;
    if (const int error = failureOf("pthread_create")) {
        return error;
    }
    g_world->threads.remove_if([](const Thread& thread) { return thread.isDetached && thread.hasEnded; });
    Thread& thread = g_world->threads.emplace_back();
    thread.id = ++g_world->lastId;
    thread.body = body;
    thread.argument = argument;
    void* stack = nullptr;
    std::size_t size = kStackSize;
    if (attributes != nullptr) {
        pthread_attr_getstack(attributes, &stack, &size);
    } else {
        thread.stack.resize(size);
        stack = thread.stack.data();
    }
    thread.fiber.emplace(stack, size, runThread);
    *handle = static_cast<pthread_t>(thread.id);
    yield();
    return 0;
}

int __wrap_pthread_join(pthread_t handle, void** result) {
    if (!isVirtual()) {
        return __real_pthread_join(handle, result);
    }
    const auto thread = threadOf(handle);
    if (thread == g_world->threads.end()) {
        return ESRCH;
    }
    waitUntil(kNever, [thread] { return thread->hasEnded; });
    g_world->threads.erase(thread);
    return 0;
}

int __wrap_pthread_detach(pthread_t handle) {
    if (!isVirtual()) {
        return __real_pthread_detach(handle);
    }
    const auto thread = threadOf(handle);
    if (thread == g_world->threads.end()) {
        return ESRCH;
    }
    thread->isDetached = true;
    return 0;
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    if (!isVirtual()) {
        return __real_pthread_mutex_lock(mutex);
    }
    yield();
    int error = pthread_mutex_trylock(mutex);
    while (error == EBUSY) {
        waitUntil(kNever, [before = g_world->unlocks] { return g_world->unlocks != before; });
        error = pthread_mutex_trylock(mutex);
    }
    return error;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    const int error = __real_pthread_mutex_unlock(mutex);
    if (isVirtual()) {
        ++g_world->unlocks;
        yield();
    }
    return error;
}

/// The kernel's number of the calling thread, and whether it knows one.
long __wrap_syscall(long number, ...) {
    va_list arguments;
    va_start(arguments, number);
    const int process = number == SYS_tgkill ? va_arg(arguments, int) : 0;
    const int id = number == SYS_tgkill ? va_arg(arguments, int) : 0;
    const int signal = number == SYS_tgkill ? va_arg(arguments, int) : 0;
    va_end(arguments);
    if (number != SYS_tgkill && number != SYS_gettid) {
        stop("a system call that is not replaced");
    }
    if (!isVirtual()) {
        return __real_syscall(number, process, id, signal);
    }
    if (number == SYS_gettid) {
        return t_self->id;
    }
    const auto& all = g_world->threads;
    const bool isKnown = std::any_of(
        all.begin(), all.end(), [id](const Thread& thread) { return thread.id == id && !thread.hasEnded; });
    errno = isKnown ? errno : ESRCH;
    return isKnown ? 0 : -1;
}

#pragma GCC visibility push(default)

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (g_world == nullptr) {
        return static_cast<int>(__real_syscall(SYS_clock_gettime, clock, time));
    }
    setTime(*time, g_world->now + (clock == CLOCK_REALTIME ? std::chrono::seconds(kEpoch) : Time(0)));
    return 0;
}

int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    timespec precise{};
    clock_gettime(CLOCK_REALTIME, &precise);
    *time = {precise.tv_sec, precise.tv_nsec / 1000};
    return 0;
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* duration, timespec* remaining) {
    if (!isVirtual()) {
        return __real_syscall(SYS_clock_nanosleep, clock, flags, duration, remaining) == 0 ? 0 : errno;
    }
    const Time wall = clock == CLOCK_REALTIME ? std::chrono::seconds(kEpoch) : Time(0);
    sleepUntil((flags & TIMER_ABSTIME) != 0 ? timeOf(*duration) - wall : now() + timeOf(*duration));
    return 0;
}

int nanosleep(const timespec* duration, timespec* remaining) {
    const int error = clock_nanosleep(CLOCK_MONOTONIC, 0, duration, remaining);
    errno = error != 0 ? error : errno;
    return error == 0 ? 0 : -1;
}

#pragma GCC visibility pop

} // extern "C"

// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-inconsistent-declaration-parameter-name)
