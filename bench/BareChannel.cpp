#include "Channel.h"

#include "TerminalMessages.h"
#include "ThreadMeter.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

namespace pdalink::bench {

namespace {

// The same waits as the library's.
constexpr int Step = 10; // ms
constexpr int ReplySteps = 490;
constexpr int SettleSteps = 10;

void sleepStep() {
    const timespec step{0, Step * 1000L * 1000L};
    (void)::nanosleep(&step, nullptr);
}

class BareChannel : public Channel {
public:
    explicit BareChannel(const std::string& path)
        : m_descriptor(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
        if (m_descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "the bare program cannot open " + path);
        }
        std::promise<int> threadId;
        m_receiver = std::thread([this, &threadId] {
            threadId.set_value(currentThreadId());
            receive();
        });
        m_threadId = threadId.get_future().get();
    }

    BareChannel(const BareChannel&) = delete;
    BareChannel& operator=(const BareChannel&) = delete;

    ~BareChannel() override {
        m_running = false;
        m_receiver.join();
        (void)::close(m_descriptor);
    }

    int receiverThread() const override { return m_threadId; }

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

    void receive() {
        std::array<char, 4096> bytes{};
        while (m_running) {
            const ssize_t size = ::read(m_descriptor, bytes.data(), sizeof bytes);
            if (size > 0) {
                keep(bytes.data(), static_cast<std::size_t>(size));
                continue;
            }
            pollfd node{m_descriptor, POLLIN, 0};
            if (::poll(&node, 1, Step) > 0 && (node.revents & (POLLHUP | POLLERR)) != 0) {
                sleepStep(); // poll no longer waits
            }
        }
    }

    void keep(const char* bytes, std::size_t size) {
        const std::lock_guard lock(m_mutex);
        m_received.append(bytes, ::strnlen(bytes, size));
        m_hasReceived = true;
    }

    std::string take() {
        for (int step = 0; step < ReplySteps && !m_hasReceived; ++step) {
            sleepStep();
        }
        for (int step = 0; step < SettleSteps && m_hasReceived; ++step) {
            sleepStep();
        }
        const std::lock_guard lock(m_mutex);
        m_hasReceived = false;
        std::string taken;
        taken.swap(m_received);
        return taken;
    }

    int m_descriptor;
    int m_sequence = 0;
    std::atomic<bool> m_running{true};
    std::atomic<bool> m_hasReceived{false};
    int m_threadId = 0;
    std::mutex m_mutex;
    std::string m_received;
    std::thread m_receiver;
};

} // namespace

std::unique_ptr<Channel> openBareChannel(const std::string& path) {
    return std::make_unique<BareChannel>(path);
}

} // namespace pdalink::bench
