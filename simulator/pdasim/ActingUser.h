#pragma once

#include "SimulatedTerminal.h"
#include "control/TaskCompletion.h"
#include "core/Message.h"
#include "scenario/Scenario.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace pdasim {

/// What reaches a user of the messages that a host sends. Outlives the user if it has to.
class MessageListener {
public:
    /// To be told of everything that a host sends, before the terminal has dealt with it.
    void receive(const std::string& text);

private:
    friend class ActingUser;

    std::mutex m_mutex;
    std::condition_variable m_received;
    std::deque<ParsedMessage> m_messages;
    /// How much has been heard, so that nothing is missed between a look and the wait for more.
    std::size_t m_count = 0;
    bool m_userLeaves = false;
};

/// Somebody who works at the terminal: scans labels when a scan run starts, finds every bag of an inventory,
/// and confirms handovers once the host has let the user log in.
///
/// Acts a moment after the host has been answered, as people do, until the object goes.
class ActingUser {
public:
    ActingUser(SimulatedTerminal& terminal, UserProfile profile, std::shared_ptr<MessageListener> listener);
    ActingUser(const ActingUser&) = delete;
    ActingUser& operator=(const ActingUser&) = delete;
    ~ActingUser();

private:
    void work();
    void reactTo(const ParsedMessage& message);
    void scan();
    void takeInventory(const ParsedMessage& task);
    void handOver();
    void takeLoginResult(const ParsedMessage& response);
    void confirmHandovers();
    bool pause();
    bool waitUntil(std::chrono::milliseconds time, const std::function<bool()>& condition);
    void announceAndWait(const Announcement& announcement);
    Completion completion() const;

    SimulatedTerminal& m_terminal;
    UserProfile m_profile;
    std::shared_ptr<MessageListener> m_listener;
    bool m_loggedIn = false;
    std::thread m_thread;
};

} // namespace pdasim
