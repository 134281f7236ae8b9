#include "pdasim/Subcommands.h"

#include "pdasim/Reporting.h"
#include "scenario/Scenario.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

namespace pdasim {

namespace {

struct ScenariosOptions {
    bool schema = false;
    std::string show;
    std::string check;
};

void list() {
    constexpr std::size_t kColumn = 18;
    for (const BuiltInScenario& scenario : builtInScenarios()) {
        std::string name(scenario.name);
        name.resize(std::max(kColumn, name.size() + 1), ' ');
        std::cout << name << loadScenario(std::string(scenario.name)).description << "\n";
    }
}

int show(const std::string& name) {
    for (const BuiltInScenario& scenario : builtInScenarios()) {
        if (scenario.name == name) {
            std::cout << scenario.text;
            return 0;
        }
    }
    throw ScenarioError("no scenario \"" + name + R"(" is built in: see "pdasim scenarios")");
}

int answer(const ScenariosOptions& options) {
    if (options.schema) {
        std::cout << scenarioSchema();
    } else if (!options.show.empty()) {
        return show(options.show);
    } else if (!options.check.empty()) {
        const std::string name = loadScenario(options.check).name;
        std::cout << options.check << ": " << name << "\n";
    } else {
        list();
    }
    return 0;
}

} // namespace

void addScenariosCommand(CLI::App& program, int& exitCode) {
    const auto options = std::make_shared<ScenariosOptions>();
    CLI::App* command = program.add_subcommand("scenarios", "List the built-in scenarios");
    command->add_flag("--schema", options->schema, "Print the JSON Schema that scenarios keep to");
    command->add_option("--show", options->show, "Print a built-in one, to begin your own with");
    command->add_option("--check", options->check, "Read a file and say what is wrong with it");
    command->footer(
        "Example: pdasim scenarios --show lock-shop > mine.json; pdasim scenarios --check mine.json");
    command->final_callback([options, &exitCode] {
        exitCode = reportingFailures([&options] {
            const int code = answer(*options);
            std::cout.flush();
            return code;
        });
    });
}

} // namespace pdasim
