#include "core/Texts.h"
#include "core/messages/Answers.h"
#include "core/messages/Records.h"

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

/** A task that the terminal has never heard of has nothing to show and is not over. */
template <typename Handover>
Handover handoverOf(const std::map<std::string, Handover>& handovers, const std::string& taskId) {
    const auto found = handovers.find(taskId);
    return found == handovers.end() ? Handover() : found->second;
}

} // namespace

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
