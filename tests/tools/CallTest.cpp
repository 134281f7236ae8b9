#include "PdactlRun.h"

namespace {

using namespace pdalink::test;
using testing::AllOf;
using testing::HasSubstr;

using CallTest = PdactlTest;

TEST_F(CallTest, PrintsATableAndNothingElse) {
    const ProgramResult result = pdactl({"info"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "pSN          860123456789012\n"
                             "pBleVersion  BLE-1.4.2\n"
                             "pPDAVersion  PDA-2.0.7\n"
                             "pRetCode     000000\n");
    EXPECT_EQ(result.errors, "");
}

TEST_F(CallTest, PrintsListsAsTheColumnsOfATable) {
    terminal().changeState([](pdasim::TerminalState& state) {
        pdasim::Lock front;
        front.id = "L1";
        front.label = "前门";
        front.rssi = "-60";
        pdasim::Lock back;
        back.id = "LOCK-22";
        back.rssi = "-7";
        state.locks = {front, back};
    });
    const ProgramResult result = pdactl({"lock", "list"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output, "srcSeqNo   0001\n"
                             "retCode    000000\n"
                             "lockCount  2\n"
                             "\n"
                             "lockIds  labels  states  rssis\n"
                             "L1       前门      0       -60\n"
                             "LOCK-22          0       -7\n");
}

TEST_F(CallTest, LeavesWhatIsNotAListInOneLine) {
    const ProgramResult result = pdactl({"lock", "result"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output, "srcSeqNo   0001\n"
                             "retCode    000000\n"
                             "lockCount  0\n"
                             "lockIds\nactions\nresults\nusersA\nusersB\nrnds\nopenTimes\nbatteries\n");
}

TEST_F(CallTest, PrintsOneDocumentWithJson) {
    const ProgramResult result = pdactl({"--json", "info"});
    EXPECT_EQ(result.exitCode, 0);
    const QJsonObject object = onlyDocument(result.output).object();
    EXPECT_EQ(object.value("result").toInt(-1), 0);
    EXPECT_EQ(object.value("exitCode").toInt(-1), 0);
    EXPECT_EQ(object.value("response").toObject().value("pSN").toString(), "860123456789012");
    EXPECT_FALSE(object.contains("message"));
    EXPECT_EQ(result.errors, "");
}

TEST_F(CallTest, ShowsTheLibrarysLinesOnStandardErrorWhenAsked) {
    const ProgramResult result = pdactl({"info", "--verbose", "--json"});
    EXPECT_EQ(result.exitCode, 0);
    (void)onlyDocument(result.output);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("****************\n"), HasSubstr("Device Node Path: "),
                      HasSubstr("library: inipath: "), HasSubstr("library: port open success")));
}

TEST_F(CallTest, TakesNumbersAsNumbers) {
    const QJsonObject response =
        json({"call", "600006", "pdaNumber=1", "pTaskID=T1", "pTotal=2", "pLabelList=A1;A2;"});
    EXPECT_EQ(response.value("result").toInt(-1), 0);
    EXPECT_EQ(terminal().state().inventory.task.total, "2");
    EXPECT_EQ(terminal().state().inventory.task.labels, "A1;A2;");
}

TEST_F(CallTest, SendsAWholeRequestUnchanged) {
    const std::string path = scratchDirectory() + "/request.json";
    writeFile(path, R"({"transCode":"600003","pBagNumber":"B7","pAttrOrg":"O","pBagType":"1","more":true})");
    for (const std::string& line :
         {"pdactl call @" + quoted(path), "pdactl call --json - < " + quoted(path)}) {
        const ProgramResult result = shell(line);
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_EQ(onlyDocument(result.output).object().value("transCode").toString(), "600003");
    }
    EXPECT_EQ(terminal().state().writtenLabels.at(0).label, "B7");
}

TEST_F(CallTest, SaysWhyTheLibraryRefusesARequest) {
    const ProgramResult unknown = shell(R"(echo '{"transCode":"600020"}' | pdactl call -)");
    EXPECT_EQ(unknown.exitCode, 3);
    EXPECT_EQ(unknown.output, "{}\n");
    EXPECT_THAT(unknown.errors, AllOf(HasSubstr("refused the request"), HasSubstr(logPath())));
    const ProgramResult nothing = shell(R"(echo '["transCode"]' | pdactl call -)");
    EXPECT_EQ(nothing.exitCode, 3);
    EXPECT_EQ(nothing.output, "null\n");
}

} // namespace
