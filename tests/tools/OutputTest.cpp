#include "PdactlRun.h"

#include <algorithm>
#include <csignal>

namespace {

using namespace pdalink::test;
using pdasim::Fault;
using testing::HasSubstr;
using testing::Not;

/// What gets onto standard output, and what must not.
using OutputTest = PdactlTest;

TEST_F(OutputTest, IsOneDocumentAfterASignalToo) {
    terminal().addFault("8001", Fault().silence().always());
    const std::vector<std::pair<int, std::string>> endings = {
        {SIGHUP, "SIGHUP"}, {SIGINT, "SIGINT"}, {SIGQUIT, "SIGQUIT"}, {SIGTERM, "SIGTERM"}};
    std::size_t asked = 0;
    for (const auto& [number, name] : endings) {
        RunningPdactl asking({"--json", "info"}, environment());
        ASSERT_TRUE(terminal().waitForMessages(++asked, std::chrono::seconds(20)));
        asking.signal(number);
        const ProgramResult result = asking.finish();
        EXPECT_EQ(result.exitCode, 128 + number);
        const QJsonObject object = onlyDocument(result.output).object();
        EXPECT_EQ(object.value("exitCode").toInt(), 128 + number);
        EXPECT_EQ(object.value("message").toString().toStdString(), "Ended by the signal " + name + ".");
    }
}

TEST_F(OutputTest, IsEmptyAfterASignalWithoutJson) {
    terminal().addFault("8001", Fault().silence().always());
    RunningPdactl asking({"info"}, environment());
    ASSERT_TRUE(terminal().waitForMessages(1, std::chrono::seconds(20)));
    asking.signal(SIGTERM);
    const ProgramResult result = asking.finish();
    EXPECT_EQ(result.exitCode, 128 + SIGTERM);
    EXPECT_EQ(result.output, "");
}

TEST_F(OutputTest, IsWholeWhenASignalIsIgnored) {
    terminal().addFault("8001", Fault().silence().always());
    RunningPdactl asking({"--json", "info"}, environment(), {"env", "--ignore-signal=HUP"});
    ASSERT_TRUE(terminal().waitForMessages(1, std::chrono::seconds(20)));
    asking.signal(SIGHUP); // while it waits for the reply
    const ProgramResult result = asking.finish();
    EXPECT_EQ(result.exitCode, 5) << result.errors;
    EXPECT_EQ(onlyDocument(result.output).object().value("exitCode").toInt(-1), 5);
}

TEST_F(OutputTest, MakesTheCommandFailWhenItIsLost) {
    const std::vector<std::string> lines = {
        "pdactl info > /dev/full",   "pdactl --json info > /dev/full",  "pdactl info >&-",
        "pdactl --help > /dev/full", "pdactl __complete s > /dev/full", "pdactl doctor > /dev/full"};
    for (const std::string& line : lines) {
        const ProgramResult result = shell(line);
        EXPECT_EQ(result.exitCode, 1) << line;
        EXPECT_THAT(result.errors, HasSubstr("Standard output cannot be written.")) << line;
    }
}

TEST_F(OutputTest, DoesNotGetIntoTheLogWhenItIsClosed) {
    (void)shell("pdactl info >&-");
    EXPECT_THAT(readLogText(), Not(HasSubstr("pSN  ")));
}

TEST_F(OutputTest, KeepsTheScreenSafe) {
    terminal().changeState([](pdasim::TerminalState& state) {
        state.identity.pdaVersion = "1\x1b[31m\npRetCode     000000";
        pdasim::Lock lock;
        lock.id = "L1";
        lock.label = "a\x1b[2J\nb";
        state.locks = {lock};
    });
    const ProgramResult info = pdactl({"info"});
    EXPECT_EQ(info.exitCode, 0) << info.errors;
    EXPECT_THAT(info.output, Not(HasSubstr("\x1b")));
    EXPECT_EQ(std::count(info.output.begin(), info.output.end(), '\n'), 4);
    const ProgramResult locks = pdactl({"lock", "list"});
    EXPECT_THAT(locks.output, Not(HasSubstr("\x1b")));
    EXPECT_EQ(std::count(locks.output.begin(), locks.output.end(), '\n'), 6);
}

TEST(SchemaTest, IsPrintedByItselfOrWithAllOthers) {
    const auto schema = [](const Words& arguments) {
        return QJsonDocument::fromJson(QByteArray::fromStdString(runPdactl(arguments).output)).object();
    };
    QJsonObject one = schema({"schema", "serve-answer"});
    const QJsonObject all = schema({"schema"});
    const QString draft = "https://json-schema.org/draft/2020-12/schema";
    EXPECT_EQ(one.take("$schema").toString(), draft);
    EXPECT_EQ(all.value("$schema").toString(), draft);
    EXPECT_EQ(all.value("$defs").toObject().value("serve-answer").toObject(), one);
    const QString guide = QString::fromStdString(readFile(PDACTL_GUIDE));
    for (const QString& name : all.value("$defs").toObject().keys()) {
        const bool isOfCode = name.contains("-6000") && !name.endsWith("01") && !name.endsWith("19");
        EXPECT_TRUE(isOfCode || guide.contains("`" + name + "`")) << name.toStdString();
    }
}

} // namespace
