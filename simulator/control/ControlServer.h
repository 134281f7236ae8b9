#pragma once

#include "ServingLoop.h"
#include "control/Commands.h"
#include "control/TrafficFeed.h"

#include <memory>
#include <string>
#include <vector>

namespace pdasim {

/// The live side of running terminals: a Unix socket on which each line is a JSON request, and is answered by
/// a line with "ok", and with "error" when that is false. The request {"command": "traffic"} turns its
/// connection into a stream of messages.
class ControlServer {
public:
    /// Clients can connect when the constructor returns. The terminals have to outlive it.
    ControlServer(std::string path, std::vector<LiveTerminal> terminals, std::shared_ptr<TrafficFeed> feed);
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;
    ~ControlServer();

    const std::string& path() const { return m_path; }

private:
    class Connection;

    std::string m_path;
    std::vector<LiveTerminal> m_terminals;
    std::shared_ptr<TrafficFeed> m_feed;
    ServingLoop m_loop;
};

} // namespace pdasim
