#include "FileFixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

const std::string kGivenUp = "1 data send error. already send:3 times";

/// What becomes of a file when the terminal refuses packets of it.
struct Course {
    const char* name;
    int packets;
    /// What the terminal says to each message: "a" agrees, "r" refuses.
    const char* verdicts;
    /// The packets sent.
    std::vector<int> sent;
    int result;
    /// Whose code the host is left with, counted from 0.
    int lastCodeOf;
};

void PrintTo(const Course& course, std::ostream* stream) {
    *stream << course.packets << " packets, " << course.verdicts;
}

class FileSendingWithRefusals : public FileTest, public testing::WithParamInterface<Course> {
protected:
    /// A code of its own for each refusal.
    static std::string codeOf(int message) {
        return GetParam().verdicts[message] == 'a' ? "000000" : "00010" + std::to_string(message);
    }
};

TEST_P(FileSendingWithRefusals, StepsBackAndEndsAfterAsManyPassesAsPackets) {
    const Course& course = GetParam();
    for (int i = 0; course.verdicts[i] != '\0'; ++i) {
        refuse(codeOf(i));
    }
    const std::string text = digits(static_cast<std::size_t>(course.packets - 1) * kPacketSize + 20);
    const std::vector<std::string> packets = packetsOf(text);
    EXPECT_EQ(send(text), (Transfer{course.result, codeOf(course.lastCodeOf), ""}));
    std::vector<std::string> expected;
    for (const int number : course.sent) {
        expected.push_back(sendBody(packets[static_cast<std::size_t>(number)], course.packets, number));
    }
    EXPECT_EQ(newBodies(), expected);
    EXPECT_EQ(m_SeqNo, static_cast<int>(course.sent.size()));
    EXPECT_EQ(m_PerformTasksYN, 0);
    if (course.result == 6) {
        EXPECT_EQ(newLines().back(), kGivenUp);
    } else {
        EXPECT_THAT(newLines(), Not(Contains(kGivenUp)));
    }
}

// The third refusal's code never reaches the host. A file of one or two packets cannot be refused three
// times.
const Course kCourses[] = {
    {"TheOnlyPacket", 1, "r", {0}, 0, 0},
    {"TheFirstOfTwo", 2, "ra", {0, 0}, 0, 1},
    {"TheSecondOfTwo", 2, "ar", {0, 1}, 0, 1},
    {"BothPassesOfTwo", 2, "rr", {0, 0}, 0, 1},
    {"TheFirstOfThree", 3, "raa", {0, 0, 1}, 0, 2},
    {"TheSecondOfThree", 3, "ara", {0, 1, 0}, 0, 2},
    {"TheLastOfThree", 3, "aar", {0, 1, 2}, 0, 2},
    {"TheFirstTwiceOfThree", 3, "rra", {0, 0, 0}, 0, 2},
    {"TheFirstAndTheLastPassOfThree", 3, "rar", {0, 0, 1}, 0, 2},
    {"TheLastTwoPassesOfThree", 3, "arr", {0, 1, 0}, 0, 2},
    {"ThreeInARowOfThree", 3, "rrr", {0, 0, 0}, 6, 1},
    {"ThreeInARowBehindTheFirst", 4, "arrr", {0, 1, 0, 0}, 6, 2},
    {"ThreeInARowBeforeTheEnd", 5, "rrraa", {0, 0, 0}, 6, 1},
    {"TwoInARowTwice", 5, "rrarr", {0, 0, 0, 1, 0}, 0, 4},
    {"ThreeInARowStepBackTwice", 5, "aarrr", {0, 1, 2, 1, 0}, 6, 3},
    {"TwoInARowAtTheEnd", 5, "aaarr", {0, 1, 2, 3, 2}, 0, 4},
    {"OneInTheMiddle", 5, "araaa", {0, 1, 0, 1, 2}, 0, 4},
    {"ThreeNotInARow", 6, "arrara", {0, 1, 0, 0, 1, 0}, 0, 5},
};

INSTANTIATE_TEST_SUITE_P(Of, FileSendingWithRefusals, testing::ValuesIn(kCourses),
                         [](const testing::TestParamInfo<Course>& info) { return info.param.name; });

/// Verdicts that are none of agreement.
class FileSendingWithOddVerdict : public FileTest, public testing::WithParamInterface<const char*> {};

TEST_P(FileSendingWithOddVerdict, IsARefusal) {
    refuse(GetParam());
    agree();
    EXPECT_EQ(send(digits(3010)).result, 0);
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0));
}

INSTANTIATE_TEST_SUITE_P(Of, FileSendingWithOddVerdict,
                         testing::Values("", "0", "00000", "0000000", " 000000", "000000 ", "00000O",
                                         "000060"));

using FileSendingRefused = FileTest;

TEST_F(FileSendingRefused, ByAReplyWithoutACodeLeavesTheCodeAsItIs) {
    answer("8015", tag("Ex_Other", "000000"));
    EXPECT_EQ(send("0123456789"), (Transfer{0, "", ""}));
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(FileSendingRefused, KeepsALongerCodesRest) {
    // Codes are copied over each other without a NUL.
    refuse("1234567890");
    agree();
    EXPECT_EQ(send(digits(3010)), (Transfer{0, "0000007890", ""}));
}

TEST_F(FileSendingRefused, ThreeTimesSkipsANullCode) {
    for (const char* code : {"000101", "000102", "000103"}) {
        refuse(code);
    }
    HostText text(digits(6010));
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text, nullptr), 6);
}

TEST_F(FileSendingRefused, ThreeTimesDoesNotCountForTheNextFile) {
    for (const char* code : {"000101", "000102", "000103"}) {
        refuse(code);
    }
    EXPECT_EQ(send(digits(6010)), (Transfer{6, "000102", ""}));
    refuse("000104");
    agree(2);
    EXPECT_EQ(send(digits(6010)), (Transfer{0, "000000", ""}));
    EXPECT_THAT(newPacketNumbers(), ElementsAre(0, 0, 0, 0, 0, 1));
}

TEST_F(FileSendingRefused, ThreeTimesLogsTheThirdReplyAndThenTheCount) {
    for (const char* code : {"000101", "000102", "000103"}) {
        refuse(code);
    }
    send(digits(6010));
    const std::vector<std::string> lines = newLines();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_THAT(std::vector<std::string>(lines.end() - 3, lines.end()),
                ElementsAre("4 HID Read XML: " + reply("8015", tag("Ex_RetCode", "000103")),
                            "1 Xml Type:8015 len:4", kGivenUp));
}

} // namespace
