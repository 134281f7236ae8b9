#include "Argument.h"
#include "Commands.h"
#include "Failure.h"
#include "Host.h"
#include "LockTable.h"
#include "Request.h"
#include "ReservedBuffer.h"

#include <memory>

namespace pdactl {

namespace {

std::vector<std::string> inputsOf(const LockCall& call, const Values& given) {
    std::vector<std::string> inputs;
    for (const Parameter& parameter : call.parameters) {
        const auto value = given.find(parameter.name);
        inputs.push_back(value != given.end() ? readArgument(std::string("--") + parameter.option,
                                                             value->second, parameter.isSecret)
                                              : parameter.preset);
    }
    if (call.complete != nullptr) {
        call.complete(inputs);
    }
    return inputs;
}

int carryOut(const Program& program, const LockCall& call, const Values& given) {
    std::vector<std::string> inputs = inputsOf(call, given);
    std::vector<ReservedBuffer> outputs;
    Texts in;
    Texts out;
    for (std::string& input : inputs) {
        in.push_back(input.data());
    }
    for (std::size_t i = 0; i < call.outputs.size(); ++i) {
        outputs.emplace_back(ReplyRoom);
        out.push_back(outputs.back().data());
    }
    Outcome outcome;
    Host(program.verbose).call([&] {
        CPDAXMLAnalysis library;
        outcome.result = call.call(library, in, out);
    });
    for (std::size_t i = 0; i < call.outputs.size(); ++i) {
        outcome.fields.push_back({call.outputs[i], outputs[i].text()});
    }
    judge(outcome, Results::Usual, "retCode");
    print(outcome, program.asJson);
    return outcome.exitCode;
}

void addLockCommand(Program& program, const LockCall& call) {
    CLI::App* const command = subcommand(program.app, call.command);
    command->description(call.help);
    addExample(*command, call.command, call.example);
    const auto given = std::make_shared<Values>();
    addParameters(*command, call.parameters, given);
    command->callback([&program, &call, given] {
        program.action = [&program, &call, given] { return carryOut(program, call, *given); };
    });
}

} // namespace

void addLockCommands(Program& program) {
    for (const LockCall& call : allLockCalls()) {
        addLockCommand(program, call);
    }
}

} // namespace pdactl
