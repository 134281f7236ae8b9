#include "scenario/Rules.h"
#include "scenario/Scenario.h"
#include "scenario/Schema.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

namespace pdasim {

// Members that are missing keep what an object of the type has without them.
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Identity, eimi, bleVersion, pdaVersion, vendor, returnCode)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Key, value, checkValue)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Lock, id, label, status, rssi, version, chipVersion, params,
                                                boot, applicationCheck, random, publicKey, factor, battery)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Tellers, registered, authenticationResults, escorts)

namespace {

/// Gives the target the value of a member that is there.
template <typename Target>
void take(const Json& object, const char* name, Target& target) {
    if (const auto member = object.find(name); member != object.end()) {
        target = member->template get<Target>();
    }
}

template <typename Value>
void take(const Json& object, const char* name, std::optional<Value>& target) {
    if (const auto member = object.find(name); member != object.end()) {
        target = member->template get<Value>();
    }
}

/// The object that a member is; an empty one without the member.
Json objectIn(const Json& object, const char* name) {
    return object.value(name, Json::object());
}

void takeDevice(const Json& json, Scenario& scenario) {
    take(json, "manufacturer", scenario.device.manufacturer);
    take(json, "product", scenario.device.product);
    take(json, "serial", scenario.device.serial);
    take(json, "reportSize", scenario.reportSize);
}

void takeInventory(const Json& json, Inventory& inventory) {
    InventoryResult& result = inventory.result;
    // It is over, unless the scenario says otherwise.
    result.state = "1";
    take(json, "taskId", result.taskId);
    take(json, "labels", result.labels);
    take(json, "errorLabels", result.errorLabels);
    take(json, "login", result.confirmation.login);
    take(json, "userName", result.confirmation.name);
    take(json, "state", result.state);
    inventory.task.taskId = result.taskId;
}

void takeState(const Json& json, TerminalState& state) {
    take(json, "assignedNumber", state.assignedNumber);
    take(json, "factory", state.factory);
    take(json, "bleMac", state.bleMac);
    take(json, "scanRunning", state.scan.running);
    take(json, "scannedLabels", state.scan.labels);
    take(json, "masterKey", state.keys.master);
    take(json, "encryptionKey", state.keys.encryption);
    take(json, "macKey", state.keys.mac);
    if (json.contains("inventory")) {
        takeInventory(json["inventory"], state.inventory);
    }
}

void takeUser(const Json& json, UserProfile& user) {
    take(json, "login", user.login);
    take(json, "name", user.name);
    take(json, "password", user.password);
    take(json, "labels", user.labels);
    user.pace = millisecondsIn(json, "pace").value_or(user.pace);
}

/// Refuses two elements of a list with the same value in a member.
void requireDifferent(const Json& scenario, const char* list, const char* member, const std::string& reason) {
    std::set<Json> seen;
    const Json elements = scenario.value(list, Json::array());
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (!seen.insert(elements[i][member]).second) {
            refuseAt("/" + std::string(list) + "/" + std::to_string(i) + "/" + member,
                     reason + " " + elements[i][member].dump());
        }
    }
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

std::string contentOf(const Json& file, const std::filesystem::path& folder, const std::string& pointer) {
    if (file.contains("hex")) {
        return file["hex"];
    }
    if (file.contains("size")) {
        return digitsOf(patternOf(file["size"]));
    }
    const std::string name = file["path"];
    const std::optional<std::string> bytes = bytesOf(folder / name);
    if (!bytes) {
        refuseAt(pointer + "/path", "cannot read \"" + name + "\"");
    }
    return digitsOf(*bytes);
}

Scenario scenarioIn(const Json& json, const std::filesystem::path& folder) {
    checkAgainstSchema(json);
    requireDifferent(json, "locks", "id", "another lock has the id");
    requireDifferent(json, "files", "command", "another file has the command");
    Scenario scenario;
    take(json, "name", scenario.name);
    take(json, "description", scenario.description);
    takeDevice(objectIn(json, "device"), scenario);
    take(json, "identity", scenario.state.identity);
    takeState(objectIn(json, "state"), scenario.state);
    take(json, "locks", scenario.state.locks);
    take(json, "tellers", scenario.state.tellers);
    const Json files = json.value("files", Json::array());
    for (std::size_t i = 0; i < files.size(); ++i) {
        scenario.state.files.offered[files[i]["command"].get<std::int32_t>()] =
            contentOf(files[i], folder, "/files/" + std::to_string(i));
    }
    takeUser(objectIn(json, "user"), scenario.user);
    const Json rules = json.value("rules", Json::array());
    for (std::size_t i = 0; i < rules.size(); ++i) {
        scenario.rules.push_back(readRule(rules[i], "/rules/" + std::to_string(i)));
    }
    return scenario;
}

} // namespace

Scenario readScenario(std::string_view text, const std::string& fileName, const std::string& folder) {
    try {
        return scenarioIn(parseJson(text), folder);
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
