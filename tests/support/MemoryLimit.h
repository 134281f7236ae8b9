#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>

namespace pdalink::test {

/// Leaves the process so little more memory as given, as long as it lives. Not for the sanitizers, which need
/// all of the address space.
class MemoryLimit {
public:
    explicit MemoryLimit(rlim_t more) : m_limit(used() + more) {
        ::getrlimit(RLIMIT_AS, &m_before);
        const rlimit limit{m_limit, m_before.rlim_max};
        ::setrlimit(RLIMIT_AS, &limit);
    }
    ~MemoryLimit() { ::setrlimit(RLIMIT_AS, &m_before); }
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

    /// False in an emulator that limits no memory.
    bool isKept() const {
        rlimit now{};
        ::getrlimit(RLIMIT_AS, &now);
        return now.rlim_cur == m_limit;
    }

private:
    static rlim_t used() {
        rlim_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        return pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
    }

    rlim_t m_limit;
    rlimit m_before{};
};

} // namespace pdalink::test
