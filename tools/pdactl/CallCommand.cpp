#include "Commands.h"
#include "Failure.h"
#include "Message.h"
#include "Text.h"
#include "log/JsonScan.h"

#include <QJsonDocument>

#include <iostream>
#include <optional>
#include <set>

namespace pdactl {

namespace {

struct CallOptions {
    std::string code;
    std::vector<std::string> members;
};

Values readMembers(const Transaction& code, const std::vector<std::string>& members) {
    Values values;
    for (const std::string& member : members) {
        const std::size_t equals = member.find('=');
        if (equals == std::string::npos) {
            throw Failure(BadUsage, "\"" + member +
                                        R"(" is not key=value. Write the member's name, "=" and its value.)");
        }
        const std::string name = member.substr(0, equals);
        const Parameter& parameter = requireParameter(code, name);
        if (values.count(name) != 0) {
            throw Failure(BadUsage, name + " is given twice. Give it once.");
        }
        values[name] = readArgument(name, member.substr(equals + 1), parameter.isSecret());
    }
    return values;
}

const Transaction& requireCode(const std::string& number) {
    const Transaction* const code = findCode(number);
    if (code == nullptr) {
        throw Failure(BadUsage, "There is no code \"" + number +
                                    "\"; they are 600001 to 600019, and 'pdactl call --help' lists them. "
                                    "For a whole request give @FILE, or - for standard input.");
    }
    return *code;
}

/// The values of a whole request; nothing for one that the library refuses, because a member is missing or of
/// the wrong type.
std::optional<Values> valuesOf(const Transaction& code, const QJsonObject& request) {
    Values values;
    for (const Parameter& parameter : code.parameters) {
        const std::optional<std::string> text =
            textOf(parameter, request.value(QLatin1String(parameter.name)));
        if (!text) {
            return std::nullopt;
        }
        values[parameter.name] = *text;
    }
    return values;
}

/// The library takes the first of several members of one name, the checks here the last.
void requireDistinctMembers(const std::string& request) {
    std::set<std::string> names;
    for (const std::string& name : log::rootNames(request).value_or(std::vector<std::string>())) {
        if (!names.insert(name).second) {
            throw Failure(BadUsage, name + " is given twice in the request. Give it once.");
        }
    }
}

/// A request from a file, and its response, as they are.
int callWhole(const CallOptions& options, const Settings& settings) {
    if (!options.members.empty()) {
        throw Failure(BadUsage, options.code + " holds the whole request: leave MEMBER out.");
    }
    const std::string request = readWhole(options.code == "-" ? options.code : options.code.substr(1));
    requireDistinctMembers(request);
    const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(request)).object();
    const Transaction* const code = findCode(object.value("transCode").toString().toStdString());
    const std::optional<Values> values = code != nullptr ? valuesOf(*code, object) : std::nullopt;
    const Host host(settings);
    if (values) {
        if (!isToBeSent(messageOf(*code, complete(*code, *values, asMember)), settings)) {
            return Success;
        }
    } else if (settings.isDryRun) {
        throw Failure(RequestRefused,
                      "The library would refuse the request: its code is unknown, or a member "
                      "is missing or has the wrong type. 'pdactl call --help' lists them.");
    }
    std::string response;
    const Outcome outcome = ask(host, code != nullptr ? *code : Transaction(), request, response);
    std::cout << (response.empty() ? "null" : response) << std::endl;
    if (!outcome.message.empty()) {
        complain(outcome.message);
    }
    return outcome.exitCode;
}

std::string codeList() {
    std::string list = "Codes and their members (int: an integer; secret: only as key=@FILE or key=-):\n";
    std::string last;
    for (const Transaction& code : allTransactions()) {
        if (code.code.empty() || last == code.code) {
            continue;
        }
        last = code.code;
        list += "  " + last + "  " + code.help + "\n";
        for (const Parameter& parameter : code.parameters) {
            list += std::string("            ") + parameter.name + (parameter.isInteger() ? " (int)" : "") +
                    (parameter.isSecret() ? " (secret)" : "") + ": " + parameter.help +
                    (parameter.preset != nullptr ? std::string(", \"") + parameter.preset + "\" unless given"
                                                 : "") +
                    "\n";
        }
    }
    return list;
}

int call(const CallOptions& options, const Settings& settings) {
    if (options.code == "-" || startsWith(options.code, "@")) {
        return callWhole(options, settings);
    }
    const Transaction& code = requireCode(options.code);
    return carryOut(code, readMembers(code, options.members), asMember, settings);
}

} // namespace

void addCallCommand(Program& program) {
    const auto options = std::make_shared<CallOptions>();
    CLI::App* const command = program.app.add_subcommand("call", "Make one request by its transaction code");
    command
        ->add_option("CODE", options->code,
                     "600001 to 600019; or @FILE, or - for standard input, with the JSON of a whole request, "
                     "which goes to the library as it is and whose response is printed as it is")
        ->required();
    command->add_option("MEMBER", options->members, "key=value, key=@FILE or key=- for standard input");
    addDryRun(*command, program);
    command->footer("Example: pdactl call 600003 pBagNumber=B0001 pAttrOrg=1001 pBagType=1\n\n" + codeList());
    setAction(*command, program, [&program, options] { return call(*options, program); });
}

} // namespace pdactl
