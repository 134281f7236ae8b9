#include "scenario/BuiltInScenarios.h"
#include "scenario/Json.h"
#include "scenario/RuleCheck.h"
#include "scenario/RuleReader.h"
#include "scenario/Scenario.h"
#include "scenario/SchemaCheck.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <utility>

namespace pdasim {

namespace {

constexpr std::string_view UpperDigits = "0123456789ABCDEF";

template <typename Owner>
struct TextField {
    const char* name;
    std::string Owner::*member;
};

/** Takes over those of the texts that are there. */
template <typename Owner, std::size_t Count>
void readTexts(const Json& json, Owner& owner, const std::array<TextField<Owner>, Count>& fields) {
    for (const TextField<Owner>& field : fields) {
        if (const Json* value = json.find(field.name); value != nullptr) {
            owner.*field.member = value->asText();
        }
    }
}

void readList(const Json& json, const char* name, std::vector<std::string>& list) {
    if (const Json* value = json.find(name); value != nullptr) {
        list = value->texts();
    }
}

void readDevice(const Json& json, Scenario& scenario) {
    for (const auto& [name, member] : {std::pair("manufacturer", &DeviceDescription::manufacturer),
                                       std::pair("product", &DeviceDescription::product),
                                       std::pair("serial", &DeviceDescription::serial)}) {
        if (const Json* value = json.find(name); value != nullptr) {
            scenario.device.*member = value->asText();
        }
    }
    if (const Json* size = json.find("reportSize"); size != nullptr) {
        scenario.reportSize = static_cast<std::size_t>(size->asInteger());
    }
}

void readIdentity(const Json& json, Identity& identity) {
    readTexts(json, identity,
              std::array<TextField<Identity>, 5>{{{"eimi", &Identity::eimi},
                                                  {"bleVersion", &Identity::bleVersion},
                                                  {"pdaVersion", &Identity::pdaVersion},
                                                  {"vendor", &Identity::vendor},
                                                  {"returnCode", &Identity::returnCode}}});
}

void readInventory(const Json& json, Inventory& inventory) {
    InventoryResult& result = inventory.result;
    result.taskId = json.find("taskId")->asText();
    inventory.task.taskId = result.taskId;
    // It is over, unless the scenario says otherwise.
    result.state = "1";
    readList(json, "labels", result.labels);
    readList(json, "errorLabels", result.errorLabels);
    readTexts(json, result, std::array<TextField<InventoryResult>, 1>{{{"state", &InventoryResult::state}}});
    readTexts(json, result.confirmation,
              std::array<TextField<Confirmation>, 2>{
                  {{"login", &Confirmation::login}, {"userName", &Confirmation::name}}});
}

void readState(const Json& json, TerminalState& state) {
    readTexts(json, state,
              std::array<TextField<TerminalState>, 3>{{{"assignedNumber", &TerminalState::assignedNumber},
                                                       {"factory", &TerminalState::factory},
                                                       {"bleMac", &TerminalState::bleMac}}});
    if (const Json* running = json.find("scanRunning"); running != nullptr) {
        state.scan.running = running->asBoolean();
    }
    readList(json, "scannedLabels", state.scan.labels);
    if (const Json* inventory = json.find("inventory"); inventory != nullptr) {
        readInventory(*inventory, state.inventory);
    }
    for (const auto& [name, member] :
         {std::pair("masterKey", &Keys::master), std::pair("encryptionKey", &Keys::encryption),
          std::pair("macKey", &Keys::mac)}) {
        if (const Json* key = json.find(name); key != nullptr) {
            state.keys.*member = Key{key->find("value")->asText(), key->find("checkValue")->asText()};
        }
    }
}

Lock readLock(const Json& json) {
    Lock lock;
    readTexts(json, lock,
              std::array<TextField<Lock>, 13>{{{"id", &Lock::id},
                                               {"label", &Lock::label},
                                               {"status", &Lock::status},
                                               {"rssi", &Lock::rssi},
                                               {"version", &Lock::version},
                                               {"chipVersion", &Lock::chipVersion},
                                               {"params", &Lock::params},
                                               {"boot", &Lock::boot},
                                               {"applicationCheck", &Lock::applicationCheck},
                                               {"random", &Lock::random},
                                               {"publicKey", &Lock::publicKey},
                                               {"factor", &Lock::factor},
                                               {"battery", &Lock::battery}}});
    return lock;
}

void readTellers(const Json& json, Tellers& tellers) {
    readTexts(json, tellers, std::array<TextField<Tellers>, 1>{{{"registered", &Tellers::registered}}});
    readList(json, "authenticationResults", tellers.authenticationResults);
    readList(json, "escorts", tellers.escorts);
}

void readUser(const Json& json, UserProfile& user) {
    readTexts(json, user,
              std::array<TextField<UserProfile>, 3>{{{"login", &UserProfile::login},
                                                     {"name", &UserProfile::name},
                                                     {"password", &UserProfile::password}}});
    readList(json, "labels", user.labels);
    if (const Json* pace = json.find("pace"); pace != nullptr) {
        user.pace = std::chrono::milliseconds(pace->asInteger());
    }
}

std::string patternOf(std::size_t bytes) {
    std::string text;
    text.reserve(bytes * 2);
    for (std::size_t i = 0; i < bytes; ++i) {
        const std::size_t byte = (i * 7 + i / 256) % 256;
        text.push_back(UpperDigits[byte / 16]);
        text.push_back(UpperDigits[byte % 16]);
    }
    return text;
}

std::optional<std::string> bytesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path)) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string digitsOf(const std::string& bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        text.push_back(UpperDigits[byte / 16U]);
        text.push_back(UpperDigits[byte % 16U]);
    }
    return text;
}

/** Puts the reason into the one shape that all mistakes are told in. */
[[noreturn]] void refuse(const std::string& fileName, int line, const std::string& path,
                         const std::string& reason) {
    throw ScenarioError(fileName + ":" + std::to_string(line) + ": at " + path + ": " + reason);
}

class Reader {
public:
    Reader(std::string fileName, std::string folder)
        : m_fileName(std::move(fileName)), m_folder(std::move(folder)) {}

    Scenario read(const Json& json) {
        readTexts(json, m_scenario,
                  std::array<TextField<Scenario>, 2>{
                      {{"name", &Scenario::name}, {"description", &Scenario::description}}});
        const auto ifThere = [&json](const char* name, const auto& action) {
            if (const Json* part = json.find(name); part != nullptr) {
                action(*part);
            }
        };
        TerminalState& state = m_scenario.state;
        ifThere("device", [this](const Json& part) { readDevice(part, m_scenario); });
        ifThere("identity", [&state](const Json& part) { readIdentity(part, state.identity); });
        ifThere("state", [&state](const Json& part) { readState(part, state); });
        ifThere("locks", [this](const Json& part) { readLocks(part); });
        ifThere("tellers", [&state](const Json& part) { readTellers(part, state.tellers); });
        ifThere("files", [this](const Json& part) { readFiles(part); });
        ifThere("user", [this](const Json& part) { readUser(part, m_scenario.user); });
        ifThere("rules", [this](const Json& part) { readRules(part); });
        return std::move(m_scenario);
    }

private:
    void readLocks(const Json& json) {
        std::vector<Lock>& locks = m_scenario.state.locks;
        for (const Json& each : json.elements()) {
            const Lock lock = readLock(each);
            if (std::any_of(locks.begin(), locks.end(),
                            [&lock](const Lock& other) { return other.id == lock.id; })) {
                refuse(m_fileName, each.find("id")->line(), "/locks/" + std::to_string(locks.size()) + "/id",
                       "another lock has the id \"" + lock.id + "\"");
            }
            locks.push_back(lock);
        }
    }

    void readFiles(const Json& json) {
        auto& offered = m_scenario.state.files.offered;
        for (std::size_t i = 0; i < json.elements().size(); ++i) {
            const Json& file = json.elements()[i];
            const Json& command = *file.find("command");
            const std::string path = "/files/" + std::to_string(i);
            const bool isNew =
                offered.emplace(static_cast<std::int32_t>(command.asInteger()), contentOf(file, path)).second;
            if (!isNew) {
                refuse(m_fileName, command.line(), path + "/command", "another file has this command");
            }
        }
    }

    void readRules(const Json& json) {
        for (const Json& rule : json.elements()) {
            if (const auto mistake = findMistake(rule)) {
                refuse(m_fileName, mistake->line,
                       "/rules/" + std::to_string(m_scenario.rules.size()) + mistake->path, mistake->reason);
            }
            m_scenario.rules.push_back(readRule(rule));
        }
    }

    std::string contentOf(const Json& file, const std::string& path) const {
        if (const Json* hex = file.find("hex"); hex != nullptr) {
            return hex->asText();
        }
        if (const Json* size = file.find("size"); size != nullptr) {
            return patternOf(static_cast<std::size_t>(size->asInteger()));
        }
        const Json& name = *file.find("path");
        const std::optional<std::string> bytes = bytesOf(std::filesystem::path(m_folder) / name.asText());
        if (!bytes) {
            refuse(m_fileName, name.line(), path + "/path", "cannot read \"" + name.asText() + "\"");
        }
        return digitsOf(*bytes);
    }

    std::string m_fileName;
    std::string m_folder;
    Scenario m_scenario;
};

Json parseScenario(std::string_view text, const std::string& fileName) {
    try {
        return Json::parse(text);
    } catch (const JsonError& error) {
        throw ScenarioError(fileName + ":" + std::to_string(error.line()) + ": " + error.what());
    }
}

} // namespace

Scenario readScenario(std::string_view text, const std::string& fileName, const std::string& folder) {
    static const Json schema = Json::parse(scenarioSchema());
    const Json json = parseScenario(text, fileName);
    if (const auto violation = checkSchema(schema, json)) {
        refuse(fileName, violation->line, violation->path, violation->reason);
    }
    return Reader(fileName, folder).read(json);
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
