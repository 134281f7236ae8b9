#include "FileFixture.h"
#include "RepeatedText.h"

#include "MemoryLimit.h"
#include "util/MutexGuard.h"

#include <QTimer>
#include <algorithm>
#include <fstream>

namespace {

using pdasim::Fault;
using testing::IsEmpty;

constexpr std::size_t kMaxPackets = 200000;

/// Files of many packets.
class LargeFile : public FileTest {
protected:
    static constexpr std::size_t kSize = 3000000;

    void SetUp() override {
        if (PDALINK_IS_SANITIZED) {
            GTEST_SKIP() << "takes minutes with a sanitizer";
        }
        FileTest::SetUp();
    }

    void keep(const std::string& text) {
        terminal().changeState([&](pdasim::TerminalState& state) { state.files.offered[3] = text; });
    }
};

TEST_F(LargeFile, IsSentWhole) {
    const SwiftReplies swift;
    const std::string text = digits(kSize);
    EXPECT_EQ(send(text), (Transfer{0, "000000", ""}));
    const pdasim::TerminalState state = terminal().state();
    ASSERT_EQ(state.files.sent.count(3), 1U);
    EXPECT_EQ(state.files.sent.at(3).totalPackets, 1000);
    EXPECT_TRUE(state.files.sent.at(3).text() == text);
    EXPECT_EQ(m_SeqNo, 1000);
}

TEST_F(LargeFile, IsFetchedWhole) {
    const SwiftReplies swift;
    const std::string text = digits(kSize);
    keep(text);
    std::string data(kSize + 10, '#');
    std::string retCode(10, '#');
    int command = 3;
    EXPECT_EQ(analyser().ReceiveDataSaveToFile(nullptr, &command, nullptr, data.data(), retCode.data()), 0);
    EXPECT_TRUE(data == text + "##########");
    EXPECT_EQ(retCode, "000000####");
    EXPECT_EQ(m_SeqNo, 1000);
}

TEST_F(LargeFile, OfMorePacketsThanThereAreIsNotSent) {
    const RepeatedText text('1', kMaxPackets * kPacketSize + 1);
    m_PerformTasksYN = 1;
    OutputBuffer retCode;
    EXPECT_EQ(analyser().ReadFileDataToPDA(nullptr, nullptr, nullptr, text.data(), retCode.data()), 1);
    EXPECT_THAT(retCode.written(), IsEmpty());
    EXPECT_THAT(newBodies(), IsEmpty());
    EXPECT_EQ(newLines(), (std::vector<std::string>{"1 [ReadFileDataToPDA] begin"}));
    EXPECT_EQ(m_SeqNo, 0);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(LargeFile, OfAsManyPacketsAsThereAreIsBegun) {
    const RepeatedText text('1', kMaxPackets * kPacketSize);
    refuse("000101");
    terminal().addFault("8015", Fault().replyType("8001"));
    HostText pdaNumber("00000007");
    HostText info("about it");
    int command = 3;
    EXPECT_EQ(analyser().ReadFileDataToPDA(pdaNumber, &command, info, text.data(), nullptr), 2);
    const std::string first = sendBody(std::string(kPacketSize, '1'), kMaxPackets, 0);
    EXPECT_EQ(newBodies(), (std::vector<std::string>{first, first}));
}

/// More than the packets of a file may hold together, in as few of them as the receive buffer allows.
class LargestFile : public LargeFile {
protected:
    static constexpr std::size_t kMaxSize = 600000000;
    static constexpr std::size_t kPiece = 16700000;
    static constexpr std::size_t kFullPieces = kMaxSize / kPiece;

    void SetUp() override {
        constexpr std::size_t needed = 2UL * 1024 * 1024; // KiB
        if (availableMemory() < needed) {
            GTEST_SKIP() << "needs 2 GiB of memory";
        }
        LargeFile::SetUp();
    }

    static std::size_t availableMemory() {
        std::ifstream file("/proc/meminfo");
        std::size_t size = 0;
        for (std::string name; file >> name;) {
            if (name == "MemAvailable:") {
                file >> size;
            }
        }
        return size;
    }

    /// Answers each request with a packet of zeros or of no digits at all, whose check is 0, as the receiver
    /// would have put it into the receive buffer. The number and the length of a packet follow from those
    /// before it.
    template <typename Packet>
    void answerInPackets(const Packet& packet, char character, std::size_t total) {
        terminal().addFault("8016", Fault().silence().always());
        g_PDA_Log.Close(); // it would write every packet
        QObject::connect(&m_timer, &QTimer::timeout, [=] {
            if (terminal().received().size() > m_answered) {
                const auto [number, size] = packet(m_answered);
                receivePacket(number, size, character, total);
                ++m_answered;
            }
        });
        m_timer.start(0);
    }
    std::size_t answered() const { return m_answered; }

private:
    static void receivePacket(std::size_t number, std::size_t size, char character, std::size_t total) {
        const QString text = QString::fromStdString(
            "0000108016" + tag("Ex_RetCode", "000000") + // the type counts
            tag("Ex_TotalPkt", std::to_string(total)) + tag("Ex_CurPkt", std::to_string(number)) +
            tag("Ex_HexCheck", "0000") + tag("Ex_HexVal", std::string(size, character)));
        const MutexGuard guard(g_lock_buffer);
        g_buffer = text;
        g_isBufferCome = true;
    }

    std::size_t m_answered = 0;
    QTimer m_timer;
};

TEST_F(LargestFile, IsFetchedUpToItsLastCharacter) {
    const auto packet = [](std::size_t answered) {
        const std::size_t number = std::max(answered, std::size_t{1}) - 1; // the first comes twice
        if (number > kFullPieces) {
            LoadLockConfig(); // opens the log
        }
        // As many as there may be, then one more.
        return std::pair(number, number < kFullPieces    ? kPiece
                                 : number == kFullPieces ? kMaxSize % kPiece
                                                         : 1);
    };
    answerInPackets(packet, '0', 1000);
    const SwiftReplies swift;
    OutputBuffer retCode;
    EXPECT_EQ(analyser().ReceiveDataSaveToFile(nullptr, nullptr, nullptr, nullptr, retCode.data()), 1);
    EXPECT_EQ(answered(), kFullPieces + 3);
    EXPECT_THAT(retCode.written(), IsEmpty());
    EXPECT_EQ(warnings(), 1U);
    EXPECT_EQ(m_PerformTasksYN, 0);
}

TEST_F(LargestFile, IsRefusedByTheJsonWithoutMoreMemoryThanItsOwn) {
    const auto packet = [](std::size_t answered) {
        return std::pair(answered, answered == kFullPieces ? kMaxSize % kPiece : kPiece);
    };
    answerInPackets(packet, '\x01', kFullPieces + 1);
    const SwiftReplies swift;
    constexpr std::size_t besides = 400000000; // a packet is held in several forms while it is taken
    const pdalink::test::MemoryLimit limit(kMaxSize + besides);
    EXPECT_EQ(ask(R"({"transCode":"600016","pdaNumber":"1","pCmdEx":3,"pInfEx":"i"})"),
              (JsonAnswer{1, R"({"pFilePath":"","pRetCode":"","transCode":"600016"})"}));
    EXPECT_EQ(answered(), kFullPieces + 1);
}

} // namespace
