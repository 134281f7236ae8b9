#pragma once

#include "device/ThreadStack.h"

#include <QByteArray>

#include <atomic>
#include <pthread.h>
#include <sys/types.h>

namespace pdalink {

/// One reader of the node. The channel has at most one, from before it opens the node until it has closed it.
class Receiver {
public:
    explicit Receiver(QByteArray path) : m_path(std::move(path)) {}

    const QByteArray& path() const { return m_path; }

    /// The node is not open yet, nor has opening it failed.
    bool isOpening() const { return m_isOpening; }

    /// Becomes the channel's reader. False when it has one.
    bool claim();

    /// Opens the node, reads it until told to stop or until g_hidRun is false, closes it and gives up the
    /// claim.
    void run();

    /// Makes run() return soon and leave g_hidRun alone from now on. Under the channel's lock.
    void requestStop() { m_isStopRequested = true; }

    /// Closes the node, lowers g_hidRun and gives up the claim, as far as run() has not done so.
    void leave();

private:
    bool openNode();
    bool publish(int descriptor);
    void setRunning(bool isRunning) const;
    void receive() const;

    const QByteArray m_path;
    int m_descriptor = -1;
    std::atomic<bool> m_isOpening{true};
    std::atomic<bool> m_isStopRequested{false};
};

/// A thread of the library's own that runs a receiver.
class ReceiverThread {
public:
    explicit ReceiverThread(QByteArray path) : m_receiver(std::move(path)) {}

    Receiver& receiver() { return m_receiver; }

    /// Starts the thread and publishes it in g_run_thread. Returns 0 or the error number.
    int start();

    /// Waits until the thread is gone, also when a host has joined or detached it. A host may still be
    /// joining it after that, so this object has to be there for a while.
    void waitForEnd();

    /// Leaves the stack to a host that may still be joining the thread.
    void abandonStack() { m_stack.abandon(); }

private:
    static void* body(void* self);
    bool isAlive() const;

    Receiver m_receiver;
    ThreadStack m_stack;
    pthread_t m_thread{};
    std::atomic<pid_t> m_id{0}; ///< the kernel's number of the thread; 0 until it runs
    std::atomic<bool> m_hasEnded{false};
};

/// Starts a receiver on the node at `path` when the channel has no reader. A failure is logged and leaves the
/// channel closed.
void startReceiver(const QByteArray& path);

/// Stops the receiver, a host's own too, and waits until it has closed the node.
void stopReceiver();

} // namespace pdalink
