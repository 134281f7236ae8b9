#include "Commands.h"
#include "Text.h"
#include "schema/Schema.h"

#include <algorithm>
#include <iostream>
#include <iterator>

namespace pdactl {

namespace {

/// The command line up to the word that is to be completed.
struct Position {
    const CLI::App* command;
    std::vector<std::string> arguments{};
    bool isValue = false; ///< the word is that of an option
};

bool takesValue(const CLI::App& root, const CLI::App& command, const std::string& word) {
    const CLI::Option* const own = command.get_option_no_throw(word);
    const CLI::Option* const option = own != nullptr ? own : root.get_option_no_throw(word);
    return option != nullptr && option->get_items_expected_max() > 0;
}

Position positionAfter(const CLI::App& root, const std::vector<std::string>& words) {
    Position position{&root};
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const std::vector<const CLI::App*> next = position.command->get_subcommands(
            [&](const CLI::App* each) { return position.arguments.empty() && each->get_name() == words[i]; });
        if (position.isValue || startsWith(words[i], "-")) {
            position.isValue = !position.isValue && takesValue(root, *position.command, words[i]);
        } else if (!next.empty()) {
            position.command = next.front();
        } else {
            position.arguments.push_back(words[i]);
        }
    }
    return position;
}

using Offer = std::function<void(const std::string& word, const std::string& help)>;

/// The options of a command, and those of the program.
void offerOptions(const CLI::App& root, const CLI::App& command, const Offer& offer) {
    std::vector<const CLI::Option*> options = command.get_options();
    if (&command != &root) {
        const std::vector<const CLI::Option*> shared = root.get_options();
        std::copy_if(shared.begin(), shared.end(), std::back_inserter(options),
                     [](const CLI::Option* option) {
                         return !option->check_name("--help"); // which each command has itself
                     });
    }
    for (const CLI::Option* option : options) {
        for (const std::string& name : option->get_lnames()) {
            offer("--" + name, option->get_description());
        }
    }
}

void offerCodes(const Offer& offer) {
    std::string last;
    for (const Transaction& each : allTransactions()) {
        if (!each.code.empty() && each.code != last) {
            offer(each.code, each.help);
        }
        last = each.code;
    }
}

void offerMembers(const std::string& code, const Offer& offer) {
    if (const Transaction* const transaction = findCode(code)) {
        for (const Parameter& parameter : transaction->parameters) {
            offer(std::string(parameter.name) + "=", parameter.help);
        }
    }
}

} // namespace

void printCompletions(const CLI::App& root, const std::vector<std::string>& words) {
    const Position position = positionAfter(root, words);
    const Offer offer = [&](const std::string& word, const std::string& help) {
        if (startsWith(word, words.back())) {
            std::cout << word << '\t' << help.substr(0, help.find('\n')) << '\n';
        }
    };
    if (words.empty() || position.isValue) {
        return;
    }
    if (startsWith(words.back(), "-")) {
        offerOptions(root, *position.command, offer);
    } else if (position.command->get_name() == "call" && position.arguments.empty()) {
        offerCodes(offer);
    } else if (position.command->get_name() == "call") {
        offerMembers(position.arguments.front(), offer);
    } else if (position.command->get_name() == "schema" && position.arguments.empty()) {
        for (const auto& [name, schema] : schema::all()) {
            offer(name, schema.value("title").toString().toStdString());
        }
    } else if (position.arguments.empty()) {
        for (const CLI::App* each : position.command->get_subcommands(nullptr)) {
            offer(each->get_name(), each->get_description());
        }
    }
}

} // namespace pdactl
