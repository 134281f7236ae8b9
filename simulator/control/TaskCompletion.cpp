#include "control/TaskCompletion.h"

#include "core/Texts.h"

#include <algorithm>

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

std::optional<Announcement> finishHandover(TerminalState& state, Announced kind, const std::string& taskId,
                                           const Completion& completion) {
    const bool isDot = kind == Announced::DotHandover;
    Handovers& handovers = isDot ? state.dotHandovers : state.powerHandovers;
    const auto found = handovers.find(taskId);
    if (found == handovers.end()) {
        return std::nullopt;
    }
    auto& [task, result] = found->second;
    result = handedOver(task.labels, completion);
    return isDot ? dotHandoverRecord(task.road, result) : powerHandoverRecord(task.batch, result);
}

std::vector<std::string> openHandovers(const TerminalState& state, Announced kind) {
    std::vector<std::string> taskIds;
    for (const auto& [taskId, handover] :
         kind == Announced::DotHandover ? state.dotHandovers : state.powerHandovers) {
        if (handover.result.state == kUnderWay) {
            taskIds.push_back(taskId);
        }
    }
    return taskIds;
}

} // namespace pdasim
