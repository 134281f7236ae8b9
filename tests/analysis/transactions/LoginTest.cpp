#include "TransactionFixture.h"
#include "tests/interface/FailingAllocation.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

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

TEST_F(UserNotice, IsCopiedByItsCharactersAndStays) {
    EXPECT_THAT(fetch(), ElementsAre("", "")) << "outputs are left alone when there is none";
    pda_RandomNumber[1] = "Ann";
    EXPECT_THAT(fetch(), ElementsAre("", "Ann"));
    pda_RandomNumber[0] = QString::fromUtf8("é7");
    pda_RandomNumber[1] = QString::fromUtf8("终端ab");
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(fetch(), ElementsAre("é", std::string("终端").substr(0, 4)));
    }
    EXPECT_EQ(analyser().GetRandomNumber(nullptr, nullptr), 0);
    analyser().ReceiveRandomNumber(HostText(reply("9003", tag("Ex_PdaSn", "8") + tag("Ex_UserNm", "Bob"))));
    EXPECT_THAT(fetch(), ElementsAre("8", "Bob"));
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
    EXPECT_EQ(analyser().GetRandomNumber(nullptr, name.data()), 0);
    EXPECT_EQ(name.written(), "Ann");
}

TEST_F(UserNotice, DoesNotConcernTheTerminal) {
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

TEST_F(LoginRecord, IsHandedOutOnceByItsCharacters) {
    store();
    m_PerformTasksYN = 1;
    const Milliseconds time = timeOf([this] {
        EXPECT_THAT(fetch(), ElementsAre("7", "login", "name", "finger", "random", "password", "mac"));
    });
    EXPECT_LT(time, kOpeningWait) << "the channel is open";
    EXPECT_THAT(newLines(), ElementsAre("1 [GetLoginData] begin", "1 user login info"));
    EXPECT_TRUE(isStoreEmpty()) << "the slot that nobody reads included";
    EXPECT_THAT(fetch(), ElementsAre("", "", "", "", "", "", ""));
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 1);
    for (QString& slot : pda_LoginData) {
        slot = QString::fromUtf8("a终b");
    }
    pda_LoginData[3] = QString(100000, 'f');
    const std::string cut = std::string("a终").substr(0, 3);
    EXPECT_TRUE(fetch() ==
                (std::vector<std::string>{cut, cut, cut, std::string(100000, 'f'), cut, cut, cut}));
    EXPECT_EQ(analyser().ReceiveLoginData(HostText(
                  reply("9002", tag("Ex_PdaSn", "8") + tag("Ex_Login", "2") + tag("Ex_Name", "Bob")))),
              0);
    EXPECT_THAT(fetch(), ElementsAre("8", "2", "Bob", "", "", "", ""));
}

TEST_F(LoginRecord, SkipsNullOutputs) {
    OutputBuffer password;
    for (char* const output : {password.data(), static_cast<char*>(nullptr)}) {
        store();
        EXPECT_EQ(analyser().GetLoginData(nullptr, nullptr, nullptr, nullptr, nullptr, output, nullptr), 0);
        EXPECT_EQ(password.written(), "password");
        EXPECT_TRUE(isStoreEmpty());
    }
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

/// The host's result of it.
using LoginResult = TransactionTest;

TEST_F(LoginResult, IsNotWaitedFor) {
    const Milliseconds time =
        timeOf([this] { EXPECT_EQ(analyser().SyncLoginResult(HostText("7"), HostText("000009")), 0); });
    EXPECT_LT(time, kSilentWait);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(LoginResult, LeavesAnAnswerToTheNextSend) {
    const std::string uninvited = reply("9002", tag("Ex_RetCode", "000000"));
    EXPECT_EQ(analyser().SyncLoginResult(HostText("7"), HostText("000000")), 0);
    terminal().sendText(uninvited);
    ASSERT_TRUE(becomesBuffered(QString::fromStdString(uninvited)));
    EXPECT_EQ(getInfo().result, 0);
}

} // namespace
