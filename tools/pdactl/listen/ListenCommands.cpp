#include "Commands.h"
#include "Failure.h"
#include "Message.h"
#include "Values.h"
#include "listen/Listener.h"

#include <algorithm>
#include <limits>
#include <memory>

namespace pdactl {

namespace {

constexpr std::size_t kCodeLength = 6;

const CLI::Range kPositive(1, std::numeric_limits<int>::max());

std::string requireAnswer(const std::string& code) {
    const bool isCode = code.size() == kCodeLength && std::all_of(code.begin(), code.end(), [](char digit) {
                            return digit >= '0' && digit <= '9';
                        });
    if (!isCode) {
        throw Failure(BadUsage,
                      "\"" + code +
                          "\" is not an answer to a login: give six digits, 000000 to let the user in.");
    }
    return code;
}

void addListen(Program& program) {
    const auto options = std::make_shared<ListenOptions>();
    CLI::App* const command =
        program.app.add_subcommand("listen", "Receive the messages that the terminal starts");
    command->add_option("--seconds", options->seconds, "end after N seconds")->check(kPositive);
    command->add_option("--count", options->count, "end after N messages")->check(kPositive);
    command->add_option("--answer-login", options->answerToLogin,
                        "answer every login with this code, 000000 to let the user in");
    command->footer("Every message is acknowledged as it is printed. With --json each is one line.\n"
                    "Example: pdactl listen --seconds 60 --answer-login 000000");
    command->callback([&program, options] {
        program.action = [&program, options] {
            if (!options->answerToLogin.empty()) {
                (void)requireAnswer(options->answerToLogin);
            }
            return Listener(*options, program.asJson, program.verbose).run();
        };
    });
}

void addLoginWait(Program& program) {
    const auto options = std::make_shared<ListenOptions>();
    options->count = 1;
    options->onlyLogin = true;
    CLI::App* const command = subcommand(program.app, {"login", "wait"});
    command->description("Wait until a user logs in at the terminal");
    command->add_option("--seconds", options->seconds, "wait no longer than that")->check(kPositive);
    command->footer("Messages of other kinds that come meanwhile are acknowledged and printed too.\n"
                    "Example: pdactl login wait --seconds 60");
    command->callback([&program, options] {
        program.action = [&program, options] {
            return Listener(*options, program.asJson, program.verbose).run();
        };
    });
}

int answer(const Program& program, const std::string& code, std::string number) {
    const Transaction& login = *findMember("SyncLoginResult");
    std::string resultCode = requireAnswer(code);
    requireSendable("--pda", number);
    Message message(login.type);
    message.add("Ex_PdaSn", number);
    message.add("Ex_RetCode", resultCode);
    const Host host(program.verbose);
    if (!isToBeSent(message, program.isDryRun, program.asJson)) {
        return Success;
    }
    Outcome outcome;
    host.call([&](CPDAXMLAnalysis& library) {
        outcome.result = library.SyncLoginResult(number.data(), resultCode.data());
    });
    judge(outcome, login);
    print(outcome, program.asJson);
    return outcome.exitCode;
}

void addLoginAnswer(Program& program) {
    const auto code = std::make_shared<std::string>();
    const auto number = std::make_shared<std::string>(kPresetPda);
    CLI::App* const command = subcommand(program.app, {"login", "answer"});
    command->description("Tell the terminal what came of a login");
    addExample(*command, {"login", "answer"}, "000000");
    command->add_option("CODE", *code, "000000 to let the user in, another code of six digits to refuse")
        ->required();
    command->add_option("--pda", *number, "the terminal's number")->capture_default_str();
    addDryRun(*command, program);
    command->callback([&program, code, number] {
        program.action = [&program, code, number] { return answer(program, *code, *number); };
    });
}

} // namespace

void addListenCommands(Program& program) {
    addListen(program);
    addLoginWait(program);
    addLoginAnswer(program);
}

} // namespace pdactl
