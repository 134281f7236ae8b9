#pragma once

#include "node/FileDescriptor.h"

#include <poll.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace pdasim {

/// A descriptor that a ServingLoop serves. Every call is made with the loop's lock held.
class Channel {
public:
    Channel() = default;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    virtual ~Channel() = default;

    virtual int descriptor() const = 0;
    /// What poll(2) is to wait for.
    virtual short events() const = 0;
    /// Must not wait with the lock held. False when there is nothing more to serve: the loop then forgets the
    /// channel, as it does with one that throws.
    virtual bool handle(short events) = 0;
};

/// The thread that serves channels, and does what is due later. One lock guards all that it touches.
class ServingLoop {
public:
    using Clock = std::chrono::steady_clock;

    ServingLoop();
    ServingLoop(const ServingLoop&) = delete;
    ServingLoop& operator=(const ServingLoop&) = delete;
    ~ServingLoop();

    std::mutex& mutex() { return m_mutex; }

    // These need the lock.

    void add(std::shared_ptr<Channel> channel);
    void remove(const Channel* channel);
    /// Runs an action on the loop's thread with the lock held; actions due at one time keep their order.
    void schedule(const void* owner, Clock::time_point due, std::function<void()> action);
    void cancel(const void* owner);
    /// To be called when a channel waits for other events than before.
    void wake();

    /// Waits, without the lock, until all that clients and clocks have caused so far has been dealt with.
    void settle();

    /// Serves the channels that are left until the last of them has gone, without waiting for that.
    static void endWhenUnused(std::unique_ptr<ServingLoop> loop);

private:
    struct Timer {
        const void* owner;
        std::function<void()> action;
    };

    void run();
    std::vector<pollfd> watchedDescriptors() const;
    int pollTimeout() const;
    bool serve(const std::shared_ptr<Channel>& channel, short events);
    bool runDueTimers();
    bool drainWakeups();
    void waitUntilUnused();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::uint64_t m_settleRequested = 0;
    std::uint64_t m_settled = 0;
    bool m_stopping = false;
    FileDescriptor m_wakeSend;
    FileDescriptor m_wakeReceive;
    std::multimap<Clock::time_point, Timer> m_timers;
    std::vector<std::shared_ptr<Channel>> m_channels;
    std::thread m_thread;
};

/// A socket that clients connect to. When there is no descriptor left for a client it rests for a moment, for
/// poll(2) would find it readable without end. The client waits meanwhile.
class Listener : public Channel {
public:
    using Accept = std::function<void(FileDescriptor client)>;

    Listener(ServingLoop& loop, FileDescriptor socket, Accept accept)
        : m_loop(loop), m_socket(std::move(socket)), m_accept(std::move(accept)) {}

    int descriptor() const override { return m_socket.get(); }
    short events() const override {
        return ServingLoop::Clock::now() < m_restsUntil ? short{0} : short{POLLIN};
    }
    bool handle(short events) override;

private:
    ServingLoop& m_loop;
    FileDescriptor m_socket;
    Accept m_accept;
    ServingLoop::Clock::time_point m_restsUntil;
};

} // namespace pdasim
