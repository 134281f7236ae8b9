#include "TransactionFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

using pdasim::Fault;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// The notice that names a user.
class UserNotice : public TransactionTest {
protected:
    std::vector<std::string> fetch() {
        OutputBuffer number;
        OutputBuffer name;
        EXPECT_EQ(analyser().GetRandomNumber(number.data(), name.data()), 0);
        return {number.written(), name.written()};
    }
};

TEST_F(UserNotice, StaysForASecondCall) {
    pda_RandomNumber[0] = "00000007";
    pda_RandomNumber[1] = "Ann";
    EXPECT_THAT(fetch(), ElementsAre("00000007", "Ann"));
    EXPECT_THAT(fetch(), ElementsAre("00000007", "Ann"));
    EXPECT_EQ(pda_RandomNumber[1], "Ann");
}

TEST_F(UserNotice, ThatIsNotThereLeavesTheOutputsAlone) {
    EXPECT_THAT(fetch(), ElementsAre("", ""));
    pda_RandomNumber[1] = "Ann";
    EXPECT_THAT(fetch(), ElementsAre("", "Ann"));
}

TEST_F(UserNotice, IsCopiedByItsCharacters) {
    pda_RandomNumber[0] = QString::fromUtf8("é7");
    pda_RandomNumber[1] = QString::fromUtf8("终端ab");
    EXPECT_THAT(fetch(), ElementsAre("é", std::string("终端").substr(0, 4)));
}

TEST_F(UserNotice, SkipsNullOutputs) {
    pda_RandomNumber[0] = "7";
    pda_RandomNumber[1] = "Ann";
    EXPECT_EQ(analyser().GetRandomNumber(nullptr, nullptr), 0);
    OutputBuffer name;
    EXPECT_EQ(analyser().GetRandomNumber(nullptr, name.data()), 0);
    EXPECT_EQ(name.written(), "Ann");
}

TEST_F(UserNotice, WithoutMemoryGivesNoOtherResult) {
    pda_RandomNumber[1] = "Ann";
    OutputBuffer name;
    int result = -99;
    {
        const FailingAllocation failing(1);
        result = analyser().GetRandomNumber(nullptr, name.data());
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(name.written(), "");
}

TEST_F(UserNotice, IsNoMatterOfTheTerminals) {
    stopChannel();
    newLines();
    m_PerformTasksYN = 1;
    const Milliseconds time = timeOf([this] { fetch(); });
    EXPECT_LT(time, kOpeningWait);
    EXPECT_FALSE(g_hidRun);
    EXPECT_THAT(newLines(), ElementsAre("1 [GetRandomNumber] begin"));
    EXPECT_THAT(terminal().received(), IsEmpty());
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_F(UserNotice, IsReplacedByTheNextOne) {
    pda_RandomNumber[0] = "7";
    pda_RandomNumber[1] = "Ann";
    analyser().ReceiveRandomNumber(HostText(reply("9003", tag("Ex_PdaSn", "8") + tag("Ex_UserNm", "Bob"))));
    EXPECT_THAT(fetch(), ElementsAre("8", "Bob"));
}

/// The record of a login.
class LoginRecord : public TransactionTest {
protected:
    static void store() {
        const char* const values[] = {"7", "login", "name", "finger", "random", "password", "mac", "unread"};
        std::copy(std::begin(values), std::end(values), std::begin(pda_LoginData));
    }
    static bool isStoreEmpty() {
        return std::all_of(std::begin(pda_LoginData), std::end(pda_LoginData),
                           [](const QString& slot) { return slot.isEmpty(); });
    }

    std::vector<std::string> fetch() {
        std::array<OutputBuffer, 7> x;
        EXPECT_EQ(analyser().GetLoginData(x[0].data(), x[1].data(), x[2].data(), x[3].data(), x[4].data(),
                                          x[5].data(), x[6].data()),
                  0);
        std::vector<std::string> texts;
        texts.reserve(x.size());
        for (const OutputBuffer& output : x) {
            texts.push_back(output.written());
        }
        return texts;
    }
};

TEST_F(LoginRecord, IsHandedOutOnce) {
    store();
    EXPECT_THAT(fetch(), ElementsAre("7", "login", "name", "finger", "random", "password", "mac"));
    EXPECT_TRUE(isStoreEmpty()) << "the slot that nobody reads included";
    EXPECT_THAT(fetch(), ElementsAre("", "", "", "", "", "", ""));
}

TEST_F(LoginRecord, IsCopiedByItsCharacters) {
    for (QString& slot : pda_LoginData) {
        slot = QString::fromUtf8("a终b");
    }
    const std::string cut = std::string("a终").substr(0, 3);
    EXPECT_THAT(fetch(), ElementsAre(cut, cut, cut, cut, cut, cut, cut));
    EXPECT_TRUE(isStoreEmpty());
}

TEST_F(LoginRecord, OfAnyLengthIsHandedOut) {
    pda_LoginData[3] = QString(100000, 'f');
    EXPECT_TRUE(fetch()[3] == std::string(100000, 'f'));
}

TEST_F(LoginRecord, SkipsNullOutputs) {
    store();
    OutputBuffer password;
    EXPECT_EQ(analyser().GetLoginData(nullptr, nullptr, nullptr, nullptr, nullptr, password.data(), nullptr),
              0);
    EXPECT_EQ(password.written(), "password");
    EXPECT_TRUE(isStoreEmpty());
    store();
    EXPECT_EQ(analyser().GetLoginData(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_TRUE(isStoreEmpty());
}

TEST_F(LoginRecord, WithoutMemoryIsKeptForTheNextCall) {
    store();
    m_PerformTasksYN = 1;
    OutputBuffer login;
    int result = -99;
    {
        const FailingAllocation failing(1);
        result = analyser().GetLoginData(nullptr, login.data(), nullptr, nullptr, nullptr, nullptr, nullptr);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(login.written(), "");
    EXPECT_EQ(m_PerformTasksYN, 1);
    EXPECT_EQ(fetch()[1], "login");
}

TEST_F(LoginRecord, OpensAClosedChannelAndGivesItASecond) {
    stopChannel();
    newLines();
    store();
    std::vector<std::string> texts;
    const Milliseconds time = timeOf([&] { texts = fetch(); });
    EXPECT_GE(time, kOpeningWait);
    EXPECT_TRUE(g_hidRun);
    EXPECT_EQ(texts[1], "login");
    const std::vector<std::string> lines = newLines();
    EXPECT_EQ(lines.front(), "1 [GetLoginData] begin");
    EXPECT_THAT(lines, Contains("4 port open success"));
    EXPECT_EQ(lines.back(), "1 user login info");
    EXPECT_THAT(terminal().received(), IsEmpty());
}

TEST_F(LoginRecord, IsHandedOutAtOnceOnAnOpenChannel) {
    store();
    m_PerformTasksYN = 1;
    const Milliseconds time = timeOf([this] { fetch(); });
    EXPECT_LT(time, kOpeningWait);
    EXPECT_THAT(newLines(), ElementsAre("1 [GetLoginData] begin", "1 user login info"));
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_F(LoginRecord, IsHandedOutWithoutATerminalToo) {
    stopChannel();
    terminal().unplug();
    store();
    EXPECT_THAT(fetch(), ElementsAre("7", "login", "name", "finger", "random", "password", "mac"));
    EXPECT_TRUE(isStoreEmpty());
    EXPECT_FALSE(g_hidRun);
}

TEST_F(LoginRecord, ThatArrivesDuringTheOpeningIsHandedOut) {
    stopChannel();
    duringTheNextWait([] { store(); });
    EXPECT_EQ(fetch()[1], "login");
    EXPECT_TRUE(isStoreEmpty());
}

TEST_F(LoginRecord, IsReplacedByANewerOne) {
    store();
    EXPECT_EQ(analyser().ReceiveLoginData(HostText(
                  reply("9002", tag("Ex_PdaSn", "8") + tag("Ex_Login", "2") + tag("Ex_Name", "Bob")))),
              0);
    EXPECT_THAT(fetch(), ElementsAre("8", "2", "Bob", "", "", "", ""));
}

/// The host's verdict on it.
class LoginResult : public TransactionTest {};

TEST_F(LoginResult, IsSentAndNotWaitedFor) {
    const Milliseconds time =
        timeOf([this] { EXPECT_EQ(analyser().SyncLoginResult(HostText("7"), HostText("000009")), 0); });
    EXPECT_LT(time, kSilentWait);
    EXPECT_EQ(newMaskedMessage(),
              maskedMessage("9002", "0001", "<Ex_PdaSn>7</Ex_PdaSn><Ex_RetCode>000009</Ex_RetCode>"));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(LoginResult, HasNoBeginLine) {
    EXPECT_EQ(analyser().SyncLoginResult(HostText("7"), HostText("000000")), 0);
    const std::string sent = newMessage();
    EXPECT_THAT(newLines(), ElementsAre("4 SyncLoginResult SendData pre: " + sent,
                                        "4 Write XML: " + sent + " sendLen:" + std::to_string(sent.size())));
}

TEST_F(LoginResult, ThatTheDeviceRejectsLeavesTheTaskFlagUp) {
    terminal().addFault("9002", Fault().refuseWrite(5));
    EXPECT_EQ(analyser().SyncLoginResult(HostText("7"), HostText("000000")), -1);
    EXPECT_EQ(m_PerformTasksYN, 1);
}

TEST_F(LoginResult, LeavesAnAnswerToTheNextSend) {
    const std::string uninvited = reply("9002", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(analyser().SyncLoginResult(HostText("7"), HostText("000000")), 0);
    terminal().sendText(uninvited);
    ASSERT_TRUE(becomesBuffered(QString::fromStdString(uninvited)));
    EXPECT_EQ(getInfo().result, 0);
}

TEST_F(LoginResult, OpensAClosedChannel) {
    stopChannel();
    m_PerformTasksYN = 0;
    char flag = 99;
    duringTheNextWait([&flag] { flag = m_PerformTasksYN; });
    const Milliseconds time =
        timeOf([this] { EXPECT_EQ(analyser().SyncLoginResult(HostText("7"), HostText("000000")), 0); });
    EXPECT_GE(time, kOpeningWait);
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

} // namespace
