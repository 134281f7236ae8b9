#include "Channel.h"

#include "TerminalMessages.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

namespace pdalink::bench {

namespace {

// The same waits as the library's, each in one piece.
constexpr int kReplyWait = 4900; // ms
constexpr timespec kSettlingTime{0, 100'000'000};

/// Writes, polls once, sleeps once and reads, all in the calling thread.
class BareChannel : public Channel {
public:
    explicit BareChannel(const std::string& path)
        : m_descriptor(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
        if (m_descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "the bare program cannot open " + path);
        }
    }

    BareChannel(const BareChannel&) = delete;
    BareChannel& operator=(const BareChannel&) = delete;

    ~BareChannel() override { (void)::close(m_descriptor); }

    std::optional<int> receiverThread() const override { return {}; }

    void exchange() override { send(informationRequest(++m_sequence)); }

    void sendFile(int packets) override {
        for (int index = 0; index < packets; ++index) {
            send(filePacket(++m_sequence, packets, index));
        }
    }

    void waitInVain() override {
        if (!take().empty()) {
            throw std::runtime_error("the bare program received something during its silent wait");
        }
    }

private:
    void send(const std::string& request) {
        if (::write(m_descriptor, request.data(), request.size()) != static_cast<ssize_t>(request.size())) {
            throw std::system_error(errno, std::generic_category(), "the bare program cannot write");
        }
        if (take().find("<Ex_RetCode>000000</Ex_RetCode>") == std::string::npos) {
            throw std::runtime_error("the bare program's exchange was not answered");
        }
    }

    std::string take() const {
        std::string taken;
        pollfd node{m_descriptor, POLLIN, 0};
        if (::poll(&node, 1, kReplyWait) > 0) {
            (void)::nanosleep(&kSettlingTime, nullptr);
            std::array<char, 4096> bytes{};
            ssize_t size = 0;
            while ((size = ::read(m_descriptor, bytes.data(), bytes.size())) > 0) {
                taken.append(bytes.data(), ::strnlen(bytes.data(), static_cast<std::size_t>(size)));
            }
        }
        return taken;
    }

    int m_descriptor;
    int m_sequence = 0;
};

} // namespace

std::unique_ptr<Channel> openBareChannel(const std::string& path) {
    return std::make_unique<BareChannel>(path);
}

} // namespace pdalink::bench
