#include "CompletionTree.h"

#include "CodeTable.h"

#include <algorithm>

namespace pdactl {

namespace {

std::string firstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

bool hasOption(const CompletionCommand& command, const std::string& name) {
    return std::any_of(command.options.begin(), command.options.end(),
                       [&](const CompletionWord& option) { return option.text == name; });
}

void addOptions(CompletionCommand& command, const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional()) {
            command.takesFiles = true;
        }
        for (const std::string& name : option->get_lnames()) {
            if (hasOption(command, "--" + name)) {
                continue; // --help, which the program has too
            }
            command.options.push_back({"--" + name, firstLine(option->get_description())});
            if (option->get_items_expected_max() > 0) {
                command.optionsWithValue.push_back("--" + name);
            }
        }
    }
}

void addCommands(std::vector<CompletionCommand>& tree, const CLI::App& app, const std::string& path,
                 const CLI::App& root) {
    CompletionCommand command;
    command.path = path;
    addOptions(command, app);
    if (&app != &root) {
        addOptions(command, root);
    }
    const std::vector<const CLI::App*> below = app.get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* each : below) {
        command.words.push_back({each->get_name(), firstLine(each->get_description())});
    }
    tree.push_back(command);
    for (const CLI::App* each : below) {
        addCommands(tree, *each, path.empty() ? each->get_name() : path + " " + each->get_name(), root);
    }
}

/** Codes behind "call", and behind each code its members. */
void addCodes(std::vector<CompletionCommand>& tree) {
    const auto call = std::find_if(tree.begin(), tree.end(),
                                   [](const CompletionCommand& command) { return command.path == "call"; });
    CompletionCommand& command = *call;
    std::vector<CompletionCommand> codes;
    for (const Code& code : allCodes()) {
        if (!command.words.empty() && command.words.back().text == code.number) {
            continue;
        }
        command.words.push_back({code.number, code.help});
        CompletionCommand members;
        members.path = command.path + " " + code.number;
        members.isMember = true;
        members.options = command.options;
        members.takesFiles = true;
        for (const Parameter& parameter : code.parameters) {
            members.words.push_back({std::string(parameter.name) + "=", parameter.help});
        }
        codes.push_back(members);
    }
    tree.insert(call, codes.begin(), codes.end()); // in front: what stands there matches first
}

} // namespace

std::vector<CompletionCommand> completionTree(const CLI::App& app) {
    std::vector<CompletionCommand> tree;
    addCommands(tree, app, "", app);
    addCodes(tree);
    return tree;
}

} // namespace pdactl
