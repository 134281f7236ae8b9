#include "CallInterception.h"

#include <atomic>
#include <cstdarg>
#include <dlfcn.h>
#include <libudev.h>
#include <list>
// The flags without the declaration of open: this file defines it.
#include <linux/fcntl.h>
#include <mutex>
#include <pthread.h>
#include <unistd.h>
#include <utility>

namespace {

using pdalink::test::Interception;

// Constant-initialised, and null while nothing is intercepted: libraries make system calls before any object
// of the program is constructed.
std::atomic<const Interception*> g_current{nullptr};

/// Calls what is intercepted before a call, if anything is.
template <typename Function, typename Argument>
void step(std::function<Function> Interception::*member, const Argument& argument) {
    const Interception* const current = g_current.load();
    if (current != nullptr && current->*member) {
        (current->*member)(argument);
    }
}

template <typename Function>
Function* realFunction(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

namespace pdalink::test {

void intercept(Interception interception) {
    // A thread may still be in an earlier one: they live on.
    static std::mutex mutex;
    static auto& all = *new std::list<Interception>;
    const std::lock_guard lock(mutex);
    g_current = &all.emplace_back(std::move(interception));
}

void interceptNothing() {
    g_current = nullptr;
}

} // namespace pdalink::test

// The thread sanitizer's own calls end up here too, while it writes a report and can take no second one. So
// it must not look at what these functions do.
#define UNWATCHED __attribute__((visibility("default"), no_sanitize("thread")))

extern "C" {

UNWATCHED struct udev* udev_new() {
    static auto* const real = realFunction<struct udev*()>("udev_new");
    const Interception* const current = g_current.load();
    return current != nullptr && current->noUdev ? nullptr : real();
}

UNWATCHED struct udev_device* udev_device_new_from_syspath(struct udev* udev, const char* syspath) {
    using Function = struct udev_device*(struct udev*, const char*);
    static auto* const real = realFunction<Function>("udev_device_new_from_syspath");
    step(&Interception::newDevice, syspath);
    return real(udev, syspath);
}

UNWATCHED struct udev_device* udev_device_get_parent_with_subsystem_devtype(struct udev_device* udev_device,
                                                                            const char* subsystem,
                                                                            const char* devtype) {
    using Function = struct udev_device*(struct udev_device*, const char*, const char*);
    static auto* const real = realFunction<Function>("udev_device_get_parent_with_subsystem_devtype");
    step(&Interception::parentLookup, ::udev_device_get_syspath(udev_device));
    return real(udev_device, subsystem, devtype);
}

UNWATCHED int open(const char* path, int flags, ...) {
    static auto* const real = realFunction<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    step(&Interception::openFile, path);
    return real(path, flags, mode);
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's names are reserved
UNWATCHED ssize_t write(int descriptor, const void* bytes, size_t count) {
    static auto* const real = realFunction<ssize_t(int, const void*, size_t)>("write");
    step(&Interception::writeFile, descriptor);
    return real(descriptor, bytes, count);
}

UNWATCHED int close(int descriptor) {
    static auto* const real = realFunction<int(int)>("close");
    step(&Interception::closeFile, descriptor);
    return real(descriptor);
}

UNWATCHED int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                             void* argument) {
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static auto* const real = realFunction<Function>("pthread_create");
    const Interception* const current = g_current.load();
    const int error = current != nullptr && current->createThread ? current->createThread() : 0;
    return error != 0 ? error : real(thread, attributes, body, argument);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

} // extern "C"
