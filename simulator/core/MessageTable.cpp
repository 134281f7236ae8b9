#include "core/MessageTable.h"

#include <algorithm>

namespace pdasim {

namespace {

std::vector<Tag> answerInformation(const std::vector<Tag>& /*requestBody*/, TerminalState& state) {
    return {{"Ex_EIMI", state.identity.eimi},
            {"Ex_BleVer", state.identity.bleVersion},
            {"Ex_PdaVer", state.identity.pdaVersion},
            {"Ex_RetCode", state.identity.returnCode}};
}

std::vector<Tag> answerInitialisation(const std::vector<Tag>& requestBody, TerminalState& state) {
    state.assignedNumber = requestBody.at(0).value;
    state.factory = requestBody.at(1).value;
    return {{"Ex_EIMI", state.identity.eimi},
            {"Ex_Vender", state.identity.vendor},
            {"Ex_RetCode", state.identity.returnCode}};
}

const std::vector<MessageRow>& messageRows() {
    static const std::vector<MessageRow> rows = {
        {"8001", "terminal information", {}, answerInformation},
        {"8002", "initialisation", {"Ex_PdaSn", "Ex_Factory"}, answerInitialisation},
    };
    return rows;
}

} // namespace

const MessageRow* findMessageRow(std::string_view type) {
    const std::vector<MessageRow>& rows = messageRows();
    const auto found =
        std::find_if(rows.begin(), rows.end(), [type](const MessageRow& row) { return row.type == type; });
    return found == rows.end() ? nullptr : &*found;
}

} // namespace pdasim
