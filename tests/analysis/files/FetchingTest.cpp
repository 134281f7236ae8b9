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

TEST_F(FileFetching, AsksForEachPacketAndJoinsThem) {
    offer({"1", "0", "313233343536373839", "31c3"});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "313233343536373839"}));
    EXPECT_EQ(newMaskedMessage(), maskedMessage("8016", "0001",
                                                "<Ex_PdaSn>00000007</Ex_PdaSn><Ex_CmdEx>3</Ex_CmdEx>"
                                                "<Ex_InfEx>about it</Ex_InfEx><Ex_CurPkt>0</Ex_CurPkt>"));
    newBodies();
    for (const std::size_t length : {1U, 9U, 10U, 2999U, 3000U, 3001U, 6000U, 6001U}) {
        SCOPED_TRACE(length);
        const std::string text = digits(length);
        offerWhole(text);
        EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
        std::vector<std::string> expected;
        for (int i = 0; i < static_cast<int>(packetsOf(text).size()); ++i) {
            expected.push_back(fetchBody(i));
        }
        EXPECT_EQ(newBodies(), expected);
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
    EXPECT_EQ(m_SeqNo, 13);
}

TEST_F(FileFetching, TakesPacketsOfAnyLengths) {
    const std::string text = digits(3600);
    offer(3, 0, text.substr(0, 1));
    offer(3, 1, text.substr(1, 3500));
    offer(3, 2, text.substr(3501));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
    offer({"2", "0", "", "0000"});
    offer({"2", "1", "3132", check("3132")});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    offer({"1", "0", "", "0000"});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", ""}));
    const std::string packet = tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "0");
    answer("8016", packet + tag("Ex_HexCheck", "0000"));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", ""})) << "without a text";
    const std::string manyReports = digits(20000);
    answerAtLength("8016", packet + tag("Ex_HexVal", manyReports) + tag("Ex_HexCheck", check(manyReports)));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", manyReports}));
}

TEST_F(FileFetching, GivesTextsAsTheyCame) {
    for (const std::string text :
         {"no digit at all", "3132zz34", "终端é", "<b>&amp;</b> %s", "6a6B6c6D6E6f"}) {
        offer({"1", "0", text, check(text)});
        EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
    }
    // The last digit of an odd packet is left out of the check.
    offer({"1", "0", "313233343536373839f", "31c3"});
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "313233343536373839f"}));
    answer("8016", tag("Ex_HexCheck", "31c3") + tag("Ex_HexVal", "313233343536373839") +
                       tag("Ex_CurPkt", "0") + tag("Ex_TotalPkt", "1") + tag("Ex_RetCode", "000000"));
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "313233343536373839"})) << "in another order";
}

TEST_F(FileFetching, AsksForAPacketWithAWrongCheckAgain) {
    for (const std::string wrong : {"31C3", "31c4", "0000", "", "31c", "031c3", "31c3 ", "0x31c3", "%s%n"}) {
        SCOPED_TRACE(wrong);
        newLines();
        offer({"1", "0", "313233343536373839", wrong});
        offer({"1", "0", "313233343536373839", "31c3"});
        EXPECT_EQ(fetch(), (Transfer{0, "000000", "313233343536373839"}));
        EXPECT_THAT(newBodies(), ElementsAre(fetchBody(0), fetchBody(0)));
        EXPECT_THAT(newLines(), Contains("1 pda return crc error:" + wrong));
    }
    answer("8016", tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "0") +
                       tag("Ex_HexVal", "3132"));
    offer(1, 0, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_THAT(newLines(), Contains("1 pda return crc error:")) << "without a check";
}

TEST_F(FileFetching, AsksForALaterPacketAgainByItsOwnNumber) {
    const std::string text = digits(6010);
    const std::vector<std::string> packets = packetsOf(text);
    offer(3, 0, packets[0]);
    offer({"3", "1", packets[1], "zzzz"});
    offer(3, 1, packets[1]);
    offer({"3", "2", packets[2], "ZZZZ"});
    offer(3, 2, packets[2]);
    EXPECT_EQ(fetch(), (Transfer{0, "000000", text}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 1, 2, 2));
    offer({"9", "7", "3132", "zzzz"});
    offer(8, 7, "3132");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3132"}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 7));
}

TEST_F(FileFetching, EndsWithTheTerminalsRefusal) {
    // Some only look like success.
    for (const std::string code : {"000003", "0", "0000000", " 000000", "000000 "}) {
        refuseToSend(code);
        EXPECT_EQ(fetch(), (Transfer{0, code, ""}));
        EXPECT_THAT(newBodies(), ElementsAre(fetchBody(0)));
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
    const std::string rest = tag("Ex_TotalPkt", "1") + tag("Ex_CurPkt", "-1") + tag("Ex_HexVal", "3132") +
                             tag("Ex_HexCheck", check("3132"));
    answer("8016", tag("Ex_RetCode", "000001") + rest);
    EXPECT_EQ(fetch(), (Transfer{0, "000001", ""})) << "whatever else the reply holds";
    answer("8016", rest);
    EXPECT_EQ(fetch(), (Transfer{0, "", ""})) << "without a code both outputs are left alone";
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileFetching, EndsWithARefusalInTheMiddleWithoutDataAndRemembersNothing) {
    offer(3, 0, digits(3000));
    offer(3, 1, digits(3000));
    refuseToSend("000017");
    EXPECT_EQ(fetch(), (Transfer{0, "000017", ""}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 1, 2));
    EXPECT_EQ(m_PerformTasksYN, 0);
    offer(2, 1, "3536");
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "3536"}));
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
    offer(2, 0, "3132");
    offer(2, 0, "3132");
    offer(2, 1, "3334");
    const TaskFlagWatch another;
    EXPECT_EQ(fetch(), (Transfer{0, "000000", "31323334"}));
    EXPECT_EQ(TaskFlagWatch::seen(), "010101") << "a packet that was there counts too";
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

} // namespace
