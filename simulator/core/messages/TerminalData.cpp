#include "core/TerminalState.h"
#include "core/Texts.h"
#include "core/messages/Answers.h"

#include <string>

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
    return Reply().withResult(code::Accepted);
}

Reply answerEscorts(const Request& request, TerminalState& state) {
    state.tellers.escorts = listValues(request["Ex_TellerNo"]);
    return Reply().withResult(code::Accepted);
}

void checkSuccess(const ParsedMessage& message, std::vector<std::string>& violations) {
    const auto expect = [&](std::string_view name, std::string_view expected) {
        const Tag* tag = findTag(message.tags, name);
        if (tag != nullptr && tag->value != expected) {
            violations.push_back(tag->name + " is " + quoted(tag->value) + " instead of " + quoted(expected));
        }
    };
    expect("Ex_RetCode", code::Accepted);
    expect("Ex_ScanState", "1");
}

} // namespace pdasim
