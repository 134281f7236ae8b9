#include "Commands.h"
#include "Failure.h"
#include "Host.h"
#include "Machine.h"
#include "UdevRule.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <regex>

namespace pdactl {

namespace {

/// As udev knows it: the comparison is exact.
std::string lowerCase(std::string id) {
    std::transform(id.begin(), id.end(), id.begin(),
                   [](unsigned char digit) { return static_cast<char>(std::tolower(digit)); });
    return id;
}

std::string withId(const std::string& rule, const std::string& attribute, const std::string& id) {
    const std::regex sample("(" + attribute + R"(\}==")[0-9a-f]{4})");
    return std::regex_replace(rule, sample, "$01" + lowerCase(id));
}

int printRule(bool asJson) {
    const IniFile ini = readIni(iniFile());
    if (!hasIds(ini)) {
        throw Failure(LocalFailure, iniFile() + " gives no ids: pdactl doctor says more");
    }
    const std::string rule = withId(withId(kUdevRule, "idVendor", ini.vendorId), "idProduct", ini.productId);
    const QJsonObject object{{"rule", QString::fromStdString(rule)}};
    std::cout << (asJson ? QJsonDocument(object).toJson().toStdString() : rule);
    return Success;
}

} // namespace

void addUdevRuleCommand(Program& program) {
    CLI::App* const command = program.app.add_subcommand(
        "udev-rule",
        "Print the udev rule that gives the terminal, by the ids of the ini, to the group pdalink");
    command->footer("Example: pdactl udev-rule | sudo tee /etc/udev/rules.d/70-pdalink.rules");
    setAction(*command, program, [&program] { return printRule(program.asJson); });
}

} // namespace pdactl
