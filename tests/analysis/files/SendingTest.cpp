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

TEST_F(FileSending, CutsTheTextIntoPacketsOf3000AndTheRest) {
    for (const std::size_t length : {10U, 2999U, 3000U, 3001U, 6000U, 12001U}) {
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

TEST_F(FileSending, CutsBetweenCharactersAsTheLengthFieldCountsThemAndTearsNoneApart) {
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
    for (const Text& each :
         {Text{repeated("é终", 1500) + "é", repeated("é终", 1500), "é"},
          Text{repeated(telephone, 1501), repeated(telephone, 1500), telephone},
          Text{std::string(3001, '\xE4'), repeated(replacement, 3000), replacement},
          Text{"a" + repeated(telephone, 1500), "a" + repeated(telephone, 1499), telephone}}) {
        accept(2);
        EXPECT_EQ(send(each.text), (Transfer{0, "000000", ""}));
        EXPECT_EQ(newBodies(),
                  (std::vector<std::string>{sendBody(each.first, 2, 0), sendBody(each.second, 2, 1)}));
    }
    EXPECT_EQ(terminal().takeViolations().size(), 1U); // a packet of 2999 characters that is not the last
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

TEST_F(FileSending, SendsAnyCommandInformationAndText) {
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
    accept();
    const std::string odd = "<Ex_CurPkt>9</Ex_CurPkt> %s\r\n\"\\";
    EXPECT_EQ(send(odd), (Transfer{0, "000000", ""}));
    EXPECT_EQ(newBody(), sendBody(odd, 1, 0));
}

const std::string kGivenUp = "1 data send error. already send:3 times";

/// What becomes of a file when the terminal refuses packets of it.
struct Course {
    const char* name;
    int packets;
    /// What the terminal says to each message: "a" accepts, "r" refuses.
    const char* answers;
    /// The packets sent.
    std::vector<int> sent;
    int result;
    /// Whose code the host is left with, counted from 0.
    int lastCodeOf;
};

// The third refusal's code never reaches the host. A file of one or two packets cannot be refused three
// times.
const Course kCourses[] = {
    {"the only packet", 1, "r", {0}, 0, 0},
    {"the first of two", 2, "ra", {0, 0}, 0, 1},
    {"the second of two", 2, "ar", {0, 1}, 0, 1},
    {"both passes of two", 2, "rr", {0, 0}, 0, 1},
    {"the first of three", 3, "raa", {0, 0, 1}, 0, 2},
    {"the second of three", 3, "ara", {0, 1, 0}, 0, 2},
    {"the last of three", 3, "aar", {0, 1, 2}, 0, 2},
    {"the first twice of three", 3, "rra", {0, 0, 0}, 0, 2},
    {"the first and the last pass of three", 3, "rar", {0, 0, 1}, 0, 2},
    {"the last two passes of three", 3, "arr", {0, 1, 0}, 0, 2},
    {"three in a row of three", 3, "rrr", {0, 0, 0}, 6, 1},
    {"three in a row after the first", 4, "arrr", {0, 1, 0, 0}, 6, 2},
    {"three in a row before the end", 5, "rrraa", {0, 0, 0}, 6, 1},
    {"two in a row twice", 5, "rrarr", {0, 0, 0, 1, 0}, 0, 4},
    {"three in a row step back twice", 5, "aarrr", {0, 1, 2, 1, 0}, 6, 3},
    {"two in a row at the end", 5, "aaarr", {0, 1, 2, 3, 2}, 0, 4},
    {"one in the middle", 5, "araaa", {0, 1, 0, 1, 2}, 0, 4},
    {"three not in a row", 6, "arrara", {0, 1, 0, 0, 1, 0}, 0, 5},
};

class FileSendingRefused : public FileTest {
protected:
    void expectCourse(const Course& course);
};

void FileSendingRefused::expectCourse(const Course& course) {
    // A code of its own for each refusal.
    const auto codeOf = [&course](int message) {
        return course.answers[message] == 'a' ? "000000" : "00010" + std::to_string(message);
    };
    for (int i = 0; course.answers[i] != '\0'; ++i) {
        refuse(codeOf(i));
    }
    const std::string text = digits(static_cast<std::size_t>(course.packets - 1) * kPacketSize + 20);
    const std::vector<std::string> packets = packetsOf(text);
    const int before = m_SeqNo;
    EXPECT_EQ(send(text), (Transfer{course.result, codeOf(course.lastCodeOf), ""}));
    std::vector<std::string> expected;
    for (const int number : course.sent) {
        expected.push_back(sendBody(packets[static_cast<std::size_t>(number)], course.packets, number));
    }
    EXPECT_EQ(newBodies(), expected);
    EXPECT_EQ(m_SeqNo, before + static_cast<int>(course.sent.size()));
    EXPECT_EQ(m_PerformTasksYN, 0);
    const std::vector<std::string> lines = newLines();
    EXPECT_EQ(lines.back() == kGivenUp, course.result == 6);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), kGivenUp), course.result == 6 ? 1 : 0);
    terminal().clearFaults(); // the replies to packets that are not sent any more
}

TEST_F(FileSendingRefused, StepsBackAndEndsAfterAsManyPassesAsPackets) {
    for (const Course& course : kCourses) {
        SCOPED_TRACE(course.name);
        expectCourse(course);
    }
}

TEST_F(FileSendingRefused, ByAnyCodeButSixZeros) {
    for (const char* code : {"", "0", "00000", "0000000", " 000000", "000000 ", "00000O", "000060"}) {
        SCOPED_TRACE(code);
        refuse(code);
        accept();
        EXPECT_EQ(send(digits(3010)).result, 0);
        EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0));
    }
    answer("8015", tag("Ex_Other", "000000"));
    EXPECT_EQ(send("0123456789"), (Transfer{0, "", ""})) << "without a code the host's is left alone";
    EXPECT_EQ(m_PerformTasksYN, 0);
    // Codes are copied over each other without a NUL.
    refuse("1234567890");
    accept();
    EXPECT_EQ(send(digits(3010)), (Transfer{0, "0000007890", ""}));
}

TEST_F(FileSendingRefused, ThreeTimesLogsTheThirdReplyAndTheCountAndIsForgotten) {
    for (const char* code : {"000101", "000102", "000103"}) {
        refuse(code);
    }
    EXPECT_EQ(send(digits(6010)), (Transfer{6, "000102", ""}));
    const std::vector<std::string> lines = newLines();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_THAT(std::vector<std::string>(lines.end() - 3, lines.end()),
                ElementsAre("4 HID Read XML: " + reply("8015", tag("Ex_RetCode", "000103")),
                            "1 Xml Type:8015 len:4", kGivenUp));
    refuse("000104");
    accept(2);
    EXPECT_EQ(send(digits(6010)), (Transfer{0, "000000", ""}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0, 0, 0, 1));
}

} // namespace
