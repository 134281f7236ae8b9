#include "Channel.h"

#include "ProcessFacts.h"
#include "TerminalMessages.h"
#include "ThreadMeter.h"
#include "device/HIDDevice.h"
#include "interface/pdalink.h"
#include "util/LockConfig.h"

#include <atomic>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace pdalink::bench {

namespace {

constexpr std::string_view kAccepted = R"("pRetCode":"000000")";
constexpr std::size_t kResponseRoom = std::size_t{128} * 1024;

/// The receiver runs in a thread of this program's own, so that its clock can be read.
class LibraryChannel : public Channel {
public:
    explicit LibraryChannel(const std::string& path) : m_response(kResponseRoom) {
        LoadLockConfig(); // opens the log
        g_strSerialPort = QString::fromStdString(path);
        m_receiver = std::thread([this] {
            m_threadId = currentThreadId();
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

} // namespace

std::unique_ptr<Channel> openLibraryChannel(const std::string& path) {
    return std::make_unique<LibraryChannel>(path);
}

} // namespace pdalink::bench
