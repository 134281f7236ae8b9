#include "core/Texts.h"
#include "core/messages/Answers.h"
#include "core/messages/Records.h"

namespace pdasim {

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

} // namespace pdasim
