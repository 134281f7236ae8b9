#include "core/Texts.h"
#include "core/messages/Answers.h"
#include "core/messages/Checks.h"

#include <string>

namespace pdasim {

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

} // namespace pdasim
