#include "Handlers.h"
#include "tests/analysis/transactions/TransactionFixture.h"

#include "analysis/ResultStores.h"

namespace {

using testing::SizeIs;

/// The terminal starts messages, in its usual reports of 64 bytes; the host takes each from the channel and
/// hands it to its handler.
class WholeWayTest : public ExchangeAmongEvents {
protected:
    /// The message as the host takes it from the channel.
    QString announced(const pdasim::Announcement& announcement) {
        const std::string text = terminal().announce(announcement);
        EXPECT_TRUE(becomesBuffered(QString::fromStdString(text)));
        QString taken = g_HIDDevice.getBuffer();
        EXPECT_EQ(taken.toStdString(), text);
        return taken;
    }
    int handOn(const Handler& handler, const QString& taken) {
        return (analyser().*handler.receive)(taken.toUtf8().data());
    }
};

/// The same with one handler.
class ReceivedOnTheWholeWay : public WholeWayTest, public testing::WithParamInterface<Handler> {
protected:
    static const Handler& handler() { return GetParam(); }
    static std::vector<std::string> usualStore() { return storeOf(handler(), fieldsOf(handler())); }

    /// A message of the terminal's with a value of its own in each tag.
    static pdasim::Announcement announcement() {
        pdasim::Announcement announcement = handler().announcement();
        for (const char* name : handler().tags) {
            announcement.with(name, valueOf(name));
        }
        return announcement;
    }
};

TEST_P(ReceivedOnTheWholeWay, IsKeptAndAcknowledgedBetweenTransactions) {
    EXPECT_EQ(getInfo(), usualInformation());
    for (std::size_t count = 1; count <= 3; ++count) {
        fillStore(handler(), "");
        const QString taken = announced(announcement());
        EXPECT_EQ(taken.mid(6, 4).toStdString(), handler().type);
        EXPECT_EQ(handOn(handler(), taken), 0);
        EXPECT_EQ(stored(handler()), usualStore());
        const std::vector<pdasim::Acknowledgement> acknowledgements = terminal().acknowledgements();
        ASSERT_THAT(acknowledgements, SizeIs(handler().acknowledgementType == nullptr ? 0 : count));
        if (handler().acknowledgementType != nullptr) {
            EXPECT_EQ(acknowledgements.back().type, handler().acknowledgementType);
            EXPECT_EQ(acknowledgements.back().kind, announcement().kind);
            EXPECT_EQ(acknowledgements.back().answers, "000" + std::to_string(count));
        }
        EXPECT_EQ(buffer(), "");
        EXPECT_EQ(getInfo(), usualInformation());
    }
}

TEST_P(ReceivedOnTheWholeWay, IsLostWhenATransactionComesFirst) {
    const std::string text = terminal().announce(announcement());
    ASSERT_TRUE(becomesBuffered(QString::fromStdString(text)));
    EXPECT_EQ(getInfo(), usualInformation()) << "it is not taken for the reply";
    EXPECT_EQ(stored(handler()), std::vector<std::string>(handler().storeSize));
    EXPECT_EQ(handOn(handler(), QString::fromStdString(text)), 0);
    EXPECT_EQ(stored(handler()), usualStore());
}

INSTANTIATE_TEST_SUITE_P(Of, ReceivedOnTheWholeWay, testing::ValuesIn(allHandlers()), NameOfHandler());

using ReceivedScanRun = WholeWayTest;

TEST_F(ReceivedScanRun, CollectsTheLabelsThatTheTerminalSends) {
    HostText number("00000007");
    HostText command("1");
    EXPECT_EQ(analyser().StartScan(number, command, nullptr), 0);
    for (const char* label : {"B01", "B02", "B03"}) {
        EXPECT_EQ(handOn(handlerOf("ReceiveScanResult"), announced(pdasim::scannedLabel(label))), 0);
    }
    const std::string terminalNumber = terminal().state().number();
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(pda_ScanLabel[2 * i].toStdString(), terminalNumber);
        EXPECT_EQ(pda_ScanLabel[2 * i + 1].toStdString(), "B0" + std::to_string(i + 1));
    }
    EXPECT_EQ(pda_ScanLabel[6], "");
    const std::vector<pdasim::Acknowledgement> acknowledgements = terminal().acknowledgements();
    ASSERT_THAT(acknowledgements, SizeIs(3));
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(acknowledgements[i].answers, "000" + std::to_string(i + 1));
    }
}

} // namespace
