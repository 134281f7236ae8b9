#include "PdactlRun.h"

#include <cerrno>

namespace {

using namespace pdalink::test;
using pdasim::Fault;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

using ExitCodeTest = PdactlTest;

TEST_F(ExitCodeTest, IsFourWithoutATerminal) {
    terminal().unplug();
    const ProgramResult result = pdactl({"info"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.errors, HasSubstr("could not be written to the terminal. Run 'pdactl doctor'"));
    EXPECT_EQ(result.output, ""); // a table of nothing would look like an answer
}

TEST_F(ExitCodeTest, IsFourAfterAFailedWrite) {
    terminal().addFault("8001", Fault().refuseWrite(EIO));
    EXPECT_EQ(json({"info"}, 4).value("result").toInt(), -1);
}

TEST_F(ExitCodeTest, IsFiveForSilence) {
    terminal().addFault("8004", Fault().silence());
    const QJsonObject object = json({"scan", "start"}, 5);
    EXPECT_EQ(object.value("result").toInt(), 2);
    EXPECT_EQ(object.value("response").toObject().value("pRetCode").toString(), "000060");
}

TEST_F(ExitCodeTest, IsFiveForAReplyOfAnotherType) {
    terminal().addFault("8004", Fault().replyType("8005"));
    EXPECT_EQ(pdactl({"scan", "start"}).exitCode, 5);
}

TEST_F(ExitCodeTest, IsSixForARefusal) {
    terminal().addFault("8004", Fault().refuse("000042"));
    const QJsonObject object = json({"scan", "start"}, 6);
    EXPECT_EQ(object.value("result").toInt(-1), 0);
    EXPECT_THAT(object.value("message").toString().toStdString(), HasSubstr("refused with 000042"));
}

TEST_F(ExitCodeTest, IsSixWithoutAVerdict) {
    terminal().addFault("8004", Fault().dropTag("Ex_RetCode"));
    const ProgramResult result = pdactl({"scan", "start"});
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("without a result code"),
                                     HasSubstr("'pdactl log --full " + privateDirectory() + "/log'")));
}

TEST_F(ExitCodeTest, IsSevenWhenTheLibraryFails) {
    // More than a host's buffer holds, once it is written as JSON.
    terminal().addFault("8005", Fault().setTag("Ex_Label", std::string(20000, '\x01')));
    const ProgramResult result = pdactl({"scan", "list"});
    EXPECT_EQ(result.exitCode, 7) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("pdactl log"));
}

// The tellers' results are others than those of all the rest.

TEST_F(ExitCodeTest, IsZeroForATellersReply) {
    terminal().changeState([](pdasim::TerminalState& state) { state.tellers.registered = "T0815"; });
    const QJsonObject object = json({"teller", "registered"});
    EXPECT_EQ(object.value("result").toInt(), 1);
    EXPECT_EQ(object.value("response").toObject().value("pTellerNo").toString(), "T0815");
}

TEST_F(ExitCodeTest, IsFiveForASilentTeller) {
    terminal().addFault("8017", Fault().silence());
    EXPECT_EQ(json({"teller", "registered"}, 5).value("result").toInt(), -1);
}

TEST_F(ExitCodeTest, IsFourForATellerThatCannotBeAsked) {
    terminal().addFault("8017", Fault().refuseWrite(EIO));
    EXPECT_EQ(json({"teller", "registered"}, 4).value("result").toInt(), -1);
}

TEST_F(ExitCodeTest, IsSixWhenNoTellerRegistered) {
    EXPECT_EQ(json({"teller", "registered"}, 6).value("result").toInt(), 1);
}

/// A machine with a keyboard that is no USB device.
class OrphanTest : public PdactlTest {
protected:
    OrphanTest() {
        pdasim::DeviceDescription keyboard;
        keyboard.hasUsbParent = false;
        terminal().testBed().addDevice(keyboard);
    }
};

TEST_F(OrphanTest, StopsEveryCommandThatWouldMeetIt) {
    const std::string file = scratchDirectory() + "/file";
    writeFile(file, "12345");
    const std::vector<Words> commands = {
        {"info"},
        {"call", "600002"},
        {"lock", "list"},
        {"file", "send", file},
        {"file", "fetch", file + ".new"},
        {"listen"},
        {"login", "wait"},
        {"login", "answer", "000000"},
    };
    for (const Words& command : commands) {
        const ProgramResult result = pdactl(command);
        EXPECT_EQ(result.exitCode, 1) << command[0];
        EXPECT_THAT(result.errors, AllOf(HasSubstr("belongs to no USB device"), HasSubstr("/driver/unbind")))
            << command[0];
        EXPECT_EQ(result.output, "") << command[0];
    }
    EXPECT_THAT(terminal().received(), IsEmpty());
    EXPECT_EQ(readFile(file + ".new"), "");
}

TEST_F(OrphanTest, IsToldInJson) {
    EXPECT_THAT(json({"info"}, 1).value("message").toString().toStdString(), HasSubstr("no USB device"));
}

} // namespace
