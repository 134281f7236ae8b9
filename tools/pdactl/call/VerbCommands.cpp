#include "Commands.h"
#include "Values.h"

#include <memory>

namespace pdactl {

namespace {

int carryOutVerb(const Program& program, const Transaction& transaction, const Values& given) {
    Values values;
    for (const Parameter& parameter : transaction.parameters) {
        if (const auto value = given.find(parameter.name); value != given.end()) {
            values[parameter.name] = readArgument(asOption(parameter), value->second, parameter.isSecret());
        }
    }
    return carryOut(transaction, values, asOption, program);
}

void addOption(CLI::App& command, const Parameter& parameter, const std::shared_ptr<Values>& given) {
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

void addVerb(Program& program, const Transaction& transaction) {
    CLI::App* const command = subcommand(program.app, transaction.command);
    command->description(transaction.help);
    addExample(*command, transaction.command, transaction.example);
    const auto given = std::make_shared<Values>();
    for (const Parameter& parameter : transaction.parameters) {
        addOption(*command, parameter, given);
    }
    addDryRun(*command, program);
    command->callback([&program, &transaction, given] {
        program.action = [&program, &transaction, given] {
            return carryOutVerb(program, transaction, *given);
        };
    });
}

} // namespace

void addVerbCommands(Program& program) {
    for (const Transaction& transaction : allTransactions()) {
        if (!transaction.command.empty()) {
            addVerb(program, transaction);
        }
    }
}

} // namespace pdactl
