#include "device/HIDDevice.h"

#include "device/ChannelState.h"
#include "device/UsbDiscovery.h"
#include "util/FileLog.h"
#include "util/LockConfig.h"
#include "util/MutexGuard.h"
#include "util/Util.h"

#include <QDebug>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

constexpr int kBufferLimit = 16 * 1024 * 1024; // characters
constexpr int kIdleWait = 10;                  // ms; also the longest time in which a stop is not seen
constexpr int kReplyPolls = 490;
constexpr unsigned int kReplyPoll = 10;    // ms
constexpr unsigned int kReplySettle = 100; // ms, for the further reports of a message

void logText(const std::string& text) {
    g_PDA_Log.AddLog(pdalink::Info, text.c_str());
}

// ---- receive buffer
// ------------------------------------------------------------------------------------------

/// Length of a UTF-8 sequence by its first byte; 1 for what cannot begin a longer one.
int sequenceLength(unsigned char first) {
    if (first >= 0xF0 && first <= 0xF4) {
        return 4;
    }
    if (first >= 0xE0 && first <= 0xEF) {
        return 3;
    }
    return first >= 0xC2 && first <= 0xDF ? 2 : 1;
}

/// How many bytes at the end of `text` begin a UTF-8 sequence without finishing it.
int unfinishedBytes(const QByteArray& text) {
    for (int back = 1; back <= std::min(3, text.size()); ++back) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        if ((byte & 0xC0U) != 0x80U) { // not a continuation byte: the last sequence begins here
            return sequenceLength(byte) > back ? back : 0;
        }
    }
    return 0;
}

/// Appends the text of one report, up to its NUL padding.
void appendReport(const char* report, std::size_t size) {
    bool beginsDropping = false;
    {
        const MutexGuard guard(g_lock_buffer);
        QByteArray bytes = g_channel.heldBack + QByteArray(report, static_cast<int>(strnlen(report, size)));
        const int unfinished = unfinishedBytes(bytes);
        g_channel.heldBack = bytes.right(unfinished);
        bytes.chop(unfinished);
        const QString text = QString::fromUtf8(bytes);
        const int room = std::max(0, kBufferLimit - g_buffer.size());
        if (text.size() > room) {
            beginsDropping = !g_channel.isDropping;
            g_channel.isDropping = true;
        }
        g_buffer += text.leftRef(room);
        g_isBufferCome = true;
    }
    if (beginsDropping) {
        g_PDA_Log.AddLog(pdalink::Warning, "receive buffer full, dropping what the terminal sends");
    }
}

void emptyBuffer() {
    const MutexGuard guard(g_lock_buffer);
    g_buffer.clear();
    g_channel.heldBack.clear();
    g_channel.isDropping = false;
}

/// Takes the buffer and lowers the flag in one hold, so that no data arriving in between is lost or leaves
/// the flag up for an empty buffer.
QString takeBuffer() {
    const MutexGuard guard(g_lock_buffer);
    g_isBufferCome = false;
    g_buffer += QString::fromUtf8(g_channel.heldBack); // nothing completed it: replacement characters
    g_channel.heldBack.clear();
    g_channel.isDropping = false;
    QString taken;
    taken.swap(g_buffer);
    return taken;
}

// ---- receiver thread
// -----------------------------------------------------------------------------------------

void announce(const char* text) {
    qDebug().noquote() << text;
    g_PDA_Log.AddLog(pdalink::Info, text);
}

/// Sets g_hidRun unless the receiver was told to stop: its successor owns the flag then.
void setRunning(const Receiver& receiver, bool running) {
    const MutexGuard guard(g_channel.descriptorLock);
    if (!receiver.stopRequested) {
        g_hidRun = running;
    }
}

/// Publishes the outcome of the opening for the senders. Returns false when the receiver was told to stop
/// meanwhile.
bool publish(Receiver& receiver, int descriptor) {
    const MutexGuard guard(g_channel.descriptorLock);
    if (receiver.stopRequested) {
        return false;
    }
    g_fd = descriptor;
    if (descriptor >= 0) {
        receiver.descriptor = descriptor;
        g_channel.reading = &receiver;
    }
    return true;
}

void closeNode(const Receiver& receiver) {
    const MutexGuard guard(g_channel.descriptorLock);
    int expected = receiver.descriptor;
    g_fd.compare_exchange_strong(expected, -1);
    close(receiver.descriptor);
    if (g_channel.reading == &receiver) {
        g_channel.reading = nullptr;
    }
}

/// Opens the node. Returns false when it cannot be opened or is not wanted any more.
bool openNode(Receiver& receiver) {
    const int descriptor = open(receiver.path.constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (!publish(receiver, descriptor)) {
        if (descriptor >= 0) {
            close(descriptor);
        }
        return false;
    }
    const bool isOpen = descriptor >= 0;
    announce(isOpen ? "port open success" : "port open fail");
    setRunning(receiver, isOpen);
    receiver.opening = false;
    return isOpen;
}

void rest() {
    poll(nullptr, 0, kIdleWait);
}

/// Waits for input for a moment. Returns true when the node claims to have something to say.
bool waitForInput(int descriptor) {
    pollfd node{descriptor, POLLIN, 0};
    return poll(&node, 1, kIdleWait) > 0;
}

void receiveWhileRunning(const Receiver& receiver) {
    std::array<char, 4096> report{};
    bool claimedInput = false;
    while (g_hidRun && !receiver.stopRequested) {
        const ssize_t size = read(receiver.descriptor, report.data(), sizeof report);
        if (size > 0) {
            claimedInput = false;
            try {
                appendReport(report.data(), static_cast<std::size_t>(size));
            } catch (const std::bad_alloc&) {
                g_PDA_Log.AddLog(pdalink::Warning, "out of memory, dropping what the terminal sends");
            }
        } else if (claimedInput) {
            // After a hang-up or an error poll returns at once, again and again, with nothing to read.
            rest();
            claimedInput = false;
        } else {
            claimedInput = waitForInput(receiver.descriptor);
        }
    }
}

void runReceiver(Receiver& receiver) {
    if (openNode(receiver)) {
        receiveWhileRunning(receiver);
        closeNode(receiver);
    }
}

/// Tells whatever receiver there is to stop, the host's own too.
void requestStop() {
    const MutexGuard guard(g_channel.descriptorLock);
    for (Receiver* receiver : {g_channel.receiver.get(), g_channel.reading}) {
        if (receiver != nullptr) {
            receiver->stopRequested = true;
            g_hidRun = false;
        }
    }
}

bool isBeingRead() {
    const MutexGuard guard(g_channel.descriptorLock);
    return g_channel.reading != nullptr;
}

/// Ends the receiver, if there is one, and waits until it is gone.
void stopReceiver() {
    constexpr int longestWait = 1000; // ms
    requestStop();
    if (g_channel.receiver) {
        pthread_join(g_channel.receiver->thread, nullptr);
        g_channel.receiver.reset();
    }
    // A thread of the host's cannot be joined. It sees the stop as soon, unless a fork has left it behind.
    for (int waited = 0; waited < longestWait && isBeingRead(); ++waited) {
        poll(nullptr, 0, 1);
    }
}

void startReceiver(const QByteArray& path) {
    g_channel.receiver = std::make_unique<Receiver>(path);
    Receiver* receiver = g_channel.receiver.get();
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    const int error = pthread_create(&receiver->thread, &attributes, run_proc, receiver);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        g_channel.receiver.reset();
        const std::string line = "receiver thread not created: " + std::system_category().message(error);
        g_PDA_Log.AddLog(pdalink::Warning, line.c_str());
        return;
    }
    g_run_thread = receiver->thread;
}

// ---- senders
// -------------------------------------------------------------------------------------------------

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

constexpr Sender kTextSender{"hid device is not open",
                             false,
                             "sendLen error. need to reopen device",
                             true,
                             "Write XML error:",
                             "Write XML: ",
                             true};
constexpr Sender kByteSender{"hid device is not open1",
                             true,
                             "sendLen error. need to reopen device1",
                             true,
                             "Write XML1 error:",
                             "Write XML1: ",
                             true};
constexpr Sender kTestSender{"hid device is not open",
                             true,
                             "sendLen error. need to reopen device",
                             false,
                             "Write XML error:",
                             "Write XML: ",
                             false};

/// One write(2), during which the node cannot be closed. A negative descriptor fails with EBADF.
ssize_t writeToNode(const char* bytes, int length, int& error) {
    const MutexGuard guard(g_channel.descriptorLock);
    const ssize_t written = write(g_fd, bytes, static_cast<std::size_t>(length));
    error = errno;
    return written;
}

/// Returns the number of bytes written, -1 for none.
ssize_t sendBytes(const Sender& sender, const char* bytes, int length) {
    emptyBuffer(); // what is left over from earlier is not the reply
    if (g_fd < 0) {
        g_hidRun = false;
        logText(sender.notOpen);
        if (!sender.opensChannel) {
            return -1;
        }
        g_HIDDevice.openHidDevice();
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
        const std::string cause =
            " errno:" + std::to_string(error) + " info:" + std::system_category().message(error);
        logText(sender.writeFailed + (sender.namesCause ? cause : std::string()));
    }
    logText(sender.incomplete + text + "  sendLen:" + std::to_string(written) +
            " bufferLen:" + std::to_string(length));
    return written;
}

} // namespace

void* run_proc(void* receiver) {
    if (receiver != nullptr) {
        runReceiver(*static_cast<Receiver*>(receiver));
    } else {
        Receiver callersOwn(g_strSerialPort.toUtf8());
        runReceiver(callersOwn);
    }
    return nullptr;
}

CHIDDevice::CHIDDevice() {
    g_fd = -1;
}

CHIDDevice::~CHIDDevice() {
    qDebug().noquote() << "~CHIDDevice";
    g_isBufferCome = false;
    g_hidRun = false;
    stopReceiver();
    const MutexGuard guard(g_channel.descriptorLock);
    if (g_fd >= 0 && g_channel.reading == nullptr) {
        close(g_fd.exchange(-1));
    }
}

bool CHIDDevice::openHidDevice() {
    g_strSerialPort = findUsbDevice(g_Vid, g_Pid);
    const QByteArray path = g_strSerialPort.toUtf8();
    logText("openHidDevice port: " + path.toStdString());
    const Receiver* current = g_channel.receiver.get();
    const bool stillOpening = current != nullptr && current->opening && current->path == path;
    if (!path.isEmpty() && !stillOpening) {
        stopReceiver();
        startReceiver(path);
    }
    return true;
}

QString CHIDDevice::getBuffer() {
    for (int poll = 0; poll < kReplyPolls; ++poll) {
        CUtil::Delay_MSec(kReplyPoll);
        if (g_isBufferCome) {
            CUtil::Delay_MSec(kReplySettle);
            break;
        }
    }
    QString received = takeBuffer();
    logText("HID Read XML: " + received.toStdString());
    return received;
}

void CHIDDevice::clearBuffer() {
    emptyBuffer();
}

bool CHIDDevice::SendData(const QString& text) {
    const QByteArray bytes = text.toLocal8Bit();
    return sendBytes(kTextSender, bytes.constData(), bytes.size()) == bytes.size();
}

bool CHIDDevice::SendData(char* buf, int len) {
    const int length = std::max(len, 0);
    return sendBytes(kByteSender, buf, length) == length;
}

bool CHIDDevice::SendData_test(unsigned char* buf, int len) {
    const int length = std::max(len, 0);
    const ssize_t written = sendBytes(kTestSender, reinterpret_cast<const char*>(buf), length);
    std::printf("%zd\n", written);
    return written == length;
}
