#include "BareClient.h"

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
using pdasim::test::request;
using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;

/// A terminal with a fault and a client that has just sent it its first message.
class FaultsOnTheNode : public testing::Test {
protected:
    ssize_t sendWith(const Fault& fault) {
        terminal.addFault("8001", fault);
        return client.write(request("8001", 1));
    }

    ~FaultsOnTheNode() override { EXPECT_EQ(terminal.violations(), Texts()); }

    SimulatedTerminal terminal;
    BareClient client{terminal.nodePath()};
};

TEST_F(FaultsOnTheNode, Silence) {
    EXPECT_EQ(sendWith(Fault().silence()), 112);
    EXPECT_EQ(client.poll(100ms), 0);
    EXPECT_EQ(terminal.received().size(), 1U);
}

TEST_F(FaultsOnTheNode, Delay) {
    const auto begin = Clock::now();
    EXPECT_EQ(sendWith(Fault().delay(150ms)), 112);
    EXPECT_EQ(client.readText().substr(6, 4), "8001");
    EXPECT_GE(Clock::now() - begin, 150ms);
}

TEST_F(FaultsOnTheNode, WrongType) {
    EXPECT_EQ(sendWith(Fault().replyType("8002")), 112);
    EXPECT_EQ(client.readText().substr(6, 4), "8002");
}

TEST_F(FaultsOnTheNode, SplitReplyComesInReportsOfItsOwn) {
    const auto begin = Clock::now();
    EXPECT_EQ(sendWith(Fault().split(3, 60ms)), 112);
    EXPECT_EQ(client.readReports(1s).size(), 6U);
    EXPECT_GE(Clock::now() - begin, 120ms);
}

TEST_F(FaultsOnTheNode, TwoMessagesBackToBack) {
    EXPECT_EQ(sendWith(Fault().followedBy("the second")), 112);
    const Texts reports = client.readReports();
    ASSERT_EQ(reports.size(), 5U);
    EXPECT_EQ(reports[4].substr(0, 10), "the second");
}

TEST_F(FaultsOnTheNode, UnplugBeforeTheReplyAndReplug) {
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

TEST_F(FaultsOnTheNode, UnplugAfterTheReply) {
    EXPECT_EQ(sendWith(Fault().unplugAfterReply()), 112);
    EXPECT_TRUE(waitUntil([this] { return terminal.nodePath().empty(); }));
    EXPECT_EQ(client.readText().substr(6, 4), "8001");
    EXPECT_EQ(client.read(), "");
    EXPECT_EQ(client.readError(), EIO);
}

TEST_F(FaultsOnTheNode, ADelayedReplyIsLostWithTheLifeOfTheDevice) {
    EXPECT_EQ(sendWith(Fault().delay(50ms)), 112);
    terminal.unplug();
    terminal.replug();
    BareClient fresh(terminal.nodePath());
    EXPECT_EQ(fresh.poll(150ms), 0);
}

TEST_F(FaultsOnTheNode, ShortWrite) {
    EXPECT_EQ(sendWith(Fault().shortWrite(64)), 64);
    EXPECT_EQ(client.poll(50ms), 0);
    EXPECT_EQ(client.write(request("8001", 2)), 112);
    EXPECT_EQ(client.readText().substr(6, 4), "8001");
    EXPECT_EQ(terminal.received(), (Texts{request("8001", 1), request("8001", 2)}));
}

TEST_F(FaultsOnTheNode, RefusedWrite) {
    EXPECT_EQ(sendWith(Fault().refuseWrite(EPIPE).times(2)), -EPIPE);
    EXPECT_EQ(client.write(request("8001", 2)), -EPIPE);
    EXPECT_EQ(client.write(request("8001", 3)), 112);
    EXPECT_EQ(client.readText().substr(6, 4), "8001");
    EXPECT_EQ(terminal.received().size(), 3U);
}

TEST_F(FaultsOnTheNode, BytesThatAreNoText) {
    EXPECT_EQ(sendWith(Fault().setTag("Ex_EIMI", "\xC3\xFF\x80").dropTag("Ex_PdaVer")), 112);
    const std::string reply = client.readText();
    EXPECT_NE(reply.find("<Ex_EIMI>\xC3\xFF\x80</Ex_EIMI>"), std::string::npos);
    EXPECT_EQ(reply.find("Ex_PdaVer"), std::string::npos);
}

TEST_F(FaultsOnTheNode, RawReply) {
    EXPECT_EQ(sendWith(Fault().rawReply("not a message at all")), 112);
    EXPECT_EQ(client.readText("at all"), "not a message at all");
}

TEST_F(FaultsOnTheNode, TrafficIsToldInBothDirections) {
    SimulatedTerminal::Options options;
    Texts told;
    options.onTraffic = [&told](SimulatedTerminal::Direction direction, const std::string& text) {
        told.push_back((direction == SimulatedTerminal::Direction::FromHost ? "> " : "< ") +
                       text.substr(0, 10));
    };
    {
        SimulatedTerminal other(terminal.testBed(), options);
        BareClient toOther(other.nodePath());
        EXPECT_EQ(toOther.write(request("8001", 1)), 112);
        EXPECT_EQ(toOther.readText().substr(6, 4), "8001");
    }
    EXPECT_EQ(told, (Texts{"> 0001128001", "< 0002418001"}));
}

} // namespace
