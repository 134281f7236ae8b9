#include "BareClient.h"
#include "Conversation.h"

#include "ProcessFacts.h"
#include "SimulatedTerminal.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdalink::test::waitUntil;
using pdasim::Fault;
using pdasim::SimulatedTerminal;
using pdasim::test::BareClient;
using pdasim::test::body;
using pdasim::test::request;
using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;

/// What the terminal's core wants done, at a node and in its time. The client's first message may meet a
/// fault.
class StepsOnTheNode : public testing::Test {
protected:
    ssize_t sendWith(const Fault& fault) {
        terminal.addFault("8001", fault);
        return client.write(request("8001", 1));
    }

    ~StepsOnTheNode() override { EXPECT_EQ(terminal.violations(), Texts()); }

    SimulatedTerminal terminal;
    BareClient client{terminal.nodePath()};
};

TEST_F(StepsOnTheNode, ADelayedReplyInPiecesComesInReportsOfItsOwn) {
    const auto begin = Clock::now();
    EXPECT_EQ(sendWith(Fault().delay(100ms).split(3, 60ms)), 112);
    EXPECT_EQ(client.readReports(1s).size(), 6U);
    EXPECT_GE(Clock::now() - begin, 220ms);
}

TEST_F(StepsOnTheNode, UnplugBeforeTheReplyAndReplug) {
    EXPECT_EQ(sendWith(Fault().unplugBeforeReply(50ms)), 112);
    EXPECT_TRUE(waitUntil([this] { return (client.poll(10ms) & POLLHUP) != 0; }));
    EXPECT_EQ(client.read(), "");
    EXPECT_EQ(client.readError(), EIO);
    client.close();
    EXPECT_TRUE(waitUntil([this] { return !terminal.nodePath().empty(); }));
    BareClient again(terminal.nodePath());
    EXPECT_EQ(again.write(request("8001", 2)), 112);
    EXPECT_EQ(again.readText().substr(6, 4), "8001");
}

TEST_F(StepsOnTheNode, UnplugAfterTheReply) {
    EXPECT_EQ(sendWith(Fault().unplugAfterReply()), 112);
    EXPECT_TRUE(waitUntil([this] { return terminal.nodePath().empty(); }));
    EXPECT_EQ(client.readText().substr(6, 4), "8001");
    EXPECT_EQ(client.read(), "");
    EXPECT_EQ(client.readError(), EIO);
}

TEST_F(StepsOnTheNode, ADelayedReplyIsLostWithTheLifeOfTheDevice) {
    EXPECT_EQ(sendWith(Fault().delay(50ms)), 112);
    terminal.unplug();
    terminal.replug();
    BareClient fresh(terminal.nodePath());
    EXPECT_EQ(fresh.poll(150ms), 0);
}

TEST_F(StepsOnTheNode, ShortWrite) {
    EXPECT_EQ(sendWith(Fault().shortWrite(64)), 64);
    EXPECT_EQ(client.poll(50ms), 0);
    EXPECT_EQ(client.write(request("8001", 2)), 112);
    EXPECT_EQ(client.readText().substr(6, 4), "8001");
    EXPECT_EQ(terminal.received(), (Texts{request("8001", 1), request("8001", 2)}));
}

TEST_F(StepsOnTheNode, RefusedWrite) {
    EXPECT_EQ(sendWith(Fault().refuseWrite(EPIPE).times(2)), -EPIPE);
    EXPECT_EQ(client.write(request("8001", 2)), -EPIPE);
    EXPECT_EQ(client.write(request("8001", 3)), 112);
    EXPECT_EQ(client.readText().substr(6, 4), "8001");
    EXPECT_EQ(terminal.received().size(), 3U);
}

TEST_F(StepsOnTheNode, TrafficIsToldInBothDirections) {
    SimulatedTerminal::Options options;
    Texts told;
    options.onTraffic = [&told](pdasim::Sender sender, const std::string& text) {
        told.push_back((sender == pdasim::Sender::Host ? "> " : "< ") + text.substr(0, 10));
    };
    {
        SimulatedTerminal other(terminal.testBed(), options);
        BareClient toOther(other.nodePath());
        EXPECT_EQ(toOther.write(request("8001", 1)), 112);
        EXPECT_EQ(toOther.readText().substr(6, 4), "8001");
    }
    EXPECT_EQ(told, (Texts{"> 0001128001", "< 0002418001"}));
}

TEST_F(StepsOnTheNode, AnAnnouncementIsSentAndItsAcknowledgementSeen) {
    const std::string sent = terminal.announce(pdasim::scannedLabel("A1"));
    EXPECT_EQ(client.readText("</Ex_Label>"), sent);
    EXPECT_EQ(terminal.state().scan.labels, Texts{"A1"});
    const std::string acknowledgement =
        request("9001", 1, body("Ex_SrcSeqNo=- Ex_PdaSn=- Ex_RetCode=000000 Ex_ScanState=1"));
    EXPECT_EQ(client.write(acknowledgement), static_cast<ssize_t>(acknowledgement.size()));
    ASSERT_TRUE(terminal.waitForMessages(1, 10s));
    EXPECT_EQ(terminal.messages().at(0).type, "9001");
    ASSERT_EQ(terminal.acknowledgements().size(), 1U);
    EXPECT_EQ(terminal.acknowledgements()[0].answers, "0001");
    EXPECT_EQ(client.poll(50ms), 0);
}

TEST_F(StepsOnTheNode, AnAnnouncementWithoutAHostIsLost) {
    client.close();
    (void)terminal.announce(pdasim::userNotice("ann"));
    BareClient late(terminal.nodePath());
    EXPECT_EQ(late.poll(50ms), 0);
}

} // namespace
