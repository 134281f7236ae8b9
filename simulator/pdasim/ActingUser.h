#pragma once

#include "SimulatedTerminal.h"

#include <atomic>
#include <thread>

namespace pdasim {

/**
 * Somebody who works at the terminal: scans three labels when a scan run starts, finds every bag of an
 * inventory, and confirms handovers, a dot handover once the host has let the user log in.
 *
 * Acts a moment after the host has been answered, as people do, until the object goes.
 */
class ActingUser {
public:
    explicit ActingUser(SimulatedTerminal& terminal);
    ActingUser(const ActingUser&) = delete;
    ActingUser& operator=(const ActingUser&) = delete;
    ~ActingUser();

private:
    void work();
    void reactTo(const ParsedMessage& message);
    void scan();
    void finishInventory();
    void confirmDotHandover();
    void confirmPowerHandover();
    void announceAndWait(const Announcement& announcement);

    SimulatedTerminal& m_terminal;
    /** The handover that waits for its user's login. */
    std::string m_pendingTask;
    std::string m_powerTask;
    std::atomic<bool> m_stops{false};
    std::thread m_thread;
};

} // namespace pdasim
