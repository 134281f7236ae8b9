#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// Preloaded into a program. Writes down in the file FILE_SPY in which order files reach the disk and get
// their names; is a file system on which every file has a name while it is written, and with FILE_SPY_FAILS
// set a disk that takes nothing.

namespace {

void note(std::string_view line) {
    const char* const path = std::getenv("FILE_SPY");
    const int descriptor =
        path == nullptr ? -1 : ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    (void)!::write(descriptor, line.data(), line.size());
    (void)::close(descriptor);
}

template <typename Function>
Function original(const char* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

#pragma GCC visibility push(default)

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's names are reserved

extern "C" {

int open64(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    if ((flags & O_TMPFILE) == O_TMPFILE) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return original<int (*)(const char*, int, ...)>("open64")(path, flags, mode);
}

int fsync(int descriptor) {
    note("sync\n");
    if (std::getenv("FILE_SPY_FAILS") != nullptr) {
        errno = EIO;
        return -1;
    }
    return original<int (*)(int)>("fsync")(descriptor);
}

int rename(const char* from, const char* to) noexcept {
    note("rename\n");
    return original<int (*)(const char*, const char*)>("rename")(from, to);
}
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
