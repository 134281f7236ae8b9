#include "Channels.h"

#include "ProcessFacts.h"
#include "device/HIDDevice.h"
#include "interface/pdalink.h"
#include "util/LockConfig.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

namespace pdalink::bench {

namespace {

constexpr std::size_t kPacketLength = 3000; // digits in a whole packet of a file
constexpr std::size_t kLengthWidth = 6;
constexpr std::size_t kTypeWidth = 4;
constexpr std::string_view kInformationType = "8001";
constexpr std::string_view kFileType = "8015";
constexpr std::string_view kAcceptance = "<Ex_RetCode>000000</Ex_RetCode>";

/// A message as either side writes it; always of the same time.
std::string message(std::string_view type, const std::string& body) {
    const std::string rest = std::string(type).append("QEV   000000000000000000000000        05"
                                                      "<Ex_TrTime>20260102030405</Ex_TrTime>"
                                                      "<Ex_SeqNo>0001</Ex_SeqNo>") +
                             body;
    std::array<char, 16> length{};
    (void)std::snprintf(length.data(), length.size(), "%06zu", rest.size() + kLengthWidth);
    return length.data() + rest;
}

/// A whole packet of digits 0, as the library sends it for 600015.
std::string filePacket(int packets, int index) {
    // The CRC of zeros is zero.
    return message(kFileType,
                   "<Ex_PdaSn>1</Ex_PdaSn><Ex_CmdEx>1</Ex_CmdEx><Ex_InfoEx></Ex_InfoEx><Ex_TotalPkt>" +
                       std::to_string(packets) + "</Ex_TotalPkt><Ex_CurPkt>" + std::to_string(index) +
                       "</Ex_CurPkt><Ex_HexVal>" + std::string(kPacketLength, '0') +
                       "</Ex_HexVal><Ex_HexCheck>0000</Ex_HexCheck>");
}

/// What a terminal that agrees to everything answers to a message.
std::string replyTo(std::string_view request) {
    const std::string_view type = request.substr(kLengthWidth, kTypeWidth);
    const std::string identity = type == kInformationType
                                     ? "<Ex_EIMI>860123456789012</Ex_EIMI><Ex_BleVer>BLE-1.4.2</Ex_BleVer>"
                                       "<Ex_PdaVer>PDA-2.0.7</Ex_PdaVer>"
                                     : "";
    return message(type, identity + std::string(kAcceptance));
}

/// Whether a message is as long as its header says.
bool isWhole(const std::string& message) {
    return message.size() >= kLengthWidth &&
           message.size() >= std::strtoul(message.substr(0, kLengthWidth).c_str(), nullptr, 10);
}

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

    void exchange() override { send(message(kInformationType, "")); }

    void sendFile(int packets) override {
        for (int index = 0; index < packets; ++index) {
            send(filePacket(packets, index));
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
        if (take().find(kAcceptance) == std::string::npos) {
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
};

constexpr std::string_view kAccepted = R"("pRetCode":"000000")";
constexpr std::size_t kResponseRoom = std::size_t{128} * 1024;

/// The receiver runs in a thread of this program's own, so that its clock can be read.
class LibraryChannel : public Channel {
public:
    explicit LibraryChannel(const std::string& path) : m_response(kResponseRoom) {
        LoadLockConfig(); // opens the log
        g_strSerialPort = QString::fromStdString(path);
        m_receiver = std::thread([this] {
            m_threadId = ::gettid();
            (void)run_proc(nullptr);
        });
        if (!test::waitUntil([] { return g_hidRun.load(); })) {
            m_receiver.join();
            throw std::runtime_error("the library cannot open " + path);
        }
    }

    LibraryChannel(const LibraryChannel&) = delete;
    LibraryChannel& operator=(const LibraryChannel&) = delete;

    ~LibraryChannel() override {
        g_hidRun = false;
        m_receiver.join();
    }

    std::optional<int> receiverThread() const override { return m_threadId; }

    void exchange() override { call(R"({"transCode":"600002"})"); }

    void sendFile(int packets) override {
        const std::string text(kPacketLength * static_cast<std::size_t>(packets), '0');
        call(R"({"transCode":"600015","pdaNumber":"1","pCmdEx":1,"pInfoEx":"","pFilePath":")" + text + "\"}");
    }

    void waitInVain() override {
        if (!g_HIDDevice.getBuffer().isEmpty()) {
            throw std::runtime_error("the library received something during its silent wait");
        }
    }

private:
    void call(const std::string& request) {
        int length = 0;
        PDA_CommonCall(request.data(), static_cast<int>(request.size()), m_response.data(), &length);
        const std::string_view response(m_response.data(), static_cast<std::size_t>(length));
        if (response.find(kAccepted) == std::string_view::npos) {
            throw std::runtime_error("the library's exchange was not answered: " + std::string(response));
        }
    }

    std::vector<char> m_response;
    std::atomic<int> m_threadId{0};
    std::thread m_receiver;
};

int checked(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

void closeIfOpen(int& descriptor) {
    if (descriptor >= 0) {
        (void)::close(descriptor);
        descriptor = -1;
    }
}

} // namespace

std::unique_ptr<Channel> openLibraryChannel(const std::string& path) {
    return std::make_unique<LibraryChannel>(path);
}

std::unique_ptr<Channel> openBareChannel(const std::string& path) {
    return std::make_unique<BareChannel>(path);
}

PseudoTerminal::PseudoTerminal()
    : m_master(checked(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "cannot open a pseudo-terminal")),
      m_stop(checked(::eventfd(0, EFD_CLOEXEC), "cannot create an event")) {
    checked(::grantpt(m_master), "grantpt");
    checked(::unlockpt(m_master), "unlockpt");
    m_path = ::ptsname(m_master);
    // Stays open, so that the master sees no hang-up between two users of the node.
    m_slave = checked(::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "cannot open the slave");
    termios settings{};
    checked(::tcgetattr(m_slave, &settings), "tcgetattr");
    ::cfmakeraw(&settings);
    checked(::tcsetattr(m_slave, TCSANOW, &settings), "tcsetattr");
    m_answering = std::thread([this] { answerUntilStopped(); });
}

PseudoTerminal::~PseudoTerminal() {
    hangUp();
    closeIfOpen(m_slave);
    closeIfOpen(m_stop);
}

void PseudoTerminal::hangUp() {
    if (m_answering.joinable()) {
        (void)::eventfd_write(m_stop, 1);
        m_answering.join();
    }
    closeIfOpen(m_master);
}

void PseudoTerminal::answerUntilStopped() const {
    std::string received;
    std::array<pollfd, 2> sources{{{m_master, POLLIN, 0}, {m_stop, POLLIN, 0}}};
    while (::poll(sources.data(), sources.size(), -1) > 0 && sources[1].revents == 0) {
        std::array<char, 4096> bytes{};
        const ssize_t size = ::read(m_master, bytes.data(), sizeof bytes);
        received.append(bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
        if (isWhole(received)) {
            const std::string reply = replyTo(received);
            received.clear();
            (void)!::write(m_master, reply.data(), reply.size());
        }
    }
}

} // namespace pdalink::bench
