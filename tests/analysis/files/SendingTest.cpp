#include "FileFixture.h"

#include <algorithm>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// Files on their way to the terminal.
class FileSending : public FileTest {
protected:
    /// The only packet of a text that is sent: its check.
    std::string checkSentWith(const std::string& text) {
        agree();
        EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
        const std::vector<std::string> bodies = newBodies();
        EXPECT_EQ(bodies.size(), 1U);
        const std::string opening = "<Ex_HexCheck>";
        const std::size_t start = bodies.at(0).find(opening);
        EXPECT_NE(start, std::string::npos);
        return bodies.at(0).substr(start + opening.size(), 4);
    }
};

TEST_F(FileSending, OfOnePacketIsOneMessage) {
    agree();
    EXPECT_EQ(send("0123456789"), (Transfer{0, "000000", ""}));
    EXPECT_EQ(newMaskedMessage(), maskedMessage("8015", "0001",
                                                "<Ex_PdaSn>00000007</Ex_PdaSn><Ex_CmdEx>3</Ex_CmdEx>"
                                                "<Ex_InfoEx>about it</Ex_InfoEx><Ex_TotalPkt>1</Ex_TotalPkt>"
                                                "<Ex_CurPkt>0</Ex_CurPkt><Ex_HexVal>0123456789</Ex_HexVal>"
                                                "<Ex_HexCheck>6282</Ex_HexCheck>"));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSending, OfTenCharactersIsDone) {
    agree();
    EXPECT_EQ(send("a123456789"), (Transfer{0, "000000", ""}));
    EXPECT_THAT(newBodies(), ElementsAre(sendBody("a123456789", 1, 0)));
}

TEST_F(FileSending, OfNineCharactersIsRefused) {
    m_PerformTasksYN = 1;
    EXPECT_EQ(send("123456789"), (Transfer{5, "", ""}));
    EXPECT_THAT(newLines(), ElementsAre("1 [ReadFileDataToPDA] begin", "1 file is too short:123456789"));
    EXPECT_THAT(newBodies(), IsEmpty());
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSending, OfNothingIsRefused) {
    EXPECT_EQ(send(""), (Transfer{5, "", ""}));
    EXPECT_THAT(newLines(), ElementsAre("1 [ReadFileDataToPDA] begin", "1 file is too short:"));
    EXPECT_THAT(newBodies(), IsEmpty());
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSending, OfNullIsRefusedAsNothing) {
    m_PerformTasksYN = 1;
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, nullptr, nullptr), 5);
    EXPECT_THAT(newLines(), ElementsAre("1 [ReadFileDataToPDA] begin", "1 file is too short:"));
    EXPECT_THAT(newBodies(), IsEmpty());
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSending, OfNineCharactersOfManyBytesIsRefusedToo) {
    EXPECT_EQ(send("终端终端终端终端终"), (Transfer{5, "", ""}));
    EXPECT_THAT(newLines(), Contains("1 file is too short:终端终端终端终端终"));
}

TEST_F(FileSending, OfAShortTextDoesNotOpenTheChannel) {
    stopChannel();
    EXPECT_LT(timeOf([this] { EXPECT_EQ(send("123456789"), (Transfer{5, "", ""})); }), kOpeningWait);
    EXPECT_EQ(terminal().openDescriptors(), 0);
}

TEST_F(FileSending, OpensTheChannelOnce) {
    stopChannel();
    agree(2);
    const Milliseconds time = timeOf([this] { EXPECT_EQ(send(digits(3001)), (Transfer{0, "000000", ""})); });
    EXPECT_GE(time, kOpeningWait + 2 * kPromptWait);
    const std::vector<std::string> lines = newLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "4 openHidDevice port: /dev/hidraw0"), 1);
}

TEST_F(FileSending, Of3001CharactersMakesTwoPackets) {
    const std::string text = digits(3001);
    agree(2);
    EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
    EXPECT_THAT(newBodies(),
                ElementsAre(sendBody(text.substr(0, 3000), 2, 0), sendBody(text.substr(3000), 2, 1)));
}

/// Texts of one length.
class FileSendingOfLength : public FileTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(FileSendingOfLength, CutsItIntoPacketsOf3000AndTheRest) {
    const std::string text = digits(GetParam());
    const std::vector<std::string> packets = packetsOf(text);
    const int total = static_cast<int>(packets.size());
    agree(packets.size());
    EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
    std::vector<std::string> expected;
    expected.reserve(packets.size());
    for (const std::string& packet : packets) {
        expected.push_back(sendBody(packet, total, static_cast<int>(expected.size())));
    }
    EXPECT_EQ(newBodies(), expected);
    EXPECT_EQ(m_SeqNo, total);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

INSTANTIATE_TEST_SUITE_P(Characters, FileSendingOfLength,
                         testing::Values(10, 11, 2999, 3000, 3001, 5999, 6000, 6001, 12000));

TEST_F(FileSending, ProtectsAPacketByItsCrc) {
    EXPECT_EQ(checkSentWith("313233343536373839"), "31c3"); // the bytes "123456789"
}

TEST_F(FileSending, LeavesTheLastDigitOfAnOddPacketOut) {
    EXPECT_EQ(checkSentWith("3132333435363738390"), "31c3");
    EXPECT_EQ(checkSentWith("313233343536373839f"), "31c3");
}

TEST_F(FileSending, PrintsACheckOfFourDigits) {
    EXPECT_EQ(checkSentWith("0000000000"), "0000");
    EXPECT_EQ(checkSentWith("0000000001"), "1021");
}

TEST_F(FileSending, SendsDigitsOfEitherCaseAsTheyAre) {
    agree();
    EXPECT_EQ(send("abcdefABCDEF"), (Transfer{0, "000000", ""}));
    EXPECT_THAT(newBodies(), ElementsAre(sendBody("abcdefABCDEF", 1, 0)));
    EXPECT_EQ(checkSentWith("6a6B6c6D6e6F"), checkSentWith("6A6b6C6d6E6f"));
}

TEST_F(FileSending, CountsBytesThatAreNotInTheTextAsZero) {
    EXPECT_EQ(checkSentWith("31323334zz3535"), checkSentWith("31323334000000"));
    EXPECT_EQ(checkSentWith("no digit at all"), "0000");
}

TEST_F(FileSending, SendsWhateverTheTextHolds) {
    const std::string text = "<Ex_CurPkt>9</Ex_CurPkt> %s\r\n\"\\";
    agree();
    EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
    EXPECT_THAT(newBodies(), ElementsAre(sendBody(text, 1, 0)));
}

TEST_F(FileSending, CutsBetweenCharactersOfManyBytes) {
    std::string text;
    for (int i = 0; i < 3001; ++i) {
        text += i % 2 == 0 ? "é" : "终"; // two and three bytes
    }
    agree(2);
    EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
    EXPECT_THAT(newBodies(), ElementsAre(sendBody(text.substr(0, 7500), 2, 0), sendBody("é", 2, 1)));
}

TEST_F(FileSending, CountsCharactersNotBytesForTheCheck) {
    EXPECT_EQ(checkSentWith("3132333435终端终端"), check("3132333435zzzz")); // seven bytes
}

TEST_F(FileSending, CountsCharactersAsTheLengthFieldDoes) {
    const std::string telephone = "\xF0\x9F\x93\xA0"; // two characters for Qt
    std::string text;
    for (int i = 0; i < 1501; ++i) {
        text += telephone;
    }
    agree(2);
    EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
    EXPECT_EQ(newBodies(),
              (std::vector<std::string>{sendBody(text.substr(0, 6000), 2, 0), sendBody(telephone, 2, 1)}));
}

TEST_F(FileSending, TearsNoCharacterApart) {
    std::string text = "a"; // puts the packet's end into the middle of a character
    for (int i = 0; i < 1500; ++i) {
        text += "\xF0\x9F\x93\xA0";
    }
    agree(2);
    EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
    EXPECT_EQ(newBodies(), (std::vector<std::string>{sendBody(text.substr(0, 5997), 2, 0),
                                                     sendBody(text.substr(5997), 2, 1)}));
    EXPECT_EQ(terminal().takeViolations().size(), 1U); // a packet of 2999 characters that is not the last
}

TEST_F(FileSending, CutsBytesThatAreNoUtf8OneByOne) {
    agree(2);
    EXPECT_EQ(send(std::string(3001, '\xE4')), (Transfer{0, "000000", ""}));
    std::string packet;
    for (int i = 0; i < 3000; ++i) {
        packet += "\xEF\xBF\xBD";
    }
    EXPECT_EQ(newBodies(),
              (std::vector<std::string>{sendBody(packet, 2, 0), sendBody("\xEF\xBF\xBD", 2, 1)}));
}

TEST_F(FileSending, NumbersItsMessages) {
    m_SeqNo = 9998;
    agree(3);
    EXPECT_EQ(send(digits(6001)), (Transfer{0, "000000", ""}));
    const std::vector<std::string> received = terminal().received();
    ASSERT_EQ(received.size(), 3U);
    EXPECT_NE(received[0].find("<Ex_SeqNo>9999</Ex_SeqNo>"), std::string::npos);
    EXPECT_NE(received[1].find("<Ex_SeqNo>10000</Ex_SeqNo>"), std::string::npos);
    EXPECT_NE(received[2].find("<Ex_SeqNo>10001</Ex_SeqNo>"), std::string::npos);
}

TEST_F(FileSending, LogsEachPacketsExchange) {
    agree(2);
    EXPECT_EQ(send(digits(3010)), (Transfer{0, "000000", ""}));
    const std::vector<std::string> sent = terminal().received();
    ASSERT_EQ(sent.size(), 2U);
    const std::string agreement = reply("8015", tag("Ex_RetCode", "000000"));
    std::vector<std::string> expected{"1 [ReadFileDataToPDA] begin"};
    for (const std::string& message : sent) {
        expected.push_back("4 600015 SendData pre: " + message);
        expected.push_back("4 Write XML: " + message + " sendLen:" + std::to_string(message.size()));
        expected.push_back("4 HID Read XML: " + agreement);
        expected.emplace_back("1 Xml Type:8015 len:4");
    }
    EXPECT_EQ(newLines(), expected);
}

TEST_F(FileSending, LowersTheTaskFlagBetweenPackets) {
    agree(3);
    const TaskFlagWatch watch;
    EXPECT_EQ(send(digits(6001)), (Transfer{0, "000000", ""}));
    EXPECT_EQ(TaskFlagWatch::seen(), "010101");
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSending, TakesNullInputsForEmptyOnes) {
    agree();
    HostText text("0123456789");
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text, nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_PdaSn></Ex_PdaSn><Ex_CmdEx>0</Ex_CmdEx><Ex_InfoEx></Ex_InfoEx>"
                         "<Ex_TotalPkt>1</Ex_TotalPkt><Ex_CurPkt>0</Ex_CurPkt>"
                         "<Ex_HexVal>0123456789</Ex_HexVal><Ex_HexCheck>6282</Ex_HexCheck>");
}

TEST_F(FileSending, SendsAnyCommandAndInformation) {
    agree();
    HostText text("0123456789");
    HostText information("<b>é</b> %d");
    HostText pdaNumber("终端");
    int command = -2147483647 - 1;
    EXPECT_EQ(analyser().ReadFileDataToPDA(pdaNumber, &command, information, text, nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_PdaSn>终端</Ex_PdaSn><Ex_CmdEx>-2147483648</Ex_CmdEx>"
                         "<Ex_InfoEx><b>é</b> %d</Ex_InfoEx>"
                         "<Ex_TotalPkt>1</Ex_TotalPkt><Ex_CurPkt>0</Ex_CurPkt>"
                         "<Ex_HexVal>0123456789</Ex_HexVal><Ex_HexCheck>6282</Ex_HexCheck>");
}

TEST_F(FileSending, LeavesTheHostsTextAsItIs) {
    agree(2);
    const std::string original = digits(3001);
    std::string text = original;
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text.data(), nullptr), 0);
    EXPECT_EQ(text, original);
}

} // namespace
