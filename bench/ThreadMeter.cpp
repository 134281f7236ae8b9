#include "ThreadMeter.h"

#include "ProcessFacts.h"

#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace pdalink::bench {

namespace {

long wakeUpsOf(int threadId) {
    std::ifstream status("/proc/self/task/" + std::to_string(threadId) + "/status");
    const std::string name = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, name.size(), name) == 0) {
            return std::stol(line.substr(name.size()));
        }
    }
    throw std::runtime_error("no thread " + std::to_string(threadId));
}

} // namespace

int currentThreadId() {
    return ::gettid();
}

// Reading the wake-ups costs the calling thread time, which may be the measured one: the clock is read
// inside.

ThreadMeter::ThreadMeter(std::optional<int> threadId) : m_threadId(threadId) {
    if (m_threadId) {
        m_atStart.wakeUps = wakeUpsOf(*m_threadId);
        m_atStart.cpu = test::threadCpuTime(*m_threadId);
    }
}

ThreadUsage ThreadMeter::used() const {
    if (!m_threadId) {
        return {};
    }
    const auto cpu = test::threadCpuTime(*m_threadId);
    return {cpu - m_atStart.cpu, wakeUpsOf(*m_threadId) - m_atStart.wakeUps};
}

} // namespace pdalink::bench
