#include "TimerQueue.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

namespace pdasim {

void TimerQueue::schedule(const void* owner, Clock::time_point due, std::function<void()> action) {
    m_timers.emplace(due, Timer{owner, std::move(action)});
}

void TimerQueue::cancel(const void* owner) {
    for (auto timer = m_timers.begin(); timer != m_timers.end();) {
        timer = timer->second.owner == owner ? m_timers.erase(timer) : std::next(timer);
    }
}

int TimerQueue::pollTimeout() const {
    return m_timers.empty() ? -1 : pollTimeout(m_timers.begin()->first);
}

int TimerQueue::pollTimeout(Clock::time_point due) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

bool TimerQueue::runDue() {
    bool any = false;
    while (!m_timers.empty() && m_timers.begin()->first <= Clock::now()) {
        const std::function<void()> action = std::move(m_timers.begin()->second.action);
        m_timers.erase(m_timers.begin());
        action();
        any = true;
    }
    return any;
}

} // namespace pdasim
