#include "PdactlRun.h"

#include "core/Message.h"

#include <csignal>
#include <optional>

namespace {

using namespace pdalink::test;
using pdasim::Acknowledgement;
using pdasim::Fault;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class ListenTest : public PdactlTest {
protected:
    /// Starts it and waits until it listens.
    RunningPdactl& listen(Words arguments, const std::string& command = "listen") {
        if (command == "listen") {
            arguments.insert(arguments.begin(), command);
        }
        m_pdactl.emplace(arguments, environment());
        EXPECT_TRUE(m_pdactl->complains("pdactl: listening")) << m_pdactl->errors();
        return *m_pdactl;
    }

    std::vector<std::string> acknowledgedTypes() {
        std::vector<std::string> types;
        for (const Acknowledgement& each : terminal().acknowledgements()) {
            types.push_back(each.type);
        }
        return types;
    }

    /// A message as the terminal writes it.
    static std::string label(const std::string& name) {
        return pdasim::composeMessage(
            "9001",
            {{"Ex_TrTime", "20260102030405"}, {"Ex_SeqNo", "0001"}, {"Ex_PdaSn", "86"}, {"Ex_Label", name}});
    }
    static QJsonObject fieldsOf(const QJsonObject& message) { return message.value("fields").toObject(); }
    static std::vector<std::string> labelsIn(const std::string& output) {
        std::vector<std::string> labels;
        for (const QJsonObject& message : documentsIn(output)) {
            labels.push_back(fieldsOf(message).value("label").toString().toStdString());
        }
        return labels;
    }

private:
    std::optional<RunningPdactl> m_pdactl;
};

TEST_F(ListenTest, TakesAllSixMessages) {
    RunningPdactl& listener = listen({"--json", "--count", "6"});
    const pdasim::Confirmation user{"u1", "Ann", "f1", "r1", "p1", "c1"};
    (void)terminal().announce(pdasim::scannedLabel("A1"));
    (void)terminal().announce(pdasim::loginRecord(user));
    (void)terminal().announce(pdasim::userNotice("Ann"));
    pdasim::InventoryResult inventory;
    inventory.labels = {"B1", "B2"};
    (void)terminal().announce(pdasim::inventoryRecord(inventory));
    pdasim::HandoverResult handover;
    handover.parties[2] = user;
    (void)terminal().announce(pdasim::dotHandoverRecord("R7", handover));
    (void)terminal().announce(pdasim::powerHandoverRecord("N8", handover));
    const ProgramResult result = listener.finish();
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    const std::vector<QJsonObject> messages = documentsIn(result.output);
    ASSERT_EQ(messages.size(), 6U);
    const std::vector<std::pair<QString, QString>> expected = {
        {"9001", "scanned label"}, {"9002", "login"},        {"9003", "user notice"},
        {"9004", "inventory"},     {"9005", "dot handover"}, {"9006", "power handover"},
    };
    for (std::size_t i = 0; i < 6; ++i) {
        const QJsonObject& message = messages[i];
        EXPECT_EQ(message.value("type").toString(), expected[i].first);
        EXPECT_EQ(message.value("kind").toString(), expected[i].second);
        EXPECT_EQ(message.value("acknowledged").toBool(), i != 1);
        EXPECT_EQ(fieldsOf(messages[i]).value("pdaSn").toString(), "860123456789012");
    }
    EXPECT_EQ(fieldsOf(messages[0]).value("label").toString(), "A1");
    EXPECT_EQ(fieldsOf(messages[1]).value("login").toString(), "u1");
    EXPECT_EQ(fieldsOf(messages[1]).value("macChkVal").toString(), "c1");
    EXPECT_EQ(fieldsOf(messages[2]).value("userName").toString(), "Ann");
    EXPECT_EQ(fieldsOf(messages[3]).value("labels").toString(), "B1;B2;");
    EXPECT_EQ(fieldsOf(messages[4]).value("road").toString(), "R7");
    EXPECT_EQ(fieldsOf(messages[4]).value("cMacChkVal").toString(), "c1");
    EXPECT_EQ(fieldsOf(messages[5]).value("batchNumber").toString(), "N8");
    EXPECT_THAT(acknowledgedTypes(), SizeIs(5));
}

TEST_F(ListenTest, PrintsAMessageWhenItComes) {
    RunningPdactl& listener = listen({"--seconds", "60"});
    (void)terminal().announce(pdasim::scannedLabel("A1"));
    EXPECT_TRUE(listener.says("scanned label (9001)\npdaSn  860123456789012\nlabel  A1\n\n"));
    listener.signal(SIGINT);
    EXPECT_EQ(listener.finish().exitCode, 0);
}

TEST_F(ListenTest, PrintsALineOfJsonWhenAMessageComes) {
    RunningPdactl& listener = listen({"--json", "--seconds", "60"});
    for (const std::string name : {"A1", "A2"}) {
        (void)terminal().announce(pdasim::scannedLabel(name));
        EXPECT_TRUE(listener.says("\"label\":\"" + name + "\""));
        EXPECT_TRUE(listener.says("\"type\":\"9001\"}\n"));
    }
    EXPECT_THAT(labelsIn(listener.output()), ElementsAre("A1", "A2"));
    listener.signal(SIGTERM);
    EXPECT_EQ(listener.finish().exitCode, 0);
}

TEST_F(ListenTest, EndsWhenItsLinesCannotBeWritten) {
    RunningPdactl full({"listen", "--seconds", "60"}, environment(),
                       {"sh", "-c", "exec \"$@\" > /dev/full", "sh"});
    ASSERT_TRUE(full.complains("pdactl: listening"));
    (void)terminal().announce(pdasim::scannedLabel("A1"));
    EXPECT_TRUE(full.complains("Standard output cannot be written."));
    EXPECT_EQ(full.finish().exitCode, 1);
}

TEST_F(ListenTest, TakesOneLabelAfterTheOther) {
    RunningPdactl& listener = listen({"--json", "--count", "3"});
    for (const std::string name : {"A1", "A2", "A3"}) {
        const std::size_t before = terminal().acknowledgements().size();
        (void)terminal().announce(pdasim::scannedLabel(name));
        EXPECT_TRUE(waitUntil([&] { return terminal().acknowledgements().size() > before; }));
    }
    EXPECT_THAT(labelsIn(listener.finish().output), ElementsAre("A1", "A2", "A3"));
}

TEST_F(ListenTest, AnswersALogin) {
    RunningPdactl& listener = listen({"--json", "--count", "1", "--answer-login", "000042"});
    (void)terminal().announce(pdasim::loginRecord({"u1", "", "", "", "", ""}));
    const ProgramResult result = listener.finish();
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_TRUE(onlyDocument(result.output).object().value("answered").toBool());
    const std::vector<Acknowledgement> answers = terminal().acknowledgements();
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0].type, "9002");
    EXPECT_EQ(pdasim::findTag(answers[0].tags, "Ex_RetCode")->value, "000042");
    EXPECT_EQ(pdasim::findTag(answers[0].tags, "Ex_PdaSn")->value, "860123456789012");
}

TEST_F(ListenTest, HandsNoMessageOverWhileAnotherIsHalfReceived) {
    RunningPdactl listener({"listen", "--count", "1"}, environment(), {"sh", "-c", "exec \"$@\" 2>&1", "sh"});
    ASSERT_TRUE(listener.says("pdactl: listening"));
    terminal().sendText(label("A1") + label("A2").substr(0, 60));
    const std::string output = listener.finish().output; // in the order in which it was written
    ASSERT_THAT(output, AllOf(HasSubstr("gave up a message of which only 60 "), HasSubstr("label  A1\n")));
    EXPECT_LT(output.find("gave up a message"), output.find("label  A1\n"));
}

TEST_F(ListenTest, FindsTheMessagesInWhatComes) {
    std::string wrong = label("A1");
    wrong.replace(0, 6, "000900");
    std::string strange = label("A1");
    strange.replace(6, 4, "8001");
    struct Row {
        const char* name;
        std::vector<std::string> pieces;
        std::vector<std::string> labels;
        const char* warning; ///< part of it
    };
    const std::vector<Row> rows = {
        {"in pieces", {label("A1") + label("A2").substr(0, 70), label("A2").substr(70)}, {"A1", "A2"}, ""},
        {"garbage", {"garbage" + label("A1")}, {"A1"}, "warning: skipped 7 characters that do not begin"},
        {"a wrong length", {wrong + label("A2")}, {"A2"}, "gave up a message of which only "},
        {"a type that no terminal starts", {strange + label("A2")}, {"A2"}, "skipped a message of type 8001"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::size_t before = terminal().acknowledgements().size();
        RunningPdactl& listener = listen({"--json", "--count", std::to_string(row.labels.size())});
        for (const std::string& piece : row.pieces) {
            terminal().sendText(piece);
        }
        const ProgramResult result = listener.finish();
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(labelsIn(result.output), row.labels);
        EXPECT_THAT(result.errors, HasSubstr(row.warning));
        EXPECT_EQ(terminal().acknowledgements().size() - before, row.labels.size());
    }
}

TEST_F(ListenTest, EndsCleanlyOnASignal) {
    for (const int signalNumber : {SIGINT, SIGTERM}) {
        RunningPdactl& listener = listen({"--json"});
        listener.signal(signalNumber);
        const ProgramResult result = listener.finish();
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(ListenTest, EndsWhenTheTimeIsOver) {
    EXPECT_EQ(listen({"--seconds", "1"}).finish().exitCode, 0);
    const ProgramResult result = listen({"--seconds", "1", "--count", "2"}).finish();
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("Only 0 of 2 messages came in time"), HasSubstr("--seconds")));
}

TEST_F(ListenTest, GoesOnWhenTheTerminalIsBack) {
    RunningPdactl& listener = listen({"--json", "--count", "1"});
    terminal().unplug();
    EXPECT_TRUE(listener.complains("the terminal has gone"));
    terminal().replug();
    EXPECT_TRUE(listener.complains("the terminal is there"));
    (void)terminal().announce(pdasim::scannedLabel("A1"));
    const ProgramResult result = listener.finish();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(labelsIn(result.output), ElementsAre("A1"));
}

TEST_F(ListenTest, SaysThatAnAcknowledgementCouldNotBeWritten) {
    RunningPdactl& listener = listen({"--json", "--count", "1"});
    terminal().addFault("9001", Fault().refuseWrite(EIO));
    (void)terminal().announce(pdasim::scannedLabel("A1"));
    const ProgramResult result = listener.finish();
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_FALSE(onlyDocument(result.output).object().value("acknowledged").toBool(true));
    EXPECT_THAT(result.errors, HasSubstr("could not be written"));
}

TEST_F(ListenTest, TellsWhatItHeardWhenADeviceGetsInTheWay) {
    RunningPdactl& listener = listen({"--json", "--count", "2"});
    (void)terminal().announce(pdasim::scannedLabel("A1"));
    EXPECT_TRUE(waitUntil([&] { return terminal().acknowledgements().size() == 1; }));
    pdasim::DeviceDescription keyboard;
    keyboard.hasUsbParent = false;
    terminal().testBed().addDevice(keyboard);
    (void)terminal().announce(pdasim::scannedLabel("A2"));
    const ProgramResult result = listener.finish();
    EXPECT_EQ(result.exitCode, 1);
    const std::vector<QJsonObject> documents = documentsIn(result.output);
    ASSERT_THAT(documents, SizeIs(2));
    EXPECT_EQ(fieldsOf(documents[0]).value("label").toString(), "A1");
    EXPECT_EQ(documents[1].value("exitCode").toInt(), 1);
    EXPECT_THAT(result.errors, HasSubstr("belongs to no USB device"));
}

TEST_F(ListenTest, NeedsATerminal) {
    terminal().unplug();
    const ProgramResult result = pdactl({"listen"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.errors, HasSubstr("There is no terminal to listen to."));
}

TEST_F(ListenTest, WaitsForALogin) {
    RunningPdactl& waiter = listen({"--json", "login", "wait", "--seconds", "60"}, "login");
    (void)terminal().announce(pdasim::scannedLabel("A1"));
    (void)terminal().announce(pdasim::loginRecord({"u1", "", "", "", "", ""}));
    const ProgramResult result = waiter.finish();
    EXPECT_EQ(result.exitCode, 0);
    const std::vector<QJsonObject> messages = documentsIn(result.output);
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(fieldsOf(messages[1]).value("login").toString(), "u1");
    EXPECT_EQ(pdactl({"login", "wait", "--seconds", "1"}).exitCode, 5);
}

TEST_F(ListenTest, AnswersALoginByHand) {
    EXPECT_EQ(json({"login", "answer", "000000", "--pda", "42"}).value("result").toInt(-1), 0);
    const std::vector<Acknowledgement> answers = terminal().acknowledgements();
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0].type, "9002");
    EXPECT_EQ(pdasim::findTag(answers[0].tags, "Ex_PdaSn")->value, "42");
    terminal().unplug();
    EXPECT_EQ(json({"login", "answer", "000000"}, 4).value("result").toInt(), -1);
}

} // namespace
