#include "BareClient.h"
#include "DeviceDescription.h"
#include "ProcessFacts.h"
#include "SimulatedTerminal.h"
#include "UsbIpClient.h"
#include "usb/Descriptors.h"
#include "usbip/TcpBus.h"
#include "usbip/UsbIpPort.h"

#include <gtest/gtest.h>

#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::chrono_literals;
using pdalink::test::waitUntil;
using pdasim::Fault;
using pdasim::ServingLoop;
using pdasim::SimulatedTerminal;
using pdasim::test::bigEndian;
using pdasim::test::request;
using pdasim::test::UsbIpClient;
using pdasim::usbip::OfferedDevice;
using pdasim::usbip::TcpBus;
using pdasim::usbip::UsbIpPort;
using Reply = UsbIpClient::Reply;

constexpr unsigned kSubmitted = 3;
constexpr unsigned kUnlinked = 4;

class UsbIp : public testing::Test {
protected:
    UsbIp() {
        for (unsigned place = 0; place < 2; ++place) {
            OfferedDevice device;
            device.description.productId = place == 0 ? "0001" : "0002";
            device.busId = "1-" + std::to_string(place + 1);
            device.deviceNumber = place + 2;
            m_terminals.push_back(std::make_unique<SimulatedTerminal>(
                std::make_unique<UsbIpPort>(m_loop, m_bus, device, 64), SimulatedTerminal::Options()));
        }
    }

    SimulatedTerminal& terminal(std::size_t place = 0) { return *m_terminals.at(place); }
    UsbIpClient connect() const { return UsbIpClient(m_bus.port()); }
    UsbIpClient attach(const std::string& busId = "1-1") const {
        UsbIpClient client = connect();
        EXPECT_TRUE(client.import(busId));
        return client;
    }
    /// True once the server knows that the last client has gone.
    bool isFreeSoon() const {
        return waitUntil([this] { return connect().list().size() == 2; });
    }
    /// The device's bytes of a reply that the server ends the connection with.
    static bool isAtEnd(UsbIpClient& client) { return client.receive(1).empty(); }

    ServingLoop m_loop;
    TcpBus m_bus{m_loop, 0};
    std::vector<std::unique_ptr<SimulatedTerminal>> m_terminals;
};

std::string getInfo(int sequence = 1) {
    return request("8001", sequence);
}

/// What begins a request or a reply before a device is attached.
std::string head(unsigned code, unsigned status = 0) {
    return bigEndian(0x0111, 2) + bigEndian(code, 2) + bigEndian(status, 4);
}

/// The bytes that describe a terminal.
std::string described(unsigned place) {
    std::string path = "/sys/devices/pdasim/usb1/1-" + std::to_string(place);
    path.resize(256, '\0');
    std::string busId = "1-" + std::to_string(place);
    busId.resize(32, '\0');
    const std::string classAndConfigurations = bigEndian(0, 3) + bigEndian(1, 1) + bigEndian(1, 1);
    return path + busId + bigEndian(1, 4) + bigEndian(place + 1, 4) + bigEndian(2, 4) + bigEndian(0x1209, 2) +
           bigEndian(place, 2) + bigEndian(0x0100, 2) + classAndConfigurations + bigEndian(1, 1);
}

TEST_F(UsbIp, ListsItsTerminalsAndEndsTheConnection) {
    UsbIpClient client = connect();
    client.send(head(0x8005));
    const std::string interface = bigEndian(0x03000000, 4);
    EXPECT_EQ(client.receive(8 + 4 + 2 * 316 + 1),
              head(0x0005) + bigEndian(2, 4) + described(1) + interface + described(2) + interface);
}

TEST_F(UsbIp, AnswersAControlTransfer) {
    UsbIpClient client = connect();
    client.send(head(0x8003) + std::string("1-1").append(29, '\0'));
    EXPECT_EQ(client.receive(8 + 312), head(0x0003) + described(1));
    const Reply reply = client.controlIn(0x80, 0x06, 0x0100, 64);
    EXPECT_EQ(reply.command, kSubmitted);
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(reply.data, pdasim::deviceDescriptor({}));
    EXPECT_EQ(client.controlIn(0x80, 0x06, 0x0200, 9).data.size(), 9U);
    EXPECT_EQ(client.controlIn(0x80, 0x06, 0x0600, 10).status, -EPIPE);
    EXPECT_EQ(client.controlOut(0x00, 0x09, 1).status, 0);
}

TEST_F(UsbIp, OneClientAtATimeHasATerminal) {
    UsbIpClient first = attach();
    EXPECT_FALSE(connect().import("1-1"));
    EXPECT_FALSE(connect().import("1-3"));
    EXPECT_FALSE(connect().import(std::string(32, 'x')));
    EXPECT_EQ(connect().list().size(), 1U);
    UsbIpClient second = attach("1-2");
    EXPECT_TRUE(connect().list().empty());
    EXPECT_EQ(second.controlIn(0x80, 0x06, 0x0100, 18).data.substr(10, 2), std::string("\x02\x00", 2));
    EXPECT_EQ(second.write(getInfo()).status, 0);
    EXPECT_EQ(terminal(0).received().size(), 0U);
    EXPECT_EQ(terminal(1).received().size(), 1U);
    first.close();
    EXPECT_TRUE(waitUntil([this] { return connect().list().size() == 1; }));
    const UsbIpClient third = attach("1-1");
}

TEST_F(UsbIp, AnswersAMessageInReports) {
    UsbIpClient client = attach();
    const unsigned pending = client.submitIn(1, 64);
    const unsigned sent = client.submitOut(1, getInfo());
    const Reply written = client.reply().value();
    EXPECT_EQ(written.sequence, sent);
    EXPECT_EQ(written.status, 0);
    EXPECT_EQ(written.actualLength, getInfo().size());
    const Reply first = client.reply().value();
    EXPECT_EQ(first.sequence, pending);
    EXPECT_EQ(first.data.size(), 64U);
    const std::string text = first.data + client.readText();
    EXPECT_EQ(text.substr(0, 10), "0002418001");
    EXPECT_NE(text.find("<Ex_EIMI>860123456789012</Ex_EIMI>"), std::string::npos);
    EXPECT_TRUE(terminal().violations().empty());
    EXPECT_EQ(terminal().received(), std::vector<std::string>{getInfo()});
}

TEST_F(UsbIp, TakesAMessageInPacketsToo) {
    UsbIpClient client = attach();
    const unsigned pending = client.submitIn(1, 64);
    const std::string message = request("8001", 1, "<A>" + std::string(100, 'x') + "</A>");
    for (std::size_t at = 0; at < message.size(); at += 64) {
        const std::string packet = message.substr(at, 64);
        EXPECT_EQ(client.write(packet).actualLength, packet.size());
    }
    EXPECT_TRUE(terminal().waitForMessages(1, 5s));
    EXPECT_EQ(terminal().received(), std::vector<std::string>{message});
    EXPECT_GT(pending, 0U);
}

TEST_F(UsbIp, GivesAnUnfinishedMessageUpAfterAWhile) {
    UsbIpClient client = attach();
    const std::string beginning = request("8001", 1, "<A>" + std::string(100, 'x') + "</A>").substr(0, 64);
    EXPECT_EQ(client.write(beginning).actualLength, 64U);
    EXPECT_TRUE(terminal().received().empty());
    EXPECT_TRUE(terminal().waitForMessages(1, 5s));
    EXPECT_EQ(terminal().received(), std::vector<std::string>{beginning});
    EXPECT_FALSE(terminal().violations().empty());
}

TEST_F(UsbIp, TakesABackOfATransferThatWaits) {
    UsbIpClient client = attach();
    const unsigned first = client.submitIn(1, 64);
    const unsigned second = client.submitIn(1, 64);
    const unsigned unlink = client.unlink(first);
    const Reply reply = client.reply().value();
    EXPECT_EQ(reply.command, kUnlinked);
    EXPECT_EQ(reply.sequence, unlink);
    EXPECT_EQ(reply.status, -ECONNRESET);
    EXPECT_EQ(client.write(getInfo()).status, 0);
    EXPECT_EQ(client.reply().value().sequence, second) << "the first one is never answered";
    const unsigned late = client.unlink(second);
    const Reply after = client.reply().value();
    EXPECT_EQ(after.sequence, late);
    EXPECT_EQ(after.status, 0);
    EXPECT_FALSE(client.hasReply());
}

/// A host's driver takes its transfers back when the last program closes the device.
TEST_F(UsbIp, KnowsWhetherAnybodyListens) {
    UsbIpClient client = attach();
    EXPECT_EQ(terminal().openDescriptors(), 0);
    terminal().sendText("nobody hears that");
    const unsigned pending = client.submitIn(1, 64);
    EXPECT_TRUE(waitUntil([this] { return terminal().openDescriptors() == 1; }));
    EXPECT_FALSE(client.hasReply());
    terminal().sendText("first");
    EXPECT_EQ(client.reply().value().data.substr(0, 5), "first");
    terminal().sendText("second");
    EXPECT_FALSE(client.hasReply());
    const unsigned next = client.submitIn(1, 64);
    EXPECT_EQ(client.reply().value().data.substr(0, 6), "second");
    const unsigned last = client.submitIn(1, 64);
    client.unlink(last);
    EXPECT_EQ(client.reply().value().status, -ECONNRESET);
    EXPECT_EQ(terminal().openDescriptors(), 0);
    EXPECT_LT(pending, next);
}

TEST_F(UsbIp, AProgramThatOpensTheDeviceMayBeginWithAnyNumber) {
    UsbIpClient client = attach();
    for (const int sequence : {5, 9}) {
        const unsigned pending = client.submitIn(1, 64);
        EXPECT_EQ(client.write(getInfo(sequence)).status, 0);
        EXPECT_EQ(client.reply().value().sequence, pending);
        EXPECT_FALSE(client.readText().empty());
        client.unlink(client.submitIn(1, 64));
        EXPECT_EQ(client.reply().value().status, -ECONNRESET);
    }
    EXPECT_TRUE(terminal().violations().empty());
    EXPECT_GT(client.submitIn(1, 64), 0U);
    EXPECT_EQ(client.write(getInfo(10)).status, 0);
    EXPECT_EQ(client.reply().value().status, 0);
    EXPECT_EQ(client.write(getInfo(12)).status, 0);
    EXPECT_EQ(terminal().violations().size(), 1U);
}

TEST_F(UsbIp, CutsAReportThatTheHostHasNoRoomFor) {
    UsbIpClient client = attach();
    client.submitIn(1, 10);
    EXPECT_TRUE(waitUntil([this] { return terminal().openDescriptors() == 1; }));
    terminal().sendText("0123456789abcdef");
    const Reply reply = client.reply().value();
    EXPECT_EQ(reply.status, -EOVERFLOW);
    EXPECT_EQ(reply.data, "0123456789");
}

TEST_F(UsbIp, FaultsOfAWriteReachTheHost) {
    UsbIpClient client = attach();
    terminal().addFault("8001", Fault().refuseWrite(EPROTO));
    EXPECT_EQ(client.write(getInfo(1)).status, -EPROTO);
    terminal().addFault("8001", Fault().shortWrite(20));
    const Reply reply = client.write(getInfo(2));
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(reply.actualLength, 20U);
}

TEST_F(UsbIp, GoesAndComesBack) {
    terminal().addFault("8001", Fault().unplugBeforeReply(100ms));
    UsbIpClient client = attach();
    client.submitIn(1, 64);
    EXPECT_EQ(client.write(getInfo()).status, 0);
    EXPECT_EQ(client.reply(), std::nullopt) << "the connection ends with the device";
    EXPECT_TRUE(isFreeSoon());
    UsbIpClient next = attach();
    next.submitIn(1, 64);
    EXPECT_EQ(next.write(getInfo()).status, 0);
    EXPECT_EQ(next.reply().value().status, 0);
    EXPECT_TRUE(terminal().violations().empty());
}

TEST_F(UsbIp, IsNotOfferedWhileItIsUnplugged) {
    UsbIpClient client = attach();
    EXPECT_EQ(terminal().nodePath(), "busid 1-1 of 127.0.0.1:" + std::to_string(m_bus.port()));
    terminal().unplug();
    EXPECT_TRUE(isAtEnd(client));
    EXPECT_EQ(terminal().nodePath(), "");
    EXPECT_FALSE(connect().import("1-1"));
    terminal().unplug();
    terminal().replug();
    terminal().replug();
    EXPECT_EQ(connect().list().size(), 2U);
    EXPECT_TRUE(connect().import("1-1"));
}

TEST_F(UsbIp, StallsTransfersOfEndpointsThatItDoesNotHave) {
    UsbIpClient client = attach();
    client.submitIn(2, 64);
    EXPECT_EQ(client.reply().value().status, -EPIPE);
    client.submitOut(15, std::string(65536, 'x'));
    EXPECT_EQ(client.reply().value().status, -EPIPE);
}

TEST_F(UsbIp, SurvivesClientsThatVanishAtAnyPlace) {
    const std::string conversation = head(0x8003) + std::string("1-1").append(29, '\0') + bigEndian(1, 4) +
                                     bigEndian(1, 4) + bigEndian(0x10002, 4) + bigEndian(0, 4) +
                                     bigEndian(1, 4) + bigEndian(0, 4) + bigEndian(20, 4) + bigEndian(0, 20) +
                                     std::string(20, 'x');
    for (std::size_t length = 0; length <= conversation.size(); length += 9) {
        const UsbIpClient client = connect();
        client.send(std::string_view(conversation).substr(0, length));
    }
    EXPECT_TRUE(isFreeSoon());
    UsbIpClient client = attach();
    EXPECT_EQ(client.controlIn(0x80, 0x06, 0x0100, 18).status, 0);
}

TEST_F(UsbIp, TakesBytesInAnyPieces) {
    UsbIpClient client = connect();
    const std::string all = head(0x8003) + std::string("1-1").append(29, '\0') + bigEndian(1, 4) +
                            bigEndian(1, 4) + bigEndian(0x10002, 4) + bigEndian(1, 4) + bigEndian(0, 4) +
                            bigEndian(0, 4) + bigEndian(18, 4) + bigEndian(0, 12) +
                            std::string("\x80\x06\x00\x01\x00\x00\x12\x00", 8);
    for (const char byte : all) {
        client.send({&byte, 1});
        m_loop.settle();
    }
    EXPECT_EQ(client.receive(8 + 312).substr(4, 4), bigEndian(0, 4));
    EXPECT_EQ(client.receive(48 + 18), bigEndian(3, 4) + bigEndian(1, 4) + bigEndian(0, 16) +
                                           bigEndian(18, 4) + bigEndian(0, 20) +
                                           pdasim::deviceDescriptor({}));
}

TEST_F(UsbIp, BreaksOffWhatMakesNoSense) {
    testing::internal::CaptureStderr();
    struct Case {
        bool attached;
        std::string bytes;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {false, "GET / HTTP/1.1\r\n", "version 18245"},
        {false, bigEndian(0x0110, 2) + bigEndian(0x8003, 2) + bigEndian(0, 4), "version 272"},
        {false, head(0x8009), "request 32777"},
        {true, bigEndian(3, 4) + bigEndian(0, 44), "command 3"},
        {true, bigEndian(1, 4) + bigEndian(0, 8) + bigEndian(2, 4) + bigEndian(0, 32),
         "a transfer in direction 2"},
        {true, bigEndian(1, 4) + bigEndian(0, 20) + bigEndian(65537, 4) + bigEndian(0, 20),
         "a transfer of 65537 bytes"},
        {true, bigEndian(9, 4) + bigEndian(0, 44), "command 9"},
        {true, bigEndian(1, 4) + bigEndian(0, 20) + bigEndian(0x7FFFFFFF, 4) + bigEndian(0, 20),
         "a transfer of 2147483647 bytes"},
        {true, bigEndian(1, 4) + bigEndian(0, 28) + bigEndian(3, 4) + bigEndian(0, 12),
         "an isochronous transfer"},
    };
    for (const Case& wrong : cases) {
        UsbIpClient client = wrong.attached ? attach() : connect();
        client.send(wrong.bytes);
        EXPECT_TRUE(isAtEnd(client)) << wrong.reason;
        EXPECT_TRUE(isFreeSoon());
    }
    const std::string errors = testing::internal::GetCapturedStderr();
    for (const Case& wrong : cases) {
        EXPECT_NE(errors.find("pdasim: a USB/IP client asked for " + wrong.reason), std::string::npos)
            << errors;
    }
}

TEST_F(UsbIp, BreaksOffAClientWithTooManyTransfers) {
    UsbIpClient client = attach();
    testing::internal::CaptureStderr();
    for (int i = 0; i < 257; ++i) {
        client.submitIn(1, 64);
    }
    EXPECT_TRUE(isAtEnd(client));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("too many transfers at once"), std::string::npos);
}

/// As after "pdasim usbip" has been asked to end.
TEST_F(UsbIp, ClientsSeeTheEnd) {
    UsbIpClient client = attach();
    UsbIpClient idle = connect();
    EXPECT_EQ(idle.import("1-9"), std::nullopt);
    m_terminals.clear();
    EXPECT_TRUE(isAtEnd(client));
}

} // namespace
