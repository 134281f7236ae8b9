#include "PrivateDirectory.h"
#include "ProgramRun.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace pdalink::test;
using Words = std::vector<std::string>;

/// Runs an example, or a line of shell that names some, with a terminal at which somebody works. Its output
/// has to have these lines, in this order; the library writes others between them.
void expectLines(const std::string& line, const Words& expected, const Words& options = {"--user"}) {
    SCOPED_TRACE(line);
    Words command{PDASIM_PROGRAM, "run"};
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(),
                   {"--", "sh", "-c", "PATH=$PATH:" EXAMPLES "; cd " + scratchDirectory() + "; " + line});
    const ProgramResult result = runProgram(command);
    EXPECT_EQ(result.exitCode, 0) << result.output << result.errors;
    const std::string output = "\n" + result.output;
    std::size_t position = 0;
    for (const std::string& each : expected) {
        const std::size_t found = output.find("\n" + each + "\n", position);
        ASSERT_NE(found, std::string::npos) << each << " is not where it should be in" << output;
        position = found + 1;
    }
}

TEST(Examples, FirstCallPrintsEachAnswer) {
    expectLines(R"(first_call '{"transCode":"600002"}' '{"transCode":"600099"}')",
                {R"(request   {"transCode":"600002"})",
                 R"(response  {"pBleVersion":"BLE-1.4.2","pPDAVersion":"PDA-2.0.7","pRetCode":"000000",)"
                 R"("pSN":"860123456789012","transCode":"600002"})",
                 "response  {}"});
}

TEST(Examples, LabelsAreWrittenAndScanned) {
    expectLines("labels", {"the number of the label that was written: TID0001", "scanned: BAG-0001",
                           "scanned: BAG-0002", "scanned: BAG-0003",
                           "all that were scanned: BAG-0001;BAG-0002;BAG-0003;"});
}

TEST(Examples, AnInventoryIsSentAndItsResultFetched) {
    expectLines("inventory", {"found: BAG-0001;BAG-0002;", "by: Ann Example", "the result of: INV-1",
                              "labels: BAG-0001;BAG-0002;", "labels in error: ", "the user's login: user-a"});
}

TEST(Examples, AHandoverIsConfirmedByWhomTheHostLetsIn) {
    expectLines("handover", {"a login: user-a", "handed over by: Ann Example", "to: Ben Example",
                             "labels: BAG-0003;", "on: Route 7"});
}

TEST(Examples, FilesAreSentAndFetched) {
    expectLines("echo some bytes > sent && files sent fetched && wc -c < fetched",
                {"digits sent: 22", "bytes fetched: 2100", "2100"});
}

TEST(Examples, ALockIsOpened) {
    expectLines("locks", {"locks: LOCK-1;LOCK-2;", "their labels: Front vault;Back vault;", "opened: LOCK-1;",
                          "result, 00 for an open lock: 00;", "battery: 80;"});
}

TEST(Examples, MessagesAreShownAsTheyComeAndUsersLetIn) {
    expectLines("timeout 60 messages 4 > shown & until grep -q listening shown; do sleep 0.05; done; "
                "pdasim ctl scan A1 B2; pdasim ctl notice anna; pdasim ctl login ben; wait $!; cat shown; "
                "grep -o 'login result.*Ex_RetCode=000000' trace | cut -c 1-12",
                {"label: 860123456789012 A1", "label: 860123456789012 B2", "user: 860123456789012 anna",
                 "login: 860123456789012 ben ben F1A7 5EED PWD-A MAC-A", "login result"},
                {"--trace", scratchDirectory() + "/trace"});
}

TEST(Examples, SayWhatFailed) {
    expectLines("inventory 2>&1; echo $?",
                {R"(failed: 600006 was answered with '{"pRetCode":"000014","transCode":"600006"}')", "1"},
                {"--scenario", "refusals"});
}

} // namespace
