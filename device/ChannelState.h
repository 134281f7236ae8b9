#pragma once

#include "device/Receiver.h"
#include "util/mutexlock.h"

#include <QByteArray>

#include <atomic>
#include <chrono>
#include <memory>

namespace pdalink {

/// What the channel keeps besides its exported globals.
struct ChannelState {
    ChannelState() = default;
    ~ChannelState() {
        if (ended) {
            ended->abandonStack();
        }
    }
    ChannelState(const ChannelState&) = delete;
    ChannelState& operator=(const ChannelState&) = delete;

    /// Writing to the open node and closing it exclude each other, so that a sender never writes to a
    /// descriptor number that the host has got anew. Guards the changes of g_fd, node and reader.
    cmutexlock lock;
    /// The descriptor of the node that a receiver has open, which alone may close it; -1 for none. Kept
    /// beside g_fd, which hosts may change.
    std::atomic<int> node{-1};
    /// The one receiver that opens or reads the node, on whichever thread; null when there is none.
    Receiver* reader = nullptr;
    /// The thread that the library has started, until it is gone. Belongs to the thread that opens the
    /// channel.
    std::unique_ptr<ReceiverThread> started;
    /// The one before, which a host may be joining.
    std::unique_ptr<ReceiverThread> ended;

    /// First bytes of a UTF-8 sequence that a report's end cut in two. Guarded by g_lock_buffer, like the
    /// rest.
    QByteArray heldBack;
    /// The buffer is full and reports are being dropped.
    bool isDropping = false;
    /// When the last report arrived.
    std::chrono::steady_clock::time_point lastReport;
};

extern ChannelState g_channel;

} // namespace pdalink
