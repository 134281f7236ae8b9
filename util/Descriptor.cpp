#include "util/Descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kFirstOwn = STDERR_FILENO + 1;

/// Closes a descriptor and leaves errno alone.
void closeQuietly(int descriptor) noexcept {
    const int error = errno;
    close(descriptor);
    errno = error;
}

} // namespace

pdalink::StandardNumbersTaken::StandardNumbersTaken() {
    for (int number = 0; number < kFirstOwn; ++number) {
        if (fcntl(number, F_GETFD) == -1) {
            m_placeholders[static_cast<std::size_t>(number)] = open("/", O_PATH | O_CLOEXEC);
        }
    }
}

pdalink::StandardNumbersTaken::~StandardNumbersTaken() {
    for (const int placeholder : m_placeholders) {
        if (placeholder >= 0) {
            closeQuietly(placeholder);
        }
    }
}

int pdalink::openAboveStandard(const char* path, int flags, mode_t mode) {
    const StandardNumbersTaken taken;
    const int descriptor = open(path, flags | O_CLOEXEC, mode);
    if (descriptor < 0 || descriptor >= kFirstOwn) {
        return descriptor;
    }
    // Another thread has given up one of the numbers meanwhile.
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstOwn);
    closeQuietly(descriptor);
    return moved;
}

int pdalink::openRegularFile(const char* path, int flags, mode_t mode) noexcept {
    const int descriptor = openAboveStandard(path, flags | O_NONBLOCK | O_NOCTTY, mode);
    struct stat status {};
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}
