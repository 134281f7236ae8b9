#include "ReceivedFixture.h"

namespace {

using pdasim::Fault;

constexpr std::size_t kPairs = 1000;

/// The labels of a scan run, each with the terminal's number.
class ScanStore : public ReceivedTest {
protected:
    static const Handler& scan() { return handlerOf("ReceiveScanResult"); }

    int handLabel(const std::string& pdaNumber, const std::string& label) {
        return hand(scan(), messageOf(scan(), {{"Ex_PdaSn", pdaNumber}, {"Ex_Label", label}}));
    }
    int startScan() { return analyser().StartScan(HostText("00000007"), HostText("1"), nullptr); }
    /// The pair as "number/label".
    static std::string pair(std::size_t index) {
        return pda_ScanLabel[2 * index].toStdString() + "/" + pda_ScanLabel[2 * index + 1].toStdString();
    }
    static std::size_t usedPairs() {
        std::size_t used = 0;
        for (std::size_t i = 0; i < kPairs; ++i) {
            used += pair(i) != "/" ? 1 : 0;
        }
        return used;
    }
};

TEST_F(ScanStore, OverwritesAPairWithoutANumberAndKeepsOneWithoutALabel) {
    EXPECT_EQ(hand(scan(), messageOf(scan(), {{"Ex_Label", "B01"}})), 0);
    EXPECT_EQ(pair(0), "/B01");
    EXPECT_EQ(handLabel("", "B02"), 0);
    EXPECT_EQ(pair(0), "/B02");
    EXPECT_EQ(hand(scan(), messageOf(scan(), {{"Ex_PdaSn", "7"}})), 0);
    EXPECT_EQ(pair(0), "7/");
    EXPECT_EQ(handLabel("7", "B03"), 0);
    EXPECT_EQ(pair(0), "7/");
    EXPECT_EQ(pair(1), "7/B03");
    EXPECT_EQ(usedPairs(), 2U);
}

TEST_F(ScanStore, FillsTheFirstPairThatTheHostHasFreed) {
    for (const char* label : {"B01", "B02", "B03"}) {
        EXPECT_EQ(handLabel("7", label), 0);
    }
    pda_ScanLabel[2].clear();
    EXPECT_EQ(handLabel("7", "B04"), 0);
    EXPECT_EQ(pair(1), "7/B04");
    EXPECT_EQ(handLabel("7", "B05"), 0);
    EXPECT_EQ(pair(3), "7/B05");
}

TEST_F(ScanStore, TakesAThousandLabelsAndDropsTheNext) {
    for (std::size_t i = 0; i < kPairs; ++i) {
        ASSERT_EQ(handLabel("7", "B" + std::to_string(i)), 0);
    }
    for (std::size_t i = 0; i < kPairs; ++i) {
        ASSERT_EQ(pair(i), "7/B" + std::to_string(i));
    }
    newLines();
    const std::size_t before = terminal().received().size();
    EXPECT_EQ(handLabel("7", "dropped"), 0);
    const std::vector<std::string> received = terminal().received();
    ASSERT_EQ(received.size(), before + 1);
    EXPECT_NE(received.back().find("<Ex_ScanState>1</Ex_ScanState>"), std::string::npos);
    EXPECT_EQ(newLines(), (std::vector<std::string>{"1 [ReceiveScanResult] begin",
                                                    "4 Write XML: " + received.back() + " sendLen:" +
                                                        std::to_string(received.back().size())}));
    for (std::size_t i = 0; i < kPairs; ++i) {
        ASSERT_EQ(pair(i), "7/B" + std::to_string(i));
    }
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(ScanStore, BeginsAnewAfterAScanCommandThatWasAnswered) {
    for (const char* code : {"000000", "000001"}) {
        fillStore(scan(), "full");
        terminal().addFault("8004", Fault().refuse(code));
        EXPECT_EQ(startScan(), 0);
        EXPECT_EQ(pda_ScanState, std::string(code) == "000000");
        EXPECT_EQ(usedPairs(), 0U);
        EXPECT_EQ(handLabel("7", "B03"), 0);
        EXPECT_EQ(pair(0), "7/B03");
        EXPECT_EQ(usedPairs(), 1U);
    }
}

} // namespace
