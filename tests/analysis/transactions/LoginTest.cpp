#include "tests/analysis/TransactionFixture.h"
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

TEST_F(UserNotice, IsCopiedByItsCharactersStaysAndDoesNotConcernTheTerminal) {
    stopChannel();
    newLines();
    m_PerformTasksYN = 1;
    EXPECT_LT(timeOf([this] { EXPECT_THAT(fetch(), ElementsAre("", "")); }), kOpeningWait);
    EXPECT_THAT(newLines(), ElementsAre("1 [GetRandomNumber] begin"));
    pda_RandomNumber[0] = QString::fromUtf8("é7");
    pda_RandomNumber[1] = QString::fromUtf8("终端ab");
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(fetch(), ElementsAre("é", std::string("终端").substr(0, 4)));
    }
    EXPECT_EQ(analyser().GetRandomNumber(nullptr, nullptr), 0);
    std::array<char, 100> name{};
    failEachAllocation([] {}, [&] { return analyser().GetRandomNumber(nullptr, name.data()); },
                       [](int result) { EXPECT_EQ(result, 0); });
    EXPECT_STREQ(name.data(), std::string("终端").substr(0, 4).c_str());
    EXPECT_FALSE(g_hidRun);
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
        std::vector<std::string> texts(x.size());
        std::transform(x.begin(), x.end(), texts.begin(),
                       [](const OutputBuffer& each) { return each.written(); });
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
    std::fill(std::begin(pda_LoginData), std::end(pda_LoginData), QString::fromUtf8("a终b"));
    pda_LoginData[3] = QString(100000, 'f');
    const std::string cut = std::string("a终").substr(0, 3);
    EXPECT_TRUE(fetch() ==
                (std::vector<std::string>{cut, cut, cut, std::string(100000, 'f'), cut, cut, cut}));
    store();
    EXPECT_EQ(analyser().GetLoginData(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_TRUE(isStoreEmpty());
}

TEST_F(LoginRecord, WithoutMemoryIsKeptForTheNextCall) {
    store();
    OutputBuffer login;
    int result = -99;
    {
        const FailingAllocation failing(1);
        result = analyser().GetLoginData(nullptr, login.data(), nullptr, nullptr, nullptr, nullptr, nullptr);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(login.written(), "");
    EXPECT_EQ(fetch()[1], "login");
}

TEST_F(LoginRecord, IsHandedOutAfterTheSecondOfOpeningAClosedChannel) {
    for (const bool isPluggedIn : {true, false}) {
        stopChannel();
        isPluggedIn ? void() : terminal().unplug();
        newLines();
        duringTheNextWait([] { store(); }); // it arrives meanwhile
        std::vector<std::string> texts;
        EXPECT_GE(timeOf([&] { texts = fetch(); }), kOpeningWait);
        EXPECT_EQ(g_hidRun, isPluggedIn);
        EXPECT_EQ(texts[1], "login");
        EXPECT_TRUE(isStoreEmpty());
        const std::vector<std::string> lines = newLines();
        EXPECT_EQ(lines.front(), "1 [GetLoginData] begin");
        EXPECT_THAT(lines, Contains(isPluggedIn ? "4 port open success" : "4 openHidDevice port: "));
        EXPECT_EQ(lines.back(), "1 user login info");
        EXPECT_THAT(terminal().received(), IsEmpty());
    }
}

} // namespace
