#include "control/StateDocument.h"

#include <cstdint>
#include <utility>

namespace pdasim {

namespace {

Json count(std::size_t value) {
    return Json::integer(static_cast<std::int64_t>(value));
}

Json describe(const Confirmation& confirmation) {
    return Json::object()
        .with("login", confirmation.login)
        .with("name", confirmation.name)
        .with("fingerprint", confirmation.fingerprint)
        .with("random", confirmation.random)
        .with("password", confirmation.password)
        .with("checkValue", confirmation.checkValue);
}

Json describe(const Identity& identity) {
    return Json::object()
        .with("eimi", identity.eimi)
        .with("bleVersion", identity.bleVersion)
        .with("pdaVersion", identity.pdaVersion)
        .with("vendor", identity.vendor)
        .with("returnCode", identity.returnCode);
}

Json describe(const Inventory& inventory) {
    const InventoryResult& result = inventory.result;
    return Json::object()
        .with("taskId", inventory.task.taskId)
        .with("taskLabels", inventory.task.labels)
        .with("labels", Json::array(result.labels))
        .with("errorLabels", Json::array(result.errorLabels))
        .with("confirmation", describe(result.confirmation))
        .with("state", result.state);
}

template <typename Handover>
Json describeHandovers(const std::map<std::string, Handover>& handovers) {
    Json list = Json::array();
    for (const auto& [taskId, handover] : handovers) {
        Json parties = Json::array();
        for (const Confirmation& party : handover.result.parties) {
            parties.append(describe(party));
        }
        list.append(Json::object()
                        .with("taskId", taskId)
                        .with("taskLabels", handover.task.labels)
                        .with("time", handover.result.time)
                        .with("labels", Json::array(handover.result.labels))
                        .with("errorLabels", Json::array(handover.result.errorLabels))
                        .with("parties", std::move(parties))
                        .with("state", handover.result.state));
    }
    return list;
}

Json describe(const std::optional<Key>& key) {
    return key ? Json::object().with("value", key->value).with("checkValue", key->checkValue) : Json();
}

Json describe(const Lock& lock) {
    return Json::object()
        .with("id", lock.id)
        .with("label", lock.label)
        .with("status", lock.status)
        .with("rssi", lock.rssi)
        .with("params", lock.params)
        .with("random", lock.random)
        .with("battery", lock.battery);
}

Json describeLocks(const TerminalState& state) {
    Json locks = Json::array();
    for (const Lock& lock : state.locks) {
        locks.append(describe(lock));
    }
    return locks;
}

Json describeOperations(const TerminalState& state) {
    Json operations = Json::array();
    for (const LockOperation& operation : state.lockOperations) {
        operations.append(Json::object()
                              .with("lockId", operation.lockId)
                              .with("action", operation.action)
                              .with("userA", operation.userA)
                              .with("userB", operation.userB)
                              .with("result", operation.result)
                              .with("openTime", operation.openTime));
    }
    return operations;
}

Json describeLabels(const TerminalState& state) {
    Json labels = Json::array();
    for (const WrittenLabel& label : state.writtenLabels) {
        labels.append(Json::object()
                          .with("label", label.label)
                          .with("organisation", label.organisation)
                          .with("bagType", label.bagType)
                          .with("tagId", label.tagId));
    }
    return labels;
}

Json describe(const Files& files) {
    Json sent = Json::array();
    for (const auto& [command, file] : files.sent) {
        sent.append(Json::object()
                        .with("command", Json::integer(command))
                        .with("info", file.info)
                        .with("digits", count(file.text().size()))
                        .with("complete", Json::boolean(file.isComplete())));
    }
    Json offered = Json::array();
    for (const auto& [command, text] : files.offered) {
        offered.append(
            Json::object().with("command", Json::integer(command)).with("digits", count(text.size())));
    }
    return Json::object().with("sent", std::move(sent)).with("offered", std::move(offered));
}

Json describe(const TerminalState& state) {
    return Json::object()
        .with("identity", describe(state.identity))
        .with("assignedNumber", state.assignedNumber)
        .with("factory", state.factory)
        .with("writtenLabels", describeLabels(state))
        .with("scan", Json::object()
                          .with("running", Json::boolean(state.scan.running))
                          .with("labels", Json::array(state.scan.labels)))
        .with("inventory", describe(state.inventory))
        .with("dotHandovers", describeHandovers(state.dotHandovers))
        .with("powerHandovers", describeHandovers(state.powerHandovers))
        .with("keys", Json::object()
                          .with("master", describe(state.keys.master))
                          .with("encryption", describe(state.keys.encryption))
                          .with("mac", describe(state.keys.mac)))
        .with("files", describe(state.files))
        .with("tellers", Json::object()
                             .with("registered", state.tellers.registered)
                             .with("authenticationResults", Json::array(state.tellers.authenticationResults))
                             .with("escorts", Json::array(state.tellers.escorts)))
        .with("bleMac", state.bleMac)
        .with("locks", describeLocks(state))
        .with("lockOperations", describeOperations(state));
}

Json describe(const std::vector<Acknowledgement>& acknowledgements) {
    Json list = Json::array();
    for (const Acknowledgement& acknowledgement : acknowledgements) {
        list.append(Json::object()
                        .with("type", acknowledgement.type)
                        .with("of", std::string(nameOf(acknowledgement.kind)))
                        .with("answers", acknowledgement.answers));
    }
    return list;
}

} // namespace

Json describeState(SimulatedTerminal& terminal) {
    Json state;
    terminal.changeState([&state](const TerminalState& now) { state = describe(now); });
    const std::string node = terminal.nodePath();
    return Json::object()
        .with("node", node)
        .with("plugged", Json::boolean(!node.empty()))
        .with("openDescriptors", Json::integer(terminal.openDescriptors()))
        .with("messagesReceived", count(terminal.messages().size()))
        .with("violations", Json::array(terminal.violations()))
        .with("acknowledgements", describe(terminal.acknowledgements()))
        .with("state", std::move(state));
}

} // namespace pdasim
