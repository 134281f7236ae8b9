#include "LogLines.h"
#include "Outcomes.h"

#include "log/Entries.h"
#include "log/Time.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace pdactl::log::test {

namespace {

std::vector<std::string> textsOf(const std::string& log) {
    std::vector<std::string> texts;
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

TEST(Entries, LinesWithoutAStampContinueTheOneBefore) {
    LogText log;
    log.info(" VID/PID: 1209 0001\n")
        .info("next")
        .raw("2026-01-02 03:04:05678 DEBUG    : no\nmore\n")
        .step("last");
    EXPECT_EQ(textsOf(log.text()),
              (std::vector<std::string>{" VID/PID: 1209 0001\n",
                                        "next\n2026-01-02 03:04:05678 DEBUG    : no\nmore", "last"}));
}

TEST(Entries, AStampCountsOnlyAtTheBeginningOfALine) {
    LogText log;
    log.info("text " + kImitation).info("next");
    EXPECT_EQ(readEntries(log.text()).size(), 2U);
}

TEST(Entries, AStampHasToBeATime) {
    for (const char* wrong :
         {"2026-13-02 03:04:05678 ", "2026-02-30 03:04:05678 ", "2026-01-02 24:04:05678 ",
          "2026-01-02 03:60:05678 ", "2026-01-02 03:04:05.678 ", "2026-01-02 03:04:05678"}) {
        LogText log;
        log.info("first").raw(std::string(wrong) + "INFO     : no\n");
        EXPECT_EQ(readEntries(log.text()).size(), 1U) << wrong;
    }
    EXPECT_EQ(readEntries("2024-02-29 23:59:60999 INFO     : leap\n").size(), 1U);
    EXPECT_FALSE(readEntries("2024-02-29 23:59:60999 INFO     : leap\n")[0].head.empty());
}

TEST(Entries, ImitationsInsideAMessageAreText) {
    const std::string text = message("8003", tag("Ex_Label", "x\n" + kImitation + "\ny"));
    for (const std::string& line :
         {"Write XML: " + text + " sendLen:" + std::to_string(text.size()),
          "Write XML1: " + text + " sendLen:" + std::to_string(text.size()), "Write XML: " + text,
          "Write XML error:" + text + "  sendLen:-1 bufferLen:" + std::to_string(text.size()),
          "HID Read XML: " + text, std::string("HID Read XML: ").append(text).append(text),
          "Read XML:" + text + " ---Wrong Command --Delete", "600003 SendData pre: " + text,
          "SetBleMac SendData pre: " + text}) {
        LogText log;
        log.info(line).step("next");
        EXPECT_EQ(textsOf(log.text()), (std::vector<std::string>{line, "next"}));
        LogText last;
        last.info(line);
        EXPECT_EQ(textsOf(last.text()), std::vector<std::string>{line});
    }
}

TEST(Entries, ImitationsInsideARequestAreText) {
    const std::string json = "{\"pInfoEx\":\"\n" + kImitation + "\n\",\n\"transCode\":\"600002\"}";
    LogText log;
    log.request(json).step("next");
    ASSERT_EQ(readEntries(log.text()).size(), 2U);
    EXPECT_EQ(readEntries(log.text())[1].text, "next");
}

TEST(Entries, ImitationsThatComeBackInALaterLineAreText) {
    LogText log;
    log.request(R"({"transCode":"x\n)" + stamp(7) + R"(MESSAGE  : [GetInfo] begin"})");
    log.step("info msg:transCode:x\n" + stamp(7) + "MESSAGE  : [GetInfo] begin do not have function");
    log.read(message("8016", tag("Ex_HexCheck", "\n" + kImitation)));
    log.step("pda return crc error:\n" + kImitation).step("next");
    EXPECT_EQ(readEntries(log.text()).size(), 5U);
}

TEST(Entries, LengthsCountCharactersNotBytes) {
    const std::string text = message("8003", tag("Ex_Label", "组织 ü 🔒\n" + kImitation));
    LogText log;
    log.written(text).step("next");
    EXPECT_EQ(readEntries(log.text()).size(), 2U);
}

TEST(Entries, LengthsMayCountTheBytesOfAnotherEncoding) {
    const std::string rest = "8008" + kEnvelopeMiddle + tag("Ex_OrgNm", "\xC4\xA3\xC4\xA3\n" + kImitation);
    LogText log;
    log.info("Write XML1: " + lengthField(rest.size() + 6) + rest +
             " sendLen:" + std::to_string(rest.size() + 6));
    log.step("next");
    EXPECT_EQ(readEntries(log.text()).size(), 2U);
}

TEST(Entries, AWrongLengthSwallowsNothing) {
    const std::string rest = "8001" + kEnvelopeMiddle + tag("Ex_EIMI", "1");
    for (const char* length : {"999999", "000200", "000000", "000003", "000060"}) {
        LogText log;
        log.read(length + rest).step("next").step("last");
        EXPECT_EQ(readEntries(log.text()).size(), 3U) << length;
    }
    LogText wrongRequest;
    wrongRequest.step("inJson4:{} inLen:99").step("next");
    EXPECT_EQ(readEntries(wrongRequest.text()).size(), 2U);
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

TEST(Entries, CarriageReturnsBelongToTheLineEnd) {
    const std::vector<Entry> entries =
        readEntries(stamp(0) + "INFO     : a\r\n" + stamp(1) + "INFO     : b\r\n");
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].text, "a");
    EXPECT_EQ(entries[0].lineEnd, "\r\n");
}

TEST(Entries, ComeOutTheSameHoweverTheBytesArrive) {
    LogText log;
    log.raw("tail of something\n").getInfo().written(message("8003", tag("Ex_Label", "x\n" + kImitation)));
    log.request("{\n\"transCode\":\"600002\",\n\"a\":\"" + kImitation + "\"}").info("a\nb\n").step("last");
    const std::vector<Entry> whole = readEntries(log.text());
    for (std::size_t size = 1; size < 40; ++size) {
        EntryReader reader;
        std::vector<Entry> entries;
        const auto add = [&](const std::vector<Entry>& some) {
            entries.insert(entries.end(), some.begin(), some.end());
        };
        for (std::size_t position = 0; position < log.text().size(); position += size) {
            add(reader.feed(std::string_view(log.text()).substr(position, size)));
        }
        add(reader.finish());
        ASSERT_EQ(entries.size(), whole.size()) << size;
        for (std::size_t i = 0; i < whole.size(); ++i) {
            EXPECT_EQ(entries[i].text, whole[i].text) << size;
        }
    }
}

TEST(Moments, ReachFromTheirBeginningToTheirEnd) {
    const auto span = [](const char* text) {
        const std::optional<Moment> moment = parseMoment(text);
        return moment ? formatTime(moment->first) + " to " + formatTime(moment->last) : std::string("none");
    };
    EXPECT_EQ(span("2024-02-29"), "2024-02-29 00:00:00.000 to 2024-02-29 23:59:59.999");
    EXPECT_EQ(span("2026-01-02 03:04"), "2026-01-02 03:04:00.000 to 2026-01-02 03:04:59.999");
    EXPECT_EQ(span("2026-01-02T03:04:05"), "2026-01-02 03:04:05.000 to 2026-01-02 03:04:05.999");
    EXPECT_EQ(span("1969-12-31T03:04:05.678"), "1969-12-31 03:04:05.678 to 1969-12-31 03:04:05.678");
    for (const char* wrong : {"", "yesterday", "2026-1-2", "2026-02-29", "2026-01-02T", "2026-01-02T25:00"}) {
        EXPECT_EQ(span(wrong), "none") << wrong;
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
