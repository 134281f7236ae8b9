#include "FileFixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;
using testing::StartsWith;

/// Files on their way from the terminal.
class FileFetching : public FileTest {
protected:
    /// What comes of a fetch for which the terminal has these answers.
    struct Course {
        std::string name;
        std::vector<std::string> offered; ///< the tags of each reply
        std::vector<int> asked;           ///< the packets asked for
        Transfer transfer;
    };

    void expectCourse(const Course& course) {
        SCOPED_TRACE(course.name);
        for (const std::string& tags : course.offered) {
            offer(tags);
        }
        EXPECT_EQ(fetch(), course.transfer);
        EXPECT_EQ(newPacketNumbers(), course.asked);
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
    static Transfer fetched(const std::string& text) { return {0, "000000", text}; }

    /// The packets of 3000 that a text makes.
    static std::vector<std::string> wholePackets(const std::string& text) {
        std::vector<std::string> all = packetsOf(text);
        const int total = static_cast<int>(all.size());
        for (int i = 0; i < total; ++i) {
            std::string& each = all[static_cast<std::size_t>(i)];
            each = packet(total, i, each);
        }
        return all;
    }
    void offerWhole(const std::string& text) {
        for (const std::string& tags : wholePackets(text)) {
            offer(tags);
        }
    }
};

TEST_F(FileFetching, AsksForEachPacketAndJoinsThem) {
    offer(packet("1", "0", "313233343536373839", "31c3"));
    EXPECT_EQ(fetch(), fetched("313233343536373839"));
    EXPECT_EQ(newMaskedMessage(), maskedMessage("8016", "0001",
                                                "<Ex_PdaSn>00000007</Ex_PdaSn><Ex_CmdEx>3</Ex_CmdEx>"
                                                "<Ex_InfEx>about it</Ex_InfEx><Ex_CurPkt>0</Ex_CurPkt>"));
    newBodies();
    for (const std::size_t length : {1U, 2999U, 3000U, 3001U, 6000U}) {
        const std::string text = digits(length);
        const std::vector<std::string> packets = wholePackets(text);
        std::vector<int> asked(packets.size());
        for (std::size_t i = 0; i < asked.size(); ++i) {
            asked[i] = static_cast<int>(i);
        }
        expectCourse({std::to_string(length), packets, asked, fetched(text)});
    }
    EXPECT_EQ(m_SeqNo, 8);
    const std::string manyReports = digits(20000);
    answerAtLength("8016", packet(1, 0, manyReports));
    EXPECT_EQ(fetch(), fetched(manyReports));
}

TEST_F(FileFetching, JoinsPacketsByTheirNumbersInAnyOrderUntilTheLastOne) {
    const std::string text = digits(3600);
    const std::string last = packet(200001, 200000, "3132");
    const std::vector<Course> courses{
        {"one of them twice",
         {packet(3, 1, "1111"), packet(3, 0, "0000"), packet(3, 1, "1111"), packet(3, 2, "2222")},
         {0, 2, 1, 2},
         fetched("000011112222")},
        {"some of many",
         {packet(30, 11, "bb"), packet(30, 3, "33"), packet(30, 20, "cccc"), packet(30, 29, "dd")},
         {0, 12, 4, 21},
         fetched("33bbccccdd")},
        {"the last of as many as there may be", {packet(200000, 199999, "3132")}, {0}, fetched("3132")},
        {"the later of two of one number",
         {packet(2, 0, "00000000"), packet(2, 0, "1111"), packet(2, 1, "2222")},
         {0, 1, 1},
         fetched("11112222")},
        {"any lengths",
         {packet(3, 0, text.substr(0, 1)), packet(3, 1, text.substr(1, 3500)),
          packet(3, 2, text.substr(3501))},
         {0, 1, 2},
         fetched(text)},
        {"an empty packet", {packet(2, 0, ""), packet(2, 1, "3132")}, {0, 1}, fetched("3132")},
        {"nothing but an empty packet", {packet(1, 0, "")}, {0}, fetched("")},
        {"beyond the range",
         {packet(200001, 199998, "3132"), packet(200001, 199999, "3132"), last, last, last},
         {0, 199999, 200000, 200000, 200000},
         {2, "", ""}},
    };
    for (const Course& course : courses) {
        expectCourse(course);
    }
    terminal().takeViolations(); // asking for packet 200000 is one
}

TEST_F(FileFetching, EndsAtTheLastRepliesOwnTotal) {
    expectCourse(
        {"a smaller one", {packet(9, 0, "0000"), packet(2, 1, "1111")}, {0, 1}, fetched("00001111")});
    expectCourse({"one that is passed",
                  {packet(3, 0, "0000"), packet(1, 1, "1111"), packet(3, 2, "2222")},
                  {0, 1, 2},
                  fetched("000011112222")});
    const std::string none = tag("Ex_RetCode", "000000") + tag("Ex_CurPkt", "0") + tag("Ex_HexVal", "0000") +
                             tag("Ex_HexCheck", "0000");
    expectCourse({"none", {none, packet(2, 1, "1111")}, {0, 1}, fetched("00001111")});
    for (const char* total : {"", "0", "-1", "many", "2147483648", "4294967297", "99999999999999999999999"}) {
        expectCourse(
            {total, {packet(total, "0", "0000", "0000"), packet(2, 1, "1111")}, {0, 1}, fetched("00001111")});
    }
}

TEST_F(FileFetching, TakesNumbersWithoutDigitsForZeroAndDropsRepliesOfOthers) {
    const std::string wrongSecond =
        packet("2", "1", "1111", "zzzz"); // so that the first is not asked for next
    for (const char* number : {"", "first", "-", "x1", "00", "-0"}) {
        expectCourse({std::string("number ") + number,
                      {wrongSecond, packet("3", number, "0000", check("0000")), packet(2, 1, "1111")},
                      {0, 1, 1},
                      fetched("00001111")});
    }
    const std::string noNumber = tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", "1") +
                                 tag("Ex_HexVal", "3132") + tag("Ex_HexCheck", check("3132"));
    expectCourse({"no number", {wrongSecond, noNumber}, {0, 1}, fetched("3132")});
    for (const char* number : {"-1", "200000", "2147483648", "-2147483649", "4294967296",
                               "18446744073709551616", "99999999999999999999999"}) {
        const std::string impossible = packet("1", number, "3132", check("3132"));
        expectCourse(
            {std::string("only ") + number, {impossible, impossible, impossible}, {0, 0, 0}, {2, "", ""}});
        expectCourse({std::string("among others ") + number,
                      {packet(2, 0, "0000"), impossible, impossible, packet(2, 1, "1111")},
                      {0, 1, 1, 1},
                      fetched("00001111")});
    }
}

TEST_F(FileFetching, GivesTextsAsTheyCame) {
    const std::string nine = "313233343536373839";
    for (const std::string text :
         {"no digit at all", "3132zz34", "终端é", "<b>&amp;</b> %s", "6a6B6c6D6E6f"}) {
        expectCourse({text, {packet(1, 0, text)}, {0}, fetched(text)});
    }
    // The last digit of an odd packet is left out of the check.
    expectCourse({"odd", {packet("1", "0", nine + "f", "31c3")}, {0}, fetched(nine + "f")});
    expectCourse({"in another order",
                  {tag("Ex_HexCheck", "31c3") + tag("Ex_HexVal", nine) + tag("Ex_CurPkt", "0") +
                   tag("Ex_TotalPkt", "1") + tag("Ex_RetCode", "000000")},
                  {0},
                  fetched(nine)});
    expectCourse({"without a text",
                  {tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "0") +
                   tag("Ex_HexCheck", "0000")},
                  {0},
                  fetched("")});
}

TEST_F(FileFetching, AsksForAPacketWithAWrongCheckAgainByItsOwnNumber) {
    for (const std::string wrong : {"31C3", "31c4", "0000", "", "31c", "031c3", "31c3 ", "0x31c3", "%s%n"}) {
        newLines();
        expectCourse({wrong,
                      {packet("1", "0", "313233343536373839", wrong), packet(1, 0, "313233343536373839")},
                      {0, 0},
                      fetched("313233343536373839")});
        EXPECT_THAT(newLines(), Contains("1 pda return crc error:" + wrong));
    }
    const std::string without = tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", "1") +
                                tag("Ex_CurPkt", "0") + tag("Ex_HexVal", "3132");
    expectCourse({"without a check", {without, packet(1, 0, "3132")}, {0, 0}, fetched("3132")});
    EXPECT_THAT(newLines(), Contains("1 pda return crc error:"));
    const std::string longest(120000, 'c'); // longer than a formatted line of the log may be
    answerAtLength("8016", packet("1", "0", "3132", longest));
    expectCourse({"a long check", {packet(1, 0, "3132")}, {0, 0}, fetched("3132")});
    EXPECT_THAT(newLines(), Contains("1 pda return crc error:" + longest));
    expectCourse({"a later packet",
                  {packet(3, 0, "0000"), packet("3", "1", "1111", "zzzz"), packet(3, 1, "1111"),
                   packet("3", "2", "2222", "ZZZZ"), packet(3, 2, "2222")},
                  {0, 1, 1, 2, 2},
                  fetched("000011112222")});
    expectCourse({"one that was not asked for",
                  {packet("9", "7", "3132", "zzzz"), packet(8, 7, "3132")},
                  {0, 7},
                  fetched("3132")});
}

TEST_F(FileFetching, EndsWithTheTerminalsRefusalWithoutData) {
    // Some only look like success.
    for (const std::string code : {"000003", "0", "0000000", " 000000", "000000 "}) {
        expectCourse({code, {tag("Ex_RetCode", code)}, {0}, {0, code, ""}});
    }
    const std::string rest = tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "-1") + tag("Ex_HexVal", "3132") +
                             tag("Ex_HexCheck", check("3132"));
    expectCourse({"whatever else it holds", {tag("Ex_RetCode", "000001") + rest}, {0}, {0, "000001", ""}});
    expectCourse({"without a code", {rest}, {0}, {0, "", ""}});
    expectCourse({"in the middle",
                  {packet(3, 0, digits(3000)), packet(3, 1, digits(3000)), tag("Ex_RetCode", "000017")},
                  {0, 1, 2},
                  {0, "000017", ""}});
    expectCourse({"nothing of it is remembered", {packet(2, 1, "3536")}, {0}, fetched("3536")});
    offer(tag("Ex_RetCode", "000001"));
    EXPECT_EQ(analyser().ReceiveDataSaveToFile(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_THAT(newBodies(), ElementsAre("<Ex_PdaSn></Ex_PdaSn><Ex_CmdEx>0</Ex_CmdEx><Ex_InfEx></Ex_InfEx>"
                                         "<Ex_CurPkt>0</Ex_CurPkt>"));
}

TEST_F(FileFetching, LogsEachPacketsExchange) {
    offerWhole(digits(3010));
    EXPECT_EQ(fetch(), fetched(digits(3010)));
    const std::vector<std::string> sent = terminal().received();
    const std::vector<std::string> lines = newLines();
    ASSERT_EQ(sent.size(), 2U);
    ASSERT_EQ(lines.size(), 9U);
    EXPECT_EQ(lines[0], "1 [ReceiveDataSaveToFile] begin");
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(lines[1 + 4 * i], "4 600016 SendData pre: " + sent[i]);
        EXPECT_EQ(lines[2 + 4 * i], "4 Write XML: " + sent[i] + " sendLen:" + std::to_string(sent[i].size()));
        EXPECT_THAT(lines[3 + 4 * i], StartsWith("4 HID Read XML: "));
        EXPECT_EQ(lines[4 + 4 * i], "1 Xml Type:8016 len:4");
    }
}

TEST_F(FileFetching, LowersTheTaskFlagBetweenPacketsAndNotForTheSameAgain) {
    struct Seen {
        Course course;
        const char* flags;
    };
    const std::string second = packet(2, 1, "3334");
    for (const Seen& each :
         {Seen{{"new ones", {packet(2, 0, "3132"), second}, {0, 1}, fetched("31323334")}, "0101"},
          Seen{{"one that was there",
                {packet(2, 0, "3132"), packet(2, 0, "3132"), second},
                {0, 1, 1},
                fetched("31323334")},
               "010101"},
          Seen{{"a wrong check",
                {packet("1", "0", "3132", "zzzz"), packet(1, 0, "3132")},
                {0, 0},
                fetched("3132")},
               "01"}}) {
        const TaskFlagWatch watch;
        expectCourse(each.course);
        EXPECT_EQ(TaskFlagWatch::seen(), each.flags) << each.course.name;
    }
}

/// Terminals that never come to an end.
class FileFetchingEndlessly : public FileFetching {
protected:
    static constexpr std::size_t kMaxIdleReplies = 100;

    static std::string wrong(const char* number = "0") { return packet("9", number, "3132", "zzzz"); }
    static std::string right(int number = 0) { return packet(9, number, "3132"); }

    /// Checks that a fetch is given up after `requests` requests.
    void expectGivenUpAfter(std::size_t requests) {
        const SwiftReplies swift;
        const std::size_t before = warnings();
        EXPECT_EQ(fetch(), (Transfer{2, "", ""}));
        EXPECT_THAT(newPacketNumbers(), SizeIs(requests));
        EXPECT_EQ(warnings(), before + 1);
        EXPECT_EQ(m_PerformTasksYN, 0);
        terminal().clearFaults();
    }
};

TEST_F(FileFetchingEndlessly, IsGivenUpAfterAHundredRepliesInARowWithNothingNew) {
    {
        SCOPED_TRACE("the same packet"); // the first is new
        offer(right(), 1 + kMaxIdleReplies);
        expectGivenUpAfter(1 + kMaxIdleReplies);
    }
    {
        SCOPED_TRACE("wrong checks");
        offer(wrong(), kMaxIdleReplies);
        expectGivenUpAfter(kMaxIdleReplies);
        EXPECT_EQ(pdalink::test::countLogLines("pda return crc error:zzzz"), 100);
    }
    {
        SCOPED_TRACE("two packets in turn, and wrong checks among them");
        offer(right(4));
        for (std::size_t i = 0; i < kMaxIdleReplies / 2; ++i) {
            offer(i == 0 ? right(0) : right(4));
            offer(wrong());
            offer(right(0));
        }
        expectGivenUpAfter(2 + kMaxIdleReplies);
    }
    {
        SCOPED_TRACE("among replies that do not count");
        offer(right());
        for (std::size_t i = 0; i < kMaxIdleReplies / 2; ++i) {
            offer(right());
            answerWith("8016", reply("8015", "")); // no reply to this
            offer(right());
            offer(wrong("200000")); // no packet has that number
        }
        expectGivenUpAfter(2 * kMaxIdleReplies);
    }
    SCOPED_TRACE("not in a row");
    const SwiftReplies swift;
    offer(wrong(), kMaxIdleReplies - 1);
    offer(2, 0, "3132");
    offer(packet("2", "1", "3334", "zzzz"), kMaxIdleReplies - 1);
    offer(2, 1, "3334");
    EXPECT_EQ(fetch(), fetched("31323334"));
    EXPECT_THAT(newPacketNumbers(), SizeIs(2 * kMaxIdleReplies));
}

} // namespace
