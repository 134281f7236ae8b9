#include "pdasim/ActingUser.h"

#include "core/Texts.h"

#include <chrono>

namespace pdasim {

namespace {

using namespace std::chrono_literals;

/** Longer than a host takes to collect a reply, so that nothing gets between. */
constexpr auto HumanPause = 300ms;
constexpr auto Patience = 10s;
constexpr auto LookingInterval = 20ms;

Confirmation userA() {
    return {"user-a", "Ann Example", "F1A7", "5EED", "PWD-A", "MAC-A"};
}

Confirmation userB() {
    return {"user-b", "Ben Example", "F2B8", "5EEE", "PWD-B", "MAC-B"};
}

HandoverResult confirmed(const std::string& labels) {
    HandoverResult result;
    result.time = "20260304050607";
    result.labels = listValues(labels);
    result.parties[0] = userA();
    result.parties[1] = userB();
    result.state = "1";
    return result;
}

} // namespace

ActingUser::ActingUser(SimulatedTerminal& terminal) : m_terminal(terminal), m_thread([this] { work(); }) {
}

ActingUser::~ActingUser() {
    m_stops = true;
    m_thread.join();
}

void ActingUser::work() {
    std::size_t seen = 0;
    while (!m_stops) {
        if (m_terminal.waitForMessages(seen + 1, LookingInterval)) {
            const ParsedMessage message = m_terminal.messages().at(seen);
            ++seen;
            reactTo(message);
        }
    }
}

void ActingUser::reactTo(const ParsedMessage& message) {
    if (message.type == "8004" && message.value("Ex_Cmd") == "1") {
        scan();
    } else if (message.type == "8006") {
        finishInventory();
    } else if (message.type == "8008") {
        m_pendingTask = message.value("Ex_TaskId").value_or("");
        std::this_thread::sleep_for(HumanPause);
        m_terminal.announce(loginRecord(userA()));
    } else if (message.type == "9002" && message.value("Ex_RetCode") == code::Accepted &&
               !m_pendingTask.empty()) {
        confirmDotHandover();
    } else if (message.type == "8010") {
        m_powerTask = message.value("Ex_TaskId").value_or("");
        confirmPowerHandover();
    }
}

void ActingUser::announceAndWait(const Announcement& announcement) {
    const std::size_t before = m_terminal.acknowledgements().size();
    std::this_thread::sleep_for(HumanPause);
    m_terminal.announce(announcement);
    const auto deadline = std::chrono::steady_clock::now() + Patience;
    while (!m_stops && m_terminal.acknowledgements().size() == before &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(LookingInterval);
    }
}

void ActingUser::scan() {
    for (const char* label : {"BAG-0001", "BAG-0002", "BAG-0003"}) {
        announceAndWait(scannedLabel(label));
    }
}

void ActingUser::finishInventory() {
    InventoryResult result;
    m_terminal.changeState([&result](TerminalState& state) {
        result = state.inventory.result;
        result.taskId = state.inventory.task.taskId;
        result.labels = listValues(state.inventory.task.labels);
        result.confirmation = userA();
        result.state = "1";
        state.inventory.result = result;
    });
    announceAndWait(inventoryRecord(result));
}

void ActingUser::confirmDotHandover() {
    DotHandover handover;
    m_terminal.changeState([this, &handover](TerminalState& state) {
        DotHandover& pending = state.dotHandovers[m_pendingTask];
        pending.result = confirmed(pending.task.labels);
        handover = pending;
    });
    m_pendingTask.clear();
    announceAndWait(dotHandoverRecord(handover.road, handover.result));
}

void ActingUser::confirmPowerHandover() {
    PowerHandover handover;
    m_terminal.changeState([this, &handover](TerminalState& state) {
        PowerHandover& pending = state.powerHandovers[m_powerTask];
        pending.result = confirmed(pending.task.labels);
        handover = pending;
    });
    announceAndWait(powerHandoverRecord(handover.batch, handover.result));
}

} // namespace pdasim
