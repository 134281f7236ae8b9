#include "BareClient.h"
#include "Conversation.h"
#include "PrivateDirectory.h"
#include "ServedTerminal.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdalink::test::ProgramResult;
using pdalink::test::readFile;
using pdalink::test::runProgram;
using pdalink::test::scratchDirectory;
using pdalink::test::writeFile;
using pdasim::test::BareClient;
using pdasim::test::body;
using pdasim::test::contains;
using pdasim::test::pdasim;
using pdasim::test::Program;
using pdasim::test::request;
using pdasim::test::ServedTerminal;
using Texts = std::vector<std::string>;

const std::string kHostProgram = PDASIM_BARE_CLIENT;

/// A host of a served terminal that sends numbered messages.
class Host {
public:
    std::string ask(const std::string& type, const std::string& tags,
                    const std::string& end = "</Ex_RetCode>", std::chrono::milliseconds patience = 10s) {
        send(type, tags);
        return m_client.readText(end, patience);
    }
    void send(const std::string& type, const std::string& tags) {
        const std::string message = request(type, ++m_sequence, body(tags));
        EXPECT_EQ(m_client.write(message), static_cast<ssize_t>(message.size()));
    }
    std::string hear(const std::string& end) { return m_client.readText(end); }
    BareClient& client() { return m_client; }

    void acknowledge(const std::string& type, bool isScan = false) {
        const std::string number = isScan || type == "9006" ? " Ex_PdaSn=-" : "";
        send(type, "Ex_SrcSeqNo=-" + number + " Ex_RetCode=000000" + (isScan ? " Ex_ScanState=1" : ""));
    }

private:
    BareClient m_client{"/dev/hidraw0"};
    int m_sequence = 0;
};

const std::string kLabel = "Ex_Label=BAG-REFUSE Ex_OrgNm=O Ex_BagType=1";

TEST(MagicValuesOfTheProgram, WorkUnlessTheyAreSwitchedOff) {
    {
        ServedTerminal served;
        EXPECT_TRUE(contains(Host().ask("8003", kLabel), "000099"));
        EXPECT_EQ(served.end(), 0);
    }
    ServedTerminal served({"--no-magic"});
    EXPECT_TRUE(contains(Host().ask("8003", kLabel), "<Ex_RetCode>000000"));
    EXPECT_EQ(served.end(), 0);
}

TEST(RunOptions, ATraceIsForItsUserAlone) {
    const std::string fresh = scratchDirectory() + "/fresh-trace";
    const std::string older = scratchDirectory() + "/older-trace";
    writeFile(older, std::string(100000, 'x'));
    std::filesystem::permissions(older, std::filesystem::perms(0644));
    for (const std::string& path : {fresh, older}) {
        const ProgramResult result = runProgram({"sh", "-c", "umask 0; exec \"$@\"", "sh", Program, "run",
                                                 "--trace", path, "--", kHostProgram, "good"});
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600)) << path;
        const std::string trace = readFile(path);
        EXPECT_TRUE(contains(trace, "8001 terminal information"));
        EXPECT_FALSE(contains(trace, "xxx"));
    }
}

TEST(RunOptions, ATraceGoesIntoADeviceToo) {
    const std::filesystem::perms before = std::filesystem::status("/dev/null").permissions();
    EXPECT_EQ(pdasim({"run", "--trace", "/dev/null", "--", kHostProgram, "good"}).exitCode, 0);
    EXPECT_EQ(std::filesystem::status("/dev/null").permissions(), before);
}

TEST(MagicValuesOfTheProgram, AnUnpluggedTerminalComesBack) {
    ServedTerminal served;
    {
        Host host;
        host.send("8003", "Ex_Label=BAG-UNPLUG Ex_OrgNm=O Ex_BagType=1");
        EXPECT_NE(host.client().poll(10s) & POLLHUP, 0);
    }
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    bool isBack = false;
    while (!isBack && std::chrono::steady_clock::now() < deadline) {
        isBack = contains(served.ctl({"state"}), "\"plugged\": true");
    }
    ASSERT_TRUE(isBack);
    EXPECT_TRUE(contains(Host().ask("8001", ""), "<Ex_RetCode>000000"));
}

TEST(ScenarioOfTheProgram, AFileDecidesWhatTheTerminalIs) {
    const std::string path = scratchDirectory() + "/own.json";
    writeFile(path, R"({"name": "own", "identity": {"eimi": "4711"}, "device": {"serial": "S7"},
                        "rules": [{"on": "8002", "do": {"refuse": "000042"}}]})");
    ServedTerminal served({"--scenario", path});
    Host host;
    EXPECT_TRUE(contains(host.ask("8001", ""), "<Ex_EIMI>4711</Ex_EIMI>"));
    EXPECT_TRUE(contains(host.ask("8002", "Ex_PdaSn=P Ex_Factory=F"), "000042"));
    EXPECT_EQ(pdasim::test::enumerateHidraw().at(0).serial, "S7");
    EXPECT_EQ(served.end(), 0);
}

TEST(ScenarioOfTheProgram, ABuiltInOneGoesByItsName) {
    const ProgramResult result = pdasim({"run", "--scenario", "silent-terminal", "--", kHostProgram, "good"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    ServedTerminal served({"--scenario", "lock-shop"});
    Host host;
    EXPECT_TRUE(contains(host.ask("7012", "Ex_LockId=LOCK0005", "</Ex_FactorCDK>"), "000007"));
    EXPECT_EQ(host.ask("7016", "Ex_LockId=LOCK0006", "</Ex_LockRnd>").substr(6, 4), "7011");
}

TEST(ScenarioOfTheProgram, AFlakyCableComesAndGoes) {
    ServedTerminal served({"--scenario", "flaky-cable"});
    {
        Host host;
        EXPECT_TRUE(contains(host.ask("8001", ""), "<Ex_RetCode>000000"));
        host.send("8001", "");
        EXPECT_NE(host.client().poll(10s) & POLLHUP, 0);
    }
    EXPECT_TRUE(contains(served.ctl({"state"}), "\"messagesReceived\": 2"));
}

TEST(ScenarioOfTheProgram, ABadOneIsRefused) {
    const std::string path = scratchDirectory() + "/bad.json";
    writeFile(
        path,
        "{\n  \"name\": \"bad\",\n  \"rules\": [{\"on\": \"8001\", \"do\": {\"delay\": \"long\"}}]\n}\n");
    for (const Texts& arguments : {Texts{"run", "--scenario", path, "--", "true"},
                                   Texts{"serve", "--scenario", path}, Texts{"scenarios", "--check", path}}) {
        const ProgramResult result = pdasim(arguments);
        EXPECT_EQ(result.exitCode, 65);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors,
                  "pdasim: " + path + ": at /rules/0/do/delay: must be an integer, is a string\n");
    }
}

TEST(ScenarioOfTheProgram, TheProgramShowsItsOwn) {
    const ProgramResult list = pdasim({"scenarios"});
    EXPECT_TRUE(contains(list.output, "silent-terminal   It says who it is and does not answer"));
    const ProgramResult shown = pdasim({"scenarios", "--show", "lock-shop"});
    writeFile(scratchDirectory() + "/copy.json", shown.output);
    const ProgramResult checked = pdasim({"scenarios", "--check", scratchDirectory() + "/copy.json"});
    EXPECT_EQ(checked.output, scratchDirectory() + "/copy.json: A lock shop\n") << checked.errors;
    EXPECT_TRUE(contains(pdasim({"scenarios", "--schema"}).output, "draft/2020-12/schema"));
}

TEST(UserOfTheProgram, ScansThreeLabelsOneAfterTheOtherUntilTheRunIsStopped) {
    ServedTerminal served({"--user"});
    Host host;
    (void)host.ask("8004", "Ex_PdaSn=P Ex_Cmd=1");
    (void)host.hear("</Ex_Label>");
    (void)host.ask("8004", "Ex_PdaSn=P Ex_Cmd=0");
    host.acknowledge("9001", true);
    EXPECT_EQ(host.client().poll(1500ms), 0) << "the run has been stopped";
    EXPECT_TRUE(contains(host.ask("8004", "Ex_PdaSn=P Ex_Cmd=1"), "<Ex_RetCode>000000"));
    for (const std::string label : {"BAG-0001", "BAG-0002", "BAG-0003"}) {
        const std::string heard = host.hear("</Ex_Label>");
        EXPECT_EQ(heard.substr(6, 4), "9001");
        EXPECT_TRUE(contains(heard, "<Ex_Label>" + label + "</Ex_Label>")) << heard;
        // The next one is not scanned before this one is acknowledged.
        EXPECT_EQ(host.client().poll(700ms), 0);
        host.acknowledge("9001", true);
    }
    EXPECT_EQ(host.client().poll(1s), 0);
    EXPECT_EQ(served.end(), 0);
}

TEST(UserOfTheProgram, FinishesAnInventory) {
    ServedTerminal served({"--user"});
    Host host;
    (void)host.ask("8006", "Ex_PdaSn=P Ex_TaskId=I1 Ex_Total=2 Ex_Label=A;B;");
    const std::string record = host.hear("</Ex_MacChkVal>");
    EXPECT_EQ(record.substr(6, 4), "9004");
    EXPECT_TRUE(contains(record, "<Ex_Label>A;B;</Ex_Label>"));
    host.acknowledge("9004");
    EXPECT_TRUE(contains(host.ask("8007", "Ex_PdaSn=P", "</Ex_InvenSta>"), "<Ex_InvenSta>1</Ex_InvenSta>"));
    EXPECT_EQ(served.end(), 0);
}

TEST(UserOfTheProgram, ConfirmsHandoversOnceLoggedIn) {
    ServedTerminal served({"--user"});
    Host host;
    (void)host.ask("8008",
                   "Ex_PdaSn=P Ex_TaskId=D1 Ex_TaskType=1 Ex_Road=R7 Ex_ExcgTime= Ex_OrgNum=42 Ex_OrgNm=Main "
                   "Ex_Total=1 Ex_Label=A; Ex_UserA= Ex_UserB=");
    const std::string login = host.hear("</Ex_MacChkVal>");
    EXPECT_EQ(login.substr(6, 4), "9002");
    EXPECT_TRUE(contains(login, "<Ex_Login>user-a</Ex_Login>"));
    host.send("9002", "Ex_PdaSn=P Ex_RetCode=000017");
    EXPECT_EQ(host.client().poll(1s), 0);
    host.send("9002", "Ex_PdaSn=P Ex_RetCode=000000");
    EXPECT_EQ(host.hear("</Ex_CMacChkVal>").substr(6, 4), "9005");
    host.acknowledge("9005");
    // The login holds for what follows.
    (void)host.ask("8010",
                   "Ex_PdaSn=P Ex_OrgNb=42 Ex_Time= Ex_OrgNm=Main Ex_BatchNb=B9 Ex_TaskId=P1 Ex_Total=1 "
                   "Ex_Label=A;");
    EXPECT_EQ(host.hear("</Ex_CMacChkVal>").substr(6, 4), "9006");
    host.acknowledge("9006");
    const std::string result = host.ask("8011", "Ex_PdaSn=P Ex_TaskId=P1", "</Ex_State>");
    EXPECT_TRUE(contains(result, "<Ex_State>1</Ex_State>"));
    EXPECT_EQ(served.end(), 0);
}

TEST(UserOfTheProgram, DoesNothingForWhatTheTerminalRefused) {
    const std::string path = scratchDirectory() + "/refusing.json";
    writeFile(path,
              R"({"name": "x", "user": {"pace": 50}, "rules": [{"on": "*", "do": {"refuse": "000042"}}]})");
    ServedTerminal served({"--user", "--scenario", path});
    Host host;
    (void)host.ask("8004", "Ex_PdaSn=P Ex_Cmd=1");
    (void)host.ask("8006", "Ex_PdaSn=P Ex_TaskId=I1 Ex_Total=0 Ex_Label=");
    EXPECT_EQ(host.client().poll(1s), 0);
    EXPECT_EQ(served.end(), 0);
}

TEST(UserOfTheProgram, IsTheOneOfTheScenario) {
    const std::string path = scratchDirectory() + "/user.json";
    writeFile(path, R"({"name": "x", "user": {"login": "007", "labels": ["ONE"], "pace": 10}})");
    ServedTerminal served({"--user", "--scenario", path});
    Host host;
    (void)host.ask("8004", "Ex_PdaSn=P Ex_Cmd=1");
    EXPECT_TRUE(contains(host.hear("</Ex_Label>"), "<Ex_Label>ONE</Ex_Label>"));
    host.acknowledge("9001", true);
    EXPECT_EQ(host.client().poll(500ms), 0);
    EXPECT_EQ(served.end(), 0);
}

} // namespace
