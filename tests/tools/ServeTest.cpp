#include "PdactlRun.h"

#include "../pdasim/SocketClient.h"
#include "Documents.h"

#include <csignal>
#include <deque>
#include <filesystem>
#include <optional>

namespace {

using namespace pdalink::test;
using pdasim::test::SocketClient;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;

class ServeTest : public PdactlTest {
protected:
    /// Answers to lines at its standard input, which ends after them.
    std::vector<QJsonObject> answersTo(const std::string& lines, const std::string& options = "") {
        const std::string input = scratchDirectory() + "/lines";
        writeFile(input, lines);
        m_result = shell("pdactl serve " + options + " < " + input);
        EXPECT_EQ(m_result.exitCode, 0) << m_result.errors;
        return documentsIn(m_result.output);
    }
    /// Everything that the last run said.
    std::string said() const { return m_result.output + m_result.errors; }

    /// Starts it at a socket.
    RunningPdactl& serve(const Words& options = {}) {
        Words arguments{"serve", "--socket", socket()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        m_pdactl.emplace(arguments, environment());
        EXPECT_TRUE(m_pdactl->complains("listening at ")) << m_pdactl->errors();
        return *m_pdactl;
    }
    static std::string socket() { return scratchDirectory() + "/socket"; }
    static QJsonObject ask(const SocketClient& client, const std::string& line) {
        (void)client.send(line + "\n");
        return onlyDocument(client.read(1)).object();
    }

    /// A device that looks to pdactl as it should, and makes the library exit.
    void addDeadlyDevice() {
        namespace fs = std::filesystem;
        pdasim::TestBed& testBed = terminal().testBed();
        const std::string node = fs::path(testBed.nodePath(testBed.addDevice({}))).filename();
        fs::path device = fs::canonical(testBed.rootDirectory() + "/sys/class/hidraw/" + node);
        while (!fs::exists(device / "idVendor")) {
            device = device.parent_path();
        }
        fs::remove(device / "subsystem"); // by which udev goes
        fs::create_symlink("../../../bus/other", device / "subsystem");
    }
    /// What the kernel has given the server of memory at most.
    void expectLittleMemory() const {
        const std::string status = readFile("/proc/" + std::to_string(m_pdactl->process()) + "/status");
        const long kilobytes = std::stol(status.substr(status.find("VmHWM:") + 6));
        EXPECT_TRUE(PDALINK_IS_SANITIZED || kilobytes < 102400) << kilobytes;
    }

    static std::string text(const QJsonObject& object, const char* name) {
        return object.value(name).toString().toStdString();
    }

private:
    ProgramResult m_result{};
    std::optional<RunningPdactl> m_pdactl;
};

// Every request and call, and the type of its message.
const std::pair<const char*, const char*> kLines[] = {
    {R"("transCode":"600001","pFactory":"F1")", "8002"},
    {R"("transCode":"600002")", "8001"},
    {R"("transCode":"600003","pBagNumber":"B1","pAttrOrg":"O","pBagType":"1")", "8003"},
    {R"("transCode":"600004")", "8004"},
    {R"("transCode":"600005")", "8005"},
    {R"("transCode":"600006","pTaskID":"T1","pTotal":1,"pLabelList":"B1;")", "8006"},
    {R"("transCode":"600007")", "8007"},
    {R"("transCode":"600008","pTaskID":"T2","pTaskType":1,"pRoad":"R","pExcgTime":"20260102153000",
        "pOrgNum":"1","pOrgNm":"C","pTotal":1,"pLabel":"B1;","pAName":"a","pBName":"b")",
     "8008"},
    {R"("transCode":"600009","pTaskID":"T2")", "8009"},
    {R"("transCode":"600010","pTaskID":"T3","pOrgNb":"1","pTime":"20260102153000","pOrgNm":"C",
        "pBatchNb":"N1","pTotal":1,"pLabel":"B1;")",
     "8010"},
    {R"("transCode":"600011","pTaskID":"T3")", "8011"},
    {R"("transCode":"600012","pKey":"0011","CheckVal":"22")", "8012"},
    {R"("transCode":"600013")", "8013"},
    {R"("transCode":"600014","pEncKey":"11","pMacKey":"22","pEncChkVal":"33","pMacChkVal":"44")", "8014"},
    {R"("transCode":"600015","pCmdEx":7,"pInfoEx":"i","pFilePath":"0011223344")", "8015"},
    {R"("transCode":"600016","pCmdEx":1,"pInfEx":"i")", "8016"},
    {R"("transCode":"600017")", "8017"},
    {R"("transCode":"600018","pAuthRet":"000000;")", "8018"},
    {R"("transCode":"600019","pTellerNo":"T;")", "8019"},
    {R"("call":"SetBleMac","bleMac":"00:11:22:33:44:55")", "7001"},
    {R"("call":"GetLockList")", "7011"},
    {R"("call":"GetLockInfo","lockId":"LOCK-1")", "7016"},
    {R"("call":"GetPublicKey","lockId":"LOCK-1")", "7012"},
    {R"("call":"InitCDKKEV_CDKKCV","lockId":"LOCK-1","fv":"1","ev":"2","cv":"3")", "7013"},
    {R"("call":"GetCDKKEV_CDKKCV","lockId":"LOCK-1")", "7014"},
    {R"("call":"updateCDKKEV","lockId":"LOCK-1","newFv":"1","newEv":"2","newCv":"3","normalKfv":"4",
        "normalKev":"5","normalKcv":"6","urgentKfv":"7","urgentKev":"8","urgentKcv":"9","parameters":"00",
        "label":"L")",
     "7015"},
    {R"("call":"ReqOpenLock","lockIds":"LOCK-1;","oneTimeCodes":"123456;","usersA":"a;","usersB":"b;")",
     "7018"},
    {R"("call":"ReadLockRes")", "7019"},
    {R"("call":"SyncLoginResult","resultCode":"000000")", "9002"},
};

TEST_F(ServeTest, MakesEveryRequestAndCallOneAfterTheOther) {
    std::string lines;
    std::vector<std::string> types;
    for (const auto& [members, type] : kLines) {
        std::string line = "{\"id\":" + std::to_string(types.size()) + "," + members + "}";
        line.erase(std::remove(line.begin(), line.end(), '\n'), line.end());
        lines += line + "\n";
        collectDocument("serve-request", line);
        types.emplace_back(type);
    }
    const std::vector<QJsonObject> answers = answersTo(lines);
    ASSERT_EQ(answers.size(), types.size()) << said();
    for (std::size_t i = 0; i < answers.size(); ++i) {
        SCOPED_TRACE(kLines[i].first);
        EXPECT_EQ(answers[i].value("id").toInt(-1), static_cast<int>(i));
        EXPECT_TRUE(answers[i].contains("response")) << text(answers[i], "message");
        const int exitCode = answers[i].value("exitCode").toInt(-1);
        EXPECT_TRUE(exitCode == 0 || exitCode == 6) << exitCode; // done, or refused by the terminal
    }
    std::vector<std::string> received;
    for (const pdasim::ParsedMessage& message : terminal().messages()) {
        received.push_back(message.type);
    }
    EXPECT_THAT(received, ElementsAreArray(types));
}

TEST_F(ServeTest, AnswersWithTheResponseAndTheIdOfTheRequest) {
    const std::vector<QJsonObject> answers = answersTo(R"({"id":{"a":[1,"b"]},"transCode":"600002"}
{"transCode":"600002"}
)");
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0], onlyDocument(R"({"id":{"a":[1,"b"]},"result":0,"exitCode":0,"response":{
                  "pSN":"860123456789012","pBleVersion":"BLE-1.4.2","pPDAVersion":"PDA-2.0.7","pRetCode":"000000"}})")
                              .object());
    EXPECT_FALSE(answers[1].contains("id"));
    EXPECT_THAT(readFile(logPath()), Not(HasSubstr("ret:-1")));
}

struct BadLine {
    const char* line;
    const char* message;
    bool fitsSchema = false; ///< which does not know what values belong together
};

const BadLine kBadLines[] = {
    {"nonsense", "The line is not JSON"},
    {"[1]", "not a JSON object"},
    {R"({"transCode":"600002")", "The line is not JSON"},
    {"{}", "needs \"transCode\""},
    {R"({"transCode":600002})", "needs \"transCode\""},
    {R"({"transCode":"600002","call":"GetLockList"})", "one of them"},
    {R"({"transCode":"600020"})", "no such code"},
    {R"({"call":"GetInfo"})", "no call of that name"},
    {R"({"call":"ReceiveScanResult"})", "no call of that name"},
    {R"({"call":"GetLoginData"})", "no call of that name"},
    {R"({"transCode":"600002","x":"1"})", "600002 takes no x"},
    {R"({"call":"GetLockInfo","x":"1"})", "GetLockInfo takes no x, but: lockId."},
    {R"({"transCode":"600001"})", "600001 also needs pFactory"},
    {R"({"transCode":"600001","pFactory":1})", "pFactory must be a string"},
    {R"({"transCode":"600001","pFactory":"<"})", "pFactory holds"},
    {R"({"transCode":"600006","pTaskID":"T","pTotal":"1","pLabelList":"a;"})", "pTotal must be an integer"},
    {R"({"transCode":"600006","pTaskID":"T","pTotal":0.5,"pLabelList":"a;"})", "pTotal must be an integer"},
    {R"({"transCode":"600006","pTaskID":"T","pTotal":2,"pLabelList":"a;"})", "has 1 label(s)", true},
    {R"({"transCode":"600002","file":"/x"})", "Only 600015 and 600016 take a file."},
    {R"({"transCode":"600015","file":""})", "file must be a path"},
    {R"({"transCode":"600015","file":"/no/such"})", "there is no such file", true},
};

TEST_F(ServeTest, AnswersABadLineWithItsFaultAndGoesOn) {
    std::string lines;
    for (const BadLine& each : kBadLines) {
        lines += std::string(each.line) + "\n";
        collectDocument(each.fitsSchema ? "serve-request" : "!serve-request", each.line);
    }
    const std::vector<QJsonObject> answers = answersTo(lines + "\n \n{\"id\":1,\"transCode\":\"600002\"}\n");
    ASSERT_EQ(answers.size(), std::size(kBadLines) + 1) << said();
    for (std::size_t i = 0; i < std::size(kBadLines); ++i) {
        EXPECT_THAT(text(answers[i], "message"), HasSubstr(kBadLines[i].message)) << kBadLines[i].line;
        EXPECT_NE(answers[i].value("exitCode").toInt(), 0);
    }
    EXPECT_EQ(answers.back().value("exitCode").toInt(-1), 0);
    EXPECT_EQ(terminal().messages().size(), 1U);
}

TEST_F(ServeTest, TakesFilesByTheirPaths) {
    const std::string file = scratchDirectory() + "/file";
    const std::string fetched = scratchDirectory() + "/fetched";
    writeFile(file, "some bytes");
    terminal().changeState([](pdasim::TerminalState& state) { state.files.offered[9] = "0a0b0c0d0e"; });
    const std::vector<QJsonObject> answers =
        answersTo(R"({"transCode":"600015","pCmdEx":7,"file":")" + file + "\"}\n" +
                  R"({"transCode":"600016","pCmdEx":9,"file":")" + fetched + "\"}\n");
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0].value("exitCode").toInt(-1), 0) << text(answers[0], "message");
    EXPECT_EQ(terminal().state().files.sent.at(7).packets.at(0), "736f6d65206279746573");
    EXPECT_EQ(terminal().state().files.sent.at(7).info, "file");
    EXPECT_EQ(answers[1].value("exitCode").toInt(-1), 0) << text(answers[1], "message");
    EXPECT_EQ(readFile(fetched), "\x0A\x0B\x0C\x0D\x0E");
}

TEST_F(ServeTest, NeverRepeatsASecret) {
    (void)answersTo(R"({"transCode":"600012","pKey":"SECRET1","CheckVal":"SECRET2"}
{"transCode":"600012","pKey":"SECRET1","CheckVal":2}
{"transCode":"600012","pKey":"SECRET1<","CheckVal":"SECRET2"}
{"transCode":"600012","pKey":"SECRET1"}
{"transCode":"600012","pKey":"SECRET1"
)");
    EXPECT_THAT(said(), Not(HasSubstr("SECRET")));
    EXPECT_EQ(terminal().state().keys.master->value, "SECRET1");
}

TEST_F(ServeTest, RefusesALineOfMoreThan16MebibytesAndGoesOn) {
    const std::vector<QJsonObject> answers =
        answersTo(R"({"transCode":"600001","pFactory":")" + std::string(17U << 20U, 'x') +
                  "\"}\n{\"id\":2,\"transCode\":\"600002\"}\n");
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_THAT(text(answers[0], "message"), HasSubstr("too long"));
    EXPECT_EQ(answers[1].value("id").toInt(), 2);
}

TEST_F(ServeTest, OpensTheChannelOnce) {
    (void)answersTo("{\"transCode\":\"600002\"}\n{\"transCode\":\"600002\"}\n");
    const std::string log = readFile(logPath());
    const std::string line = "openHidDevice port: /dev/hidraw0";
    ASSERT_THAT(log, HasSubstr(line));
    EXPECT_THAT(log.substr(log.find(line) + 1), Not(HasSubstr(line)));
}

TEST_F(ServeTest, TellsEachClientWhatTheTerminalStartsAndAcknowledgesIt) {
    (void)serve({"--answer-login", "000000"});
    const SocketClient first(socket());
    const SocketClient second(socket());
    EXPECT_EQ(ask(first, R"({"id":1,"transCode":"600002"})").value("id").toInt(), 1);
    EXPECT_EQ(ask(second, R"({"id":2,"transCode":"600002"})").value("id").toInt(), 2);
    (void)terminal().announce(pdasim::scannedLabel("A1"));
    for (const SocketClient* client : {&first, &second}) {
        const QJsonObject event = onlyDocument(client->read(1)).object();
        EXPECT_EQ(text(event, "event"), "scanned label");
        EXPECT_EQ(text(event, "type"), "9001");
        EXPECT_TRUE(event.value("acknowledged").toBool());
        EXPECT_EQ(text(event.value("fields").toObject(), "label"), "A1");
    }
    EXPECT_EQ(terminal().acknowledgements().size(), 1U);
    (void)terminal().announce(pdasim::loginRecord({"u1", "Ann", "f1", "r1", "p1", "c1"}));
    const QJsonObject login = onlyDocument(first.read(1)).object();
    EXPECT_EQ(text(login, "event"), "login");
    EXPECT_TRUE(login.value("answered").toBool());
    EXPECT_EQ(terminal().messages().back().type, "9002");
}

TEST_F(ServeTest, LetsOnlyItsUserInAndRemovesItsSocket) {
    RunningPdactl& server = serve();
    namespace fs = std::filesystem;
    terminal().changeState([](pdasim::TerminalState& state) { state.files.offered[1] = "0a0b0c0d0e"; });
    const std::string fetched = scratchDirectory() + "/fetched";
    const std::string fetch = R"({"transCode":"600016","file":")" + fetched + "\"}";
    EXPECT_EQ(ask(SocketClient(socket()), fetch).value("exitCode").toInt(-1), 0); // has a file to remove, too
    EXPECT_EQ(fs::status(socket()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    const std::string file = scratchDirectory() + "/file";
    writeFile(file, "kept");
    for (const std::string& taken : {socket(), file, std::string("/no/such/folder/socket")}) {
        const ProgramResult other = pdactl({"serve", "--socket", taken});
        EXPECT_EQ(other.exitCode, 1);
        EXPECT_THAT(other.errors, HasSubstr("Cannot listen at " + taken));
    }
    EXPECT_EQ(readFile(file), "kept");
    server.signal(SIGTERM);
    EXPECT_EQ(server.finish().exitCode, 128 + SIGTERM);
    EXPECT_FALSE(fs::exists(socket()));
}

TEST_F(ServeTest, ReplacesTheSocketOfOneThatWasKilled) {
    serve().signal(SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(socket()));
    (void)serve();
    const SocketClient client(socket());
    EXPECT_EQ(ask(client, R"({"id":1,"transCode":"600002"})").value("id").toInt(), 1);
}

TEST_F(ServeTest, ServesOthersWhenAClientGoesOrDoesNotRead) {
    RunningPdactl& server = serve();
    const SocketClient patient(socket());
    {
        const SocketClient hasty(socket());
        (void)hasty.send("{\"transCode\":\"600002\"}\n{\"transCode\":\"600002\"}\n{\"transC");
    }
    const SocketClient silent(socket());
    const std::string line = R"({"id":")" + std::string(65536, 'x') + "\"}\n"; // the answer repeats the id
    for (int i = 0; i < 1000 && server.errors().find("does not read") == std::string::npos; ++i) {
        (void)silent.send(line);
    }
    EXPECT_TRUE(server.complains("a client that does not read is given up"));
    EXPECT_EQ(ask(patient, R"({"id":1,"transCode":"600002"})").value("id").toInt(), 1);
}

TEST_F(ServeTest, SaysWhyNothingCanBeSentAndFindsATerminalThatComes) {
    terminal().unplug();
    RunningPdactl& server = serve();
    const SocketClient client(socket());
    EXPECT_TRUE(server.complains("there is no terminal yet; plug it in"));
    const QJsonObject without = ask(client, R"({"transCode":"600002"})");
    EXPECT_EQ(without.value("exitCode").toInt(), 4);
    EXPECT_THAT(text(without, "message"), HasSubstr("could not be written"));
    terminal().replug();
    EXPECT_TRUE(
        waitUntil([&] { return ask(client, R"({"transCode":"600002"})").value("exitCode").toInt(-1) == 0; }));
}

TEST_F(ServeTest, ServesOthersBesideAnyClient) {
    const std::pair<const char*, std::string> rows[] = {
        {"a line of 64 MiB", std::string(64U << 20U, 'x')},
        {"NULs", std::string(65536, '\0') + "\n"},
        {"bytes that are not UTF-8", "{\"id\":\"\xff\xfe\",\"transCode\":\"600002\"}\n"},
        {"a million brackets", std::string(1000000, '[') + "\n"},
    };
    (void)serve();
    const SocketClient patient(socket());
    std::deque<SocketClient> others;
    for (const auto& [name, bytes] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(others.emplace_back(socket()).send(bytes), bytes.size());
        EXPECT_EQ(ask(patient, R"({"id":1,"transCode":"600002"})").value("id").toInt(), 1);
        (void)terminal().announce(pdasim::scannedLabel(name));
        EXPECT_EQ(text(onlyDocument(patient.read(1)).object(), "event"), "scanned label");
    }
    for (const std::size_t i : {1U, 2U, 3U}) {
        EXPECT_THAT(others[i].read(1), HasSubstr("The line is not JSON"));
    }
    expectLittleMemory();
}

TEST_F(ServeTest, TakesTheRequestsOfItsClientsInTurn) {
    (void)serve();
    const SocketClient patient(socket());
    const SocketClient hasty(socket());
    std::string flood;
    for (int i = 0; i < 20000; ++i) {
        flood += "{\"transCode\":\"600002\"}\n";
    }
    EXPECT_LT(hasty.send(flood), flood.size()); // which has to wait
    EXPECT_EQ(ask(patient, R"({"id":1,"transCode":"600002"})").value("id").toInt(), 1);
    EXPECT_LT(terminal().messages().size(), 50U);
    expectLittleMemory();
}

TEST_F(ServeTest, TellsEachClientWhyTheLibraryEndedTheProcess) {
    RunningPdactl& server = serve();
    terminal().addFault("8001", pdasim::Fault().silence());
    const SocketClient asking(socket());
    const SocketClient idle(socket());
    EXPECT_EQ(text(ask(idle, "x"), "message").find("The line is not JSON"), 0U);
    (void)asking.send("{\"id\":[7],\"transCode\":\"600002\"}\n");
    ASSERT_TRUE(waitUntil([&] { return terminal().received().size() == 1; }));
    server.signal(SIGABRT); // as abort() does
    const QJsonObject end = onlyDocument(R"({"exitCode":1,
        "message":"The library ended the process in 600002. Run 'pdactl doctor' to find out why."})")
                                .object();
    EXPECT_EQ(onlyDocument(idle.read(2)).object(), end);
    QJsonObject answer = end;
    answer.insert("id", QJsonArray{7});
    EXPECT_EQ(onlyDocument(asking.read(2)).object(), answer);
    const ProgramResult result = server.finish();
    EXPECT_EQ(result.exitCode, 128 + SIGABRT);
    EXPECT_THAT(result.errors, HasSubstr("pdactl: The library ended the process in 600002."));
    EXPECT_FALSE(std::filesystem::exists(socket()));
}

TEST_F(ServeTest, TellsWhyALateDeviceEndedTheProcess) {
    RunningPdactl& server = serve();
    const SocketClient client(socket());
    EXPECT_EQ(ask(client, R"({"transCode":"600002"})").value("exitCode").toInt(-1), 0);
    addDeadlyDevice();
    terminal().unplug(); // so that the devices are looked through again
    const std::string end = "The library ended the process in the opening of the channel.";
    EXPECT_THAT(text(onlyDocument(client.read(2)).object(), "message"), HasSubstr(end));
    EXPECT_EQ(server.finish().exitCode, 1);
    const ProgramResult other = shell("pdactl serve < /dev/null");
    EXPECT_EQ(other.exitCode, 1);
    EXPECT_THAT(text(onlyDocument(other.output).object(), "message"), HasSubstr(end));
    EXPECT_THAT(text(json({"info"}, 1), "message"), HasSubstr("The library ended the process in 600002."));
}

TEST_F(ServeTest, AnswersWithWhatWouldMakeTheLibraryExit) {
    writeFile(privateDirectory() + "/PDAConfigure.ini", "VID=" + std::string(300, '1') + "\nPID=0001\n");
    const std::vector<QJsonObject> answers = answersTo("{\"id\":1,\"transCode\":\"600002\"}\n");
    ASSERT_EQ(answers.size(), 1U) << said();
    EXPECT_EQ(answers[0].value("exitCode").toInt(), 1);
    EXPECT_EQ(answers[0].value("id").toInt(), 1);
    EXPECT_THAT(text(answers[0], "message"), HasSubstr("PDAConfigure.ini"));
}

} // namespace
