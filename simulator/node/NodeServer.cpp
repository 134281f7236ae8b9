#include "node/NodeServer.h"

#include "node/HidIoctls.h"

#include <csignal>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace pdasim {

namespace {

ListeningSocket listenAt(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw std::runtime_error("the test bed's path is too long for a socket: " + path +
                                 "; let TMPDIR name a shorter folder");
    }
    std::memcpy(&address.sun_path, path.c_str(), path.size() + 1);
    FileDescriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener.isOpen() ||
        ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(listener.get(), SOMAXCONN) != 0) {
        throwSystemError("cannot listen for clients of the node");
    }
    return ListeningSocket(std::move(listener));
}

} // namespace

NodeServer::NodeServer() {
    // A socket pair instead of a pipe: the test bed's wrappers of read and write look every descriptor up.
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
        throwSystemError("cannot create a socket pair");
    }
    m_wakeSend.reset(ends[0]);
    m_wakeReceive.reset(ends[1]);
}

std::shared_ptr<NodeServer> NodeServer::start() {
    std::shared_ptr<NodeServer> server(new NodeServer());
    // The process's signals are none of this thread's business; it inherits the mask.
    sigset_t all{};
    sigset_t before{};
    (void)::sigfillset(&all);
    (void)::pthread_sigmask(SIG_SETMASK, &all, &before);
    server->m_thread = std::thread([server] { server->run(); });
    (void)::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return server;
}

void NodeServer::listenFor(int number, const std::string& socketPath) {
    m_listeners.emplace(number, listenAt(socketPath));
    wake();
}

void NodeServer::setNode(int number, std::shared_ptr<HidrawNode> node) {
    m_nodes[number] = std::move(node);
}

void NodeServer::schedule(const void* owner, Clock::time_point due, std::function<void()> action) {
    m_timers.schedule(owner, due, std::move(action));
    wake();
}

void NodeServer::cancel(const void* owner) {
    m_timers.cancel(owner);
}

void NodeServer::settle() {
    std::unique_lock lock(m_mutex);
    const std::uint64_t mine = ++m_settleRequested;
    wake();
    m_settledCondition.wait(lock, [this, mine] { return m_settled >= mine || m_finished; });
}

void NodeServer::stop() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_listeners.clear();
        m_timers.clear();
        m_nodes.clear();
        wake();
    }
    settle();
    bool finished = false;
    {
        const std::lock_guard lock(m_mutex);
        finished = m_finished;
    }
    if (finished) {
        m_thread.join();
    } else {
        m_thread.detach();
    }
}

void NodeServer::run() {
    while (!isFinished()) {
        std::vector<pollfd> watched = watchedDescriptors();
        const std::size_t connectionCount = m_connections.size();
        const int timeout = pollTimeout();
        std::uint64_t settling = 0;
        {
            const std::lock_guard lock(m_mutex);
            settling = m_settleRequested;
        }
        (void)::poll(watched.data(), watched.size(), timeout);
        bool busy = drainWakeups(watched.front());
        auto connection = m_connections.begin();
        for (std::size_t i = 1; i <= connectionCount; ++i) {
            const auto current = connection++;
            if (watched[i].revents != 0) {
                busy = true;
                if (!serve(*current)) {
                    drop(current);
                }
            }
        }
        for (std::size_t i = connectionCount + 1; i < watched.size(); ++i) {
            if (watched[i].revents != 0) {
                busy = true;
                acceptConnection(watched[i].fd);
            }
        }
        busy = runDue() || busy;
        if (!busy) {
            const std::lock_guard lock(m_mutex);
            m_settled = std::max(m_settled, settling);
            m_settledCondition.notify_all();
        }
    }
}

bool NodeServer::isFinished() {
    const std::lock_guard lock(m_mutex);
    m_finished = m_stopping && m_connections.empty();
    if (m_finished) {
        m_settledCondition.notify_all();
    }
    return m_finished;
}

std::vector<pollfd> NodeServer::watchedDescriptors() {
    std::vector<pollfd> watched = {{m_wakeReceive.get(), POLLIN, 0}};
    for (const Connection& connection : m_connections) {
        watched.push_back({connection.link.descriptor(), POLLIN, 0});
    }
    const std::lock_guard lock(m_mutex);
    for (const auto& [number, listener] : m_listeners) {
        watched.push_back({listener.descriptor(), listener.events(), 0});
    }
    return watched;
}

int NodeServer::pollTimeout() {
    const std::lock_guard lock(m_mutex);
    if (m_settled < m_settleRequested) {
        return 0;
    }
    int timeout = m_timers.pollTimeout();
    for (const auto& [number, node] : m_nodes) {
        const auto transfer = node == nullptr ? std::nullopt : node->nextTransfer();
        if (transfer && (timeout < 0 || TimerQueue::pollTimeout(*transfer) < timeout)) {
            timeout = TimerQueue::pollTimeout(*transfer);
        }
    }
    return timeout;
}

bool NodeServer::drainWakeups(const pollfd& watched) {
    if (watched.revents == 0) {
        return false;
    }
    std::array<char, 64> bytes{};
    while (::recv(m_wakeReceive.get(), bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
    }
    return true;
}

void NodeServer::wake() {
    // A full pair already holds a wake-up.
    (void)::send(m_wakeSend.get(), "!", 1, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void NodeServer::acceptConnection(int descriptor) {
    const std::lock_guard lock(m_mutex);
    const auto known = std::find_if(m_listeners.begin(), m_listeners.end(), [descriptor](const auto& entry) {
        return entry.second.descriptor() == descriptor;
    });
    if (known == m_listeners.end()) {
        return;
    }
    FileDescriptor accepted = known->second.accept(0);
    if (!accepted.isOpen()) {
        m_timers.schedule(this, known->second.restsUntil(), [] {});
        return;
    }
    const auto node = m_nodes.find(known->first);
    Connection connection{PreloadLink(std::move(accepted)), ++m_lastFile, nullptr};
    if (node != m_nodes.end() && node->second != nullptr && !node->second->refusesOpening()) {
        connection.node = node->second;
        connection.node->opened(connection.file);
    }
    m_connections.push_back(std::move(connection));
}

bool NodeServer::serve(Connection& connection) {
    const auto request = connection.link.receive();
    if (!request) {
        return false;
    }
    switch (request->operation) {
    case PreloadLink::Operation::Read:
        serveRead(connection, *request);
        return true;
    case PreloadLink::Operation::Write:
        return serveWrite(connection, *request);
    case PreloadLink::Operation::Ioctl:
        serveDeviceQuestion(connection, *request);
        return true;
    }
    throw std::runtime_error(
        "the preloaded umockdev library speaks another protocol than version 0.17; install that version");
}

void NodeServer::serveRead(Connection& connection, const PreloadLink::Request& request) {
    ReadResult result{EIO, {}};
    if (connection.node != nullptr) {
        const std::lock_guard lock(m_mutex);
        result = connection.node->read(connection.file, request.second);
    }
    if (result.error != 0) {
        connection.link.finish(-1, result.error);
        return;
    }
    connection.link.finishWithMemory(request.first, result.report,
                                     static_cast<std::intptr_t>(result.report.size()));
}

void NodeServer::serveDeviceQuestion(Connection& connection, const PreloadLink::Request& request) {
    std::optional<DeviceDescription> description;
    if (connection.node != nullptr) {
        const std::lock_guard lock(m_mutex);
        if (connection.node->owner() != nullptr) {
            description = connection.node->description();
        }
    }
    serveIoctl(connection.link, request, description);
}

bool NodeServer::serveWrite(Connection& connection, const PreloadLink::Request& request) {
    int error = ENODEV;
    if (connection.node != nullptr) {
        const std::lock_guard lock(m_mutex);
        error = connection.node->writeError(connection.file, request.second);
        if (error != 0 && connection.node->owner() != nullptr) {
            connection.node->owner()->hostWriteFailed();
        }
    }
    if (error != 0) {
        connection.link.finish(-1, error);
        return true;
    }
    const auto bytes = connection.link.fetchMemory(request.first, request.second);
    if (!bytes) {
        return false;
    }
    NodeOwner::WriteResult result{ENODEV, 0};
    {
        const std::lock_guard lock(m_mutex);
        if (connection.node->owner() != nullptr) {
            result = connection.node->owner()->hostWrote(*bytes);
        }
    }
    // What follows from the write is due at once at the earliest, and timers run only after this answer.
    connection.link.finish(result.error == 0 ? static_cast<std::intptr_t>(result.accepted) : -1,
                           result.error);
    return true;
}

void NodeServer::drop(std::list<Connection>::iterator connection) {
    if (connection->node != nullptr) {
        const std::lock_guard lock(m_mutex);
        connection->node->closed(connection->file);
    }
    m_connections.erase(connection);
}

bool NodeServer::runDue() {
    const std::lock_guard lock(m_mutex);
    bool any = m_timers.runDue();
    for (const auto& [number, node] : m_nodes) {
        any = (node != nullptr && node->transferDue()) || any;
    }
    return any;
}

} // namespace pdasim
