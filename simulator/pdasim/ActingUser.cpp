#include "pdasim/ActingUser.h"

#include "System.h"
#include "core/MessageChecker.h"

#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace pdasim {

namespace {

using namespace std::chrono_literals;

/// After that long without an acknowledgement the user goes on.
constexpr auto kPatience = 10s;

} // namespace

void MessageListener::receive(const std::string& text) {
    static const std::set<std::string> interesting = {"8004", "8006", "8008", "8010", "9002"};
    const std::string type =
        text.size() < header::kSize ? std::string() : text.substr(header::kTypeOffset, 4);
    const std::lock_guard lock(m_mutex);
    if (interesting.count(type) != 0) {
        m_messages.push_back(MessageChecker().check(text).message);
    }
    ++m_count;
    m_received.notify_all();
}

ActingUser::ActingUser(SimulatedTerminal& terminal, UserProfile profile,
                       std::shared_ptr<MessageListener> listener)
    : m_terminal(terminal),
      m_profile(std::move(profile)),
      m_listener(std::move(listener)),
      m_thread([this] { work(); }) {
}

ActingUser::~ActingUser() {
    {
        const std::lock_guard lock(m_listener->m_mutex);
        m_listener->m_userLeaves = true;
    }
    m_listener->m_received.notify_all();
    m_thread.join();
}

void ActingUser::work() {
    while (true) {
        std::unique_lock lock(m_listener->m_mutex);
        m_listener->m_received.wait(
            lock, [this] { return m_listener->m_userLeaves || !m_listener->m_messages.empty(); });
        if (m_listener->m_userLeaves) {
            return;
        }
        const ParsedMessage message = std::move(m_listener->m_messages.front());
        m_listener->m_messages.pop_front();
        lock.unlock();
        reactTo(message);
    }
}

void ActingUser::reactTo(const ParsedMessage& message) {
    if (message.type == "9002") {
        takeLoginResult(message);
    } else if (!pause()) {
        return;
    } else if (message.type == "8004") {
        scan();
    } else if (message.type == "8006") {
        takeInventory(message);
    } else {
        handOver();
    }
}

void ActingUser::takeInventory(const ParsedMessage& task) {
    std::optional<Announcement> record;
    m_terminal.changeState([this, &task, &record](TerminalState& state) {
        // The terminal may have refused it.
        if (task.value("Ex_TaskId") == state.inventory.task.taskId) {
            record = finishInventory(state, completion());
        }
    });
    if (record) {
        announceAndWait(*record);
    }
}

/// A run that the terminal has refused, or that has been stopped, brings nothing.
void ActingUser::scan() {
    for (const std::string& label : m_profile.labels) {
        bool running = false;
        m_terminal.changeState([&running](const TerminalState& state) { running = state.scan.running; });
        if (!running) {
            return;
        }
        announceAndWait(scannedLabel(label));
        if (!pause()) {
            return;
        }
    }
}

void ActingUser::handOver() {
    if (m_loggedIn) {
        confirmHandovers();
    } else {
        m_terminal.announce(loginRecord(completion().userA));
    }
}

void ActingUser::takeLoginResult(const ParsedMessage& response) {
    m_loggedIn = response.value("Ex_RetCode") == code::Accepted;
    if (m_loggedIn && pause()) {
        confirmHandovers();
    }
}

void ActingUser::confirmHandovers() {
    std::vector<Announcement> records;
    m_terminal.changeState([this, &records](TerminalState& state) {
        for (const Announced kind : {Announced::DotHandover, Announced::PowerHandover}) {
            for (const std::string& task : openHandovers(state, kind)) {
                records.push_back(*finishHandover(state, kind, task, completion()));
            }
        }
    });
    for (const Announcement& record : records) {
        announceAndWait(record);
    }
}

/// False when the user is to stop.
bool ActingUser::waitUntil(std::chrono::milliseconds time, const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    std::unique_lock lock(m_listener->m_mutex);
    while (!m_listener->m_userLeaves) {
        const std::size_t before = m_listener->m_count;
        // Asked without the lock: the terminal holds its own while it tells what it hears.
        lock.unlock();
        if (condition()) {
            return true;
        }
        lock.lock();
        const auto hasNews = [this, before] {
            return m_listener->m_userLeaves || m_listener->m_count != before;
        };
        if (!m_listener->m_received.wait_until(lock, deadline, hasNews)) {
            return true;
        }
    }
    return false;
}

bool ActingUser::pause() {
    return waitUntil(m_profile.pace, [] { return false; });
}

void ActingUser::announceAndWait(const Announcement& announcement) {
    const std::size_t before = m_terminal.acknowledgements().size();
    m_terminal.announce(announcement);
    (void)waitUntil(kPatience, [this, before] { return m_terminal.acknowledgements().size() > before; });
}

Completion ActingUser::completion() const {
    return {confirmationOf(m_profile.login, m_profile.name, m_profile.password),
            confirmationOf("user-b", "Ben Example", "PWD-B"),
            {},
            localStamp()};
}

} // namespace pdasim
