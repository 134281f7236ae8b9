#include "Commands.h"
#include "Text.h"

#include <algorithm>
#include <iostream>

namespace pdactl {

namespace {

/// A word that can follow, and what it means.
struct Candidate {
    std::string word;
    std::string help;
};

using Candidates = std::vector<Candidate>;

std::vector<const CLI::App*> commandsBelow(const CLI::App& command) {
    return command.get_subcommands([](const CLI::App* /*any*/) { return true; });
}

/// The options of a command, those of the program included.
std::vector<const CLI::Option*> optionsOf(const CLI::App& root, const CLI::App& command) {
    std::vector<const CLI::Option*> options = command.get_options();
    if (&command != &root) {
        for (const CLI::Option* option : root.get_options()) {
            if (!option->check_name("--help")) { // which each command has itself
                options.push_back(option);
            }
        }
    }
    return options;
}

bool takesValue(const CLI::App& root, const CLI::App& command, const std::string& word) {
    const std::vector<const CLI::Option*> options = optionsOf(root, command);
    return std::any_of(options.begin(), options.end(), [&](const CLI::Option* option) {
        return option->check_name(word) && option->get_items_expected_max() > 0;
    });
}

Candidates optionNames(const CLI::App& root, const CLI::App& command) {
    Candidates names;
    for (const CLI::Option* option : optionsOf(root, command)) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back({"--" + name, option->get_description()});
        }
    }
    return names;
}

Candidates commandNames(const CLI::App& command) {
    Candidates names;
    for (const CLI::App* each : commandsBelow(command)) {
        names.push_back({each->get_name(), each->get_description()});
    }
    return names;
}

Candidates codes() {
    Candidates names;
    for (const Transaction& each : allTransactions()) {
        if (!each.code.empty() && (names.empty() || names.back().word != each.code)) {
            names.push_back({each.code, each.help});
        }
    }
    return names;
}

Candidates members(const std::string& code) {
    Candidates names;
    if (const Transaction* const transaction = findCode(code)) {
        for (const Parameter& parameter : transaction->parameters) {
            names.push_back({std::string(parameter.name) + "=", parameter.help});
        }
    }
    return names;
}

/// What can follow these words in place of the last of them.
Candidates candidatesFor(const CLI::App& root, const std::vector<std::string>& words) {
    const CLI::App* command = &root;
    std::vector<std::string> arguments;
    bool isValue = false;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const std::vector<const CLI::App*> below = commandsBelow(*command);
        const auto next = std::find_if(below.begin(), below.end(), [&](const CLI::App* each) {
            return arguments.empty() && each->get_name() == words[i];
        });
        if (isValue || startsWith(words[i], "-")) {
            isValue = !isValue && takesValue(root, *command, words[i]);
        } else if (next != below.end()) {
            command = *next;
        } else {
            arguments.push_back(words[i]);
        }
    }
    if (isValue) {
        return {};
    }
    if (startsWith(words.back(), "-")) {
        return optionNames(root, *command);
    }
    if (command->get_name() == "call") {
        return arguments.empty() ? codes() : members(arguments.front());
    }
    return arguments.empty() ? commandNames(*command) : Candidates();
}

} // namespace

void printCompletions(const CLI::App& root, const std::vector<std::string>& words) {
    if (words.empty()) {
        return;
    }
    for (const Candidate& candidate : candidatesFor(root, words)) {
        if (startsWith(candidate.word, words.back())) {
            std::cout << candidate.word << '\t' << candidate.help.substr(0, candidate.help.find('\n'))
                      << '\n';
        }
    }
}

} // namespace pdactl
