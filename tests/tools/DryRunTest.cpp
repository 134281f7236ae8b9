#include "PdactlRun.h"

#include <cctype>
#include <filesystem>
#include <ostream>

namespace {

using namespace pdalink::test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// A command for people, and the message that the terminal gets for it.
struct Sent {
    std::string line; ///< what follows "pdactl", where the files of the test are
    const char* type =
        nullptr;        ///< of the one message of a command that succeeds; null where that does not count
    std::string name{}; ///< the words before the options, unless given
};

std::string nameOf(const Sent& command) {
    std::string name = command.name.empty() ? command.line.substr(0, command.line.find(" --")) : command.name;
    for (char& character : name) {
        character = std::isalnum(static_cast<unsigned char>(character)) != 0 ? character : '_';
    }
    return name;
}

void PrintTo(const Sent& command, std::ostream* stream) {
    *stream << nameOf(command);
}

class DryRunTest : public PdactlTest {
protected:
    DryRunTest() {
        terminal().changeState([](pdasim::TerminalState& state) {
            pdasim::Lock lock;
            lock.id = "L1";
            state.locks = {lock};
            state.tellers.registered = "T0815";
            state.keys.master = pdasim::Key{"key", "check"};
        });
        write("secret", "5E;");
        write("codes", "1111;2222;");
        write("small", "12345");
        write("request",
              R"({"transCode":"600006","pdaNumber":"1","pTaskID":"T","pTotal":2,"pLabelList":"A;B;"})");
    }

    static void write(const std::string& name, const std::string& bytes) {
        writeFile(scratchDirectory() + "/" + name, bytes);
    }
    ProgramResult run(const std::string& line) {
        return shell("cd " + quoted(scratchDirectory()) + "; pdactl " + line);
    }
    std::string dryRun(const std::string& line) {
        const std::size_t before = terminal().received().size();
        const ProgramResult result = run(line + " --dry-run");
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_THAT(terminal().received(), SizeIs(before));
        return withoutTime(result.output);
    }
    /// The first message, as it is to be printed.
    std::string sent(const Words& secrets) {
        EXPECT_FALSE(terminal().received().empty());
        return terminal().received().empty()
                   ? std::string()
                   : withoutTime(masked(terminal().received().front(), secrets)) + "\n";
    }
};

class MessageTest : public DryRunTest, public testing::WithParamInterface<Sent> {};

TEST_P(MessageTest, IsPrintedAsItIsSent) {
    const std::string printed = dryRun(GetParam().line);
    const ProgramResult result = run(GetParam().line);
    if (GetParam().type != nullptr) {
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.errors, "");
        ASSERT_THAT(terminal().received(), SizeIs(1));
        EXPECT_EQ(terminal().received().front().substr(6, 4), GetParam().type);
    }
    EXPECT_EQ(printed, sent({"5E;", "5E", "2222", "3132333435", "112233445566778"}));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Of, MessageTest,
    testing::Values(
        Sent{"init --factory F1", "8002"},
        Sent{"info", "8001"},
        Sent{"bag write --number B1 --org O1 --type 1", "8003"},
        Sent{"scan start", "8004"},
        Sent{"scan stop", "8004"},
        Sent{"scan list", "8005"},
        Sent{"inventory send --task T1 --total 1 --labels 'A1;'", "8006"},
        Sent{"inventory result", "8007"},
        Sent{"handover dot send --task T1 --type 1 --route R --time 20260102030405 --org O --org-name N "
             "--total 1 --labels 'A1;' --user-a A --user-b B", "8008"},
        Sent{"handover dot result --task T1", "8009"},
        Sent{"handover power send --task T1 --org O --time 20260102030405 --org-name N --batch B --total 1 "
             "--labels 'A1;'", "8010"},
        Sent{"handover power result --task T1", "8011"},
        Sent{"key init --key @secret --check-value @secret", "8012"},
        Sent{"key check", "8013"},
        Sent{"key update --enc-key @secret --mac-key @secret --enc-check-value @secret --mac-check-value "
             "@secret", "8014"},
        Sent{"teller registered", "8017"},
        Sent{"teller authenticated --results '1;'", "8018"},
        Sent{"teller sync --tellers 'T1;'", "8019"},
        Sent{"lock mac --address 00:11:22:33:44:55", "7001"},
        Sent{"lock list", "7011"},
        Sent{"lock info --lock L1", "7016"},
        Sent{"lock public-key --lock L1", "7012"},
        Sent{"lock init-keys --lock L1 --fv @secret --ev @secret --cv @secret", "7013"},
        Sent{"lock keys --lock L1", "7014"},
        Sent{"lock update-keys --lock L1 --fv @secret --ev @secret --cv @secret --normal-fv @secret "
             "--normal-ev @secret --normal-cv @secret --urgent-fv @secret --urgent-ev @secret "
             "--urgent-cv @secret --parameters 00 --label Front", "7015"},
        Sent{"lock open --locks 'L1;' --codes @secret --users-a 'A;' --users-b 'B;'", "7018"},
        Sent{"lock result", "7019"},
        Sent{"file send --command 7 --info note small", "8015"},
        Sent{"file fetch --command 7 fetched"},
        Sent{"login answer 000042 --pda 7"},
        Sent{"call 600012 pKey=@secret CheckVal=@secret", "8012", "ACode"},
        Sent{"call @request", "8006", "AWholeRequest"},
        Sent{"call 600015 pCmdEx=7 pInfoEx=note pFilePath=112233445566778", nullptr, "ASentText"},
        Sent{"handover dot send --task T1 --type 1 --route '\u00b0 \u524d' --time 2 --org O --org-name "
             "'\u00d7' --total 1 --labels 'A1;' --user-a Z\u00e4 --user-b B", nullptr, "BytesThatAreRecoded"},
        Sent{"lock open --locks 'L1;L2;' --actions '01;00;' --codes @codes --users-a 'A;B;' --users-b 'C;D;'",
             nullptr, "LocksOfWhichOneTakesACode"}),
    [](const testing::TestParamInfo<Sent>& command) { return nameOf(command.param); });
// clang-format on

TEST_F(DryRunTest, CountsThePacketsOfALargeFile) {
    write("large", std::string(3 * 1500 + 1, 'a'));
    std::string digits;
    for (int i = 0; i < 1500; ++i) {
        digits += "61";
    }
    const std::string printed = dryRun("file send large");
    (void)run("file send large");
    EXPECT_EQ(printed, sent({digits}));
    EXPECT_THAT(printed, HasSubstr("<Ex_TotalPkt>4</Ex_TotalPkt>"));
}

TEST_F(DryRunTest, WritesNoFile) {
    (void)dryRun("file fetch fetched");
    EXPECT_FALSE(std::filesystem::exists(scratchDirectory() + "/fetched"));
}

TEST_F(DryRunTest, PrintsTextAsTheLocaleHasItSent) {
    for (const std::string locale : {"C", "C.UTF-8"}) {
        const std::string line =
            "export LC_ALL=" + locale + "; pdactl bag write --number 'B\u00e4\u524d' --org O --type 1";
        const std::string printed = shell(line + " --dry-run").output;
        EXPECT_EQ(shell(line).exitCode, 0);
        EXPECT_EQ(withoutTime(printed), withoutTime(terminal().received().back()) + "\n") << locale;
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

} // namespace
