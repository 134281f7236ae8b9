#include "control/TrafficFeed.h"

#include "System.h"
#include "core/Message.h"
#include "core/MessageTable.h"
#include "scenario/Json.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace pdasim {

namespace {

/// A message that has just passed: when, by whom, its type, and in words.
std::string recordOf(std::size_t terminal, Sender sender, const std::string& text) {
    const bool hasType = text.size() >= header::kSize;
    return writeJson({{"time", timeOfDay()},
                      {"terminal", terminal},
                      {"from", sender == Sender::Host ? "host" : "terminal"},
                      {"type", hasType ? text.substr(header::kTypeOffset, header::kTypeWidth) : ""},
                      {"bytes", text.size()},
                      {"message", describeMessage(text, sender)}});
}

} // namespace

TrafficFeed::TrafficFeed() : m_bell(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_bell.isOpen()) {
        throwSystemError("cannot make an event descriptor");
    }
}

void TrafficFeed::tell(std::size_t terminal, Sender sender, const std::string& text) {
    const std::lock_guard lock(m_mutex);
    if (m_isFollowed) {
        m_lines.append(recordOf(terminal, sender, text)).append("\n");
        const std::uint64_t one = 1;
        // It only fails when the bell rings already.
        [[maybe_unused]] const ssize_t written = ::write(m_bell.get(), &one, sizeof(one));
    }
}

void TrafficFeed::follow(Follower follower) {
    m_followers.push_back(std::move(follower));
    const std::lock_guard lock(m_mutex);
    m_isFollowed = true;
}

bool TrafficFeed::handle(short /*events*/) {
    std::string lines;
    {
        const std::lock_guard lock(m_mutex);
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = ::read(m_bell.get(), &count, sizeof(count));
        lines = std::exchange(m_lines, {});
    }
    m_followers.erase(std::remove_if(m_followers.begin(), m_followers.end(),
                                     [&lines](const Follower& follower) { return !follower(lines); }),
                      m_followers.end());
    const std::lock_guard lock(m_mutex);
    m_isFollowed = !m_followers.empty();
    return true;
}

} // namespace pdasim
