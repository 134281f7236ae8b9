#pragma once

#include "util/mutexlock.h"

#include <QByteArray>

#include <atomic>
#include <memory>
#include <pthread.h>

/// One receiver, from before its thread's start until that is joined; of a thread of the host's, as long as
/// it runs.
struct Receiver {
    explicit Receiver(QByteArray node) : path(std::move(node)) {}

    const QByteArray path;
    pthread_t thread{};
    int descriptor = -1; ///< of the node that it reads and will close itself
    std::atomic<bool> opening{true};
    std::atomic<bool> stopRequested{false};
};

/// What the channel keeps besides its exported globals.
struct ChannelState {
    /// Writing to the open node and closing it exclude each other, so that a sender never writes to a
    /// descriptor number that the host has got anew. Guards the changes of g_fd, reading and stopRequested.
    cmutexlock descriptorLock;
    /// The receiver that has the node open; null when none.
    Receiver* reading = nullptr;

    /// First bytes of a UTF-8 sequence that a report's end cut in two. Guarded by g_lock_buffer.
    QByteArray heldBack;
    /// The buffer is full and reports are being dropped. Guarded by g_lock_buffer.
    bool isDropping = false;

    /// The receiver started last, until it is joined. Belongs to the thread that opens the channel.
    std::unique_ptr<Receiver> receiver;
};

extern ChannelState g_channel;
