#pragma once

#include "TimerQueue.h"
#include "node/FileDescriptor.h"

#include <poll.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace pdasim {

/** A descriptor that a ServingLoop serves. Every call is made with the loop's lock held. */
class Channel {
public:
    Channel() = default;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    virtual ~Channel() = default;

    virtual int descriptor() const = 0;
    /** What poll(2) is to wait for. */
    virtual short events() const = 0;
    /** Must not wait. False when there is nothing more to serve: the loop then forgets the channel. */
    virtual bool handle(short events) = 0;
};

/** The thread that serves channels, and does what is due later. One lock guards all that it touches. */
class ServingLoop {
public:
    using Clock = TimerQueue::Clock;

    ServingLoop();
    ServingLoop(const ServingLoop&) = delete;
    ServingLoop& operator=(const ServingLoop&) = delete;
    ~ServingLoop();

    std::mutex& mutex() { return m_mutex; }

    /** These need the lock. */
    void add(std::shared_ptr<Channel> channel);
    void remove(const Channel* channel);
    void schedule(const void* owner, Clock::time_point due, std::function<void()> action);
    void cancel(const void* owner) { m_timers.cancel(owner); }
    /** To be called when a channel waits for other events than before. */
    void wake();

    /** Waits, without the lock, until all that clients and clocks have caused so far has been dealt with. */
    void settle();

private:
    void run();
    std::vector<pollfd> watchedDescriptors() const;
    bool serve(const std::shared_ptr<Channel>& channel, short events);
    bool runDueTimers();
    bool drainWakeups();

    std::mutex m_mutex;
    std::condition_variable m_settledCondition;
    std::uint64_t m_settleRequested = 0;
    std::uint64_t m_settled = 0;
    bool m_stopping = false;
    std::vector<std::shared_ptr<Channel>> m_channels;
    TimerQueue m_timers;
    FileDescriptor m_bell;
    std::thread m_thread;
};

} // namespace pdasim
