#pragma once

#include "DeviceDescription.h"
#include "core/Fault.h"
#include "core/TerminalState.h"

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/// Who works at the terminal.
struct UserProfile {
    std::string login = "user-a";
    std::string name = "Ann Example";
    std::string password = "PWD-A";
    /// What a scan run brings, one after the other.
    std::vector<std::string> labels = {"BAG-0001", "BAG-0002", "BAG-0003"};
    /// The time between two things that the user does.
    std::chrono::milliseconds pace{300};
};

/// What the terminal does about some messages.
struct Rule {
    std::string type;
    Fault fault;
};

/// What a simulated terminal is, holds at first and does.
struct Scenario {
    std::string name = "default";
    std::string description;
    /// The ids are those of the default.
    DeviceDescription device;
    std::size_t reportSize = 64;
    TerminalState state;
    UserProfile user;
    /// The first one that applies counts.
    std::vector<Rule> rules;
};

/// A scenario that cannot be used; the message names the file, the line or the JSON pointer, and the reason.
class ScenarioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A scenario that comes with the program.
struct BuiltInScenario {
    std::string_view name;
    std::string_view text;
};

const std::vector<BuiltInScenario>& builtInScenarios();

/// The JSON Schema of scenarios, for editors.
std::string_view scenarioSchema();

/// Reads a scenario. Files that it names are looked for in the folder.
Scenario readScenario(std::string_view text, const std::string& fileName, const std::string& folder);

/// A file's scenario, or the built-in one of that name when there is no "/" in it and no such file.
Scenario loadScenario(const std::string& fileOrName);

} // namespace pdasim
