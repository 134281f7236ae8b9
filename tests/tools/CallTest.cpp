#include "PdactlRun.h"

namespace {

using namespace pdalink::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

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

TEST_F(CallTest, NamesEveryMissingMember) {
    const ProgramResult result = pdactl({"call", "600003", "pBagNumber=B1"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("600003 also needs pAttrOrg, pBagType."), HasSubstr("NAME=VALUE")));
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(terminal().received(), IsEmpty());
}

struct Mistake {
    Words arguments;
    std::string reason;
};

TEST_F(CallTest, RefusesWhatMakesNoSense) {
    const std::vector<Mistake> mistakes = {
        {{}, "subcommand is required"},
        {{"fly"}, "--help"},
        {{"bag", "write"}, "--number is required"},
        {{"info", "--no-such-option"}, "--no-such-option"},
        {{"call"}, "CODE is required"},
        {{"call", "600020"}, "There is no code \"600020\"; they are 600001 to 600019"},
        {{"call", "request.json"}, "For a whole request give @FILE, or - for standard input."},
        {{"call", "600003", "pBagNumber"}, "\"pBagNumber\" is not key=value."},
        {{"call", "600003", "colour=red"}, "600003 takes no colour, but: pBagNumber, pAttrOrg, pBagType."},
        {{"call", "600002", "colour=red"}, "600002 takes no colour, but: nothing."},
        {{"call", "600006", "pTaskID=T", "pTotal=many", "pLabelList="},
         "pTotal takes an integer, not \"many\""},
        {{"call", "-", "pTaskID=T"}, "- holds the whole request: leave MEMBER out."},
        {{"inventory", "send", "--task", "T", "--total", "many", "--labels", ""},
         "--total takes an integer, not \"many\""},
        {{"login", "answer", "let him in"}, "give six digits"},
        {{"listen", "--count", "0"}, "--count"},
    };
    for (const Mistake& mistake : mistakes) {
        const ProgramResult result = pdactl(mistake.arguments);
        EXPECT_EQ(result.exitCode, 2) << mistake.reason;
        EXPECT_THAT(result.errors, HasSubstr(mistake.reason));
        EXPECT_EQ(result.output, "");
    }
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_F(CallTest, TellsAMistakeInJsonToo) {
    const QJsonObject object = json({"call", "600003"}, 2);
    EXPECT_THAT(object.value("message").toString().toStdString(), HasSubstr("also needs pBagNumber"));
    EXPECT_THAT(json({"fly"}, 2).value("message").toString().toStdString(), HasSubstr("--help"));
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

TEST_F(CallTest, SaysThatAFileCannotBeRead) {
    const ProgramResult result = pdactl({"call", "@/no/such/file"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, HasSubstr("Cannot read /no/such/file: No such file or directory."));
}

class SecretTest : public PdactlTest {
protected:
    void TearDown() override { EXPECT_THAT(readLogText(), Not(HasSubstr("OPENLY"))); }
};

TEST_F(SecretTest, IsRefusedOnTheCommandLine) {
    const std::vector<Words> commands = {
        {"call", "600012", "pKey=OPENLY", "CheckVal=OPENLY"},
        {"key", "init", "--key", "OPENLY", "--check-value", "@x"},
        {"key", "update", "--enc-key", "OPENLY", "--mac-key", "@x", "--enc-check-value", "@x",
         "--mac-check-value", "@x"},
        {"lock", "open", "--locks", "L1;", "--actions", "00;", "--codes", "OPENLY;", "--users-a", "A;",
         "--users-b", "B;"},
        {"lock", "init-keys", "--lock", "L1", "--fv", "OPENLY", "--ev", "@x", "--cv", "@x"},
    };
    for (const Words& command : commands) {
        const ProgramResult result = pdactl(command);
        EXPECT_EQ(result.exitCode, 2) << command[1] << result.errors;
        EXPECT_THAT(result.errors,
                    AllOf(HasSubstr("is secret and must not be given on the command line"),
                          HasSubstr("@FILE"), HasSubstr("standard input"), Not(HasSubstr("OPENLY"))));
    }
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_F(SecretTest, ComesFromAFileOrStandardInputWithoutItsLineEnd) {
    const std::string check = scratchDirectory() + "/check";
    writeFile(check, "C0FFEE\n");
    EXPECT_EQ(shell("echo 0123 | pdactl call 600012 pKey=- CheckVal=@" + quoted(check)).exitCode, 0);
    EXPECT_EQ(terminal().state().keys.master->value, "0123");
    EXPECT_EQ(terminal().state().keys.master->checkValue, "C0FFEE");
    EXPECT_EQ(shell("printf 4567 | pdactl key init --key - --check-value @" + quoted(check)).exitCode, 0);
    EXPECT_EQ(terminal().state().keys.master->value, "4567");
}

TEST_F(SecretTest, IsNotTakenFromStandardInputTwice) {
    const ProgramResult result = shell("echo 1 | pdactl key init --key - --check-value -");
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors, HasSubstr("Standard input can give one value only"));
    EXPECT_THAT(terminal().received(), IsEmpty());
}

} // namespace
