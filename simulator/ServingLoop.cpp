#include "ServingLoop.h"

#include <csignal>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <iostream>
#include <iterator>

namespace pdasim {

namespace {

constexpr std::chrono::milliseconds kRest(100);

/// The process's signals are not for a thread that this starts; it inherits the mask.
std::thread startThread(std::function<void()> run) {
    sigset_t all{};
    sigset_t before{};
    (void)::sigfillset(&all);
    (void)::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(std::move(run));
    (void)::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

/// Above all of a device that cannot be plugged in again.
void report(const std::exception& failure) {
    std::cerr << "pdasim: " << failure.what() << std::endl;
}

} // namespace

ServingLoop::ServingLoop() {
    // A socket pair instead of a pipe: the test bed's wrappers of read and write look every descriptor up.
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
        throwSystemError("cannot create a socket pair");
    }
    m_wakeSend.reset(ends[0]);
    m_wakeReceive.reset(ends[1]);
    m_thread = startThread([this] { run(); });
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
    m_changed.notify_all();
    wake();
}

void ServingLoop::schedule(const void* owner, Clock::time_point due, std::function<void()> action) {
    m_timers.emplace(due, Timer{owner, std::move(action)});
    wake();
}

void ServingLoop::cancel(const void* owner) {
    for (auto timer = m_timers.begin(); timer != m_timers.end();) {
        timer = timer->second.owner == owner ? m_timers.erase(timer) : std::next(timer);
    }
}

void ServingLoop::wake() {
    // A full pair already holds a wake-up.
    (void)::send(m_wakeSend.get(), "!", 1, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void ServingLoop::settle() {
    std::unique_lock lock(m_mutex);
    const std::uint64_t mine = ++m_settleRequested;
    wake();
    m_changed.wait(lock, [this, mine] { return m_settled >= mine; });
}

void ServingLoop::endWhenUnused(std::unique_ptr<ServingLoop> loop) {
    // Clients that have gone already are noticed.
    loop->settle();
    const std::unique_lock lock(loop->m_mutex);
    if (!loop->m_channels.empty()) {
        startThread([left = std::shared_ptr(std::move(loop))] { left->waitUntilUnused(); }).detach();
    }
}

void ServingLoop::waitUntilUnused() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_channels.empty(); });
}

void ServingLoop::run() {
    std::unique_lock lock(m_mutex);
    while (!m_stopping) {
        // What is removed meanwhile keeps its descriptor, so that its number is nobody else's.
        const std::vector<std::shared_ptr<Channel>> channels = m_channels;
        std::vector<pollfd> watched = watchedDescriptors();
        const std::uint64_t settling = m_settleRequested;
        const int timeout = pollTimeout();
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
            m_changed.notify_all();
        }
    }
}

std::vector<pollfd> ServingLoop::watchedDescriptors() const {
    std::vector<pollfd> watched = {{m_wakeReceive.get(), POLLIN, 0}};
    for (const auto& channel : m_channels) {
        watched.push_back({channel->descriptor(), channel->events(), 0});
    }
    return watched;
}

int ServingLoop::pollTimeout() const {
    if (m_settled < m_settleRequested) {
        return 0;
    }
    if (m_timers.empty()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_timers.begin()->first - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

/// False when there was nothing to do.
bool ServingLoop::serve(const std::shared_ptr<Channel>& channel, short events) {
    if (events == 0 || std::find(m_channels.begin(), m_channels.end(), channel) == m_channels.end()) {
        return false;
    }
    bool goesOn = false;
    try {
        goesOn = channel->handle(events);
    } catch (const std::exception& failure) {
        report(failure);
    }
    if (!goesOn) {
        remove(channel.get());
    }
    return true;
}

bool ServingLoop::runDueTimers() {
    bool any = false;
    while (!m_timers.empty() && m_timers.begin()->first <= Clock::now()) {
        const std::function<void()> action = std::move(m_timers.begin()->second.action);
        m_timers.erase(m_timers.begin());
        any = true;
        try {
            action();
        } catch (const std::exception& failure) {
            report(failure);
        }
    }
    return any;
}

bool ServingLoop::drainWakeups() {
    std::array<char, 64> bytes{};
    bool any = false;
    while (::recv(m_wakeReceive.get(), bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
        any = true;
    }
    return any;
}

bool Listener::handle(short /*events*/) {
    FileDescriptor client(::accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (client.isOpen()) {
        m_accept(std::move(client));
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        m_restsUntil = ServingLoop::Clock::now() + kRest;
        m_loop.schedule(this, m_restsUntil, [] {});
    }
    return true;
}

} // namespace pdasim
