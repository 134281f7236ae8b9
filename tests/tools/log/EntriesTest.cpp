#include "LogLines.h"
#include "Outcomes.h"

#include "log/Entries.h"
#include "log/Time.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace pdactl::log::test {

namespace {

using Strings = std::vector<std::string>;

Strings textsOf(const std::string& log) {
    Strings texts;
    for (const Entry& entry : readEntries(log)) {
        texts.push_back(entry.text);
    }
    return texts;
}

const std::string kImitation = stamp(7) + R"(MESSAGE  : inJson4:{"transCode":"600002"} inLen:22)";

TEST(Entries, HaveTimeLevelAndText) {
    LogText log;
    log.step("one").after(250).error("two").warning("three").info("");
    const std::vector<Entry> entries = readEntries(log.text());
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_EQ(entries[0].level, Level::Message);
    EXPECT_EQ(entries[0].text, "one");
    EXPECT_EQ(formatTime(entries[0].time), "2026-01-02 03:04:05.000");
    EXPECT_EQ(entries[1].level, Level::Error);
    EXPECT_EQ(entries[1].time - entries[0].time, 250);
    EXPECT_EQ(entries[2].level, Level::Warning);
    EXPECT_EQ(entries[3].level, Level::Info);
    EXPECT_EQ(entries[3].text, "");
    EXPECT_EQ(bytesOf(entries), log.text());
}

TEST(Entries, BeginWithAStampThatIsATimeAtTheBeginningOfALine) {
    for (const char* wrong :
         {"2026-13-02 03:04:05678 INFO     : ", "2026-02-30 03:04:05678 INFO     : ",
          "2026-01-02 24:04:05678 INFO     : ", "2026-01-02 03:60:05678 INFO     : ",
          "2026-01-02 03:04:05.678 INFO     : ", "2026-01-02 03:04:05678INFO     : ",
          "2026-01-02 03:04:05678 DEBUG    : ", " 2026-01-02 03:04:05678 INFO     : ", ""}) {
        const std::string line = std::string(wrong) + "no";
        EXPECT_EQ(textsOf(LogText().info("first\n").raw(line + "\nmore\n").step("next").text()),
                  (Strings{"first\n\n" + line + "\nmore", "next"}));
    }
    EXPECT_FALSE(readEntries("2024-02-29 23:59:60999 INFO     : leap\n")[0].head.empty());
    const std::vector<Entry> windows =
        readEntries(stamp(0) + "INFO     : a\r\n" + stamp(1) + "INFO     : b\r\n");
    ASSERT_EQ(windows.size(), 2U);
    EXPECT_EQ(windows[0].text, "a");
    EXPECT_EQ(windows[0].lineEnd, "\r\n");
}

TEST(Entries, HoldTheImitationsInsideTheirDeclaredLength) {
    const std::string text = message("8003", tag("Ex_Label", "x 组织 ü 🔒\n" + kImitation + "\ny"));
    const std::string rest = "8008" + kEnvelopeMiddle + tag("Ex_OrgNm", "\xC4\xA3\xC4\xA3\n" + kImitation);
    const std::string length = std::to_string(text.size());
    const std::string json =
        "{\"pInfoEx\":\"\n" + kImitation + "\n inLen:3\n" + kImitation + "\",\n\"a\":\"600002\"}";
    const Strings lines{"Write XML: " + text + " sendLen:" + length,
                        "Write XML1: " + text + " sendLen:" + length,
                        "Write XML: " + text,
                        "Write XML error:" + text + "  sendLen:-1 bufferLen:" + length,
                        "HID Read XML: " + text,
                        "HID Read XML: " + std::string(text).append(text),
                        "Read XML:" + text + " ---Wrong Command --Delete",
                        "600003 SendData pre: " + text,
                        "SetBleMac SendData pre: " + text,
                        "Write XML1: " + lengthField(rest.size() + 6) + rest + " sendLen:99", // in bytes
                        "inJson4:" + json + " inLen:" + std::to_string(json.size())};
    for (const std::string& line : lines) {
        EXPECT_EQ(textsOf(LogText().info(line).step("next").text()), (Strings{line, "next"}));
        EXPECT_EQ(textsOf(LogText().info(line).text()), Strings{line});
        EXPECT_TRUE(readEntries(LogText().info(line).text())[0].isWhole) << line;
    }
}

TEST(Entries, HoldTheImitationsThatAnEarlierOneHad) {
    LogText log;
    log.request(R"({"transCode":"x\n)" + stamp(7) + R"(MESSAGE  : [GetInfo] begin"})");
    log.step("info msg:transCode:x\n" + stamp(7) + "MESSAGE  : [GetInfo] begin do not have function");
    log.read(message("8016", tag("Ex_HexCheck", "\n" + kImitation)));
    log.step("pda return crc error:\n" + kImitation).step("next");
    EXPECT_EQ(readEntries(log.text()).size(), 5U);
    for (int i = 0; i < 40; ++i) {
        log.step("next");
    }
    EXPECT_EQ(readEntries(log.raw(kImitation + "\n").text()).size(), 46U) << "not for ever";
}

TEST(Entries, AWrongLengthSwallowsNothing) {
    const std::string rest = "8001" + kEnvelopeMiddle + tag("Ex_EIMI", "1");
    Strings lines{"inJson4:{} inLen:99", "inJson4:{}"};
    const std::size_t nextEnd = 6 + rest.size() + 1 + stamp(0).size() + std::string("MESSAGE  : next").size();
    for (const std::string& length : {std::string("999999"), std::string("000200"), std::string("000000"),
                                      std::string("000003"), std::string("000060"), lengthField(nextEnd)}) {
        lines.push_back("HID Read XML: " + (length + rest));
    }
    for (const std::string& line : lines) {
        EXPECT_EQ(textsOf(LogText().info(line).step("next").step("last").text()),
                  (Strings{line, "next", "last"}));
        EXPECT_FALSE(readEntries(LogText().info(line).text())[0].isWhole) << line;
    }
}

TEST(Entries, GarbageStaysWhereItIs) {
    std::string garbage = "no log at all\n\x80\xff";
    garbage += std::string(1, '\0') + "garbage\r\n" + std::string(300, '\0') + "\n";
    LogText log;
    log.raw(garbage).step("first");
    const std::vector<Entry> entries = readEntries(log.text() + "2026-01-02 03:04:0");
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].head, "");
    EXPECT_EQ(bytesOf(entries), log.text() + "2026-01-02 03:04:0");
}

TEST(Entries, ComeOutTheSameHoweverTheBytesArrive) {
    LogText log;
    log.raw("tail of something\n").getInfo().written(message("8003", tag("Ex_Label", "x\n" + kImitation)));
    log.request("{\n\"transCode\":\"600002\",\n\"a\":\"" + kImitation + "\"}").info("a\nb\n").step("last");
    for (std::size_t size = 1; size < 40; ++size) {
        EntryReader reader;
        Strings texts;
        const auto add = [&](const std::vector<Entry>& some) {
            for (const Entry& entry : some) {
                texts.push_back(entry.text);
            }
        };
        for (std::size_t position = 0; position < log.text().size(); position += size) {
            add(reader.feed(std::string_view(log.text()).substr(position, size)));
        }
        add(reader.finish());
        EXPECT_EQ(texts, textsOf(log.text())) << size;
    }
}

TEST(Moments, ReachFromTheirBeginningToTheirEnd) {
    const auto span = [](const std::string& text) {
        const std::optional<Moment> moment = parseMoment(text);
        return moment ? formatTime(moment->first) + " to " + formatTime(moment->last) : "none";
    };
    const std::vector<std::pair<std::string, std::string>> cases{
        {"2024-02-29", "2024-02-29 00:00:00.000 to 2024-02-29 23:59:59.999"},
        {"2026-01-02 03:04", "2026-01-02 03:04:00.000 to 2026-01-02 03:04:59.999"},
        {"2026-01-02T03:04:05", "2026-01-02 03:04:05.000 to 2026-01-02 03:04:05.999"},
        {"1969-12-31T03:04:05.678", "1969-12-31 03:04:05.678 to 1969-12-31 03:04:05.678"},
        {"", "none"},
        {"yesterday", "none"},
        {"2026-1-2", "none"},
        {"2026-02-29", "none"},
        {"2026-01-02T", "none"},
        {"2026-01-02T25:00", "none"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(span(text), expected) << text;
    }
}

TEST(Durations, HaveAUnitThatFits) {
    EXPECT_EQ(formatDuration(0), "0.000 s");
    EXPECT_EQ(formatDuration(4911), "4.911 s");
    EXPECT_EQ(formatDuration(150000), "2.5 min");
    EXPECT_EQ(formatDuration(3 * 3600000LL), "3.0 h");
    EXPECT_EQ(formatDuration(3 * 86400000LL), "3.0 d");
}

} // namespace

} // namespace pdactl::log::test
