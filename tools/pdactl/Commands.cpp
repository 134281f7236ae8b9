#include "Commands.h"

namespace pdactl {

namespace {

using Words = std::vector<const char*>;

/// The command of these words, added where it is missing.
CLI::App* subcommand(CLI::App& app, const Words& words) {
    CLI::App* command = &app;
    for (const char* word : words) {
        const std::vector<CLI::App*> known =
            command->get_subcommands([word](const CLI::App* each) { return each->get_name() == word; });
        if (known.empty() && command != &app) {
            command->require_subcommand(1);
        }
        command = known.empty() ? command->add_subcommand(word) : known.front();
    }
    return command;
}

int carryOutVerb(const Program& program, const Transaction& transaction, const Values& given) {
    Values values;
    for (const Parameter& parameter : transaction.parameters) {
        if (const auto value = given.find(parameter.name); value != given.end()) {
            values[parameter.name] = readArgument(asOption(parameter), value->second, parameter.isSecret());
        }
    }
    return carryOut(transaction, values, asOption, program);
}

void addVerb(Program& program, const Transaction& transaction) {
    CLI::App& command = addCommand(program, transaction.command, transaction.help, transaction.example);
    const auto given = std::make_shared<Values>();
    for (const Parameter& parameter : transaction.parameters) {
        const std::string name = parameter.name;
        CLI::Option* const option = command.add_option_function<std::string>(
            asOption(parameter), [given, name](const std::string& value) { (*given)[name] = value; },
            parameter.help + std::string(parameter.isSecret() ? ": @FILE, or - for standard input" : ""));
        if (parameter.preset != nullptr) {
            option->default_str(parameter.preset);
        } else {
            option->required();
        }
    }
    addDryRun(command, program);
    setAction(command, program,
              [&program, &transaction, given] { return carryOutVerb(program, transaction, *given); });
}

} // namespace

void addVerbCommands(Program& program) {
    for (const Transaction& transaction : allTransactions()) {
        if (!transaction.command.empty()) {
            addVerb(program, transaction);
        }
    }
}

void describeGroups(Program& program) {
    const std::pair<Words, const char*> groups[] = {
        {{"bag"}, "Labels of bags"},
        {{"scan"}, "Scan runs at the terminal"},
        {{"inventory"}, "Inventory tasks and their results"},
        {{"handover", "dot"}, "Handovers at a service point"},
        {{"handover", "power"}, "Handovers between organisations"},
        {{"handover"}, "Handovers of bags"},
        {{"key"}, "The terminal's keys, which are never given on the command line"},
        {{"teller"}, "Tellers at the terminal"},
        {{"lock"}, "Locks around the terminal"},
        {{"login"}, "Users who log in at the terminal"},
        {{"file"}, "Files to the terminal and from it"},
    };
    for (const auto& [words, help] : groups) {
        CLI::App* const group = subcommand(program.app, words);
        group->description(help);
        group->footer(group->get_subcommands(nullptr).front()->get_footer()); // with an example
    }
}

CLI::App& addCommand(Program& program, const Words& words, const char* help, const std::string& example) {
    CLI::App& command = *subcommand(program.app, words);
    command.description(help);
    addExample(command, words, example);
    return command;
}

void addExample(CLI::App& command, const Words& words, const std::string& options) {
    std::string example = "Example: pdactl";
    for (const char* word : words) {
        example.append(" ").append(word);
    }
    command.footer(options.empty() ? example : example.append(" ").append(options));
}

void addDryRun(CLI::App& command, Program& program) {
    command
        .add_flag("--dry-run", program.isDryRun,
                  "print the message that would go to the terminal, secret values masked, and send nothing")
        ->disable_flag_override();
}

void setAction(CLI::App& command, Program& program, const std::function<int()>& action) {
    command.callback([&program, action] { program.action = action; });
}

} // namespace pdactl
