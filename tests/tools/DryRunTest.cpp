#include "PdactlRun.h"

#include <filesystem>
#include <ostream>

namespace {

using namespace pdalink::test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// What the commands beside those of the tables print in place of a message, and what they send.
class DryRunTest : public PdactlTest {
protected:
    std::string file(const std::string& name, const std::string& bytes) {
        writeFile(scratchDirectory() + "/" + name, bytes);
        return scratchDirectory() + "/" + name;
    }
    std::string dryRun(const std::string& line) {
        const std::size_t before = terminal().received().size();
        const ProgramResult result = shell(line + " --dry-run");
        EXPECT_EQ(result.exitCode, 0) << line << result.errors;
        EXPECT_EQ(terminal().received().size(), before) << line;
        return withoutTime(result.output);
    }
    /// The first message that a line sends, and what it printed in its place before.
    void printsWhatItSends(const std::string& line, const Words& secrets = {}) {
        const std::string printed = dryRun(line);
        (void)shell(line);
        ASSERT_THAT(terminal().received(), Not(IsEmpty())) << line;
        EXPECT_EQ(printed, withoutTime(masked(terminal().received().front(), secrets)) + "\n");
    }
};

/// What follows "pdactl", where the files of the test are, and the secret values in its message.
struct DryRun {
    const char* name;
    const char* line;
    Words secrets;
};

void PrintTo(const DryRun& dryRun, std::ostream* stream) {
    *stream << dryRun.name;
}

class MessageTest : public DryRunTest, public testing::WithParamInterface<DryRun> {
protected:
    MessageTest() {
        (void)file("small", "12345");
        (void)file("key", "C0FFEE");
        (void)file("codes", "1111;2222;");
        (void)file("request",
                   R"({"transCode":"600006","pdaNumber":"1","pTaskID":"T","pTotal":2,"pLabelList":"A;B;"})");
    }
};

TEST_P(MessageTest, IsPrintedAsItIsSent) {
    printsWhatItSends("cd " + quoted(scratchDirectory()) + "; pdactl " + GetParam().line, GetParam().secrets);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Of, MessageTest,
    testing::Values(
        DryRun{"AFilesFirstPacket", "file send --command 7 --info note small", {"3132333435"}},
        DryRun{"TheFirstQuestionForAFile", "file fetch --command 7 fetched", {}},
        DryRun{"AnAnswerToALogin", "login answer 000042 --pda 7", {}},
        DryRun{"ACode", "call 600012 pKey=@key CheckVal=@key", {"C0FFEE"}},
        DryRun{"AWholeRequest", "call @request", {}},
        DryRun{"ASentText", "call 600015 pCmdEx=7 pInfoEx=note pFilePath=112233445566778", {"112233445566778"}},
        DryRun{"BytesThatAreRecoded",
               "handover dot send --task T1 --type 1 --route '\u00b0 \u524d' --time 2 --org O "
               "--org-name '\u00d7' --total 1 --labels 'A1;' --user-a Z\u00e4 --user-b B", {}},
        DryRun{"LocksOfWhichOneTakesACode",
               "lock open --locks 'L1;L2;' --actions '01;00;' --codes @codes --users-a 'A;B;' --users-b 'C;D;'",
               {"2222"}}),
    [](const testing::TestParamInfo<DryRun>& dryRun) { return std::string(dryRun.param.name); });
// clang-format on

TEST_F(DryRunTest, CountsThePacketsOfALargeFile) {
    const std::string bytes(3 * 1500 + 1, 'a');
    std::string digits;
    for (int i = 0; i < 1500; ++i) {
        digits += "61";
    }
    printsWhatItSends("pdactl file send " + quoted(file("large", bytes)), {digits});
    EXPECT_THAT(terminal().received().front(), HasSubstr("<Ex_TotalPkt>4</Ex_TotalPkt>"));
}

TEST_F(DryRunTest, WritesNoFile) {
    (void)dryRun("pdactl file fetch " + quoted(scratchDirectory() + "/fetched"));
    EXPECT_FALSE(std::filesystem::exists(scratchDirectory() + "/fetched"));
}

TEST_F(DryRunTest, PrintsTextAsTheLocaleHasItSent) {
    for (const std::string locale : {"C", "C.UTF-8"}) {
        const std::string setting = "export LC_ALL=" + locale + "; ";
        const std::string line = setting + "pdactl bag write --number 'B\u00e4\u524d' --org O --type 1";
        const std::string printed = dryRun(line);
        EXPECT_EQ(shell(line).exitCode, 0);
        EXPECT_EQ(printed, withoutTime(terminal().received().back()) + "\n") << locale;
    }
}

TEST_F(DryRunTest, IsOneDocumentWithJson) {
    const QJsonObject object = json({"info", "--dry-run"});
    EXPECT_THAT(object.value("wouldSend").toString().toStdString(), HasSubstr("0001128001QEV   0000"));
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_F(DryRunTest, NeedsNeitherTerminalNorLibraryFiles) {
    terminal().unplug();
    EXPECT_EQ(pdactl({"info", "--dry-run"}).exitCode, 0);
    EXPECT_FALSE(std::filesystem::exists(privateDirectory() + "/log"));
}

TEST_F(DryRunTest, RefusesWhatWouldBeRefused) {
    EXPECT_EQ(pdactl({"init", "--factory", "", "--dry-run"}).exitCode, 2);
    const ProgramResult unknown = shell(R"(echo '{"transCode":"600020"}' | pdactl call - --dry-run)");
    EXPECT_EQ(unknown.exitCode, 3);
    EXPECT_THAT(unknown.errors, HasSubstr("The library would refuse the request"));
}

} // namespace
