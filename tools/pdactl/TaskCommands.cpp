#include "Argument.h"
#include "Commands.h"
#include "Request.h"

#include <memory>

namespace pdactl {

namespace {

// One command for each row of the table of codes that has words for it.

int carryOutTask(const Program& program, const Code& code, const Values& given) {
    Values values;
    for (const Parameter& parameter : code.parameters) {
        const auto value = given.find(parameter.name);
        if (value != given.end()) {
            values[parameter.name] = readArgument(asOption(parameter), value->second, parameter.isSecret());
        }
    }
    return carryOut(code, values, asOption, program);
}

void addTask(Program& program, const Code& code) {
    CLI::App* const command = subcommand(program.app, code.command);
    command->description(code.help);
    addExample(*command, code.command, code.example);
    const auto given = std::make_shared<Values>();
    addParameters(*command, code.parameters, given);
    addDryRun(*command, program);
    command->callback([&program, &code, given] {
        program.action = [&program, &code, given] { return carryOutTask(program, code, *given); };
    });
}

} // namespace

CLI::App* subcommand(CLI::App& app, const std::vector<const char*>& words) {
    CLI::App* command = &app;
    for (const char* word : words) {
        const std::vector<CLI::App*> there =
            command->get_subcommands([word](const CLI::App* each) { return each->get_name() == word; });
        if (there.empty() && command != &app) {
            command->require_subcommand(1);
        }
        command = there.empty() ? command->add_subcommand(word) : there.front();
    }
    return command;
}

void addParameters(CLI::App& command, const std::vector<Parameter>& parameters,
                   const std::shared_ptr<Values>& given) {
    for (const Parameter& parameter : parameters) {
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

void addTaskCommands(Program& program) {
    for (const Code& code : allCodes()) {
        if (!code.command.empty()) {
            addTask(program, code);
        }
    }
}

} // namespace pdactl
