#include "control/Commands.h"

#include "System.h"
#include "control/TaskCompletion.h"

#include <algorithm>
#include <functional>
#include <optional>

namespace pdasim {

namespace {

using Kind = CommandArgument::Kind;
using Texts = std::vector<std::string>;

void requirePlug(const LiveTerminal& live) {
    if (live.terminal.nodePath().empty()) {
        throw CommandError("the terminal is unplugged: \"replug\" it first");
    }
}

/// Whoever has not got the node open misses what the terminal says; the answer says how many have.
Document announce(LiveTerminal& live, const std::vector<Announcement>& announcements) {
    requirePlug(live);
    const int listeners = live.terminal.openDescriptors();
    for (const Announcement& announcement : announcements) {
        (void)live.terminal.announce(announcement);
    }
    return {{"listeners", listeners}};
}

Document scan(LiveTerminal& live, const Json& request) {
    std::vector<Announcement> announcements;
    for (const std::string label : request["labels"]) {
        announcements.push_back(scannedLabel(label));
    }
    return announce(live, announcements);
}

Document login(LiveTerminal& live, const Json& request) {
    const std::string user = request["user"];
    return announce(live, {loginRecord(confirmationOf(user, request.value("name", user),
                                                      request.value("password", live.user.password)))});
}

Document notice(LiveTerminal& live, const Json& request) {
    return announce(live, {userNotice(request["user"])});
}

Completion completionOf(const LiveTerminal& live, const Json& request) {
    const std::string login = request.value("user", live.user.login);
    Completion completion;
    completion.userA =
        confirmationOf(login, login == live.user.login ? live.user.name : login, live.user.password);
    if (request.contains("second")) {
        completion.userB = confirmationOf(request["second"], request["second"], live.user.password);
    }
    completion.errorLabels = request.value("error", Texts());
    completion.time = localStamp();
    return completion;
}

/// Changes the state and tells the host, unless the terminal cannot tell anybody.
Document finish(LiveTerminal& live,
                const std::function<std::optional<Announcement>(TerminalState&)>& change) {
    requirePlug(live);
    std::optional<Announcement> record;
    live.terminal.changeState([&record, &change](TerminalState& state) { record = change(state); });
    if (!record) {
        throw CommandError("the host has sent no such task; \"state\" shows those that it has sent");
    }
    return announce(live, {*record});
}

Document completeInventory(LiveTerminal& live, const Json& request) {
    return finish(live, [completion = completionOf(live, request)](TerminalState& state) {
        return finishInventory(state, completion);
    });
}

/// The task that the user means without naming it.
std::string onlyTask(const std::vector<std::string>& taskIds) {
    if (taskIds.empty()) {
        throw CommandError("no such task is under way: the host has to send one first");
    }
    if (taskIds.size() > 1) {
        throw CommandError("several tasks are under way, name one of them: " + writeJson(taskIds));
    }
    return taskIds.front();
}

template <Announced kind>
Document handOver(LiveTerminal& live, const Json& request) {
    const std::string task = request.contains("task") ? request["task"].get<std::string>()
                                                      : onlyTask(openHandovers(live.terminal.state(), kind));
    return finish(live, [&task, completion = completionOf(live, request)](TerminalState& state) {
        return finishHandover(state, kind, task, completion);
    });
}

Document registerTeller(LiveTerminal& live, const Json& request) {
    live.terminal.changeState([&request](TerminalState& state) {
        state.tellers.registered = request["teller"].get<std::string>();
    });
    return Document::object();
}

Document unplug(LiveTerminal& live, const Json& /*request*/) {
    live.terminal.unplug();
    return Document::object();
}

Document replug(LiveTerminal& live, const Json& /*request*/) {
    live.terminal.replug();
    return {{"node", live.terminal.nodePath()}};
}

Document showState(LiveTerminal& live, const Json& /*request*/) {
    return {{"terminal", describeState(live.terminal)}};
}

bool isList(Kind kind) {
    return kind == Kind::Several || kind == Kind::OptionSeveral;
}

bool isListOfTexts(const Json& value) {
    return value.is_array() &&
           std::all_of(value.begin(), value.end(), [](const Json& element) { return element.is_string(); });
}

void checkArguments(const Command& command, const Json& request) {
    for (const CommandArgument& argument : command.arguments) {
        const auto value = request.find(argument.name);
        if (value == request.end()) {
            if (argument.kind == Kind::Required || argument.kind == Kind::Several) {
                throw CommandError(std::string("\"") + argument.name + "\" is missing");
            }
            continue;
        }
        if (isList(argument.kind) ? !isListOfTexts(*value) : !value->is_string()) {
            throw CommandError(std::string("\"") + argument.name + "\" must be " +
                               (isList(argument.kind) ? "a list of strings" : "a string"));
        }
    }
}

std::string numbersOf(const std::vector<LiveTerminal>& terminals) {
    return terminals.size() == 1 ? "the only one is 1"
                                 : "name one of 1 to " + std::to_string(terminals.size());
}

LiveTerminal& terminalOf(std::vector<LiveTerminal>& terminals, const Json& request) {
    const auto number = request.find("terminal");
    if (number == request.end()) {
        return terminals.front();
    }
    const std::optional<std::int64_t> place = integerIn(*number);
    if (!place || *place < 1 || *place > static_cast<std::int64_t>(terminals.size())) {
        throw CommandError("there is no terminal " + number->dump() + "; " + numbersOf(terminals));
    }
    return terminals[static_cast<std::size_t>(*place - 1)];
}

} // namespace

const std::vector<Command>& commands() {
    static const std::vector<CommandArgument> handover = {
        {"task", Kind::Optional, "The task's id; not needed while only one is under way"},
        {"user", Kind::Option, "The login of who hands over"},
        {"second", Kind::Option, "The login of who takes over"},
        {"error", Kind::OptionSeveral, "A label that is missing or wrong"}};
    static const std::vector<Command> all = {
        {"scan", "Scan bag labels", {{"labels", Kind::Several, "The labels"}}, scan},
        {"finish-inventory",
         "Finish the inventory task that the host has sent",
         {{"user", Kind::Option, "The login of who did it"},
          {"error", Kind::OptionSeveral, "A label that is missing or wrong"}},
         completeInventory},
        {"login",
         "Log a user in",
         {{"user", Kind::Required, "The user's login"},
          {"name", Kind::Option, "The user's name"},
          {"password", Kind::Option, "The user's password"}},
         login},
        {"handover-dot", "Confirm a dot handover", handover, handOver<Announced::DotHandover>},
        {"handover-power", "Confirm a power handover", handover, handOver<Announced::PowerHandover>},
        {"notice",
         "Tell the host which user is there",
         {{"user", Kind::Required, "The user's name"}},
         notice},
        {"teller",
         "Register a teller at the terminal",
         {{"teller", Kind::Required, "The teller's number"}},
         registerTeller},
        {"unplug", "Pull the terminal's plug", {}, unplug},
        {"replug", "Plug the terminal in again", {}, replug},
        {"state", "Show all that the terminal knows, as JSON", {}, showState},
    };
    return all;
}

namespace {

std::string namesOfCommands() {
    std::string names;
    for (const Command& command : commands()) {
        names.append(names.empty() ? "there are " : ", ").append(command.name);
    }
    return names;
}

} // namespace

Document runCommandRequest(std::vector<LiveTerminal>& terminals, const Json& request) {
    const auto name = request.find("command");
    if (name == request.end() || !name->is_string()) {
        throw CommandError("the request has no string \"command\"; " + namesOfCommands());
    }
    const auto command = std::find_if(commands().begin(), commands().end(),
                                      [name](const Command& each) { return *name == each.name; });
    if (command == commands().end()) {
        throw CommandError("there is no command " + name->dump() + "; " + namesOfCommands());
    }
    checkArguments(*command, request);
    return command->run(terminalOf(terminals, request), request);
}

} // namespace pdasim
