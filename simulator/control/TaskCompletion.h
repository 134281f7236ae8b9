#pragma once

#include "core/Announcement.h"
#include "core/TerminalState.h"

#include <optional>
#include <string>
#include <vector>

namespace pdasim {

/// Who confirms a task, and what was missing.
struct Completion {
    Confirmation userA;
    Confirmation userB;
    std::vector<std::string> errorLabels;
    /// yyyyMMddhhmmss.
    std::string time;
};

/// What a user of that login leaves behind.
Confirmation confirmationOf(const std::string& login, const std::string& name, const std::string& password);

// Each finishes a task with all of its labels but the wrong ones, and gives the record that tells the host.
// Nothing without such a task.

std::optional<Announcement> finishInventory(TerminalState& state, const Completion& completion);
/// A dot or a power handover.
std::optional<Announcement> finishHandover(TerminalState& state, Announced kind, const std::string& taskId,
                                           const Completion& completion);

/// The tasks of a kind of handover that are under way.
std::vector<std::string> openHandovers(const TerminalState& state, Announced kind);

} // namespace pdasim
