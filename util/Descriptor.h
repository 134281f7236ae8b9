#pragma once

#include <array>
#include <sys/types.h>

namespace pdalink {

/// Keeps the numbers 0 to 2 from being given to a file, for a scope: in a process that has closed its
/// standard input or output, what is printed would else go into that file. Those that are free are taken by
/// descriptors that can be neither read nor written, so that printing fails as it does without them.
class StandardNumbersTaken {
public:
    StandardNumbersTaken();
    ~StandardNumbersTaken();
    StandardNumbersTaken(const StandardNumbersTaken&) = delete;
    StandardNumbersTaken& operator=(const StandardNumbersTaken&) = delete;

private:
    std::array<int, 3> m_placeholders{-1, -1, -1};
};

/// open(2) with O_CLOEXEC, whose descriptor is never 0, 1 or 2.
int openAboveStandard(const char* path, int flags, mode_t mode = 0);

/// The same for a regular file. Whatever else has the path, a directory, a FIFO or a device, cannot be
/// opened, and is not waited for.
int openRegularFile(const char* path, int flags, mode_t mode = 0) noexcept;

} // namespace pdalink
