#include "scenario/Scenario.h"

#include "PrivateDirectory.h"
#include "core/MessageTable.h"
#include "scenario/BuiltInScenarios.h"
#include "scenario/Json.h"
#include "scenario/SchemaCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using pdalink::test::readFile;
using pdalink::test::scratchDirectory;
using pdalink::test::writeFile;
using pdasim::builtInScenarios;
using pdasim::Json;
using pdasim::loadScenario;
using pdasim::readScenario;
using pdasim::Scenario;
using pdasim::ScenarioError;
using pdasim::scenarioSchema;
using Texts = std::vector<std::string>;

const std::string Folder = PDASIM_SCENARIOS;

std::string refusalOf(const std::string& text) {
    try {
        (void)readScenario(text, "some.json", scratchDirectory());
        return "(accepted)";
    } catch (const ScenarioError& error) {
        return error.what();
    }
}

TEST(Scenarios, EveryFileOfTheFolderIsBuiltInAndUsable) {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(Folder)) {
        if (entry.path().filename() != "scenario.schema.json") {
            files.insert(entry.path().stem());
            EXPECT_FALSE(loadScenario(entry.path()).description.empty()) << entry.path();
        }
    }
    std::set<std::string> builtIn;
    for (const auto& scenario : builtInScenarios()) {
        builtIn.insert(std::string(scenario.name));
        EXPECT_EQ(scenario.text, readFile(Folder + "/" + std::string(scenario.name) + ".json"));
        EXPECT_EQ(loadScenario(std::string(scenario.name)).name,
                  loadScenario(Folder + "/" + std::string(scenario.name) + ".json").name);
    }
    EXPECT_EQ(files, builtIn);
    EXPECT_EQ(builtIn, (std::set<std::string>{"big-file", "flaky-cable", "lock-shop", "normal-day",
                                              "refusals", "silent-terminal", "slow-terminal"}));
}

TEST(Scenarios, TheBuiltInSchemaIsThePublishedOne) {
    EXPECT_EQ(scenarioSchema(), readFile(Folder + "/scenario.schema.json"));
}

TEST(Scenarios, ANameAloneIsEnough) {
    const Scenario scenario = readScenario(R"({"name":"x"})", "some.json", ".");
    EXPECT_EQ(scenario.name, "x");
    EXPECT_EQ(scenario.state.identity.eimi, pdasim::Identity().eimi);
    EXPECT_TRUE(scenario.state.locks.empty());
    EXPECT_TRUE(scenario.rules.empty());
    EXPECT_EQ(scenario.reportSize, 64U);
}

TEST(Scenarios, EveryMemberArrives) {
    const std::string text = R"({
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
    const Scenario scenario = readScenario(text, "some.json", ".");
    EXPECT_EQ(scenario.description, "everything");
    EXPECT_EQ(scenario.device.manufacturer, "M");
    EXPECT_EQ(scenario.device.product, "P");
    EXPECT_EQ(scenario.device.serial, "S");
    EXPECT_EQ(scenario.reportSize, 128U);
    const pdasim::TerminalState& state = scenario.state;
    EXPECT_EQ((Texts{state.identity.eimi, state.identity.bleVersion, state.identity.pdaVersion,
                     state.identity.vendor, state.identity.returnCode}),
              (Texts{"E", "B", "V", "D", "000123"}));
    EXPECT_EQ((Texts{state.assignedNumber, state.factory, state.bleMac}), (Texts{"N", "F", "MAC"}));
    EXPECT_TRUE(state.scan.running);
    EXPECT_EQ(state.scan.labels, (Texts{"A", "B"}));
    EXPECT_EQ(state.inventory.task.taskId, "T");
    const pdasim::InventoryResult& result = state.inventory.result;
    EXPECT_EQ((Texts{result.taskId, result.state, result.confirmation.login, result.confirmation.name}),
              (Texts{"T", "1", "I", "U"}));
    EXPECT_EQ(result.labels, Texts{"L"});
    EXPECT_EQ(result.errorLabels, Texts{"X"});
    EXPECT_EQ(state.keys.master->value + state.keys.master->checkValue, "k1c1");
    EXPECT_EQ(state.keys.encryption->value + state.keys.encryption->checkValue, "k2c2");
    EXPECT_EQ(state.keys.mac->value + state.keys.mac->checkValue, "k3c3");
    ASSERT_EQ(state.locks.size(), 2U);
    const pdasim::Lock& lock = state.locks[0];
    EXPECT_EQ(
        (Texts{lock.id, lock.label, lock.status, lock.rssi, lock.version, lock.chipVersion, lock.params,
               lock.boot, lock.applicationCheck, lock.random, lock.publicKey, lock.factor, lock.battery}),
        (Texts{"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13"}));
    EXPECT_EQ(state.locks[1].battery, pdasim::Lock().battery);
    EXPECT_EQ(state.tellers.registered, "R");
    EXPECT_EQ(state.tellers.authenticationResults, Texts{"a"});
    EXPECT_EQ(state.tellers.escorts, (Texts{"b", "c"}));
    EXPECT_EQ(state.files.offered.at(-1), "00fF");
    EXPECT_EQ(state.files.offered.at(2), "00070E");
    EXPECT_EQ((Texts{scenario.user.login, scenario.user.name, scenario.user.password}),
              (Texts{"UL", "UN", "UP"}));
    EXPECT_EQ(scenario.user.labels, Texts{"B1"});
    EXPECT_EQ(scenario.user.pace.count(), 7);
}

TEST(Scenarios, AFileLiesBesideItsScenario) {
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

TEST(BadScenarios, EachIsRefusedWithItsLinePathAndReason) {
    ASSERT_GT(badScenarios().size(), 100U);
    for (const Bad& bad : badScenarios()) {
        EXPECT_EQ(refusalOf(bad.text), "some.json:1: at " + bad.message) << bad.text;
    }
}

/** The values of all keywords that forbid something; named as the schema names them. */
void collectRules(const Json& schema, const std::string& place, std::map<const Json*, std::string>& rules) {
    static const std::set<std::string> forbidding = {"type",
                                                     "enum",
                                                     "required",
                                                     "minProperties",
                                                     "additionalProperties",
                                                     "dependentRequired",
                                                     "oneOf",
                                                     "minItems",
                                                     "minimum",
                                                     "maximum",
                                                     "minLength",
                                                     "maxLength",
                                                     "pattern"};
    for (const Json::Member& member : schema.members()) {
        const std::string path = place + "/" + member.name;
        if (member.name == "properties" || member.name == "$defs") {
            for (const Json::Member& each : member.value.members()) {
                collectRules(each.value, path + "/" + each.name, rules);
            }
        } else if (member.name == "items") {
            collectRules(member.value, path, rules);
        } else if (forbidding.count(member.name) != 0) {
            rules.emplace(&member.value, path);
        }
    }
}

TEST(BadScenarios, ThereIsOneForEveryRuleOfTheSchema) {
    const Json schema = Json::parse(scenarioSchema());
    std::map<const Json*, std::string> rules;
    collectRules(schema, "", rules);
    for (const Bad& bad : badScenarios()) {
        const auto violation = pdasim::checkSchema(schema, Json::parse(bad.text));
        ASSERT_TRUE(violation) << bad.text;
        rules.erase(violation->rule);
    }
    for (const auto& [rule, place] : rules) {
        ADD_FAILURE() << "no bad scenario breaks " << place;
    }
}

TEST(BadScenarios, TheLineIsThatOfTheMistake) {
    EXPECT_EQ(refusalOf("{\n  \"name\": \"x\",\n  \"rules\": [\n    {\"on\": \"8001\",\n     \"do\": {\n"
                        "       \"delay\": -5}}]}\n"),
              "some.json:6: at /rules/0/do/delay: must be 0 or more");
    EXPECT_EQ(refusalOf("{\n\n\"name\": \"x\",\n\"locks\": [\n{\"id\": \"1\"},\n{}\n]}"),
              "some.json:6: at /locks/1: \"id\" is missing");
}

TEST(BadScenarios, WhatTheSchemaCannotSay) {
    EXPECT_EQ(refusalOf("{\"name\": \"x\", \"locks\": [\n{\"id\": \"1\"},\n{\"id\": \"1\"}]}"),
              "some.json:3: at /locks/1/id: another lock has the id \"1\"");
    EXPECT_EQ(
        refusalOf(
            "{\"name\": \"x\", \"files\": [{\"command\": 1, \"size\": 1},\n{\"size\": 1,\n\"command\": 1}]}"),
        "some.json:3: at /files/1/command: another file has this command");
    EXPECT_EQ(refusalOf("{\"name\": \"x\",\n\"files\": [{\"command\": 1, \"path\": \"missing.bin\"}]}"),
              "some.json:2: at /files/0/path: cannot read \"missing.bin\"");
    EXPECT_EQ(refusalOf("{\"name\": \"x\", \"files\": [{\"command\": 1, \"path\": \".\"}]}"),
              "some.json:1: at /files/0/path: cannot read \".\"");
}

/** What is said about a rule on the third line. */
std::string refusalOfRule(const std::string& rule) {
    const std::string start = "some.json:3: at /rules/1";
    const std::string refusal =
        refusalOf("{\"name\": \"x\", \"rules\": [\n{\"on\": \"*\", \"do\": {\"delay\": 1}},\n" + rule + "]}");
    return refusal.compare(0, start.size(), start) == 0 ? refusal.substr(start.size()) : refusal;
}

TEST(BadScenarios, ARuleForATagThatTheMessagesLack) {
    EXPECT_EQ(refusalOfRule(R"({"on":"8003","tag":{"name":"Ex_Lable","equals":"1"},"do":{"delay":1}})"),
              "/tag/name: no message of type 8003 has such a tag to ask for; there are Ex_Label, Ex_OrgNm, "
              "Ex_BagType");
    EXPECT_EQ(refusalOfRule(R"({"on":"8001","tag":{"name":"Ex_SeqNo","equals":"1"},"do":{"delay":1}})"),
              "/tag/name: no message of type 8001 has such a tag to ask for; there is none");
    const std::string any = R"({"on":"*","tag":{"name":"Nope","endsWith":"1"},"do":{"delay":1}})";
    const std::string start =
        "/tag/name: no message of any type has such a tag to ask for; there are Ex_PdaSn, Ex_Factory, ";
    EXPECT_EQ(refusalOfRule(any).substr(0, start.size()), start);
    for (const char* right : {R"({"on":"*","tag":{"name":"Ex_OTCCode","equals":"1"},"do":{"delay":1}})",
                              R"({"on":"7018","tag":{"name":"Ex_LockId","equals":"1"},"do":{"delay":1}})",
                              R"({"on":"8016","tag":{"name":"Ex_InfEx","equals":"1"},"do":{"delay":1}})"}) {
        EXPECT_EQ(refusalOfRule(right), "(accepted)") << right;
    }
}

TEST(BadScenarios, ARuleThatDropsWhatTheRepliesLack) {
    EXPECT_EQ(refusalOfRule(R"({"on":"8003","do":{"drop":["Ex_Tid","Ex_Label"]}})"),
              "/do/drop/1: no reply of type 8003 has such a tag to drop; there are Ex_TrTime, Ex_SeqNo, "
              "Ex_Tid, Ex_RetCode");
    EXPECT_EQ(refusalOfRule(R"({"on":"7011","do":{"drop":["Ex_LockRssi"]}})"),
              "/do/drop/0: no reply of type 7011 has such a tag to drop; there are Ex_TrTime, Ex_SeqNo, "
              "Ex_SrcSeqNo, Ex_RetCode, Ex_LockNum");
    const std::string start =
        "/do/drop/0: no reply of any type has such a tag to drop; there are Ex_TrTime, ";
    EXPECT_EQ(refusalOfRule(R"({"on":"*","do":{"drop":["Ex_Nope"]}})").substr(0, start.size()), start);
    for (const char* right : {R"({"on":"*","do":{"drop":["Ex_HexVal","Ex_CMacChkVal"]}})",
                              R"({"on":"7012","do":{"drop":["Ex_FactorCDK","Ex_SeqNo"]}})",
                              R"({"on":"8016","do":{"drop":["Ex_HexCheck"]}})"}) {
        EXPECT_EQ(refusalOfRule(right), "(accepted)") << right;
    }
}

TEST(BadScenarios, ARuleForTheCheckOfAReplyWithoutOne) {
    EXPECT_EQ(refusalOfRule(R"({"on":"8002","do":{"corruptCrc":true}})"),
              "/do/corruptCrc: no reply of type 8002 has a check value; only 8016 has one");
    EXPECT_EQ(refusalOfRule(R"({"on":"8015","do":{"corruptCrc":true}})"),
              "/do/corruptCrc: no reply of type 8015 has a check value; only 8016 has one");
    for (const char* right :
         {R"({"on":"8016","do":{"corruptCrc":true}})", R"({"on":"*","do":{"corruptCrc":true}})",
          R"({"on":"8002","do":{"corruptCrc":false}})"}) {
        EXPECT_EQ(refusalOfRule(right), "(accepted)") << right;
    }
}

TEST(BadScenarios, TextThatIsNoJson) {
    EXPECT_EQ(refusalOf(""), "some.json:1: The document is empty.");
    EXPECT_EQ(refusalOf("{\n\"name\": \"x\",\n}"), "some.json:3: Missing a name for object member.");
    EXPECT_EQ(refusalOf("{\"name\": \"x\"}\n\nmore"),
              "some.json:3: The document root must not be followed by other values.");
    EXPECT_EQ(refusalOf("{\"name\": \"x\",\n\"name\": \"y\"}"), "some.json:2: \"name\" is there twice");
    EXPECT_EQ(refusalOf("{\"name\": \"\xff\"}"), "some.json:1: Invalid encoding in string.");
    EXPECT_EQ(refusalOf(std::string("{\"name\": \"x\"}\0{}", 15)), "some.json:1: a NUL byte is in the text");
    EXPECT_EQ(refusalOf(std::string(100000, '[')), "some.json:1: more than 100 brackets are open");
}

TEST(BadScenarios, AFileThatIsNotThere) {
    try {
        (void)loadScenario("no-such-scenario");
        FAIL();
    } catch (const ScenarioError& error) {
        EXPECT_STREQ(error.what(), "there is no readable file \"no-such-scenario\", and no such scenario is "
                                   "built in: see \"pdasim scenarios\"");
    }
}

TEST(ScenarioSchema, NamesExactlyTheRequestsThatTheTerminalAnswers) {
    const Json schema = Json::parse(scenarioSchema());
    const Texts named = schema.find("$defs")->find("type")->find("enum")->texts();
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

TEST(ScenarioSchema, ARuleThatWouldNotBeEnforcedIsAMistake) {
    const Json document = Json::parse(R"({"a": "x"})");
    for (const char* schema :
         {R"({"maxProperties": 1})", R"({"type": "null"})", R"({"$ref": "#/$defs/missing"})",
          R"({"properties": {"a": {"pattern": "x"}}})", R"({"oneOf": [{"type": "string"}]})",
          R"({"additionalProperties": {"type": "string"}})"}) {
        EXPECT_THROW((void)pdasim::checkSchema(Json::parse(schema), document), std::logic_error) << schema;
    }
}

TEST(JsonText, IsWrittenAsItWasRead) {
    const std::string text = R"({"a":[1,-2,3.5,true,null,"x\n\u0001ü"],"b":{}})";
    EXPECT_EQ(Json::parse(text).write(), text);
    EXPECT_EQ(Json::parse("1.0").write(), "1");
    EXPECT_EQ(Json::parse("18446744073709551615").kind(), Json::Kind::Real);
    EXPECT_EQ(Json::text("\xff<").write(), R"("\\xFF<")");
}

} // namespace
