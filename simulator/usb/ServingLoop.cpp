#include "usb/ServingLoop.h"

#include <csignal>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <utility>

namespace pdasim {

ServingLoop::ServingLoop() : m_bell(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_bell.isOpen()) {
        throwSystemError("cannot make an event descriptor");
    }
    // The process's signals are none of this thread's business; it inherits the mask.
    sigset_t all{};
    sigset_t before{};
    (void)::sigfillset(&all);
    (void)::pthread_sigmask(SIG_SETMASK, &all, &before);
    m_thread = std::thread([this] { run(); });
    (void)::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

ServingLoop::~ServingLoop() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        wake();
    }
    m_thread.join();
}

void ServingLoop::add(std::shared_ptr<Channel> channel) {
    m_channels.push_back(std::move(channel));
    wake();
}

void ServingLoop::remove(const Channel* channel) {
    m_channels.erase(std::remove_if(m_channels.begin(), m_channels.end(),
                                    [channel](const auto& each) { return each.get() == channel; }),
                     m_channels.end());
    wake();
}

void ServingLoop::schedule(const void* owner, Clock::time_point due, std::function<void()> action) {
    m_timers.schedule(owner, due, std::move(action));
    wake();
}

void ServingLoop::wake() {
    const std::uint64_t one = 1;
    // It only fails when the bell rings already.
    [[maybe_unused]] const ssize_t written = ::write(m_bell.get(), &one, sizeof(one));
}

void ServingLoop::settle() {
    std::unique_lock lock(m_mutex);
    const std::uint64_t mine = ++m_settleRequested;
    wake();
    m_settledCondition.wait(lock, [this, mine] { return m_settled >= mine; });
}

void ServingLoop::run() {
    std::unique_lock lock(m_mutex);
    while (!m_stopping) {
        // What is removed meanwhile keeps its descriptor, so that its number is nobody else's.
        const std::vector<std::shared_ptr<Channel>> channels = m_channels;
        std::vector<pollfd> watched = watchedDescriptors();
        const std::uint64_t settling = m_settleRequested;
        const int timeout = m_settled < settling ? 0 : m_timers.pollTimeout();
        lock.unlock();
        (void)::poll(watched.data(), watched.size(), timeout);
        lock.lock();
        bool busy = watched.front().revents != 0 && drainWakeups();
        for (std::size_t i = 0; i < channels.size(); ++i) {
            busy = serve(channels[i], watched[i + 1].revents) || busy;
        }
        busy = runDueTimers() || busy;
        if (!busy) {
            m_settled = std::max(m_settled, settling);
            m_settledCondition.notify_all();
        }
    }
}

std::vector<pollfd> ServingLoop::watchedDescriptors() const {
    std::vector<pollfd> watched = {{m_bell.get(), POLLIN, 0}};
    for (const auto& channel : m_channels) {
        watched.push_back({channel->descriptor(), channel->events(), 0});
    }
    return watched;
}

/** False when there was nothing to do. */
bool ServingLoop::serve(const std::shared_ptr<Channel>& channel, short events) {
    if (events == 0 || std::find(m_channels.begin(), m_channels.end(), channel) == m_channels.end()) {
        return false;
    }
    if (!channel->handle(events)) {
        remove(channel.get());
    }
    return true;
}

bool ServingLoop::runDueTimers() {
    try {
        return m_timers.runDue();
    } catch (const std::exception& failure) {
        // Above all a device that cannot be plugged in again.
        std::cerr << "pdasim: " << failure.what() << std::endl;
        return true;
    }
}

bool ServingLoop::drainWakeups() {
    std::uint64_t count = 0;
    return ::read(m_bell.get(), &count, sizeof(count)) > 0;
}

} // namespace pdasim
