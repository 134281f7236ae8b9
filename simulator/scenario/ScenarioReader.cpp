#include "scenario/Fields.h"
#include "scenario/Rules.h"
#include "scenario/Scenario.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

namespace pdasim {

namespace {

constexpr std::size_t kMinReportSize = 8;
constexpr std::size_t kMaxReportSize = 1024;
constexpr std::int64_t kMaxFileSize = 100000000;

void takeDevice(const Value& value, Scenario& scenario) {
    takeObject(value, {{"manufacturer", text(scenario.device.manufacturer)},
                       {"product", text(scenario.device.product)},
                       {"serial", text(scenario.device.serial)},
                       {"reportSize", integer(scenario.reportSize, kMinReportSize, kMaxReportSize)}});
}

void takeIdentity(const Value& value, Identity& identity) {
    takeObject(value, {{"eimi", text(identity.eimi)},
                       {"bleVersion", text(identity.bleVersion)},
                       {"pdaVersion", text(identity.pdaVersion)},
                       {"vendor", text(identity.vendor)},
                       {"returnCode", text(identity.returnCode, kReturnCode)}});
}

void takeInventory(const Value& value, Inventory& inventory) {
    InventoryResult& result = inventory.result;
    // It is over, unless the scenario says otherwise.
    result.state = "1";
    takeObject(value, {{"taskId", text(result.taskId, kNonEmptyText), true},
                       {"labels", items(result.labels)},
                       {"errorLabels", items(result.errorLabels)},
                       {"login", text(result.confirmation.login)},
                       {"userName", text(result.confirmation.name)},
                       {"state", text(result.state)}});
    inventory.task.taskId = result.taskId;
}

void takeKey(const Value& value, std::optional<Key>& key) {
    key.emplace();
    takeObject(value, {{"value", text(key->value), true}, {"checkValue", text(key->checkValue), true}});
}

void takeState(const Value& value, TerminalState& state) {
    takeObject(value, {{"assignedNumber", text(state.assignedNumber)},
                       {"factory", text(state.factory)},
                       {"bleMac", text(state.bleMac)},
                       {"scanRunning", flag(state.scan.running)},
                       {"scannedLabels", items(state.scan.labels)},
                       {"inventory", with(takeInventory, state.inventory)},
                       {"masterKey", with(takeKey, state.keys.master)},
                       {"encryptionKey", with(takeKey, state.keys.encryption)},
                       {"macKey", with(takeKey, state.keys.mac)}});
}

void takeLock(const Value& value, std::vector<Lock>& locks) {
    Lock lock;
    const auto takeNewId = [&](const Value& id) {
        lock.id = takeText(id, kItem);
        id.require(std::none_of(locks.begin(), locks.end(),
                                [&lock](const Lock& other) { return other.id == lock.id; }),
                   "another lock has the id \"" + lock.id + "\"");
    };
    takeObject(value, {{"id", takeNewId, true},
                       {"label", text(lock.label, kColumn)},
                       {"status", text(lock.status, kColumn)},
                       {"rssi", text(lock.rssi, kColumn)},
                       {"version", text(lock.version)},
                       {"chipVersion", text(lock.chipVersion)},
                       {"params", text(lock.params)},
                       {"boot", text(lock.boot)},
                       {"applicationCheck", text(lock.applicationCheck)},
                       {"random", text(lock.random, kColumn)},
                       {"publicKey", text(lock.publicKey)},
                       {"factor", text(lock.factor)},
                       {"battery", text(lock.battery, kColumn)}});
    locks.push_back(std::move(lock));
}

void takeTellers(const Value& value, Tellers& tellers) {
    takeObject(value, {{"registered", text(tellers.registered)},
                       {"authenticationResults", items(tellers.authenticationResults)},
                       {"escorts", items(tellers.escorts)}});
}

void takeUser(const Value& value, UserProfile& user) {
    takeObject(value, {{"login", text(user.login, kNonEmptyText)},
                       {"name", text(user.name)},
                       {"password", text(user.password)},
                       {"labels", items(user.labels)},
                       {"pace", milliseconds(user.pace)}});
}

std::optional<std::string> bytesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path)) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string digitsOf(const std::string& bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string digits;
    digits.reserve(bytes.size() * 2);
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        digits.push_back(kDigits[byte / 16U]);
        digits.push_back(kDigits[byte % 16U]);
    }
    return digits;
}

std::string patternOf(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>((i * 7 + i / 256) % 256);
    }
    return bytes;
}

void takeFile(const Value& value, const std::filesystem::path& folder, Files& files) {
    using Limits = std::numeric_limits<std::int32_t>;
    std::int32_t command = 0;
    std::string content;
    const auto takeNewCommand = [&](const Value& number) {
        command = static_cast<std::int32_t>(takeInteger(number, Limits::min(), Limits::max()));
        number.require(files.offered.count(command) == 0, "another file has this command");
    };
    const auto takeSize = [&content](const Value& size) {
        content = digitsOf(patternOf(static_cast<std::size_t>(takeInteger(size, 0, kMaxFileSize))));
    };
    const auto takePath = [&](const Value& path) {
        const std::string name = takeText(path, kNonEmptyText);
        const std::optional<std::string> bytes = bytesOf(folder / name);
        path.require(bytes.has_value(), "cannot read \"" + name + "\"");
        content = digitsOf(*bytes);
    };
    takeObject(value, {{"command", takeNewCommand, true},
                       {"hex", text(content, kHexText)},
                       {"size", takeSize},
                       {"path", takePath}});
    requireOneOf(value, {"hex", "size", "path"});
    files.offered.emplace(command, std::move(content));
}

/// The function is called with each element of a list and the target.
template <typename Read>
Take list(Read read) {
    return [read](const Value& value) { takeList(value, read); };
}

void takeScenario(const Value& value, const std::filesystem::path& folder, Scenario& scenario) {
    TerminalState& state = scenario.state;
    std::string ignored;
    takeObject(value,
               {{"$schema", text(ignored)},
                {"name", text(scenario.name, kNonEmptyText), true},
                {"description", text(scenario.description)},
                {"device", with(takeDevice, scenario)},
                {"identity", with(takeIdentity, state.identity)},
                {"state", with(takeState, state)},
                {"locks", list([&](const Value& lock) { takeLock(lock, state.locks); })},
                {"tellers", with(takeTellers, state.tellers)},
                {"files", list([&](const Value& file) { takeFile(file, folder, state.files); })},
                {"user", with(takeUser, scenario.user)},
                {"rules", list([&](const Value& rule) { scenario.rules.push_back(takeRule(rule)); })}});
}

} // namespace

Scenario readScenario(std::string_view text, const std::string& fileName, const std::string& folder) {
    try {
        const Json json = parseJson(text);
        Scenario scenario;
        takeScenario({json, ""}, folder, scenario);
        return scenario;
    } catch (const JsonError& error) {
        throw ScenarioError(fileName + ": " + error.what());
    }
}

Scenario loadScenario(const std::string& fileOrName) {
    const std::optional<std::string> text = bytesOf(fileOrName);
    if (text) {
        return readScenario(*text, fileOrName, std::filesystem::path(fileOrName).parent_path());
    }
    for (const BuiltInScenario& scenario : builtInScenarios()) {
        if (scenario.name == fileOrName) {
            return readScenario(scenario.text, fileOrName, ".");
        }
    }
    throw ScenarioError("there is no readable file \"" + fileOrName +
                        R"(", and no such scenario is built in: see "pdasim scenarios")");
}

} // namespace pdasim
