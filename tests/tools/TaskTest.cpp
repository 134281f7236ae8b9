#include "PdactlRun.h"

#include <ostream>

namespace {

using namespace pdalink::test;

/// A command for people, and the message that the terminal gets for it.
struct Task {
    Words command;
    std::string type;
};

std::string nameOf(const Task& task) {
    std::string name;
    for (const std::string& word : task.command) {
        if (word[0] == '-' && word[1] == '-') {
            break;
        }
        for (const char character : word == task.command.front() ? word : "_" + word) {
            name += character == '-' ? '_' : character;
        }
    }
    return name;
}

void PrintTo(const Task& task, std::ostream* stream) {
    *stream << nameOf(task);
}

class TaskTest : public PdactlTest, public testing::WithParamInterface<Task> {
protected:
    TaskTest() {
        terminal().changeState([](pdasim::TerminalState& state) {
            pdasim::Lock lock;
            lock.id = "L1";
            state.locks = {lock};
            state.tellers.registered = "T0815";
            state.keys.master = pdasim::Key{"key", "check"};
        });
    }

    /// The command with "@secret" as the file that it stands for.
    static Words withSecrets() {
        Words words = GetParam().command;
        const std::string path = scratchDirectory() + "/secret";
        writeFile(path, "5E;");
        for (std::string& word : words) {
            if (word == "@secret") {
                word.replace(1, std::string::npos, path);
            }
        }
        return words;
    }
};

TEST_P(TaskTest, SendsTheMessageThatADryRunPrints) {
    Words dryRun = withSecrets();
    dryRun.emplace_back("--dry-run");
    const ProgramResult printed = pdactl(dryRun);
    EXPECT_EQ(printed.exitCode, 0) << printed.errors;
    EXPECT_EQ(printed.errors, "");
    EXPECT_THAT(terminal().received(), testing::IsEmpty());
    const ProgramResult result = pdactl(withSecrets());
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    ASSERT_EQ(terminal().messages().size(), 1U);
    EXPECT_EQ(terminal().messages()[0].type, GetParam().type);
    EXPECT_EQ(withoutTime(printed.output),
              withoutTime(masked(terminal().received()[0], {"5E;", "5E"})) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    All, TaskTest,
    testing::Values(
        Task{{"init", "--factory", "F1"}, "8002"}, Task{{"info"}, "8001"},
        Task{{"bag", "write", "--number", "B1", "--org", "O1", "--type", "1"}, "8003"},
        Task{{"scan", "start"}, "8004"}, Task{{"scan", "stop"}, "8004"}, Task{{"scan", "list"}, "8005"},
        Task{{"inventory", "send", "--task", "T1", "--total", "1", "--labels", "A1;"}, "8006"},
        Task{{"inventory", "result"}, "8007"},
        Task{{"handover", "dot",     "send",   "--task",         "T1",    "--type",   "1",
              "--route",  "R",       "--time", "20260102030405", "--org", "O",        "--org-name",
              "N",        "--total", "1",      "--labels",       "A1;",   "--user-a", "A",
              "--user-b", "B"},
             "8008"},
        Task{{"handover", "dot", "result", "--task", "T1"}, "8009"},
        Task{{"handover", "power", "send", "--task", "T1", "--org", "O", "--time", "20260102030405",
              "--org-name", "N", "--batch", "B", "--total", "1", "--labels", "A1;"},
             "8010"},
        Task{{"handover", "power", "result", "--task", "T1"}, "8011"},
        Task{{"key", "init", "--key", "@secret", "--check-value", "@secret"}, "8012"},
        Task{{"key", "check"}, "8013"},
        Task{{"key", "update", "--enc-key", "@secret", "--mac-key", "@secret", "--enc-check-value", "@secret",
              "--mac-check-value", "@secret"},
             "8014"},
        Task{{"teller", "registered"}, "8017"}, Task{{"teller", "authenticated", "--results", "1;"}, "8018"},
        Task{{"teller", "sync", "--tellers", "T1;"}, "8019"},
        Task{{"lock", "mac", "--address", "00:11:22:33:44:55"}, "7001"}, Task{{"lock", "list"}, "7011"},
        Task{{"lock", "info", "--lock", "L1"}, "7016"}, Task{{"lock", "public-key", "--lock", "L1"}, "7012"},
        Task{{"lock", "init-keys", "--lock", "L1", "--fv", "@secret", "--ev", "@secret", "--cv", "@secret"},
             "7013"},
        Task{{"lock", "keys", "--lock", "L1"}, "7014"},
        Task{{"lock",        "update-keys", "--lock",      "L1",      "--fv",         "@secret",
              "--ev",        "@secret",     "--cv",        "@secret", "--normal-fv",  "@secret",
              "--normal-ev", "@secret",     "--normal-cv", "@secret", "--urgent-fv",  "@secret",
              "--urgent-ev", "@secret",     "--urgent-cv", "@secret", "--parameters", "00",
              "--label",     "Front"},
             "7015"},
        Task{{"lock", "open", "--locks", "L1;", "--codes", "@secret", "--users-a", "A;", "--users-b", "B;"},
             "7018"},
        Task{{"lock", "result"}, "7019"}),
    [](const testing::TestParamInfo<Task>& task) { return nameOf(task.param); });

} // namespace
