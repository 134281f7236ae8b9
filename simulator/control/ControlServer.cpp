#include "control/ControlServer.h"

#include "control/TrafficRecord.h"
#include "control/UnixSocket.h"

#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace pdasim {

namespace {

/** Nobody asks for so much in one line. */
constexpr std::size_t LongestRequest = 1U << 20U;
/** A follower who has stopped reading is given up. */
constexpr std::size_t LongestBacklog = 4U << 20U;

FileDescriptor newBell() {
    FileDescriptor bell(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!bell.isOpen()) {
        throwSystemError("cannot make an event descriptor");
    }
    return bell;
}

void ring(const FileDescriptor& bell) {
    const std::uint64_t one = 1;
    // It only fails when the bell rings already.
    [[maybe_unused]] const ssize_t written = ::write(bell.get(), &one, sizeof(one));
}

void silence(const FileDescriptor& bell) {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(bell.get(), &count, sizeof(count));
}

std::string failure(const std::string& reason) {
    return Json::object().with("ok", Json::boolean(false)).with("error", reason).write();
}

} // namespace

TrafficFeed::TrafficFeed() : m_bell(newBell()) {
}

void TrafficFeed::tell(std::size_t terminal, SimulatedTerminal::Direction direction,
                       const std::string& text) {
    const std::lock_guard lock(m_mutex);
    if (m_followed) {
        m_lines.push_back(trafficRecord(terminal, direction, text));
        ring(m_bell);
    }
}

std::deque<std::string> TrafficFeed::take() {
    const std::lock_guard lock(m_mutex);
    silence(m_bell);
    return std::exchange(m_lines, {});
}

void TrafficFeed::setFollowed(bool followed) {
    const std::lock_guard lock(m_mutex);
    m_followed = followed;
}

ControlServer::ControlServer(std::string path, std::vector<LiveTerminal> terminals, TrafficFeed& feed)
    : m_path(std::move(path)),
      m_terminals(std::move(terminals)),
      m_feed(feed),
      m_listener(listenAt(m_path)),
      m_stop(newBell()),
      m_thread([this] { work(); }) {
}

ControlServer::~ControlServer() {
    ring(m_stop);
    m_thread.join();
    (void)::unlink(m_path.c_str());
}

void ControlServer::work() {
    while (true) {
        std::vector<pollfd> descriptors = watched();
        if (::poll(descriptors.data(), descriptors.size(), m_timers.pollTimeout()) < 0) {
            continue;
        }
        (void)m_timers.runDue();
        if (descriptors[0].revents != 0) {
            return;
        }
        // Only the connections that were watched; one that is accepted now comes behind them.
        auto connection = m_connections.begin();
        for (std::size_t i = 3; i < descriptors.size(); ++i, ++connection) {
            handle(*connection, descriptors[i].revents);
        }
        if (descriptors[1].revents != 0) {
            spread(m_feed.take());
        }
        if (descriptors[2].revents != 0) {
            accept();
        }
        forgetEnded();
    }
}

std::vector<pollfd> ControlServer::watched() const {
    std::vector<pollfd> descriptors = {{m_stop.get(), POLLIN, 0},
                                       {m_feed.descriptor(), POLLIN, 0},
                                       {m_listener.descriptor(), m_listener.events(), 0}};
    for (const Connection& connection : m_connections) {
        const short events = connection.output.empty() ? POLLIN : POLLOUT;
        descriptors.push_back({connection.socket.get(), events, 0});
    }
    return descriptors;
}

void ControlServer::accept() {
    FileDescriptor socket = m_listener.accept(SOCK_NONBLOCK);
    if (socket.isOpen()) {
        m_connections.push_back({std::move(socket), {}, {}});
    } else {
        m_timers.schedule(this, m_listener.restsUntil(), [] {});
    }
}

void ControlServer::handle(Connection& connection, short events) {
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
        receive(connection);
    }
    send(connection);
    answerLines(connection);
}

void ControlServer::receive(Connection& connection) {
    std::array<char, 4096> bytes{};
    const ssize_t got = ::recv(connection.socket.get(), bytes.data(), bytes.size(), 0);
    if (got > 0) {
        connection.input.append(bytes.data(), static_cast<std::size_t>(got));
    } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
        connection.ends = true;
    }
    if (connection.input.size() > LongestRequest) {
        connection.ends = true;
    }
}

/** One by one: who does not take an answer gets no other. */
void ControlServer::answerLines(Connection& connection) {
    for (std::size_t end = connection.input.find('\n');
         connection.output.empty() && !connection.ends && end != std::string::npos;
         end = connection.input.find('\n')) {
        const std::string line = connection.input.substr(0, end);
        connection.input.erase(0, end + 1);
        connection.output.append(answer(connection, line)).append("\n");
        send(connection);
    }
}

std::string ControlServer::answer(Connection& connection, const std::string& line) {
    try {
        const Json request = Json::parse(line);
        const Json* command = request.find("command");
        Json answer = Json::object().with("ok", Json::boolean(true));
        if (command != nullptr && command->asText() == "traffic") {
            connection.follows = true;
            m_feed.setFollowed(true);
            return answer.with("following", Json::boolean(true)).write();
        }
        const Json result = runCommandRequest(m_terminals, request);
        for (const Json::Member& member : result.members()) {
            answer.with(member.name, member.value);
        }
        return answer.write();
    } catch (const JsonError& mistake) {
        return failure(
            std::string(R"(the line is no JSON; send an object, {"command": "state"} for example: )") +
            mistake.what());
    } catch (const std::exception& mistake) {
        return failure(mistake.what());
    }
}

void ControlServer::send(Connection& connection) {
    const ssize_t sent = ::send(connection.socket.get(), connection.output.data(), connection.output.size(),
                                MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) {
        connection.output.erase(0, static_cast<std::size_t>(sent));
    } else if (errno != EAGAIN && errno != EINTR) {
        connection.ends = true;
    }
}

void ControlServer::spread(const std::deque<std::string>& lines) {
    for (Connection& connection : m_connections) {
        if (!connection.follows) {
            continue;
        }
        for (const std::string& line : lines) {
            connection.output.append(line).append("\n");
        }
        connection.ends = connection.ends || connection.output.size() > LongestBacklog;
        send(connection);
    }
}

void ControlServer::forgetEnded() {
    m_connections.remove_if([](const Connection& connection) { return connection.ends; });
    bool followed = false;
    for (const Connection& connection : m_connections) {
        followed = followed || connection.follows;
    }
    m_feed.setFollowed(followed);
}

} // namespace pdasim
