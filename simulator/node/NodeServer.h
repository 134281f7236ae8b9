#pragma once

#include "ListeningSocket.h"
#include "TimerQueue.h"
#include "node/FileDescriptor.h"
#include "node/HidrawNode.h"
#include "node/PreloadLink.h"

#include <poll.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace pdasim {

/**
 * The thread that answers the clients of all nodes of one test bed, and does what is due later.
 *
 * One lock guards all nodes and the terminals behind them. The thread holds it while it acts on a request,
 * but not while it waits for a client.
 */
class NodeServer {
public:
    using Clock = TimerQueue::Clock;

    /** Starts the server; it ends with stop(). */
    static std::shared_ptr<NodeServer> start();

    NodeServer(const NodeServer&) = delete;
    NodeServer& operator=(const NodeServer&) = delete;
    ~NodeServer() = default;

    std::mutex& mutex() { return m_mutex; }

    /**
     * Answers for hidrawN at a socket path, from now on and through every unplugging: a client that is just
     * opening the node must find the socket, or umockdev ends its process.
     */
    void listenFor(int number, const std::string& socketPath);
    bool listensFor(int number) const { return m_listeners.count(number) != 0; }
    /** The node that is hidrawN from now on; null for none. */
    void setNode(int number, std::shared_ptr<HidrawNode> node);

    /** Runs an action on the server's thread with the lock held; actions due at one time keep their order. */
    void schedule(const void* owner, Clock::time_point due, std::function<void()> action);
    void cancel(const void* owner);
    /** To be called when a node may have a transfer to wait for. */
    void wake();

    /** Waits, without the lock, until everything that clients and clocks have caused so far has been dealt
     * with. */
    void settle();

    /**
     * Stops listening. With no client left the thread ends here; otherwise it goes on telling the remaining
     * ones that their device is gone, until the last of them has closed it.
     */
    void stop();

private:
    struct Connection {
        PreloadLink link;
        HidrawNode::FileId file;
        std::shared_ptr<HidrawNode> node;
    };

    NodeServer();

    void run();
    bool isFinished();
    std::vector<pollfd> watchedDescriptors();
    int pollTimeout();
    bool drainWakeups(const pollfd& watched);
    void acceptConnection(int descriptor);
    bool serve(Connection& connection);
    void serveRead(Connection& connection, const PreloadLink::Request& request);
    void serveDeviceQuestion(Connection& connection, const PreloadLink::Request& request);
    bool serveWrite(Connection& connection, const PreloadLink::Request& request);
    void drop(std::list<Connection>::iterator connection);
    bool runDue();

    std::mutex m_mutex;
    std::condition_variable m_settledCondition;
    std::uint64_t m_settleRequested = 0;
    std::uint64_t m_settled = 0;
    bool m_stopping = false;
    bool m_finished = false;
    std::map<int, ListeningSocket> m_listeners;
    std::map<int, std::shared_ptr<HidrawNode>> m_nodes;
    TimerQueue m_timers;
    HidrawNode::FileId m_lastFile = 0;
    /** Touched by the server's thread alone. */
    std::list<Connection> m_connections;
    FileDescriptor m_wakeSend;
    FileDescriptor m_wakeReceive;
    std::thread m_thread;
};

} // namespace pdasim
