#include "BareClient.h"
#include "Conversation.h"

#include "ProcessFacts.h"
#include "SimulatedTerminal.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using pdasim::Fault;
using pdasim::SimulatedTerminal;
using pdasim::test::BareClient;
using pdasim::test::body;
using pdasim::test::request;
using Texts = std::vector<std::string>;

class WholeProtocolOnTheNode : public testing::Test {
protected:
    ~WholeProtocolOnTheNode() override { EXPECT_EQ(terminal.violations(), Texts()); }

    std::string ask(std::string_view type, const std::string& requestBody, std::string_view end) {
        const std::string message = request(type, ++m_sequence, requestBody);
        EXPECT_EQ(client.write(message), static_cast<ssize_t>(message.size()));
        return client.readText(end);
    }

    SimulatedTerminal terminal;
    BareClient client{terminal.nodePath()};

private:
    int m_sequence = 0;
};

TEST_F(WholeProtocolOnTheNode, StateIsSetAndReadWhileAHostIsConnected) {
    terminal.changeState([](pdasim::TerminalState& state) { state.scan = {true, {"A1", "A2"}}; });
    const std::string reply = ask("8005", body({{"Ex_PdaSn", "P"}}), "</Ex_ScanState>");
    EXPECT_EQ(reply.substr(112), body("Ex_Label=A1;A2; Ex_ScanState=1"));
    (void)ask("8004", body("Ex_PdaSn=P Ex_Cmd=0"), "</Ex_RetCode>");
    EXPECT_FALSE(terminal.state().scan.running);
    ASSERT_EQ(terminal.messages().size(), 2U);
    EXPECT_EQ(terminal.messages()[1].type, "8004");
    EXPECT_EQ(terminal.messages()[1].value("Ex_Cmd"), "0");
}

TEST_F(WholeProtocolOnTheNode, AListOfLocksComesInManyReports) {
    pdasim::Lock lock;
    lock.id = "L1";
    terminal.changeState([&lock](pdasim::TerminalState& state) { state.locks = {lock}; });
    terminal.addFault("7011", Fault().growLockList(100).setTag("Ex_End", "1"));
    const std::string reply = ask("7011", "", "<Ex_End>1</Ex_End>");
    const std::string rest = client.readText("</LockList>");
    EXPECT_NE((reply + rest).find("<Ex_LockNum>1</Ex_LockNum>"), std::string::npos);
}

TEST_F(WholeProtocolOnTheNode, AFileIsFetchedPacketByPacket) {
    const std::string text = std::string(3000, 'a') + "b";
    terminal.changeState([&text](pdasim::TerminalState& state) { state.files.offered[7] = text; });
    std::string fetched;
    for (const std::string packet : {"0", "1"}) {
        const std::string reply =
            ask("8016", body({{"Ex_PdaSn", ""}, {"Ex_CmdEx", "7"}, {"Ex_InfEx", ""}, {"Ex_CurPkt", packet}}),
                "</Ex_HexCheck>");
        const std::size_t begin = reply.find("<Ex_HexVal>") + 11;
        fetched += reply.substr(begin, reply.find("</Ex_HexVal>") - begin);
    }
    EXPECT_EQ(fetched, text);
}

TEST_F(WholeProtocolOnTheNode, AnAnnouncementIsSentAndItsAcknowledgementSeen) {
    const std::string sent = terminal.announce(pdasim::scannedLabel("A1"));
    EXPECT_EQ(client.readText("</Ex_Label>"), sent);
    EXPECT_EQ(terminal.state().scan.labels, Texts{"A1"});
    const std::string acknowledgement =
        request("9001", 1, body("Ex_SrcSeqNo=- Ex_PdaSn=- Ex_RetCode=000000 Ex_ScanState=1"));
    EXPECT_EQ(client.write(acknowledgement), static_cast<ssize_t>(acknowledgement.size()));
    ASSERT_TRUE(terminal.waitForMessages(1, std::chrono::seconds(10)));
    ASSERT_EQ(terminal.acknowledgements().size(), 1U);
    EXPECT_EQ(terminal.acknowledgements()[0].kind, pdasim::Announced::ScannedLabel);
    EXPECT_EQ(terminal.acknowledgements()[0].answers, "0001");
    EXPECT_EQ(client.poll(std::chrono::milliseconds(50)), 0);
}

TEST_F(WholeProtocolOnTheNode, AnAnnouncementWithoutAHostIsLost) {
    client.close();
    (void)terminal.announce(pdasim::userNotice("ann"));
    BareClient late(terminal.nodePath());
    EXPECT_EQ(late.poll(std::chrono::milliseconds(50)), 0);
    EXPECT_TRUE(terminal.acknowledgements().empty());
}

} // namespace
