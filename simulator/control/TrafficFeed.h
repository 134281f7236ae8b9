#pragma once

#include "ServingLoop.h"
#include "SimulatedTerminal.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace pdasim {

/// Takes what passes between hosts and terminals, and gives it to whoever follows it.
class TrafficFeed : public Channel {
public:
    /// Gets lines, each a JSON object; false when it wants no more.
    using Follower = std::function<bool(const std::string& lines)>;

    TrafficFeed();

    /// To be called from any thread; does not wait.
    void tell(std::size_t terminal, Sender sender, const std::string& text);
    /// Followers are called on the thread of the loop that serves the feed.
    void follow(Follower follower);

    int descriptor() const override { return m_bell.get(); }
    short events() const override { return POLLIN; }
    bool handle(short events) override;

private:
    FileDescriptor m_bell;
    std::mutex m_mutex;
    bool m_isFollowed = false;
    std::string m_lines;
    /// Touched by the loop's thread alone.
    std::vector<Follower> m_followers;
};

} // namespace pdasim
