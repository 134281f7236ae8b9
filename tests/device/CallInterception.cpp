#include "CallInterception.h"

#include <atomic>
#include <cstdarg>
#include <dlfcn.h>
#include <libudev.h>
#include <list>
// The flags without the declaration of open: this file defines it.
#include <linux/fcntl.h>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>
#include <utility>

namespace {

using pdalink::test::Interception;

// Constant-initialised, and null while nothing is intercepted: libraries make system calls before any object
// of the program is constructed.
std::atomic<const Interception*> g_current{nullptr};
std::atomic<const char*> g_openedPath{""};
std::atomic<int> g_descriptor{-1};

// The thread sanitizer itself opens and closes files while it writes a report, and can take no second report
// meanwhile: it would wait for itself. So it must not look at what is done on each of these calls, and
// anything else is done only for the very file that a test is interested in.
#define UNWATCHED __attribute__((no_sanitize("thread")))
#define UNWATCHED_DEFINITION __attribute__((visibility("default"), no_sanitize("thread")))

UNWATCHED bool isOpenedPath(const char* path) {
    const char* wanted = g_openedPath.load(std::memory_order_relaxed);
    while (*path != '\0' && *path == *wanted) {
        ++path;
        ++wanted;
    }
    return *path == *wanted;
}

UNWATCHED bool isDescriptor(int descriptor) {
    return descriptor == g_descriptor.load(std::memory_order_relaxed);
}

/// Calls what is intercepted before a call, if anything is.
void step(std::function<void()> Interception::*member) {
    const Interception* const current = g_current.load();
    if (current != nullptr && current->*member) {
        (current->*member)();
    }
}

/// The same for a call with a device's path. Returns true when the call is to fail.
bool isToFail(std::function<bool(const std::string&)> Interception::*member, const char* path) {
    const Interception* const current = g_current.load();
    return current != nullptr && current->*member && (current->*member)(path);
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
    const Interception& latest = all.emplace_back(std::move(interception));
    g_current = &latest;
    g_openedPath = latest.openedPath.c_str();
    g_descriptor = latest.descriptor;
}

void interceptNothing() {
    g_current = nullptr;
    g_openedPath = "";
    g_descriptor = -1;
}

} // namespace pdalink::test

extern "C" {

UNWATCHED_DEFINITION struct udev* udev_new() {
    static auto* const real = realFunction<struct udev*()>("udev_new");
    const Interception* const current = g_current.load();
    return current != nullptr && current->noUdev ? nullptr : real();
}

UNWATCHED_DEFINITION struct udev_device* udev_device_new_from_syspath(struct udev* udev,
                                                                      const char* syspath) {
    using Function = struct udev_device*(struct udev*, const char*);
    static auto* const real = realFunction<Function>("udev_device_new_from_syspath");
    return isToFail(&Interception::newDevice, syspath) ? nullptr : real(udev, syspath);
}

UNWATCHED_DEFINITION struct udev_device*
udev_device_get_parent_with_subsystem_devtype(struct udev_device* udev_device, const char* subsystem,
                                              const char* devtype) {
    using Function = struct udev_device*(struct udev_device*, const char*, const char*);
    static auto* const real = realFunction<Function>("udev_device_get_parent_with_subsystem_devtype");
    const bool fails = isToFail(&Interception::parentLookup, ::udev_device_get_syspath(udev_device));
    return fails ? nullptr : real(udev_device, subsystem, devtype);
}

UNWATCHED_DEFINITION int open(const char* path, int flags, ...) {
    static auto* const real = realFunction<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (isOpenedPath(path)) {
        step(&Interception::openFile);
    }
    return real(path, flags, mode);
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's names are reserved
UNWATCHED_DEFINITION ssize_t write(int descriptor, const void* bytes, size_t count) {
    static auto* const real = realFunction<ssize_t(int, const void*, size_t)>("write");
    if (isDescriptor(descriptor)) {
        step(&Interception::writeFile);
    }
    return real(descriptor, bytes, count);
}

UNWATCHED_DEFINITION int close(int descriptor) {
    static auto* const real = realFunction<int(int)>("close");
    if (isDescriptor(descriptor)) {
        step(&Interception::closeFile);
    }
    return real(descriptor);
}

UNWATCHED_DEFINITION int poll(pollfd* files, nfds_t count, int timeout) {
    static auto* const real = realFunction<int(pollfd*, nfds_t, int)>("poll");
    if (files == nullptr) {
        step(&Interception::rest);
    }
    return real(files, count, timeout);
}

UNWATCHED_DEFINITION int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                        void* (*body)(void*), void* argument) {
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static auto* const real = realFunction<Function>("pthread_create");
    const Interception* const current = g_current.load();
    const int error = current != nullptr && current->createThread ? current->createThread() : 0;
    return error != 0 ? error : real(thread, attributes, body, argument);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

} // extern "C"
