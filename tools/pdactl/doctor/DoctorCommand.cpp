#include "Commands.h"
#include "Text.h"
#include "doctor/Doctor.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <iostream>

namespace pdactl {

namespace {

/// What a terminal says when it is asked.
Finding askTerminal(bool verbose) {
    const Transaction& code = *findCode("600002");
    Answer answer;
    const Outcome outcome = ask(Host(verbose), code, makeRequest(code, {}), answer);
    if (outcome.exitCode != Success) {
        return {Health::Problem, "answer", outcome.message, "tail " + shellWord(logDirectory() + "/PDA.log")};
    }
    return {Health::Ok, "answer", "the terminal answers: it is " + outcome.fields.front().value, ""};
}

void printFindings(const std::vector<Finding>& findings, bool asJson) {
    if (!asJson) {
        for (const Finding& finding : findings) {
            const std::string state = nameOf(finding.health);
            std::cout << state << std::string(9 - state.size(), ' ') << finding.text << '\n';
            if (!finding.command.empty()) {
                std::cout << "         " << finding.command << '\n';
            }
        }
        std::cout.flush();
        return;
    }
    QJsonArray array;
    for (const Finding& finding : findings) {
        QJsonObject object{{"health", nameOf(finding.health)},
                           {"check", QString::fromStdString(finding.check)},
                           {"text", QString::fromStdString(finding.text)}};
        if (!finding.command.empty()) {
            object.insert("command", QString::fromStdString(finding.command));
        }
        array.append(object);
    }
    std::cout << QJsonDocument(array).toJson().constData() << std::flush;
}

int examine(const Program& program) {
    Doctor doctor;
    std::vector<Finding> findings = doctor.examine();
    if (doctor.canAskTerminal()) {
        findings.push_back(askTerminal(program.verbose));
    }
    printFindings(findings, program.asJson);
    const bool isIll = std::any_of(findings.begin(), findings.end(),
                                   [](const Finding& finding) { return finding.health == Health::Problem; });
    return isIll ? LocalFailure : Success;
}

} // namespace

void addDoctorCommand(Program& program) {
    CLI::App* const command =
        program.app.add_subcommand("doctor", "Find out why a host cannot reach its terminal");
    command->footer("One line for each finding: ok, warning or problem, and below what is not ok the command "
                    "that fixes it or shows more.\n"
                    "Exit code: 1 with a problem, else 0.\n"
                    "Example: pdactl doctor");
    command->callback([&program] { program.action = [&program] { return examine(program); }; });
}

} // namespace pdactl
