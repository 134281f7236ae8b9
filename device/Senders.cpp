#include "device/Channel.h"

#include "device/ChannelState.h"
#include "device/HIDDevice.h"
#include "device/ReceiveBuffer.h"
#include "util/ErrorText.h"
#include "util/FileLog.h"
#include "util/MutexGuard.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

namespace pdalink {

namespace {

/// What differs between the senders: their log lines, and whether they open a closed channel.
struct Sender {
    const char* notOpen;
    bool opensChannel;
    const char* writeFailed;
    bool namesCause;
    const char* incomplete;
    const char* written;
    bool namesLength;
};

// clang-format off
constexpr Sender kTextSender{"hid device is not open",  false, "sendLen error. need to reopen device",  true,  "Write XML error:",  "Write XML: ",  true};
constexpr Sender kByteSender{"hid device is not open1", true,  "sendLen error. need to reopen device1", true,  "Write XML1 error:", "Write XML1: ", true};
constexpr Sender kTestSender{"hid device is not open",  true,  "sendLen error. need to reopen device",  false, "Write XML error:",  "Write XML: ",  false};
// clang-format on

void logText(const std::string& text) {
    g_PDA_Log.AddLog(Info, text.c_str());
}

/// One write(2), during which the node cannot be closed. A negative descriptor fails with EBADF.
ssize_t writeToNode(const char* bytes, int length, int& error) {
    const MutexGuard guard(g_channel.lock);
    const ssize_t written = write(g_fd, bytes, static_cast<std::size_t>(length));
    error = errno;
    return written;
}

/// Returns the number of bytes written, -1 for none.
ssize_t send(const Sender& sender, const char* bytes, int length) {
    emptyBuffer(); // what is left over from earlier is not the reply
    if (g_fd < 0) {
        g_hidRun = false;
        logText(sender.notOpen);
        if (!sender.opensChannel) {
            return -1;
        }
        channel::open();
    }
    int error = 0;
    const ssize_t written = writeToNode(bytes, length, error);
    const std::string text(bytes, bytes != nullptr ? strnlen(bytes, static_cast<std::size_t>(length)) : 0);
    if (written == length) {
        logText(sender.written + text + (sender.namesLength ? " sendLen:" + std::to_string(length) : ""));
        return written;
    }
    if (written == -1) {
        g_hidRun = false;
        const std::string cause = " errno:" + std::to_string(error) + " info:" + errorText(error);
        logText(sender.writeFailed + (sender.namesCause ? cause : std::string()));
    }
    logText(sender.incomplete + text + "  sendLen:" + std::to_string(written) +
            " bufferLen:" + std::to_string(length));
    return written;
}

} // namespace

bool channel::sendText(const QByteArray& utf8) {
    return send(kTextSender, utf8.constData(), utf8.size()) == utf8.size();
}

bool channel::sendBytes(const char* bytes, int length) {
    return send(kByteSender, bytes, length) == length;
}

ssize_t channel::sendForTest(const char* bytes, int length) {
    return send(kTestSender, bytes, length);
}

} // namespace pdalink
