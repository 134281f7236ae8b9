#pragma once

#include "ListeningSocket.h"
#include "SimulatedTerminal.h"
#include "TimerQueue.h"
#include "control/Commands.h"
#include "node/FileDescriptor.h"

#include <poll.h>

#include <cstddef>
#include <deque>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace pdasim {

/** Takes what passes between hosts and terminals, and gives it to whoever waits for it. */
class TrafficFeed {
public:
    TrafficFeed();

    /** To be called from any thread; does not wait. */
    void tell(std::size_t terminal, SimulatedTerminal::Direction direction, const std::string& text);

    /** Becomes readable with every line. */
    int descriptor() const { return m_bell.get(); }
    /** The lines since the last call, each a JSON object. */
    std::deque<std::string> take();
    void setFollowed(bool followed);

private:
    std::mutex m_mutex;
    bool m_followed = false;
    std::deque<std::string> m_lines;
    FileDescriptor m_bell;
};

/**
 * The live side of running terminals: a Unix socket on which each line is a JSON request, and is answered by
 * a line with "ok", and with "error" when that is false. The request {"command": "traffic"} turns its
 * connection into a stream of messages.
 */
class ControlServer {
public:
    /** Clients can connect when the constructor returns. The feed and the terminals have to outlive it. */
    ControlServer(std::string path, std::vector<LiveTerminal> terminals, TrafficFeed& feed);
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;
    ~ControlServer();

    const std::string& path() const { return m_path; }

private:
    struct Connection {
        FileDescriptor socket;
        std::string input;
        std::string output;
        bool follows = false;
        bool ends = false;
    };

    void work();
    std::vector<pollfd> watched() const;
    void accept();
    void handle(Connection& connection, short events);
    void receive(Connection& connection);
    void answerLines(Connection& connection);
    std::string answer(Connection& connection, const std::string& line);
    static void send(Connection& connection);
    void spread(const std::deque<std::string>& lines);
    void forgetEnded();

    std::string m_path;
    std::vector<LiveTerminal> m_terminals;
    TrafficFeed& m_feed;
    ListeningSocket m_listener;
    FileDescriptor m_stop;
    TimerQueue m_timers;
    std::list<Connection> m_connections;
    std::thread m_thread;
};

} // namespace pdasim
