#include "core/Texts.h"
#include "core/messages/Answers.h"

#include <string>

namespace pdasim {

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

} // namespace pdasim
