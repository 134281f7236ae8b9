#include "control/Commands.h"

#include <cstdint>
#include <utility>

namespace pdasim {

namespace {

template <typename Container>
Document describeEach(const Container& container);

Document describe(const Confirmation& confirmation) {
    return {{"login", confirmation.login},
            {"name", confirmation.name},
            {"fingerprint", confirmation.fingerprint},
            {"random", confirmation.random},
            {"password", confirmation.password},
            {"checkValue", confirmation.checkValue}};
}

Document describe(const Identity& identity) {
    return {{"eimi", identity.eimi},
            {"bleVersion", identity.bleVersion},
            {"pdaVersion", identity.pdaVersion},
            {"vendor", identity.vendor},
            {"returnCode", identity.returnCode}};
}

Document describe(const Inventory& inventory) {
    const InventoryResult& result = inventory.result;
    return {{"taskId", inventory.task.taskId},
            {"taskLabels", inventory.task.labels},
            {"labels", result.labels},
            {"errorLabels", result.errorLabels},
            {"confirmation", describe(result.confirmation)},
            {"state", result.state}};
}

Document describe(const std::pair<const std::string, Handover>& entry) {
    const auto& [taskId, handover] = entry;
    return {{"taskId", taskId},
            {"taskLabels", handover.task.labels},
            {"time", handover.result.time},
            {"labels", handover.result.labels},
            {"errorLabels", handover.result.errorLabels},
            {"parties", describeEach(handover.result.parties)},
            {"state", handover.result.state}};
}

Document describe(const std::optional<Key>& key) {
    return key ? Document{{"value", key->value}, {"checkValue", key->checkValue}} : Document();
}

Document describe(const Lock& lock) {
    return {{"id", lock.id},         {"label", lock.label},   {"status", lock.status},  {"rssi", lock.rssi},
            {"params", lock.params}, {"random", lock.random}, {"battery", lock.battery}};
}

Document describe(const LockOperation& operation) {
    return {{"lockId", operation.lockId}, {"action", operation.action}, {"userA", operation.userA},
            {"userB", operation.userB},   {"result", operation.result}, {"openTime", operation.openTime}};
}

Document describe(const WrittenLabel& label) {
    return {{"label", label.label},
            {"organisation", label.organisation},
            {"bagType", label.bagType},
            {"tagId", label.tagId}};
}

Document describe(const std::pair<const std::int32_t, SentFile>& entry) {
    const auto& [command, file] = entry;
    return {{"command", command},
            {"info", file.info},
            {"digits", file.text().size()},
            {"complete", file.isComplete()}};
}

Document describe(const std::pair<const std::int32_t, std::string>& offered) {
    return {{"command", offered.first}, {"digits", offered.second.size()}};
}

Document describe(const Acknowledgement& acknowledgement) {
    return {{"type", acknowledgement.type},
            {"of", nameOf(acknowledgement.kind)},
            {"answers", acknowledgement.answers}};
}

template <typename Container>
Document describeEach(const Container& container) {
    Document list = Document::array();
    for (const auto& element : container) {
        list.push_back(describe(element));
    }
    return list;
}

Document describe(const TerminalState& state) {
    return {
        {"identity", describe(state.identity)},
        {"assignedNumber", state.assignedNumber},
        {"factory", state.factory},
        {"writtenLabels", describeEach(state.writtenLabels)},
        {"scan", {{"running", state.scan.running}, {"labels", state.scan.labels}}},
        {"inventory", describe(state.inventory)},
        {"dotHandovers", describeEach(state.dotHandovers)},
        {"powerHandovers", describeEach(state.powerHandovers)},
        {"keys",
         {{"master", describe(state.keys.master)},
          {"encryption", describe(state.keys.encryption)},
          {"mac", describe(state.keys.mac)}}},
        {"files", {{"sent", describeEach(state.files.sent)}, {"offered", describeEach(state.files.offered)}}},
        {"tellers",
         {{"registered", state.tellers.registered},
          {"authenticationResults", state.tellers.authenticationResults},
          {"escorts", state.tellers.escorts}}},
        {"bleMac", state.bleMac},
        {"locks", describeEach(state.locks)},
        {"lockOperations", describeEach(state.lockOperations)}};
}

} // namespace

Document describeState(SimulatedTerminal& terminal) {
    Document state;
    terminal.changeState([&state](const TerminalState& now) { state = describe(now); });
    const std::string node = terminal.nodePath();
    return {{"node", node},
            {"plugged", !node.empty()},
            {"openDescriptors", terminal.openDescriptors()},
            {"messagesReceived", terminal.messages().size()},
            {"violations", terminal.violations()},
            {"acknowledgements", describeEach(terminal.acknowledgements())},
            {"state", std::move(state)}};
}

} // namespace pdasim
