#include "BareClient.h"
#include "Conversation.h"
#include "ProcessFacts.h"
#include "ServedTerminal.h"
#include "SocketClient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using pdalink::test::ProgramResult;
using pdalink::test::runProgram;
using pdasim::test::BareClient;
using pdasim::test::body;
using pdasim::test::contains;
using pdasim::test::pdasim;
using pdasim::test::Program;
using pdasim::test::request;
using pdasim::test::RunningProgram;
using pdasim::test::ServedTerminal;
using pdasim::test::SocketClient;
using Texts = std::vector<std::string>;

/// A terminal and a host that has it open.
class Ctl : public testing::Test {
protected:
    std::string ask(const std::string& type, const std::string& tags = {},
                    const std::string& end = "</Ex_RetCode>") {
        const std::string message = request(type, ++m_sequence, body(tags));
        EXPECT_EQ(host.write(message), static_cast<ssize_t>(message.size()));
        return host.readText(end);
    }

    void sendPowerTask(const std::string& taskId) {
        (void)ask("8010", "Ex_PdaSn=P Ex_OrgNb=42 Ex_Time= Ex_OrgNm=Main Ex_BatchNb=B9 Ex_TaskId=" + taskId +
                              " Ex_Total=2 Ex_Label=A;B;");
    }

    ServedTerminal served;
    BareClient host{"/dev/hidraw0"};

private:
    int m_sequence = 0;
};

TEST_F(Ctl, ScansLabels) {
    EXPECT_EQ(served.ctl({"scan", "BAG1", "BAG2"}), "");
    const std::string heard = host.readText("<Ex_Label>BAG2</Ex_Label>");
    EXPECT_EQ(heard.substr(6, 4), "9001");
    EXPECT_TRUE(contains(heard, "<Ex_Label>BAG1</Ex_Label>"));
    const std::string list = ask("8005", "Ex_PdaSn=P", "</Ex_ScanState>");
    EXPECT_TRUE(contains(list, "<Ex_Label>BAG1;BAG2;</Ex_Label>"));
}

TEST_F(Ctl, FinishesAnInventory) {
    (void)ask("8006", "Ex_PdaSn=P Ex_TaskId=INV1 Ex_Total=3 Ex_Label=A;B;C;");
    (void)served.ctl({"finish-inventory", "--error", "B", "--user", "ann"});
    const std::string record = host.readText("</Ex_MacChkVal>");
    EXPECT_EQ(record.substr(6, 4), "9004");
    EXPECT_TRUE(contains(record, body("Ex_Total=2 Ex_Label=A;C; Ex_ErrLabel=B;")));
    const std::string result = ask("8007", "Ex_PdaSn=P", "</Ex_InvenSta>");
    EXPECT_TRUE(contains(result, "<Ex_TaskId>INV1</Ex_TaskId><Ex_Label>A;C;</Ex_Label>")) << result;
    EXPECT_TRUE(contains(result, "<Ex_Login>ann</Ex_Login>"));
    EXPECT_TRUE(contains(result, "<Ex_InvenSta>1</Ex_InvenSta>"));
}

TEST_F(Ctl, LogsAUserInTellsWhoIsThereAndRegistersATeller) {
    (void)served.ctl({"login", "0815", "--name", "Ann", "--password", "secret"});
    const std::string record = host.readText("</Ex_MacChkVal>");
    EXPECT_EQ(record.substr(6, 4), "9002");
    EXPECT_TRUE(contains(record, body("Ex_Login=0815 Ex_Name=Ann")));
    EXPECT_TRUE(contains(record, "<Ex_Pwd>secret</Ex_Pwd>"));
    (void)served.ctl({"notice", "ann"});
    const std::string notice = host.readText("</Ex_UserNm>");
    EXPECT_EQ(notice.substr(6, 4), "9003");
    EXPECT_TRUE(contains(notice, "<Ex_UserNm>ann</Ex_UserNm>"));
    (void)served.ctl({"teller", "T42"});
    EXPECT_TRUE(contains(ask("8017", "Ex_PdaSn=P", "</Ex_TellerNo>"), "<Ex_TellerNo>T42</Ex_TellerNo>"));
}

TEST_F(Ctl, ConfirmsTheOnlyDotHandover) {
    (void)ask("8008", "Ex_PdaSn=P Ex_TaskId=DOT1 Ex_TaskType=1 Ex_Road=R7 Ex_ExcgTime= Ex_OrgNum=42 "
                      "Ex_OrgNm=Main Ex_Total=2 Ex_Label=A;B; Ex_UserA= Ex_UserB=");
    (void)served.ctl({"handover-dot", "--user", "ann", "--second", "ben", "--error", "B"});
    const std::string record = host.readText("</Ex_CMacChkVal>");
    EXPECT_EQ(record.substr(6, 4), "9005");
    EXPECT_TRUE(contains(record, "<Ex_Road>R7</Ex_Road>")) << record;
    EXPECT_TRUE(contains(record, "<Ex_LabelNum>1</Ex_LabelNum><Ex_ErrLabel>B;</Ex_ErrLabel>")) << record;
    EXPECT_TRUE(contains(record, "<Ex_ALogin>ann</Ex_ALogin>"));
    EXPECT_TRUE(contains(record, "<Ex_BLogin>ben</Ex_BLogin>"));
    const std::string result = ask("8009", "Ex_PdaSn=P Ex_TaskId=DOT1", "</Ex_State>");
    EXPECT_TRUE(contains(result, "<Ex_Label>A;</Ex_Label><Ex_ErrLabel>B;</Ex_ErrLabel>"));
    EXPECT_TRUE(contains(result, "<Ex_State>1</Ex_State>"));
}

TEST_F(Ctl, ConfirmsThePowerHandoverThatItNames) {
    sendPowerTask("P1");
    sendPowerTask("P2");
    const ProgramResult several = served.tryCtl({"handover-power"});
    EXPECT_EQ(several.exitCode, 1);
    EXPECT_EQ(several.errors, "pdasim: several tasks are under way, name one of them: [\"P1\",\"P2\"]\n");
    (void)served.ctl({"handover-power", "P2"});
    EXPECT_EQ(host.readText("</Ex_CMacChkVal>").substr(6, 4), "9006");
    (void)served.ctl({"handover-power"});
    EXPECT_EQ(host.readText("</Ex_CMacChkVal>").substr(6, 4), "9006");
    EXPECT_EQ(served.tryCtl({"handover-power"}).errors,
              "pdasim: no such task is under way: the host has to send one first\n");
}

TEST_F(Ctl, UnplugsAndPlugsInAgain) {
    (void)served.ctl({"unplug"});
    EXPECT_FALSE(std::filesystem::exists("/dev/hidraw0"));
    EXPECT_LT(host.write(request("8001", 1)), 0);
    EXPECT_TRUE(contains(served.ctl({"state"}), "\"plugged\": false"));
    host.close();
    (void)served.ctl({"replug"});
    BareClient again("/dev/hidraw0");
    ASSERT_TRUE(again.isOpen());
    ASSERT_GT(again.write(request("8001", 1)), 0);
    EXPECT_TRUE(contains(again.readText(), "<Ex_RetCode>000000"));
}

TEST_F(Ctl, ShowsTheStateAsJson) {
    (void)ask("8003", "Ex_Label=BAG1 Ex_OrgNm=Main Ex_BagType=2");
    const std::string script = "import json, sys\n"
                               "terminal = json.loads(sys.argv[1])\n"
                               "label = terminal['state']['writtenLabels'][0]\n"
                               "print(terminal['node'], terminal['openDescriptors'], "
                               "terminal['messagesReceived'], label['label'], label['tagId'], "
                               "terminal['violations'], len(terminal['state']['locks']))\n";
    const ProgramResult read = runProgram({PDASIM_PYTHON, "-c", script, served.ctl({"state"})});
    EXPECT_EQ(read.output, "/dev/hidraw0 1 1 BAG1 TID0001 [] 2\n") << read.errors;
}

TEST_F(Ctl, FollowsTheTrafficInWordsAndAsJson) {
    const Texts traffic = {Program,   "ctl",    "--control", served.folder() + "/pdasim.sock",
                           "traffic", "--count"};
    Texts words = traffic;
    words.push_back("3");
    Texts json = traffic;
    json.insert(json.end(), {"1", "--json"});
    RunningProgram reader(words);
    RunningProgram parser(json);
    ASSERT_EQ(reader.readLine(), "# following");
    ASSERT_EQ(parser.readLine(), R"({"ok":true,"following":true})");
    (void)ask("8001");
    (void)served.ctl({"scan", "BAG1"});
    EXPECT_TRUE(contains(reader.readLine(), "  host -> terminal  8001 terminal information (112 bytes) "));
    EXPECT_TRUE(contains(reader.readLine(), "  terminal -> host  8001 terminal information ("));
    const std::string scanned = reader.readLine();
    EXPECT_TRUE(contains(scanned, "  terminal -> host  9001 scanned label (")) << scanned;
    EXPECT_TRUE(contains(scanned, " Ex_Label=BAG1")) << scanned;
    EXPECT_EQ(reader.wait(), 0);
    const std::string line = parser.readLine();
    EXPECT_TRUE(contains(line, R"("terminal":1,"from":"host","type":"8001","bytes":112,"message":"8001 )"))
        << line;
    EXPECT_EQ(parser.wait(), 0);
}

TEST_F(Ctl, TheTrafficEndsWithTheTerminal) {
    RunningProgram follower({Program, "ctl", "--control", served.folder() + "/pdasim.sock", "traffic"});
    ASSERT_EQ(follower.readLine(), "# following");
    EXPECT_EQ(served.end(), 0);
    EXPECT_EQ(follower.readLine(), "");
    EXPECT_EQ(follower.wait(), 0);
}

TEST_F(Ctl, FailsWhenNobodyHears) {
    host.close();
    for (const Texts& arguments : {Texts{"scan", "BAG1"}, Texts{"login", "ann"}, Texts{"notice", "ann"}}) {
        const ProgramResult result = served.tryCtl(arguments);
        EXPECT_EQ(result.exitCode, 1) << arguments.front();
        EXPECT_EQ(result.errors,
                  "pdasim: no program has the terminal's node open: nobody has heard that. Do it again "
                  "once one has\n");
    }
}

TEST_F(Ctl, FailsWhenItCannotPrint) {
    const std::string ctl = Program + " ctl --control " + served.folder() + "/pdasim.sock ";
    for (const std::string& command :
         {ctl + "state > /dev/full", ctl + "state >&-", "timeout 20 " + ctl + "traffic > /dev/full"}) {
        const ProgramResult result = runProgram({"sh", "-c", command});
        EXPECT_EQ(result.exitCode, 74) << command;
        EXPECT_EQ(result.errors, "pdasim: standard output cannot be written. Look whether its disk is full, "
                                 "and give it another place\n");
    }
}

TEST_F(Ctl, RefusesWithAReason) {
    EXPECT_EQ(served.tryCtl({"finish-inventory"}).errors,
              "pdasim: the host has sent no such task; \"state\" shows those that it has sent\n");
    EXPECT_EQ(served.tryCtl({"handover-dot"}).errors,
              "pdasim: no such task is under way: the host has to send one first\n");
    EXPECT_TRUE(contains(served.tryCtl({"handover-dot", "T9"}).errors, "the host has sent no such task; "));
    (void)served.ctl({"unplug"});
    for (const Texts& arguments : {Texts{"scan", "A"}, Texts{"login", "A"}, Texts{"finish-inventory"}}) {
        const ProgramResult result = served.tryCtl(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.errors, "pdasim: the terminal is unplugged: \"replug\" it first\n");
    }
}

TEST(CtlWithoutServer, SaysWhatToSay) {
    const ProgramResult unsaid = runProgram({"env", "-u", "UMOCKDEV_DIR", Program, "ctl", "state"});
    EXPECT_EQ(unsaid.exitCode, 64);
    EXPECT_TRUE(contains(unsaid.errors, "which terminal? Say --control SOCKET")) << unsaid.errors;
}

TEST(CtlInsideRun, ReachesTheTerminalOfItsCommand) {
    const ProgramResult result = pdasim({"run", "--", Program, "ctl", "state"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_TRUE(contains(result.output, "\"node\": \"/dev/hidraw0\""));
}

/// Sends lines to the socket, and gives their answers.
std::string answersTo(const std::string& path, const std::string& lines) {
    const SocketClient client(path);
    (void)client.send(lines);
    return client.read(static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n')));
}

TEST_F(Ctl, AnswersLinesOfJsonWithLinesOfJson) {
    const std::string path = served.folder() + "/pdasim.sock";
    EXPECT_EQ(
        answersTo(path,
                  "{\"command\":\"scan\",\"labels\":[\"A\"]}\n{\"command\":\"unplug\",\"terminal\":1}\n"),
        "{\"ok\":true,\"listeners\":1}\n{\"ok\":true}\n");
    struct Case {
        std::string line;
        std::string error;
    };
    const std::string names =
        "there are scan, finish-inventory, login, handover-dot, handover-power, notice, "
        "teller, unplug, replug, state";
    const std::vector<Case> cases = {
        {"nonsense",
         R"(the line is not JSON; send an object, {\"command\": \"state\"} for example: parse error at line 1, column 2: syntax error while parsing value - invalid literal; last read: 'no')"},
        {"[]", R"(the request has no string \"command\"; )" + names},
        {R"({"command":1})", R"(the request has no string \"command\"; )" + names},
        {R"({"command":"fly"})", R"(there is no command \"fly\"; )" + names},
        {R"({"command":"scan"})", R"(\"labels\" is missing)"},
        {R"({"command":"scan","labels":"A"})", R"(\"labels\" must be a list of strings)"},
        {R"({"command":"scan","labels":[1]})", R"(\"labels\" must be a list of strings)"},
        {R"({"command":"login","user":1})", R"(\"user\" must be a string)"},
        {R"({"command":"state","terminal":0})", "there is no terminal 0; the only one is 1"},
        {R"({"command":"state","terminal":"1"})", R"(there is no terminal \"1\"; the only one is 1)"},
    };
    std::string lines;
    std::string answers;
    for (const Case& wrong : cases) {
        lines.append(wrong.line).append("\n");
        answers.append(R"({"ok":false,"error":")").append(wrong.error).append("\"}\n");
    }
    EXPECT_EQ(answersTo(path, lines), answers);
}

TEST_F(Ctl, SurvivesAClientThatSendsWithoutEnd) {
    const SocketClient client(served.folder() + "/pdasim.sock");
    (void)client.send(std::string(3U << 20U, 'x'));
    EXPECT_EQ(client.read(1), "");
    EXPECT_EQ(served.ctl({"scan", "A"}), "");
}

} // namespace
