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

std::string inputOf(const Parameter& parameter, const Values& given) {
    const auto value = given.find(parameter.name);
    if (value == given.end()) {
        return parameter.preset;
    }
    std::string input = readArgument(asOption(parameter), value->second, parameter.isSecret());
    if (!parameter.mayBeEmpty()) {
        requireNotEmpty(asOption(parameter), input);
    }
    return input;
}

std::vector<std::string> inputsOf(const LockCall& call, const Values& given) {
    std::vector<std::string> inputs;
    for (const Parameter& parameter : call.parameters) {
        inputs.push_back(inputOf(parameter, given));
    }
    if (call.complete != nullptr) {
        call.complete(inputs);
    }
    return inputs;
}

int carryOut(const Program& program, const LockCall& call, const Values& given) {
    std::vector<std::string> inputs = inputsOf(call, given);
    const Host host(program.verbose);
    if (!isToBeSent(messageOf(call, inputs), program)) {
        return Success;
    }
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
    host.call([&] {
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
    addDryRun(*command, program);
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
