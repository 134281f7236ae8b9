#include "control/Commands.h"

#include "control/Clock.h"
#include "control/StateDocument.h"
#include "control/TaskCompletion.h"

#include <algorithm>
#include <functional>
#include <optional>

namespace pdasim {

namespace {

using Kind = CommandArgument::Kind;

std::string textOr(const Json& request, const char* name, const std::string& otherwise) {
    const Json* value = request.find(name);
    return value == nullptr ? otherwise : value->asText();
}

std::vector<std::string> listOf(const Json& request, const char* name) {
    const Json* value = request.find(name);
    return value == nullptr ? std::vector<std::string>() : value->texts();
}

/** Whoever has not got the node open misses what the terminal says; the answer says how many have. */
Json announce(LiveTerminal& live, const std::vector<Announcement>& announcements) {
    if (live.terminal.nodePath().empty()) {
        throw CommandError("the terminal is unplugged: \"replug\" it first");
    }
    const int listeners = live.terminal.openDescriptors();
    for (const Announcement& announcement : announcements) {
        (void)live.terminal.announce(announcement);
    }
    return Json::object().with("listeners", Json::integer(listeners));
}

Json scan(LiveTerminal& live, const Json& request) {
    std::vector<Announcement> announcements;
    for (const std::string& label : listOf(request, "labels")) {
        announcements.push_back(scannedLabel(label));
    }
    return announce(live, announcements);
}

Json login(LiveTerminal& live, const Json& request) {
    return announce(live, {loginRecord(confirmationOf(textOr(request, "user", ""),
                                                      textOr(request, "name", textOr(request, "user", "")),
                                                      textOr(request, "password", live.user.password)))});
}

Json notice(LiveTerminal& live, const Json& request) {
    return announce(live, {userNotice(textOr(request, "user", ""))});
}

Completion completionOf(const LiveTerminal& live, const Json& request) {
    const std::string login = textOr(request, "user", live.user.login);
    Completion completion;
    completion.userA =
        confirmationOf(login, login == live.user.login ? live.user.name : login, live.user.password);
    if (const Json* second = request.find("second"); second != nullptr) {
        completion.userB = confirmationOf(second->asText(), second->asText(), live.user.password);
    }
    completion.errorLabels = listOf(request, "error");
    completion.time = localStamp();
    return completion;
}

/** Changes the state and tells the host, unless the terminal cannot tell anybody. */
Json finish(LiveTerminal& live, const std::function<std::optional<Announcement>(TerminalState&)>& change) {
    if (live.terminal.nodePath().empty()) {
        throw CommandError("the terminal is unplugged: \"replug\" it first");
    }
    std::optional<Announcement> record;
    live.terminal.changeState([&record, &change](TerminalState& state) { record = change(state); });
    if (!record) {
        throw CommandError("the host has sent no such task; \"state\" shows those that it has sent");
    }
    return announce(live, {*record});
}

Json completeInventory(LiveTerminal& live, const Json& request) {
    return finish(live, [completion = completionOf(live, request)](TerminalState& state) {
        return finishInventory(state, completion);
    });
}

/** The task that the user means without naming it. */
std::string onlyTask(const std::vector<std::string>& taskIds) {
    if (taskIds.empty()) {
        throw CommandError("no such task is under way: the host has to send one first");
    }
    if (taskIds.size() > 1) {
        throw CommandError("several tasks are under way, name one of them: " + Json::array(taskIds).write());
    }
    return taskIds.front();
}

Json handOverDot(LiveTerminal& live, const Json& request) {
    const Json* named = request.find("task");
    const std::string task =
        named == nullptr ? onlyTask(openDotHandovers(live.terminal.state())) : named->asText();
    return finish(live, [&task, completion = completionOf(live, request)](TerminalState& state) {
        return finishDotHandover(state, task, completion);
    });
}

Json handOverPower(LiveTerminal& live, const Json& request) {
    const Json* named = request.find("task");
    const std::string task =
        named == nullptr ? onlyTask(openPowerHandovers(live.terminal.state())) : named->asText();
    return finish(live, [&task, completion = completionOf(live, request)](TerminalState& state) {
        return finishPowerHandover(state, task, completion);
    });
}

Json registerTeller(LiveTerminal& live, const Json& request) {
    live.terminal.changeState([teller = textOr(request, "teller", "")](TerminalState& state) {
        state.tellers.registered = teller;
    });
    return Json::object();
}

Json unplug(LiveTerminal& live, const Json& /*request*/) {
    live.terminal.unplug();
    return Json::object();
}

Json replug(LiveTerminal& live, const Json& /*request*/) {
    live.terminal.replug();
    return Json::object().with("node", live.terminal.nodePath());
}

Json showState(LiveTerminal& live, const Json& /*request*/) {
    return Json::object().with("terminal", describeState(live.terminal));
}

bool isList(Kind kind) {
    return kind == Kind::Several || kind == Kind::OptionSeveral;
}

bool isListOfTexts(const Json& value) {
    const auto isText = [](const Json& element) { return element.kind() == Json::Kind::Text; };
    return value.kind() == Json::Kind::Array &&
           std::all_of(value.elements().begin(), value.elements().end(), isText);
}

void checkArguments(const Command& command, const Json& request) {
    for (const CommandArgument& argument : command.arguments) {
        const Json* value = request.find(argument.name);
        if (value == nullptr) {
            if (argument.kind == Kind::Required || argument.kind == Kind::Several) {
                throw CommandError(std::string("\"") + argument.name + "\" is missing");
            }
            continue;
        }
        if (isList(argument.kind) ? !isListOfTexts(*value) : value->kind() != Json::Kind::Text) {
            throw CommandError(std::string("\"") + argument.name + "\" must be " +
                               (isList(argument.kind) ? "a list of texts" : "a text"));
        }
    }
}

std::string numbersOf(const std::vector<LiveTerminal>& terminals) {
    return terminals.size() == 1 ? "the only one is 1"
                                 : "name one of 1 to " + std::to_string(terminals.size());
}

LiveTerminal& terminalOf(std::vector<LiveTerminal>& terminals, const Json& request) {
    const Json* number = request.find("terminal");
    if (number == nullptr) {
        return terminals.front();
    }
    const bool exists = number->kind() == Json::Kind::Integer && number->asInteger() >= 1 &&
                        number->asInteger() <= static_cast<std::int64_t>(terminals.size());
    if (!exists) {
        throw CommandError("there is no terminal " + number->write() + "; " + numbersOf(terminals));
    }
    return terminals[static_cast<std::size_t>(number->asInteger() - 1)];
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
        {"handover-dot", "Confirm a dot handover", handover, handOverDot},
        {"handover-power", "Confirm a power handover", handover, handOverPower},
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

Json runCommandRequest(std::vector<LiveTerminal>& terminals, const Json& request) {
    const Json* name = request.find("command");
    if (name == nullptr || name->kind() != Json::Kind::Text) {
        throw CommandError("the request has no text \"command\"; " + namesOfCommands());
    }
    const auto command = std::find_if(commands().begin(), commands().end(),
                                      [name](const Command& each) { return each.name == name->asText(); });
    if (command == commands().end()) {
        throw CommandError("there is no command \"" + name->asText() + "\"; " + namesOfCommands());
    }
    checkArguments(*command, request);
    return command->run(terminalOf(terminals, request), request);
}

} // namespace pdasim
