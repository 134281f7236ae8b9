#include "PdactlRun.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <random>

namespace {

using namespace pdalink::test;
using pdasim::Fault;
using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace fs = std::filesystem;

constexpr std::size_t kPacketBytes = 1500;

std::string someBytes(std::size_t count) {
    std::mt19937 random(20260102); // NOLINT(cert-msc51-cpp,cert-msc32-c): the same bytes in every run
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes += static_cast<char>(random() & 0xFFU);
    }
    return bytes;
}

std::string hexOf(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        char pair[3];
        (void)std::snprintf(pair, sizeof pair, "%02x",
                            static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += pair;
    }
    return text;
}

/// In a directory of its own, in which nothing else may be left.
class FileTest : public PdactlTest {
protected:
    FileTest() : m_directory(scratchDirectory() + "/files") { fs::create_directory(m_directory); }

    std::string path(const std::string& name) const { return m_directory + "/" + name; }
    std::string file(const std::string& bytes) const {
        writeFile(path("file"), bytes);
        return path("file");
    }
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_directory)) {
            all.push_back(entry.path().filename());
        }
        return all;
    }
    void offer(const std::string& bytes) { offerText(hexOf(bytes)); }
    void offerText(const std::string& text) {
        terminal().changeState([&](pdasim::TerminalState& state) { state.files.offered[7] = text; });
    }
    QJsonObject fetch(int exitCode = 0) {
        return json({"file", "fetch", path("file"), "--command", "7"}, exitCode);
    }
    static std::string message(const QJsonObject& object) {
        return object.value("message").toString().toStdString();
    }

private:
    std::string m_directory;
};

TEST_F(FileTest, ArrivesAtTheTerminalByteForByte) {
    for (const std::size_t size : {std::size_t{5}, kPacketBytes, kPacketBytes + 1, 3 * kPacketBytes}) {
        const std::string bytes = someBytes(size);
        const QJsonObject object = json({"file", "send", file(bytes), "--command", "7", "--info", "note"});
        EXPECT_EQ(terminal().state().files.sent.at(7).text(), hexOf(bytes));
        EXPECT_EQ(terminal().state().files.sent.at(7).info, "note");
        const QJsonObject response = object.value("response").toObject();
        EXPECT_EQ(response.value("bytes").toInt(), static_cast<int>(size));
        EXPECT_EQ(response.value("packets").toInt(),
                  static_cast<int>((size + kPacketBytes - 1) / kPacketBytes));
    }
}

TEST_F(FileTest, GoesUnderItsNameUnlessTold) {
    EXPECT_EQ(pdactl({"file", "send", file("12345")}).exitCode, 0);
    EXPECT_EQ(terminal().state().files.sent.at(1).info, "file");
}

TEST_F(FileTest, IsFetchedByteForByte) {
    for (const std::size_t size : {std::size_t{1}, kPacketBytes, kPacketBytes + 1, 3 * kPacketBytes}) {
        offer(someBytes(size));
        const QJsonObject response = fetch().value("response").toObject();
        EXPECT_EQ(readFile(path("file")), someBytes(size));
        EXPECT_EQ(response.value("bytes").toInt(), static_cast<int>(size));
        EXPECT_THAT(names(), ElementsAre("file"));
    }
}

TEST_F(FileTest, ReplacesAFileAndKeepsItsMode) {
    (void)file("before");
    ASSERT_EQ(::chmod(path("file").c_str(), 0640), 0);
    fs::create_symlink("file", path("link"));
    offer("after!");
    EXPECT_EQ(pdactl({"file", "fetch", path("link"), "--command", "7"}).exitCode, 0);
    EXPECT_EQ(readFile(path("file")), "after!");
    EXPECT_TRUE(fs::is_symlink(path("link")));
    EXPECT_EQ(fs::status(path("file")).permissions(), static_cast<fs::perms>(0640));
}

TEST_F(FileTest, IsFollowedThroughTheLogsRotation) {
    fs::create_directory(privateDirectory() + "/log");
    for (const bool sending : {true, false}) {
        // Full but for some packets.
        writeFile(logPath(), std::string(500000, 'x') + "\n");
        const std::string bytes = someBytes(6 * kPacketBytes);
        offer(bytes);
        const ProgramResult result = pdactl(
            {"file", sending ? "send" : "fetch", sending ? file(bytes) : path("file"), "--command", "7"});
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_TRUE(fs::exists(logPath() + ".1"));
        EXPECT_EQ(readFile(path("file")), bytes);
        fs::remove(logPath() + ".1");
    }
}

/// A transfer that comes to nothing.
struct Mishap {
    const char* name;
    std::size_t packets;
    Fault fault;
    int exitCode;
    int result;
    const char* message; ///< part of it
};

void PrintTo(const Mishap& mishap, std::ostream* stream) {
    *stream << mishap.name;
}

std::string nameOfMishap(const testing::TestParamInfo<Mishap>& mishap) {
    return mishap.param.name;
}

class SendFailureTest : public FileTest, public testing::WithParamInterface<Mishap> {};

TEST_P(SendFailureTest, IsReported) {
    const Mishap& mishap = GetParam();
    terminal().addFault("8015", mishap.fault);
    const QJsonObject object =
        json({"file", "send", file(someBytes(mishap.packets * kPacketBytes))}, mishap.exitCode);
    EXPECT_EQ(object.value("result").toInt(-9), mishap.result);
    EXPECT_THAT(message(object), HasSubstr(mishap.message));
}

class FetchFailureTest : public FileTest, public testing::WithParamInterface<Mishap> {};

TEST_P(FetchFailureTest, IsReportedAndWritesNothing) {
    const Mishap& mishap = GetParam();
    offer(someBytes(mishap.packets * kPacketBytes));
    terminal().addFault("8016", mishap.fault);
    const QJsonObject object = fetch(mishap.exitCode);
    EXPECT_EQ(object.value("result").toInt(-9), mishap.result);
    EXPECT_THAT(message(object), HasSubstr(mishap.message));
    EXPECT_THAT(names(), IsEmpty());
}

// clang-format off
// Where the result is 0 the library takes the transfer for a success.
INSTANTIATE_TEST_SUITE_P(
    After, SendFailureTest,
    testing::Values(
        Mishap{"ARefusalAlthoughTheLastPacketWasNeverSent", 4, Fault().refuse("000042").from(2), 8, 0,
               "refused 1 packet(s), the first with 000042, so the file is not whole there. Send it again"},
        Mishap{"ARefusalOfTheOnlyPacket", 1, Fault().refuse("000042"), 8, 0, "refused 1 packet(s)"},
        Mishap{"AReplyWithoutAResultCode", 3, Fault().dropTag("Ex_RetCode").from(2), 8, 0, "no result code"},
        Mishap{"ThreeRefusalsInARow", 4, Fault().refuse("000042").always(), 8, 6, "three times in a row"},
        Mishap{"Unplugging", 4, Fault().unplugAfterReply().from(2), 4, -1, "could not be written"},
        Mishap{"Silence", 3, Fault().silence().from(2), 5, 2, "no usable reply"}),
    nameOfMishap);

INSTANTIATE_TEST_SUITE_P(
    After, FetchFailureTest,
    testing::Values(
        Mishap{"AMissingPacket", 3, Fault().answerPacket(2).from(2), 8, 0, "Packets are missing"},
        Mishap{"ARefusalHalfway", 3, Fault().refuse("000042").from(2), 8, 0, "000042, after 1 that came"},
        Mishap{"TextThatIsNotHexadecimal", 1,
               Fault().setTag("Ex_HexVal", "zz11223344").setTag("Ex_HexCheck", "0000"), 8, 0,
               "not pairs of hexadecimal digits"},
        Mishap{"WrongChecksForEver", 2, Fault().wrongCheck().from(2).always(), 8, 2,
               "packets that had come before or whose check was wrong"},
        Mishap{"ARefusalOfTheFirstPacket", 1, Fault().refuse("000003"), 6, 0, "000003"}),
    nameOfMishap);
// clang-format on

TEST_F(FileTest, IsNotWrittenWhenItHasHalfAByte) {
    offerText("11223344556");
    EXPECT_THAT(message(fetch(8)), HasSubstr("not pairs of hexadecimal digits"));
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(FileTest, IsRepeatedAfterAWrongCheck) {
    offer(someBytes(2 * kPacketBytes));
    terminal().addFault("8016", Fault().wrongCheck());
    EXPECT_EQ(fetch().value("exitCode").toInt(-1), 0);
    EXPECT_EQ(readFile(path("file")), someBytes(2 * kPacketBytes));
}

// The same transfers as requests.

TEST_F(FileTest, FailsAsARequestToo) {
    const Words sending{"call", "600015", "pCmdEx=7", "pInfoEx=x",
                        "pFilePath=" + hexOf(someBytes(3 * kPacketBytes))};
    EXPECT_EQ(json(sending).value("result").toInt(-1), 0);
    terminal().addFault("8015", Fault().refuse("000042").from(2));
    EXPECT_THAT(message(json(sending, 8)), HasSubstr("refused 1 packet(s), the first with 000042"));

    offer(someBytes(3 * kPacketBytes));
    const Words fetching{"call", "600016", "pCmdEx=7", "pInfEx=x"};
    EXPECT_EQ(json(fetching).value("response").toObject().value("pFilePath").toString().toStdString(),
              hexOf(someBytes(3 * kPacketBytes)));
    terminal().addFault("8016", Fault().refuse("000042").from(2));
    EXPECT_THAT(message(json(fetching, 8)), HasSubstr("000042, after 1 that came"));
    terminal().addFault("8016", Fault().refuse("000042").from(2));
    const ProgramResult whole =
        shell(R"(echo '{"transCode":"600016","pdaNumber":"1","pCmdEx":7,"pInfEx":"x"}' | pdactl call -)");
    EXPECT_EQ(whole.exitCode, 8) << whole.errors;
}

TEST_F(FileTest, IsLeftAloneWhenTheTerminalIsUnpluggedHalfway) {
    (void)file("before");
    offer(someBytes(3 * kPacketBytes));
    terminal().addFault("8016", Fault().unplugAfterReply().from(2));
    const ProgramResult result = pdactl({"file", "fetch", path("file"), "--command", "7"});
    EXPECT_TRUE(result.exitCode == 4 || result.exitCode == 5) << result.exitCode << result.errors;
    EXPECT_EQ(readFile(path("file")), "before");
    EXPECT_THAT(names(), ElementsAre("file"));
}

/// On a file system on which every file has a name while it is written.
class NamedFileTest : public FileTest {
protected:
    Variables spied() {
        Variables variables = environment();
        variables["LD_PRELOAD"] = PDACTL_FILE_SPY " " + variables["LD_PRELOAD"];
        variables["FILE_SPY"] = scratchDirectory() + "/spy";
        return variables;
    }
};

TEST_F(NamedFileTest, ReachesTheDiskBeforeItGetsItsName) {
    offer("12345");
    EXPECT_EQ(runPdactl({"file", "fetch", path("file"), "--command", "7"}, spied()).exitCode, 0);
    EXPECT_EQ(readFile(path("file")), "12345");
    EXPECT_EQ(readFile(scratchDirectory() + "/spy"), "sync\nrename\n");
}

TEST_F(NamedFileTest, IsNotThereWhenItDoesNotReachTheDisk) {
    offer("12345");
    Variables failing = spied();
    failing["FILE_SPY_FAILS"] = "1";
    const ProgramResult result = runPdactl({"file", "fetch", path("file"), "--command", "7"}, failing);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, HasSubstr("Cannot write '" + path("file") + "': Input/output error."));
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(NamedFileTest, LeavesNothingWhenItIsInterrupted) {
    offer(someBytes(2 * kPacketBytes));
    terminal().addFault("8016", Fault().silence().always());
    RunningPdactl fetching({"file", "fetch", path("file"), "--command", "7"}, spied());
    ASSERT_TRUE(terminal().waitForMessages(1, std::chrono::seconds(20)));
    EXPECT_THAT(names(), SizeIs(1));
    fetching.signal(SIGTERM);
    EXPECT_EQ(fetching.finish().exitCode, 128 + SIGTERM);
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(FileTest, IsNotTransferredWithoutALogThatWouldTellOfRefusals) {
    writeFile(privateDirectory() + "/log", "in the way");
    const std::vector<std::pair<Words, std::string>> rows = {
        {{"file", "send", file("12345")}, "cannot write its log"},
        {{"file", "fetch", path("new")}, "pdactl doctor"},
    };
    for (const auto& [arguments, reason] : rows) {
        const ProgramResult result = pdactl(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.errors, HasSubstr(reason));
    }
    EXPECT_THAT(terminal().received(), IsEmpty());
    EXPECT_THAT(names(), ElementsAre("file"));
}

// Progress.

/// A terminal screen, for a command's standard error.
class Screen {
public:
    Screen() : m_master(::posix_openpt(O_RDWR | O_NOCTTY)) {
        EXPECT_EQ(::grantpt(m_master), 0);
        EXPECT_EQ(::unlockpt(m_master), 0);
        EXPECT_EQ(::fcntl(m_master, F_SETFL, O_NONBLOCK), 0);
        m_slave = ::open(::ptsname(m_master), O_RDWR | O_NOCTTY);
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    ~Screen() {
        (void)::close(m_slave);
        (void)::close(m_master);
    }

    std::string path() const { return ::ptsname(m_master); }
    /// All that was written so far.
    const std::string& text() {
        char piece[4096];
        for (ssize_t length = 0; (length = ::read(m_master, piece, sizeof piece)) > 0;) {
            m_text.append(piece, static_cast<std::size_t>(length));
        }
        return m_text;
    }

private:
    int m_master;
    int m_slave;
    std::string m_text;
};

class ProgressTest : public FileTest {
protected:
    /// What a command writes to a terminal that is its standard error.
    std::string watched(const std::string& line, std::size_t columns = 80) {
        Screen screen;
        EXPECT_EQ(shell("stty cols " + std::to_string(columns) + " < " + screen.path()).exitCode, 0);
        EXPECT_EQ(shell(line + " 2>" + screen.path()).exitCode, 0);
        return screen.text();
    }
};

TEST_F(ProgressTest, IsShownOnATerminal) {
    const std::string path = file(someBytes(6 * kPacketBytes));
    EXPECT_THAT(watched("pdactl file send " + quoted(path)),
                AllOf(HasSubstr("sending  ["), HasSubstr("#"), HasSubstr(" %  "), HasSubstr(" KB/s  0:00:0"),
                      HasSubstr(" left"), Not(ContainsRegex("0:00:0[4-9] left"))));
    offer(someBytes(6 * kPacketBytes));
    EXPECT_THAT(watched("pdactl file fetch --command 7 " + quoted(path)),
                AllOf(HasSubstr("fetching  ["), HasSubstr("#"), HasSubstr(" left")));
}

/// What was drawn each time.
std::vector<std::string> drawnLines(const std::string& text) {
    const std::string beginning = "\r\033[K";
    std::vector<std::string> lines;
    for (std::size_t at = text.find(beginning); at != std::string::npos;) {
        const std::size_t next = text.find(beginning, at + 1);
        lines.push_back(text.substr(at + beginning.size(), next - at - beginning.size()));
        at = next;
    }
    return lines;
}

TEST_F(ProgressTest, StaysOnOneLineOfANarrowTerminal) {
    const std::string command = "pdactl file send " + quoted(file(someBytes(6 * kPacketBytes)));
    for (const std::size_t columns : {60U, 40U, 12U}) {
        // A terminal that does not know its width leaves it to the variable.
        for (const std::string& text :
             {watched(command, columns), watched("COLUMNS=" + std::to_string(columns) + " " + command, 0)}) {
            EXPECT_THAT(text, HasSubstr("sending")) << columns;
            for (const std::string& line : drawnLines(text)) {
                EXPECT_LT(line.size(), columns) << line;
            }
        }
    }
    EXPECT_THAT(watched(command, 60), HasSubstr("sending  [#"));
}

TEST_F(ProgressTest, IsNotShownInAPipe) {
    EXPECT_EQ(pdactl({"file", "send", file(someBytes(3 * kPacketBytes))}).errors, "");
}

/// The log, which alone tells of refusals, loses lines during a transfer.
class CutLogTest : public FileTest, public testing::WithParamInterface<std::string> {};

TEST_P(CutLogTest, FailsTheTransfer) {
    const bool isSent = GetParam() == "send";
    (void)file(someBytes(3 * kPacketBytes));
    offer(someBytes(3 * kPacketBytes));
    terminal().addFault(isSent ? "8015" : "8016", Fault().delay(std::chrono::seconds(3)).from(2));
    Screen screen;
    RunningPdactl transfer({"--json", "file", GetParam(), path("file"), "--command", "7"}, environment(),
                           {"sh", "-c", "exec \"$@\" 2> " + screen.path(), "sh"});
    // Now the first reply has been read from the log, and the second comes later.
    ASSERT_TRUE(waitUntil([&] { return screen.text().find(" 33 %") != std::string::npos; }));
    fs::resize_file(logPath(), 0);
    const ProgramResult result = transfer.finish();
    EXPECT_EQ(result.exitCode, 8) << result.output;
    EXPECT_THAT(result.output, HasSubstr(isSent ? "The log shows" : "Packets are missing"));
}

INSTANTIATE_TEST_SUITE_P(, CutLogTest, testing::Values("send", "fetch"),
                         [](const testing::TestParamInfo<std::string>& command) { return command.param; });

} // namespace
