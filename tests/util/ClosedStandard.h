#pragma once

#include <array>
#include <fcntl.h>
#include <unistd.h>

constexpr unsigned int kAllStandard = 7;

/// Closes the standard descriptors whose bits are set, for a scope. Nothing may be expected in it: a failure
/// is printed.
class ClosedStandard {
public:
    explicit ClosedStandard(unsigned int which) {
        for (int number = 0; number <= STDERR_FILENO; ++number) {
            if ((which >> static_cast<unsigned int>(number) & 1U) != 0) {
                m_saved[static_cast<std::size_t>(number)] = fcntl(number, F_DUPFD_CLOEXEC, 100);
            }
        }
        for (int number = 0; number <= STDERR_FILENO; ++number) {
            if (m_saved[static_cast<std::size_t>(number)] >= 0) {
                close(number);
            }
        }
    }
    ~ClosedStandard() {
        for (int number = 0; number <= STDERR_FILENO; ++number) {
            const int saved = m_saved[static_cast<std::size_t>(number)];
            if (saved >= 0) {
                dup2(saved, number);
                close(saved);
            }
        }
    }
    ClosedStandard(const ClosedStandard&) = delete;
    ClosedStandard& operator=(const ClosedStandard&) = delete;

private:
    std::array<int, 3> m_saved{-1, -1, -1};
};
