#include "Hooks.h"

#include <libudev.h>

#include <dlfcn.h>
// The flags without the declaration of open: this file defines it.
#include <linux/fcntl.h>
#include <sys/types.h>

#include <cstdarg>
#include <utility>

namespace {

pdalink::test::Hooks& hooks() {
    static pdalink::test::Hooks instance;
    return instance;
}

template <typename Function>
Function* realFunction(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

void callHook(const std::function<void(const std::string&)>& hook, const char* path) {
    if (hook && path != nullptr) {
        hook(path);
    }
}

} // namespace

namespace pdalink::test {

void setHooks(Hooks newHooks) {
    hooks() = std::move(newHooks);
}

} // namespace pdalink::test

extern "C" {

__attribute__((visibility("default"))) struct udev_device* udev_device_new_from_syspath(struct udev* udev,
                                                                                        const char* syspath) {
    static auto* const real =
        realFunction<udev_device*(struct udev*, const char*)>("udev_device_new_from_syspath");
    callHook(hooks().newDevice, syspath);
    return real(udev, syspath);
}

__attribute__((visibility("default"))) struct udev_device*
udev_device_get_parent_with_subsystem_devtype(struct udev_device* udev_device, const char* subsystem,
                                              const char* devtype) {
    static auto* const real =
        realFunction<struct udev_device*(struct udev_device*, const char*, const char*)>(
            "udev_device_get_parent_with_subsystem_devtype");
    callHook(hooks().parentLookup, ::udev_device_get_syspath(udev_device));
    return real(udev_device, subsystem, devtype);
}

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
    static auto* const real = realFunction<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    callHook(hooks().openFile, path);
    return real(path, flags, mode);
}

} // extern "C"
