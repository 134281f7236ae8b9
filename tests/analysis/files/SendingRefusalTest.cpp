#include "FileFixture.h"

#include <algorithm>

namespace {

using testing::ElementsAre;

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
    void refuseThreeTimes() {
        for (const char* code : {"000101", "000102", "000103"}) {
            refuse(code);
        }
    }
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
    refuseThreeTimes();
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
    refuseThreeTimes();
    HostText text(digits(6010));
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text, nullptr), 6);
}

} // namespace
