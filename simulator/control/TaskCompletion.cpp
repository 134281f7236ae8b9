#include "control/TaskCompletion.h"

#include "core/Texts.h"

#include <algorithm>
#include <iterator>

namespace pdasim {

namespace {

constexpr const char* kUnderWay = "0";
constexpr const char* kFinished = "1";

std::vector<std::string> withoutErrors(const std::string& labels, const std::vector<std::string>& errors) {
    std::vector<std::string> found;
    for (const std::string& label : listValues(labels)) {
        if (std::find(errors.begin(), errors.end(), label) == errors.end()) {
            found.push_back(label);
        }
    }
    return found;
}

HandoverResult handedOver(const std::string& labels, const Completion& completion) {
    HandoverResult result;
    result.time = completion.time;
    result.labels = withoutErrors(labels, completion.errorLabels);
    result.errorLabels = completion.errorLabels;
    result.parties = {completion.userA, completion.userB, {}};
    result.state = kFinished;
    return result;
}

template <typename Handover>
std::vector<std::string> underWay(const std::map<std::string, Handover>& handovers) {
    std::vector<std::string> taskIds;
    for (const auto& [taskId, handover] : handovers) {
        if (handover.result.state == kUnderWay) {
            taskIds.push_back(taskId);
        }
    }
    return taskIds;
}

} // namespace

Confirmation confirmationOf(const std::string& login, const std::string& name, const std::string& password) {
    return {login, name, "F1A7", "5EED", password, "MAC-A"};
}

std::optional<Announcement> finishInventory(TerminalState& state, const Completion& completion) {
    const InventoryTask& task = state.inventory.task;
    if (task.taskId.empty()) {
        return std::nullopt;
    }
    InventoryResult& result = state.inventory.result;
    result.taskId = task.taskId;
    result.labels = withoutErrors(task.labels, completion.errorLabels);
    result.errorLabels = completion.errorLabels;
    result.confirmation = completion.userA;
    result.state = kFinished;
    return inventoryRecord(result);
}

std::optional<Announcement> finishDotHandover(TerminalState& state, const std::string& taskId,
                                              const Completion& completion) {
    const auto found = state.dotHandovers.find(taskId);
    if (found == state.dotHandovers.end()) {
        return std::nullopt;
    }
    found->second.result = handedOver(found->second.task.labels, completion);
    return dotHandoverRecord(found->second.road, found->second.result);
}

std::optional<Announcement> finishPowerHandover(TerminalState& state, const std::string& taskId,
                                                const Completion& completion) {
    const auto found = state.powerHandovers.find(taskId);
    if (found == state.powerHandovers.end()) {
        return std::nullopt;
    }
    found->second.result = handedOver(found->second.task.labels, completion);
    return powerHandoverRecord(found->second.batch, found->second.result);
}

std::vector<std::string> openDotHandovers(const TerminalState& state) {
    return underWay(state.dotHandovers);
}

std::vector<std::string> openPowerHandovers(const TerminalState& state) {
    return underWay(state.powerHandovers);
}

} // namespace pdasim
