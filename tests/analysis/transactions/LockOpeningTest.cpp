#include "tests/analysis/TransactionFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What a host passes to ReqOpenLock.
struct Operations {
    std::string count;
    std::string ids;
    std::string actions;
    std::string codes;
    std::string usersA;
    std::string usersB;
};

/// Asking for locks to be opened.
class LockOpening : public TransactionTest {
protected:
    int open(Operations x) {
        return analyser().ReqOpenLock(x.count.data(), x.ids.data(), x.actions.data(), x.codes.data(),
                                      x.usersA.data(), x.usersB.data(), m_source.data(), m_retCode.data());
    }
    /// What goes out.
    std::string bodyFor(const Operations& operations) {
        answer("7018", tag("Ex_SrcSeqNo", "0001") + tag("Ex_RetCode", "000000"));
        EXPECT_EQ(open(operations), 0);
        return newBody();
    }
    static std::string group(const std::string& id, const std::string& action, const std::string& code,
                             const std::string& userA, const std::string& userB) {
        return "<LockList>" + tag("Ex_LockId", id) + tag("Ex_Action", action) + tag("Ex_OTCCode", code) +
               tag("Ex_UserA", userA) + tag("Ex_UserB", userB) + "</LockList>";
    }
    static std::string number(const std::string& count) { return tag("Ex_LockNum", count); }

    OutputBuffer m_source;
    OutputBuffer m_retCode;
};

struct OpeningCase {
    const char* name;
    Operations operations;
    std::vector<std::string> groups;
};

TEST_F(LockOpening, SendsAGroupForEachLockAndACodeWithOneActionOnly) {
    const std::string empty = group("", "", "", "", "");
    const std::vector<OpeningCase> cases{
        {"a code only with the action 00",
         {"3", "L1;L2;L3;", "01;00;02;", "first;second;third;", "a1;a2;a3;", "b1;b2;b3;"},
         {group("L1", "01", "", "a1", "b1"), group("L2", "00", "second", "a2", "b2"),
          group("L3", "02", "", "a3", "b3")}},
        {"a value without its semicolon is lost",
         {"2", "L1;L2", "00;00", "c1;c2", "a1;a2", "b1;b2"},
         {group("L1", "00", "c1", "a1", "b1"), empty}},
        {"the values after an empty one are shifted",
         {"3", "A;;C;", "00;00;00;", ";c1;;c2;", ";;a;", "b;"},
         {group("A", "00", "c1", "a", "b"), group("C", "00", "c2", "", ""), group("", "00", "", "", "")}},
        {"all values are missing", {"2", "", "", "", "", ""}, {empty, empty}},
        {"some values are missing",
         {"2", "L1;L2;", "00;00;", "", "", ""},
         {group("L1", "00", "", "", ""), group("L2", "00", "", "", "")}},
        {"the count is smaller",
         {"1", "L1;L2;L3;", "00;00;00;", "1;2;3;", "a;a;a;", "b;b;b;"},
         {group("L1", "00", "1", "a", "b")}},
        {"the full-width semicolon is text",
         {"1", "L1；L2;", "00;", "终端;", "a；;", "b;"},
         {group("L1；L2", "00", "终端", "a；", "b")}},
        {"texts are kept as they are",
         {"1", "%s<b>;", "00;", "%n&;", "</Ex_User>;", "\"\\;"},
         {group("%s<b>", "00", "%n&", "</Ex_User>", "\"\\")}},
    };
    for (const OpeningCase& each : cases) {
        SCOPED_TRACE(each.name);
        std::string expected = number(each.operations.count);
        for (const std::string& group : each.groups) {
            expected += group;
        }
        EXPECT_EQ(bodyFor(each.operations), expected);
    }
    for (const char* action : {"0", " 00", "00 ", "000", "OO", "01", "+0", "００"}) {
        EXPECT_EQ(bodyFor({"1", "L;", std::string(action) + ";", "secret;", "a;", "b;"}),
                  number("1") + group("L", action, "", "a", "b"));
    }
}

TEST_F(LockOpening, SendsItsCountAsItIsAndReadsANumberInIt) {
    struct Counts {
        int groups;
        std::vector<const char*> texts;
    };
    for (const Counts& counts :
         {Counts{0,
                 {"0", "", " ", "abc", "x2", "-", "-1", "+-2", "- 2", "0x2", "%d", "-2147483649",
                  "-99999999999999999999999"}},
          Counts{1, {"1"}}, Counts{2, {" 2", "\t\n\r 2", "+2", "002", "2abc", "2 3", "2.9", "2;3"}},
          Counts{12, {"12"}}}) {
        std::string groups;
        for (int i = 0; i < counts.groups; ++i) {
            groups += group("", "", "", "", "");
        }
        for (const char* count : counts.texts) {
            EXPECT_EQ(bodyFor({count, "", "", "", "", ""}), number(count) + groups);
        }
    }
}

/// Batches that no message holds.
class LockOpeningLimit : public LockOpening {
protected:
    static constexpr int kEnvelope = 112;
    static constexpr int kMaxLength = 999999;

    /// A lock's identifier that makes the message `length` characters long.
    static std::string identifierFor(int length, int envelope = kEnvelope) {
        const int rest = envelope + static_cast<int>((number("1") + group("", "", "", "", "")).size());
        std::string identifier(static_cast<std::size_t>(length - rest), 'x');
        return identifier;
    }

    void expectTooLong(const Operations& operations) {
        const int sequence = m_SeqNo;
        m_PerformTasksYN = 1;
        newLines();
        EXPECT_EQ(open(operations), 1);
        EXPECT_THAT(newLines(), ElementsAre("1 [ReqOpenLock] begin"));
        EXPECT_THAT(terminal().received(), IsEmpty());
        EXPECT_EQ(m_SeqNo, sequence);
        EXPECT_EQ(m_PerformTasksYN, 0);
        EXPECT_EQ(m_source.written(), "");
        EXPECT_EQ(m_retCode.written(), "");
    }

    /// A message that is built, and then longer than what a write takes.
    void expectBuilt(const Operations& operations, const std::string& lengthField) {
        const int sequence = m_SeqNo;
        newLines();
        EXPECT_EQ(open(operations), -1);
        EXPECT_EQ(m_SeqNo, sequence + 1);
        EXPECT_EQ(m_PerformTasksYN, 1);
        const std::string log = pdalink::test::readFile(pdalink::test::logPath() + ".1") +
                                pdalink::test::readFile(pdalink::test::logPath());
        EXPECT_NE(log.find("Write XML error:" + lengthField + "7018QEV   "), std::string::npos);
    }
};

TEST_F(LockOpeningLimit, IsTheLengthFieldWithTheDigitsOfTheNumber) {
    expectTooLong({"1", identifierFor(kMaxLength + 1) + ";", "", "", "", ""});
    expectBuilt({"1", identifierFor(kMaxLength) + ";", "", "", "", ""}, "999999");
    m_SeqNo = 9999;
    expectTooLong({"1", identifierFor(kMaxLength + 1, kEnvelope + 1) + ";", "", "", "", ""});
    expectBuilt({"1", identifierFor(kMaxLength, kEnvelope + 1) + ";", "", "", "", ""}, "999999");
}

TEST_F(LockOpeningLimit, CountsCharactersAndNotBytes) {
    std::string identifier;
    for (int i = 0; i < 900000; ++i) {
        identifier += "é";
    }
    expectBuilt({"1", identifier + ";", "", "", "", ""}, "900272");
}

TEST_F(LockOpeningLimit, IsReachedByACountOfEmptyGroupsOrBeyondAnInt) {
    for (const char* count : {"7462", "2147483648", "4294967297", "99999999999999999999"}) {
        expectTooLong({count, "", "", "", "", ""});
    }
    // 112 for the envelope, 29 for the count's tag, 134 for each group.
    expectBuilt({"7461", "", "", "", "", ""}, "999915");
}

TEST_F(LockOpeningLimit, OpensNoChannelAndLeavesTheNextCallItsNumber) {
    stopChannel();
    expectTooLong({"100000", "", "", "", "", ""});
    EXPECT_FALSE(g_hidRun);
    EXPECT_EQ(bodyFor({"1", "L;", "00;", "c;", "a;", "b;"}), number("1") + group("L", "00", "c", "a", "b"));
    EXPECT_EQ(m_SeqNo, 1);
}

} // namespace
