#include "core/Texts.h"
#include "core/messages/Answers.h"

#include <string>
#include <utility>

namespace pdasim {

namespace {

Reply resultReply(Tag subject, const HandoverResult& result) {
    Reply reply;
    reply.with(subject.name, std::move(subject.value))
        .with("Ex_Time", result.time)
        .with("Ex_Label", listText(result.labels))
        .with("Ex_ErrLabel", listText(result.errorLabels));
    addParties(reply.tags, result);
    return reply.with("Ex_State", result.state);
}

/// A task that the terminal has never heard of has nothing to show and is not over.
template <typename Handover>
Handover handoverOf(const std::map<std::string, Handover>& handovers, const std::string& taskId) {
    const auto found = handovers.find(taskId);
    return found == handovers.end() ? Handover() : found->second;
}

} // namespace

Reply answerLabelWriting(const Request& request, TerminalState& state) {
    const std::string tagId = "TID" + sequenceText(static_cast<int>(state.writtenLabels.size()) + 1);
    state.writtenLabels.push_back({request["Ex_Label"], request["Ex_OrgNm"], request["Ex_BagType"], tagId});
    return Reply().with("Ex_Tid", tagId).withResult(code::Accepted);
}

Reply answerScanCommand(const Request& request, TerminalState& state) {
    const std::string& command = request["Ex_Cmd"];
    if (command == "1") {
        state.scan = {true, {}};
    } else if (command == "0") {
        state.scan.running = false;
    } else {
        return Reply().withResult(code::UnknownCommand);
    }
    return Reply().withResult(code::Accepted);
}

Reply answerScanList(const Request& /*request*/, TerminalState& state) {
    return Reply()
        .with("Ex_Label", listText(state.scan.labels))
        .with("Ex_ScanState", state.scan.running ? "1" : "0");
}

Reply answerInventoryTask(const Request& request, TerminalState& state) {
    state.inventory = {};
    state.inventory.task = {request["Ex_PdaSn"], request["Ex_TaskId"], request["Ex_Total"],
                            request["Ex_Label"]};
    state.inventory.result.taskId = request["Ex_TaskId"];
    return Reply().withResult(code::Accepted);
}

Reply answerInventoryResult(const Request& /*request*/, TerminalState& state) {
    const InventoryResult& result = state.inventory.result;
    Reply reply;
    reply.with("Ex_TaskId", result.taskId)
        .with("Ex_Label", listText(result.labels))
        .with("Ex_ErrLabel", listText(result.errorLabels))
        .with("Ex_Offline", result.offline);
    addConfirmation(reply.tags, "Ex_", result.confirmation);
    return reply.with("Ex_InvenSta", result.state);
}

void addConfirmation(Tags& tags, std::string_view prefix, const Confirmation& confirmation) {
    const auto add = [&tags, prefix](std::string_view name, const std::string& value) {
        tags.push_back({std::string(prefix).append(name), value});
    };
    add("Login", confirmation.login);
    add("Name", confirmation.name);
    add("FigData", confirmation.fingerprint);
    add("Rnd", confirmation.random);
    add("Pwd", confirmation.password);
    add("MacChkVal", confirmation.checkValue);
}

void addParties(Tags& tags, const HandoverResult& result) {
    addConfirmation(tags, "Ex_A", result.parties[0]);
    addConfirmation(tags, "Ex_B", result.parties[1]);
    addConfirmation(tags, "Ex_C", result.parties[2]);
}

Reply answerDotTask(const Request& request, TerminalState& state) {
    DotHandover handover;
    handover.task = {request["Ex_PdaSn"],    request["Ex_TaskType"], request["Ex_Road"],
                     request["Ex_ExcgTime"], request["Ex_OrgNum"],   request["Ex_OrgNm"],
                     request["Ex_Total"],    request["Ex_Label"],    request["Ex_UserA"],
                     request["Ex_UserB"]};
    handover.road = handover.task.road;
    state.dotHandovers[request["Ex_TaskId"]] = std::move(handover);
    return Reply().withResult(code::Accepted);
}

Reply answerDotResult(const Request& request, TerminalState& state) {
    const DotHandover handover = handoverOf(state.dotHandovers, request["Ex_TaskId"]);
    return resultReply({"Ex_Road", handover.road}, handover.result);
}

Reply answerPowerTask(const Request& request, TerminalState& state) {
    PowerHandover handover;
    handover.task = {request["Ex_PdaSn"],   request["Ex_OrgNb"], request["Ex_Time"], request["Ex_OrgNm"],
                     request["Ex_BatchNb"], request["Ex_Total"], request["Ex_Label"]};
    handover.batch = handover.task.batch;
    state.powerHandovers[request["Ex_TaskId"]] = std::move(handover);
    return Reply().withResult(code::Accepted);
}

Reply answerPowerResult(const Request& request, TerminalState& state) {
    const PowerHandover handover = handoverOf(state.powerHandovers, request["Ex_TaskId"]);
    return resultReply({"Ex_BatchNb", handover.batch}, handover.result);
}

} // namespace pdasim
