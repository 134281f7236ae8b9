#include "core/messages/Answers.h"

namespace pdasim {

Reply answerKeyInstallation(const Request& request, TerminalState& state) {
    state.keys.master = Key{request["Ex_Key"], request["Ex_CheckVal"]};
    return Reply().withResult(code::Accepted);
}

Reply answerKeyCheckValue(const Request& /*request*/, TerminalState& state) {
    if (!state.keys.master) {
        return Reply().with("Ex_CheckVal", "").withResult(code::NoKey);
    }
    return Reply().with("Ex_CheckVal", state.keys.master->checkValue).withResult(code::Accepted);
}

Reply answerWorkKeys(const Request& request, TerminalState& state) {
    state.keys.encryption = Key{request["Ex_EncKey"], request["Ex_EncChkVal"]};
    state.keys.mac = Key{request["Ex_MacKey"], request["Ex_MacChkVal"]};
    return Reply().withResult(code::Accepted);
}

} // namespace pdasim
