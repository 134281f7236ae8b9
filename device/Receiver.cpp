#include "device/Receiver.h"

#include "device/ChannelState.h"
#include "device/HIDDevice.h"
#include "device/ReceiveBuffer.h"
#include "util/DebugOutput.h"
#include "util/Descriptor.h"
#include "util/ErrorText.h"
#include "util/FileLog.h"
#include "util/Guard.h"
#include "util/MutexGuard.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace pdalink {

namespace {

constexpr int kIdleWait = 45; // ms: a stop that anybody asks for is seen within 50

void rest(int milliseconds) {
    poll(nullptr, 0, milliseconds);
}

/// Waits for input for a moment. Returns true when the node claims to have something to say, or could not be
/// waited for: without a rest the receiver would then take all of a core.
bool waitForInput(int descriptor) {
    pollfd node{descriptor, POLLIN, 0};
    return poll(&node, 1, kIdleWait) != 0;
}

void announce(const char* text) {
    debugOutput(text);
    g_PDA_Log.AddLog(Info, text);
}

/// A receiver that cannot have the memory for a report goes on without it.
void appendOrDrop(const char* report, std::size_t size) {
    guarded([&] { appendReport(report, size); },
            [] { g_PDA_Log.AddLog(Warning, "out of memory, dropping what the terminal sends"); });
}

/// Has a receiver leave the channel at the end of a scope, also when its thread is cancelled.
struct Leaving {
    Receiver& receiver;
    ~Leaving() { receiver.leave(); }
};

/// Raises a flag at the end of a scope, also when the thread is cancelled.
struct EndFlag {
    std::atomic<bool>& hasEnded;
    ~EndFlag() { hasEnded = true; }
};

bool hasReader() {
    const MutexGuard guard(g_channel.lock);
    return g_channel.reader != nullptr;
}

} // namespace

bool Receiver::claim() {
    const MutexGuard guard(g_channel.lock);
    if (g_channel.reader != nullptr) {
        return false;
    }
    g_channel.reader = this;
    return true;
}

void Receiver::leave() {
    const MutexGuard guard(g_channel.lock);
    int own = m_descriptor;
    g_fd.compare_exchange_strong(own, -1); // published before the number is given back
    own = m_descriptor;
    if (own >= 0 && g_channel.node.compare_exchange_strong(own, -1)) {
        close(m_descriptor);
    }
    m_descriptor = -1;
    m_isOpening = false;
    if (!m_isStopRequested) { // its successor owns the flag then
        g_hidRun = false;
    }
    if (g_channel.reader == this) {
        g_channel.reader = nullptr;
    }
}

void Receiver::run() {
    const Leaving leaving{*this};
    if (openNode()) {
        receive();
    }
}

/// Returns false when the node cannot be opened or is not wanted any more.
bool Receiver::openNode() {
    const int descriptor = openAboveStandard(m_path.constData(), O_RDWR | O_NONBLOCK);
    if (!publish(descriptor)) {
        return false;
    }
    const bool isOpen = descriptor >= 0;
    announce(isOpen ? "port open success" : "port open fail");
    setRunning(isOpen);
    m_isOpening = false;
    return isOpen;
}

/// Tells the senders the outcome of the opening. Returns false, with the node closed, when the receiver was
/// told to stop meanwhile.
bool Receiver::publish(int descriptor) {
    const MutexGuard guard(g_channel.lock);
    if (m_isStopRequested) {
        if (descriptor >= 0) {
            close(descriptor);
        }
        return false;
    }
    m_descriptor = descriptor;
    g_channel.node = descriptor;
    g_fd = descriptor;
    return true;
}

/// Sets g_hidRun unless the receiver was told to stop: its successor owns the flag then.
void Receiver::setRunning(bool isRunning) const {
    const MutexGuard guard(g_channel.lock);
    if (!m_isStopRequested) {
        g_hidRun = isRunning;
    }
}

void Receiver::receive() const {
    std::array<char, 4096> report{};
    bool claimsInput = false;
    while (g_hidRun && !m_isStopRequested) {
        const ssize_t size = read(m_descriptor, report.data(), sizeof report);
        if (size > 0) {
            claimsInput = false;
            appendOrDrop(report.data(), static_cast<std::size_t>(size));
        } else if (claimsInput) {
            // After a hang-up or an error poll returns at once, again and again, with nothing to read.
            rest(kIdleWait);
            claimsInput = false;
        } else {
            claimsInput = waitForInput(m_descriptor);
        }
    }
}

void* ReceiverThread::body(void* self) {
    auto& thread = *static_cast<ReceiverThread*>(self);
    const EndFlag atEnd{thread.m_hasEnded};
    thread.m_id = static_cast<pid_t>(syscall(SYS_gettid));
    thread.m_receiver.run();
    return nullptr;
}

int ReceiverThread::start() {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, m_stack.address(), m_stack.size());
    const int error = pthread_create(&m_thread, &attributes, body, this);
    pthread_attr_destroy(&attributes);
    if (error == 0) {
        g_run_thread = m_thread;
    }
    return error;
}

void ReceiverThread::waitForEnd() {
    constexpr int kMaxLastSteps = 1000; // ms
    // Not pthread_join, also not in the end: of two who join the same thread one may wait for ever.
    while (!m_hasEnded) {
        rest(1);
    }
    // The thread's last instructions are this library's, which may be about to be unloaded.
    for (int waited = 0; waited < kMaxLastSteps && isAlive(); ++waited) {
        rest(1);
    }
    pthread_detach(m_thread); // frees what the system keeps of it, if no host has done so or is about to
}

bool ReceiverThread::isAlive() const {
    return syscall(SYS_tgkill, getpid(), m_id.load(), 0) == 0;
}

void startReceiver(const QByteArray& path) {
    auto thread = std::make_unique<ReceiverThread>(path);
    if (!thread->receiver().claim()) {
        g_PDA_Log.AddLog(Warning, "receiver not started: another one reads the node");
        return;
    }
    g_channel.started = std::move(thread);
    const int error = g_channel.started->start();
    if (error != 0) {
        g_channel.started->receiver().leave();
        g_channel.started.reset();
        const std::string line = "receiver thread not created: " + errorText(error);
        g_PDA_Log.AddLog(Warning, line.c_str());
    }
}

void stopReceiver() {
    constexpr int kMaxWait = 1000; // ms
    {
        const MutexGuard guard(g_channel.lock);
        if (g_channel.reader != nullptr) {
            g_channel.reader->requestStop();
            g_hidRun = false;
        }
    }
    if (g_channel.started) {
        g_channel.started->waitForEnd();
        g_channel.ended = std::move(g_channel.started);
    }
    // A thread of the host's cannot be joined, but sees the stop as soon.
    for (int waited = 0; waited < kMaxWait && hasReader(); ++waited) {
        rest(1);
    }
}

} // namespace pdalink
