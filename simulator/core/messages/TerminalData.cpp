#include "core/Texts.h"
#include "core/messages/Answers.h"

#include <string>

namespace pdasim {

namespace {

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

Reply answerKeyInstallation(const Request& request, TerminalState& state) {
    state.keys.master = Key{request["Ex_Key"], request["Ex_CheckVal"]};
    return accepted();
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
    return accepted();
}

/// Ex_Total counts the items of the list after it.
void checkItemCount(const ParsedMessage& message, std::vector<std::string>& violations) {
    const Tag& total = message.tags.at(message.tags.size() - 2);
    const Tag& list = message.tags.back();
    const std::string count = std::to_string(listValues(list.value).size());
    if (total.value != count) {
        violations.push_back(total.name + " is " + quoted(total.value) + ", " + list.name + " has " + count +
                             " items");
    }
}

Reply answerRegisteredTeller(const Request& /*request*/, TerminalState& state) {
    const std::string& teller = state.tellers.registered;
    return Reply().withResult(teller.empty() ? code::NoTeller : code::Accepted).with("Ex_TellerNo", teller);
}

Reply answerAuthentication(const Request& request, TerminalState& state) {
    state.tellers.authenticationResults = listValues(request["Ex_AuthRet"]);
    return accepted();
}

Reply answerEscorts(const Request& request, TerminalState& state) {
    state.tellers.escorts = listValues(request["Ex_TellerNo"]);
    return accepted();
}

} // namespace

Reply accepted() {
    return Reply().withResult(code::Accepted);
}

// clang-format off
std::vector<MessageRow> terminalDataRows() {
    return {
        {"8001", "terminal information", {}, answerInformation},
        {"8002", "initialisation", {"Ex_PdaSn", "Ex_Factory"}, answerInitialisation},

        {"8012", "key installation", {"Ex_PdaSn", "Ex_Key", "Ex_CheckVal"}, answerKeyInstallation},
        {"8013", "key check value", {"Ex_PdaSn"}, answerKeyCheckValue},
        {"8014", "work keys", {"Ex_PdaSn", "Ex_EncKey", "Ex_MacKey", "Ex_EncChkVal", "Ex_MacChkVal"}, answerWorkKeys},

        {"8017", "registered teller", {"Ex_PdaSn"}, answerRegisteredTeller},
        {"8018", "authentication result", {"Ex_PdaSn", number("Ex_Total"), "Ex_AuthRet"}, answerAuthentication,
         checkItemCount},
        {"8019", "escort list", {"Ex_PdaSn", number("Ex_Total"), "Ex_TellerNo"}, answerEscorts, checkItemCount},
    };
}
// clang-format on

} // namespace pdasim
