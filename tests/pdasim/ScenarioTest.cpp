#include "scenario/Scenario.h"

#include "PrivateDirectory.h"
#include "core/MessageTable.h"
#include "scenario/Json.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using pdalink::test::readFile;
using pdalink::test::scratchDirectory;
using pdalink::test::writeFile;
using pdasim::builtInScenarios;
using pdasim::loadScenario;
using pdasim::readScenario;
using pdasim::Scenario;
using pdasim::ScenarioError;
using pdasim::scenarioSchema;
using Texts = std::vector<std::string>;

const std::string kFolder = PDASIM_SCENARIOS;

std::string refusalOf(const std::string& text) {
    try {
        (void)readScenario(text, "some.json", scratchDirectory());
        return "(accepted)";
    } catch (const ScenarioError& error) {
        return error.what();
    }
}

TEST(Scenarios, AreAllBuiltInAndUsable) {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
        if (entry.path().filename() != "scenario.schema.json") {
            files.insert(entry.path().stem());
            EXPECT_FALSE(loadScenario(entry.path()).description.empty()) << entry.path();
        }
    }
    std::set<std::string> builtIn;
    for (const auto& scenario : builtInScenarios()) {
        builtIn.insert(std::string(scenario.name));
        EXPECT_EQ(scenario.text, readFile(kFolder + "/" + std::string(scenario.name) + ".json"));
        EXPECT_EQ(loadScenario(std::string(scenario.name)).name,
                  loadScenario(kFolder + "/" + std::string(scenario.name) + ".json").name);
    }
    EXPECT_EQ(files, builtIn);
    EXPECT_EQ(builtIn, (std::set<std::string>{"big-file", "flaky-cable", "lock-shop", "normal-day",
                                              "refusals", "silent-terminal", "slow-terminal"}));
}

TEST(Scenarios, ComeWithTheInstalledSchema) {
    EXPECT_EQ(scenarioSchema(), readFile(kFolder + "/scenario.schema.json"));
}

TEST(Scenarios, NeedOnlyAName) {
    const Scenario scenario = readScenario(R"({"name":"x"})", "some.json", ".");
    EXPECT_EQ(scenario.name, "x");
    EXPECT_EQ(scenario.state.identity.eimi, pdasim::Identity().eimi);
    EXPECT_TRUE(scenario.state.locks.empty());
    EXPECT_TRUE(scenario.rules.empty());
    EXPECT_EQ(scenario.reportSize, 64U);
}

const std::string kEverything = R"({
        "name": "all", "description": "everything",
        "device": {"manufacturer": "M", "product": "P", "serial": "S", "reportSize": 128},
        "identity": {"eimi": "E", "bleVersion": "B", "pdaVersion": "V", "vendor": "D", "returnCode": "000123"},
        "state": {
          "assignedNumber": "N", "factory": "F", "bleMac": "MAC", "scanRunning": true, "scannedLabels": ["A", "B"],
          "inventory": {"taskId": "T", "labels": ["L"], "errorLabels": ["X"], "login": "I", "userName": "U"},
          "masterKey": {"value": "k1", "checkValue": "c1"},
          "encryptionKey": {"value": "k2", "checkValue": "c2"},
          "macKey": {"value": "k3", "checkValue": "c3"}
        },
        "locks": [{"id": "1", "label": "2", "status": "3", "rssi": "4", "version": "5", "chipVersion": "6",
                   "params": "7", "boot": "8", "applicationCheck": "9", "random": "10", "publicKey": "11",
                   "factor": "12", "battery": "13"}, {"id": "other"}],
        "tellers": {"registered": "R", "authenticationResults": ["a"], "escorts": ["b", "c"]},
        "files": [{"command": -1, "hex": "00fF"}, {"command": 2, "size": 3}],
        "user": {"login": "UL", "name": "UN", "password": "UP", "labels": ["B1"], "pace": 7}
    })";

TEST(Scenarios, SetEveryMember) {
    const Scenario scenario = readScenario(kEverything, "some.json", ".");
    const pdasim::TerminalState& state = scenario.state;
    const pdasim::InventoryResult& result = state.inventory.result;
    ASSERT_EQ(state.locks.size(), 2U);
    const pdasim::Lock& lock = state.locks[0];
    EXPECT_EQ(
        (Texts{scenario.description,
               scenario.device.manufacturer.value(),
               scenario.device.product.value(),
               scenario.device.serial.value(),
               state.identity.eimi,
               state.identity.bleVersion,
               state.identity.pdaVersion,
               state.identity.vendor,
               state.identity.returnCode,
               state.assignedNumber,
               state.factory,
               state.bleMac,
               state.inventory.task.taskId,
               result.taskId,
               result.state,
               result.confirmation.login,
               result.confirmation.name,
               state.keys.master->value,
               state.keys.master->checkValue,
               state.keys.encryption->value,
               state.keys.encryption->checkValue,
               state.keys.mac->value,
               state.keys.mac->checkValue,
               state.tellers.registered,
               scenario.user.login,
               scenario.user.name,
               scenario.user.password}),
        (Texts{"everything", "M", "P", "S",  "E",  "B",  "V",  "D",  "000123", "N", "F",  "MAC", "T", "T",
               "1",          "I", "U", "k1", "c1", "k2", "c2", "k3", "c3",     "R", "UL", "UN",  "UP"}));
    EXPECT_EQ(
        (Texts{lock.id, lock.label, lock.status, lock.rssi, lock.version, lock.chipVersion, lock.params,
               lock.boot, lock.applicationCheck, lock.random, lock.publicKey, lock.factor, lock.battery}),
        (Texts{"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13"}));
    EXPECT_EQ(state.locks[1].battery, pdasim::Lock().battery);
    EXPECT_EQ((std::vector<Texts>{state.scan.labels, result.labels, result.errorLabels,
                                  state.tellers.authenticationResults, state.tellers.escorts,
                                  scenario.user.labels}),
              (std::vector<Texts>{{"A", "B"}, {"L"}, {"X"}, {"a"}, {"b", "c"}, {"B1"}}));
    EXPECT_EQ(state.files.offered, (std::map<std::int32_t, std::string>{{-1, "00fF"}, {2, "00070E"}}));
    EXPECT_TRUE(state.scan.running);
    EXPECT_EQ(scenario.reportSize, 128U);
    EXPECT_EQ(scenario.user.pace.count(), 7);
}

TEST(Scenarios, FindFilesBesideThem) {
    writeFile(scratchDirectory() + "/data.bin", std::string("\x00\x7f\xff", 3));
    writeFile(scratchDirectory() + "/with-file.json",
              R"({"name": "x", "files": [{"command": 1, "path": "data.bin"}]})");
    EXPECT_EQ(loadScenario(scratchDirectory() + "/with-file.json").state.files.offered.at(1), "007FFF");
}

struct Bad {
    std::string text;
    std::string message;
};

std::vector<Bad> badScenarios() {
    std::istringstream lines(readFile(PDASIM_BAD_SCENARIOS));
    std::vector<Bad> all;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t tab = line.find('\t');
        all.push_back({line.substr(0, tab), line.substr(tab + 1)});
    }
    return all;
}

TEST(BadScenarios, AreRefusedWithTheirPathAndReason) {
    ASSERT_GT(badScenarios().size(), 60U);
    for (const Bad& bad : badScenarios()) {
        EXPECT_EQ(refusalOf(bad.text), "some.json: at " + bad.message) << bad.text;
    }
}

/// Refusals of what the schema lets pass, and what is right beside them.
TEST(BadScenarios, AreRefusedForWhatTheSchemaCannotSay) {
    const std::vector<Bad> cases = {
        {R"("locks":[{"id":"1"},{"id":"1"}])", "/locks/1/id: another lock has the id \"1\""},
        {R"("files":[{"command":1,"size":1},{"size":1,"command":1}])",
         "/files/1/command: another file has the command 1"},
        {R"("files":[{"command":1,"path":"missing.bin"}])", "/files/0/path: cannot read \"missing.bin\""},
        {R"("files":[{"command":1,"path":"."}])", "/files/0/path: cannot read \".\""},
    };
    for (const Bad& bad : cases) {
        EXPECT_EQ(refusalOf(R"({"name":"x",)" + bad.text + "}"), "some.json: at " + bad.message);
    }
}

TEST(BadScenarios, AreRefusedForTagsThatTheirMessagesLack) {
    const std::string tag = R"("do":{"delay":1},"tag":)";
    const std::vector<Bad> rules = {
        {R"("on":"8003",)" + tag + R"({"name":"Ex_Lable","equals":"1"})",
         "/tag/name: no message of type 8003 has such a tag to ask for; there are Ex_Label, Ex_OrgNm, "
         "Ex_BagType"},
        {R"("on":"8001",)" + tag + R"({"name":"Ex_SeqNo","equals":"1"})",
         "/tag/name: no message of type 8001 has such a tag to ask for; there is none"},
        {R"("on":"*",)" + tag + R"({"name":"Nope","endsWith":"1"})",
         "/tag/name: no message of any type has such a tag to ask for; there are Ex_PdaSn, Ex_Factory, "},
        {R"("on":"*",)" + tag + R"({"name":"Ex_OTCCode","equals":"1"})", ""},
        {R"("on":"7018",)" + tag + R"({"name":"Ex_LockId","equals":"1"})", ""},
        {R"("on":"8016",)" + tag + R"({"name":"Ex_InfEx","equals":"1"})", ""},
        {R"("on":"8003","do":{"drop":["Ex_Tid","Ex_Label"]})",
         "/do/drop/1: no reply of type 8003 has such a tag to drop; there are Ex_TrTime, Ex_SeqNo, Ex_Tid, "
         "Ex_RetCode"},
        {R"("on":"7011","do":{"drop":["Ex_LockRssi"]})",
         "/do/drop/0: no reply of type 7011 has such a tag to drop; there are Ex_TrTime, Ex_SeqNo, "
         "Ex_SrcSeqNo, Ex_RetCode, Ex_LockNum"},
        {R"("on":"*","do":{"drop":["Ex_Nope"]})",
         "/do/drop/0: no reply of any type has such a tag to drop; there are Ex_TrTime, "},
        {R"("on":"*","do":{"drop":["Ex_HexVal","Ex_CMacChkVal"]})", ""},
        {R"("on":"7012","do":{"drop":["Ex_FactorCDK","Ex_SeqNo"]})", ""},
        {R"("on":"8015","do":{"corruptCrc":true})",
         "/do/corruptCrc: no reply of type 8015 has a check value; only 8016 has one"},
        {R"("on":"8016","do":{"corruptCrc":true})", ""},
        {R"("on":"*","do":{"corruptCrc":true})", ""},
        {R"("on":"8002","do":{"corruptCrc":false})", ""},
    };
    for (const Bad& bad : rules) {
        const std::string refusal =
            refusalOf(R"({"name":"x","rules":[{"on":"*","do":{"delay":1}},{)" + bad.text + "}]}");
        const std::string expected =
            bad.message.empty() ? "(accepted)" : "some.json: at /rules/1" + bad.message;
        EXPECT_EQ(refusal.substr(0, expected.size()), expected) << refusal;
    }
}

TEST(BadScenarios, AreRefusedWithTheLineWhereTheyAreNotJson) {
    const std::vector<Bad> cases = {
        {"", "parse error at line 1, column 1: "},
        {"{\n\"name\": \"x\",\n}", "parse error at line 3, column 1: "},
        {"{\"name\": \"x\"}\n\nmore", "parse error at line 3, column 1: "},
        {"{\"name\": \"\xff\"}", "parse error at line 1, column 11: "},
        {"{\"name\": 1e999}", "number overflow parsing '1e999'"},
        {"{\"name\": \"x\",\n\"name\": \"y\"}", "line 2: \"name\" appears twice"},
        {std::string("{\"name\": \"x\"}\0{}", 15), "a NUL byte or a byte order mark is in the text"},
        {"\xEF\xBB\xBF{\"name\": \"x\"}", "a NUL byte or a byte order mark is in the text"},
        {std::string(100000, '['), "line 1: more than 100 brackets are open"},
    };
    for (const Bad& bad : cases) {
        EXPECT_EQ(refusalOf(bad.text).rfind("some.json: " + bad.message, 0), 0U) << refusalOf(bad.text);
    }
}

TEST(BadScenarios, AreRefusedWithoutAFile) {
    try {
        (void)loadScenario("no-such-scenario");
        FAIL();
    } catch (const ScenarioError& error) {
        EXPECT_STREQ(error.what(), "there is no readable file \"no-such-scenario\", and no such scenario is "
                                   "built in: see \"pdasim scenarios\"");
    }
}

TEST(ScenarioSchema, NamesExactlyTheRequestsThatTheTerminalAnswers) {
    const auto schema = pdasim::parseJson(scenarioSchema());
    const Texts named = schema["$defs"]["type"]["enum"];
    Texts answered = {"*"};
    for (int type = 0; type <= 9999; ++type) {
        const std::string text = pdasim::sequenceText(type);
        const auto rows = pdasim::findMessageRows(text);
        if (!rows.empty() && rows.front()->answer != nullptr) {
            answered.push_back(text);
        }
    }
    EXPECT_EQ(std::set<std::string>(named.begin(), named.end()),
              std::set<std::string>(answered.begin(), answered.end()));
}

TEST(JsonText, IsWrittenAsItWasRead) {
    const std::string text = R"({"a":[1,-2,3.5,true,null,"x\n\u0001ü"],"b":{}})";
    EXPECT_EQ(pdasim::writeJson(pdasim::parseJson(text)), text);
    EXPECT_EQ(pdasim::writeJson({{"a", {"\xff<"}}}), R"({"a":["\\xFF<"]})");
}

TEST(JsonText, HoldsIntegersWithAFractionOfZero) {
    EXPECT_EQ(pdasim::integerIn(pdasim::parseJson("1.0")), 1);
    EXPECT_EQ(pdasim::integerIn(pdasim::parseJson("-9223372036854775808")), INT64_MIN);
    for (const char* other : {"18446744073709551615", "1.5", "1e18", "\"1\""}) {
        EXPECT_EQ(pdasim::integerIn(pdasim::parseJson(other)), std::nullopt) << other;
    }
}

} // namespace
