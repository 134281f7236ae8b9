#include "core/messages/Records.h"

#include <string>

namespace pdasim {

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

} // namespace pdasim
