#include "LogLines.h"
#include "Outcomes.h"

#include <gtest/gtest.h>

#include <string>

namespace pdactl::log::test {

namespace {

const std::string kTerminalTag = tag("Ex_TerminalTagSn", "00000001");

/// A fetch that the host called directly, as far as its beginning.
LogText fetch() {
    LogText log;
    return log.step("[ReceiveDataSaveToFile] begin").written(message("8016", kTerminalTag)).after(100);
}

std::string packet(const std::string& number, const std::string& total) {
    return message("8016", tag("Ex_RetCode", "000000") + tag("Ex_TotalPkt", total) +
                               tag("Ex_CurPkt", number) + tag("Ex_HexVal", "0011") +
                               tag("Ex_HexCheck", "ffff"));
}

TEST(Fetches, AreDoneWithTheLastPacket) {
    LogText log = fetch();
    log.read(packet("0", "2")).type("8016").written(message("8016", kTerminalTag)).after(100);
    EXPECT_EQ(only(log).outcome, Outcome::Unfinished);
    log.read(packet("1", "2")).type("8016");
    EXPECT_EQ(only(log).outcome, Outcome::Done);
    LogText refused = fetch();
    refused.read(message("8016", tag("Ex_RetCode", "000005"))).type("8016");
    EXPECT_EQ(only(refused).outcome, Outcome::TerminalRefused);
}

TEST(Fetches, AreUnfinishedWithoutTheLastPacket) {
    LogText log = fetch();
    log.read(packet("0", "2")).type("8016");
    EXPECT_EQ(only(log).outcome, Outcome::Unfinished);
}

TEST(Fetches, GetNoReplyWhenEveryPacketIsDamaged) {
    LogText log = fetch();
    for (int i = 0; i < 100; ++i) {
        log.read(packet("0", "1")).type("8016").step("pda return crc error:ffff");
        log.written(message("8016", kTerminalTag)).after(100);
    }
    log.read(packet("0", "1")).type("8016").step("pda return crc error:ffff");
    EXPECT_EQ(only(log).outcome, Outcome::NoReply);
    log.warning("file transfer given up: the terminal brings no new packet").after(1000);
    EXPECT_EQ(only(log).outcome, Outcome::NoReply);
    EXPECT_TRUE(only(log).failed());
}

TEST(Fetches, GetNoReplyWhenTheTerminalRepeatsItself) {
    LogText log = fetch();
    for (int i = 0; i < 100; ++i) {
        log.read(packet("0", "2")).type("8016").written(message("8016", kTerminalTag)).after(100);
    }
    log.read(packet("0", "2")).type("8016");
    log.warning("file transfer given up: the terminal brings no new packet");
    EXPECT_EQ(only(log).outcome, Outcome::NoReply);
}

TEST(Fetches, GetNoReplyWhenAllWaitsAreSpent) {
    LogText silent = fetch();
    silent.after(4900).read("").after(4900).read("").after(4900).read("");
    silent.written(message("8016", kTerminalTag))
        .written(message("8016", kTerminalTag))
        .after(1000)
        .getInfo();
    ASSERT_EQ(exchanges(silent).size(), 2U);
    EXPECT_EQ(exchanges(silent)[0].outcome, Outcome::NoReply);
    EXPECT_EQ(exchanges(silent)[0].timeouts, 3);
    LogText later = fetch();
    later.read("").read(packet("0", "2")).type("8016").written(message("8016", kTerminalTag)).read("");
    EXPECT_EQ(only(later).outcome, Outcome::NoReply);
    later.read("").written(message("8016", kTerminalTag)).written(message("8016", kTerminalTag));
    EXPECT_EQ(only(later).outcome, Outcome::NoReply);
}

TEST(Fetches, GetNoReplyFromPacketsWithoutAUsableNumber) {
    LogText log = fetch();
    for (const char* number : {"-1", "200000", "-7"}) {
        log.read(packet(number, "2")).type("8016");
    }
    EXPECT_EQ(only(log).outcome, Outcome::NoReply);
}

TEST(Fetches, FailInsideTheLibraryWithTooMuchData) {
    LogText log = fetch();
    log.read(packet("0", "2")).type("8016").warning("file transfer given up: more data than a file can have");
    EXPECT_EQ(only(log).outcome, Outcome::InternalFailure);
}

TEST(SentFiles, TellTheirOutcomeWhenTheHostCallsDirectly) {
    const std::string first = message("8015", tag("Ex_TotalPkt", "2") + tag("Ex_CurPkt", "0"));
    const auto reply = [](const char* resultCode) { return message("8015", tag("Ex_RetCode", resultCode)); };
    LogText log;
    log.step("[ReadFileDataToPDA] begin").written(first).after(100).read(reply("000000")).type("8015");
    EXPECT_EQ(only(log).outcome, Outcome::Unfinished);
    log.written(message("8015", kTerminalTag)).after(100).read(reply("000000")).type("8015");
    EXPECT_EQ(only(log).outcome, Outcome::Done);
    LogText refused;
    refused.step("[ReadFileDataToPDA] begin");
    for (int i = 0; i < 3; ++i) {
        refused.written(first).after(100).read(reply("000007")).type("8015");
    }
    EXPECT_EQ(only(refused.step("data send error. already send:3 times")).outcome, Outcome::TransferRefused);
    LogText tooShort;
    tooShort.step("[ReadFileDataToPDA] begin").step("file is too short:01");
    EXPECT_EQ(only(tooShort).outcome, Outcome::TooShort);
}

} // namespace

} // namespace pdactl::log::test
