#include "PdactlRun.h"

#include <cerrno>
#include <filesystem>
#include <ostream>

namespace {

using namespace pdalink::test;
using pdasim::Fault;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

/// What a terminal does to a command, and how it ends.
struct Outcome {
    const char* name;
    Words command;
    const char* type; ///< of the message that the fault is about; null for none
    Fault fault;
    int exitCode;
    int result;
    const char* message; ///< part of it
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << outcome.name;
}

class ExitCodeTest : public PdactlTest, public testing::WithParamInterface<Outcome> {};

TEST_P(ExitCodeTest, AndResultTellTheOutcome) {
    const Outcome& outcome = GetParam();
    if (outcome.type != nullptr) {
        terminal().addFault(outcome.type, outcome.fault);
    }
    const QJsonObject object = json(outcome.command, outcome.exitCode);
    EXPECT_EQ(object.value("result").toInt(-9), outcome.result);
    EXPECT_THAT(object.value("message").toString().toStdString(), HasSubstr(outcome.message));
}

const Words kScan{"scan", "start"};
const Words kTeller{"teller", "registered"};

// clang-format off
// The tellers' results are others than those of all the rest.
INSTANTIATE_TEST_SUITE_P(
    Of, ExitCodeTest,
    testing::Values(
        Outcome{"ARefusedWrite", {"info"}, "8001", Fault().refuseWrite(EIO), 4, -1, "could not be written"},
        Outcome{"Silence", kScan, "8004", Fault().silence(), 5, 2, "no usable reply"},
        Outcome{"AReplyOfAnotherType", kScan, "8004", Fault().replyType("8005"), 5, 2, "no usable reply"},
        Outcome{"ARefusal", kScan, "8004", Fault().refuse("000042"), 6, 0, "refused with 000042"},
        Outcome{"ALocksRefusal", {"lock", "list"}, "7011", Fault().refuse("000042"), 6, 0, "refused with 000042"},
        Outcome{"AReplyWithoutAResultCode", kScan, "8004", Fault().dropTag("Ex_RetCode"), 6, 0, "/log'"},
        // More than a host's buffer holds, once it is written as JSON.
        Outcome{"ATooLongResponse", {"scan", "list"}, "8005",
               Fault().setTag("Ex_Label", std::string(20000, '\x01')), 7, 1, "pdactl log"},
        Outcome{"ATellersReply", {"teller", "sync", "--tellers", "T1;"}, nullptr, Fault(), 0, 1, ""},
        Outcome{"ASilentTeller", kTeller, "8017", Fault().silence(), 5, -1, "no usable reply"},
        Outcome{"ATellerThatCannotBeAsked", kTeller, "8017", Fault().refuseWrite(EIO), 4, -1,
               "could not be written"},
        Outcome{"NoTeller", kTeller, nullptr, Fault(), 6, 1, "refused with"}),
    [](const testing::TestParamInfo<Outcome>& outcome) { return std::string(outcome.param.name); });
// clang-format on

class OutcomeTest : public PdactlTest {};

TEST_F(OutcomeTest, PrintsNoTableOfNothing) {
    terminal().unplug();
    const ProgramResult result = pdactl({"info"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.errors, HasSubstr("could not be written to the terminal. Run 'pdactl doctor'"));
    EXPECT_EQ(result.output, ""); // a table of nothing would look like an answer
}

TEST_F(OutcomeTest, PrintsTheResultCodeOfATimeout) {
    terminal().addFault("8004", Fault().silence());
    const QJsonObject response = json(kScan, 5).value("response").toObject();
    EXPECT_EQ(response.value("pRetCode").toString(), "000060");
}

TEST_F(OutcomeTest, PrintsATellersReply) {
    terminal().changeState([](pdasim::TerminalState& state) { state.tellers.registered = "T0815"; });
    EXPECT_EQ(json(kTeller).value("response").toObject().value("pTellerNo").toString(), "T0815");
}

TEST_F(OutcomeTest, LeadsToTheReplyThatHasNoResultCode) {
    terminal().addFault("8004", Fault().dropTag("Ex_RetCode"));
    EXPECT_THAT(pdactl(kScan).errors, AllOf(HasSubstr("without a result code"),
                                            HasSubstr("'pdactl log --full " + privateDirectory() + "/log'")));
}

/// On a machine that would make the library's process exit.
class DangerTest : public PdactlTest {
protected:
    void stopsEveryCommand(const std::string& text, const std::string& command) {
        const std::string file = scratchDirectory() + "/file";
        writeFile(file, "12345");
        const std::vector<Words> commands = {
            {"info"},          {"call", "600002"},
            {"scan", "start"}, {"teller", "registered"},
            {"lock", "list"},  {"file", "send", file},
            {"listen"},        {"file", "fetch", file + ".new"},
            {"login", "wait"}, {"login", "answer", "000000"},
        };
        for (const Words& words : commands) {
            SCOPED_TRACE(words.front());
            const ProgramResult result = pdactl(words);
            EXPECT_EQ(result.exitCode, 1);
            EXPECT_THAT(result.errors, AllOf(HasSubstr(text), HasSubstr(command)));
            EXPECT_EQ(result.output, "");
        }
        EXPECT_THAT(json({"info"}, 1).value("message").toString().toStdString(),
                    AllOf(HasSubstr(text), HasSubstr(command)));
        EXPECT_THAT(terminal().received(), IsEmpty());
        EXPECT_FALSE(std::filesystem::exists(file + ".new"));
        EXPECT_FALSE(std::filesystem::exists(privateDirectory() + "/log")); // the library would have made it
    }
};

TEST_F(DangerTest, OfAKeyboardThatIsNoUsbDeviceStopsEveryCommand) {
    pdasim::DeviceDescription keyboard;
    keyboard.hasUsbParent = false;
    terminal().testBed().addDevice(keyboard);
    stopsEveryCommand("belongs to no USB device", "/driver/unbind");
}

TEST_F(DangerTest, OfALineThatIsTooLongStopsEveryCommand) {
    writeIni("VID=0x1209\nPID=0x0001aaaaaaaaaaaaaaaaaaaaa\n");
    stopsEveryCommand("PDAConfigure.ini, line 2: too long", "\n  sudo sed -i 2d " + privateDirectory());
}

} // namespace
