#include "Commands.h"

namespace pdactl {

namespace {

/// A command that only holds others, and one line from which to learn them.
struct Group {
    std::vector<const char*> words;
    const char* help;
    const char* example;
};

const std::vector<Group>& allGroups() {
    static const std::vector<Group> groups = {
        {{"bag"}, "Labels of bags", "pdactl bag write --number B0001 --org 1001 --type 1"},
        {{"scan"}, "Scan runs at the terminal", "pdactl scan start; pdactl scan list; pdactl scan stop"},
        {{"inventory"},
         "Inventory tasks and their results",
         "pdactl inventory send --task T1 --total 2 --labels 'B1;B2;'; pdactl inventory result"},
        {{"handover"}, "Handovers of bags", "pdactl handover dot result --task T1"},
        {{"handover", "dot"}, "Handovers at a service point", "pdactl handover dot result --task T1"},
        {{"handover", "power"}, "Handovers between organisations", "pdactl handover power result --task T1"},
        {{"key"},
         "The terminal's keys, which are never given on the command line",
         "pdactl key init --key @key.txt --check-value @check.txt; pdactl key check"},
        {{"teller"}, "Tellers at the terminal", "pdactl teller registered"},
        {{"lock"}, "Locks around the terminal", "pdactl lock list; pdactl lock info --lock L0001"},
        {{"login"},
         "Users who log in at the terminal",
         "pdactl login wait --seconds 60; pdactl login answer 000000"},
        {{"file"},
         "Files to the terminal and from it",
         "pdactl file send firmware.bin --command 7; pdactl file fetch report.bin --command 8"},
    };
    return groups;
}

} // namespace

CLI::App* subcommand(CLI::App& app, const std::vector<const char*>& words) {
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

void addDryRun(CLI::App& command, Program& program) {
    command
        .add_flag("--dry-run", program.isDryRun,
                  "print the message that would go to the terminal, secret values masked, and send nothing")
        ->disable_flag_override();
}

void addExample(CLI::App& command, const std::vector<const char*>& words, const std::string& options) {
    std::string example = "Example: pdactl";
    for (const char* word : words) {
        example.append(" ").append(word);
    }
    command.footer(options.empty() ? example : example.append(" ").append(options));
}

void describeGroups(Program& program) {
    for (const Group& group : allGroups()) {
        CLI::App* const command = subcommand(program.app, group.words);
        command->description(group.help);
        command->footer(std::string("Example: ") + group.example);
    }
}

} // namespace pdactl
