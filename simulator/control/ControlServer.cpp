#include "control/ControlServer.h"

#include "control/ControlSocket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace pdasim {

namespace {

/// More than any request has in one line.
constexpr std::size_t kMaxRequest = 1U << 20U;
/// A follower who has stopped reading is given up.
constexpr std::size_t kMaxBacklog = 4U << 20U;

std::string failure(const std::string& reason) {
    return writeJson({{"ok", false}, {"error", reason}});
}

} // namespace

class ControlServer::Connection : public Channel, public std::enable_shared_from_this<Connection> {
public:
    Connection(ControlServer& server, FileDescriptor socket)
        : m_server(server), m_socket(std::move(socket)) {}

    int descriptor() const override { return m_socket.get(); }
    short events() const override { return m_output.empty() ? POLLIN : POLLOUT; }
    bool handle(short events) override {
        if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
            receive();
        }
        send();
        answerLines();
        return !m_ends;
    }

private:
    void receive() {
        std::array<char, 4096> bytes{};
        const ssize_t got = ::recv(m_socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (got > 0) {
            m_input.append(bytes.data(), static_cast<std::size_t>(got));
        }
        const bool failed = got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR);
        m_ends = m_ends || failed || m_input.size() > kMaxRequest;
    }

    void send() {
        const ssize_t sent =
            ::send(m_socket.get(), m_output.data(), m_output.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            m_output.erase(0, static_cast<std::size_t>(sent));
        } else if (errno != EAGAIN && errno != EINTR) {
            m_ends = true;
        }
    }

    /// One by one: who does not take an answer gets no other.
    void answerLines() {
        for (std::size_t end = m_input.find('\n'); m_output.empty() && !m_ends && end != std::string::npos;
             end = m_input.find('\n')) {
            const std::string line = m_input.substr(0, end);
            m_input.erase(0, end + 1);
            m_output.append(answer(line)).append("\n");
            send();
        }
    }

    std::string answer(const std::string& line) {
        try {
            const Json request = parseJson(line);
            const auto command = request.find("command");
            if (command != request.end() && *command == "traffic") {
                m_server.m_feed->follow([self = weak_from_this()](const std::string& lines) {
                    const auto connection = self.lock();
                    return connection != nullptr && connection->pass(lines);
                });
                return R"({"ok":true,"following":true})";
            }
            Document answer = {{"ok", true}};
            answer.update(runCommandRequest(m_server.m_terminals, request));
            return writeJson(answer);
        } catch (const JsonError& mistake) {
            return failure(
                std::string(R"(the line is not JSON; send an object, {"command": "state"} for example: )") +
                mistake.what());
        } catch (const std::exception& mistake) {
            return failure(mistake.what());
        }
    }

    /// False when the follower is given up.
    bool pass(const std::string& lines) {
        m_output.append(lines);
        m_ends = m_ends || m_output.size() > kMaxBacklog;
        send();
        if (m_ends) {
            m_server.m_loop.remove(this);
        }
        return !m_ends;
    }

    ControlServer& m_server;
    FileDescriptor m_socket;
    std::string m_input;
    std::string m_output;
    bool m_ends = false;
};

ControlServer::ControlServer(std::string path, std::vector<LiveTerminal> terminals,
                             std::shared_ptr<TrafficFeed> feed)
    : m_path(std::move(path)), m_terminals(std::move(terminals)), m_feed(std::move(feed)) {
    const auto accept = [this](FileDescriptor client) {
        m_loop.add(std::make_shared<Connection>(*this, std::move(client)));
    };
    const auto listener = std::make_shared<Listener>(m_loop, listenAtControl(m_path), accept);
    const std::lock_guard lock(m_loop.mutex());
    m_loop.add(m_feed);
    m_loop.add(listener);
}

ControlServer::~ControlServer() {
    (void)::unlink(m_path.c_str());
}

} // namespace pdasim
