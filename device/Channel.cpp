#include "device/Channel.h"

#include "device/ChannelState.h"
#include "device/HIDDevice.h"
#include "device/ReceiveBuffer.h"
#include "device/Receiver.h"
#include "device/UsbDiscovery.h"
#include "util/FileLog.h"
#include "util/Guard.h"
#include "util/LockConfig.h"
#include "util/MessageLength.h"
#include "util/MutexGuard.h"
#include "util/Settings.h"
#include "util/Util.h"

#include <chrono>
#include <string>
#include <unistd.h>

namespace pdalink {

namespace {

constexpr int kReplyPolls = 490;
constexpr unsigned int kReplyPoll = 10;    // ms
constexpr unsigned int kReplySettle = 100; // ms, for the further reports of a message

/// A receiver is about to open the node at this path.
bool isBeingOpened(const QByteArray& path) {
    const MutexGuard guard(g_channel.lock);
    return g_channel.reader != nullptr && g_channel.reader->isOpening() && g_channel.reader->path() == path;
}

/// Waits on for the rest of a message that the settling time was too short for, if the configuration says so.
void waitForRest() {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds maxPause(kReplySettle);
    const auto deadline = Clock::now() + std::chrono::seconds(60);
    while (waitForWholeReply && awaitsMore(maxPause) && Clock::now() < deadline) {
        CUtil::Delay_MSec(kReplyPoll);
    }
}

void logReceived(const QString& received) {
    const std::string line = "HID Read XML: " + received.toStdString();
    g_PDA_Log.AddLog(Info, line.c_str());
    const int missing = missingCharacters(received);
    if (missing > 0) {
        const std::string warning = "reply incomplete: " + std::to_string(received.size()) + " of " +
                                    std::to_string(received.size() + missing) + " characters came in time";
        g_PDA_Log.AddLog(Warning, warning.c_str());
    }
}

} // namespace

void channel::open() {
    g_strSerialPort = findUsbDevice(g_Vid, g_Pid);
    const QByteArray path = g_strSerialPort.toUtf8();
    const std::string line = "openHidDevice port: " + path.toStdString();
    g_PDA_Log.AddLog(Info, line.c_str());
    if (!path.isEmpty() && !isBeingOpened(path)) {
        stopReceiver();
        startReceiver(path);
    }
}

void channel::close() {
    g_isBufferCome = false;
    g_hidRun = false;
    stopReceiver();
    const MutexGuard guard(g_channel.lock);
    if (g_fd >= 0 && g_channel.reader == nullptr) {
        ::close(g_fd.exchange(-1));
    }
}

QString channel::receive() {
    for (int poll = 0; poll < kReplyPolls; ++poll) {
        CUtil::Delay_MSec(kReplyPoll);
        if (g_isBufferCome) {
            CUtil::Delay_MSec(kReplySettle);
            waitForRest();
            break;
        }
    }
    QString received = takeBuffer();
    guarded([&] { logReceived(received); }, [] {}); // not lost for lack of memory for its line
    return received;
}

} // namespace pdalink
