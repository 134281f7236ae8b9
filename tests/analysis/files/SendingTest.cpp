#include "FileFixture.h"

#include <algorithm>
#include <limits>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Files on their way to the terminal.
class FileSending : public FileTest {
protected:
    /// The only packet of a text that is sent: its check.
    std::string checkSentWith(const std::string& text) {
        accept();
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
    accept();
    EXPECT_EQ(send("0123456789"), (Transfer{0, "000000", ""}));
    EXPECT_EQ(newMaskedMessage(), maskedMessage("8015", "0001",
                                                "<Ex_PdaSn>00000007</Ex_PdaSn><Ex_CmdEx>3</Ex_CmdEx>"
                                                "<Ex_InfoEx>about it</Ex_InfoEx><Ex_TotalPkt>1</Ex_TotalPkt>"
                                                "<Ex_CurPkt>0</Ex_CurPkt><Ex_HexVal>0123456789</Ex_HexVal>"
                                                "<Ex_HexCheck>6282</Ex_HexCheck>"));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSending, OfNineCharactersOrFewerIsRefused) {
    stopChannel();
    newLines();
    for (const std::string text : {"123456789", "", "终端终端终端终端终"}) {
        m_PerformTasksYN = 1;
        EXPECT_LT(timeOf([&] { EXPECT_EQ(send(text), (Transfer{5, "", ""})); }), kOpeningWait);
        EXPECT_THAT(newLines(), ElementsAre("1 [ReadFileDataToPDA] begin", "1 file is too short:" + text));
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
    m_PerformTasksYN = 1;
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, nullptr, nullptr), 5);
    EXPECT_THAT(newLines(), ElementsAre("1 [ReadFileDataToPDA] begin", "1 file is too short:"));
    EXPECT_EQ(m_PerformTasksYN, 0);
    EXPECT_THAT(newBodies(), IsEmpty());
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(terminal().openDescriptors(), 0) << "the channel is not opened";
}

TEST_F(FileSending, OpensTheChannelOnce) {
    stopChannel();
    accept(2);
    const Milliseconds time = timeOf([this] { EXPECT_EQ(send(digits(3001)), (Transfer{0, "000000", ""})); });
    EXPECT_GE(time, kOpeningWait + 2 * kPromptWait);
    const std::vector<std::string> lines = newLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "4 openHidDevice port: /dev/hidraw0"), 1);
}

TEST_F(FileSending, CutsTheTextIntoPacketsOf3000AndTheRest) {
    for (const std::size_t length : {10U, 11U, 2999U, 3000U, 3001U, 5999U, 6000U, 6001U, 12000U}) {
        SCOPED_TRACE(length);
        const std::string text = digits(length);
        const std::vector<std::string> packets = packetsOf(text);
        const int total = static_cast<int>(packets.size());
        const int before = m_SeqNo;
        accept(packets.size());
        EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
        std::vector<std::string> expected;
        expected.reserve(packets.size());
        for (const std::string& packet : packets) {
            expected.push_back(sendBody(packet, total, static_cast<int>(expected.size())));
        }
        EXPECT_EQ(newBodies(), expected);
        EXPECT_EQ(m_SeqNo, before + total);
        EXPECT_EQ(m_PerformTasksYN, 0);
    }
}

TEST_F(FileSending, ProtectsAPacketByTheCrcOfItsBytes) {
    EXPECT_EQ(checkSentWith("313233343536373839"), "31c3"); // the bytes "123456789"
    EXPECT_EQ(checkSentWith("3132333435363738390"), "31c3") << "the last digit of an odd packet is left out";
    EXPECT_EQ(checkSentWith("313233343536373839f"), "31c3");
    EXPECT_EQ(checkSentWith("0000000000"), "0000");
    EXPECT_EQ(checkSentWith("0000000001"), "1021");
    EXPECT_EQ(checkSentWith("6a6B6c6D6e6F"), checkSentWith("6A6b6c6d6E6f"));
    EXPECT_EQ(checkSentWith("31323334zz3535"), checkSentWith("31323334000000"));
    EXPECT_EQ(checkSentWith("no digit at all"), "0000");
    EXPECT_EQ(checkSentWith("3132333435终端终端"), check("3132333435zzzz")); // characters count: seven bytes
}

TEST_F(FileSending, SendsWhateverTheTextHolds) {
    for (const std::string text : {"<Ex_CurPkt>9</Ex_CurPkt> %s\r\n\"\\", "abcdefABCDEF", "a123456789"}) {
        accept();
        EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
        EXPECT_THAT(newBodies(), ElementsAre(sendBody(text, 1, 0)));
    }
}

TEST_F(FileSending, CutsBetweenCharactersAsTheLengthFieldCountsThem) {
    const auto repeated = [](const std::string& piece, int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += piece;
        }
        return text;
    };
    const std::string telephone = "\xF0\x9F\x93\xA0"; // two characters for Qt
    const std::string replacement = "\xEF\xBF\xBD";
    struct Text {
        std::string text, first, second;
    };
    for (const Text& each : {Text{repeated("é终", 1500) + "é", repeated("é终", 1500), "é"},
                             Text{repeated(telephone, 1501), repeated(telephone, 1500), telephone},
                             Text{std::string(3001, '\xE4'), repeated(replacement, 3000), replacement}}) {
        accept(2);
        EXPECT_EQ(send(each.text), (Transfer{0, "000000", ""}));
        EXPECT_EQ(newBodies(),
                  (std::vector<std::string>{sendBody(each.first, 2, 0), sendBody(each.second, 2, 1)}));
    }
}

TEST_F(FileSending, TearsNoCharacterApart) {
    std::string text = "a"; // puts the packet's end into the middle of a character
    for (int i = 0; i < 1500; ++i) {
        text += "\xF0\x9F\x93\xA0";
    }
    accept(2);
    EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
    EXPECT_EQ(newBodies(), (std::vector<std::string>{sendBody(text.substr(0, 5997), 2, 0),
                                                     sendBody(text.substr(5997), 2, 1)}));
    EXPECT_EQ(terminal().takeViolations().size(), 1U); // a packet of 2999 characters that is not the last
}

TEST_F(FileSending, NumbersItsMessages) {
    m_SeqNo = 9998;
    accept(3);
    EXPECT_EQ(send(digits(6001)), (Transfer{0, "000000", ""}));
    const std::vector<std::string> received = terminal().received();
    ASSERT_EQ(received.size(), 3U);
    EXPECT_NE(received[0].find("<Ex_SeqNo>9999</Ex_SeqNo>"), std::string::npos);
    EXPECT_NE(received[1].find("<Ex_SeqNo>10000</Ex_SeqNo>"), std::string::npos);
    EXPECT_NE(received[2].find("<Ex_SeqNo>10001</Ex_SeqNo>"), std::string::npos);
}

TEST_F(FileSending, LogsEachPacketsExchange) {
    accept(2);
    EXPECT_EQ(send(digits(3010)), (Transfer{0, "000000", ""}));
    const std::vector<std::string> sent = terminal().received();
    ASSERT_EQ(sent.size(), 2U);
    const std::string acceptance = reply("8015", tag("Ex_RetCode", "000000"));
    std::vector<std::string> expected{"1 [ReadFileDataToPDA] begin"};
    for (const std::string& message : sent) {
        expected.push_back("4 600015 SendData pre: " + message);
        expected.push_back("4 Write XML: " + message + " sendLen:" + std::to_string(message.size()));
        expected.push_back("4 HID Read XML: " + acceptance);
        expected.emplace_back("1 Xml Type:8015 len:4");
    }
    EXPECT_EQ(newLines(), expected);
}

TEST_F(FileSending, LowersTheTaskFlagBetweenPackets) {
    accept(3);
    const TaskFlagWatch watch;
    EXPECT_EQ(send(digits(6001)), (Transfer{0, "000000", ""}));
    EXPECT_EQ(TaskFlagWatch::seen(), "010101");
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSending, SendsAnyCommandAndInformation) {
    const std::string packet = "<Ex_TotalPkt>1</Ex_TotalPkt><Ex_CurPkt>0</Ex_CurPkt>"
                               "<Ex_HexVal>0123456789</Ex_HexVal><Ex_HexCheck>6282</Ex_HexCheck>";
    HostText text("0123456789");
    accept();
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text, nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_PdaSn></Ex_PdaSn><Ex_CmdEx>0</Ex_CmdEx><Ex_InfoEx></Ex_InfoEx>" + packet);
    accept();
    HostText information("<b>é</b> %d");
    HostText pdaNumber("终端");
    int command = std::numeric_limits<int>::min();
    EXPECT_EQ(analyser().ReadFileDataToPDA(pdaNumber, &command, information, text, nullptr), 0);
    EXPECT_EQ(newBody(), "<Ex_PdaSn>终端</Ex_PdaSn><Ex_CmdEx>-2147483648</Ex_CmdEx>"
                         "<Ex_InfoEx><b>é</b> %d</Ex_InfoEx>" +
                             packet);
}

TEST_F(FileSending, LeavesTheHostsTextAsItIs) {
    accept(2);
    const std::string original = digits(3001);
    std::string text = original;
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text.data(), nullptr), 0);
    EXPECT_EQ(text, original);
}

} // namespace
