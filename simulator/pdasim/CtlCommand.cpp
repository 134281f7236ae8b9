#include "pdasim/Subcommands.h"

#include "control/Commands.h"
#include "control/ControlSocket.h"
#include "pdasim/Reporting.h"
#include "pdasim/TerminalOptions.h"

#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace pdasim {

namespace {

constexpr unsigned kMaxMessages = 1'000'000'000;

struct CtlOptions {
    std::string controlPath;
    unsigned terminal = 1;
    /// By the name of the command's argument.
    std::map<std::string, std::vector<std::string>> values;
    bool asJson = false;
    /// 0 for no end.
    std::size_t count = 0;
};

using Options = std::shared_ptr<CtlOptions>;
using Kind = CommandArgument::Kind;

std::string socketPath(const CtlOptions& options) {
    if (!options.controlPath.empty()) {
        return options.controlPath;
    }
    const char* folder = std::getenv("UMOCKDEV_DIR");
    if (folder == nullptr || *folder == '\0') {
        throw std::invalid_argument(
            "which terminal? Say --control SOCKET, or make the settings that \"pdasim "
            "serve\" prints");
    }
    return std::string(folder) + "/pdasim.sock";
}

Document requestOf(const Command& command, const CtlOptions& options) {
    Document request = {{"command", command.name}, {"terminal", options.terminal}};
    for (const CommandArgument& argument : command.arguments) {
        const auto given = options.values.find(argument.name);
        if (given == options.values.end() || given->second.empty()) {
            continue;
        }
        if (argument.kind == Kind::Several || argument.kind == Kind::OptionSeveral) {
            request[argument.name] = given->second;
        } else {
            request[argument.name] = given->second.front();
        }
    }
    return request;
}

/// The answer to a request; throws CommandError when it is a refusal.
Document ask(ControlClient& client, const Document& request) {
    client.send(request);
    const std::optional<std::string> line = client.readLine();
    if (!line) {
        throw CommandError(
            "the terminal went away before it answered; start it again, with \"pdasim serve\" for example");
    }
    Document answer = Document::parse(*line);
    if (!answer.at("ok").get<bool>()) {
        throw CommandError(answer.at("error").get<std::string>());
    }
    return answer;
}

int runOne(const Command& command, const CtlOptions& options) {
    ControlClient client(socketPath(options));
    Document answer = ask(client, requestOf(command, options));
    if (answer.contains("terminal")) {
        std::cout << writeJson(answer["terminal"], 2) << std::endl;
    }
    if (answer.value("listeners", 1) == 0) {
        throw CommandError(
            "no program has the terminal's node open: nobody has heard that. Do it again once one has");
    }
    return 0;
}

void showMessage(const std::string& line, bool asJson) {
    if (asJson) {
        std::cout << line << std::endl;
        return;
    }
    const Json message = parseJson(line);
    std::cout << message.at("time").get<std::string>()
              << (message.at("from") == "host" ? "  host -> terminal  " : "  terminal -> host  ")
              << message.at("message").get<std::string>() << std::endl;
}

int follow(const CtlOptions& options) {
    ControlClient client(socketPath(options));
    const Document answer = ask(client, {{"command", "traffic"}});
    std::cout << (options.asJson ? writeJson(answer) : "# following") << std::endl;
    std::size_t shown = 0;
    while (std::cout) {
        const std::optional<std::string> line = client.readLine();
        if (!line) {
            break;
        }
        if (parseJson(*line).at("terminal") != options.terminal) {
            continue;
        }
        showMessage(*line, options.asJson);
        if (++shown == options.count) {
            break;
        }
    }
    return 0;
}

int reporting(const std::function<int()>& action) {
    const auto fail = [](const std::exception& reason, ExitCode code) {
        std::cerr << "pdasim: " << reason.what() << std::endl;
        return static_cast<int>(code);
    };
    try {
        return action();
    } catch (const std::invalid_argument& mistake) {
        return fail(mistake, BadUsage);
    } catch (const std::system_error& failure) {
        std::cerr << "pdasim: " << failure.what()
                  << ". \"pdasim serve\" starts one, and prints the settings that lead to it" << std::endl;
        return NotRunning;
    } catch (const std::exception& refusal) {
        return fail(refusal, CommandRefused);
    }
}

void addArgument(CLI::App& command, const CommandArgument& argument, const Options& options) {
    std::vector<std::string>& values = options->values[argument.name];
    const bool isOption = argument.kind == Kind::Option || argument.kind == Kind::OptionSeveral;
    CLI::Option* option =
        command.add_option((isOption ? "--" : "") + std::string(argument.name), values, argument.help);
    if (argument.kind == Kind::Required || argument.kind == Kind::Several) {
        option->required();
    }
    if (argument.kind == Kind::OptionSeveral) {
        option->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    } else if (argument.kind != Kind::Several) {
        option->expected(1);
    }
}

void addTraffic(CLI::App& ctl, const Options& options, int& exitCode) {
    CLI::App* traffic = ctl.add_subcommand(
        "traffic", "Follow the messages as they pass, after a first line that tells that it has begun");
    traffic->add_flag("--json", options->asJson, "Each message as a JSON object on a line");
    traffic->add_option("--count", options->count, "End after N messages, one at least")
        ->check(CLI::Range(1U, kMaxMessages));
    traffic->final_callback(
        [options, &exitCode] { exitCode = reporting([&options] { return follow(*options); }); });
}

} // namespace

void addCtlCommand(CLI::App& program, int& exitCode) {
    CLI::App* ctl = program.add_subcommand("ctl", "Do something at a running terminal, or to it");
    const auto shared = std::make_shared<CtlOptions>();
    ctl->add_option("--control", shared->controlPath,
                    "The terminal's socket (pdasim.sock in the folder that UMOCKDEV_DIR names)");
    ctl->add_option("--terminal", shared->terminal, "Which one of several, counted from 1 (1)")
        ->check(CLI::Range(1U, kMaxTerminals));
    ctl->require_subcommand(1);
    for (const Command& command : commands()) {
        CLI::App* subcommand = ctl->add_subcommand(command.name, command.help);
        const auto options = std::make_shared<CtlOptions>();
        for (const CommandArgument& argument : command.arguments) {
            addArgument(*subcommand, argument, options);
        }
        subcommand->final_callback([&command, options, shared, &exitCode] {
            options->controlPath = shared->controlPath;
            options->terminal = shared->terminal;
            exitCode = reporting([&] { return runOne(command, *options); });
        });
    }
    addTraffic(*ctl, shared, exitCode);
    ctl->footer(
        "Examples:\n"
        "  pdasim ctl scan B0001 B0002\n"
        "  pdasim ctl login anna --password PWD-A\n"
        "  pdasim ctl handover-dot T1 --user anna --second ben --error B0002\n"
        "  pdasim ctl traffic --count 2\n\n"
        "Exit code: 0 done; 1 the terminal could not do it, or no program has heard it; 64 bad usage;\n"
        "69 no pdasim runs there; 74 standard output cannot be written.");
}

} // namespace pdasim
