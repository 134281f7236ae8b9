#include "core/messages/Answers.h"

namespace pdasim {

Reply answerInformation(const Request& /*request*/, TerminalState& state) {
    return Reply()
        .with("Ex_EIMI", state.identity.eimi)
        .with("Ex_BleVer", state.identity.bleVersion)
        .with("Ex_PdaVer", state.identity.pdaVersion)
        .withResult(state.identity.returnCode);
}

Reply answerInitialisation(const Request& request, TerminalState& state) {
    state.assignedNumber = request["Ex_PdaSn"];
    state.factory = request["Ex_Factory"];
    return Reply()
        .with("Ex_EIMI", state.identity.eimi)
        .with("Ex_Vender", state.identity.vendor)
        .withResult(state.identity.returnCode);
}

} // namespace pdasim
