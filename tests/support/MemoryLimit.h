#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>

namespace pdalink::test {

/// Leaves the process so little more memory as given, as long as it lives. Not for the sanitizers, which need
/// all of the address space.
class MemoryLimit {
public:
    explicit MemoryLimit(rlim_t more) {
        ::getrlimit(RLIMIT_AS, &m_before);
        const rlimit limit{used() + more, m_before.rlim_max};
        ::setrlimit(RLIMIT_AS, &limit);
    }
    ~MemoryLimit() { ::setrlimit(RLIMIT_AS, &m_before); }
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

private:
    static rlim_t used() {
        rlim_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        return pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
    }

    rlimit m_before{};
};

} // namespace pdalink::test
