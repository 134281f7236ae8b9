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
Handover handoverOf(const Handovers& handovers, const std::string& taskId) {
    const auto found = handovers.find(taskId);
    return found == handovers.end() ? Handover() : found->second;
}

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
    return accepted();
}

Reply answerScanList(const Request& /*request*/, TerminalState& state) {
    return Reply()
        .with("Ex_Label", listText(state.scan.labels))
        .with("Ex_ScanState", state.scan.running ? "1" : "0");
}

Reply answerInventoryTask(const Request& request, TerminalState& state) {
    state.inventory = {};
    state.inventory.task = {request["Ex_TaskId"], request["Ex_Total"], request["Ex_Label"]};
    state.inventory.result.taskId = request["Ex_TaskId"];
    return accepted();
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

Reply answerDotTask(const Request& request, TerminalState& state) {
    state.dotHandovers[request["Ex_TaskId"]] = {{request["Ex_Road"], "", request["Ex_Label"]}, {}};
    return accepted();
}

Reply answerDotResult(const Request& request, TerminalState& state) {
    const Handover handover = handoverOf(state.dotHandovers, request["Ex_TaskId"]);
    return resultReply({"Ex_Road", handover.task.road}, handover.result);
}

Reply answerPowerTask(const Request& request, TerminalState& state) {
    state.powerHandovers[request["Ex_TaskId"]] = {{"", request["Ex_BatchNb"], request["Ex_Label"]}, {}};
    return accepted();
}

Reply answerPowerResult(const Request& request, TerminalState& state) {
    const Handover handover = handoverOf(state.powerHandovers, request["Ex_TaskId"]);
    return resultReply({"Ex_BatchNb", handover.task.batch}, handover.result);
}

} // namespace

void addConfirmation(Tags& tags, std::string_view prefix, const Confirmation& confirmation) {
    const Tags all = {{"Login", confirmation.login},         {"Name", confirmation.name},
                      {"FigData", confirmation.fingerprint}, {"Rnd", confirmation.random},
                      {"Pwd", confirmation.password},        {"MacChkVal", confirmation.checkValue}};
    for (const auto& [name, value] : all) {
        tags.push_back({std::string(prefix).append(name), value});
    }
}

void addParties(Tags& tags, const HandoverResult& result) {
    addConfirmation(tags, "Ex_A", result.parties[0]);
    addConfirmation(tags, "Ex_B", result.parties[1]);
    addConfirmation(tags, "Ex_C", result.parties[2]);
}

// clang-format off
std::vector<MessageRow> bagRows() {
    return {
        {"8003", "label writing", {"Ex_Label", "Ex_OrgNm", "Ex_BagType"}, answerLabelWriting},
        {"8004", "scan command", {"Ex_PdaSn", "Ex_Cmd"}, answerScanCommand},
        {"8005", "scan list", {"Ex_PdaSn"}, answerScanList},

        {"8006", "inventory task", {"Ex_PdaSn", "Ex_TaskId", number("Ex_Total"), "Ex_Label"}, answerInventoryTask},
        {"8007", "inventory result", {"Ex_PdaSn"}, answerInventoryResult},

        {"8008", "dot handover task",
         {"Ex_PdaSn", "Ex_TaskId", number("Ex_TaskType"), "Ex_Road", "Ex_ExcgTime", "Ex_OrgNum", "Ex_OrgNm",
          number("Ex_Total"), "Ex_Label", "Ex_UserA", "Ex_UserB"},
         answerDotTask, nullptr, std::nullopt, LengthUnit::Bytes},
        {"8009", "dot handover result", {"Ex_PdaSn", "Ex_TaskId"}, answerDotResult},
        {"8010", "power handover task",
         {"Ex_PdaSn", "Ex_OrgNb", "Ex_Time", "Ex_OrgNm", "Ex_BatchNb", "Ex_TaskId", number("Ex_Total"), "Ex_Label"},
         answerPowerTask},
        {"8011", "power handover result", {"Ex_PdaSn", "Ex_TaskId"}, answerPowerResult},
    };
}
// clang-format on

} // namespace pdasim
