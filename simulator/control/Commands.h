#pragma once

#include "SimulatedTerminal.h"
#include "scenario/Json.h"
#include "scenario/Scenario.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace pdasim {

/// Everything about a terminal as one JSON object; files by their size only.
Document describeState(SimulatedTerminal& terminal);

/// A terminal and who works at it.
struct LiveTerminal {
    SimulatedTerminal& terminal;
    UserProfile user;
};

/// A member of a command's request.
struct CommandArgument {
    enum class Kind { Required, Optional, Several, Option, OptionSeveral };

    const char* name;
    Kind kind;
    const char* help;
};

/// Something that a user does at a terminal, or to it.
struct Command {
    const char* name;
    const char* help;
    std::vector<CommandArgument> arguments;
    /// What the answer says beyond success.
    Document (*run)(LiveTerminal& live, const Json& request);
};

/// A command that cannot be carried out; the text tells why.
class CommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

const std::vector<Command>& commands();

/// Carries a request out: {"command": NAME, "terminal": 1, ARGUMENT: VALUE…}. Throws CommandError.
Document runCommandRequest(std::vector<LiveTerminal>& terminals, const Json& request);

} // namespace pdasim
