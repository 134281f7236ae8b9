#include "FileFixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

/// Files on their way from the terminal.
class FileFetching : public FileTest {
protected:
    /// Offers the text whole, in packets of 3000.
    void offerWhole(const std::string& text) {
        const std::vector<std::string> packets = packetsOf(text);
        for (std::size_t i = 0; i < packets.size(); ++i) {
            offer(static_cast<int>(packets.size()), static_cast<int>(i), packets[i]);
        }
    }
};

TEST_F(FileFetching, OfOnePacketTakesOneMessage) {
    offer({"1", "0", "313233343536373839", "31c3"});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "313233343536373839"}));
    EXPECT_EQ(newMaskedMessage(), maskedMessage("8016", "0001",
                                                "<Ex_PdaSn>00000007</Ex_PdaSn><Ex_CmdEx>3</Ex_CmdEx>"
                                                "<Ex_InfEx>about it</Ex_InfEx><Ex_CurPkt>0</Ex_CurPkt>"));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileFetching, AsksForEachPacketAndJoinsThem) {
    const std::string text = digits(6010);
    offerWhole(text);
    EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
    EXPECT_THAT(newBodies(), ElementsAre(fetchBody(0), fetchBody(1), fetchBody(2)));
    EXPECT_EQ(m_SeqNo, 3);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

/// Files of one length.
class FileFetchingOfLength : public FileFetching, public testing::WithParamInterface<std::size_t> {};

TEST_P(FileFetchingOfLength, GivesEveryCharacter) {
    const std::string text = digits(GetParam());
    offerWhole(text);
    EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
    EXPECT_EQ(newBodies().size(), packetsOf(text).size());
}

INSTANTIATE_TEST_SUITE_P(Characters, FileFetchingOfLength,
                         testing::Values(1, 9, 10, 2999, 3000, 3001, 6000, 6001));

TEST_F(FileFetching, TakesPacketsOfAnyLengths) {
    const std::string text = digits(3600);
    offer(3, 0, text.substr(0, 1));
    offer(3, 1, text.substr(1, 3500));
    offer(3, 2, text.substr(3501));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
}

TEST_F(FileFetching, TakesAPacketOfManyReports) {
    const std::string text = digits(20000);
    answerAtLength("8016", tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "0") +
                               tag("Ex_HexVal", text) + tag("Ex_HexCheck", check(text)));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
}

TEST_F(FileFetching, TakesEmptyPackets) {
    offer({"2", "0", "", "0000"});
    offer({"2", "1", "3132", check("3132")});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    offer({"1", "0", "", "0000"});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", ""}));
}

TEST_F(FileFetching, TakesAPacketWithoutATextForAnEmptyOne) {
    answer("8016", tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "0") +
                       tag("Ex_HexCheck", "0000"));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", ""}));
}

TEST_F(FileFetching, TakesTagsInAnyOrder) {
    answer("8016", tag("Ex_HexCheck", "31c3") + tag("Ex_HexVal", "313233343536373839") +
                       tag("Ex_CurPkt", "0") + tag("Ex_TotalPkt", "1") + tag("Ex_RetCode", "000000"));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "313233343536373839"}));
}

TEST_F(FileFetching, GivesDigitsOfEitherCaseAsTheyCame) {
    offer({"1", "0", "6a6B6c6D6E6f", check("6a6b6c6d6e6f")});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "6a6B6c6D6E6f"}));
}

TEST_F(FileFetching, LeavesTheLastDigitOfAnOddPacketOutOfTheCheck) {
    offer({"1", "0", "313233343536373839f", "31c3"});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "313233343536373839f"}));
}

TEST_F(FileFetching, TakesTextThatIsNotHexadecimal) {
    for (const std::string text : {"no digit at all", "3132zz34", "终端é", "<b>&amp;</b> %s"}) {
        offer(1, 0, text);
        EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
    }
}

/// Checks that do not belong to the packet "313233343536373839", whose own one is 31c3, or are written
/// otherwise.
class FileFetchingWithWrongCheck : public FileTest, public testing::WithParamInterface<const char*> {};

TEST_P(FileFetchingWithWrongCheck, AsksForThePacketAgain) {
    offer({"1", "0", "313233343536373839", GetParam()});
    offer({"1", "0", "313233343536373839", "31c3"});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "313233343536373839"}));
    EXPECT_THAT(newBodies(), ElementsAre(fetchBody(0), fetchBody(0)));
    EXPECT_THAT(newLines(), Contains(std::string("1 pda return crc error:") + GetParam()));
    EXPECT_EQ(m_SeqNo, 2);
}

INSTANTIATE_TEST_SUITE_P(Of, FileFetchingWithWrongCheck,
                         testing::Values("31C3", "31c4", "0000", "", "31c", "031c3", "31c3 ", "0x31c3",
                                         "%s%n"));

TEST_F(FileFetching, AsksForAPacketWithoutACheckAgain) {
    answer("8016", tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "0") +
                       tag("Ex_HexVal", "3132"));
    offer(1, 0, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_THAT(newLines(), Contains("1 pda return crc error:"));
}

TEST_F(FileFetching, AsksForALaterPacketAgainToo) {
    const std::string text = digits(6010);
    const std::vector<std::string> packets = packetsOf(text);
    offer(3, 0, packets[0]);
    offer({"3", "1", packets[1], "zzzz"});
    offer(3, 1, packets[1]);
    offer({"3", "2", packets[2], "ZZZZ"});
    offer(3, 2, packets[2]);
    EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
    EXPECT_THAT(newBodies(),
                ElementsAre(fetchBody(0), fetchBody(1), fetchBody(1), fetchBody(2), fetchBody(2)));
}

TEST_F(FileFetching, AsksForThePacketOfAWrongCheckByItsOwnNumber) {
    offer({"9", "7", "3132", "zzzz"});
    offer(8, 7, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_THAT(newBodies(), ElementsAre(fetchBody(0), fetchBody(7)));
}

TEST_F(FileFetching, EndsWithTheTerminalsRefusal) {
    refuseToSend("000003");
    EXPECT_EQ(fetch(), (Transfer{0, "000003", ""}));
    EXPECT_THAT(newBodies(), ElementsAre(fetchBody(0)));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileFetching, EndsWithARefusalInTheMiddleWithoutData) {
    offer(3, 0, digits(3000));
    offer(3, 1, digits(3000));
    refuseToSend("000017");
    EXPECT_EQ(fetch(), (Transfer{0, "000017", ""}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 2));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileFetching, EndsWithARefusalWhateverElseTheReplyHolds) {
    answer("8016", tag("Ex_RetCode", "000001") + tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "-1") +
                       tag("Ex_HexVal", "3132") + tag("Ex_HexCheck", check("3132")));
    EXPECT_EQ(fetch(), (Transfer{0, "000001", ""}));
}

TEST_F(FileFetching, EndsWithAReplyWithoutACodeLeavingBothOutputs) {
    answer("8016", tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "0") + tag("Ex_HexVal", "3132") +
                       tag("Ex_HexCheck", check("3132")));
    EXPECT_EQ(fetch(), (Transfer{0, "", ""}));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileFetching, EndsWithACodeThatOnlyLooksLikeSuccess) {
    for (const std::string code : {"0", "0000000", " 000000", "000000 "}) {
        refuseToSend(code);
        EXPECT_EQ(fetch(), (Transfer{0, code, ""}));
    }
}

TEST_F(FileFetching, LogsEachPacketsExchange) {
    offerWhole(digits(3010));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", digits(3010)}));
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

TEST_F(FileFetching, LowersTheTaskFlagBetweenPackets) {
    offerWhole(digits(6010));
    const TaskFlagWatch watch;
    EXPECT_EQ(fetch(), (Transfer{0, "000000", digits(6010)}));
    EXPECT_EQ(TaskFlagWatch::seen(), "010101");
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileFetching, LowersTheTaskFlagAfterAPacketThatWasThereToo) {
    offer(2, 0, "3132");
    offer(2, 0, "3132");
    offer(2, 1, "3334");
    const TaskFlagWatch watch;
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "31323334"}));
    EXPECT_EQ(TaskFlagWatch::seen(), "010101");
}

TEST_F(FileFetching, KeepsTheTaskFlagUpWhileItAsksForAPacketAgain) {
    offer({"1", "0", "3132", "zzzz"});
    answerWith("8016", reply("8015", ""));
    offer(1, 0, "3132");
    const TaskFlagWatch watch;
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_EQ(TaskFlagWatch::seen(), "01");
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileFetching, OpensTheChannel) {
    stopChannel();
    offer(1, 0, "3132");
    EXPECT_GE(timeOf([this] {
                  EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
              }),
              kOpeningWait + kPromptWait);
}

TEST_F(FileFetching, TakesNullInputsForEmptyOnesAndSkipsNullOutputs) {
    offer(1, 0, "3132");
    EXPECT_EQ(analyser().ReceiveDataSaveToFile(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_PdaSn></Ex_PdaSn><Ex_CmdEx>0</Ex_CmdEx><Ex_InfEx></Ex_InfEx>"
                         "<Ex_CurPkt>0</Ex_CurPkt>");
    refuseToSend("000001");
    EXPECT_EQ(analyser().ReceiveDataSaveToFile(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(FileFetching, RemembersNothingOfTheFileBefore) {
    offer(3, 0, "3132");
    offer(3, 1, "3334");
    refuseToSend("000017");
    EXPECT_EQ(fetch(), (Transfer{0, "000017", ""}));
    offer(2, 1, "3536");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3536"}));
}

} // namespace
